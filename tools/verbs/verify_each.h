/// `verify --each`: many chains, one line for each.
#pragma once

#include "objects/trust.h"

#include "sealkit/path.h"

#include <string>
#include <vector>

/// Judges each of the inputs: a file with a chain, a folder of such files, or, for "-", standard input with a
/// JSON object a line. Writes one JSON line a chain, in order. The exit status: 0 if all are good, 1 if one
/// is not, 2 if one cannot be read.
int verifyEach(std::vector<std::string> const& inputs, CertificateChain const& candidates, Trust const& trust,
               PathOptions const& options);

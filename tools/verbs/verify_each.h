/// `verify --each`: many chains, one line for each.
#pragma once

#include "objects/trust.h"

#include "sealkit/path.h"

#include <string>
#include <vector>

/// Verifies the chains of each input: a file with a chain, a folder of such files, or, for "-", standard
/// input with a JSON object a line. Writes one JSON line for each chain, in order. Returns 0 if all chains
/// verify, 1 if one does not, and 2 if one cannot be read.
int verifyEach(std::vector<std::string> const& inputs, CertificateChain const& candidates, Trust const& trust,
               PathOptions const& options);

/// Descriptions of extensions (description.h).
#pragma once

#include "objects/description.h"

#include "sealkit/x509.h"

#include <vector>

/// Every extension under its name or dotted form: whether it is critical, and its value. A repeated extension
/// has its number after the name.
Description describeExtensions(std::vector<X509Extension> const& extensions);

/// Names with their kinds.
Description describeNames(std::vector<GeneralName> const& names);

/// Attributes of names.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <vector>

namespace detail {

/// The values, in UTF-8, of all attributes of a type (content octets) in a Name (whole encoding). If the Name
/// is malformed, only those before the error.
std::vector<std::string> attributeTexts(asn1::blob name, asn1::blob type);

} // namespace detail

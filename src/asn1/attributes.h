/// Attributes of names.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <vector>

namespace detail {

/// The values of the attributes of a type (content octets) in a Name, given by its whole encoding, in UTF-8:
/// those before the place where it is malformed.
std::vector<std::string> attributeTexts(asn1::blob name, asn1::blob type);

} // namespace detail

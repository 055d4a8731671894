/// Encoders of extension values.
#pragma once

#include "sealkit/extensions.h"

#include <vector>

namespace detail {

/// NameConstraints (RFC 5280, section 4.2.1.10); empty without subtrees.
std::vector<unsigned char> encodeNameConstraints(NameSubtrees const& subtrees);

} // namespace detail

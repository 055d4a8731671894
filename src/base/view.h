/// Bytes as text.
#pragma once

#include "sealkit/blob.h"

#include <string_view>

namespace detail {

inline std::string_view viewOf(asn1::blob bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

} // namespace detail

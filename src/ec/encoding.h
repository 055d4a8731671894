/// Fixed-width byte strings of the 25519 family.
#pragma once

#include "sealkit/bignum.h"

#include <vector>

namespace detail {

/// The `len` lowest bytes of `number`, little-endian. Leaves no other copy of a secret.
inline std::vector<unsigned char> littleEndian(BigNum const& number, size_t len) {
    std::vector<unsigned char> bytes(len);
    for (size_t i = 0; i < len && i / 4 < number.size(); ++i)
        bytes[i] = static_cast<unsigned char>(number.digits[i / 4] >> (i % 4 * 8));
    return bytes;
}

} // namespace detail

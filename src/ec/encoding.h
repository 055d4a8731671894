/// Fixed-width byte strings of the 25519 family.
#pragma once

#include "sealkit/bignum.h"

#include <vector>

namespace detail {

/// `number` little-endian in exactly `len` bytes; what does not fit is left out. Writes no byte
/// anywhere but to the result, so that a secret leaves no copy behind.
inline std::vector<unsigned char> littleEndian(BigNum const& number, size_t len) {
    std::vector<unsigned char> bytes(len);
    for (size_t i = 0; i < len && i / 4 < number.size(); ++i)
        bytes[i] = static_cast<unsigned char>(number.digits[i / 4] >> (i % 4 * 8));
    return bytes;
}

} // namespace detail

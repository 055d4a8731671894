/// Doubling in the field of CMAC and S2V.
#pragma once

#include "base/bytes.h"

#include <cstdint>

namespace detail {

/// Doubles the 16 bytes at `in`: a shift by one bit modulo x^128 + x^7 + x^2 + x + 1 (RFC 5297, section 2.3;
/// the constant Rb of SP 800-38B, section 5.3). `out` may be `in`.
inline void doubleBlock(unsigned char const* in, unsigned char* out) {
    std::uint32_t carry = in[0] & 0x80 ? 0x87 : 0;
    for (unsigned i = 16; i != 0;) {
        i -= 4;
        auto const word = loadBigEndian<std::uint32_t>(in + i);
        storeBigEndian(out + i, word << 1 ^ carry);
        carry = word >> 31;
    }
}

} // namespace detail

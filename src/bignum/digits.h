// The digits of a number, for code that writes them directly.
#pragma once

#include "sealkit/bignum.h"

#include "bignum/kernel.h"

namespace detail {

/// Fits x to its `count` low digits, less zeros at the top. Most results have the size that their
/// number has already, and then nothing happens.
inline void fit(BigNum& x, size_t count) {
    while (count > 1 && x.digits[count - 1] == 0)
        --count;
    if (count != x.size())
        x.digits.resize(count);
}

inline bool isZero(BigNum const& x) { return x.size() == 1 && x.digits[0] == 0; }

inline bool isOdd(BigNum const& x) { return (x.digits[0] & 1) != 0; }

} // namespace detail

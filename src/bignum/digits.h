// Access to the digits of a number, for code that writes them directly.
#pragma once

#include "sealkit/bignum.h"

#include "bignum/kernel.h"

namespace detail {

/// Trims x to its `count` low digits without leading zeros. Usually x already has that size.
inline void fit(BigNum& x, size_t count) {
    while (count > 1 && x.digits[count - 1] == 0)
        --count;
    if (count != x.size())
        x.digits.resize(count);
}

inline bool isZero(BigNum const& x) { return x.size() == 1 && x.digits[0] == 0; }

inline bool isOdd(BigNum const& x) { return (x.digits[0] & 1) != 0; }

} // namespace detail

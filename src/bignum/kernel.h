// Loops over the digits of big numbers.
//
// Numbers are stored as 32-bit digits. The loops process them by limbs: one digit, or two if the machine
// multiplies 64-bit words into 128 bits. Every loop is a template over the limb, so that the tests can
// compare both; the sources use `NativeLimb`.
//
// A number of n digits has limbCount(n) limbs. The top one is half empty if n is odd and a limb has two
// digits. Arrays that are only read have exactly n digits. Arrays that are written must have room for whole
// limbs: a loop that writes limbCount(n) limbs may write 2 * limbCount(n) digits.
#pragma once

#include "base/unrolled.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

// The state of a loop stays in registers only if everything is inlined, including lambdas.
#define SEALKIT_INLINED __attribute__((always_inline))

namespace detail {

using Digit = unsigned;
constexpr unsigned digitBits = 32;

/// The size of the fields with unrolled products: P-256, Curve25519.
constexpr size_t fixedDigits = 8;

template <typename Limb>
struct LimbTraits;

template <>
struct LimbTraits<uint32_t> {
    using Product = uint64_t;
    static constexpr size_t rows = 4; // As many as fit the registers; see RowBlock.
};

#ifdef __SIZEOF_INT128__
template <>
struct LimbTraits<uint64_t> {
    __extension__ using Product = unsigned __int128;
    static constexpr size_t rows = 2;
};
using NativeLimb = uint64_t;
#else
using NativeLimb = uint32_t;
#endif

template <typename Limb>
constexpr unsigned limbBits = 8 * sizeof(Limb);
template <typename Limb>
constexpr size_t limbDigits = sizeof(Limb) / sizeof(Digit);

template <typename Limb>
constexpr size_t limbCount(size_t digits) {
    return (digits + limbDigits<Limb> - 1) / limbDigits<Limb>;
}

/// The limb that starts at `digits[0]`.
template <typename Limb>
inline Limb load(Digit const* digits) {
    if constexpr (limbDigits<Limb> == 1)
        return *digits;
    else if constexpr (std::endian::native == std::endian::little) {
        Limb limb;
        std::memcpy(&limb, digits, sizeof limb);
        return limb;
    } else
        return static_cast<Limb>(digits[1]) << digitBits | digits[0];
}

template <typename Limb>
inline void store(Digit* digits, Limb limb) {
    if constexpr (limbDigits<Limb> == 1)
        *digits = limb;
    else if constexpr (std::endian::native == std::endian::little)
        std::memcpy(digits, &limb, sizeof limb);
    else {
        digits[0] = static_cast<Digit>(limb);
        digits[1] = static_cast<Digit>(limb >> digitBits);
    }
}

/// Limb `index` of a number of `count` digits; the top one may be half empty.
template <typename Limb>
inline Limb limbAt(Digit const* digits, size_t count, size_t index) {
    Digit const* at = digits + index * limbDigits<Limb>;
    return limbDigits<Limb> == 2 && at + 1 == digits + count ? *at : load<Limb>(at);
}

/// a * b + sum + carry, which is below the square of the limb's base. Returns the low limb and sets the carry
/// to the high one.
template <typename Limb>
SEALKIT_INLINED inline Limb multiplyAdd(Limb a, Limb b, Limb sum, Limb& carry) {
    using Product = typename LimbTraits<Limb>::Product;
    Product product = static_cast<Product>(a) * b;
    if constexpr (limbDigits<Limb> == 1) {
        product += sum;
        product += carry;
        carry = static_cast<Limb>(product >> limbBits<Limb>);
        return static_cast<Limb>(product);
    } else {
        // GCC adds to a 128-bit integer through a register of zeros, but handles carries by comparison well.
        Limb low = static_cast<Limb>(product);
        Limb high = static_cast<Limb>(product >> limbBits<Limb>);
        low += sum;
        high += low < sum;
        low += carry;
        high += low < carry;
        carry = high;
        return low;
    }
}

/// a + b + carry, with a carry of 0 or 1. Sets the carry to the carry out.
template <typename Limb>
SEALKIT_INLINED inline Limb addCarry(Limb a, Limb b, Limb& carry) {
    if constexpr (limbDigits<Limb> == 1) {
        // In 64 bits GCC uses the carry flag for this form, but not for comparisons.
        uint64_t const sum = static_cast<uint64_t>(a) + b + carry;
        carry = static_cast<Limb>(sum >> limbBits<Limb>);
        return static_cast<Limb>(sum);
    } else {
        Limb sum = a + b;
        Limb result = sum + carry;
        carry = static_cast<Limb>((sum < a) | (result < sum));
        return result;
    }
}

/// a - b - borrow, with a borrow of 0 or 1. Sets the borrow to the borrow out.
template <typename Limb>
SEALKIT_INLINED inline Limb subtractBorrow(Limb a, Limb b, Limb& borrow) {
    if constexpr (limbDigits<Limb> == 1) {
        uint64_t const difference = static_cast<uint64_t>(a) - b - borrow;
        borrow = static_cast<Limb>(difference >> 63);
        return static_cast<Limb>(difference);
    } else {
        Limb difference = a - b;
        Limb result = difference - borrow;
        borrow = static_cast<Limb>((a < b) | (difference < borrow));
        return result;
    }
}

/// r = a + b over n digits. Returns the carry. r may be a or b.
template <typename Limb>
inline Digit add(Digit* r, Digit const* a, Digit const* b, size_t n) {
    Limb carry = 0;
    size_t i = 0;
    for (; i < n - n % limbDigits<Limb>; i += limbDigits<Limb>)
        store<Limb>(r + i, addCarry(load<Limb>(a + i), load<Limb>(b + i), carry));
    Digit digitCarry = static_cast<Digit>(carry);
    if (i < n)
        r[i] = addCarry(a[i], b[i], digitCarry);
    return digitCarry;
}

/// r = a - b over n digits. Returns the borrow. r may be a or b, or start below a.
template <typename Limb>
inline Digit subtract(Digit* r, Digit const* a, Digit const* b, size_t n) {
    Limb borrow = 0;
    size_t i = 0;
    for (; i < n - n % limbDigits<Limb>; i += limbDigits<Limb>)
        store<Limb>(r + i, subtractBorrow(load<Limb>(a + i), load<Limb>(b + i), borrow));
    Digit digitBorrow = static_cast<Digit>(borrow);
    if (i < n)
        r[i] = subtractBorrow(a[i], b[i], digitBorrow);
    return digitBorrow;
}

/// Adds `carry` to the n digits at r. Returns the carry.
inline Digit propagate(Digit* r, size_t n, Digit carry) {
    for (size_t i = 0; carry != 0 && i < n; ++i) {
        r[i] += carry;
        carry = r[i] < carry;
    }
    return carry;
}

/// Subtracts `borrow` from the n digits at r. Returns the borrow.
inline Digit propagateBorrow(Digit* r, size_t n, Digit borrow) {
    for (size_t i = 0; borrow != 0 && i < n; ++i) {
        Digit before = r[i];
        r[i] -= borrow;
        borrow = before < borrow;
    }
    return borrow;
}

/// r = a * 2^shift over n digits, with a shift below digitBits. Returns the bits shifted out. r may be a.
template <typename Limb>
inline Digit shiftLeft(Digit* r, Digit const* a, size_t n, unsigned shift) {
    constexpr size_t step = limbDigits<Limb>;
    Limb out = 0;
    size_t i = 0;
    for (; i < n - n % step; i += step) {
        Limb x = load<Limb>(a + i);
        store<Limb>(r + i, x << shift | out);
        out = x >> 1 >> (limbBits<Limb> - 1 - shift); // In two steps, because shift may be 0.
    }
    Digit digitOut = static_cast<Digit>(out);
    if (i < n) {
        Digit x = a[i];
        r[i] = x << shift | digitOut;
        digitOut = x >> 1 >> (digitBits - 1 - shift);
    }
    return digitOut;
}

/// r = a / 2^shift over n digits, rounded down, with a shift below digitBits. r may be a or start below it.
template <typename Limb>
inline void shiftRight(Digit* r, Digit const* a, size_t n, unsigned shift) {
    constexpr size_t step = limbDigits<Limb>;
    size_t i = 0;
    for (; i < n - n % step; i += step) {
        Limb above = i + step < n ? a[i + step] : 0;
        store<Limb>(r + i, load<Limb>(a + i) >> shift | above << 1 << (limbBits<Limb> - 1 - shift));
    }
    if (i < n)
        r[i] = a[i] >> shift;
}

/// Negative, zero or positive as a is less than, equal to or greater than b, both of n digits.
inline int compare(Digit const* a, Digit const* b, size_t n) {
    while (n-- != 0)
        if (a[n] != b[n])
            return a[n] < b[n] ? -1 : 1;
    return 0;
}

/// Several rows of a schoolbook product, computed together column by column.
///
/// Row i is the multiplicand times factor[i], shifted up by i columns. With R rows at a time, every limb of
/// the running sum is loaded and stored once for R products instead of for each. That and the R independent
/// carry chains make it fast.
template <typename Limb, size_t R>
struct RowBlock {
    Limb factor[R];
    Limb carry[R] = {};
    Limb passed[R] = {}; // passed[i] is the limb of the multiplicand that row 0 used i + 1 columns ago.

    /// One column: `sum` plus the products of the first `Rows` rows. `x` is the limb for row 0.
    template <size_t Rows = R>
    SEALKIT_INLINED Limb column(Limb x, Limb sum) {
        unrolled<Rows>([&](auto i) SEALKIT_INLINED {
            sum = multiplyAdd(factor[i], i == 0 ? x : passed[(i + R - 1) % R], sum, carry[i]);
        });
        return sum;
    }

    /// Moves the multiplicand up by one column.
    SEALKIT_INLINED void advance(Limb x) {
        unrolled<R - 1>([&](auto i) SEALKIT_INLINED { passed[R - 1 - i] = passed[R - 2 - i]; });
        passed[0] = x;
    }

    /// Columns from `from` to the top of a multiplicand b of `digits` digits: adds the rows to r. If
    /// `Columns` is not 0, it is their number, and the loop is unrolled.
    template <size_t Columns = 0>
    SEALKIT_INLINED void columns(Digit* r, Digit const* b, size_t digits, size_t from) {
        auto whole = [&](size_t at) SEALKIT_INLINED {
            Limb x = load<Limb>(b + at * limbDigits<Limb>);
            Digit* sum = r + at * limbDigits<Limb>;
            store<Limb>(sum, column(x, load<Limb>(sum)));
            advance(x);
        };
        if constexpr (Columns != 0) {
            unrolled<Columns>([&](auto i) SEALKIT_INLINED { whole(from + i); });
        } else {
            size_t full = digits / limbDigits<Limb>;
            // Unrolled by R, so that the passed limbs remain in their registers.
            for (size_t blocks = full - (full - from) % R; from < blocks; from += R)
                unrolled<R>([&](auto i) SEALKIT_INLINED { whole(from + i); });
            for (; from < full; ++from)
                whole(from);
            if (from < limbCount<Limb>(digits)) {
                Limb x = b[digits - 1];
                Digit* sum = r + from * limbDigits<Limb>;
                store<Limb>(sum, column(x, load<Limb>(sum)));
                advance(x);
            }
        }
    }

    /// Column `above` of the R columns above the multiplicand, where row `above` has ended with its carry.
    /// The columns must be processed in ascending order.
    template <size_t Above>
    SEALKIT_INLINED Limb end() {
        Limb sum = carry[Above];
        unrolled<R - 1 - Above>([&](auto i) SEALKIT_INLINED {
            constexpr size_t row = Above + 1 + i;
            sum = multiplyAdd(factor[row], passed[i], sum, carry[row]);
        });
        return sum;
    }
};

/// R rows of a product: adds (factors[0] + factors[1] * base + …) * b to r, and writes the next R limbs above
/// the multiplicand. b must have at least R limbs.
template <typename Limb, size_t R, size_t Limbs = 0>
SEALKIT_INLINED inline void addRows(Digit* r, Digit const* a, size_t aDigits, size_t aLimb, Digit const* b,
                                    size_t bDigits) {
    constexpr size_t step = limbDigits<Limb>;
    RowBlock<Limb, R> rows;
    unrolled<R>([&](auto i) SEALKIT_INLINED { rows.factor[i] = limbAt<Limb>(a, aDigits, aLimb + i); });
    r += aLimb * step;
    unrolled<R>([&](auto i) SEALKIT_INLINED {
        Limb x = limbAt<Limb>(b, bDigits, i);
        store<Limb>(r + i * step, rows.template column<i + 1>(x, load<Limb>(r + i * step)));
        rows.advance(x);
    });
    if constexpr (Limbs != R)
        rows.template columns<Limbs == 0 ? 0 : Limbs - R>(r, b, bDigits, R);
    r += limbCount<Limb>(bDigits) * step;
    unrolled<R>([&](auto i) SEALKIT_INLINED { store<Limb>(r + i * step, rows.template end<i>()); });
}

/// r = a * b. Writes limbCount(aDigits) + limbCount(bDigits) limbs. r must be neither a nor b, and aDigits at
/// most bDigits.
template <typename Limb>
inline void product(Digit* r, Digit const* a, size_t aDigits, Digit const* b, size_t bDigits) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    size_t limbs = limbCount<Limb>(aDigits);
    std::memset(r, 0, limbCount<Limb>(bDigits) * sizeof(Limb));
    size_t i = 0;
    for (; i < limbs - limbs % R; i += R)
        addRows<Limb, R>(r, a, aDigits, i, b, bDigits);
    for (; i < limbs; ++i)
        addRows<Limb, 1>(r, a, aDigits, i, b, bDigits);
}

/// The same for a and b of exactly `Digits` digits, unrolled.
template <typename Limb, size_t Digits>
inline void productFixed(Digit* r, Digit const* a, Digit const* b) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    constexpr size_t limbs = Digits / limbDigits<Limb>;
    static_assert(limbs * limbDigits<Limb> == Digits && limbs % R == 0);
    std::memset(r, 0, limbs * sizeof(Limb));
    unrolled<limbs / R>([&](auto i)
                            SEALKIT_INLINED { addRows<Limb, R, limbs>(r, a, Digits, i * R, b, Digits); });
}

/// R rows of the products of different limbs: a[i] * a[j] with i in this block and j > i. There must be at
/// least 2R limbs from i on.
template <typename Limb, size_t R, size_t Limbs = 0>
SEALKIT_INLINED inline void addCrossRows(Digit* r, Digit const* a, size_t digits, size_t i) {
    constexpr size_t step = limbDigits<Limb>;
    RowBlock<Limb, R> rows;
    a += i * step;
    digits -= i * step;
    r += 2 * i * step;
    unrolled<R>([&](auto row) SEALKIT_INLINED { rows.factor[row] = limbAt<Limb>(a, digits, row); });
    rows.passed[0] = rows.factor[0];
    // Column c of row 0 is limb c. Row q starts in column 2q + 1 with limb q + 1.
    unrolled<2 * R - 2>([&](auto c) SEALKIT_INLINED {
        Limb x = limbAt<Limb>(a, digits, c + 1);
        Digit* sum = r + (c + 1) * step;
        store<Limb>(sum, rows.template column<c / 2 + 1>(x, load<Limb>(sum)));
        rows.advance(x);
    });
    if constexpr (Limbs != 2 * R - 1)
        rows.template columns<Limbs == 0 ? 0 : Limbs - (2 * R - 1)>(r, a, digits, 2 * R - 1);
    r += limbCount<Limb>(digits) * step;
    unrolled<R>([&](auto row) SEALKIT_INLINED { store<Limb>(r + row * step, rows.template end<row>()); });
}

/// r = 2r + the squares of the limbs of a, which turns the sum of cross products into the square.
template <typename Limb>
SEALKIT_INLINED inline void doubleAndAddSquare(Digit* r, Limb a, Limb& carry, Limb& shiftedOut) {
    constexpr unsigned top = limbBits<Limb> - 1;
    Limb low = load<Limb>(r);
    Limb high = load<Limb>(r + limbDigits<Limb>);
    store<Limb>(r, multiplyAdd<Limb>(a, a, low << 1 | shiftedOut, carry));
    shiftedOut = high >> top;
    high = high << 1 | low >> top;
    high += carry;
    carry = high < carry;
    store<Limb>(r + limbDigits<Limb>, high);
}

/// r = a^2. Writes 2 * limbCount(digits) limbs. r must not be a.
template <typename Limb>
inline void square(Digit* r, Digit const* a, size_t digits) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    constexpr size_t step = limbDigits<Limb>;
    size_t limbs = limbCount<Limb>(digits);
    std::memset(r, 0, limbs * sizeof(Limb));
    size_t i = 0;
    for (; i + 2 * R <= limbs; i += R)
        addCrossRows<Limb, R>(r, a, digits, i);
    for (; i + 1 < limbs; ++i)
        addCrossRows<Limb, 1>(r, a, digits, i);
    store<Limb>(r + (2 * limbs - 1) * step, 0);
    Limb carry = 0;
    Limb shiftedOut = 0;
    for (i = 0; i < limbs; ++i)
        doubleAndAddSquare<Limb>(r + 2 * i * step, limbAt<Limb>(a, digits, i), carry, shiftedOut);
}

/// The same for a of exactly `Digits` digits, unrolled.
template <typename Limb, size_t Digits>
inline void squareFixed(Digit* r, Digit const* a) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    constexpr size_t step = limbDigits<Limb>;
    constexpr size_t limbs = Digits / step;
    constexpr size_t blocks = limbs / R - 1;
    static_assert(limbs * step == Digits && limbs % R == 0);
    std::memset(r, 0, limbs * sizeof(Limb));
    unrolled<blocks>([&](auto i)
                         SEALKIT_INLINED { addCrossRows<Limb, R, limbs - i * R>(r, a, Digits, i * R); });
    unrolled<R - 1>([&](auto i) SEALKIT_INLINED {
        constexpr size_t row = blocks * R + i;
        addCrossRows<Limb, 1, limbs - row>(r, a, Digits, row);
    });
    store<Limb>(r + (2 * limbs - 1) * step, 0);
    Limb carry = 0;
    Limb shiftedOut = 0;
    unrolled<limbs>([&](auto i) SEALKIT_INLINED {
        doubleAndAddSquare<Limb>(r + 2 * i * step, load<Limb>(a + i * step), carry, shiftedOut);
    });
}

/// R steps of Montgomery reduction: adds the multiple of m to t that makes its R low limbs zero. These are
/// not written, because they are not read again. `carry` is for the limb above those of the previous step.
template <typename Limb, size_t R, size_t Limbs = 0>
SEALKIT_INLINED inline void reduceRows(Digit* t, Digit const* m, size_t digits, Limb inverse, Limb& carry) {
    constexpr size_t step = limbDigits<Limb>;
    RowBlock<Limb, R> rows;
    unrolled<R>([&](auto i) SEALKIT_INLINED {
        Limb x = limbAt<Limb>(m, digits, i);
        Limb sum = rows.template column<i>(x, load<Limb>(t + i * step));
        // Row i starts with the lowest limb of m in this column.
        rows.factor[i] = sum * inverse;
        multiplyAdd(rows.factor[i], i == 0 ? x : rows.passed[(i + R - 1) % R], sum, rows.carry[i]);
        rows.advance(x);
    });
    if constexpr (Limbs != R)
        rows.template columns<Limbs == 0 ? 0 : Limbs - R>(t, m, digits, R);
    t += limbCount<Limb>(digits) * step;
    unrolled<R>([&](auto i) SEALKIT_INLINED {
        store<Limb>(t + i * step, addCarry(load<Limb>(t + i * step), rows.template end<i>(), carry));
    });
}

/// -1/m modulo the word's base for an odd m with the lowest word m0. Each step of Newton's iteration doubles
/// the number of correct bits: 4, 8, 16, 32, 64. The last step also negates.
template <typename Word>
constexpr Word negativeInverse(Word m0) {
    Word x = m0 + ((m0 + 2) * 2 & 8);
    for (int i = 0; i < 3; ++i)
        x *= 2 - m0 * x;
    return (m0 * x - 2) * x;
}

/// -1/m modulo the limb's base, from -1/m modulo 2^32, by one more Newton step.
template <typename Limb>
inline Limb negativeInverse(Digit const* m, size_t digits, Digit n0inv) {
    Limb y = n0inv;
    if constexpr (limbDigits<Limb> == 2)
        y *= 2 + limbAt<Limb>(m, digits, 0) * y;
    return y;
}

/// Montgomery reduction (HAC 14.32) of the 2k digits at t modulo an odd m of k digits, with n0inv = -1/m mod
/// 2^32: adds u * m to t with the u below 2^(32k) that makes the k low digits zero. The result is in the k
/// high digits; the low ones are undefined. Returns the carry into digit 2k.
template <typename Limb>
inline Digit montgomeryReduce(Digit* t, Digit const* m, size_t k, Digit n0inv) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    constexpr size_t step = limbDigits<Limb>;
    Limb inverse = negativeInverse<Limb>(m, k, n0inv);
    Limb carry = 0;
    size_t i = 0;
    for (; i < k - k % (R * step); i += R * step)
        reduceRows<Limb, R>(t + i, m, k, inverse, carry);
    for (; i < k - k % step; i += step)
        reduceRows<Limb, 1>(t + i, m, k, inverse, carry);
    if (i < k) {
        // One digit of an odd number remains. The row has k + 1 digits including its factor's, so it ends at
        // the end of t.
        RowBlock<Limb, 1> row;
        row.factor[0] = static_cast<Digit>(t[i] * n0inv);
        row.columns(t + i, m, k, 0);
        carry += row.carry[0];
    }
    return static_cast<Digit>(carry);
}

/// The same for a modulus of exactly `Digits` digits, unrolled.
template <typename Limb, size_t Digits>
inline Digit montgomeryReduceFixed(Digit* t, Digit const* m, Digit n0inv) {
    constexpr size_t R = LimbTraits<Limb>::rows;
    constexpr size_t step = limbDigits<Limb>;
    constexpr size_t limbs = Digits / step;
    static_assert(limbs * step == Digits && limbs % R == 0);
    Limb inverse = negativeInverse<Limb>(m, Digits, n0inv);
    Limb carry = 0;
    unrolled<limbs / R>([&](auto i) SEALKIT_INLINED {
        reduceRows<Limb, R, limbs>(t + i * R * step, m, Digits, inverse, carry);
    });
    return static_cast<Digit>(carry);
}

/// r += a * factor over n digits. Returns the carry.
template <typename Limb>
inline Digit addMultiple(Digit* r, Digit const* a, size_t n, Digit factor) {
    Limb carry = 0;
    size_t i = 0;
    for (; i < n - n % limbDigits<Limb>; i += limbDigits<Limb>)
        store<Limb>(r + i, multiplyAdd<Limb>(load<Limb>(a + i), factor, load<Limb>(r + i), carry));
    // A factor of one digit has carries of one digit.
    Digit digitCarry = static_cast<Digit>(carry);
    if (i < n)
        r[i] = multiplyAdd(a[i], factor, r[i], digitCarry);
    return digitCarry;
}

/// a = a * factor + carry over n digits. Returns the carry.
template <typename Limb>
inline Digit multiplyBy(Digit* a, size_t n, Digit factor, Digit carry = 0) {
    Limb limbCarry = carry;
    size_t i = 0;
    for (; i < n - n % limbDigits<Limb>; i += limbDigits<Limb>)
        store<Limb>(a + i, multiplyAdd<Limb>(load<Limb>(a + i), factor, 0, limbCarry));
    Digit digitCarry = static_cast<Digit>(limbCarry);
    if (i < n)
        a[i] = multiplyAdd(a[i], factor, 0U, digitCarry);
    return digitCarry;
}

/// Divides two limbs by a normalized one (with its top bit set), with a precomputed reciprocal instead of the
/// machine's division: N. Möller, T. Granlund, "Improved division by invariant integers", IEEE Transactions
/// on Computers 60 (2011), algorithm 4.
template <typename Limb>
class InvariantDivisor {
public:
    constexpr explicit InvariantDivisor(Limb normalised)
        : divisor(normalised),
          reciprocal(
              static_cast<Limb>(wide(static_cast<Limb>(~normalised), static_cast<Limb>(-1)) / normalised)) {}

    /// (high * base + low) / divisor, with high below the divisor. The remainder replaces
    /// `high`.
    Limb divide(Limb& high, Limb low) const {
        Product estimate = static_cast<Product>(reciprocal) * high + wide(high, low);
        Limb quotient = static_cast<Limb>(estimate >> limbBits<Limb>) + 1;
        Limb remainder = low - quotient * divisor;
        if (remainder > static_cast<Limb>(estimate)) {
            --quotient;
            remainder += divisor;
        }
        if (remainder >= divisor) {
            ++quotient;
            remainder -= divisor;
        }
        high = remainder;
        return quotient;
    }

private:
    using Product = typename LimbTraits<Limb>::Product;
    static constexpr Product wide(Limb high, Limb low) {
        return static_cast<Product>(high) << limbBits<Limb> | low;
    }

    Limb divisor;
    Limb reciprocal;
};

/// q = a / divisor over n digits. Returns the remainder. The divisor must not be zero. q may be a.
inline Digit divideByDigit(Digit* q, Digit const* a, size_t n, Digit divisor) {
    unsigned shift = static_cast<unsigned>(std::countl_zero(divisor));
    InvariantDivisor<uint32_t> by(divisor << shift);
    Digit above = n == 0 ? 0 : a[n - 1];
    Digit remainder = above >> 1 >> (digitBits - 1 - shift);
    while (n-- != 0) {
        Digit below = n == 0 ? 0 : a[n - 1];
        q[n] = by.divide(remainder, above << shift | below >> 1 >> (digitBits - 1 - shift));
        above = below;
    }
    return remainder >> shift;
}

/// Knuth's algorithm D (TAOCP volume 2, 4.3.1). u has uLimbs limbs and v has vLimbs. The top bit of v must be
/// set, and the top vLimbs limbs of u must be less than v. u becomes the remainder, and q, unless it is null,
/// the quotient of uLimbs - vLimbs limbs. q must be neither u nor v.
template <typename Limb>
inline void divideNormalised(Digit* q, Digit* u, size_t uLimbs, Digit const* v, size_t vLimbs) {
    using Product = typename LimbTraits<Limb>::Product;
    constexpr size_t step = limbDigits<Limb>;
    Limb top = load<Limb>(v + (vLimbs - 1) * step);
    Limb second = vLimbs < 2 ? 0 : load<Limb>(v + (vLimbs - 2) * step);
    InvariantDivisor<Limb> byTop(top);
    for (size_t j = uLimbs - vLimbs; j-- != 0;) {
        Digit* part = u + j * step; // The vLimbs + 1 limbs that determine this quotient limb.
        Digit* high = part + vLimbs * step;
        Limb remainder = load<Limb>(high);
        Limb estimate = static_cast<Limb>(-1);
        bool remainderFits = vLimbs >= 2; // With a single limb in the divisor, the quotient is exact.
        if (remainder < top) {
            estimate = byTop.divide(remainder, load<Limb>(high - step));
        } else { // remainder == top: the quotient would be the base.
            remainder = top + load<Limb>(high - step);
            remainderFits = remainderFits && remainder >= top;
        }
        // With two limbs of the divisor, the estimate is at most one too large.
        while (remainderFits) {
            Product tested = static_cast<Product>(estimate) * second;
            if (tested <= (static_cast<Product>(remainder) << limbBits<Limb> | load<Limb>(high - 2 * step)))
                break;
            --estimate;
            remainder += top;
            remainderFits = remainder >= top;
        }
        Limb carry = 0;
        Limb borrow = 0;
        for (size_t i = 0; i < vLimbs; ++i) {
            Limb product = multiplyAdd<Limb>(load<Limb>(v + i * step), estimate, 0, carry);
            store<Limb>(part + i * step, subtractBorrow(load<Limb>(part + i * step), product, borrow));
        }
        store<Limb>(high, subtractBorrow(load<Limb>(high), carry, borrow));
        if (borrow != 0) {
            --estimate;
            Limb back = 0;
            for (size_t i = 0; i < vLimbs; ++i)
                store<Limb>(part + i * step,
                            addCarry(load<Limb>(part + i * step), load<Limb>(v + i * step), back));
            store<Limb>(high, load<Limb>(high) + back);
        }
        if (q != nullptr)
            store<Limb>(q + j * step, estimate);
    }
}

} // namespace detail

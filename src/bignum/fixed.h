/// Numbers of fixed width on the stack, and residues modulo a constant. Nothing here allocates, and neither
/// branches nor addresses depend on the numbers.
#pragma once

#include "sealkit/wipe.h"

#include "base/mask.h"
#include "bignum/kernel.h"

#include <algorithm>
#include <array>
#include <span>

namespace detail {

/// A number of N limbs, least significant first.
template <size_t N>
using Fixed = std::array<NativeLimb, N>;

/// 1 if x is 0, and 0 otherwise.
SEALKIT_INLINED inline NativeLimb isZeroLimb(NativeLimb x) {
    return static_cast<NativeLimb>((~x & (x - 1)) >> (limbBits<NativeLimb> - 1));
}

/// r = a + b. Returns the carry.
template <size_t N>
SEALKIT_INLINED inline NativeLimb add(Fixed<N>& r, Fixed<N> const& a, Fixed<N> const& b) {
    NativeLimb carry = 0;
    unrolled<N>([&](auto i) SEALKIT_INLINED { r[i] = addCarry(a[i], b[i], carry); });
    return carry;
}

/// r = a - b. Returns the borrow.
template <size_t N>
SEALKIT_INLINED inline NativeLimb subtract(Fixed<N>& r, Fixed<N> const& a, Fixed<N> const& b) {
    NativeLimb borrow = 0;
    unrolled<N>([&](auto i) SEALKIT_INLINED { r[i] = subtractBorrow(a[i], b[i], borrow); });
    return borrow;
}

/// r = a if the mask is ones; r is unchanged if it is zero.
template <size_t N>
SEALKIT_INLINED inline void assignIf(Fixed<N>& r, NativeLimb mask, Fixed<N> const& a) {
    unrolled<N>([&](auto i) SEALKIT_INLINED { r[i] ^= (r[i] ^ a[i]) & mask; });
}

/// Subtracts m from r + top * base^N unless that is below m. It must be below 2m.
template <size_t N>
SEALKIT_INLINED inline void reduceOnce(Fixed<N>& r, NativeLimb top, Fixed<N> const& m) {
    Fixed<N> less;
    NativeLimb const borrow = subtract(less, r, m);
    assignIf(r, maskOf<NativeLimb>(top | (borrow ^ 1)), less);
}

/// 1 if x is 0, and 0 otherwise.
template <size_t N>
SEALKIT_INLINED inline NativeLimb isZero(Fixed<N> const& x) {
    NativeLimb bits = 0;
    unrolled<N>([&](auto i) SEALKIT_INLINED { bits |= x[i]; });
    return isZeroLimb(bits);
}

/// Up to this many limbs, loops over rows are unrolled.
inline constexpr size_t laidOut = 6;

/// A product of two numbers of N limbs.
template <size_t N>
using Wide = std::array<NativeLimb, 2 * N>;

/// t = a * b.
template <size_t N>
SEALKIT_INLINED inline void multiply(Wide<N>& t, Fixed<N> const& a, Fixed<N> const& b) {
    auto const row = [&](size_t i, auto isFirst) SEALKIT_INLINED {
        NativeLimb carry = 0;
        unrolled<N>([&](auto j) SEALKIT_INLINED {
            t[i + j] = multiplyAdd<NativeLimb>(a[i], b[j], isFirst ? 0 : t[i + j], carry);
        });
        t[i + N] = carry;
    };
    row(0, std::true_type());
    if constexpr (N <= laidOut) {
        unrolled<N - 1>([&](auto i) SEALKIT_INLINED { row(i + 1, std::false_type()); });
    } else {
        for (size_t i = 1; i < N; ++i)
            row(i, std::false_type());
    }
}

/// t = a * a.
template <size_t N>
SEALKIT_INLINED inline void square(Wide<N>& t, Fixed<N> const& a) {
    // The products of different limbs, which are doubled afterwards.
    t[0] = 0;
    unrolled<N - 1>([&](auto i) SEALKIT_INLINED {
        NativeLimb carry = 0;
        unrolled<N - 1 - i>([&](auto j) SEALKIT_INLINED {
            NativeLimb& sum = t[2 * i + 1 + j];
            sum = multiplyAdd<NativeLimb>(a[i], a[i + 1 + j], i == 0 ? 0 : sum, carry);
        });
        t[N + i] = carry;
    });
    t[2 * N - 1] = 0;
    constexpr unsigned top = limbBits<NativeLimb> - 1;
    NativeLimb carry = 0;
    NativeLimb shiftedOut = 0;
    unrolled<N>([&](auto i) SEALKIT_INLINED {
        NativeLimb const low = t[2 * i];
        NativeLimb high = t[2 * i + 1];
        t[2 * i] = multiplyAdd<NativeLimb>(a[i], a[i], low << 1 | shiftedOut, carry);
        shiftedOut = high >> top;
        high = high << 1 | low >> top;
        high += carry;
        carry = high < carry;
        t[2 * i + 1] = high;
    });
}

/// Writes digits to limbs and zeros above them.
template <size_t N>
inline void setDigits(Fixed<N>& x, std::span<Digit const> digits) {
    constexpr size_t step = limbDigits<NativeLimb>;
    for (size_t i = 0; i < N; ++i) {
        x[i] = 0;
        for (size_t j = 0; j < step && i * step + j < digits.size(); ++j)
            x[i] |= static_cast<NativeLimb>(digits[i * step + j]) << (j * digitBits);
    }
}

template <size_t N>
inline Fixed<N> toFixed(std::span<Digit const> digits) {
    Fixed<N> x;
    setDigits(x, digits);
    return x;
}

/// Digit `i` of a number.
template <size_t N>
inline Digit digitOf(std::array<NativeLimb, N> const& x, size_t i) {
    return static_cast<Digit>(x[i / limbDigits<NativeLimb>] >> (i % limbDigits<NativeLimb> * digitBits));
}

/// The big-endian number at the end of `bytes`.
template <size_t N, typename Bytes>
consteval Fixed<N> fixedOf(Bytes const& bytes) {
    Fixed<N> x{};
    for (size_t i = 0; i < bytes.size() && i < N * sizeof(NativeLimb); ++i)
        x[i / sizeof(NativeLimb)] |= static_cast<NativeLimb>(bytes[bytes.size() - 1 - i])
                                     << (i % sizeof(NativeLimb) * 8);
    return x;
}

/// x * 2^count modulo m. x must be below m.
template <size_t N>
consteval Fixed<N> doubled(Fixed<N> x, Fixed<N> const& m, unsigned count) {
    for (; count > 0; --count) {
        NativeLimb top = 0;
        for (NativeLimb& limb : x) {
            NativeLimb const out = limb >> (limbBits<NativeLimb> - 1);
            limb = limb << 1 | top;
            top = out;
        }
        Fixed<N> less{};
        NativeLimb borrow = 0;
        for (size_t i = 0; i < N; ++i) {
            NativeLimb const difference = x[i] - m[i];
            less[i] = difference - borrow;
            borrow = x[i] < m[i] || difference < borrow;
        }
        if (top != 0 || borrow == 0)
            x = less;
    }
    return x;
}

/// Converts a number below the modulus to the form of `Residues`, for constants.
template <typename Residues>
consteval typename Residues::Element enteredOf(typename Residues::Element const& plain) {
    return doubled(plain, Residues::modulus, Residues::digits * digitBits);
}

/// Montgomery form modulo any odd number of N limbs: `Modulus::bytes`, big-endian.
template <size_t N, typename Modulus>
struct MontgomeryModulus {
    static constexpr size_t limbs = N;
    static constexpr unsigned radixBits = N * limbBits<NativeLimb>;
    static constexpr Fixed<N> value = fixedOf<N>(Modulus::bytes);

    /// r = t / 2^radixBits modulo `value`. t must be below `value` * 2^radixBits.
    SEALKIT_INLINED static void reduce(Fixed<N>& r, Wide<N>& t) {
        constexpr NativeLimb inverse = negativeInverse(value[0]);
        NativeLimb above = 0;
        auto const row = [&](size_t i) SEALKIT_INLINED {
            NativeLimb const factor = t[i] * inverse;
            NativeLimb carry = 0;
            unrolled<N>([&](auto j) SEALKIT_INLINED {
                t[i + j] = multiplyAdd<NativeLimb>(factor, value[j], t[i + j], carry);
            });
            t[i + N] = addCarry(t[i + N], carry, above);
        };
        if constexpr (N <= laidOut) {
            unrolled<N>([&](auto i) SEALKIT_INLINED { row(i); });
        } else {
            for (size_t i = 0; i < N; ++i)
                row(i);
        }
        unrolled<N>([&](auto i) SEALKIT_INLINED { r[i] = t[N + i]; });
        reduceOnce(r, above, value);
    }
};

/// Arithmetic on residues below `Modulus`, in Montgomery form with R = 2^radixBits. The modulus defines how a
/// product is reduced, or how two residues are multiplied, and may define faster sums and differences.
template <typename Modulus>
struct Residues {
    static constexpr size_t limbs = Modulus::limbs;
    static constexpr size_t digits = Modulus::radixBits / digitBits;
    using Element = Fixed<limbs>;
    static constexpr Element modulus = Modulus::value;

    static constexpr Element one = doubled(Element{1}, Modulus::value, Modulus::radixBits);
    static constexpr Element radixSquared = doubled(one, Modulus::value, Modulus::radixBits);

    /// r = a * b / R.
    [[gnu::noinline]] static void mul(Element& r, Element const& a, Element const& b) {
        if constexpr (requires { Modulus::mul(r, a, b); }) {
            Modulus::mul(r, a, b);
        } else {
            Wide<limbs> t;
            multiply(t, a, b);
            Modulus::reduce(r, t);
        }
    }

    /// r = a * a / R.
    [[gnu::noinline]] static void sqr(Element& r, Element const& a) {
        if constexpr (requires { Modulus::sqr(r, a); }) {
            Modulus::sqr(r, a);
        } else {
            Wide<limbs> t;
            square(t, a);
            Modulus::reduce(r, t);
        }
    }

    [[gnu::noinline]] static void add(Element& r, Element const& a, Element const& b) {
        if constexpr (requires { Modulus::add(r, a, b); }) {
            Modulus::add(r, a, b);
        } else {
            NativeLimb const carry = detail::add(r, a, b);
            reduceOnce(r, carry, Modulus::value);
        }
    }

    [[gnu::noinline]] static void sub(Element& r, Element const& a, Element const& b) {
        if constexpr (requires { Modulus::sub(r, a, b); }) {
            Modulus::sub(r, a, b);
        } else {
            NativeLimb const mask = maskOf<NativeLimb>(detail::subtract(r, a, b));
            NativeLimb carry = 0;
            unrolled<limbs>([&](auto i)
                                SEALKIT_INLINED { r[i] = addCarry(r[i], Modulus::value[i] & mask, carry); });
        }
    }

    /// r = a / 2.
    [[gnu::noinline]] static void halve(Element& r, Element const& a) {
        NativeLimb const mask = maskOf<NativeLimb>(a[0] & 1);
        NativeLimb carry = 0;
        Element sum;
        unrolled<limbs>([&](auto i)
                            SEALKIT_INLINED { sum[i] = addCarry(a[i], Modulus::value[i] & mask, carry); });
        unrolled<limbs>([&](auto i) SEALKIT_INLINED {
            NativeLimb const above = i + 1 < limbs ? sum[i + 1 < limbs ? i + 1 : i] : carry;
            r[i] = sum[i] >> 1 | above << (limbBits<NativeLimb> - 1);
        });
    }

    /// r = -a if the mask is ones; r = a if it is zero.
    [[gnu::noinline]] static void negateIf(Element& r, NativeLimb mask, Element const& a) {
        Element negative;
        sub(negative, Element{}, a);
        r = a;
        assignIf(r, mask, negative);
    }

    /// Converts a number below the modulus to and from Montgomery form.
    static void enter(Element& r, Element const& plain) { mul(r, plain, radixSquared); }
    static void leave(Element& r, Element const& x) {
        constexpr Element plainOne{1};
        mul(r, x, plainOne);
    }

    /// r = a to the power of the modulus less 2, which is the inverse modulo a prime, or 0 for 0. The
    /// sequence of steps is constant: most primes here begin with many ones, whose power takes few products,
    /// and sliding windows process the rest.
    static void invert(Element& r, Element const& a) {
        constexpr unsigned rest = exponentBits - leadingOnes;
        constexpr unsigned width = rest < 8 ? 1 : 5;
        struct Powers {
            Element odd[1U << (width - 1)]; ///< a, a^3, a^5 and so on.
            Element result, factor;
            ~Powers() { secureMemset(this, 0, sizeof *this); }
        } powers;
        auto const squareTimes = [&](unsigned times) {
            while (times-- > 0)
                sqr(powers.result, powers.result);
        };

        powers.odd[0] = a;
        sqr(powers.factor, a);
        for (unsigned i = 1; i < std::size(powers.odd); ++i)
            mul(powers.odd[i], powers.odd[i - 1], powers.factor);

        // a^(2^ones - 1), by the bits of `ones`.
        powers.result = a;
        for (unsigned bit = static_cast<unsigned>(std::bit_width(leadingOnes)) - 1; bit-- > 0;) {
            powers.factor = powers.result;
            squareTimes(leadingOnes >> (bit + 1));
            mul(powers.result, powers.result, powers.factor);
            if ((leadingOnes >> bit & 1) != 0) {
                sqr(powers.result, powers.result);
                mul(powers.result, powers.result, a);
            }
        }

        for (unsigned left = rest; left > 0;) {
            unsigned taken = std::min(width, left);
            unsigned window = bitsOfExponent(left - taken, taken);
            if (window >> (taken - 1) == 0) {
                squareTimes(1);
                --left;
                continue;
            }
            for (; (window & 1) == 0; window >>= 1)
                --taken;
            squareTimes(taken);
            mul(powers.result, powers.result, powers.odd[window / 2]);
            left -= taken;
        }
        r = powers.result;
    }

private:
    /// The modulus less 2.
    static constexpr Element less2 = [] {
        Element x = Modulus::value;
        NativeLimb borrow = 2;
        for (NativeLimb& limb : x) {
            NativeLimb const before = limb;
            limb -= borrow;
            borrow = before < borrow;
        }
        return x;
    }();

    /// `count` bits of the exponent, starting at bit `from`.
    static constexpr unsigned bitsOfExponent(unsigned from, unsigned count) {
        unsigned bits = 0;
        for (unsigned at = from + count; at-- > from;)
            bits = bits << 1 | (less2[at / limbBits<NativeLimb>] >> (at % limbBits<NativeLimb>)&1);
        return bits;
    }
    static constexpr unsigned exponentBits = [] {
        unsigned bits = limbs * limbBits<NativeLimb>;
        while (bitsOfExponent(bits - 1, 1) == 0)
            --bits;
        return bits;
    }();
    static constexpr unsigned leadingOnes = [] {
        unsigned ones = 0;
        while (ones < exponentBits && bitsOfExponent(exponentBits - 1 - ones, 1) == 1)
            ++ones;
        return ones;
    }();
};

} // namespace detail

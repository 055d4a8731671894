// Elements of the field of 2^255 - 19, on the stack.
//
// An element is a sum of signed limbs: five of 51 bits if the machine multiplies 64-bit words into 128 bits,
// otherwise ten of alternately 26 and 25 bits. Limb i has the weight 2^ceil(255·i/limbs), and 2^255 is
// reduced to 19. Limbs have spare bits, so sums and differences need no carries. Sizes are counted in units:
//
// - The results of `mul`, `sqr`, `carried` and an inverse have one unit: ten limbs have at most 1.01·2^25
//   (even) and 1.01·2^24 (odd), five limbs at most 1.01·2^51. The result of `fromDigits` counts as two.
// - The results of `add` and `sub` have the sum of the units of their operands.
// - `mul` takes at most eight units as its first operand and three as its second; `sqr` takes three.
//   `carried` takes eight, and all other operations four.
//
// With ten limbs, the tighter case, 19·g of an even limb and 38·g of an odd one with three units are below
// 2^31, and a column of `mul` is below 8·3·1.03·2^50·(1 + 4·19 + 5·38/4) < 2^62. With five it is below
// 8·3·1.03·2^102·(1 + 4·19) < 2^113.
//
// Except for `isZero`, neither branches nor addresses depend on the values of elements.
#pragma once

#include "sealkit/wipe.h"

#include "base/unrolled.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace detail {

template <typename Limb>
struct FieldLimb;

/// Ten limbs. Carries are rounded to nearest, which halves the remaining limbs.
template <>
struct FieldLimb<int32_t> {
    using Unsigned = uint32_t;
    using Wide = int64_t;
    static constexpr unsigned count = 10;
    static constexpr bool roundsCarries = true;
};

#ifdef __SIZEOF_INT128__
/// Five limbs, which have enough spare bits for carries that are rounded down.
template <>
struct FieldLimb<int64_t> {
    using Unsigned = uint64_t;
    __extension__ using Wide = __int128;
    static constexpr unsigned count = 5;
    static constexpr bool roundsCarries = false;
};
using NativeFieldLimb = int64_t;
#else
using NativeFieldLimb = int32_t;
#endif

template <typename L>
struct Field25519 {
    using Limb = L;
    using Unsigned = typename FieldLimb<Limb>::Unsigned;
    using Wide = typename FieldLimb<Limb>::Wide;
    static constexpr unsigned count = FieldLimb<Limb>::count;
    static constexpr unsigned digits = 8; ///< 32-bit digits of a number below 2^256.

    Limb limb[count] = {};

    static constexpr unsigned position(unsigned i) { return (255 * i + count - 1) / count; }
    static constexpr unsigned width(unsigned i) { return position(i + 1) - position(i); }
    static constexpr Unsigned mask(unsigned i) { return (Unsigned{1} << width(i)) - 1; }

    /// Converts a number below 2^255 from eight digits, least significant first. Bit 255 is ignored.
    static constexpr Field25519 fromDigits(uint32_t const* digit) {
        Field25519 x;
        unrolled<count>([&](auto i) __attribute__((always_inline)) {
            constexpr unsigned at = position(i) / 32;
            constexpr unsigned shift = position(i) % 32;
            uint64_t bits = uint64_t{digit[at]} >> shift;
            if constexpr (32 - shift < width(i))
                bits |= uint64_t{digit[at + 1]} << (32 - shift);
            if constexpr (64 - shift < width(i))
                bits |= uint64_t{digit[at + 2]} << (64 - shift);
            x.limb[i] = static_cast<Limb>(bits & mask(i));
        });
        return x;
    }

    /// Converts a hexadecimal constant, most significant digit first.
    static consteval Field25519 fromHex(std::string_view hex) {
        uint32_t digit[digits] = {};
        for (size_t i = 0; i < hex.size(); ++i) {
            char const c = hex[hex.size() - 1 - i];
            digit[i / 8] |= static_cast<uint32_t>(c <= '9' ? c - '0' : c - 'a' + 10) << i % 8 * 4;
        }
        return fromDigits(digit);
    }

    static constexpr Field25519 small(Limb value) {
        Field25519 x;
        x.limb[0] = value;
        return x;
    }
};

template <typename F>
[[gnu::always_inline]] inline void add(F& r, F const& a, F const& b) {
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) { r.limb[i] = a.limb[i] + b.limb[i]; });
}

template <typename F>
[[gnu::always_inline]] inline void sub(F& r, F const& a, F const& b) {
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) { r.limb[i] = a.limb[i] - b.limb[i]; });
}

/// Reduces sums of limbs to one unit by passing their excess on.
template <typename F, typename Sum>
[[gnu::always_inline]] inline void carry(F& r, Sum (&sum)[F::count]) {
    using Limb = typename F::Limb;
    using Unsigned = typename F::Unsigned;
    auto const pass = [&](auto i) __attribute__((always_inline)) {
        constexpr unsigned width = F::width(i);
        constexpr Unsigned half = FieldLimb<Limb>::roundsCarries ? Unsigned{1} << (width - 1) : 0;
        sum[i] += static_cast<Sum>(half);
        r.limb[i] = static_cast<Limb>((static_cast<Unsigned>(sum[i]) & F::mask(i)) - half);
        return sum[i] >> width;
    };
    unrolled<F::count - 1>([&](auto i) __attribute__((always_inline)) { sum[i + 1] += pass(i); });
    // The carry out of the top is below 2^59 and returns times 19.
    auto const out = static_cast<int64_t>(pass(std::integral_constant<unsigned, F::count - 1>()));
    sum[0] = r.limb[0] + static_cast<Sum>(out) * 19;
    r.limb[1] += static_cast<Limb>(pass(std::integral_constant<unsigned, 0>()));
}

template <typename F>
inline void carried(F& r, F const& a) {
    typename F::Limb sum[F::count];
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) { sum[i] = a.limb[i]; });
    carry(r, sum);
}

/// Whether the product of limbs i and j has twice the weight of its limb.
template <typename F>
constexpr bool isDoubled(unsigned i, unsigned j) {
    return (F::position(i) + F::position(j) - F::position(i + j)) != 0;
}

/// r = a·b. r may be a or b.
template <typename F>
[[gnu::noinline]] void mul(F& r, F const& a, F const& b) {
    using Limb = typename F::Limb;
    using Wide = typename F::Wide;
    Limb twice[F::count];
    Limb folded[F::count]; // 19·b
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) {
        twice[i] = 2 * a.limb[i];
        folded[i] = 19 * b.limb[i];
    });
    Wide sum[F::count];
    unrolled<F::count>([&](auto column) __attribute__((always_inline)) {
        Wide s = 0;
        unrolled<F::count>([&](auto i) __attribute__((always_inline)) {
            constexpr unsigned j = (column + F::count - i) % F::count;
            Limb const left = isDoubled<F>(i, j) ? twice[i] : a.limb[i];
            s += static_cast<Wide>(left) * (i > column ? folded[j] : b.limb[j]);
        });
        sum[column] = s;
    });
    carry(r, sum);
}

/// r = a². r may be a.
template <typename F>
[[gnu::noinline]] void sqr(F& r, F const& a) {
    using Limb = typename F::Limb;
    using Wide = typename F::Wide;
    Limb twice[F::count];
    Limb folded[F::count];
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) {
        twice[i] = 2 * a.limb[i];
        folded[i] = 19 * a.limb[i];
    });
    Wide sum[F::count];
    unrolled<F::count>([&](auto column) __attribute__((always_inline)) {
        Wide s = 0;
        unrolled<F::count>([&](auto i) __attribute__((always_inline)) {
            constexpr unsigned j = (column + F::count - i) % F::count;
            if constexpr (i <= j) {
                Limb const left = i < j ? twice[i] : a.limb[i];
                Limb const right = i + j >= F::count ? folded[j] : a.limb[j];
                s += static_cast<Wide>(left) * (isDoubled<F>(i, j) ? 2 * right : right);
            }
        });
        sum[column] = s;
    });
    carry(r, sum);
}

/// r = a^(2^n).
template <typename F>
inline void sqr(F& r, F const& a, unsigned n) {
    sqr(r, a);
    while (--n != 0)
        sqr(r, r);
}

/// r = a^(2^252 - 3) = a^((p - 5)/8), with 251 squares and 11 products. r must not be a.
template <typename F>
inline void powP58(F& r, F const& a) {
    F x, y; // Powers a^(2^n - 1) with growing n.
    sqr(x, a);
    sqr(y, x, 2);
    mul(y, y, a); // 9
    mul(x, x, y); // 11
    sqr(x, x);
    mul(y, y, x); // 31: n = 5
    sqr(x, y, 5);
    mul(y, x, y); // 10
    sqr(x, y, 10);
    mul(x, x, y); // 20
    sqr(r, x, 20);
    mul(x, r, x); // 40
    sqr(x, x, 10);
    mul(y, x, y); // 50
    sqr(x, y, 50);
    mul(x, x, y); // 100
    sqr(r, x, 100);
    mul(x, r, x); // 200
    sqr(x, x, 50);
    mul(x, x, y); // 250
    sqr(x, x, 2);
    mul(r, x, a); // 2^252 - 4 + 1
}

/// r = a^(p - 2): the inverse, or 0 for 0. As p - 2 = 8·(2^252 - 3) + 3, 254 squares and 13 products suffice.
template <typename F>
inline void invert(F& r, F const& a) {
    F x, cube;
    powP58(x, a);
    sqr(x, x, 3);
    sqr(cube, a);
    mul(cube, cube, a);
    mul(r, x, cube);
}

/// Reduces to a number below p, as eight digits.
template <typename F>
inline void toDigits(uint32_t (&digit)[F::digits], F const& a) {
    using Limb = typename F::Limb;
    using Unsigned = typename F::Unsigned;
    F x;
    carried(x, a);
    // The value is between -1.1·2^255 and 1.1·2^255. Adding 2p makes it positive, and two rounds reduce it
    // below 2^255.
    for (unsigned i = 0; i < F::count; ++i)
        x.limb[i] += static_cast<Limb>(2 * F::mask(i) - (i == 0 ? 36 : 0));
    auto const fold = [&](Limb in) {
        for (unsigned i = 0; i < F::count; ++i) {
            Limb const sum = x.limb[i] + in;
            x.limb[i] = static_cast<Limb>(static_cast<Unsigned>(sum) & F::mask(i));
            in = sum >> F::width(i);
        }
        return in;
    };
    Limb out = fold(0);
    out = fold(19 * out);
    fold(19 * out);
    // The value is at least p exactly if adding 19 carries out of the top. The sum without the carry is then
    // the result.
    F const below = x;
    out = fold(19);
    x = below;
    fold(19 & -out);

    for (uint32_t& d : digit)
        d = 0;
    unrolled<F::count>([&](auto i) __attribute__((always_inline)) {
        constexpr unsigned at = F::position(i) / 32;
        constexpr unsigned shift = F::position(i) % 32;
        auto const bits = static_cast<uint64_t>(x.limb[i]);
        digit[at] |= static_cast<uint32_t>(bits << shift);
        if constexpr (32 - shift < F::width(i))
            digit[at + 1] |= static_cast<uint32_t>(bits >> (32 - shift));
        if constexpr (64 - shift < F::width(i))
            digit[at + 2] |= static_cast<uint32_t>(bits >> (64 - shift));
    });
    secureMemset(&x, 0, sizeof x);
}

/// Whether a, of at most four units, is 0 modulo p. Returns early in almost all cases in which it is not.
template <typename F>
inline bool isZero(F const& a) {
    // The value is a small multiple m·p, and the low bits of m·p are those of -19·m.
    using Unsigned = typename F::Unsigned;
    constexpr Unsigned most = 8 * 19;
    if (((static_cast<Unsigned>(a.limb[0]) + most) & F::mask(0)) > 2 * most)
        return false;
    uint32_t digit[F::digits];
    toDigits(digit, a);
    uint32_t bits = 0;
    for (uint32_t d : digit)
        bits |= d;
    return bits == 0;
}

using NativeField25519 = Field25519<NativeFieldLimb>;

} // namespace detail

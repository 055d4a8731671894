/// The fields of the named curves: residues modulo their primes, in the form that a `MontgomeryReducer` gives them.
///
/// The primes are sums of few powers of two, so that Montgomery's reduction of them adds and subtracts and hardly
/// multiplies.
#pragma once

#include "bignum/fixed.h"
#include "ec/domain_parameters.h"

namespace detail {

/// Where Montgomery's reduction adds (or subtracts) the digit that it eliminates.
struct ReductionTerm {
    unsigned offset; ///< In digits of 32 bits, above the one that is eliminated.
    int sign;
};

/// A prime p of `digits` digits for which the term at offset 0 is -1 and the others are `terms`: the sum of all is p or
/// -p. The columns are those of 32-bit digits, as the powers of two are at their borders.
template <size_t count, auto const& modulusBytes, ReductionTerm... terms>
struct SparsePrime {
    static constexpr size_t limbs = limbCount<NativeLimb>(count);
    static constexpr unsigned radixBits = count * digitBits;
    static constexpr Fixed<limbs> value = fixedOf<limbs>(modulusBytes);

    SEALKIT_INLINED static void reduce(Fixed<limbs>& r, Wide<limbs>& t) {
        Digit eliminated[count];
        int64_t sum = 0;
        Fixed<limbs> result{};
        unrolled<2 * count>([&](auto column) SEALKIT_INLINED {
            constexpr unsigned c = column;
            sum += digitOf(t, c);
            unrolled<sizeof...(terms)>([&](auto index) SEALKIT_INLINED {
                constexpr ReductionTerm term = list[index];
                if constexpr (c >= term.offset && c - term.offset < count) {
                    if constexpr (term.sign > 0)
                        sum += eliminated[c - term.offset];
                    else
                        sum -= eliminated[c - term.offset];
                }
            });
            Digit const digit = static_cast<Digit>(sum);
            if constexpr (c < count)
                eliminated[c] = digit;
            else
                result[(c - count) / limbDigits<NativeLimb>] |=
                    static_cast<NativeLimb>(digit) << ((c - count) % limbDigits<NativeLimb> * digitBits);
            sum >>= digitBits;
        });
        r = result;
        if constexpr (isPositive) {
            reduceOnce(r, static_cast<NativeLimb>(sum), value);
        } else { // above -p and below p
            NativeLimb const mask = static_cast<NativeLimb>(sum);
            NativeLimb carry = 0;
            unrolled<limbs>([&](auto i) SEALKIT_INLINED { r[i] = addCarry(r[i], value[i] & mask, carry); });
            if constexpr (count % limbDigits<NativeLimb> != 0)
                r[limbs - 1] &= (NativeLimb{1} << digitBits) - 1;
        }
    }

private:
    static constexpr ReductionTerm list[] = {terms...};
    static constexpr bool isPositive = ((terms.offset == count ? terms.sign : 0) + ...) > 0;
};

/// 2^192 - 2^64 - 1.
using FieldP192 = Residues<SparsePrime<6, namedCurves[0].p, ReductionTerm{2, -1}, ReductionTerm{6, 1}>>;
/// 2^224 - 2^96 + 1.
using FieldP224 = Residues<SparsePrime<7, namedCurves[1].p, ReductionTerm{3, 1}, ReductionTerm{7, -1}>>;

#ifdef __SIZEOF_INT128__
/// 2^256 - 2^224 + 2^192 + 2^96 - 1 in limbs of 64 bits: the lowest is -1, so that a limb is its own factor, and of the
/// products with the others one alone is more than a shift.
struct WidePrimeP256 {
    static constexpr size_t limbs = 4;
    static constexpr unsigned radixBits = 256;
    static constexpr Fixed<4> value = fixedOf<4>(namedCurves[2].p);

    SEALKIT_INLINED static void reduce(Fixed<4>& r, Wide<4>& t) {
        NativeLimb above = 0;
        unrolled<4>([&](auto i) SEALKIT_INLINED {
            NativeLimb const factor = t[i];
            NativeLimb carry = 0;
            t[i + 1] = addCarry<NativeLimb>(t[i + 1], factor << 32, carry);
            t[i + 2] = addCarry<NativeLimb>(t[i + 2], factor >> 32, carry);
            t[i + 3] = multiplyAdd<NativeLimb>(factor, value[3], t[i + 3], carry);
            t[i + 4] = addCarry(t[i + 4], carry, above);
        });
        unrolled<4>([&](auto i) SEALKIT_INLINED { r[i] = t[4 + i]; });
        reduceOnce(r, above, value);
    }
};
using FieldP256 = Residues<WidePrimeP256>;
#else
/// 2^256 - 2^224 + 2^192 + 2^96 - 1.
using FieldP256 = Residues<SparsePrime<8, namedCurves[2].p, ReductionTerm{3, 1}, ReductionTerm{6, 1},
                                       ReductionTerm{7, -1}, ReductionTerm{8, 1}>>;
#endif

/// 2^384 - 2^128 - 2^96 + 2^32 - 1.
using FieldP384 = Residues<SparsePrime<12, namedCurves[3].p, ReductionTerm{1, 1}, ReductionTerm{3, -1},
                                       ReductionTerm{4, -1}, ReductionTerm{12, 1}>>;

/// 2^521 - 1. Dividing by R = 2^544 is a rotation by 23 bits, as 2^521 is 1.
struct MersennePrime521 {
    static constexpr unsigned radixBits = 544;
    static constexpr size_t limbs = limbCount<NativeLimb>(radixBits / digitBits);
    static constexpr Fixed<limbs> value = fixedOf<limbs>(namedCurves[4].p);

    SEALKIT_INLINED static void reduce(Fixed<limbs>& r, Wide<limbs>& t) {
        constexpr unsigned top = limbs - 1;
        constexpr unsigned topBits = 521 % limbBits<NativeLimb>;
        constexpr NativeLimb topMask = (NativeLimb{1} << topBits) - 1;
        // t = low + high * 2^544 is high + low / 2^23, and the 23 lowest bits of t come in again at bit 498.
        NativeLimb carry = 0;
        unrolled<limbs>([&](auto i) SEALKIT_INLINED {
            NativeLimb high = bitsFrom<544 + i * limbBits<NativeLimb>>(t);
            if constexpr ((i + 1) * limbBits < NativeLimb >> 498 && i * limbBits<NativeLimb> <= 498)
                high |= (t[0] & 0x7FFFFF) << (498 - i * limbBits<NativeLimb>);
            else if constexpr (i == top)
                high |= (t[0] & 0x7FFFFF) >> (i * limbBits<NativeLimb> - 498);
            NativeLimb low = bitsFrom<23 + i * limbBits<NativeLimb>>(t);
            if constexpr (i == top)
                low &= topMask;
            r[i] = addCarry(high, low, carry);
        });
        // What is above 521 bits counts as much at the bottom. The sum is the prime itself for no product but one of 0,
        // and that is 0.
        carry = r[top] >> topBits;
        r[top] &= topMask;
        unrolled<limbs>([&](auto i) SEALKIT_INLINED { r[i] = addCarry<NativeLimb>(r[i], 0, carry); });
    }

private:
    /// A limb's worth of bits of t, from a bit on.
    template <unsigned bit>
    SEALKIT_INLINED static NativeLimb bitsFrom(Wide<limbs> const& t) {
        constexpr unsigned index = bit / limbBits<NativeLimb>;
        constexpr unsigned shift = bit % limbBits<NativeLimb>;
        NativeLimb bits = index < 2 * limbs ? t[index < 2 * limbs ? index : 0] >> shift : 0;
        if constexpr (shift != 0 && index + 1 < 2 * limbs)
            bits |= t[index + 1] << (limbBits<NativeLimb> - shift);
        return bits;
    }
};
using FieldP521 = Residues<MersennePrime521>;

} // namespace detail

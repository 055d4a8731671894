/// The fields of the named curves: residues modulo their primes, in the form of a `MontgomeryReducer`.
///
/// The primes are sums of few powers of two, so Montgomery reduction mostly adds and subtracts.
#pragma once

#include "bignum/fixed.h"
#include "ec/domain_parameters.h"

namespace detail {

/// The primes and the orders, as types.
template <size_t index>
struct PrimeOf {
    static constexpr Bytes bytes = namedCurves[index].p;
};
template <size_t index>
struct OrderOf {
    static constexpr Bytes bytes = namedCurves[index].n;
};

/// A position at which Montgomery reduction adds or subtracts the eliminated digit.
struct ReductionTerm {
    unsigned offset; ///< In 32-bit digits, above the eliminated one.
    int sign;
};

/// A prime p of `digits` digits that is, up to its sign, the sum of -1 at offset 0 and `terms`. The columns
/// are 32-bit digits, because all powers of two are at their boundaries.
template <size_t count, typename Prime, ReductionTerm... terms>
struct SparsePrime {
    static constexpr size_t limbs = limbCount<NativeLimb>(count);
    static constexpr unsigned radixBits = count * digitBits;
    static constexpr Fixed<limbs> value = fixedOf<limbs>(Prime::bytes);

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
        } else { // The result is above -p and below p.
            NativeLimb const mask = static_cast<NativeLimb>(sum);
            NativeLimb carry = 0;
            unrolled<limbs>([&](auto i) SEALKIT_INLINED { r[i] = addCarry(r[i], value[i] & mask, carry); });
            if constexpr (count % limbDigits<NativeLimb> != 0)
                r[limbs - 1] &= ~Digit{0};
        }
    }

private:
    static constexpr ReductionTerm list[] = {terms...};
    static constexpr bool isPositive = ((terms.offset == count ? terms.sign : 0) + ...) > 0;
};

/// 2^192 - 2^64 - 1.
using FieldP192 = Residues<SparsePrime<6, PrimeOf<0>, ReductionTerm{2, -1}, ReductionTerm{6, 1}>>;
/// 2^224 - 2^96 + 1.
using FieldP224 = Residues<SparsePrime<7, PrimeOf<1>, ReductionTerm{3, 1}, ReductionTerm{7, -1}>>;

#ifdef __SIZEOF_INT128__
/// 2^256 - 2^224 + 2^192 + 2^96 - 1 in limbs of 64 bits. The lowest limb is -1, so each eliminated limb is
/// its own factor, and only one of its products with the others is more than a shift.
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
using FieldP256 = Residues<SparsePrime<8, PrimeOf<2>, ReductionTerm{3, 1}, ReductionTerm{6, 1},
                                       ReductionTerm{7, -1}, ReductionTerm{8, 1}>>;
#endif

/// 2^384 - 2^128 - 2^96 + 2^32 - 1.
using FieldP384 = Residues<SparsePrime<12, PrimeOf<3>, ReductionTerm{1, 1}, ReductionTerm{3, -1},
                                       ReductionTerm{4, -1}, ReductionTerm{12, 1}>>;

/// Sums and differences modulo 2^521 - 1.
struct Mersenne521Sums {
    static constexpr unsigned radixBits = 544;
    static constexpr size_t limbs = limbCount<NativeLimb>(radixBits / digitBits);
    static constexpr Fixed<limbs> value = fixedOf<limbs>(namedCurves[4].p);

    /// a + b + 1 reaches 2^521 exactly if a + b is not below the prime. Its lower bits are then the result.
    SEALKIT_INLINED static void add(Fixed<limbs>& r, Fixed<limbs> const& a, Fixed<limbs> const& b) {
        NativeLimb carry = 1;
        unrolled<limbs>([&](auto i) SEALKIT_INLINED { r[i] = addCarry(a[i], b[i], carry); });
        takeOff(r, (r[limbs - 1] >> topBits) ^ 1);
    }

    /// Adding the prime subtracts 1 modulo 2^521.
    SEALKIT_INLINED static void sub(Fixed<limbs>& r, Fixed<limbs> const& a, Fixed<limbs> const& b) {
        takeOff(r, subtract(r, a, b));
    }

protected:
    static constexpr unsigned topBits = 521 % limbBits<NativeLimb>;
    static constexpr NativeLimb topMask = (NativeLimb{1} << topBits) - 1;

private:
    /// r = r - one modulo 2^521.
    SEALKIT_INLINED static void takeOff(Fixed<limbs>& r, NativeLimb one) {
        unrolled<limbs>([&](auto i) SEALKIT_INLINED {
            NativeLimb const before = r[i];
            r[i] = before - one;
            one = before < one;
        });
        r[limbs - 1] &= topMask;
    }
};

/// 2^521 - 1. Dividing by R = 2^544 is a rotation by 23 bits, because 2^521 is 1.
#ifdef __SIZEOF_INT128__
/// Products are computed in nine limbs of 58 bits, whose columns are summed without carries. 2^522 is 2.
struct MersennePrime521 : Mersenne521Sums {
    static void mul(Fixed<9>& r, Fixed<9> const& a, Fixed<9> const& b) {
        Fixed<9> x, y;
        split(x, a);
        split(y, b);
        Column columns[9];
        unrolled<9>([&](auto k) SEALKIT_INLINED {
            Column wrapped = 0;
            unrolled<8 - k>([&](auto i)
                                SEALKIT_INLINED { wrapped += static_cast<Column>(x[k + 1 + i]) * y[8 - i]; });
            Column sum = wrapped + wrapped;
            unrolled<k + 1>([&](auto i) SEALKIT_INLINED { sum += static_cast<Column>(x[i]) * y[k - i]; });
            columns[k] = sum;
        });
        join(r, columns);
    }

    static void sqr(Fixed<9>& r, Fixed<9> const& a) {
        Fixed<9> x;
        split(x, a);
        // The sum of x[i] * x[total - i] with i from `first` to `total - first`, each pair computed once.
        auto const pairs = [&](auto total, auto first) SEALKIT_INLINED {
            constexpr unsigned count = (total + 1) / 2 - first; // The number of pairs of different limbs.
            Column sum = 0;
            unrolled<count>([&](auto i) SEALKIT_INLINED {
                sum += static_cast<Column>(x[first + i]) * x[total - first - i];
            });
            sum += sum;
            if constexpr (total % 2 == 0)
                sum += static_cast<Column>(x[total / 2]) * x[total / 2];
            return sum;
        };
        Column columns[9];
        unrolled<9>([&](auto k) SEALKIT_INLINED {
            columns[k] = pairs(std::integral_constant<unsigned, k>(), std::integral_constant<unsigned, 0>());
            if constexpr (k < 8) {
                Column const wrapped = pairs(std::integral_constant<unsigned, k + 9>(),
                                             std::integral_constant<unsigned, k + 1>());
                columns[k] += wrapped + wrapped;
            }
        });
        join(r, columns);
    }

private:
    __extension__ using Column = unsigned __int128;
    static constexpr unsigned width = 58;
    static constexpr NativeLimb mask = (NativeLimb{1} << width) - 1;

    SEALKIT_INLINED static void split(Fixed<9>& x, Fixed<9> const& a) {
        unrolled<9>([&](auto i) SEALKIT_INLINED {
            constexpr unsigned index = i * width / 64;
            constexpr unsigned shift = i * width % 64;
            x[i] = a[index] >> shift;
            if constexpr (shift > 64 - width && index < 8)
                x[i] |= a[index + 1] << (64 - shift);
            x[i] &= mask;
        });
    }

    /// Carries, reduces below 2^521 and rotates by 23 bits. The columns must be below 2^121.
    SEALKIT_INLINED static void join(Fixed<9>& r, Column const (&columns)[9]) {
        Fixed<9> x;
        Column carry = 0;
        unrolled<9>([&](auto i) SEALKIT_INLINED {
            carry += columns[i];
            x[i] = static_cast<NativeLimb>(carry) & mask;
            carry >>= width;
        });
        // The part above 522 bits, below 2^64, counts twice; the part above 521 bits once.
        carry = carry * 2 + (x[8] >> (width - 1));
        x[8] &= mask >> 1;
        unrolled<9>([&](auto i) SEALKIT_INLINED {
            carry += x[i];
            x[i] = static_cast<NativeLimb>(carry) & (i < 8 ? mask : ~NativeLimb{0});
            carry >>= width;
        });
        // If bit 521 is set now, the bits below it are less than that carry was.
        Column const low = static_cast<Column>(x[0]) + (x[8] >> (width - 1));
        x[8] &= mask >> 1;
        x[0] = static_cast<NativeLimb>(low) & mask;
        x[1] += static_cast<NativeLimb>(low >> width);
        unrolled<8>([&](auto i) SEALKIT_INLINED {
            constexpr unsigned bit = 23 + i * 64;
            constexpr unsigned index = bit / width;
            constexpr unsigned shift = bit % width;
            NativeLimb limb = x[index] >> shift;
            if constexpr (index < 8)
                limb |= x[index + 1] << (width - shift);
            if constexpr (index < 7 && 2 * width - shift < 64)
                limb |= x[index + 2] << (2 * width - shift);
            r[i] = limb;
        });
        r[7] |= x[0] << (498 - 448);
        r[8] = (x[0] & 0x7FFFFF) >> (512 - 498);
    }
};
#else
struct MersennePrime521 : Mersenne521Sums {
    SEALKIT_INLINED static void reduce(Fixed<limbs>& r, Wide<limbs>& t) {
        constexpr unsigned top = limbs - 1;
        // t = low + high * 2^544 becomes high + low / 2^23, where the 23 lowest bits of t reappear at bit
        // 498.
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
        // The part above 521 bits is added at the bottom. The sum is the prime itself only for a product of
        // 0, which yields 0.
        carry = r[top] >> topBits;
        r[top] &= topMask;
        unrolled<limbs>([&](auto i) SEALKIT_INLINED { r[i] = addCarry<NativeLimb>(r[i], 0, carry); });
    }

private:
    /// The bits of one limb of t, starting at `bit`.
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
#endif
using FieldP521 = Residues<MersennePrime521>;

} // namespace detail

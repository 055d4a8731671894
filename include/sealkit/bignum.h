/// Unsigned integers of any size, and arithmetic modulo one of them.
///
/// | name                  | what it is                                                         |
/// | --------------------- | ------------------------------------------------------------------ |
/// | `BigNum`              | an unsigned integer: bytes and text, compare, add, subtract, shift |
/// | `SignedBigNum`        | a magnitude and a sign, for the coefficients of the extended gcd   |
/// | `mul`, `sqr`          | products, schoolbook at every size                                 |
/// | `mul256`, `sqr256`    | the same for at most 256 bits                                      |
/// | `div`                 | quotient and remainder (Knuth, TAOCP volume 2, 4.3.1, algorithm D) |
/// | `gcd`, `lcm`, `begcd` | binary algorithms (HAC 14.54, 14.61)                               |
/// | `invByMod`            | inverse modulo a number                                            |
/// | `Reducer`             | a representation of residues; the base reduces nothing             |
/// | `MontgomeryReducer`   | Montgomery form for an odd modulus (HAC 14.32)                     |
/// | `Mod25519Reducer`     | partly reduced residues modulo 2^255 - 19                          |
/// | `RedNum`              | a number in the representation of its reducer                      |
/// | `expByMod`, `inv`     | sliding-window power (HAC 14.85), inverse of a residue             |
/// | `randomBigNum`        | a random number below a bound                                      |
///
/// No operation takes constant time: time and memory accesses depend on the values. Operations do not report
/// errors. Each states what it requires of its operands; a caller that reads numbers from outside must reject
/// unsuitable ones (even or zero moduli, zero divisors) before it computes. Unless a modulus or divisor is
/// zero, every operation terminates and stays within its storage.
///
/// A result may always overwrite an operand (`mul(a, a, b)`). A result keeps its storage, so a loop over the
/// same variables stops allocating once they have grown. Storage is wiped before it returns to the heap.
///
/// After a move, the source may only be assigned to or destroyed.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/detail/wiping_allocator.h"

#include <concepts>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

class Rng;

/// Selects the overload that takes little-endian bytes.
struct little_endian {};

/// An unsigned integer of any size.
class SEALKIT_API BigNum {
public:
    /// 32-bit digits, least significant first. There is always at least one, and the top one is not zero
    /// unless it is the only one: zero is the single digit 0. Code that writes to it directly calls `clamp()`
    /// afterwards.
    std::vector<unsigned, detail::WipingAllocator<unsigned>> digits;

    /// Zero.
    BigNum();
    /// The bytes as a big-endian integer. Empty gives 0; leading zero bytes are ignored.
    BigNum(asn1::blob bytes);
    /// The bytes as a little-endian integer. Empty gives 0; trailing zero bytes are ignored.
    BigNum(asn1::blob bytes, little_endian);
    /// `bn2`, `bn3` and `bn64` make small values of a stated width.
    template <std::integral Integer>
    BigNum(Integer) = delete;

    /// The number of digits.
    size_t size() const { return digits.size(); }
    /// Removes zero digits from the top.
    void clamp();

    /// Big-endian bytes without leading zeros, padded in front with zero bytes to `len` bytes. A value that
    /// needs more than `len` bytes gives a longer result.
    std::vector<unsigned char> bin(unsigned len) const;
    /// Little-endian bytes without zeros at the high end. Zero gives an empty vector.
    std::vector<unsigned char> bin(little_endian) const;
    /// Lowercase hexadecimal without a prefix and without leading zeros. Zero gives "0".
    std::string str() const;
    /// Every digit as eight characters of lowercase hexadecimal, most significant first, joined by ".".
    std::string strDigits() const;
    /// Decimal. Zero gives "0".
    std::string strDec() const;

    /// The number of significant bits; 0 for zero.
    unsigned bits() const;
    /// Bit `i`, counted from the least significant. Bits beyond the top digit are 0.
    bool getBit(unsigned i) const;
    /// Sets or clears bit `i` and appends digits up to it. Does not clamp: clearing the top bit, or a
    /// bit beyond the top, may leave zero digits at the top until the caller clamps.
    void setBit(unsigned i, bool value);

    /// The value modulo 2^n.
    void modBy2Pow(unsigned n);
    /// Folds the value modulo `mod`, a number of k digits for which 2^(32k) is congruent to `c`: the digits
    /// above the k lowest are multiplied by `c` and added to those, until there are only k; then `mod` is
    /// subtracted once if it is less than the value (HAC 14.47). The result is below 2^(32k), but may be
    /// above `mod`, and a value equal to `mod` stays.
    void reduce(BigNum const& mod, unsigned c);

    /// Multiplies by 2^(32k).
    void shiftLeftByDigits(size_t k);
    /// Divides by 2^(32k), rounding down.
    void shiftRightByDigits(size_t k);
    /// Multiplies by 2^n.
    BigNum& operator<<=(unsigned n);
    /// Divides by 2^n, rounding down.
    BigNum& operator>>=(unsigned n);

    /// Adds.
    BigNum& operator+=(BigNum const& x);
    /// Subtracts. Aborts if `x` has more digits than this. If it has as many or fewer and is still greater,
    /// the result is the difference modulo 2^(32 * digits): callers compare first.
    BigNum& operator-=(BigNum const& x);
    /// Multiplies.
    BigNum& operator*=(BigNum const& x);
    /// Adds.
    BigNum& operator+=(unsigned x);
    /// Multiplies.
    BigNum& operator*=(unsigned x);
    /// Adds v * 2^(32i).
    void addToDigit(size_t i, unsigned v);

    /// Compares the values of two numbers without zero digits at the top.
    bool operator==(BigNum const& x) const;
    bool operator!=(BigNum const& x) const { return !(*this == x); }
    bool operator<(BigNum const& x) const;
    bool operator>(BigNum const& x) const { return x < *this; }
    bool operator<=(BigNum const& x) const { return !(x < *this); }
    bool operator>=(BigNum const& x) const { return !(*this < x); }
};

/// lo + hi * 2^32.
SEALKIT_API BigNum bn2(unsigned lo, unsigned hi);
/// d0 + d1 * 2^32 + d2 * 2^64.
SEALKIT_API BigNum bn3(unsigned d0, unsigned d1, unsigned d2);
/// The number of 64 bits.
SEALKIT_API BigNum bn64(unsigned long long value);

/// The index of the lowest set bit; 0 for zero.
SEALKIT_API unsigned lsb(BigNum const& x);

/// Sums. Here and below, the overloads that take an operand by && compute in its storage.
SEALKIT_API BigNum operator+(BigNum const& a, BigNum const& b);
SEALKIT_API BigNum operator+(BigNum&& a, BigNum const& b);
SEALKIT_API BigNum operator+(BigNum const& a, BigNum&& b);
SEALKIT_API BigNum operator+(BigNum&& a, BigNum&& b);
SEALKIT_API BigNum operator+(BigNum const& a, unsigned b);
SEALKIT_API BigNum operator+(BigNum&& a, unsigned b);
/// Differences follow `operator-=`: `b` is at most `a`.
SEALKIT_API BigNum operator-(BigNum const& a, BigNum const& b);
SEALKIT_API BigNum operator-(BigNum&& a, BigNum const& b);
/// Products.
SEALKIT_API BigNum operator*(BigNum const& a, BigNum const& b);
SEALKIT_API BigNum operator*(BigNum const& a, unsigned b);
SEALKIT_API BigNum operator*(BigNum&& a, unsigned b);
/// Multiplies by 2^n.
SEALKIT_API BigNum operator<<(BigNum const& a, unsigned n);
SEALKIT_API BigNum operator<<(BigNum&& a, unsigned n);
/// Divides by 2^n, rounding down.
SEALKIT_API BigNum operator>>(BigNum const& a, unsigned n);
SEALKIT_API BigNum operator>>(BigNum&& a, unsigned n);

/// A magnitude and a sign. Zero may carry either sign.
struct SEALKIT_API SignedBigNum {
    BigNum magnitude;      ///< The value without its sign.
    bool negative = false; ///< The value is minus the magnitude.

    /// Adds `x`, or subtracts it if `minus` is set. If the magnitudes cancel exactly, the sign is unchanged.
    void add(BigNum const& x, bool minus);
};

/// r = a * b.
SEALKIT_API void mul(BigNum& r, BigNum const& a, BigNum const& b);
/// r = a^2.
SEALKIT_API void sqr(BigNum& r, BigNum const& a);
/// r = a * b for operands of at most eight digits.
SEALKIT_API void mul256(BigNum& r, BigNum const& a, BigNum const& b);
/// r = a^2 for an operand of at most eight digits.
SEALKIT_API void sqr256(BigNum& r, BigNum const& a);

/// a = q * b + r with 0 <= r < b. `b` must not be zero. A null pointer omits that result; `q` and `r` must
/// differ and may point to operands.
SEALKIT_API void div(BigNum const& a, BigNum const& b, BigNum* q, BigNum* r);

/// The greatest common divisor; gcd(0, b) is b.
SEALKIT_API BigNum gcd(BigNum const& a, BigNum const& b);
/// The least common multiple; 0 when an operand is 0.
SEALKIT_API BigNum lcm(BigNum const& a, BigNum const& b);
/// Extended gcd: g = gcd(a, b) and x * a + y * b = g. Null pointers omit results. If `a` or `b` is zero, x
/// and y are 0 and g is the other operand.
SEALKIT_API void begcd(SignedBigNum* x, SignedBigNum* y, BigNum* g, BigNum a, BigNum b);
/// The inverse of `a` modulo `m`, which must not be zero. If gcd(a, m) is not 1, no inverse exists and the
/// result is an arbitrary number below `m`, without an error.
SEALKIT_API BigNum invByMod(BigNum const& a, BigNum const& m);

struct RedNum;

/// A way of representing residues modulo a number, and the arithmetic on them. This one represents a
/// number by itself and never reduces products. Reducers do not change once they are built and may
/// be shared between threads.
class SEALKIT_API Reducer {
public:
    BigNum const* modulus; ///< Not owned; outlives the reducer.

    /// Keeps a pointer to `m`: a temporary is valid within one expression only.
    explicit Reducer(BigNum const& m) : modulus(&m) {}
    Reducer(Reducer const&) = default;
    Reducer& operator=(Reducer const&) = default;

    /// Brings a product of two represented values back into the representation.
    inline virtual void reduce(BigNum& x) const;
    /// r = a * b, reduced.
    inline virtual void mul(BigNum& r, BigNum const& a, BigNum const& b) const;
    /// r = r * k, then the modulus is subtracted until it is not less than r: about k times, so `k`
    /// is small.
    inline virtual void mul(BigNum& r, unsigned k) const;
    /// r = a^2, reduced.
    inline virtual void sqr(BigNum& r, BigNum const& a) const;
    virtual ~Reducer() = default;
    /// The representation of a plain integer, bound to this reducer.
    inline virtual RedNum fromBigNum(BigNum const& x) const;
    inline virtual RedNum fromBigNum(BigNum&& x) const;
    /// The plain integer that `x` represents. `x` is moved from.
    inline virtual BigNum toBigNum(RedNum&& x) const;
};

/// Montgomery form modulo an odd m of k digits: x is represented by x * R mod m, with R = 2^(32k).
class SEALKIT_API MontgomeryReducer : public Reducer {
public:
    unsigned n0inv; ///< -1/m modulo 2^32.
    BigNum one;     ///< R mod m: what represents 1. For m = 1 it is 0.

    /// Keeps a pointer to `m`, which is odd. An even one gives wrong results without any error.
    explicit MontgomeryReducer(BigNum const& m);

    using Reducer::mul;
    /// x / R mod m for x below m * R.
    void reduce(BigNum& x) const override;
    RedNum fromBigNum(BigNum const& x) const override;
    RedNum fromBigNum(BigNum&& x) const override;
    BigNum toBigNum(RedNum&& x) const override;
};

/// Residues modulo 2^255 - 19 as numbers below 2^256, only partly reduced: see `BigNum::reduce`. A
/// residue may be represented by more than one number, zero by 0 and by the modulus.
class SEALKIT_API Mod25519Reducer : public Reducer {
public:
    /// Keeps a pointer to `p`, which is 2^255 - 19.
    explicit Mod25519Reducer(BigNum const& p) : Reducer(p) {}

    void reduce(BigNum& x) const override;
    /// Operands have at most eight digits.
    void mul(BigNum& r, BigNum const& a, BigNum const& b) const override;
    void mul(BigNum& r, unsigned k) const override;
    /// The operand has at most eight digits.
    void sqr(BigNum& r, BigNum const& a) const override;
};

/// A number in the representation of its reducer. Operands of one operation share a reducer.
struct SEALKIT_API RedNum {
    static BigNum const mod1;          ///< 1.
    static Reducer const emptyReducer; ///< The base reducer modulo `mod1`, of numbers that are not bound yet.

    BigNum value;                           ///< As `reducer` represents it.
    Reducer const* reducer = &emptyReducer; ///< Not owned; outlives the number.

    /// Adds, and subtracts the modulus once if the sum is above it. A sum equal to it stays.
    RedNum& operator+=(RedNum const& x);
    /// Subtracts, after adding the modulus once if this is below `x`. Both are at most the modulus.
    RedNum& operator-=(RedNum const& x);
};

/// r = a * b under the reducer of `a`.
SEALKIT_API void mul(RedNum& r, RedNum const& a, RedNum const& b);
/// r = a * b under the reducer of `a`, with `b` already in its representation.
SEALKIT_API void mul_redbn(RedNum& r, RedNum const& a, BigNum const& b);
/// r = r * k under its own reducer; `k` is small.
SEALKIT_API void mul(RedNum& r, unsigned k);
/// r = a^2 under the reducer of `a`.
SEALKIT_API void sqr(RedNum& r, RedNum const& a);

/// base^e under `red`. e = 0 gives the reducer's 1.
SEALKIT_API RedNum expByMod(RedNum const& base, BigNum const& e, Reducer const& red);
/// b^e mod m for an odd `m`; an even one gives a wrong result without any error.
SEALKIT_API BigNum expByMod(BigNum const& b, BigNum const& e, BigNum const& m);
/// The inverse of `x`. If none exists, the result is meaningless, without an error.
SEALKIT_API RedNum inv(RedNum&& x);

/// Draws a uniformly distributed number from 1 to n - 1: as many bits of `rng` (rng.h) as n - 1 has, drawn
/// again until they are in range. Returns false and leaves `*result` unchanged if `n` is 0 or 1, if the
/// generator fails, or if 128 draws in a row are out of range.
SEALKIT_API bool randomBigNum(BigNum* result, BigNum const& n, Rng const& rng);

inline void Reducer::reduce(BigNum&) const {}

inline void Reducer::mul(BigNum& r, BigNum const& a, BigNum const& b) const {
    ::mul(r, a, b);
    reduce(r);
}

inline void Reducer::mul(BigNum& r, unsigned k) const {
    r *= k;
    while (*modulus < r)
        r -= *modulus;
}

inline void Reducer::sqr(BigNum& r, BigNum const& a) const {
    ::sqr(r, a);
    reduce(r);
}

inline RedNum Reducer::fromBigNum(BigNum const& x) const { return {x, this}; }
inline RedNum Reducer::fromBigNum(BigNum&& x) const { return {std::move(x), this}; }
inline BigNum Reducer::toBigNum(RedNum&& x) const { return std::move(x.value); }

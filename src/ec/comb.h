/// Constant-time multiples of the base point: neither branches nor addresses depend on the scalar.
///
/// The bits of an odd scalar are recoded as signs, so no digit is zero. They are arranged in `teeth` rows of
/// `combs * columns`. Each comb has a table of the sums of its teeth, with the top one positive
/// (scripts/make-curve-tables), and each look-up reads all of it. The additions use complete formulas: J.
/// Renes, C. Costello, L. Batina, "Complete addition formulas for prime order elliptic curves" (2016),
/// algorithms 5 and 6.
#pragma once

#include "bignum/fixed.h"

namespace detail {

/// The shape of a table.
struct CombShape {
    unsigned teeth, combs, columns;

    constexpr unsigned entries() const { return 1U << (teeth - 1); } ///< Per comb.
    constexpr unsigned bits() const { return teeth * combs * columns; }
};

/// (X/Z, Y/Z).
template <typename Field>
struct ProjectivePoint {
    using Element = typename Field::Element;
    Element X, Y, Z;

    /// P = 2P.
    void dbl(Element const& b) {
        Element t0, t1, t2, t3, x, y, z;
        Field::sqr(t0, X);
        Field::sqr(t1, Y);
        Field::sqr(t2, Z);
        Field::mul(t3, X, Y);
        Field::add(t3, t3, t3);
        Field::mul(z, X, Z);
        Field::add(z, z, z);
        Field::mul(y, b, t2);
        Field::sub(y, y, z);
        triple(y, y);
        Field::sub(x, t1, y);
        Field::add(y, t1, y);
        Field::mul(y, x, y);
        Field::mul(x, x, t3);
        triple(t2, t2);
        Field::mul(z, b, z);
        Field::sub(z, z, t2);
        Field::sub(z, z, t0);
        triple(z, z);
        triple(t0, t0);
        Field::sub(t0, t0, t2);
        Field::mul(t0, t0, z);
        Field::add(y, y, t0);
        Field::mul(t0, Y, Z);
        Field::add(t0, t0, t0);
        Field::mul(z, t0, z);
        Field::sub(X, x, z);
        Y = y;
        Field::mul(z, t0, t1);
        Field::add(z, z, z);
        Field::add(Z, z, z);
    }

    /// P = P + (x2, y2), which must not be the point at infinity.
    void add(Element const& x2, Element const& y2, Element const& b) {
        Element t0, t1, t2, t3, t4, x, y, z;
        Field::mul(t0, X, x2);
        Field::mul(t1, Y, y2);
        Field::add(t3, x2, y2);
        Field::add(t4, X, Y);
        Field::mul(t3, t3, t4);
        Field::add(t4, t0, t1);
        Field::sub(t3, t3, t4);
        Field::mul(t4, y2, Z);
        Field::add(t4, t4, Y);
        Field::mul(y, x2, Z);
        Field::add(y, y, X);
        Field::mul(z, b, Z);
        Field::sub(x, y, z);
        triple(x, x);
        Field::sub(z, t1, x);
        Field::add(x, t1, x);
        Field::mul(y, b, y);
        triple(t2, Z);
        Field::sub(y, y, t2);
        Field::sub(y, y, t0);
        triple(y, y);
        triple(t0, t0);
        Field::sub(t0, t0, t2);
        Field::mul(t1, t4, y);
        Field::mul(t2, t0, y);
        Field::mul(y, x, z);
        Field::add(Y, y, t2);
        Field::mul(x, t3, x);
        Field::sub(X, x, t1);
        Field::mul(z, t4, z);
        Field::mul(t1, t3, t0);
        Field::add(Z, z, t1);
    }

private:
    static void triple(Element& r, Element const& a) {
        Element twice;
        Field::add(twice, a, a);
        Field::add(r, twice, a);
    }
};

/// Looks up an entry of a comb's table, reading all entries.
template <typename Field, CombShape shape>
void lookUp(Digit const* table, Digit index, typename Field::Element& x, typename Field::Element& y) {
    constexpr unsigned width = 2 * Field::digits;
    Digit chosen[width] = {};
    for (Digit entry = 0; entry < shape.entries(); ++entry) {
        Digit const mask = maskOf<Digit>(((entry ^ index) - 1) >> (digitBits - 1));
        for (unsigned i = 0; i < width; ++i)
            chosen[i] |= table[entry * width + i] & mask;
    }
    setDigits(x, {chosen, Field::digits});
    setDigits(y, {chosen + Field::digits, Field::digits});
    secureMemset(chosen, 0, sizeof chosen);
}

/// The affine coordinates of kG in the field's form, for k from 1 to the order less 1.
template <typename Field, CombShape shape>
void multipleOfBase(typename Field::Element const& k, typename Field::Element const& order,
                    typename Field::Element const& b, Digit const* table, typename Field::Element& x,
                    typename Field::Element& y) {
    using Element = typename Field::Element;
    constexpr unsigned width = 2 * Field::digits;
    struct Secrets {
        Element odd, even;
        Digit signs[(shape.bits() + digitBits - 1) / digitBits];
        ProjectivePoint<Field> sum;
        Element x, y;
        ~Secrets() { secureMemset(this, 0, sizeof *this); }
    } secret{};

    // k, or its negative if it is even. Bit i of its half is the sign of 2^i, and the top sign is positive.
    NativeLimb const isEven = maskOf<NativeLimb>((k[0] & 1) ^ 1);
    subtract(secret.even, order, k);
    secret.odd = k;
    assignIf(secret.odd, isEven, secret.even);
    for (unsigned i = 0; i < std::size(secret.signs); ++i) {
        Digit const low = i < Field::digits ? digitOf(secret.odd, i) : 0;
        Digit const high = i + 1 < Field::digits ? digitOf(secret.odd, i + 1) : 0;
        secret.signs[i] = low >> 1 | high << (digitBits - 1);
    }
    secret.signs[(shape.bits() - 1) / digitBits] |= Digit{1} << ((shape.bits() - 1) % digitBits);

    auto const bit = [&](unsigned at) { return secret.signs[at / digitBits] >> (at % digitBits) & 1; };
    bool begun = false;
    for (unsigned column = shape.columns; column-- > 0;) {
        if (begun)
            secret.sum.dbl(b);
        for (unsigned comb = shape.combs; comb-- > 0;) {
            unsigned const first = comb * shape.columns + column;
            unsigned const row = shape.combs * shape.columns;
            Digit index = 0;
            for (unsigned tooth = 0; tooth + 1 < shape.teeth; ++tooth)
                index |= bit(first + tooth * row) << tooth;
            Digit const isNegative = bit(first + (shape.teeth - 1) * row) ^ 1;
            index ^= maskOf<Digit>(isNegative) & (shape.entries() - 1);
            lookUp<Field, shape>(table + comb * shape.entries() * width, index, secret.x, secret.y);
            Field::negateIf(secret.y, maskOf<NativeLimb>(isNegative), secret.y);
            if (begun)
                secret.sum.add(secret.x, secret.y, b);
            else
                secret.sum = {secret.x, secret.y, Field::one};
            begun = true;
        }
    }

    Field::invert(secret.even, secret.sum.Z);
    Field::mul(x, secret.sum.X, secret.even);
    Field::mul(secret.y, secret.sum.Y, secret.even);
    Field::negateIf(y, isEven, secret.y);
}

} // namespace detail

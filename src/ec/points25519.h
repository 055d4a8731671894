// Points of Curve25519 and Edwards25519 in limbs: between bytes, the Edwards, the Montgomery and the
// Weierstrass form. What curve25519.h says of the maps holds here.
#pragma once

#include "ec/edwards25519_base.h"
#include "ec/jacobian.h"

namespace detail {

using Element = NativeField25519;

/// A/3 with A = 486662, which is x - u.
inline constexpr Element thirdOfA =
    Element::fromHex("2aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaad2451");
/// -a with a = (3 - A²)/3.
inline constexpr Element minusA =
    Element::fromHex("55555555555555555555555555555555555555555555555555555567b6eb5ea9");
/// d = -121665/121666 and 2·d.
inline constexpr Element edwardsD =
    Element::fromHex("52036cee2b6ffe738cc740797779e89800700a4d4141d8ab75eb4dca135978a3");
inline constexpr Element twiceEdwardsD =
    Element::fromHex("2406d9dc56dffce7198e80f2eef3d13000e0149a8283b156ebd69b9426b2f159");
/// 2^((p - 1)/4), a square root of -1.
inline constexpr Element rootOfMinusOne =
    Element::fromHex("2b8324804fc1df0b2b4d00993dfbd7a72f431806ad2fe478c4ee1b274a0ea0b0");
/// The square root of -486664 for which u = 9 with the even v is Ed25519's base point: it is x·v/u.
inline constexpr Element mapFactor =
    Element::fromHex("0f26edf460a006bbd27b08dc03fc4f7ec5a1d3d14b7d1a82cc6e04aaff457e06");

/// A value that is wiped where its scope ends.
template <typename Value>
struct Wiped : Value {
    Wiped() = default;
    ~Wiped() { secureMemset(static_cast<Value*>(this), 0, sizeof(Value)); }
    Wiped(Wiped const&) = delete;
    Wiped& operator=(Wiped const&) = delete;
};

/// 32 bytes, little-endian, below p. Returns the low bit of the value.
inline unsigned writeBytes(unsigned char* bytes, Element const& x) {
    uint32_t digit[Element::digits];
    toDigits(digit, x);
    for (unsigned i = 0; i < 4 * Element::digits; ++i)
        bytes[i] = static_cast<unsigned char>(digit[i / 4] >> i % 4 * 8);
    unsigned const low = digit[0] & 1;
    secureMemset(digit, 0, sizeof digit);
    return low;
}

inline unsigned lowBit(Element const& x) {
    uint32_t digit[Element::digits];
    toDigits(digit, x);
    return digit[0] & 1;
}

/// Sets `root` to 1/√x, if x is a square; to 0 if it is 0. Returns false if it is no square.
inline bool inverseRoot(Element& root, Element const& x) {
    Element check;
    powP58(root, x);
    sqr(check, root);
    mul(check, check, x); // x^((p - 1)/4): ±1 for a square, 0 for 0
    Element sum;
    add(sum, check, Element::small(1));
    if (isZero(sum)) {
        mul(root, root, rootOfMinusOne);
        return true;
    }
    sub(sum, check, Element::small(1));
    return isZero(sum) || isZero(check);
}

/// The point of Curve25519 with the coordinate u, of either sign. Returns false if u lies on the twist.
inline bool fromMontgomery(JacobianPoint<Element>& P, Element const& u) {
    Element square, root; // v² = u·(u² + A·u + 1)
    add(square, u, Element::small(486662));
    mul(square, square, u);
    add(square, square, Element::small(1));
    mul(square, square, u);
    if (!inverseRoot(root, square))
        return false;
    add(P.X, u, thirdOfA);
    carried(P.X, P.X);
    mul(P.Y, square, root);
    P.Z = Element::small(1);
    return true;
}

/// The point of Curve25519 whose Edwards image has this encoding (RFC 8032, section 5.1.3). Returns false if
/// there is none, and for the neutral element, which has no image.
inline bool fromEdwards(JacobianPoint<Element>& P, unsigned char const* encoded) {
    uint32_t digit[Element::digits] = {}, canonical[Element::digits];
    for (unsigned i = 0; i < 4 * Element::digits; ++i)
        digit[i / 4] |= static_cast<uint32_t>(encoded[i]) << i % 4 * 8;
    unsigned const sign = digit[Element::digits - 1] >> 31;
    digit[Element::digits - 1] &= ~(1U << 31);
    Element const y = Element::fromDigits(digit);
    toDigits(canonical, y);
    Element U, V, root, t, u;
    add(t, y, Element::small(-1));
    if (!std::equal(digit, digit + Element::digits, canonical) || isZero(t))
        return false;

    // x = √(U/V) with U = y² - 1 and V = d·y² + 1
    sqr(t, y);
    sub(U, t, Element::small(1));
    mul(V, t, edwardsD);
    add(V, V, Element::small(1));
    mul(t, U, V);
    if (!inverseRoot(root, t))
        return false;
    mul(t, U, root);
    if (lowBit(t) != sign) {
        if (isZero(t))
            return false;
        sub(root, Element(), root);
    }

    // u = (1 + y)/(1 - y) = -((1 + y)·root)²·V, v = √-486664·u/x = √-486664·u·V·root. For y = -1, u and v are
    // 0.
    add(t, y, Element::small(1));
    mul(t, t, root);
    sqr(t, t);
    mul(u, t, V);
    sub(u, Element(), u);
    mul(t, V, root);
    mul(t, t, u);
    mul(P.Y, t, mapFactor);
    add(P.X, u, thirdOfA);
    P.Z = Element::small(1);
    return true;
}

/// The Edwards image of a point; infinity is the neutral element.
inline void toEdwards(EdwardsPoint<Element>& P, JacobianPoint<Element> const& from) {
    if (isZero(from.Z) || isZero(from.Y)) { // With Y = 0 it is the point of order two, (0, -1).
        P = {Element(), Element::small(isZero(from.Z) ? 1 : -1), Element::small(1), Element()};
        return;
    }
    // u = U/Z² and v = Y/Z³ give x = √-486664·U·Z/Y and y = (U - Z²)/(U + Z²).
    Element U, ZZ, sum, difference, x;
    sqr(ZZ, from.Z);
    mul(U, ZZ, thirdOfA);
    sub(U, from.X, U);
    carried(U, U);
    add(sum, U, ZZ);
    sub(difference, U, ZZ);
    mul(x, U, from.Z);
    mul(x, x, mapFactor);
    mul(P.X, x, sum);
    mul(P.Y, from.Y, difference);
    mul(P.Z, from.Y, sum);
    mul(P.T, x, difference);
}

/// P = P + Q.
inline void addEdwards(EdwardsPoint<Element>& P, EdwardsPoint<Element> const& Q) {
    Element a, b, c, d, t;
    sub(a, P.Y, P.X);
    sub(t, Q.Y, Q.X);
    mul(a, a, t);
    add(b, P.Y, P.X);
    add(t, Q.Y, Q.X);
    mul(b, b, t);
    mul(c, P.T, Q.T);
    mul(c, c, twiceEdwardsD);
    mul(d, P.Z, Q.Z);
    add(d, d, d);
    sub(t, b, a);
    add(b, b, a);
    sub(a, d, c);
    add(d, d, c);
    mul(P.X, t, a);
    mul(P.Y, d, b);
    mul(P.Z, a, d);
    mul(P.T, t, b);
}

/// RFC 8032's 32 bytes of P, of which `inverse` is 1/Z.
inline void writeEdwards(unsigned char* bytes, EdwardsPoint<Element> const& P, Element const& inverse) {
    Element coordinate;
    mul(coordinate, P.X, inverse);
    unsigned const sign = writeBytes(bytes, coordinate);
    mul(coordinate, P.Y, inverse);
    writeBytes(bytes, coordinate);
    bytes[31] = static_cast<unsigned char>(bytes[31] | sign << 7);
}

} // namespace detail

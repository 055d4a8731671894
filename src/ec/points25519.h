// Points of Curve25519 and Edwards25519 with limbs, and the conversions between bytes and the Edwards,
// Montgomery and Weierstrass forms. See curve25519.h for the maps.
#pragma once

#include "base/wiped.h"
#include "ec/edwards25519_base.h"
#include "ec/jacobian.h"

namespace detail {

using Element = NativeField25519;

// Instantiated once, in points25519.cpp.
extern template void mul(Element&, Element const&, Element const&);
extern template void sqr(Element&, Element const&);
extern template void invert(Element&, Element const&);
extern template void toDigits(uint32_t (&)[Element::digits], Element const&);
extern template bool isZero(Element const&);
extern template class ScalarMultiplication<JacobianSteps<Element>>;
extern template class BaseMultiplication<Element>;

/// A/3 with A = 486662, which equals x - u.
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
/// The square root of -486664 that maps u = 9 with the even v to Ed25519's base point. It equals x·v/u.
inline constexpr Element mapFactor =
    Element::fromHex("0f26edf460a006bbd27b08dc03fc4f7ec5a1d3d14b7d1a82cc6e04aaff457e06");

/// Writes 32 bytes, little-endian, below p. Returns the low bit of the value.
unsigned writeBytes(unsigned char* bytes, Element const& x);

/// The low bit of the value below p.
unsigned lowBit(Element const& x);

/// A point of Curve25519 with the coordinate u and any sign of v. Returns false if u is on the
/// twist.
bool fromMontgomery(JacobianPoint<Element>& P, Element const& u);

/// The point of Curve25519 whose Edwards image has this encoding (RFC 8032, section 5.1.3). Returns false if
/// the encoding is invalid or that of the neutral element.
bool fromEdwards(JacobianPoint<Element>& P, unsigned char const* encoded);

/// The Edwards image of a point. That of infinity is the neutral element.
void toEdwards(EdwardsPoint<Element>& P, JacobianPoint<Element> const& from);

/// P = P + Q.
void addEdwards(EdwardsPoint<Element>& P, EdwardsPoint<Element> const& Q);

/// Writes the 32 bytes of P (RFC 8032). `inverse` is 1/Z.
void writeEdwards(unsigned char* bytes, EdwardsPoint<Element> const& P, Element const& inverse);

} // namespace detail

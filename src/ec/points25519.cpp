#include "ec/points25519.h"

#include <algorithm>

namespace detail {

template void mul(Element&, Element const&, Element const&);
template void sqr(Element&, Element const&);
template void invert(Element&, Element const&);
template void toDigits(uint32_t (&)[Element::digits], Element const&);
template bool isZero(Element const&);
template class ScalarMultiplication<JacobianSteps<Element>>;
template class BaseMultiplication<Element>;

namespace {

/// Sets `root` to 1/√x if x is a square, and to 0 if it is 0. Returns false if it is not a square.
bool inverseRoot(Element& root, Element const& x) {
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

} // namespace

unsigned writeBytes(unsigned char* bytes, Element const& x) {
    uint32_t digit[Element::digits];
    toDigits(digit, x);
    for (unsigned i = 0; i < 4 * Element::digits; ++i)
        bytes[i] = static_cast<unsigned char>(digit[i / 4] >> i % 4 * 8);
    unsigned const low = digit[0] & 1;
    secureMemset(digit, 0, sizeof digit);
    return low;
}

unsigned lowBit(Element const& x) {
    uint32_t digit[Element::digits];
    toDigits(digit, x);
    return digit[0] & 1;
}

bool fromMontgomery(JacobianPoint<Element>& P, Element const& u) {
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

bool fromEdwards(JacobianPoint<Element>& P, unsigned char const* encoded) {
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

    // u = (1 + y)/(1 - y) = -((1 + y)·root)²·V, v = √-486664·u/x = √-486664·u·V·root. For y = -1, both u and
    // v are 0.
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

void toEdwards(EdwardsPoint<Element>& P, JacobianPoint<Element> const& from) {
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

void addEdwards(EdwardsPoint<Element>& P, EdwardsPoint<Element> const& Q) {
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

void writeEdwards(unsigned char* bytes, EdwardsPoint<Element> const& P, Element const& inverse) {
    Element coordinate;
    mul(coordinate, P.X, inverse);
    unsigned const sign = writeBytes(bytes, coordinate);
    mul(coordinate, P.Y, inverse);
    writeBytes(bytes, coordinate);
    bytes[31] = static_cast<unsigned char>(bytes[31] | sign << 7);
}

} // namespace detail

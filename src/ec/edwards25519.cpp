#include "ec/encoding.h"
#include "sealkit/curve25519.h"

#include <utility>

namespace {

constexpr unsigned encodedSize = 32;

// −121665/121666 modulo p (RFC 8032, section 5.1)
constexpr unsigned char d[] = {0x52, 0x03, 0x6c, 0xee, 0x2b, 0x6f, 0xfe, 0x73, 0x8c, 0xc7, 0x40,
                               0x79, 0x77, 0x79, 0xe8, 0x98, 0x00, 0x70, 0x0a, 0x4d, 0x41, 0x41,
                               0xd8, 0xab, 0x75, 0xeb, 0x4d, 0xca, 0x13, 0x59, 0x78, 0xa3};

// 2^((p − 1)/4) modulo p, a square root of −1 (RFC 8032, section 5.1.3)
constexpr unsigned char rootOfMinusOne[] = {0x2b, 0x83, 0x24, 0x80, 0x4f, 0xc1, 0xdf, 0x0b, 0x2b, 0x4d, 0x00,
                                            0x99, 0x3d, 0xfb, 0xd7, 0xa7, 0x2f, 0x43, 0x18, 0x06, 0xad, 0x2f,
                                            0xe4, 0x78, 0xc4, 0xee, 0x1b, 0x27, 0x4a, 0x0e, 0xa0, 0xb0};

// The square root of −486664 that maps u = 9 with the even v to Ed25519's base point, whose x =
// 15112221349535400772501151409588531511454012693041857206046113283949847762202. It equals x·v/u.
constexpr unsigned char mapFactor[] = {0x0f, 0x26, 0xed, 0xf4, 0x60, 0xa0, 0x06, 0xbb, 0xd2, 0x7b, 0x08,
                                       0xdc, 0x03, 0xfc, 0x4f, 0x7e, 0xc5, 0xa1, 0xd3, 0xd1, 0x4b, 0x7d,
                                       0x1a, 0x82, 0xcc, 0x6e, 0x04, 0xaa, 0xff, 0x45, 0x7e, 0x06};

template <size_t N>
BigNum number(unsigned char const (&bytes)[N]) {
    return BigNum(asn1::blob(bytes, N));
}

} // namespace

bool Edwards25519::recover(RedNum const& y, unsigned sign, Recovered& r) const {
    RedNum const one = toField(bn64(1));
    RedNum s;
    RedNum product;
    sqr(s, y);
    ::mul(r.V, toField(number(d)), s);
    r.V += one;
    r.U = s;
    r.U -= one;
    ::mul(product, r.U, r.V);

    r.root = expByMod(product, p >> 3, *reducer); // (U·V)^((p − 5)/8)
    sqr(s, r.root);
    RedNum check; // (U·V)^((p − 1)/4): ±1 for a square, 0 for 0
    ::mul(check, s, product);
    s = check;
    s += one;
    check -= one;
    if (isZero(s)) {
        ::mul(s, r.root, toField(number(rootOfMinusOne)));
        r.root = s;
    } else if (!isZero(check) && !isZero(product)) {
        return false;
    }

    ::mul(s, r.U, r.root);
    r.x = fromField(std::move(s));
    if (r.x.getBit(0) != (sign & 1)) {
        if (r.x.bits() == 0)
            return false;
        r.x = p - r.x;
        RedNum negated = toField(BigNum());
        subtract(negated, r.root);
        r.root = std::move(negated);
    }
    return true;
}

bool Edwards25519::getX(RedNum const& y, unsigned sign, BigNum& x) const {
    Recovered recovered;
    if (!recover(y, sign, recovered))
        return false;
    x = std::move(recovered.x);
    return true;
}

WCurve::Point Edwards25519::fromNum(BigNum const& y, unsigned sign) const {
    Recovered recovered;
    if (y >= p || y == bn64(1) || !recover(toField(y), sign, recovered))
        return {};
    RedNum const one = toField(bn64(1));
    RedNum s = toField(y);
    RedNum t;
    RedNum u;
    RedNum v;
    // For y = −1 the root is 0, and so are u and v: (0, −1) corresponds to (0, 0), the point of order two.
    //
    // u = (1 + y)/(1 − y) = −(1 + y)²/U = −((1 + y)·root)²·V, because 1/U = root²·V
    s += one;
    ::mul(t, s, recovered.root);
    sqr(s, t);
    ::mul(t, s, recovered.V);
    u = toField(BigNum());
    subtract(u, t);
    // v = √−486664·u/x = √−486664·u·V·root, because x = U·root and 1/x = V·root
    ::mul(s, recovered.V, recovered.root);
    ::mul(t, s, u);
    ::mul(v, t, toField(number(mapFactor)));
    u += thirdOfA;
    return {std::move(u), std::move(v), one};
}

BigNum Edwards25519::toNum(Point&& P, unsigned* sign) const {
    BigNum x; // Infinity corresponds to the neutral element (0, 1).
    BigNum y = bn64(1);
    if (!isInfinity(P) && isZero(P.Y)) {
        y = p - y; // The point of order two, u = v = 0, corresponds to (0, −1).
    } else if (!isInfinity(P)) {
        // u = U/Z² and v = Y/Z³, so that
        //   x = √−486664·u/v = √−486664·U·Z/Y
        //   y = (u − 1)/(u + 1) = (U − Z²)/(U + Z²)
        // share the inverse of Y·(U + Z²). It exists: u = −1 lies on the twist.
        RedNum U = std::move(P.X);
        RedNum zz;
        RedNum s;
        RedNum t;
        sqr(zz, P.Z);
        ::mul(s, zz, thirdOfA);
        subtract(U, s);
        RedNum sum = U;
        sum += zz;
        RedNum difference = U;
        subtract(difference, zz);

        ::mul(s, P.Y, sum);
        RedNum const inverse = inv(std::move(s));
        ::mul(s, difference, P.Y);
        ::mul(t, s, inverse);
        y = fromField(std::move(t));

        ::mul(s, U, P.Z);
        ::mul(t, s, sum);
        ::mul(s, t, inverse);
        ::mul(t, s, toField(number(mapFactor)));
        x = fromField(std::move(t));
    }
    if (sign)
        *sign = x.getBit(0);
    return y;
}

WCurve::Point Edwards25519::fromBin(asn1::blob encoded) const {
    if (encoded.size() != encodedSize)
        return {};
    BigNum y(encoded, little_endian{});
    y.modBy2Pow(255);
    return fromNum(y, encoded[encodedSize - 1] >> 7);
}

std::vector<unsigned char> Edwards25519::toBin(Point&& P) const {
    unsigned sign;
    BigNum const y = toNum(std::move(P), &sign);
    std::vector<unsigned char> encoded = detail::littleEndian(y, encodedSize);
    encoded.back() |= static_cast<unsigned char>(sign << 7);
    return encoded;
}

#include "sealkit/curve25519.h"

#include <algorithm>
#include <utility>

namespace {

constexpr unsigned encodedU = 32; ///< bytes of u in an encoded point

// 2^255 - 19
constexpr unsigned char modulus[] = {0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                     0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                                     0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xed};

// 2^252 + 27742317777372353535851937790883648493
constexpr unsigned char order[] = {0x10, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                                   0x00, 0x00, 0x00, 0x00, 0x00, 0x14, 0xde, 0xf9, 0xde, 0xa2, 0xf7,
                                   0x9c, 0xd6, 0x58, 0x12, 0x63, 0x1a, 0x5c, 0xf5, 0xd3, 0xed};

/// A of v² = u³ + A·u² + u.
constexpr unsigned coefficientA = 486662;

BigNum modP(BigNum const& x) {
    BigNum residue;
    div(x, Curve25519::getMod(), nullptr, &residue);
    return residue;
}

/// The curve v² = u³ + A·u² + u under x = u + A/3. Shared by all curve objects and computed once, because
/// inverting 3 costs more than the rest of the construction.
struct WeierstrassModel {
    BigNum thirdOfA = modP(invByMod(bn64(3), Curve25519::getMod()) * coefficientA);
    /// a = (3 − A²)/3 = 1 − A·(A/3)
    BigNum a = modP(Curve25519::getMod() + 1 - modP(thirdOfA * coefficientA));
    /// b = (2A³ − 9A)/27 = (A/3)·(2·(A/3)² − 1)
    BigNum b = modP(thirdOfA * (thirdOfA * thirdOfA * 2 - bn64(1)));
};

WeierstrassModel const& model() {
    static WeierstrassModel const theModel;
    return theModel;
}

} // namespace

Curve25519::Curve25519()
    : WCurve(getMod(), model().a, new Mod25519Reducer(getMod())), thirdOfA(toField(model().thirdOfA)) {}

BigNum const& Curve25519::getMod() {
    static BigNum const p(asn1::blob(modulus, sizeof(modulus)));
    return p;
}

BigNum const& Curve25519::getOrder() {
    static BigNum const L(asn1::blob(order, sizeof(order)));
    return L;
}

WCurve::Point Curve25519::getG() const {
    static ECPoint const G = toEC(fromNum(bn64(9), 0));
    return fromEC(G);
}

WCurve::Point Curve25519::fromNum(BigNum const& u, unsigned sign) const {
    RedNum x = toField(u);
    x += thirdOfA;
    BigNum y;
    if (!getY(x, sign, y))
        return {};
    return {std::move(x), toField(y), toField(bn64(1))};
}

bool Curve25519::getY(RedNum const& x, unsigned sign, BigNum& y) const {
    RedNum factor;
    sqr(factor, x);
    factor -= minusA;
    RedNum rhs; // (x² + a)x + b
    ::mul(rhs, factor, x);
    rhs += toField(model().b);

    RedNum root = sqr_root(rhs);
    RedNum square;
    sqr(square, root);
    subtract(square, rhs);
    if (!isZero(square))
        return false;
    BigNum candidate = fromField(std::move(root));
    if (candidate.getBit(0) != (sign & 1)) {
        if (candidate.bits() == 0)
            return false;
        candidate = p - candidate;
    }
    y = std::move(candidate);
    return true;
}

RedNum Curve25519::sqr_root(RedNum const& c) const {
    RedNum t = c;
    t += c;
    RedNum const b = expByMod(t, p >> 3, *reducer); // t^((p − 5)/8)
    RedNum i;
    RedNum root;
    sqr(root, b);
    ::mul(i, t, root); // 2c·b², a root of −1 if c is a square
    i -= toField(bn64(1));
    ::mul(root, c, b);
    ::mul(t, root, i);
    return t;
}

BigNum Curve25519::toNum(Point&& P, unsigned* sign) const {
    BigNum u;
    BigNum v;
    map_to_25519(std::move(P), &u, &v);
    if (sign)
        *sign = v.getBit(0);
    return u;
}

void Curve25519::map_to_25519(Point&& P, BigNum* u, BigNum* v) const {
    bool const infinity = isInfinity(P);
    ECPoint affine = toEC(std::move(P));
    if (!infinity) {
        RedNum x = toField(affine.x);
        x -= thirdOfA;
        affine.x = fromField(std::move(x));
    }
    *u = std::move(affine.x);
    if (v)
        *v = std::move(affine.y);
}

WCurve::Point Curve25519::fromBin(asn1::blob encoded) const {
    if (encoded.size() != encodedU + 1)
        return {};
    asn1::blob const u = encoded.pop_front(encodedU);
    return fromNum(u, encoded[0]);
}

std::vector<unsigned char> Curve25519::toBin(Point&& P) const {
    unsigned sign;
    BigNum encoded = toNum(std::move(P), &sign);
    encoded <<= 8;
    encoded += sign;
    return encoded.bin(encodedU + 1);
}

bool Curve25519::isValid(Point const& P) const { return !isInfinity(P) && !isInfinity(mul(bn64(8), P)); }

std::vector<unsigned char> Curve25519::getX(std::vector<unsigned char> const& encoded) {
    return {encoded.begin(), encoded.begin() + std::min<std::ptrdiff_t>(encodedU, std::ssize(encoded))};
}

#include "ec/encoding.h"
#include "sealkit/curve25519.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t encodedSize = 32;

} // namespace

namespace x25519 {

BigNum coordToNum(asn1::blob bytes) {
    BigNum u(bytes, little_endian{});
    u.setBit(255, false);
    u.clamp();
    return u;
}

BigNum privToNum(asn1::blob bytes) {
    BigNum k(bytes, little_endian{});
    for (unsigned bit : {0U, 1U, 2U, 255U})
        k.setBit(bit, false);
    k.setBit(254, true);
    k.clamp();
    return k;
}

std::vector<unsigned char> numToBlob(BigNum const& number) {
    if (number.bits() == 0)
        return {};
    return detail::littleEndian(number, std::max<size_t>(encodedSize, (number.bits() + 7) / 8));
}

std::vector<unsigned char> kex(asn1::blob priv, asn1::blob peer) {
    Curve25519 const curve;
    WCurve::Point const P = curve.fromNum(coordToNum(peer), 0);
    if (curve.isInfinity(P)) // the invalid point is one, too
        return {};
    BigNum k = privToNum(priv);
    // Every point's order divides 8·L: overlong private keys need not take more time.
    BigNum const exponent = Curve25519::getOrder() << 3;
    if (k.bits() > 256)
        div(k, exponent, nullptr, &k);
    WCurve::Point Q = curve.mul(k, P);
    if (curve.isInfinity(Q))
        return {};
    return numToBlob(curve.toNum(std::move(Q), nullptr));
}

std::vector<unsigned char> get_public_key(asn1::blob priv) {
    static constexpr unsigned char base[] = {0x09};
    return kex(priv, asn1::blob(base, sizeof(base)));
}

} // namespace x25519

#include "ec/encoding.h"
#include "sealkit/curve25519.h"
#include "sealkit/hash.h"
#include "sealkit/wipe.h"

#include "hash/secret_digest.h"

#include <utility>

namespace {

constexpr size_t pointSize = 32;
constexpr size_t scalarSize = 32;

/// Half of that of a private key is the key, and the number that blinds the key in a signature comes from
/// another.
using Digest = detail::SecretDigest<SHA512, 64>;

/// A digest as a scalar: little-endian, modulo the group order.
BigNum scalar(Digest const& digest) {
    BigNum number(digest, little_endian{});
    div(number, Curve25519::getOrder(), nullptr, &number);
    return number;
}

/// Clamps the first half of a private key's digest to the scalar s.
BigNum clampedScalar(Digest& h) {
    h.bytes[0] &= 248;
    h.bytes[31] = static_cast<unsigned char>((h.bytes[31] & 127) | 64);
    return BigNum(asn1::blob(h.bytes, scalarSize), little_endian{});
}

std::vector<unsigned char> encodedMultipleOfG(BigNum const& k) {
    Edwards25519 const curve;
    return curve.toBin(curve.mul(k, curve.getG()));
}

} // namespace

namespace eddsa {

BigNum expand_secret(asn1::blob secret, std::vector<unsigned char>* prefix) {
    Digest h({secret});
    if (prefix)
        prefix->assign(h.bytes + scalarSize, h.bytes + sizeof(h.bytes));
    return clampedScalar(h);
}

std::vector<unsigned char> secret_to_public(BigNum const& s) { return encodedMultipleOfG(s); }

std::vector<unsigned char> get_public_key(asn1::blob secret) {
    return secret_to_public(expand_secret(secret, nullptr));
}

std::vector<unsigned char> sign(asn1::blob secret, asn1::blob message) {
    std::vector<unsigned char> prefix;
    BigNum const s = expand_secret(secret, &prefix);
    BigNum const r = scalar(Digest({prefix, message}));
    secureMemset(prefix.data(), 0, prefix.size());

    std::vector<unsigned char> signature = encodedMultipleOfG(r);
    std::vector<unsigned char> const pub = secret_to_public(s);
    BigNum const k = scalar(Digest({signature, pub, message}));

    BigNum S = r + k * s;
    div(S, Curve25519::getOrder(), nullptr, &S);
    std::vector<unsigned char> const encodedS = detail::littleEndian(S, scalarSize);
    signature.insert(signature.end(), encodedS.begin(), encodedS.end());
    return signature;
}

bool verify(asn1::blob pub, asn1::blob message, asn1::blob sig) {
    if (sig.size() != pointSize + scalarSize)
        return false;
    asn1::blob const encodedR = sig.pop_front(pointSize);
    BigNum const S(sig, little_endian{});
    if (S >= Curve25519::getOrder())
        return false;

    Edwards25519 const curve;
    WCurve::Point const A = curve.fromBin(pub);
    if (curve.isInfinity(A)) // the invalid point is one, too
        return false;
    BigNum const k = scalar(Digest({encodedR, pub, message}));

    // S·G = R + k·A is asked as R = S·G + (8L − k)·A: one joint multiplication instead of two. Every
    // point's order divides 8L. Points encode in one way only, so that R need not be decoded: what
    // encodes to its bytes is R, and bytes that do not decode are no point's encoding.
    WCurve::Point R = curve.mul2add(S, curve.getG(), (Curve25519::getOrder() << 3) - k, A);
    return !curve.isInfinity(R) && asn1::blob(curve.toBin(std::move(R))) == encodedR;
}

} // namespace eddsa

#include "sealkit/curve25519.h"
#include "sealkit/hash.h"
#include "sealkit/wipe.h"

#include "base/declassify.h"
#include "ec/points25519.h"
#include "ec/scalar25519.h"
#include "hash/secret_digest.h"

#include <algorithm>
#include <iterator>

namespace {

using detail::Element;
using detail::Scalar25519;
using Point = detail::EdwardsPoint<Element>;
using BaseMultiplication = detail::BaseMultiplication<Element>;

constexpr size_t pointSize = 32;
constexpr size_t scalarSize = 32;

/// Always wiped: half of a private key's digest is the scalar, and the nonce of a signature is derived from
/// another digest.
using Digest = detail::SecretDigest<SHA512, 64>;

/// A hashed private key (RFC 8032, section 5.1.5): the scalar, and the prefix of messages.
struct Expanded {
    Scalar25519 s;
    unsigned char prefix[32];

    explicit Expanded(asn1::blob secret) {
        Digest h({secret});
        h.bytes[0] &= 248;
        h.bytes[31] = static_cast<unsigned char>((h.bytes[31] & 127) | 64);
        s.setBytes({h.bytes, scalarSize});
        std::copy_n(h.bytes + scalarSize, sizeof prefix, prefix);
    }
    ~Expanded() { secureMemset(prefix, 0, sizeof prefix); }
    Expanded(Expanded const&) = delete;
    Expanded& operator=(Expanded const&) = delete;
};

/// Secret, because 1/Z of a point reveals information about the scalar.
struct Inverse {
    Element ofBoth, ofOne;
};

/// The encoding of k·G.
std::vector<unsigned char> publicKey(Scalar25519 const& k) {
    detail::Wiped<Point> P;
    BaseMultiplication().multiple(P, k.digits);
    detail::Wiped<Inverse> inverse;
    invert(inverse.ofOne, P.Z);
    std::vector<unsigned char> key(pointSize);
    detail::writeEdwards(key.data(), P, inverse.ofOne);
    detail::declassify(detail::Told::publicKey, key.data(), key.size());
    return key;
}

} // namespace

namespace eddsa {

BigNum expand_secret(asn1::blob secret, std::vector<unsigned char>* prefix) {
    Expanded const expanded(secret);
    if (prefix)
        prefix->assign(expanded.prefix, std::end(expanded.prefix));
    BigNum s; // which has all its digits: bit 254 is set
    s.digits.assign(expanded.s.digits, std::end(expanded.s.digits));
    return s;
}

std::vector<unsigned char> secret_to_public(BigNum const& s) {
    Scalar25519 k;
    k.setResidue(s);
    return publicKey(k);
}

std::vector<unsigned char> get_public_key(asn1::blob secret) { return publicKey(Expanded(secret).s); }

std::vector<unsigned char> sign(asn1::blob secret, asn1::blob message) {
    Expanded const key(secret);
    Scalar25519 r, k, S;
    r.setResidue(Digest({key.prefix, message}));

    std::vector<unsigned char> signature(pointSize + scalarSize);
    unsigned char pub[pointSize];
    {
        detail::Wiped<Point> R, A;
        BaseMultiplication multiplication;
        multiplication.multiple(R, r.digits);
        multiplication.multiple(A, key.s.digits);
        detail::Wiped<Inverse> inverse; // Both inverses from one inversion.
        mul(inverse.ofBoth, R.Z, A.Z);
        invert(inverse.ofBoth, inverse.ofBoth);
        mul(inverse.ofOne, inverse.ofBoth, A.Z);
        detail::writeEdwards(signature.data(), R, inverse.ofOne);
        mul(inverse.ofOne, inverse.ofBoth, R.Z);
        detail::writeEdwards(pub, A, inverse.ofOne);
    }
    k.setResidue(Digest({asn1::blob(signature.data(), pointSize), pub, message}));
    S.setSum(k, key.s, r);
    S.write(signature.data() + pointSize);
    detail::declassify(detail::Told::signature, signature.data(), signature.size());
    return signature;
}

bool verify(asn1::blob pub, asn1::blob message, asn1::blob sig) {
    if (pub.size() != pointSize || sig.size() != pointSize + scalarSize)
        return false;
    asn1::blob const encodedR = sig.pop_front(pointSize);
    static constexpr unsigned char neutral[pointSize] = {1};
    Scalar25519 S, k;
    S.setBytes(sig);
    detail::JacobianPoint<Element> A, product;
    if (!S.isReduced() || encodedR == asn1::blob(neutral) || !detail::fromEdwards(A, pub.data()))
        return false;
    k.setResidue(Digest({encodedR, pub, message}));

    // Verifies S·G = R + k·A as R = S·G + k·(-A). Each point has a single encoding, so comparing encodings
    // suffices and R is not decoded.
    sub(A.Y, Element(), A.Y);
    detail::JacobianMultiplication<Element>(detail::minusA).multiple(product, {k.digits, k.bits()}, A);
    Point R, kA;
    detail::toEdwards(kA, product);
    BaseMultiplication().multiple(R, S.digits);
    detail::addEdwards(R, kA);
    Element inverse;
    invert(inverse, R.Z);
    unsigned char encoded[pointSize];
    detail::writeEdwards(encoded, R, inverse);
    return asn1::blob(encoded) == encodedR;
}

} // namespace eddsa

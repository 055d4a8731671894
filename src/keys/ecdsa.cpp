// ECDSA signatures (FIPS 186-5, section 6; SEC 1, section 4.1).
#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/detail/wiping_allocator.h"
#include "sealkit/hmac.h"
#include "sealkit/keys.h"

#include "asn1/element.h"
#include "base/secret_bytes.h"
#include "keys/named_curve.h"
#include "keys/verify.h"

namespace {

namespace tag = detail::tag;
using detail::NamedCurve;
using detail::Reading;

/// Bytes that may grow and leave nothing behind.
using SecretOctets = std::vector<unsigned char, detail::WipingAllocator<unsigned char>>;

asn1::blob viewOf(SecretOctets const& octets) { return {octets.data(), octets.size()}; }

BigNum productModulo(BigNum const& x, BigNum const& y, BigNum const& modulus) {
    BigNum product;
    mul(product, x, y);
    div(product, modulus, nullptr, &product);
    return product;
}

/// The leftmost bits of `octets`, as many as the order has (SEC 1, section 4.1.3, step 5; bits2int of
/// RFC 6979, section 2.3.2).
BigNum leftmostBits(asn1::blob octets, BigNum const& order) {
    BigNum number(octets);
    unsigned const bits = 8 * static_cast<unsigned>(octets.size());
    if (bits > order.bits())
        number >>= bits - order.bits();
    return number;
}

std::vector<unsigned char> writeSignature(BigNum const& r, BigNum const& s) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(r).addInteger(s).end();
    return encoder.take();
}

/// r and s of the DER of SEQUENCE { r INTEGER, s INTEGER }, both from 1 to `order` - 1.
bool readSignature(Reading& reading, asn1::blob sig, BigNum const& order, BigNum* r, BigNum* s) {
    asn1::blob content, first, second;
    if (!detail::readOnly(reading, sig, tag::sequence, &content))
        return false;
    detail::Level numbers(reading, content);
    if (!detail::takeInteger(numbers, &first, "r") || !detail::takeInteger(numbers, &second, "s"))
        return false;
    *r = BigNum(first);
    *s = BigNum(second);
    if (r->bits() == 0 || s->bits() == 0 || *r >= order || *s >= order)
        return reading.refuse(RefusalId::malformedSignature, content);
    // There is one encoding of r and s: no other says the same with a negative number, a longer length,
    // a longer number or something behind (X.690, sections 8.3.2 and 10.1).
    return asn1::blob(writeSignature(*r, *s)) == sig ||
           reading.refuse(RefusalId::malformedSignature, content);
}

/// SEC 1, section 4.1.4, from step 2 on. r and s are in their range, the point need not be on the curve.
bool isSignature(NamedCurve const& curve, ECPoint const& point, BigNum const& e, BigNum const& r,
                 BigNum const& s) {
    if (!curve.contains(point))
        return false;
    WCurve const& group = curve.group;
    BigNum const w = invByMod(s, curve.order);
    ECPoint sum = group.toEC(group.mul2add(productModulo(e, w, curve.order), group.fromEC(curve.base),
                                           productModulo(r, w, curve.order), group.fromEC(point)));
    div(sum.x, curve.order, nullptr, &sum.x);
    return sum.x == r;
}

/// The nonces for one digest under one key (RFC 6979, section 3.2).
class NonceSequence {
public:
    /// Steps a to f. `e` is the number that the digest stands for.
    NonceSequence(Hash& digestHash, NamedCurve const& namedCurve, BigNum const& secret, BigNum const& e)
        : hash(digestHash), curve(namedCurve), V(hash.digestLength(), 0x01), K(hash.digestLength(), 0x00) {
        SecretOctets seed;
        append(seed, secret);
        append(seed, productModulo(e, bn64(1), curve.order));
        update(0x00, viewOf(seed));
        update(0x01, viewOf(seed));
    }

    /// Step h: the next nonce, from 1 to the order less 1.
    BigNum next() {
        for (;;) {
            SecretOctets T;
            while (8 * T.size() < curve.order.bits()) {
                V = mac({});
                T.insert(T.end(), V.begin(), V.end());
            }
            update(0x00, {});
            BigNum k = leftmostBits(viewOf(T), curve.order);
            if (curve.isScalar(k))
                return k;
        }
    }

private:
    /// Appends a number below the order as bytes, as many as the order has.
    void append(SecretOctets& octets, BigNum const& x) const {
        detail::SecretBytes const bytes(x.bin(curve.orderWidth()));
        octets.insert(octets.end(), bytes.value.begin(), bytes.value.end());
    }

    /// HMAC under K of V and `rest`.
    SecretOctets mac(asn1::blob rest) const {
        HMAC hmac(&hash, K.data(), static_cast<unsigned>(K.size()));
        hmac.update(V.data(), static_cast<unsigned>(V.size()));
        hmac.update(rest.data(), static_cast<unsigned>(rest.size()));
        SecretOctets result(hash.digestLength());
        hmac.digest(result.data());
        return result;
    }

    void update(unsigned char separator, asn1::blob seed) {
        SecretOctets input{separator};
        input.insert(input.end(), seed.begin(), seed.end());
        K = mac(viewOf(input));
        V = mac({});
    }

    Hash& hash;
    NamedCurve const& curve;
    SecretOctets V;
    SecretOctets K;
};

/// k plus once or twice the order, which is the same multiple of the base point: one bit longer than the
/// order whatever k is. The time of a multiplication tells the length of its scalar, and few nonces known
/// to be short give the key away.
BigNum ofFixedLength(BigNum const& k, BigNum const& order) {
    BigNum longer = k + order;
    if (longer.bits() == order.bits())
        longer += order;
    return longer;
}

} // namespace

bool detail::verifyHashed(Reading& reading, EcPublicKey const& key, HashID hashId, asn1::blob digest,
                          asn1::blob sig) {
    // A digest of another size was not made with the hash; an empty one, as of an unknown hash, could
    // be signed without the private key.
    std::unique_ptr<Hash> const hash = createHash(hashId);
    if (hash == nullptr || digest.size() != hash->digestLength())
        return reading.refuse(RefusalId::unsupportedDigest, nullptr);
    if (getModLen(key.curve) == 0)
        return reading.refuse(RefusalId::unknownCurve, nullptr);
    NamedCurve const named(key.curve);
    BigNum r, s;
    if (!readSignature(reading, sig, named.order, &r, &s))
        return false;
    return isSignature(named, key.point, leftmostBits(digest, named.order), r, s) ||
           reading.refuse(RefusalId::signatureMismatch, sig);
}

bool EcPublicKey::verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const {
    detail::Reading reading(sig);
    return detail::verifyHashed(reading, *this, hashId, digest, sig);
}

std::vector<unsigned char> EcPrivateKey::signHashed(HashID hashId, asn1::blob digest) const {
    std::unique_ptr<Hash> const hash = createHash(hashId);
    if (hash == nullptr || digest.size() != hash->digestLength() || getModLen(curve) == 0)
        return {};
    NamedCurve const named(curve);
    BigNum const& order = named.order;
    if (!named.isScalar(secret))
        return {};

    // SEC 1, section 4.1.3.
    BigNum const e = leftmostBits(digest, order);
    NonceSequence nonces(*hash, named, secret, e);
    BigNum r, s;
    do {
        BigNum const k = nonces.next();
        r = productModulo(named.publicPoint(ofFixedLength(k, order)).x, bn64(1), order);
        s = productModulo(invByMod(k, order), e + productModulo(r, secret, order), order);
    } while (r.bits() == 0 || s.bits() == 0);

    // What the public key does not confirm never leaves: with the nonce fixed by the digest, a right and
    // a wrong signature of the same digest give the secret away.
    bool const hasPoint = !(point == ECPoint());
    if (!isSignature(named, hasPoint ? point : named.publicPoint(secret), e, r, s))
        return {};
    return writeSignature(r, s);
}

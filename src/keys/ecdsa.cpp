// ECDSA signatures (FIPS 186-5, section 6; SEC 1, section 4.1).
#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/hmac.h"
#include "sealkit/keys.h"

#include "asn1/element.h"
#include "keys/named_curve.h"
#include "keys/verify.h"

#include <algorithm>
#include <cstring>

namespace {

namespace tag = detail::tag;
using detail::NamedCurve;
using detail::Reading;
using detail::SecretNumber;
using detail::Told;

/// The leftmost bits of `octets`, up to the size of the order (SEC 1, section 4.1.3, step 5; bits2int of RFC
/// 6979, section 2.3.2).
void takeLeftmostBits(SecretNumber& number, asn1::blob octets, NamedCurve const& curve) {
    number.assign(octets.data(),
                  std::min(8 * static_cast<unsigned>(octets.size()), curve.arithmetic.orderBits));
}

/// Converts a digest to a number modulo the order.
void takeDigest(SecretNumber& e, asn1::blob digest, NamedCurve const& curve) {
    takeLeftmostBits(e, digest, curve);
    curve.arithmetic.reduce(e);
}

std::vector<unsigned char> writeSignature(BigNum const& r, BigNum const& s) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addInteger(r).addInteger(s).end();
    return encoder.take();
}

/// Reads r and s from the DER of SEQUENCE { r INTEGER, s INTEGER }. Both must be from 1 to the order less 1.
bool readSignature(Reading& reading, asn1::blob sig, NamedCurve const& curve, BigNum* r, BigNum* s) {
    asn1::blob content, first, second;
    if (!detail::readOnly(reading, sig, tag::sequence, &content))
        return false;
    detail::Level numbers(reading, content);
    if (!detail::takeInteger(numbers, &first, "r") || !detail::takeInteger(numbers, &second, "s"))
        return false;
    *r = BigNum(first);
    *s = BigNum(second);
    SecretNumber scalar;
    if (!curve.takeScalar(*r, &scalar) || !curve.takeScalar(*s, &scalar))
        return reading.refuse(RefusalId::malformedSignature, content);
    // Accepts only the DER encoding: negative numbers, longer lengths or numbers, and trailing bytes are
    // rejected (X.690, sections 8.3.2 and 10.1).
    return asn1::blob(writeSignature(*r, *s)) == sig ||
           reading.refuse(RefusalId::malformedSignature, content);
}

/// The nonces for one digest under one key (RFC 6979, section 3.2).
class NonceSequence {
public:
    /// Steps a to f. `e` is the digest as a number modulo the order.
    NonceSequence(Hash& digestHash, NamedCurve const& namedCurve, SecretNumber const& secret,
                  SecretNumber const& e)
        : hash(digestHash), curve(namedCurve), length(hash.digestLength()) {
        std::memset(state.V, 0x01, length);
        unsigned const width = curve.orderWidth();
        secret.write(state.seed + 1, width);
        e.write(state.seed + 1 + width, width);
        update(0x00, 2 * width);
        update(0x01, 2 * width);
    }

    /// Step h: the next nonce, from 1 to the order less 1.
    void next(SecretNumber& nonce) {
        do {
            if (drawn)
                update(0x00, 0);
            drawn = true;
            unsigned filled = 0;
            for (; 8 * filled < curve.arithmetic.orderBits; filled += length) {
                mac(state.V, nullptr, 0);
                std::memcpy(state.T + filled, state.V, length);
            }
            takeLeftmostBits(nonce, {state.T, filled}, curve);
        } while (!detail::declassified(Told::retry, curve.arithmetic.isScalar(nonce)));
    }

private:
    static constexpr unsigned maxDigest = 64;
    static constexpr unsigned maxOrder = 66;

    /// Sets `to` to HMAC, under the key K, over V and `rest`.
    void mac(unsigned char* to, unsigned char const* rest, unsigned size) {
        HMAC hmac(&hash, state.K, length);
        hmac.update(state.V, length);
        hmac.update(rest, size);
        hmac.digest(to);
    }

    /// Steps d and e, or f and g, with the first `size` bytes of the seed.
    void update(unsigned char separator, unsigned size) {
        state.seed[0] = separator;
        mac(state.K, state.seed, 1 + size);
        mac(state.V, nullptr, 0);
    }

    struct State {
        unsigned char K[maxDigest] = {};
        unsigned char V[maxDigest];
        unsigned char T[maxOrder + maxDigest];
        unsigned char seed[1 + 2 * maxOrder]; ///< Follows the separator, because both are hashed together.

        ~State() { secureMemset(this, 0, sizeof *this); }
    };

    Hash& hash;
    NamedCurve const& curve;
    unsigned const length;
    bool drawn = false;
    State state;
};

} // namespace

bool detail::verifyHashed(Reading& reading, EcPublicKey const& key, HashID hashId, asn1::blob digest,
                          asn1::blob sig) {
    // A digest of another size is not from this hash. An empty one, as for an unknown hash, could be signed
    // without the private key.
    std::unique_ptr<Hash> const hash = createHash(hashId);
    if (hash == nullptr || digest.size() != hash->digestLength())
        return reading.refuse(RefusalId::unsupportedDigest, nullptr);
    if (getModLen(key.curve) == 0)
        return reading.refuse(RefusalId::unknownCurve, nullptr);
    NamedCurve const named(key.curve);
    BigNum r, s;
    if (!readSignature(reading, sig, named, &r, &s))
        return false;
    SecretNumber e;
    takeDigest(e, digest, named);
    return (named.arithmetic.contains(key.point) && named.arithmetic.verify(key.point, e, r, s)) ||
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
    SecretNumber scalar, e, nonce;
    if (!named.takeScalar(secret, &scalar))
        return {};

    // SEC 1, section 4.1.3.
    takeDigest(e, digest, named);
    NonceSequence nonces(*hash, named, scalar, e);
    BigNum r, s;
    do
        nonces.next(nonce);
    while (!named.arithmetic.sign(scalar, nonce, e, &r, &s));
    return writeSignature(r, s);
}

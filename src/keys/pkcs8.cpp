#include "sealkit/pkcs8.h"
#include "sealkit/oid_names.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/input_kind.h"
#include "asn1/read.h"
#include "base/secret_bytes.h"
#include "keys/named_curve.h"
#include "keys/read.h"

namespace {

namespace tag = detail::tag;

using detail::Level;
using detail::Reading;

/// Reads a key of one class; null if it is refused.
template <typename Key, typename K>
std::unique_ptr<Key> readAs(Reading& reading, asn1::blob params, asn1::blob data) {
    auto key = std::make_unique<K>();
    if (!detail::read(reading, params, data, *key))
        return nullptr;
    return key;
}

/// Reads a key of the algorithm `oid`; null if it is refused.
template <typename Key, typename Rsa, typename Ec, typename Ed25519, typename X25519>
std::unique_ptr<Key> readKey(Reading& reading, asn1::blob oid, asn1::blob params, asn1::blob data) {
    if (isKeyAlgorithm(oid))
        switch (getKeyType(oid)) {
        case KeyType::RSA:
            return readAs<Key, Rsa>(reading, params, data);
        case KeyType::EC:
            return readAs<Key, Ec>(reading, params, data);
        case KeyType::Ed25519:
            return readAs<Key, Ed25519>(reading, params, data);
        case KeyType::X25519:
            return readAs<Key, X25519>(reading, params, data);
        }
    if (reading.wantsReason())
        reading.refuse(RefusalId::unknownKeyAlgorithm, oid, {{"algorithm", oidName(oid)}});
    return nullptr;
}

/// Reads the public key in the content of a BIT STRING, which must have no unused bits.
std::unique_ptr<PublicKey> readPublicBits(Reading& reading, asn1::blob oid, asn1::blob params,
                                          asn1::blob bits) {
    // For an unknown algorithm, its refusal is more helpful than one about the form of the key.
    if (isKeyAlgorithm(oid) && (bits.empty() || bits[0] != 0)) {
        reading.refuse(RefusalId::malformedBitString, bits);
        return nullptr;
    }
    return readKey<PublicKey, RsaPublicKey, EcPublicKey, Ed25519PublicKey, X25519PublicKey>(
        reading, oid, params, bitStringContent(bits));
}

template <typename K>
std::vector<unsigned char> encodeAs(PublicKey const& key) {
    return dynamic_cast<K const*>(&key)->K::encodeToDerEncoded();
}

/// The DER of the public members. A private key's own DER would include the secret ones.
std::vector<unsigned char> encodePublicMembers(PublicKey const& key) {
    switch (key.keyType()) {
    case KeyType::RSA:
        return encodeAs<RsaPublicKey>(key);
    case KeyType::EC:
        return encodeAs<EcPublicKey>(key);
    case KeyType::Ed25519:
        return encodeAs<Ed25519PublicKey>(key);
    case KeyType::X25519:
        return encodeAs<X25519PublicKey>(key);
    }
    return {};
}

void addAlgorithm(DerEncoder& encoder, PublicKey const& key) {
    encoder.begin(tag::sequence).addOid(getKeyOid(key.keyType())).addEncoded(key.algorithmParams()).end();
}

/// The versions of OneAsymmetricKey (RFC 5958, section 2). The first is that of PKCS#8 (RFC 5208).
constexpr unsigned char version1[] = {0};
constexpr unsigned char version2[] = {1};
constexpr unsigned attributesTag = tag::constructed(0);
constexpr unsigned publicKeyTag = tag::primitive(1);

/// Reads into `key` if it is a `K`.
template <typename K>
bool readInto(PublicKey& key, Reading& reading, asn1::blob algoParams, asn1::blob keyData, bool* done) {
    auto* const own = dynamic_cast<K*>(&key);
    if (own != nullptr)
        *done = detail::read(reading, algoParams, keyData, *own);
    return own != nullptr;
}

/// The same for the first matching class. Derived classes must precede their bases.
template <typename... K>
bool readIntoFirst(PublicKey& key, Reading& reading, asn1::blob algoParams, asn1::blob keyData) {
    bool done = false;
    static_cast<void>((readInto<K>(key, reading, algoParams, keyData, &done) || ...));
    return done;
}

/// A copy of an EC private key with its missing public point; null for any other key.
std::unique_ptr<EcPrivateKey> withPoint(PublicKey const& key) {
    auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key);
    if (ec == nullptr || !(ec->point == ECPoint()) || getModLen(ec->curve) == 0)
        return nullptr;
    detail::NamedCurve const curve(ec->curve);
    detail::SecretNumber scalar;
    if (!curve.takeScalar(ec->secret, &scalar))
        return nullptr;
    auto whole = std::make_unique<EcPrivateKey>(*ec);
    whole->point = curve.arithmetic.publicPoint(scalar);
    return whole;
}

} // namespace

bool parseFromDerEncoded(PublicKey& key, asn1::blob algoParams, asn1::blob keyData, Refusal* refusal) {
    Reading reading(keyData, refusal);
    return readIntoFirst<RsaPrivateKey, EcPrivateKey, Ed25519PrivateKey, X25519PrivateKey, RsaPublicKey,
                         EcPublicKey, Ed25519PublicKey, X25519PublicKey>(key, reading, algoParams, keyData);
}

std::unique_ptr<PublicKey> detail::readPublicKeyInfo(Reading& reading, asn1::blob der) {
    asn1::blob content, oid, params, bits;
    if (!readOnly(reading, der, tag::sequence, &content))
        return nullptr;
    Level info(reading, content);
    if (!takeAlgorithm(info, &oid, &params, "algorithm") ||
        !take(info, tag::bitString, &bits, "subjectPublicKey") || !finish(info))
        return nullptr;
    return readPublicBits(reading, oid, params, bits);
}

std::unique_ptr<PrivateKey> detail::readOneAsymmetricKey(Reading& reading, asn1::blob der) {
    asn1::blob content, version, oid, params, octets, publicBits;
    if (!readOnly(reading, der, tag::sequence, &content))
        return nullptr;
    Level info(reading, content);
    if (!takeInteger(info, &version, "version") ||
        !takeAlgorithm(info, &oid, &params, "privateKeyAlgorithm") ||
        !take(info, tag::octetString, &octets, "privateKey"))
        return nullptr;
    bool const isVersion2 = version == asn1::blob(version2);
    if (!isVersion2 && !(version == asn1::blob(version1))) {
        reading.refuse(RefusalId::keyVersion, version);
        return nullptr;
    }
    skipOptional(info, attributesTag);
    bool const hasPublicKey = isVersion2 && info.tag == publicKeyTag;
    if ((hasPublicKey && !take(info, publicKeyTag, &publicBits, "publicKey")) || !finish(info))
        return nullptr;

    std::unique_ptr<PrivateKey> key =
        readKey<PrivateKey, RsaPrivateKey, EcPrivateKey, Ed25519PrivateKey, X25519PrivateKey>(reading, oid,
                                                                                              params, octets);
    if (key != nullptr && hasPublicKey) {
        Reading::Step const step(reading, "publicKey");
        std::unique_ptr<PublicKey> const given =
            readPublicBits(reading, oid, key->algorithmParams(), publicBits);
        if (given == nullptr)
            return nullptr;
        if (!given->equals(*key)) {
            reading.refuse(RefusalId::publicKeyMismatch, publicBits);
            return nullptr;
        }
    }
    return key;
}

std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der) {
    Reading reading(der);
    return detail::readPublicKeyInfo(reading, der);
}

std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der, Refusal* refusal) {
    Reading reading(der, refusal);
    std::unique_ptr<PublicKey> key = detail::readPublicKeyInfo(reading, der);
    if (key == nullptr)
        detail::refuseOtherKind(reading, InputKind::publicKey, detail::findDerKind(der));
    return key;
}

std::vector<unsigned char> encodePkcs8PublicKey(PublicKey const& key) {
    std::unique_ptr<EcPrivateKey> const whole = withPoint(key);
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    addAlgorithm(encoder, key);
    encoder.addBitString(encodePublicMembers(whole ? *whole : key)).end();
    std::vector<unsigned char> der = encoder.take();
    Reading reading;
    return detail::readPublicKeyInfo(reading, der) ? std::move(der) : std::vector<unsigned char>();
}

std::unique_ptr<PrivateKey> parseOneAssimetricKey(asn1::blob der) {
    Reading reading(der);
    return detail::readOneAsymmetricKey(reading, der);
}

std::unique_ptr<PrivateKey> parseOneAssimetricKey(asn1::blob der, Refusal* refusal) {
    Reading reading(der, refusal);
    std::unique_ptr<PrivateKey> key = detail::readOneAsymmetricKey(reading, der);
    if (key == nullptr)
        detail::refuseOtherKind(reading, InputKind::privateKey, detail::findDerKind(der));
    return key;
}

std::vector<unsigned char> encodePkcs8PrivateKey(PrivateKey const& key) {
    std::unique_ptr<EcPrivateKey> const whole = withPoint(key);
    detail::SecretBytes const octets(whole ? whole->encodeToDerEncoded() : key.encodeToDerEncoded());
    DerEncoder encoder;
    encoder.begin(tag::sequence).add(tag::integer, version1);
    addAlgorithm(encoder, key);
    encoder.addOctetString(octets).end();
    std::vector<unsigned char> der = encoder.take();
    Reading reading;
    if (!detail::readOneAsymmetricKey(reading, der)) {
        detail::wipe(der);
        der.clear();
    }
    return der;
}

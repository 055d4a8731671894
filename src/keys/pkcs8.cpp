#include "sealkit/pkcs8.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"
#include "base/secret_bytes.h"

namespace {

namespace tag = detail::tag;

/// An empty key of the algorithm that `oid` names; null for an algorithm that has no class.
template <typename Key, typename Rsa, typename Ec, typename Ed25519, typename X25519>
std::unique_ptr<Key> newKey(asn1::blob oid) {
    if (!isKeyAlgorithm(oid))
        return nullptr;
    switch (getKeyType(oid)) {
    case KeyType::RSA:
        return std::make_unique<Rsa>();
    case KeyType::EC:
        return std::make_unique<Ec>();
    case KeyType::Ed25519:
        return std::make_unique<Ed25519>();
    case KeyType::X25519:
        return std::make_unique<X25519>();
    }
    return nullptr;
}

std::unique_ptr<PublicKey> newPublicKey(asn1::blob oid) {
    return newKey<PublicKey, RsaPublicKey, EcPublicKey, Ed25519PublicKey, X25519PublicKey>(oid);
}

std::unique_ptr<PrivateKey> newPrivateKey(asn1::blob oid) {
    return newKey<PrivateKey, RsaPrivateKey, EcPrivateKey, Ed25519PrivateKey, X25519PrivateKey>(oid);
}

/// Takes an AlgorithmIdentifier apart. `params` stays empty where they are absent.
bool takeAlgorithm(asn1::parser& level, asn1::blob* oid, asn1::blob* params) {
    asn1::blob content;
    if (!detail::take(level, tag::sequence, &content))
        return false;
    asn1::parser identifier(content);
    if (!detail::take(identifier, tag::oid, oid))
        return false;
    if (!detail::atEnd(identifier))
        *params = identifier.takeWhole();
    return detail::atEnd(identifier);
}

/// Reads the public key within the content of a BIT STRING. A key is whole octets, so that no bit of
/// the last one is unused.
std::unique_ptr<PublicKey> parsePublicBits(asn1::blob oid, asn1::blob params, asn1::blob bits) {
    std::unique_ptr<PublicKey> key = newPublicKey(oid);
    if (key == nullptr || bits.empty() || bits[0] != 0 ||
        !key->parseFromDerEncoded(params, bitStringContent(bits)))
        return nullptr;
    return key;
}

template <typename K>
std::vector<unsigned char> encodeAs(PublicKey const& key) {
    return dynamic_cast<K const*>(&key)->K::encodeToDerEncoded();
}

/// The DER of the public members, of a private key too, whose own DER has the secret ones.
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

/// The versions of OneAsymmetricKey (RFC 5958, section 2). The first is PKCS#8's own (RFC 5208).
constexpr unsigned char version1[] = {0};
constexpr unsigned char version2[] = {1};
constexpr unsigned attributesTag = tag::constructed(0);
constexpr unsigned publicKeyTag = tag::primitive(1);

} // namespace

std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der) {
    asn1::blob content, oid, params, bits;
    if (!detail::readOnly(der, tag::sequence, &content))
        return nullptr;
    asn1::parser info(content);
    if (!takeAlgorithm(info, &oid, &params) || !detail::take(info, tag::bitString, &bits) ||
        !detail::atEnd(info))
        return nullptr;
    return parsePublicBits(oid, params, bits);
}

std::vector<unsigned char> encodePkcs8PublicKey(PublicKey const& key) {
    std::vector<unsigned char> const bits = encodePublicMembers(key);
    if (bits.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    addAlgorithm(encoder, key);
    encoder.addBitString(bits).end();
    return encoder.take();
}

std::unique_ptr<PrivateKey> parseOneAssimetricKey(asn1::blob der) {
    asn1::blob content, version, oid, params, octets, publicBits;
    if (!detail::readOnly(der, tag::sequence, &content))
        return nullptr;
    asn1::parser info(content);
    if (!detail::takeInteger(info, &version) || !takeAlgorithm(info, &oid, &params) ||
        !detail::take(info, tag::octetString, &octets))
        return nullptr;
    bool const isVersion2 = version == asn1::blob(version2);
    if (!isVersion2 && !(version == asn1::blob(version1)))
        return nullptr;
    detail::skipOptional(info, attributesTag);
    bool const hasPublicKey = isVersion2 && info.tag == publicKeyTag;
    if ((hasPublicKey && !detail::take(info, publicKeyTag, &publicBits)) || !detail::atEnd(info))
        return nullptr;

    std::unique_ptr<PrivateKey> key = newPrivateKey(oid);
    if (key == nullptr || !key->parseFromDerEncoded(params, octets))
        return nullptr;
    if (hasPublicKey) {
        std::unique_ptr<PublicKey> const given = parsePublicBits(oid, key->algorithmParams(), publicBits);
        if (given == nullptr || !given->equals(*key))
            return nullptr;
    }
    return key;
}

std::vector<unsigned char> encodePkcs8PrivateKey(PrivateKey const& key) {
    detail::SecretBytes const octets(key.encodeToDerEncoded());
    if (octets.value.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence).add(tag::integer, version1);
    addAlgorithm(encoder, key);
    encoder.addOctetString(octets).end();
    return encoder.take();
}

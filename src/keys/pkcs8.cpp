#include "sealkit/pkcs8.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include "asn1/element.h"

namespace {

namespace tag = detail::tag;

/// An empty key of the algorithm that `oid` names; null for an algorithm that has no class.
std::unique_ptr<PublicKey> newPublicKey(asn1::blob oid) {
    if (!isKeyAlgorithm(oid))
        return nullptr;
    switch (getKeyType(oid)) {
    case KeyType::RSA:
        return std::make_unique<RsaPublicKey>();
    case KeyType::EC:
        return std::make_unique<EcPublicKey>();
    case KeyType::Ed25519:
        return std::make_unique<Ed25519PublicKey>();
    case KeyType::X25519:
        return std::make_unique<X25519PublicKey>();
    }
    return nullptr;
}

} // namespace

std::unique_ptr<PublicKey> parsePkcs8PublicKey(asn1::blob der) {
    asn1::blob content, algorithm, bits, oid;
    if (!detail::readOnly(der, tag::sequence, &content))
        return nullptr;
    asn1::parser info(content);
    if (!detail::take(info, tag::sequence, &algorithm) || !detail::take(info, tag::bitString, &bits) ||
        !detail::atEnd(info))
        return nullptr;
    asn1::parser identifier(algorithm);
    if (!detail::take(identifier, tag::oid, &oid))
        return nullptr;
    asn1::blob params;
    if (!detail::atEnd(identifier))
        params = identifier.takeWhole();
    // A key is whole octets, so that no bit of the last one is unused.
    if (!detail::atEnd(identifier) || bits.empty() || bits[0] != 0)
        return nullptr;

    std::unique_ptr<PublicKey> key = newPublicKey(oid);
    if (key == nullptr || !key->parseFromDerEncoded(params, bitStringContent(bits)))
        return nullptr;
    return key;
}

std::vector<unsigned char> encodePkcs8PublicKey(PublicKey const& key) {
    DerEncoder encoder;
    encoder.begin(tag::sequence)
        .begin(tag::sequence)
        .addOid(getKeyOid(key.keyType()))
        .addEncoded(key.algorithmParams())
        .end()
        .addBitString(key.encodeToDerEncoded())
        .end();
    return encoder.take();
}

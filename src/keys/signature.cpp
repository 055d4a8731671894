#include "sealkit/signature.h"

#include "sealkit/oid.h"

#include "keys/verify.h"

HashID getMatchingHash(PublicKey const& key) {
    if (key.keyType() == KeyType::Ed25519 || key.keyType() == KeyType::X25519)
        return HashID::none;
    auto const* const ec = dynamic_cast<EcPublicKey const*>(&key);
    if (ec == nullptr)
        return HashID::SHA256;
    return ec->curve == Curve::p384   ? HashID::SHA384
           : ec->curve == Curve::p521 ? HashID::SHA512
                                      : HashID::SHA256;
}

std::vector<unsigned char> signHashed(PrivateKey const& key, HashID hash, asn1::blob digest) {
    if (auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key))
        return rsa->signHashed(hash, digest);
    if (auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key))
        return ec->signHashed(hash, digest);
    return {};
}

std::vector<unsigned char> signMessage(PrivateKey const& key, HashID hash, asn1::blob message) {
    if (auto const* const ed25519 = dynamic_cast<Ed25519PrivateKey const*>(&key))
        return ed25519->sign(message);
    return signHashed(key, hash, calcDigest(hash, message));
}

bool detail::verifyHashed(Reading& reading, PublicKey const& key, HashID hash, asn1::blob digest,
                          asn1::blob signature) {
    if (auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key))
        return verifyHashed(reading, *rsa, hash, digest, signature);
    if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key))
        return verifyHashed(reading, *ec, hash, digest, signature);
    return reading.refuse(RefusalId::keyCannotVerify, nullptr);
}

bool detail::verifyMessage(Reading& reading, PublicKey const& key, HashID hash, asn1::blob message,
                           asn1::blob signature) {
    if (auto const* const ed25519 = dynamic_cast<Ed25519PublicKey const*>(&key))
        return ed25519->verify(message, signature) || reading.refuse(RefusalId::signatureMismatch, signature);
    return verifyHashed(reading, key, hash, calcDigest(hash, message), signature);
}

bool verifyHashed(PublicKey const& key, HashID hash, asn1::blob digest, asn1::blob signature) {
    detail::Reading reading(signature);
    return detail::verifyHashed(reading, key, hash, digest, signature);
}

bool verifyHashed(PublicKey const& key, HashID hash, asn1::blob digest, asn1::blob signature,
                  Refusal* refusal) {
    detail::Reading reading(signature, refusal);
    return detail::verifyHashed(reading, key, hash, digest, signature);
}

bool verifyMessage(PublicKey const& key, HashID hash, asn1::blob message, asn1::blob signature) {
    detail::Reading reading(signature);
    return detail::verifyMessage(reading, key, hash, message, signature);
}

bool verifyMessage(PublicKey const& key, HashID hash, asn1::blob message, asn1::blob signature,
                   Refusal* refusal) {
    detail::Reading reading(signature, refusal);
    return detail::verifyMessage(reading, key, hash, message, signature);
}

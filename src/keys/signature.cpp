#include "sealkit/signature.h"

#include "sealkit/oid.h"

std::vector<unsigned char> signHashed(PrivateKey const& key, HashID hash, asn1::blob digest) {
    if (auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(&key))
        return rsa->signHashed(hash, digest);
    if (auto const* const ec = dynamic_cast<EcPrivateKey const*>(&key))
        return ec->signHashed(hash, digest);
    return {};
}

bool verifyHashed(PublicKey const& key, HashID hash, asn1::blob digest, asn1::blob signature) {
    if (auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key))
        return rsa->verifyHashed(hash, digest, signature);
    if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key))
        return ec->verifyHashed(hash, digest, signature);
    return false;
}

std::vector<unsigned char> signMessage(PrivateKey const& key, HashID hash, asn1::blob message) {
    if (auto const* const ed25519 = dynamic_cast<Ed25519PrivateKey const*>(&key))
        return ed25519->sign(message);
    return signHashed(key, hash, calcDigest(hash, message));
}

bool verifyMessage(PublicKey const& key, HashID hash, asn1::blob message, asn1::blob signature) {
    if (auto const* const ed25519 = dynamic_cast<Ed25519PublicKey const*>(&key))
        return ed25519->verify(message, signature);
    return verifyHashed(key, hash, calcDigest(hash, message), signature);
}

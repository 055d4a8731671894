#include "keys/key_cast.h"
#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "sealkit/pkcs8.h"

namespace {

bool verifyWith(PublicKey const& key, HashID hash, asn1::blob signedBytes, asn1::blob signature) {
    switch (key.keyType()) {
    case KeyType::RSA:
        return detail::keyCast<RsaPublicKey>(key)->verifyHashed(hash, calcDigest(hash, signedBytes),
                                                                signature);
    case KeyType::EC:
        return detail::keyCast<EcPublicKey>(key)->verifyHashed(hash, calcDigest(hash, signedBytes),
                                                               signature);
    case KeyType::Ed25519:
        return detail::keyCast<Ed25519PublicKey>(key)->verify(signedBytes, signature);
    default:
        return false;
    }
}

} // namespace

bool verifySignature(X509Base const* object, asn1::blob issuerKeyInfo, PathRes* result) {
    auto fail = [result](PathCode code) {
        result->code = static_cast<std::int32_t>(code);
        return false;
    };
    auto const key = parsePkcs8PublicKey(issuerKeyInfo);
    if (!key)
        return fail(PathCode::issuerKeyUnreadable);

    KeyType keyType;
    HashID hash;
    if (!parseAlgosFromKeyInfo(encode(object->signatureAlgorithm), &keyType, &hash) ||
        keyType != key->keyType())
        return fail(PathCode::algorithmMismatch);

    result->code = static_cast<std::int32_t>(PathCode::badSignature);
    return verifyWith(*key, hash, object->tbs, object->signature);
}

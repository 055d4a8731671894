#include "sealkit/signature.h"
#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "sealkit/pkcs8.h"

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
    return verifyMessage(*key, hash, object->tbs, object->signature);
}

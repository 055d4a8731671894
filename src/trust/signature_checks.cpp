#include "trust/signature_checks.h"

#include "sealkit/hash.h"
#include "sealkit/oid.h"
#include "sealkit/pkcs8.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "base/view.h"

#include <algorithm>
#include <cstdint>

namespace detail {

namespace {

constexpr size_t bytesHashedPerUnit = 64 << 10;

unsigned ceilDiv(uint64_t number, uint64_t divisor) {
    return static_cast<unsigned>((number + divisor - 1) / divisor);
}

unsigned fieldBits(Curve curve) {
    switch (curve) {
    case Curve::p192:
        return 192;
    case Curve::p224:
        return 224;
    case Curve::p256:
        return 256;
    case Curve::p384:
        return 384;
    case Curve::p521:
        return 521;
    }
    return 0;
}

} // namespace

unsigned verificationWork(PublicKey const& key) {
    if (auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key)) {
        // The size of 65537, the common exponent.
        constexpr unsigned commonBits = 17;
        uint64_t const bits = rsa->n.bits();
        uint64_t const exponentBits = std::max(rsa->e.bits(), commonBits);
        return std::max(1U, ceilDiv(bits * bits * exponentBits, uint64_t(2048) * 2048 * commonBits));
    }
    if (auto const* const ec = dynamic_cast<EcPublicKey const*>(&key)) {
        uint64_t const bits = fieldBits(ec->curve);
        return std::max(1U, ceilDiv(bits * bits, 256 * 256));
    }
    return 1;
}

bool SignatureChecks::spend(unsigned work) {
    if (work > workLeft) {
        isExhausted = true;
        return false;
    }
    if (workLeft != unlimited)
        workLeft -= work;
    counted.work += work;
    return true;
}

SignatureChecks::Key& SignatureChecks::findKey(asn1::blob keyInfo) {
    if (auto const known = keys.find(viewOf(keyInfo)); known != keys.end())
        return known->second;
    Key& added = keys[std::string(viewOf(keyInfo))];
    added.key = isSilent ? parsePkcs8PublicKey(keyInfo, nullptr) : parsePkcs8PublicKey(keyInfo);
    if (added.key)
        added.work = verificationWork(*added.key);
    return added;
}

void SignatureChecks::forgetKey(asn1::blob keyInfo) {
    auto const known = keys.find(viewOf(keyInfo));
    if (known == keys.end())
        return;
    for (auto& [address, object] : objects)
        object.results.erase(&known->second);
    keys.erase(known);
}

SignatureChecks::Object& SignatureChecks::findObject(X509Base const& object) {
    auto const [place, isNew] = objects.try_emplace(&object);
    Object& found = place->second;
    if (!isNew)
        return found;
    AlgorithmIdentifier const& algorithm = object.signatureAlgorithm;
    Reading silent;
    found.isPss = asn1::blob(algorithm.oid) == asn1::blob(oid::rsaPss) &&
                  readPssParameters(silent, algorithm.params, &found.pss);
    if (found.isPss)
        found.hash = found.pss.hash;
    found.isSupported = found.isPss || parseAlgosFromKeyInfo(encode(algorithm), &found.keyType, &found.hash);
    return found;
}

std::vector<unsigned char> const& SignatureChecks::digestOf(X509Base const& object, HashID hash) {
    Object& known = findObject(object);
    auto const [place, isNew] = known.digests.try_emplace(hash);
    if (isNew) {
        place->second = calcDigest(hash, object.tbs);
        ++counted.digests;
    }
    return place->second;
}

std::optional<PathCode> SignatureChecks::check(X509Base const& object, asn1::blob issuerKeyInfo,
                                               SignatureForms forms) {
    Object& known = findObject(object);
    bool const isKept = !known.isPss || forms == SignatureForms::standard;
    auto const key = keys.find(viewOf(issuerKeyInfo));
    if (key != keys.end() && isKept)
        if (auto const result = known.results.find(&key->second); result != known.results.end())
            return result->second;

    // Parsing the key costs one unit. How much more the verification costs is only known afterwards.
    if (!spend(1))
        return std::nullopt;
    Key const& issuer = findKey(issuerKeyInfo);
    unsigned work = issuer.work - 1;
    // An Ed25519 digest includes the key, so each key needs another one.
    if (known.wasHashedWithKey && known.keyType == KeyType::Ed25519)
        work += static_cast<unsigned>(object.tbs.size() / bytesHashedPerUnit);
    if (!spend(work))
        return std::nullopt;
    PathCode const code = verify(object, known, issuer, forms);
    if (isKept)
        known.results[&issuer] = code;
    return code;
}

PathCode SignatureChecks::verify(X509Base const& object, Object& known, Key const& issuer,
                                 SignatureForms forms) {
    if (!issuer.key)
        return PathCode::issuerKeyUnreadable;
    bool const isSupported = known.isSupported && (!known.isPss || forms == SignatureForms::standard);
    if (!isSupported || known.keyType != issuer.key->keyType())
        return PathCode::algorithmMismatch;
    ++counted.signatureChecks;
    bool verifies;
    if (auto const* const ed25519 = dynamic_cast<Ed25519PublicKey const*>(issuer.key.get())) {
        known.wasHashedWithKey = true;
        verifies = ed25519->verify(object.tbs, object.signature);
    } else if (auto const& digest = digestOf(object, known.hash); known.isPss) {
        Reading silent;
        auto const* const rsa = dynamic_cast<RsaPublicKey const*>(issuer.key.get());
        verifies = verifyPss(silent, *rsa, known.pss, digest, object.signature);
    } else {
        verifies = isSilent ? verifyHashed(*issuer.key, known.hash, digest, object.signature, nullptr)
                            : verifyHashed(*issuer.key, known.hash, digest, object.signature);
    }
    return verifies ? PathCode::valid : PathCode::badSignature;
}

} // namespace detail

bool verifySignature(X509Base const* object, asn1::blob issuerKeyInfo, PathRes* result) {
    detail::SignatureChecks checks(detail::Diagnostics::stated);
    PathCode const code = *checks.check(*object, issuerKeyInfo);
    bool const isValid = code == PathCode::valid;
    result->code = static_cast<std::int32_t>(isValid ? PathCode::badSignature : code);
    return isValid;
}

// What each signer of a message signed, and which certificate has the signing key.
#include "trust/signer_checks.h"

#include "sealkit/message.h"
#include "sealkit/oid.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "base/view.h"
#include "keys/verify.h"
#include "pkcs/attributes.h"
#include "pkcs/sorted_set.h"

#include <algorithm>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::viewOf;
using Id = MessageFindingId;

/// The single value of a signed attribute that must occur once (RFC 5652, sections 5.3, 11.1 and 11.2). Empty
/// otherwise.
asn1::blob onlyValue(asn1::blob attributes, asn1::blob type, unsigned valueTag) {
    detail::Reading silent;
    asn1::blob value;
    unsigned count = 0;
    bool const isGood =
        detail::readAttributes(silent, attributes, "attribute", [&](detail::Attribute const& attribute) {
            return attribute.type != type ||
                   (++count == 1 && detail::readOnly(silent, attribute.values, valueTag, &value));
        });
    return isGood ? value : asn1::blob();
}

enum class Scheme { unknown, rsa, pss, ecdsa, ed25519 };

/// How a signer signs.
struct Algorithm {
    Scheme scheme = Scheme::unknown;
    HashID hash = HashID::none; ///< `none` for Ed25519 and for unsupported digests.
    detail::PssParameters pss{};
};

/// Some signers name only the type of their key and leave the hash to the digest algorithm (RFC 3370,
/// section 3.2); others name both.
Algorithm algorithmOf(PKCS7SignerInfo const& signer) {
    if (signer.form() == nullptr)
        return {Scheme::rsa, signer.digestAlgorithm};
    AlgorithmIdentifier const& named = signer.form()->signatureAlgorithm;
    asn1::blob const type = named.oid;
    if (type == asn1::blob(oid::rsaEncryption))
        return {Scheme::rsa, signer.digestAlgorithm};
    if (type == asn1::blob(oid::ecPublicKey))
        return {Scheme::ecdsa, signer.digestAlgorithm};
    Algorithm algorithm;
    if (type == asn1::blob(oid::rsaPss)) {
        detail::Reading silent;
        if (!detail::readPssParameters(silent, named.params, &algorithm.pss))
            return {};
        return {Scheme::pss, algorithm.pss.hash, algorithm.pss};
    }
    KeyType key;
    if (!parseAlgosFromKeyInfo(encode(named), &key, &algorithm.hash))
        return {};
    algorithm.scheme = key == KeyType::RSA       ? Scheme::rsa
                       : key == KeyType::EC      ? Scheme::ecdsa
                       : key == KeyType::Ed25519 ? Scheme::ed25519
                                                 : Scheme::unknown;
    return algorithm;
}

KeyType keyTypeOf(Scheme scheme) {
    return scheme == Scheme::ecdsa     ? KeyType::EC
           : scheme == Scheme::ed25519 ? KeyType::Ed25519
                                       : KeyType::RSA;
}

bool verifyDigest(Algorithm const& algorithm, PublicKey const& key, asn1::blob digest, asn1::blob signature) {
    if (algorithm.scheme != Scheme::pss)
        return verifyHashed(key, algorithm.hash, digest, signature, nullptr);
    detail::Reading silent;
    auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key);
    return rsa != nullptr && detail::verifyPss(silent, *rsa, algorithm.pss, digest, signature);
}

bool verifyBytes(Algorithm const& algorithm, PublicKey const& key, asn1::blob bytes, asn1::blob signature) {
    return algorithm.scheme == Scheme::ed25519
               ? verifyMessage(key, HashID::none, bytes, signature, nullptr)
               : verifyDigest(algorithm, key, calcDigest(algorithm.hash, bytes), signature);
}

} // namespace

bool looksLikeSignedAttributes(asn1::blob content) {
    detail::Reading silent;
    asn1::blob attributes;
    return detail::readOnly(silent, content, tag::set, &attributes) &&
           !onlyValue(attributes, oid::messageDigest, tag::octetString).empty();
}

HashID detail::signatureHashOf(PKCS7SignerInfo const& signer) { return algorithmOf(signer).hash; }

detail::SignerChecks::SignerChecks(PKCS7SignedData const& checked, CertificateStore const& trusted,
                                   CertificateChain const& certificates, PathOptions const& how,
                                   PathSearchOptions const& limits)
    : message(checked), store(trusted), options(how), search(trusted, limits) {
    CertificateChain all = message.certificates;
    all.insert(all.end(), certificates.begin(), certificates.end());
    search.addCertificates(all);
    for (auto const& certificate : all) {
        addCandidate(certificate->issuerBytes(), certificate->serialNumber, certificate);
        if (!certificate->subjectKeyId.empty())
            addCandidate({}, certificate->subjectKeyId, certificate);
    }
    // The issuer may also be in this library's encoding of the name.
    for (auto const& certificate : all)
        addCandidate(rewrittenIssuers.emplace_back(certificate->issuer.serialize()),
                     certificate->serialNumber, certificate);
}

/// Copies of a certificate count once.
void detail::SignerChecks::addCandidate(asn1::blob issuer, asn1::blob name,
                                        std::shared_ptr<X509Certificate> const& certificate) {
    CertificateChain& named = candidates[{viewOf(issuer), viewOf(name)}];
    auto const isCopy = [&](auto const& other) {
        return other == certificate ||
               (other->signature == certificate->signature && other->tbs == certificate->tbs);
    };
    if (named.size() < maxSignerCandidates && std::ranges::none_of(named, isCopy))
        named.push_back(certificate);
}

std::optional<Id> detail::SignerChecks::setContent(asn1::blob detachedContent) {
    content.bytes = detachedContent;
    content.type = message.contentType;
    if (message.content.empty())
        return std::nullopt;
    asn1::parser element{asn1::blob(message.content)};
    content.bytes = element.take();
    if (!atEnd(element))
        return Id::malformedContent;
    if (!detachedContent.empty() && detachedContent != content.bytes)
        return Id::otherContentGiven;
    return std::nullopt;
}

CertificateChain detail::SignerChecks::findCandidates(PKCS7SignerInfo const& signer) const {
    bool const isByKeyId = signer.form() != nullptr && !signer.form()->subjectKeyId.empty();
    auto const found = isByKeyId ? candidates.find({{}, viewOf(signer.form()->subjectKeyId)})
                                 : candidates.find({viewOf(signer.issuer), viewOf(signer.serialNumber)});
    if (found != candidates.end())
        return found->second;
    // A store is searched by subject, which finds signers that are their own issuer.
    DistinguishedName name;
    auto own = !isByKeyId && name.parse(signer.issuer, nullptr) ? store.findCertificate(name, {}) : nullptr;
    if (own && own->selfSigned && own->serialNumber == signer.serialNumber)
        return {std::move(own)};
    return {};
}

detail::SignatureCheck detail::SignerChecks::check(PKCS7SignerInfo const& signer) {
    return check(signer, content);
}

detail::SignatureCheck detail::SignerChecks::checkCounterSigner(PKCS7SignerInfo const& counterSigner,
                                                                asn1::blob signature) {
    Subject subject;
    subject.bytes = signature;
    return check(counterSigner, subject);
}

detail::SignatureCheck detail::SignerChecks::check(PKCS7SignerInfo const& signer, Subject& subject) {
    CertificateChain const found = findCandidates(signer);
    SignatureCheck result;
    if (!found.empty())
        result.certificate = found.front();
    if (result.wrong = checkAttributes(signer, subject); result.wrong)
        return result;
    result.wrong = Id::noCertificate;
    for (auto const& certificate : found) {
        if (certificate != found.front() && vainSignatures >= maxVainSignatures)
            break;
        auto const wrong = verify(signer, *certificate, subject);
        if (!wrong)
            return {certificate, std::nullopt};
        // A failure under a key of the right type is the better explanation.
        if (certificate == found.front() || (result.wrong != Id::badSignature && wrong == Id::badSignature))
            result = {certificate, wrong};
    }
    return result;
}

std::optional<Id> detail::SignerChecks::checkAttributes(PKCS7SignerInfo const& signer,
                                                        Subject& subject) const {
    if (!hasAttributes(signer)) {
        if (!subject.isLikeAttributes)
            subject.isLikeAttributes = looksLikeSignedAttributes(subject.bytes);
        if (*subject.isLikeAttributes)
            return Id::contentIsAttributes;
        // Only signed attributes can state another content type than data (RFC 5652, section 5.3).
        bool const isData = !subject.type || *subject.type == getDataOid();
        return isData ? std::nullopt : std::optional(Id::noContentType);
    }
    if (subject.type) {
        asn1::blob const type = onlyValue(signer.authAttributes, oid::contentType, tag::oid);
        if (type.empty())
            return Id::noContentType;
        if (type != *subject.type)
            return Id::otherContentType;
    }
    asn1::blob const digest = onlyValue(signer.authAttributes, oid::messageDigest, tag::octetString);
    if (digest.empty())
        return Id::noDigest;
    if (signer.digestAlgorithm == HashID::none && signer.form() != nullptr)
        return Id::unsupportedDigest;
    if (digest != asn1::blob(digestOf(subject, signer.digestAlgorithm)))
        return Id::otherDigest;
    return std::nullopt;
}

std::optional<Id> detail::SignerChecks::verify(PKCS7SignerInfo const& signer,
                                               X509Certificate const& certificate, Subject& subject) {
    Algorithm const algorithm = algorithmOf(signer);
    bool const isEd25519 = algorithm.scheme == Scheme::ed25519;
    if (algorithm.scheme == Scheme::unknown)
        return Id::unsupportedAlgorithm;
    if (algorithm.hash == HashID::none && !isEd25519)
        return Id::unsupportedDigest;
    PublicKey const* const key = keyOf(certificate);
    if (key == nullptr || key->keyType() != keyTypeOf(algorithm.scheme))
        return keyTypeOf(algorithm.scheme) == KeyType::RSA ? Id::noRsaKey : Id::otherKey;

    bool isGood;
    if (hasAttributes(signer)) {
        DerEncoder set, sorted;
        isGood = verifyBytes(algorithm, *key, set.add(tag::set, signer.authAttributes).buf,
                             signer.encryptedDigest);
        // The signature is over the DER order, which some signers do not encode.
        if (!isGood && set.buf != sorted.add(tag::set, sortedSet(signer.authAttributes)).buf &&
            ++vainSignatures < maxVainSignatures)
            isGood = verifyBytes(algorithm, *key, sorted.buf, signer.encryptedDigest);
    } else if (!isEd25519) {
        isGood = verifyDigest(algorithm, *key, digestOf(subject, algorithm.hash), signer.encryptedDigest);
    } else {
        if (subject.contentChecks++ >= maxContentSignatures)
            return Id::notTried;
        isGood = verifyMessage(*key, HashID::none, subject.bytes, signer.encryptedDigest, nullptr);
    }
    if (isGood)
        return std::nullopt;
    ++vainSignatures;
    return Id::badSignature;
}

PublicKey const* detail::SignerChecks::keyOf(X509Certificate const& certificate) {
    auto const [found, isNew] = keys.try_emplace(&certificate);
    if (isNew)
        found->second = certificate.parsePublicKey(nullptr);
    return found->second.get();
}

std::shared_ptr<PathVerdict const>
detail::SignerChecks::findKnownPath(std::shared_ptr<X509Certificate> const& certificate) const {
    auto const known = paths.find(certificate.get());
    return known == paths.end() ? nullptr : known->second;
}

std::shared_ptr<PathVerdict const>
detail::SignerChecks::findPath(std::shared_ptr<X509Certificate> const& certificate) {
    auto& path = paths[certificate.get()];
    if (!path)
        path = std::make_shared<PathVerdict>(search.find(certificate, options));
    return path;
}

std::vector<unsigned char> const& detail::SignerChecks::digestOf(Subject& subject, HashID hash) {
    auto const [found, isNew] = subject.digests.try_emplace(hash);
    if (isNew)
        found->second = calcDigest(hash, subject.bytes);
    return found->second;
}

#include "sealkit/message_check.h"

#include "sealkit/oid.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "base/view.h"
#include "pkcs/attributes.h"
#include "trust/signer_checks.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::viewOf;
using Id = MessageFindingId;

/// The value of a signed attribute that must stand there once, with one value (RFC 5652, sections 5.3, 11.1 and 11.2).
/// Empty when it does not.
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

bool isWeak(HashID hash) { return hash == HashID::MD5 || hash == HashID::SHA1; }

/// Collects the findings of one message.
class Check {
public:
    Check(PKCS7SignedData const& checked, CertificateStore const& trusted, MessageCheckOptions const& how)
        : message(checked), options(how), checks(checked, trusted, how.certificates, how.path) {}

    MessageVerdict run() {
        if (!isWithinLimits())
            return std::move(verdict);
        if (auto const wrong = checks.setContent(options.detachedContent))
            add(*wrong);
        if (message.signerInfos.empty())
            add(Id::noSigners);
        for (auto const& signer : message.signerInfos)
            addSigner(*signer);
        number = 0;
        if (!message.crls.empty())
            add(Id::uncheckedCrls, {{"CRLs", std::to_string(message.crls.size())}});
        return std::move(verdict);
    }

private:
    bool isWithinLimits() {
        auto const checkLimit = [&](size_t count, size_t limit, Id id) {
            if (count > limit)
                add(id, {{"limit", std::to_string(limit)}, {"found", std::to_string(count)}});
            return count <= limit;
        };
        return checkLimit(message.signerInfos.size(), maxMessageSigners, Id::tooManySigners) &&
               checkLimit(message.certificates.size() + options.certificates.size(), maxMessageCertificates,
                          Id::tooManyCertificates);
    }

    void add(Id id, std::vector<Fact> facts = {}) {
        verdict.findings.push_back({id, number, std::move(facts)});
    }

    void addSigner(PKCS7SignerInfo const& signer) {
        SignerVerdict& found = verdict.signers.emplace_back();
        number = verdict.signers.size();
        found.info = &signer;
        found.certificate = checks.findCertificate(signer);
        if (auto const wrong = checks.checkSignature(signer, found.certificate))
            add(*wrong);
        if (found.certificate)
            addChain(found);
        addForm(signer);
        if (found.certificate)
            addCertificate(signer, *found.certificate);
    }

    void addChain(SignerVerdict& found) {
        found.path = checks.findKnownPath(found.certificate);
        if (!found.path && untrusted == maxUntrustedSigners)
            return add(Id::untrusted), add(Id::chainNotSearched);
        if (!found.path) {
            found.path = checks.findPath(found.certificate);
            untrusted += !found.path->isValid();
            addCrls(found.path->crls);
        }
        if (!found.path->isValid())
            add(Id::untrusted);
    }

    void addCrls(std::vector<CrlVerdict> const& crls) {
        if (verdict.crls.empty())
            verdict.crls = crls;
        for (CrlVerdict const& one : crls) {
            auto const same = std::ranges::find(verdict.crls, one.crl, &CrlVerdict::crl);
            if (same != verdict.crls.end())
                same->status = same->status == CrlStatus::superseded ? same->status
                               : one.status == CrlStatus::superseded ? one.status
                                                                     : std::min(same->status, one.status);
        }
    }

    void addForm(PKCS7SignerInfo const& signer) {
        if (isWeak(signer.digestAlgorithm))
            add(Id::weakDigest, {{"digest", getHashName(signer.digestAlgorithm)}});
        if (signer.counterSignature)
            add(Id::uncheckedCounterSignature);
        if (signer.msCounterSignature)
            add(Id::uncheckedTimeStamp);
        if (signer.hasSigningTime != 0 &&
            signer.signingTime.seconds > options.path.now.seconds + maxClockSkew)
            add(Id::futureSigningTime,
                {{"now", options.path.now.toString()}, {"signing time", signer.signingTime.toString()}});
    }

    void addCertificate(PKCS7SignerInfo const& signer, X509Certificate const& certificate) {
        if (certificate.issuerBytes() != asn1::blob(signer.issuer))
            add(Id::rewrittenIssuer);
        else if (!DistinguishedName::roundTrips(signer.issuer))
            add(Id::issuerDoesNotRoundTrip);
        unsigned const signing = KeyUsage::digitalSignature | KeyUsage::contentCommitment;
        if (certificate.keyUsage != 0 && (certificate.keyUsage & signing) == 0)
            add(Id::keyUsage);
        if (signer.hasSigningTime != 0 &&
            (signer.signingTime < certificate.notBefore || signer.signingTime > certificate.notAfter))
            add(Id::signingTimeOutsideValidity, {{"signing time", signer.signingTime.toString()},
                                                 {"notBefore", certificate.notBefore.toString()},
                                                 {"notAfter", certificate.notAfter.toString()}});
    }

    PKCS7SignedData const& message;
    MessageCheckOptions const& options;
    detail::SignerChecks checks;
    MessageVerdict verdict;
    size_t number = 0; ///< Of the signer that is being checked.
    size_t untrusted = 0;
};

} // namespace

detail::SignerChecks::SignerChecks(PKCS7SignedData const& checked, CertificateStore const& trusted,
                                   CertificateChain const& certificates, PathOptions const& how,
                                   PathSearchOptions const& limits)
    : message(checked), store(trusted), options(how), search(trusted, limits) {
    CertificateChain candidates = message.certificates;
    candidates.insert(candidates.end(), certificates.begin(), certificates.end());
    search.addCertificates(candidates);
    for (auto const& certificate : candidates)
        byIssuerAndSerial.try_emplace({viewOf(certificate->issuerBytes()), viewOf(certificate->serialNumber)},
                                      certificate);
    // Signers are also named by the issuer as this library writes it.
    for (auto const& certificate : candidates) {
        asn1::blob const written = rewrittenIssuers.emplace_back(certificate->issuer.serialize());
        byIssuerAndSerial.try_emplace({viewOf(written), viewOf(certificate->serialNumber)}, certificate);
    }
}

std::optional<Id> detail::SignerChecks::setContent(asn1::blob detachedContent) {
    content = detachedContent;
    if (message.content.empty())
        return std::nullopt;
    asn1::parser element{asn1::blob(message.content)};
    content = element.take();
    if (!atEnd(element))
        return Id::malformedContent;
    if (!detachedContent.empty() && detachedContent != content)
        return Id::otherContentGiven;
    return std::nullopt;
}

std::shared_ptr<X509Certificate> detail::SignerChecks::findCertificate(PKCS7SignerInfo const& signer) const {
    auto const found = byIssuerAndSerial.find({viewOf(signer.issuer), viewOf(signer.serialNumber)});
    if (found != byIssuerAndSerial.end())
        return found->second;
    // A store is asked by subject: it can answer for signers that are their own issuer.
    DistinguishedName name;
    auto own = name.parse(signer.issuer, nullptr) ? store.findCertificate(name, {}) : nullptr;
    return own && own->selfSigned && own->serialNumber == signer.serialNumber ? own : nullptr;
}

std::optional<Id> detail::SignerChecks::checkSignature(PKCS7SignerInfo const& signer,
                                                       std::shared_ptr<X509Certificate> const& certificate) {
    asn1::blob const type = onlyValue(signer.authAttributes, oid::contentType, tag::oid);
    if (type.empty())
        return Id::noContentType;
    if (type != asn1::blob(message.contentType))
        return Id::otherContentType;
    asn1::blob const digest = onlyValue(signer.authAttributes, oid::messageDigest, tag::octetString);
    if (digest.empty())
        return Id::noDigest;
    if (digest != asn1::blob(digestOf(signer.digestAlgorithm)))
        return Id::otherDigest;
    if (!certificate)
        return Id::noCertificate;
    auto const [found, isNew] = keys.try_emplace(certificate.get());
    if (isNew)
        found->second = certificate->parsePublicKey();
    PublicKey const* const key = found->second.get();
    if (key == nullptr || key->keyType() != KeyType::RSA)
        return Id::noRsaKey;
    if (!verifyHashed(*key, signer.digestAlgorithm, signer.messageDigest(signer.digestAlgorithm),
                      signer.encryptedDigest))
        return Id::badSignature;
    return std::nullopt;
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

std::vector<unsigned char> const& detail::SignerChecks::digestOf(HashID hash) {
    auto const [found, isNew] = digests.try_emplace(hash);
    if (isNew)
        found->second = calcDigest(hash, content);
    return found->second;
}

MessageVerdict checkMessage(PKCS7SignedData const& message, CertificateStore const& store,
                            MessageCheckOptions const& options) {
    return Check(message, store, options).run();
}

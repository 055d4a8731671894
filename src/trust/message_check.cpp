#include "sealkit/message_check.h"
#include "sealkit/message.h"

#include "asn1/tags.h"
#include "trust/signer_checks.h"

#include <algorithm>
#include <utility>

namespace {

using Id = MessageFindingId;

/// Whether the signature could not be verified, as opposed to being invalid.
bool isUnknown(Id wrong) {
    return wrong == Id::noCertificate || wrong == Id::unsupportedDigest ||
           wrong == Id::unsupportedAlgorithm || wrong == Id::notTried;
}

bool isWeak(HashID hash) { return hash == HashID::MD5 || hash == HashID::SHA1; }

/// Collects the findings of one message.
class Check {
public:
    Check(PKCS7SignedData const& checked, CertificateStore const& trusted, MessageCheckOptions const& how)
        : message(checked),
          store(trusted),
          options(how),
          checks(checked, trusted, how.certificates, how.path) {}

    MessageVerdict run() {
        if (!isWithinLimits())
            return std::move(verdict);
        if (auto const wrong = checks.setContent(options.detachedContent))
            add(*wrong);
        else if (isDataInASequence())
            add(Id::malformedContent);
        if (message.signerInfos.empty())
            add(Id::noSigners);
        for (auto const& signer : message.signerInfos)
            addSigner(*signer);
        number = 0;
        if (!message.crls.empty())
            add(Id::uncheckedCrls, {{"CRLs", std::to_string(message.crls.size())}});
        if (!message.ignored().empty())
            add(Id::ignoredObjects, {{"first", message.ignored().front().str()}});
        return std::move(verdict);
    }

private:
    /// The signature does not cover the tag, so the content would be delivered with an unsigned tag.
    bool isDataInASequence() const {
        return !message.content.empty() && message.content[0] != detail::tag::octetString &&
               asn1::blob(message.contentType) == getDataOid();
    }

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
        found.signatureHash = detail::signatureHashOf(signer);
        auto [certificate, wrong] = checks.check(signer);
        found.certificate = std::move(certificate);
        if (wrong)
            add(*wrong);
        if (found.certificate)
            addChain(found);
        addForm(signer);
        if (found.certificate)
            addCertificate(signer, *found.certificate);
        addCounterSigners(signer, found.counterSigners);
        addTimeStamps(signer);
    }

    void addTimeStamps(PKCS7SignerInfo const& signer) {
        if (signer.msCounterSignature && mayCheckTimeStamp())
            addTimeStamp(*signer.msCounterSignature, signer);
        if (signer.form() == nullptr)
            return;
        for (std::vector<unsigned char> const& token : signer.form()->timeStamps) {
            if (!mayCheckTimeStamp())
                return;
            PKCS7SignedData read;
            Refusal refusal;
            if (read.parse(token, &refusal, FormRules::standard))
                addTimeStamp(read, signer);
            else
                add(Id::falseTimeStamp, {{"reason", refusal.str()}});
        }
    }

    /// Counts a time-stamp and reports the first one over the limit.
    bool mayCheckTimeStamp() {
        size_t const limit = options.checkTimeStamps ? maxSignatureTimeStamps : 0;
        if (timeStamps++ == limit)
            add(Id::uncheckedTimeStamp, {{"limit", std::to_string(limit)}});
        return timeStamps <= limit;
    }

    /// The time-stamp is over the signature (RFC 3161, appendix A).
    void addTimeStamp(PKCS7SignedData const& token, PKCS7SignerInfo const& signer) {
        MessageCheckOptions how;
        how.path = options.path;
        how.certificates = options.certificates;
        how.certificates.insert(how.certificates.end(), message.certificates.begin(),
                                message.certificates.end());
        TimeStampInfo info;
        info.parse(token, nullptr);
        TimeStampExpectation expected;
        expected.hash = info.hash();
        expected.digest = calcDigest(expected.hash, signer.encryptedDigest);
        MessageVerdict const found = checkTimeStamp(token, expected, store, how);
        addCrls(found.crls);
        if (found.isValid())
            add(Id::timeStamped,
                {{"time", info.time.toString()}, {"by", found.signers.front().certificate->subject.str()}});
        else
            add(Id::falseTimeStamp, {{"reason", found.reason()}});
    }

    void addCounterSigners(PKCS7SignerInfo const& signer, std::vector<SignerVerdict>& to) {
        if (signer.counterSignature && signer.encryptedDigest.size() > maxCounterSignedSize)
            return add(Id::uncheckedCounterSignature,
                       {{"limit", std::to_string(maxCounterSignedSize) + " bytes"},
                        {"found", std::to_string(signer.encryptedDigest.size())}});
        if (signer.counterSignature)
            addCounterSigner(*signer.counterSignature, signer, to);
        if (signer.form() != nullptr)
            for (auto const& further : signer.form()->furtherCounterSignatures)
                addCounterSigner(*further, signer, to);
    }

    void addCounterSigner(PKCS7SignerInfo const& counterSigner, PKCS7SignerInfo const& signer,
                          std::vector<SignerVerdict>& to) {
        if (counterSignatures++ == maxCounterSignatures)
            add(Id::uncheckedCounterSignature, {{"limit", std::to_string(maxCounterSignatures)}});
        if (counterSignatures > maxCounterSignatures)
            return;
        auto const [certificate, wrong] = checks.checkCounterSigner(counterSigner, signer.encryptedDigest);
        if (wrong)
            return add(isUnknown(*wrong) ? Id::uncheckedCounterSignature : Id::falseCounterSignature,
                       {{"reason", getReasonText(*wrong).sentence}});
        SignerVerdict found{
            &counterSigner, certificate, findPath(certificate), {}, detail::signatureHashOf(counterSigner)};
        std::string const by = certificate->subject.str();
        if (!found.path)
            return add(Id::uncheckedCounterSignature, {{"by", by}});
        if (!found.path->isValid())
            return add(Id::untrustedCounterSignature, {{"by", by}, {"reason", found.path->reason()}});
        add(Id::counterSigned, {{"by", by}});
        addCounterSigners(counterSigner, found.counterSigners);
        to.push_back(std::move(found));
    }

    /// The chain of a certificate; null if too many others failed.
    std::shared_ptr<PathVerdict const> findPath(std::shared_ptr<X509Certificate> const& certificate) {
        auto path = checks.findKnownPath(certificate);
        if (path || untrusted == maxUntrustedSigners)
            return path;
        path = checks.findPath(certificate);
        untrusted += !path->isValid();
        addCrls(path->crls);
        return path;
    }

    void addChain(SignerVerdict& found) {
        found.path = findPath(found.certificate);
        if (!found.path)
            return add(Id::untrusted), add(Id::chainNotSearched);
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
        HashID const signature = detail::signatureHashOf(signer);
        bool const isDigested = detail::hasAttributes(signer);
        if (isDigested && isWeak(signer.digestAlgorithm))
            add(Id::weakDigest, {{"digest", getHashName(signer.digestAlgorithm)}});
        if (isWeak(signature) && !(isDigested && signature == signer.digestAlgorithm))
            add(Id::weakDigest, {{"digest", getHashName(signature)}});
        if (signer.hasSigningTime != 0 &&
            signer.signingTime.seconds > options.path.now.seconds + maxClockSkew)
            add(Id::futureSigningTime,
                {{"now", isoTime(options.path.now)}, {"signing time", isoTime(signer.signingTime)}});
    }

    void addCertificate(PKCS7SignerInfo const& signer, X509Certificate const& certificate) {
        if (signer.issuer.empty())
            ; // The signer is named by its key identifier.
        else if (certificate.issuerBytes() != asn1::blob(signer.issuer))
            add(Id::rewrittenIssuer);
        else if (!DistinguishedName::roundTrips(signer.issuer))
            add(Id::issuerDoesNotRoundTrip);
        unsigned const signing = KeyUsage::digitalSignature | KeyUsage::contentCommitment;
        if (certificate.keyUsage != 0 && (certificate.keyUsage & signing) == 0)
            add(Id::keyUsage);
        if (signer.hasSigningTime != 0 &&
            (signer.signingTime < certificate.notBefore || signer.signingTime > certificate.notAfter))
            add(Id::signingTimeOutsideValidity, {{"signing time", isoTime(signer.signingTime)},
                                                 {"notBefore", isoTime(certificate.notBefore)},
                                                 {"notAfter", isoTime(certificate.notAfter)}});
    }

    PKCS7SignedData const& message;
    CertificateStore const& store;
    MessageCheckOptions const& options;
    detail::SignerChecks checks;
    MessageVerdict verdict;
    size_t number = 0; ///< Of the current signer.
    size_t untrusted = 0;
    size_t counterSignatures = 0;
    size_t timeStamps = 0;
};

} // namespace

MessageVerdict checkMessage(PKCS7SignedData const& message, CertificateStore const& store,
                            MessageCheckOptions const& options) {
    return Check(message, store, options).run();
}

/// `PKCS7SignedData::verify`. It stands here and not beside the rest of its class, because it decides with stores and
/// chains, on which messages do not depend.
#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "sealkit/pkcs7.h"
#include "sealkit/signature.h"

#include "asn1/element.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <string_view>
#include <utility>

namespace {

/// What bounds the work that a message can ask for: longer chains are not built, and of more certificates with
/// the same subject the first ones are tried.
constexpr size_t longestChain = 16;
constexpr ptrdiff_t mostCandidates = 16;

std::string_view viewOf(asn1::blob bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

bool signedBy(X509Certificate const& certificate, X509Certificate const& issuer) {
    PathRes result;
    return verifySignature(&certificate, issuer.subjectPublicKeyInfo, &result);
}

/// The signers of one message. What several of them need is worked out once, so that the time does not grow with
/// the product of signers and certificates, nor with that of signers and content.
class SignerChecks {
public:
    SignerChecks(PKCS7SignedData const& checked, CertificateStore const& trusted, asn1::blob signedContent,
                 TimePoint when)
        : message(checked), store(trusted), content(signedContent), now(when) {
        for (auto const& certificate : message.certificates) {
            std::string_view const serial = viewOf(certificate->serialNumber);
            byIssuerAndSerial.try_emplace({viewOf(certificate->issuerBytes()), serial}, certificate);
            // Signers are also named by the issuer as this library writes it.
            asn1::blob const written = rewrittenIssuers.emplace_back(certificate->issuer.serialize());
            byIssuerAndSerial.try_emplace({viewOf(written), serial}, certificate);
            bySubject.emplace(viewOf(certificate->subjectBytes()), certificate);
        }
    }

    /// Empty when the signer signed the content and is trusted, otherwise what is wrong.
    std::string check(PKCS7SignerInfo const& signer) {
        if (signer.contentType != message.contentType)
            return "it signed a content of another type";
        if (signer.contentDigest.empty() || signer.contentDigest != digestOf(signer.digestAlgorithm))
            return "it signed another content";
        auto const certificate = findCertificate(signer);
        if (!certificate)
            return "its certificate is not at hand";
        Verdict const& verdict = judge(certificate);
        if (!verdict.key || verdict.key->keyType() != KeyType::RSA)
            return "its certificate has no RSA key";
        if (!verifyHashed(*verdict.key, signer.digestAlgorithm, signer.messageDigest(signer.digestAlgorithm),
                          signer.encryptedDigest))
            return "its signature does not verify";
        return verdict.distrust;
    }

private:
    using Certificate = std::shared_ptr<X509Certificate>;

    struct Verdict {
        std::unique_ptr<PublicKey> key;
        std::string distrust; ///< Why the certificate is not trusted; empty when it is.
    };

    std::vector<unsigned char> const& digestOf(HashID hash) {
        auto const [found, isNew] = digests.try_emplace(hash);
        if (isNew)
            found->second = calcDigest(hash, content);
        return found->second;
    }

    Certificate findCertificate(PKCS7SignerInfo const& signer) const {
        auto const found = byIssuerAndSerial.find({viewOf(signer.issuer), viewOf(signer.serialNumber)});
        if (found != byIssuerAndSerial.end())
            return found->second;
        // A store is asked by subject: it can answer for signers that are their own issuer.
        DistinguishedName name;
        Certificate own = name.parse(signer.issuer) ? store.findCertificate(name, {}) : nullptr;
        if (own && own->selfSigned && own->serialNumber == signer.serialNumber)
            return own;
        return nullptr;
    }

    Verdict const& judge(Certificate const& certificate) {
        auto const [found, isNew] = verdicts.try_emplace(certificate.get());
        Verdict& verdict = found->second;
        if (!isNew)
            return verdict;
        verdict.key = certificate->parsePublicKey();
        std::string error;
        int const code = x509ValidatePath(chainOf(certificate), store, now, {}, IPAddr6(), {}, false, &error);
        if (code != static_cast<int>(PathCode::valid))
            verdict.distrust = "its certificate is not trusted: " +
                               (error.empty() ? std::string(findPathCode(code)->sentence) : error);
        return verdict;
    }

    /// Upward until the store has the issuer, or nobody.
    CertificateChain chainOf(Certificate const& leaf) const {
        CertificateChain chain = {leaf};
        while (chain.size() < longestChain && !chain.back()->selfSigned) {
            X509Certificate const& last = *chain.back();
            if (auto trusted = store.findCertificate(last.issuer, last.authorityKeyId);
                trusted && signedBy(last, *trusted)) {
                chain.push_back(std::move(trusted));
                break;
            }
            Certificate issuer = findIssuer(last, chain);
            if (!issuer)
                break;
            chain.push_back(std::move(issuer));
        }
        return chain;
    }

    Certificate findIssuer(X509Certificate const& certificate, CertificateChain const& chain) const {
        auto const [first, last] = bySubject.equal_range(viewOf(certificate.issuerBytes()));
        ptrdiff_t tried = 0;
        for (auto candidate = first; candidate != last && tried < mostCandidates; ++candidate, ++tried) {
            X509Certificate const& issuer = *candidate->second;
            bool const hasKeyId =
                certificate.authorityKeyId.empty() || certificate.authorityKeyId == issuer.subjectKeyId;
            if (hasKeyId && std::ranges::find(chain, candidate->second) == chain.end() &&
                signedBy(certificate, issuer))
                return candidate->second;
        }
        return nullptr;
    }

    PKCS7SignedData const& message;
    CertificateStore const& store;
    asn1::blob content;
    TimePoint now;
    std::deque<std::vector<unsigned char>> rewrittenIssuers; ///< What keys of the first index are views of.
    std::map<std::pair<std::string_view, std::string_view>, Certificate> byIssuerAndSerial;
    std::multimap<std::string_view, Certificate> bySubject; ///< Equal ones in the message's order.
    std::map<HashID, std::vector<unsigned char>> digests;
    std::map<X509Certificate const*, Verdict> verdicts;
};

bool fail(std::string* reason, std::string text) {
    if (reason != nullptr)
        *reason = std::move(text);
    return false;
}

} // namespace

bool PKCS7SignedData::verify(CertificateStore const& store, asn1::blob detachedContent, TimePoint now,
                             std::string* reason) const {
    asn1::blob signedContent = detachedContent;
    if (!content.empty()) {
        asn1::parser element{asn1::blob(content)};
        signedContent = element.take();
        if (!detail::atEnd(element))
            return fail(reason, "the message's content is malformed");
        if (!detachedContent.empty() && detachedContent != signedContent)
            return fail(reason, "the message holds another content");
    }
    if (signerInfos.empty())
        return fail(reason, "the message has no signers");

    SignerChecks checks(*this, store, signedContent, now);
    size_t number = 0;
    for (auto const& signer : signerInfos) {
        ++number;
        std::string const wrong = checks.check(*signer);
        if (wrong.empty())
            continue;
        DistinguishedName issuer;
        issuer.parse(signer->issuer);
        return fail(reason, "signer " + std::to_string(number) + " (serial number " +
                                str(asn1::blob(signer->serialNumber)) + " of \"" + issuer.str() +
                                "\"): " + wrong);
    }
    return true;
}

/// `PKCS7SignedData::verify`. It stands here and not beside the rest of its class, because it decides with stores and
/// chains, on which messages do not depend.
#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "sealkit/pkcs7.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "pkcs/attributes.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

/// What bounds the work that a signer's certificate can ask for, whose issuers may be as many as an attacker likes:
/// longer chains are not built, and after so many signatures looked at and chains decided on, no more are.
constexpr size_t longestChain = 16;
constexpr unsigned mostSignatureChecks = 64;
constexpr unsigned mostChains = 8;

std::string_view viewOf(asn1::blob bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

/// The value of a signed attribute that must stand there once, with one value (RFC 5652, sections 5.3, 11.1 and 11.2).
/// Empty when it does not.
asn1::blob onlyValue(asn1::blob attributes, asn1::blob type, unsigned valueTag) {
    asn1::blob value;
    unsigned count = 0;
    detail::Reading silent;
    bool const isGood =
        detail::readAttributes(silent, attributes, "attribute", [&](detail::Attribute const& attribute) {
            return attribute.type != type ||
                   (++count == 1 && detail::readOnly(silent, attribute.values, valueTag, &value));
        });
    return isGood ? value : asn1::blob();
}

/// The signers of one message. What several of them need is worked out once, so that the time does not grow with
/// the product of signers and certificates, nor with that of signers and content.
class SignerChecks {
public:
    SignerChecks(PKCS7SignedData const& checked, CertificateStore const& trusted, asn1::blob signedContent,
                 TimePoint when)
        : message(checked), store(trusted), content(signedContent), now(when) {
        for (auto const& certificate : message.certificates) {
            byIssuerAndSerial.try_emplace(
                {viewOf(certificate->issuerBytes()), viewOf(certificate->serialNumber)}, certificate);
            bySubject.emplace(viewOf(certificate->subjectBytes()), certificate);
        }
        // Signers are also named by the issuer as this library writes it.
        for (auto const& certificate : message.certificates) {
            asn1::blob const written = rewrittenIssuers.emplace_back(certificate->issuer.serialize());
            byIssuerAndSerial.try_emplace({viewOf(written), viewOf(certificate->serialNumber)}, certificate);
        }
    }

    /// Empty when the signer signed the content and is trusted, otherwise what is wrong. Type and digest are those
    /// of the attributes that are signed, not what the members of the signer hold by now.
    std::string check(PKCS7SignerInfo const& signer) {
        asn1::blob const type = onlyValue(signer.authAttributes, oid::contentType, tag::oid);
        if (type.empty())
            return "it does not name one type of content";
        if (type != asn1::blob(message.contentType))
            return "it signed a content of another type";
        asn1::blob const digest = onlyValue(signer.authAttributes, oid::messageDigest, tag::octetString);
        if (digest.empty())
            return "it does not hold one digest of the content";
        if (digest != asn1::blob(digestOf(signer.digestAlgorithm)))
            return "it signed another content";
        auto const certificate = findCertificate(signer);
        if (!certificate)
            return "its certificate is not at hand";
        auto const [found, isNew] = verdicts.try_emplace(certificate.get());
        Verdict& verdict = found->second;
        if (isNew)
            verdict.key = certificate->parsePublicKey();
        if (!verdict.key || verdict.key->keyType() != KeyType::RSA)
            return "its certificate has no RSA key";
        if (!verifyHashed(*verdict.key, signer.digestAlgorithm, signer.messageDigest(signer.digestAlgorithm),
                          signer.encryptedDigest))
            return "its signature does not verify";
        if (!verdict.distrust)
            verdict.distrust = findDistrust(certificate);
        return *verdict.distrust;
    }

private:
    using Certificate = std::shared_ptr<X509Certificate>;

    struct Verdict {
        std::unique_ptr<PublicKey> key;
        std::optional<std::string> distrust; ///< Why the certificate is not trusted; empty when it is.
    };

    std::vector<unsigned char> const& digestOf(HashID hash) {
        auto const [found, isNew] = digests.try_emplace(hash);
        if (isNew)
            found->second = calcDigest(hash, content);
        return found->second;
    }

    /// As `PKCS7SignedData::findCertificate`, for many signers.
    Certificate findCertificate(PKCS7SignerInfo const& signer) const {
        auto const found = byIssuerAndSerial.find({viewOf(signer.issuer), viewOf(signer.serialNumber)});
        if (found != byIssuerAndSerial.end())
            return found->second;
        // A store is asked by subject: it can answer for signers that are their own issuer.
        DistinguishedName name;
        Certificate own = name.parse(signer.issuer, nullptr) ? store.findCertificate(name, {}) : nullptr;
        if (own && own->selfSigned && own->serialNumber == signer.serialNumber)
            return own;
        return nullptr;
    }

    std::string findDistrust(Certificate const& certificate) {
        signatureChecksLeft = mostSignatureChecks;
        chainsLeft = mostChains;
        CertificateChain chain = {certificate};
        std::string distrust = "its certificate is not trusted: ";
        return extend(chain, &distrust) ? "" : distrust;
    }

    /// Decides on the chains that lead upward from `chain`, until the store has the issuer or nobody. True when one
    /// is trusted; otherwise what the first of them lacks is appended to `*distrust`.
    bool extend(CertificateChain& chain, std::string* distrust) {
        X509Certificate const& last = *chain.back();
        if (last.selfSigned || chain.size() == longestChain)
            return isTrusted(chain, distrust);
        bool isEnd = true;
        auto const goesOnWith = [&](Certificate const& issuer, auto goOn) {
            if (!issuer || !signedBy(last, *issuer))
                return false;
            isEnd = false;
            chain.push_back(issuer);
            bool const isGood = goOn();
            chain.pop_back();
            return isGood;
        };
        if (goesOnWith(store.findCertificate(last.issuer, last.authorityKeyId),
                       [&] { return isTrusted(chain, distrust); }))
            return true;
        auto const [first, end] = bySubject.equal_range(viewOf(last.issuerBytes()));
        for (auto candidate = first; candidate != end && signatureChecksLeft > 0; ++candidate) {
            Certificate const& issuer = candidate->second;
            if ((last.authorityKeyId.empty() || last.authorityKeyId == issuer->subjectKeyId) &&
                std::ranges::find(chain, issuer) == chain.end() &&
                goesOnWith(issuer, [&] { return extend(chain, distrust); }))
                return true;
        }
        return isEnd && isTrusted(chain, distrust);
    }

    bool signedBy(X509Certificate const& certificate, X509Certificate const& issuer) {
        PathRes result;
        return signatureChecksLeft > 0 && signatureChecksLeft-- > 0 &&
               verifySignature(&certificate, issuer.subjectPublicKeyInfo, &result);
    }

    bool isTrusted(CertificateChain const& chain, std::string* distrust) {
        if (chainsLeft == 0)
            return false;
        bool const isFirst = chainsLeft-- == mostChains;
        std::string error;
        int const code = x509ValidatePath(chain, store, now, {}, IPAddr6(), {}, false, &error);
        if (code == static_cast<int>(PathCode::valid))
            return true;
        if (isFirst)
            *distrust += error.empty() ? findPathCode(code)->sentence : error;
        return false;
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
    unsigned signatureChecksLeft = 0; ///< For the certificate that is being judged, as the next.
    unsigned chainsLeft = 0;
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
        issuer.parse(signer->issuer, nullptr);
        return fail(reason, "signer " + std::to_string(number) + " (serial number " +
                                str(asn1::blob(signer->serialNumber)) + " of \"" + issuer.str() +
                                "\"): " + wrong);
    }
    return true;
}

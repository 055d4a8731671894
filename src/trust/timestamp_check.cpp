// Checks time-stamp tokens (RFC 3161).
#include "sealkit/message_check.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "sealkit/timestamp_reply.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "x509/extensions.h"

#include <algorithm>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using Id = MessageFindingId;

/// Whether the content of an ESSCertID or ESSCertIDv2 (RFC 5035, sections 3 and 4) identifies the
/// certificate. `hash` is the default hash.
bool isIdOf(asn1::blob content, HashID hash, X509Certificate const& certificate) {
    asn1::parser fields(content);
    if (fields.tag == tag::sequence) { // Only in version 2.
        asn1::parser algorithm(fields.take());
        hash = algorithm.tag == tag::oid ? getHashID(algorithm.take()) : HashID::none;
    }
    return fields.tag == tag::octetString && hash != HashID::none &&
           asn1::blob(calcDigest(hash, certificate.serialize())) == fields.value();
}

enum class EssId { absent, matches, differs };

/// Whether the signed attributes that identify the signer's certificate name this one (RFC 5816).
EssId checkEssId(PKCS7SignerInfo const& signer, X509Certificate const& certificate) {
    struct Form {
        asn1::blob type;
        HashID hash;
    };
    static constexpr Form forms[] = {{oid::signingCertificateV2, HashID::SHA256},
                                     {oid::signingCertificate, HashID::SHA1}};
    EssId result = EssId::absent;
    for (Form const& form : forms) {
        auto const values = signer.findSignedAttribute(form.type);
        if (!values)
            continue;
        // SigningCertificate ::= SEQUENCE { certs SEQUENCE OF ESSCertID, ... }. The first ESSCertID is that
        // of the signer.
        asn1::parser ids(*values);
        bool const isFound = ids.enter(tag::sequence) && ids.enter(tag::sequence) && ids.tag == tag::sequence;
        if (!isFound || !isIdOf(ids.value(), form.hash, certificate))
            return EssId::differs;
        result = EssId::matches;
    }
    return result;
}

class Check {
public:
    Check(PKCS7SignedData const& checked, MessageVerdict& result) : token(checked), verdict(result) {}

    /// Compares the statements of the token with the expected ones.
    void addStatement(TimeStampInfo const& info, TimeStampExpectation const& expected, TimePoint now) {
        if (expected.hash == HashID::none || info.hash() != expected.hash ||
            info.hashedMessage != expected.digest)
            add(Id::otherImprint);
        if (!expected.nonce.empty() && info.nonce != expected.nonce)
            add(info.nonce.empty() ? Id::missingNonce : Id::otherNonce,
                {{"expected", str(expected.nonce)}, {"found", str(info.nonce)}});
        if (!expected.policy.empty() && info.policy != expected.policy)
            add(Id::otherPolicy, {{"expected", oidStr(expected.policy)}, {"found", oidStr(info.policy)}});
        if (info.time.seconds > now.seconds + maxClockSkew)
            add(Id::futureTime, {{"now", isoTime(now)}, {"found", isoTime(info.time)}});
        if (expected.hash == HashID::MD5 || expected.hash == HashID::SHA1)
            add(Id::weakImprint, {{"digest", getHashName(expected.hash)}});
    }

    void addAuthority(TimeStampInfo const& info) {
        if (token.signerInfos.size() != 1)
            return add(Id::severalAuthorities, {{"signers", std::to_string(token.signerInfos.size())}});
        auto const& certificate = verdict.signers.empty() ? nullptr : verdict.signers.front().certificate;
        if (!certificate)
            return; // Without it, the message does not verify anyway.
        if (!isForTimeStamps(*certificate))
            add(Id::notForTimeStamps);
        if (info.time < certificate->notBefore || info.time > certificate->notAfter)
            add(Id::invalidAtItsTime, {{"time", isoTime(info.time)},
                                       {"notBefore", isoTime(certificate->notBefore)},
                                       {"notAfter", isoTime(certificate->notAfter)}});
        EssId const id = checkEssId(*token.signerInfos.front(), *certificate);
        if (id == EssId::differs)
            add(Id::otherSigningCertificate);
        else if (id == EssId::absent)
            add(Id::noSigningCertificate);
        addName(info, *certificate);
    }

    /// The extensions are like those of certificates (RFC 3161, section 2.4.2), including criticality (RFC
    /// 5280, section 4.2). No extension is supported.
    void addExtensions(TimeStampInfo const& info) {
        Refusal refusal;
        detail::Reading reading(info.extensions, &refusal);
        detail::ExtensionList extensions;
        if (!detail::readExtensions(reading, info.extensions, &extensions))
            return add(Id::malformedExtensions, {{"reason", getReasonText(refusal.id).sentence}});
        auto const critical = std::ranges::find(extensions, true, &X509Extension::critical);
        if (critical != extensions.end())
            add(Id::unknownCriticalExtension, {{"extension", oidName(critical->oid)}});
    }

    void addCertificate() {
        bool const isIncluded =
            token.signerInfos.empty() || token.findCertificate(*token.signerInfos.front()) != nullptr;
        if (!isIncluded)
            add(Id::certificateNotIncluded);
    }

    void add(Id id, std::vector<Fact> facts = {}) { verdict.findings.push_back({id, 0, std::move(facts)}); }

private:
    /// Compares the directoryName of the TSA in the token with the certificate's subject.
    void addName(TimeStampInfo const& info, X509Certificate const& certificate) {
        asn1::parser const authority{asn1::blob(info.authority)};
        if (authority.tag != tag::constructed(GeneralName::directoryName) ||
            authority.value() == certificate.subjectBytes())
            return;
        DistinguishedName name;
        name.parse(authority.value(), nullptr);
        add(Id::otherAuthorityName, {{"certificate", certificate.subject.str()}, {"token", name.str()}});
    }

    PKCS7SignedData const& token;
    MessageVerdict& verdict;
};

} // namespace

TimeStampExpectation TimeStampExpectation::of(TimeStampRequest const& request) {
    return {request.hashAlgorithm, request.hashedMessage, request.policy, request.nonce,
            request.certReq != 0};
}

MessageVerdict checkTimeStamp(PKCS7SignedData const& token, TimeStampExpectation const& expected,
                              CertificateStore const& store, MessageCheckOptions const& options) {
    MessageCheckOptions forStamps = options;
    forStamps.path.purpose = PathPurpose::timeStamping;
    forStamps.checkTimeStamps = false;
    MessageVerdict verdict = checkMessage(token, store, forStamps);
    Check check(token, verdict);
    TimeStampInfo info;
    if (!info.parse(token, nullptr)) {
        check.add(Id::noTimeStamp);
        return verdict;
    }
    check.addAuthority(info);
    check.addStatement(info, expected, options.path.now);
    check.addExtensions(info);
    if (expected.needsCertificate)
        check.addCertificate();
    return verdict;
}

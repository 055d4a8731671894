// The TSA's side of time-stamps.
#include "sealkit/timestamp_reply.h"

#include "sealkit/ber.h"
#include "sealkit/bignum.h"
#include "sealkit/extensions.h"
#include "sealkit/oid.h"
#include "sealkit/signature.h"

#include "asn1/element.h"
#include "asn1/oids.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using Problem = TimeStampReplyProblem;
using Row = ReasonText<Problem>;
constexpr std::array problems = {
    Row{Problem::otherKey, "other-key", "The key is not that of the TSA's certificate."},
    Row{Problem::notForTimeStamps, "not-for-time-stamps",
        "The TSA's certificate is not only for time-stamping: that must be its only extended key usage, "
        "and critical."},
    Row{Problem::notValidYet, "not-valid-yet", "The TSA's certificate is not valid yet."},
    Row{Problem::expired, "expired", "The TSA's certificate has expired."},
    Row{Problem::unusableOptions, "unusable-options",
        "The policy, the serial number, the time or the accuracy cannot be written."},
    Row{Problem::keyCannotSign, "key-cannot-sign", "The key cannot sign with this hash."},
};

/// The failure that a response states for an unreadable request.
TimeStampFailure failureOf(RefusalId id) {
    switch (id) {
    case RefusalId::unsupportedDigest:
    case RefusalId::digestParameters:
        return TimeStampFailure::badAlgorithm;
    case RefusalId::unsupportedRequestExtensions:
        return TimeStampFailure::unacceptedExtension;
    default:
        return TimeStampFailure::badDataFormat;
    }
}

/// Why the request is rejected, or nothing. Otherwise `*policy` is the policy of the token.
std::optional<TimeStampFailure> judge(asn1::blob request, TimeStampReplyOptions const& options,
                                      TimeStampRequest* asked, std::vector<unsigned char>* policy) {
    Refusal refusal;
    if (!asked->parse(request, &refusal, FormRules::standard))
        return failureOf(refusal.id);
    if (asked->version != 1)
        return TimeStampFailure::badRequest;
    HashID const hash = asked->hashAlgorithm;
    bool const isAccepted = hash == HashID::SHA256 || hash == HashID::SHA384 || hash == HashID::SHA512 ||
                            (hash == HashID::SHA1 && options.acceptSha1);
    if (!isAccepted)
        return TimeStampFailure::badAlgorithm;
    if (asked->hashedMessage.size() != createHash(hash)->digestLength())
        return TimeStampFailure::badDataFormat;
    *policy = asked->policy.empty() ? options.policy : asked->policy;
    if (*policy != options.policy &&
        std::ranges::find(options.otherPolicies, *policy) == options.otherPolicies.end())
        return TimeStampFailure::unacceptedPolicy;
    return std::nullopt;
}

/// PKIStatusInfo ::= SEQUENCE { status INTEGER, statusString SEQUENCE OF UTF8String, failInfo BIT STRING }
void addStatus(DerEncoder& to, TimeStampStatus const& status) {
    to.begin(tag::sequence).addInteger(status.status);
    if (!status.texts.empty()) {
        to.begin(tag::sequence);
        for (std::string const& text : status.texts)
            to.add(tag::utf8String, text);
        to.end();
    }
    if (!status.failures.empty()) {
        // A single named bit, without trailing zeros (X.690, section 11.2.2).
        auto const bit = static_cast<unsigned>(status.failures.front());
        std::vector<unsigned char> bits(1 + bit / 8 + 1);
        bits.front() = static_cast<unsigned char>(7 - bit % 8);
        bits.back() = static_cast<unsigned char>(0x80 >> bit % 8);
        to.add(tag::bitString, bits);
    }
    to.end();
}

std::vector<unsigned char> encodeRejection(TimeStampStatus const& status) {
    DerEncoder to;
    to.begin(tag::sequence);
    addStatus(to, status);
    return to.end().take();
}

/// "YYYYMMDDhhmmssZ"; empty outside the years 1 to 9999.
std::string generalizedTime(TimePoint time) {
    using namespace std::chrono;
    constexpr std::int64_t firstSecond = -62135596800, lastSecond = 253402300799;
    if (time.seconds < firstSecond || time.seconds > lastSecond)
        return {};
    sys_seconds const point{seconds(time.seconds)};
    auto const midnight = floor<days>(point);
    year_month_day const date(midnight);
    int const second = static_cast<int>((point - midnight).count());
    char text[40];
    std::snprintf(text, sizeof text, "%04d%02u%02u%02d%02d%02dZ", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), second / 3600,
                  second / 60 % 60, second % 60);
    return text;
}

/// Accuracy ::= SEQUENCE { seconds INTEGER, millis [0] INTEGER (1..999), micros [1] INTEGER (1..999) }, each
/// OPTIONAL.
void addAccuracy(DerEncoder& to, TimeStampAccuracy const& accuracy) {
    to.begin(tag::sequence);
    if (accuracy.seconds)
        to.addInteger(bn64(*accuracy.seconds));
    if (accuracy.milliseconds)
        to.addInt(tag::primitive(0), bn64(*accuracy.milliseconds));
    if (accuracy.microseconds)
        to.addInt(tag::primitive(1), bn64(*accuracy.microseconds));
    to.end();
}

bool isWritable(TimeStampAccuracy const& accuracy) {
    constexpr std::uint32_t maxSeconds = 0x7FFFFFFF, maxPart = 999;
    auto const isPart = [](std::optional<std::uint32_t> part) {
        return !part || (*part >= 1 && *part <= maxPart);
    };
    return (!accuracy.seconds || *accuracy.seconds <= maxSeconds) && isPart(accuracy.milliseconds) &&
           isPart(accuracy.microseconds);
}

/// The messageImprint of a valid request. The token must repeat its bytes, with or without parameters (RFC
/// 3161, section 2.4.2).
asn1::blob imprintOf(asn1::blob request) {
    asn1::parser fields(request);
    fields.enter(tag::sequence);
    fields.next();
    return fields.takeWhole();
}

/// TSTInfo ::= SEQUENCE { version INTEGER { v1(1) }, policy, messageImprint, serialNumber INTEGER, genTime
///     GeneralizedTime, accuracy OPTIONAL, ordering BOOLEAN DEFAULT FALSE, nonce INTEGER OPTIONAL, ... }
std::vector<unsigned char> encodeInfo(TimeStampRequest const& asked, asn1::blob imprint, asn1::blob policy,
                                      TimeStampReplyOptions const& options) {
    DerEncoder to;
    to.begin(tag::sequence).addInteger(1).addOid(policy).addEncoded(imprint);
    to.add(tag::integer, options.serialNumber).add(tag::generalizedTime, generalizedTime(options.time));
    if (options.accuracy)
        addAccuracy(to, *options.accuracy);
    if (options.isOrdered)
        to.addBool(tag::boolean, true);
    if (!asked.nonce.empty())
        to.add(tag::integer, asked.nonce);
    return to.end().take();
}

/// Attribute ::= SEQUENCE { attrType, attrValues SET }
std::vector<unsigned char> encodeAttribute(asn1::blob type, asn1::blob value) {
    DerEncoder to;
    return to.begin(tag::sequence).addOid(type).begin(tag::set).addEncoded(value).end().end().take();
}

/// SigningCertificateV2 ::= SEQUENCE { certs SEQUENCE OF SEQUENCE { hashAlgorithm DEFAULT sha256, certHash
/// OCTET STRING,
///     issuerSerial SEQUENCE { issuer GeneralNames, serialNumber INTEGER } } } (RFC 5035, section 4)
std::vector<unsigned char> encodeSigningCertificate(X509Certificate const& certificate) {
    DerEncoder to;
    to.begin(tag::sequence).begin(tag::sequence).begin(tag::sequence);
    to.addOctetString(calcDigest(HashID::SHA256, certificate.serialize()));
    to.begin(tag::sequence).begin(tag::sequence).begin(tag::constructed(GeneralName::directoryName));
    to.addEncoded(certificate.issuerBytes()).end().end().add(tag::integer, certificate.serialNumber).end();
    return to.end().end().end().take();
}

/// A token with one signer; empty if the key cannot sign.
std::vector<unsigned char> encodeToken(std::vector<unsigned char> const& info, bool withCertificates,
                                       X509Certificate const& certificate, PrivateKey const& key,
                                       TimeStampReplyOptions const& options) {
    PKCS7SignerOptions how;
    how.hash = options.hash == HashID::none ? getMatchingHash(key) : options.hash;
    how.attributes = {encodeAttribute(oid::signingCertificateV2, encodeSigningCertificate(certificate))};
    PKCS7SignedData token;
    token.setContent(oid::timeStampInfo, info);
    if (!token.addSigner(certificate, key, how))
        return {};
    if (withCertificates)
        token.certificates.insert(token.certificates.end(), options.chain.begin(), options.chain.end());
    else
        token.certificates.clear();
    return token.encode();
}

} // namespace

std::span<Row const> timeStampReplyProblems() { return problems; }

Row const& getReasonText(TimeStampReplyProblem problem) { return problems[static_cast<size_t>(problem) - 1]; }

bool isForTimeStamps(X509Certificate const& certificate) {
    for (X509Extension const& extension : certificate.extensions()) {
        if (extension.oid != asn1::blob(oid::extKeyUsage))
            continue;
        ObjectIdentifiers purposes;
        return extension.critical && parseExtendedKeyUsage(extension.value, &purposes) &&
               purposes.oids.size() == 1 && purposes.oids.front() == asn1::blob(oid::timeStamping);
    }
    return false;
}

TimeStampReplyProblem replyToTimeStamp(asn1::blob given, X509Certificate const& certificate,
                                       PrivateKey const& key, TimeStampReplyOptions const& options,
                                       TimeStampReply* reply) {
    auto const own = certificate.parsePublicKey(nullptr);
    if (!own || !own->equals(key))
        return Problem::otherKey;
    if (!isForTimeStamps(certificate))
        return Problem::notForTimeStamps;
    if (options.time < certificate.notBefore)
        return Problem::notValidYet;
    if (options.time > certificate.notAfter)
        return Problem::expired;
    if (options.policy.empty() || options.serialNumber.empty() || generalizedTime(options.time).empty() ||
        (options.accuracy && !isWritable(*options.accuracy)))
        return Problem::unusableOptions;

    std::vector<unsigned char> der;
    asn1::blob const request = asn1::berToDer(given, &der, nullptr) ? asn1::blob(der) : given;
    TimeStampReply made;
    TimeStampRequest asked;
    std::vector<unsigned char> policy;
    if (auto const failure = judge(request, options, &asked, &policy)) {
        made.status.status = static_cast<std::uint32_t>(TimeStampStatusId::rejection);
        made.status.failures = {*failure};
        made.status.texts = {
            std::ranges::find(timeStampFailures(), *failure, &ReasonText<TimeStampFailure>::id)->sentence};
        made.encoding = encodeRejection(made.status);
    } else {
        std::vector<unsigned char> const token =
            encodeToken(encodeInfo(asked, imprintOf(request), policy, options), asked.certReq != 0,
                        certificate, key, options);
        if (token.empty())
            return Problem::keyCannotSign;
        DerEncoder to;
        to.begin(tag::sequence);
        addStatus(to, made.status);
        made.encoding = to.addEncoded(token).end().take();
    }
    *reply = std::move(made);
    return Problem::none;
}

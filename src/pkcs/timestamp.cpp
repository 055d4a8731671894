#include "sealkit/timestamp.h"

#include "sealkit/bignum.h"
#include "sealkit/oid.h"

#include "asn1/ber.h"
#include "pkcs/read.h"

#include <array>
#include <iostream>

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

/// The highest status of a response with a token: granted with modifications (RFC 3161, section 2.4.2).
constexpr std::uint32_t lastGranted = 1;

using StatusRow = ReasonText<TimeStampStatusId>;
constexpr std::array statuses = {
    StatusRow{TimeStampStatusId::granted, "granted", "The time-stamp was granted."},
    StatusRow{TimeStampStatusId::grantedWithModifications, "granted-with-changes",
              "A time-stamp was granted, but it differs from the request."},
    StatusRow{TimeStampStatusId::rejection, "rejection", "The request was rejected."},
    StatusRow{TimeStampStatusId::waiting, "waiting",
              "The request is being processed; expect the reply later."},
    StatusRow{TimeStampStatusId::revocationWarning, "revocation-warning",
              "The TSA's certificate is about to be revoked."},
    StatusRow{TimeStampStatusId::revocationNotification, "revocation-notification",
              "The TSA's certificate was revoked."},
};

using FailureRow = ReasonText<TimeStampFailure>;
constexpr std::array failureRows = {
    FailureRow{TimeStampFailure::badAlgorithm, "bad-algorithm", "The digest algorithm is not supported."},
    FailureRow{TimeStampFailure::badRequest, "bad-request", "The request is not permitted or not supported."},
    FailureRow{TimeStampFailure::badDataFormat, "bad-data-format", "The request is malformed."},
    FailureRow{TimeStampFailure::timeNotAvailable, "time-not-available", "The TSA's clock is not available."},
    FailureRow{TimeStampFailure::unacceptedPolicy, "unaccepted-policy", "The policy is not supported."},
    FailureRow{TimeStampFailure::unacceptedExtension, "unaccepted-extension",
               "An extension of the request is not supported."},
    FailureRow{TimeStampFailure::addInfoNotAvailable, "add-info-not-available",
               "Additional information is requested that is unknown or not available."},
    FailureRow{TimeStampFailure::systemFailure, "system-failure", "The TSA's system failed."},
};

/// MessageImprint ::= SEQUENCE { hashAlgorithm AlgorithmIdentifier, hashedMessage OCTET STRING }
bool readImprint(Level& fields, TimeStampRequest& to) {
    asn1::blob imprint, algorithm, digest;
    if (!detail::take(fields, tag::sequence, &imprint, "imprint"))
        return false;
    Reading::Step const step(fields.reading, "imprint");
    Level digestInfo(fields.reading, imprint);
    if (!detail::takeWhole(digestInfo, tag::sequence, &algorithm, "digest algorithm") ||
        !detail::take(digestInfo, tag::octetString, &digest, "digest") || !detail::finish(digestInfo))
        return false;
    to.hashedMessage = detail::copyOf(digest);
    return detail::readDigestAlgorithm(fields.reading, algorithm, &to.hashAlgorithm);
}

/// Takes PKIStatusInfo and the status in its first field.
bool takeStatusInfo(Level& fields, asn1::blob* statusInfo, std::uint32_t* status) {
    if (!detail::take(fields, tag::sequence, statusInfo, "status"))
        return false;
    Reading& reading = fields.reading;
    Reading::Step const step(reading, "status");
    Level info(reading, *statusInfo);
    // A larger number could be truncated to 0, which means granted.
    if (info.tag == tag::integer && info.value().size() > sizeof *status)
        return reading.refuse(RefusalId::numberOutOfRange, info.tlvStart);
    asn1::blob number;
    if (!detail::takeInteger(info, &number))
        return false; // An unreadable status must not become 0 either.
    *status = 0;
    for (unsigned char octet : number)
        *status = *status << 8 | octet;
    return true;
}

} // namespace

bool detail::read(Reading& reading, asn1::blob request, TimeStampRequest& to) {
    to = TimeStampRequest();
    asn1::blob body, value;
    if (!checkKind(reading, request, MessageKind::timeStampRequest) ||
        !readOnly(reading, request, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    if (!takeUInt(fields, &to.version, "version") || !readImprint(fields, to))
        return false;
    if (fields.tag == tag::oid) {
        if (!take(fields, tag::oid, &value))
            return false;
        to.policy = copyOf(value);
    }
    if (fields.tag == tag::integer) {
        if (!takeInteger(fields, &value))
            return false;
        to.nonce = copyOf(value);
    }
    if (fields.tag == tag::boolean) {
        unsigned char const* const place = fields.tlvStart;
        if (!take(fields, tag::boolean, &value))
            return false;
        if (value.size() != 1)
            return reading.refuse(RefusalId::malformedBoolean, place);
        to.certReq = value[0] != 0;
    }
    if (fields.tag == tag::constructed(0))
        return reading.refuse(RefusalId::unsupportedRequestExtensions, fields.tlvStart);
    return finish(fields);
}

bool TimeStampRequest::parse(asn1::blob request) { return parse(request, nullptr); }

bool TimeStampRequest::parse(asn1::blob request, Refusal* refusal) {
    return parse(request, refusal, FormRules::platform);
}

bool TimeStampRequest::parse(asn1::blob request, Refusal* refusal, FormRules forms) {
    Reading reading(request, refusal, forms);
    return detail::readAsDer(reading, reading.isStandard(), request,
                             [&](asn1::blob der) { return detail::read(reading, der, *this); });
}

void TimeStampRequest::save(DerEncoder& to) const {
    unsigned char const versionOctets[] = {
        static_cast<unsigned char>(version >> 24), static_cast<unsigned char>(version >> 16),
        static_cast<unsigned char>(version >> 8), static_cast<unsigned char>(version)};
    to.begin(tag::sequence).addInteger(BigNum(asn1::blob(versionOctets)));
    saveDigest(to, hashAlgorithm, hashedMessage);
    if (!policy.empty())
        to.addOid(policy);
    if (!nonce.empty())
        to.add(tag::integer, nonce);
    to.addBool(tag::boolean, certReq != 0).end();
}

void TimeStampRequest::dump() const { dump(std::cout); }

void TimeStampRequest::dump(std::ostream& out) const {
    out << version << std::endl
        << "digest-algo: " << getHashName(hashAlgorithm) << std::endl
        << str(hashedMessage) << std::endl;
    if (!policy.empty())
        out << "req-policy: " << oidStr(policy) << std::endl;
    if (!nonce.empty())
        out << "nonce: " << str(nonce) << std::endl;
    out << "cert-req: " << (certReq != 0 ? '1' : '0') << std::endl;
}

bool detail::read(Reading& reading, asn1::blob response, TimeStampResponse& to) {
    to = TimeStampResponse();
    asn1::blob body, statusInfo, message;
    if (!checkKind(reading, response, MessageKind::timeStampResponse) ||
        !readOnly(reading, response, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    if (!takeStatusInfo(fields, &statusInfo, &to.status))
        return false;
    if (to.status > lastGranted)
        return atEnd(fields) || (take(fields, tag::sequence, &message, "token") && finish(fields));

    if (!takeWhole(fields, tag::sequence, &message, "token") || !finish(fields))
        return false;
    Reading::Step const step(reading, "token");
    to.token = std::make_unique<PKCS7SignedData>();
    return read(reading, message, *to.token);
}

bool TimeStampResponse::parse(asn1::blob response) {
    Reading reading(response);
    return detail::read(reading, response, *this);
}

bool TimeStampResponse::parse(asn1::blob response, Refusal* refusal) {
    return parse(response, refusal, FormRules::platform);
}

bool TimeStampResponse::parse(asn1::blob response, Refusal* refusal, FormRules forms) {
    Reading reading(response, refusal, forms);
    return detail::readAsDer(reading, reading.isStandard(), response,
                             [&](asn1::blob der) { return detail::read(reading, der, *this); });
}

void TimeStampResponse::dump() const { dump(std::cout); }

void TimeStampResponse::dump(std::ostream& out) const {
    out << "status: " << status << std::endl;
    if (status <= lastGranted && token)
        token->dump(out);
}

std::span<StatusRow const> timeStampStatuses() { return statuses; }

std::span<FailureRow const> timeStampFailures() { return failureRows; }

StatusRow const* TimeStampStatus::text() const {
    return status < statuses.size() ? &statuses[status] : nullptr;
}

/// PKIStatusInfo ::= SEQUENCE { status PKIStatus, statusString SEQUENCE OF UTF8String OPTIONAL,
///                              failInfo BIT STRING OPTIONAL }
bool TimeStampStatus::parse(asn1::blob response, Refusal* refusal) {
    *this = {};
    Reading reading(response, refusal);
    asn1::blob body, statusInfo;
    if (!detail::readOnly(reading, response, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    if (!takeStatusInfo(fields, &statusInfo, &status))
        return false;
    asn1::parser info(statusInfo);
    info.next();
    if (info.tag == tag::sequence)
        for (asn1::parser strings(info.take()); strings.tag == tag::utf8String;) {
            asn1::blob const text = strings.take();
            texts.emplace_back(text.begin(), text.end());
        }
    if (info.tag == tag::bitString) {
        asn1::blob const bits = bitStringContent(info.value());
        for (FailureRow const& row : failureRows) {
            auto const bit = static_cast<unsigned>(row.id);
            if (bit / 8 < bits.size() && (bits[bit / 8] & (0x80 >> bit % 8)) != 0)
                failures.push_back(row.id);
        }
    }
    return true;
}

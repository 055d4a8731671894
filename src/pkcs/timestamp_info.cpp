// Reads the statement of a time-stamp token.
#include "sealkit/message.h"
#include "sealkit/timestamp.h"

#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/view.h"
#include "pkcs/read.h"
#include "pkcs/version.h"

#include <algorithm>
#include <string_view>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

/// Reads a MessageImprint with any digest algorithm.
bool readImprint(Level& fields, TimeStampInfo& to) {
    asn1::blob imprint, algorithm, digest;
    if (!detail::take(fields, tag::sequence, &imprint, "imprint"))
        return false;
    Reading::Step const step(fields.reading, "imprint");
    Level digestInfo(fields.reading, imprint);
    if (!detail::take(digestInfo, tag::sequence, &algorithm, "digest algorithm") ||
        !detail::take(digestInfo, tag::octetString, &digest, "digest") || !detail::finish(digestInfo))
        return false;
    AlgorithmIdentifier named;
    if (!detail::readPlainAlgorithm(fields.reading, algorithm, named))
        return false;
    to.hashAlgorithm = std::move(named.oid);
    to.hashedMessage = detail::copyOf(digest);
    return true;
}

/// Reads the fraction of "YYYYMMDDhhmmss.fffZ", whose seconds have been read.
bool readFraction(Reading& reading, asn1::blob content, std::string* fraction) {
    std::string_view const text = detail::viewOf(content);
    size_t const point = text.find('.');
    if (point == std::string_view::npos)
        return true;
    std::string_view const digits = text.substr(point + 1, text.find('Z', point) - point - 1);
    *fraction = digits;
    return !digits.empty() && std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; })
               ? true
               : reading.refuse(RefusalId::malformedTime, content, {{"found", std::string(text)}});
}

bool readGenTime(Level& fields, TimeStampInfo& to) {
    asn1::blob const content = fields.value();
    if (fields.tag != tag::generalizedTime)
        return detail::refuseElement(fields, tag::generalizedTime, "time");
    return detail::readTime(fields, &to.time, "time") && readFraction(fields.reading, content, &to.fraction);
}

/// Takes an optional number up to `max`.
bool takeNumber(Level& fields, unsigned optional, std::uint32_t max, std::optional<std::uint32_t>* to) {
    unsigned char const* const place = fields.tlvStart;
    if (fields.tag != optional)
        return true;
    asn1::blob content;
    if (!detail::take(fields, optional, &content))
        return false;
    if (content.empty())
        return fields.reading.refuse(RefusalId::emptyInteger, place);
    std::uint32_t number = 0;
    bool fits = content[0] < 0x80 && content.size() <= sizeof number;
    for (unsigned char octet : content)
        number = number << 8 | octet;
    fits = fits && number <= max;
    *to = number;
    return fits ||
           fields.reading.refuse(RefusalId::numberOutOfRange, place,
                                 {{"limit", std::to_string(max)}, {"found", detail::numberText(content)}});
}

/// Accuracy ::= SEQUENCE { seconds INTEGER OPTIONAL, millis [0] INTEGER (1..999) OPTIONAL,
///                         micros [1] INTEGER (1..999) OPTIONAL }
bool readAccuracy(Level& fields, TimeStampInfo& to) {
    constexpr std::uint32_t maxSeconds = 0x7FFFFFFF, maxParts = 999;
    asn1::blob content;
    if (fields.tag != tag::sequence)
        return true;
    if (!detail::take(fields, tag::sequence, &content))
        return false;
    Reading::Step const step(fields.reading, "accuracy");
    TimeStampAccuracy& accuracy = to.accuracy.emplace();
    Level parts(fields.reading, content);
    return takeNumber(parts, tag::integer, maxSeconds, &accuracy.seconds) &&
           takeNumber(parts, tag::primitive(0), maxParts, &accuracy.milliseconds) &&
           takeNumber(parts, tag::primitive(1), maxParts, &accuracy.microseconds) && detail::finish(parts);
}

/// Takes an optional field unparsed.
bool takeOptional(Level& fields, unsigned optional, std::vector<unsigned char>* to) {
    asn1::blob content;
    if (fields.tag != optional)
        return true;
    if (!detail::take(fields, optional, &content))
        return false;
    *to = detail::copyOf(content);
    return true;
}

bool readOrdering(Level& fields, TimeStampInfo& to) {
    asn1::blob content;
    unsigned char const* const place = fields.tlvStart;
    if (fields.tag != tag::boolean)
        return true;
    if (!detail::take(fields, tag::boolean, &content))
        return false;
    to.isOrdered = content.size() == 1 && content[0] != 0;
    return content.size() == 1 || fields.reading.refuse(RefusalId::malformedBoolean, place);
}

} // namespace

/// TSTInfo ::= SEQUENCE { version INTEGER { v1(1) }, policy, messageImprint, serialNumber INTEGER,
///     genTime GeneralizedTime, accuracy OPTIONAL, ordering BOOLEAN DEFAULT FALSE, nonce INTEGER OPTIONAL,
///     tsa [0] GeneralName OPTIONAL, extensions [1] IMPLICIT Extensions OPTIONAL }
bool detail::read(Reading& reading, asn1::blob tstInfo, TimeStampInfo& to) {
    to = {};
    asn1::blob body, version, policy, serialNumber;
    if (!readOnly(reading, tstInfo, tag::sequence, &body))
        return false;
    Level fields(reading, body);
    unsigned char const* const place = fields.tlvStart;
    if (!takeInteger(fields, &version, "version"))
        return false;
    if (smallNumber(version) != 1)
        return reading.refuse(RefusalId::messageVersion, place,
                              {{"expected", "1"}, {"found", numberText(version)}});
    if (!take(fields, tag::oid, &policy, "policy") || !readImprint(fields, to) ||
        !takeInteger(fields, &serialNumber, "serial number"))
        return false;
    to.policy = copyOf(policy);
    to.serialNumber = copyOf(serialNumber);
    return readGenTime(fields, to) && readAccuracy(fields, to) && readOrdering(fields, to) &&
           takeOptional(fields, tag::integer, &to.nonce) &&
           takeOptional(fields, tag::constructed(0), &to.authority) &&
           takeOptional(fields, tag::constructed(1), &to.extensions) && finish(fields);
}

bool TimeStampInfo::parse(asn1::blob tstInfo, Refusal* refusal) {
    Reading reading(tstInfo, refusal);
    return detail::read(reading, tstInfo, *this);
}

bool TimeStampInfo::parse(PKCS7SignedData const& token, Refusal* refusal) {
    *this = {};
    Reading reading(token.content, refusal);
    if (asn1::blob(token.contentType) != asn1::blob(oid::timeStampInfo))
        return reading.refuse(RefusalId::unsupportedContentType, nullptr,
                              {{"expected", getContentTypeName(oid::timeStampInfo)},
                               {"found", getContentTypeName(token.contentType)}});
    if (token.content.empty())
        return reading.refuse(RefusalId::missingContent, nullptr);
    asn1::blob content;
    return detail::readOnly(reading, token.content, tag::octetString, &content, "content") &&
           detail::read(reading, content, *this);
}

// Reads extensions that are only displayed.
#include "sealkit/asn1_tree.h"
#include "sealkit/crl.h"
#include "sealkit/der.h"
#include "sealkit/oid_names.h"

#include "asn1/read.h"
#include "asn1/string_text.h"
#include "x509/extension_values.h"
#include "x509/extensions.h"
#include "x509/general_names.h"

#include <algorithm>
#include <iterator>

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

/// Calls `read(fields)` for each SEQUENCE in the SEQUENCE `value`. `what` names one in refusals.
template <typename Read>
bool readList(Reading& reading, asn1::blob value, char const* what, Read read) {
    asn1::blob list, content;
    if (!detail::readOnly(reading, value, tag::sequence, &list))
        return false;
    Level elements(reading, list);
    for (size_t number = 1; !detail::atEnd(elements); ++number) {
        if (!detail::take(elements, tag::sequence, &content))
            return false;
        Reading::Step const step(reading, what, number);
        Level fields(reading, content);
        if (!read(fields) || !detail::finish(fields))
            return false;
    }
    return true;
}

/// Takes a DisplayText, which is a CHOICE of strings, if it is the current element.
bool takeText(Level& level, std::string* text) {
    if (!detail::isStringTag(level.tag))
        return true;
    unsigned const form = level.tag;
    asn1::blob content;
    if (!detail::take(level, form, &content))
        return false;
    *text += (text->empty() ? "" : " ") + detail::stringText(form, content);
    return true;
}

/// UserNotice ::= SEQUENCE { noticeRef SEQUENCE { organization DisplayText, noticeNumbers SEQUENCE OF INTEGER
/// } OPTIONAL, explicitText DisplayText OPTIONAL }
bool readNotice(Reading& reading, asn1::blob notice, std::string* text) {
    asn1::blob content, reference, numbers, number;
    if (!detail::readOnly(reading, notice, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (fields.tag == tag::sequence) {
        detail::take(fields, tag::sequence, &reference);
        Level parts(reading, reference);
        if (!takeText(parts, text) || !detail::take(parts, tag::sequence, &numbers, "noticeNumbers") ||
            !detail::finish(parts))
            return false;
        Level each(reading, numbers);
        while (!detail::atEnd(each)) {
            if (!detail::takeInteger(each, &number))
                return false;
            *text +=
                (text->empty() ? "" : " ") + asn1::derText(DerEncoder().add(tag::integer, number).take());
        }
    }
    return takeText(fields, text) && detail::finish(fields);
}

/// PolicyQualifierInfo ::= SEQUENCE { policyQualifierId OBJECT IDENTIFIER, qualifier ANY }
bool readQualifier(Level& fields, PolicyQualifier* to) {
    if (!detail::take(fields, tag::oid, &to->id, "policyQualifierId"))
        return false;
    if (detail::atEnd(fields))
        return true;
    asn1::blob whole;
    unsigned const form = fields.tag;
    if (!detail::takeWhole(fields, form, &whole, "qualifier"))
        return false;
    Reading silent;
    Level only(silent, whole);
    bool const isNotice = form == tag::sequence && oidName(to->id) == "user-notice";
    if ((isNotice && readNotice(silent, whole, &to->text)) ||
        (detail::isStringTag(form) && takeText(only, &to->text)))
        return true;
    to->text = asn1::derText(whole);
    return true;
}

bool readQualifiedPolicies(Reading& reading, asn1::blob value, std::vector<QualifiedPolicy>* to) {
    return detail::readPolicies(reading, value, [&](asn1::blob id, asn1::blob qualifiers) {
        QualifiedPolicy& policy = to->emplace_back();
        policy.id = id;
        return qualifiers.empty() || readList(reading, qualifiers, "qualifier", [&](Level& fields) {
                   return readQualifier(fields, &policy.qualifiers.emplace_back());
               });
    });
}

/// Takes the content of an optional element.
bool takeOptional(Level& fields, unsigned wanted, std::optional<asn1::blob>* to) {
    return fields.tag != wanted || detail::take(fields, wanted, &to->emplace());
}

bool readInteger(Reading& reading, asn1::blob value, asn1::blob* to) {
    Level number(reading, value);
    return detail::takeInteger(number, to) && detail::finish(number);
}

bool readPointName(Reading& reading, asn1::blob name, CrlDistributionPoint* to) {
    asn1::blob relative;
    if (!detail::readDistributionPointName(reading, name, &to->fullName, &relative))
        return false;
    if (relative.start != nullptr)
        to->relativeName = DerEncoder().begin(tag::sequence).add(tag::set, relative).end().take();
    return true;
}

bool keepPoint(Reading& reading, detail::DistributionPointFields const& fields, CrlDistributionPoint* to) {
    if (fields.reasons.start != nullptr)
        to->reasons = detail::readNamedBits(fields.reasons);
    return (fields.name.start == nullptr || readPointName(reading, fields.name, to)) &&
           (fields.crlIssuer.start == nullptr ||
            detail::appendGeneralNames(reading, fields.crlIssuer, &to->crlIssuer));
}

bool readPoints(Reading& reading, asn1::blob value, std::vector<CrlDistributionPoint>* to) {
    return detail::readDistributionPoints(reading, value, [&](detail::DistributionPointFields const& fields) {
        return keepPoint(reading, fields, &to->emplace_back());
    });
}

bool readScope(Reading& reading, asn1::blob value, IssuingDistributionPoint* to) {
    detail::IssuingDistributionPointFields fields;
    if (!detail::readIssuingDistributionPoint(reading, value, &fields))
        return false;
    to->onlyUserCertificates = fields.onlyUserCertificates;
    to->onlyCaCertificates = fields.onlyCaCertificates;
    to->onlyAttributeCertificates = fields.onlyAttributeCertificates;
    to->isIndirect = fields.isIndirect;
    return keepPoint(reading, fields.point, &to->point);
}

bool readWholeAuthorityKeyId(Reading& reading, asn1::blob value, AuthorityKeyIdentifier* to) {
    asn1::blob content, issuer;
    if (!detail::readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!takeOptional(fields, tag::primitive(0), &to->keyId))
        return false;
    if (fields.tag == tag::constructed(1) &&
        (!detail::take(fields, tag::constructed(1), &issuer, "authorityCertIssuer") ||
         !detail::appendGeneralNames(reading, issuer, &to->issuer)))
        return false;
    return takeOptional(fields, tag::primitive(2), &to->serialNumber) && detail::finish(fields);
}

bool readReason(Reading& reading, asn1::blob value, unsigned char* to) {
    asn1::blob content;
    if (!detail::readOnly(reading, value, tag::enumerated, &content))
        return false;
    if (content.size() != 1)
        return reading.refuse(RefusalId::numberOutOfRange, value);
    *to = content[0];
    return true;
}

bool readDate(Reading& reading, asn1::blob value, TimePoint* to) {
    return detail::readTime(reading, value, to);
}

bool takeDate(Level& fields, unsigned wanted, std::optional<TimePoint>* to) {
    std::optional<asn1::blob> content;
    if (!takeOptional(fields, wanted, &content))
        return false;
    if (!content)
        return true;
    Reading silent;
    std::vector<unsigned char> const time = DerEncoder().add(tag::generalizedTime, *content).take();
    return detail::readTime(silent, time, &to->emplace()) ||
           detail::refuseField(fields.reading, nullptr, RefusalId::malformedTime, content->start);
}

bool readUsagePeriod(Reading& reading, asn1::blob value, PrivateKeyUsagePeriod* to) {
    asn1::blob content;
    if (!detail::readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    return takeDate(fields, tag::primitive(0), &to->notBefore) &&
           takeDate(fields, tag::primitive(1), &to->notAfter) && detail::finish(fields);
}

bool readStatements(Reading& reading, asn1::blob value, std::vector<TypedValue>* to) {
    return readList(reading, value, "statement", [&](Level& fields) {
        TypedValue& statement = to->emplace_back();
        return detail::take(fields, tag::oid, &statement.id) &&
               (detail::atEnd(fields) || detail::takeWhole(fields, fields.tag, &statement.value));
    });
}

bool readFeatures(Reading& reading, asn1::blob value, std::vector<unsigned>* to) {
    asn1::blob content;
    if (!detail::readOnly(reading, value, tag::sequence, &content))
        return false;
    Level numbers(reading, content);
    while (!detail::atEnd(numbers))
        if (!detail::takeUInt(numbers, &to->emplace_back()))
            return false;
    return true;
}

/// Takes a big-endian number of `octets` octets.
bool takeNumber(asn1::blob& rest, size_t octets, std::uint64_t* number) {
    if (rest.size() < octets)
        return false;
    *number = 0;
    for (unsigned char const octet : rest.pop_front(octets))
        *number = *number << 8 | octet;
    return true;
}

/// Takes opaque<0..2^16-1> of TLS: a length of two octets, and that many octets.
bool takeOpaque(asn1::blob& rest, asn1::blob* content) {
    std::uint64_t length = 0;
    if (!takeNumber(rest, 2, &length) || rest.size() < length)
        return false;
    *content = rest.pop_front(static_cast<size_t>(length));
    return true;
}

/// struct { Version sct_version; LogID id; uint64 timestamp; CtExtensions extensions; digitally-signed } (RFC
/// 6962, section 3.2).
bool readTimestamp(asn1::blob rest, SignedCertificateTimestamp* to) {
    constexpr size_t logIdSize = 32;
    std::uint64_t number = 0;
    if (!takeNumber(rest, 1, &number))
        return false;
    to->version = static_cast<unsigned>(number);
    if (to->version != 0)
        return true;
    if (rest.size() < logIdSize)
        return false;
    to->logId = rest.pop_front(logIdSize);
    if (!takeNumber(rest, 8, &to->milliseconds) || !takeOpaque(rest, &to->extensions) ||
        !takeNumber(rest, 2, &number))
        return false;
    to->hashAlgorithm = static_cast<unsigned>(number >> 8);
    to->signatureAlgorithm = static_cast<unsigned>(number & 0xFF);
    return takeOpaque(rest, &to->signature) && rest.empty();
}

bool readTimestamps(Reading& reading, asn1::blob value, std::vector<SignedCertificateTimestamp>* to) {
    asn1::blob content, list, one;
    if (!detail::readOnly(reading, value, tag::octetString, &content))
        return false;
    asn1::blob rest = content;
    if (!takeOpaque(rest, &list) || !rest.empty())
        return reading.refuse(RefusalId::malformedExtension, content);
    while (!list.empty())
        if (!takeOpaque(list, &one) || !readTimestamp(one, &to->emplace_back()))
            return reading.refuse(RefusalId::malformedExtension, list);
    return true;
}

bool readBits(Reading& reading, asn1::blob value, unsigned* to) {
    asn1::blob content;
    if (!detail::readOnly(reading, value, tag::bitString, &content))
        return false;
    *to = detail::readNamedBits(content);
    return true;
}

bool readString(Reading& reading, asn1::blob value, std::string* to) {
    Level string(reading, value);
    if (!detail::isStringTag(string.tag))
        return detail::refuseElement(string, tag::utf8String);
    return takeText(string, to) && detail::finish(string);
}

std::vector<std::string> namesOf(unsigned bits, std::span<char const* const> table) {
    std::vector<std::string> names;
    for (size_t bit = 0; bit < 32; bit++)
        if (bits >> bit & 1)
            names.push_back(bit < table.size() && *table[bit] != 0 ? table[bit]
                                                                   : "bit " + std::to_string(bit));
    return names;
}

} // namespace

// The public functions call the readers without diagnostics.

bool parseCertificatePolicies(asn1::blob value, std::vector<QualifiedPolicy>* to, Refusal* refusal) {
    return detail::parse(readQualifiedPolicies, value, to, refusal);
}

bool parsePolicyMappings(asn1::blob value, std::vector<EquivalentPolicies>* to, Refusal* refusal) {
    return detail::parse(detail::readPolicyMappings, value, to, refusal);
}

bool parsePolicyConstraints(asn1::blob value, PolicyConstraintNumbers* to, Refusal* refusal) {
    return detail::parse(detail::readPolicyConstraints, value, to, refusal);
}

bool parseIntegerValue(asn1::blob value, asn1::blob* to, Refusal* refusal) {
    return detail::parse(readInteger, value, to, refusal);
}

bool parseDistributionPoints(asn1::blob value, std::vector<CrlDistributionPoint>* to, Refusal* refusal) {
    return detail::parse(readPoints, value, to, refusal);
}

bool parseIssuingDistributionPoint(asn1::blob value, IssuingDistributionPoint* to, Refusal* refusal) {
    return detail::parse(readScope, value, to, refusal);
}

bool parseAuthorityKeyId(asn1::blob value, AuthorityKeyIdentifier* to, Refusal* refusal) {
    return detail::parse(readWholeAuthorityKeyId, value, to, refusal);
}

bool parseReasonCode(asn1::blob value, unsigned char* to, Refusal* refusal) {
    return detail::parse(readReason, value, to, refusal);
}

bool parseInvalidityDate(asn1::blob value, TimePoint* to, Refusal* refusal) {
    return detail::parse(readDate, value, to, refusal);
}

bool parsePrivateKeyUsagePeriod(asn1::blob value, PrivateKeyUsagePeriod* to, Refusal* refusal) {
    return detail::parse(readUsagePeriod, value, to, refusal);
}

bool parseStatements(asn1::blob value, std::vector<TypedValue>* to, Refusal* refusal) {
    return detail::parse(readStatements, value, to, refusal);
}

bool parseTlsFeatures(asn1::blob value, std::vector<unsigned>* to, Refusal* refusal) {
    return detail::parse(readFeatures, value, to, refusal);
}

bool parseSignedCertificateTimestamps(asn1::blob value, std::vector<SignedCertificateTimestamp>* to,
                                      Refusal* refusal) {
    return detail::parse(readTimestamps, value, to, refusal);
}

bool parseNetscapeType(asn1::blob value, unsigned* to, Refusal* refusal) {
    return detail::parse(readBits, value, to, refusal);
}

bool parseStringValue(asn1::blob value, std::string* to, Refusal* refusal) {
    return detail::parse(readString, value, to, refusal);
}

std::vector<std::string> reasonFlagNames(unsigned bits) {
    // Named bits (RFC 5280, section 4.2.1.13), which omit removeFromCRL.
    static constexpr char const* names[] = {
        "unused",       "keyCompromise",        "caCompromise",    "affiliationChanged",
        "superseded",   "cessationOfOperation", "certificateHold", "privilegeWithdrawn",
        "aaCompromise",
    };
    return namesOf(bits, names);
}

std::vector<std::string> netscapeTypeNames(unsigned bits) {
    static constexpr char const* names[] = {
        "ssl-client", "ssl-server", "email", "object-signing", "", "ssl-ca", "email-ca", "object-signing-ca",
    };
    return namesOf(bits, names);
}

std::string tlsFeatureName(unsigned feature) {
    constexpr unsigned statusRequest = 5, statusRequestV2 = 17;
    return feature == statusRequest     ? "status-request"
           : feature == statusRequestV2 ? "status-request-v2"
                                        : std::to_string(feature);
}

std::string timestampAlgorithmName(SignedCertificateTimestamp const& timestamp) {
    static constexpr char const* hashes[] = {"none", "MD5", "SHA1", "SHA224", "SHA256", "SHA384", "SHA512"};
    static constexpr char const* signatures[] = {"anonymous", "RSA", "DSA", "ECDSA"};
    auto const nameOf = [](unsigned number, std::span<char const* const> names) {
        return number < names.size() ? names[number] : std::to_string(number);
    };
    return nameOf(timestamp.hashAlgorithm, hashes) + "+" + nameOf(timestamp.signatureAlgorithm, signatures);
}

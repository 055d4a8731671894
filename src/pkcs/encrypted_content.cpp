// The parts of EnvelopedData and EncryptedData: encrypted content and recipients.
#include "sealkit/pkcs7.h"

#include "asn1/read.h"
#include "pkcs/read.h"
#include "pkcs/version.h"
#include "x509/writer.h"

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

namespace {

bool readRecipientIdentifier(Level& fields, PKCS7KeyTransRecipientInfo& to) {
    asn1::blob content;
    if (to.version == 0)
        return detail::take(fields, tag::sequence, &content, "issuer and serial number") &&
               detail::readIssuerAndSerial(fields.reading, content, to);
    if (!detail::take(fields, tag::primitive(0), &content, "subject key identifier"))
        return false;
    to.subjectKeyId = detail::copyOf(content);
    return true;
}

template <typename Record>
std::vector<unsigned char> encodeRecord(Record const& record) {
    DerEncoder encoder;
    save(record, encoder);
    return encoder.take();
}

} // namespace

bool detail::readPlainAlgorithm(Reading& reading, asn1::blob content, AlgorithmIdentifier& to) {
    if (!readAlgorithm(reading, content, to))
        return false;
    asn1::parser elements(content);
    if (elements.next() && atEnd(elements))
        to.params.clear();
    return true;
}

bool detail::readIssuerAndSerial(Reading& reading, asn1::blob content, PKCS7KeyTransRecipientInfo& to) {
    Level fields(reading, content);
    asn1::blob issuer, serialNumber;
    if (!takeWhole(fields, tag::sequence, &issuer, "issuer") ||
        !takeInteger(fields, &serialNumber, "serial number") || !finish(fields))
        return false;
    Reading::Step const step(reading, "issuer");
    if (!readName(reading, issuer, to.issuer))
        return false;
    to.issuerElement = copyOf(issuer);
    to.serialNumber = copyOf(serialNumber);
    return true;
}

void detail::saveIssuerAndSerial(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to) {
    to.begin(tag::sequence)
        .addEncoded(encodeName(from.issuer, from.issuerElement))
        .add(tag::integer, from.serialNumber)
        .end();
}

bool detail::refuseString(Level const& level, unsigned expected, char const* field) {
    constexpr unsigned constructedBit = 0x20;
    if (level.tag != (expected | constructedBit))
        return refuseElement(level, expected, field);
    return level.reading.refuse(RefusalId::segmentedString, level.tlvStart);
}

bool detail::read(Reading& reading, asn1::blob element, PKCS7KeyTransRecipientInfo& to) {
    to = {};
    asn1::blob content, version, algorithm, encryptedKey;
    if (!readOnly(reading, element, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    unsigned char const* const place = fields.tlvStart;
    if (!takeInteger(fields, &version, "version"))
        return false;
    to.version = smallNumber(version);
    if (to.version != 0 && to.version != 2)
        return reading.refuse(RefusalId::messageVersion, place,
                              {{"expected", "0 or 2"}, {"found", numberText(version)}});
    if (!readRecipientIdentifier(fields, to) ||
        !take(fields, tag::sequence, &algorithm, "key encryption algorithm") ||
        !readPlainAlgorithm(reading, algorithm, to.keyEncryptionAlgorithm) ||
        !take(fields, tag::octetString, &encryptedKey, "encrypted key") || !finish(fields))
        return false;
    to.encryptedKey = copyOf(encryptedKey);
    return true;
}

bool parse(PKCS7KeyTransRecipientInfo& to, asn1::blob element) {
    Reading reading(element);
    return detail::read(reading, element, to);
}

bool parse(PKCS7KeyTransRecipientInfo& to, asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return detail::read(reading, element, to);
}

void save(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to) {
    to.begin(tag::sequence).addInteger(bn64(from.version));
    if (from.version == 0)
        detail::saveIssuerAndSerial(from, to);
    else
        to.add(tag::primitive(0), from.subjectKeyId);
    save(from.keyEncryptionAlgorithm, to);
    to.addOctetString(from.encryptedKey).end();
}

std::vector<unsigned char> encode(PKCS7KeyTransRecipientInfo const& from) { return encodeRecord(from); }

bool detail::read(Reading& reading, asn1::blob element, PKCS7EncryptedContentInfo& to) {
    to = {};
    asn1::blob content, type, algorithm, encrypted;
    if (!readOnly(reading, element, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::oid, &type, "content type") ||
        !take(fields, tag::sequence, &algorithm, "encryption algorithm") ||
        !readPlainAlgorithm(reading, algorithm, to.contentEncryptionAlgorithm))
        return false;
    if (!atEnd(fields)) {
        if (fields.tag != tag::primitive(0))
            return refuseString(fields, tag::primitive(0), "encrypted content");
        if (!take(fields, tag::primitive(0), &encrypted) || !finish(fields))
            return false;
    }
    to.contentType = copyOf(type);
    to.encryptedContent = copyOf(encrypted);
    return true;
}

bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element) {
    Reading reading(element);
    return detail::read(reading, element, to);
}

bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return detail::read(reading, element, to);
}

void save(PKCS7EncryptedContentInfo const& from, DerEncoder& to) {
    to.begin(tag::sequence).addOid(from.contentType);
    save(from.contentEncryptionAlgorithm, to);
    if (!from.encryptedContent.empty())
        to.add(tag::primitive(0), from.encryptedContent);
    to.end();
}

std::vector<unsigned char> encode(PKCS7EncryptedContentInfo const& from) { return encodeRecord(from); }

bool detail::read(Reading& reading, asn1::blob element, PKCS7EncryptedData& to) {
    to = {};
    asn1::blob content, version, encrypted;
    if (!readOnly(reading, element, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    unsigned char const* const place = fields.tlvStart;
    if (!takeInteger(fields, &version, "version"))
        return false;
    if (smallNumber(version) != 0) {
        reading.note("EncryptedData: invalid version: " + numberText(version));
        return reading.refuse(RefusalId::messageVersion, place,
                              {{"expected", "0"}, {"found", numberText(version)}});
    }
    return takeWhole(fields, tag::sequence, &encrypted, "encrypted content") && finish(fields) &&
           read(reading, encrypted, to.encryptedContentInfo);
}

bool parse(PKCS7EncryptedData& to, asn1::blob element) {
    Reading reading(element);
    return detail::read(reading, element, to);
}

bool parse(PKCS7EncryptedData& to, asn1::blob element, Refusal* refusal) {
    Reading reading(element, refusal);
    return detail::read(reading, element, to);
}

void save(PKCS7EncryptedData const& from, DerEncoder& to) {
    to.begin(tag::sequence).addInteger(bn64(from.version));
    save(from.encryptedContentInfo, to);
    to.end();
}

std::vector<unsigned char> encode(PKCS7EncryptedData const& from) { return encodeRecord(from); }

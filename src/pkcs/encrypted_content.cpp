// What is encrypted, and for whom: the parts of EnvelopedData and EncryptedData.
#include "sealkit/pkcs7.h"

#include "asn1/element.h"
#include "pkcs/parse.h"
#include "pkcs/version.h"
#include "x509/writer.h"

#include <iostream>

namespace tag = detail::tag;

bool detail::parseAlgorithm(AlgorithmIdentifier& to, asn1::blob content) {
    if (!::parse(to, content))
        return false;
    asn1::parser elements(content);
    if (elements.next() && atEnd(elements))
        to.params.clear();
    return true;
}

namespace {

/// IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber INTEGER }
bool parseIssuerAndSerial(PKCS7KeyTransRecipientInfo& to, asn1::blob content) {
    asn1::parser fields(content);
    asn1::blob issuer, serialNumber;
    if (!detail::takeWhole(fields, tag::sequence, &issuer) || !detail::takeInteger(fields, &serialNumber) ||
        !detail::atEnd(fields) || !to.issuer.parse(issuer))
        return false;
    to.issuerElement = detail::copyOf(issuer);
    to.serialNumber = detail::copyOf(serialNumber);
    return true;
}

bool parseRecipientIdentifier(PKCS7KeyTransRecipientInfo& to, asn1::parser& fields) {
    asn1::blob content;
    if (to.version == 0)
        return detail::take(fields, tag::sequence, &content) && parseIssuerAndSerial(to, content);
    if (to.version != 2 || !detail::take(fields, tag::primitive(0), &content))
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

bool parse(PKCS7KeyTransRecipientInfo& to, asn1::blob element) {
    to = {};
    asn1::blob content, version, algorithm, encryptedKey;
    if (!detail::readOnly(element, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::takeInteger(fields, &version))
        return false;
    to.version = detail::smallNumber(version);
    if (!parseRecipientIdentifier(to, fields) || !detail::take(fields, tag::sequence, &algorithm) ||
        !detail::parseAlgorithm(to.keyEncryptionAlgorithm, algorithm) ||
        !detail::take(fields, tag::octetString, &encryptedKey) || !detail::atEnd(fields))
        return false;
    to.encryptedKey = detail::copyOf(encryptedKey);
    return true;
}

void save(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to) {
    to.begin(tag::sequence).addInteger(bn64(from.version));
    if (from.version == 0)
        to.begin(tag::sequence)
            .addEncoded(detail::encodeName(from.issuer, from.issuerElement))
            .add(tag::integer, from.serialNumber)
            .end();
    else
        to.add(tag::primitive(0), from.subjectKeyId);
    save(from.keyEncryptionAlgorithm, to);
    to.addOctetString(from.encryptedKey).end();
}

std::vector<unsigned char> encode(PKCS7KeyTransRecipientInfo const& from) { return encodeRecord(from); }

bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element) {
    to = {};
    asn1::blob content, type, algorithm, encrypted;
    if (!detail::readOnly(element, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::take(fields, tag::oid, &type) || !detail::take(fields, tag::sequence, &algorithm) ||
        !detail::parseAlgorithm(to.contentEncryptionAlgorithm, algorithm))
        return false;
    if (!detail::atEnd(fields) &&
        (!detail::take(fields, tag::primitive(0), &encrypted) || !detail::atEnd(fields)))
        return false;
    to.contentType = detail::copyOf(type);
    to.encryptedContent = detail::copyOf(encrypted);
    return true;
}

void save(PKCS7EncryptedContentInfo const& from, DerEncoder& to) {
    to.begin(tag::sequence).addOid(from.contentType);
    save(from.contentEncryptionAlgorithm, to);
    if (!from.encryptedContent.empty())
        to.add(tag::primitive(0), from.encryptedContent);
    to.end();
}

std::vector<unsigned char> encode(PKCS7EncryptedContentInfo const& from) { return encodeRecord(from); }

bool parse(PKCS7EncryptedData& to, asn1::blob element) {
    to = {};
    asn1::blob content, version, encrypted;
    if (!detail::readOnly(element, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::takeInteger(fields, &version))
        return false;
    if (detail::smallNumber(version) != 0) {
        std::cout << "EncryptedData: invalid version: " << detail::numberText(version) << std::endl;
        return false;
    }
    return detail::takeWhole(fields, tag::sequence, &encrypted) && detail::atEnd(fields) &&
           parse(to.encryptedContentInfo, encrypted);
}

void save(PKCS7EncryptedData const& from, DerEncoder& to) {
    to.begin(tag::sequence).addInteger(bn64(from.version));
    save(from.encryptedContentInfo, to);
    to.end();
}

std::vector<unsigned char> encode(PKCS7EncryptedData const& from) { return encodeRecord(from); }

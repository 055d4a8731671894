#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/pkcs7.h"
#include "sealkit/signature.h"

#include "asn1/oids.h"
#include "pkcs/attributes.h"
#include "pkcs/parse.h"

#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned version1 = 1;

/// The one value of an attribute that has no more than one.
bool readValue(asn1::blob values, unsigned expected, std::vector<unsigned char>* to) {
    asn1::blob content;
    if (!detail::readOnly(values, expected, &content))
        return false;
    *to = detail::copyOf(content);
    return true;
}

bool readSignedAttribute(detail::Attribute const& attribute, PKCS7SignerInfo& to) {
    if (attribute.type == asn1::blob(oid::contentType))
        return readValue(attribute.values, tag::oid, &to.contentType);
    if (attribute.type == asn1::blob(oid::messageDigest))
        return readValue(attribute.values, tag::octetString, &to.contentDigest);
    if (attribute.type == asn1::blob(oid::signingTime)) {
        to.hasSigningTime = 1;
        asn1::parser value(attribute.values);
        return to.signingTime.parse(value) && detail::atEnd(value);
    }
    if (attribute.type != asn1::blob(oid::opusInfo))
        std::cout << "unknown auth attr " << oidStr(attribute.type) << std::endl;
    return true;
}

/// The first value, which must be there.
bool firstValue(asn1::blob values, asn1::blob* element) {
    asn1::parser elements(values);
    return detail::takeWhole(elements, tag::sequence, element);
}

bool readUnsignedAttribute(detail::Attribute const& attribute, PKCS7SignerInfo& to, unsigned depth) {
    asn1::blob value;
    if (attribute.type == asn1::blob(oid::counterSignature)) {
        if (to.counterSignature)
            return true;
        to.counterSignature = std::make_unique<PKCS7SignerInfo>();
        return firstValue(attribute.values, &value) &&
               detail::parseSigner(*to.counterSignature, value, depth + 1);
    }
    if (attribute.type == asn1::blob(oid::msCounterSignature)) {
        if (to.msCounterSignature)
            return true;
        to.msCounterSignature = std::make_unique<PKCS7SignedData>();
        return firstValue(attribute.values, &value) &&
               detail::parseSignedMessage(*to.msCounterSignature, value, depth + 1);
    }
    std::cout << "unknown unauth attribute " << oidStr(attribute.type) << std::endl;
    return true;
}

void addAttribute(DerEncoder& to, asn1::blob type, unsigned valueTag, asn1::blob value) {
    to.begin(tag::sequence).addOid(type).begin(tag::set).add(valueTag, value).end().end();
}

std::vector<unsigned char> encodeAttributes(PKCS7SignerInfo const& signer) {
    DerEncoder attributes;
    addAttribute(attributes, oid::contentType, tag::oid, signer.contentType);
    addAttribute(attributes, oid::messageDigest, tag::octetString, signer.contentDigest);
    return attributes.take();
}

} // namespace

bool detail::parseSigner(PKCS7SignerInfo& to, asn1::blob signerInfo, unsigned depth) {
    asn1::blob body, issuerAndSerial, issuerName, serial, algorithm, attributes, signature;
    if (depth > maxNesting || !readOnly(signerInfo, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    unsigned version;
    if (!takeUInt(fields, &version))
        return false;
    if (version != version1) {
        std::cerr << "bad version" << std::endl;
        return false;
    }
    if (!take(fields, tag::sequence, &issuerAndSerial))
        return false;
    asn1::parser identity(issuerAndSerial);
    if (!takeWhole(identity, tag::sequence, &issuerName) || !takeInteger(identity, &serial) ||
        !atEnd(identity))
        return false;
    to.issuer = copyOf(issuerName);
    to.serialNumber = copyOf(serial);

    if (!takeWhole(fields, tag::sequence, &algorithm))
        return false;
    to.digestAlgorithm = getHashFromDER(algorithm);
    if (to.digestAlgorithm == HashID::none || !take(fields, tag::constructed(0), &attributes))
        return false;
    to.authAttributes = copyOf(attributes);
    if (!readAttributes(attributes,
                        [&](Attribute const& attribute) { return readSignedAttribute(attribute, to); }))
        return false;

    AlgorithmIdentifier encryption;
    if (!take(fields, tag::sequence, &algorithm) || !::parse(encryption, algorithm) ||
        asn1::blob(encryption.oid) != asn1::blob(oid::rsaEncryption) ||
        !take(fields, tag::octetString, &signature))
        return false;
    to.encryptedDigest = copyOf(signature);
    if (fields.tag == tag::constructed(1) && (!take(fields, tag::constructed(1), &attributes) ||
                                              !readAttributes(attributes, [&](Attribute const& attribute) {
                                                  return readUnsignedAttribute(attribute, to, depth);
                                              })))
        return false;
    return atEnd(fields);
}

PKCS7SignerInfo::PKCS7SignerInfo() = default;
PKCS7SignerInfo::PKCS7SignerInfo(PKCS7SignerInfo&&) noexcept = default;
PKCS7SignerInfo& PKCS7SignerInfo::operator=(PKCS7SignerInfo&&) noexcept = default;
PKCS7SignerInfo::~PKCS7SignerInfo() = default;

bool PKCS7SignerInfo::parse(asn1::blob signerInfo) {
    PKCS7SignerInfo parsed;
    bool const isGood = detail::parseSigner(parsed, signerInfo, 0);
    *this = std::move(parsed);
    return isGood;
}

void PKCS7SignerInfo::save(DerEncoder& to) {
    to.begin(tag::sequence).addInteger(version1);
    to.begin(tag::sequence).addEncoded(issuer).add(tag::integer, serialNumber).end();
    saveHash(to, digestAlgorithm);
    if (!contentType.empty() || !contentDigest.empty() || hasSigningTime != 0) {
        if (authAttributes.empty())
            authAttributes = encodeAttributes(*this);
        to.add(tag::constructed(0), authAttributes);
    }
    to.begin(tag::sequence).addOid(oid::rsaEncryption).end().addOctetString(encryptedDigest);
    if (counterSignature || msCounterSignature) {
        to.begin(tag::constructed(1));
        if (counterSignature) {
            to.begin(tag::sequence).addOid(oid::counterSignature).begin(tag::set);
            counterSignature->save(to);
            to.end().end();
        }
        if (msCounterSignature) {
            to.begin(tag::sequence).addOid(oid::msCounterSignature).begin(tag::set);
            msCounterSignature->save(to);
            to.end().end();
        }
        to.end();
    }
    to.end();
}

bool PKCS7SignerInfo::sign(X509Certificate const& certificate, PrivateKey const& key,
                           asn1::blob contentTypeOid, asn1::blob content, HashID hash) {
    if (key.keyType() != KeyType::RSA)
        return false;
    addContentDigest(contentTypeOid, content, hash);
    digestAlgorithm = hash;
    issuer = certificate.issuer.serialize();
    serialNumber = certificate.serialNumber;
    authAttributes = encodeAttributes(*this);
    encryptedDigest.clear();
    if (!getHashOid(hash).empty())
        encryptedDigest = signHashed(key, hash, messageDigest(hash));
    return !encryptedDigest.empty();
}

bool PKCS7SignerInfo::sign(X509Certificate const& certificate, PrivateKey const& key,
                           asn1::blob contentTypeOid, asn1::blob content, unsigned hash) {
    return sign(certificate, key, contentTypeOid, content, static_cast<HashID>(hash));
}

std::vector<unsigned char> PKCS7SignerInfo::messageDigest(HashID hash) const {
    return calcDigest(hash, DerEncoder().add(tag::set, authAttributes).take());
}

std::vector<unsigned char> PKCS7SignerInfo::messageDigest(unsigned hash) const {
    return messageDigest(static_cast<HashID>(hash));
}

std::vector<unsigned char> PKCS7SignerInfo::encodeAndMessageDigest(HashID hash) {
    if (authAttributes.empty())
        authAttributes = encodeAttributes(*this);
    return messageDigest(hash);
}

std::vector<unsigned char> PKCS7SignerInfo::encodeAndMessageDigest(unsigned hash) {
    return encodeAndMessageDigest(static_cast<HashID>(hash));
}

void PKCS7SignerInfo::addContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) {
    std::vector<unsigned char> digest = calcDigest(hash, content); // Before the views of this object end.
    contentType = detail::copyOf(contentTypeOid);
    contentDigest = std::move(digest);
}

void PKCS7SignerInfo::addContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash) {
    addContentDigest(contentTypeOid, content, static_cast<HashID>(hash));
}

bool PKCS7SignerInfo::verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) const {
    if (hash != digestAlgorithm || contentTypeOid != asn1::blob(contentType) || contentDigest.empty())
        return false;
    return calcDigest(hash, content) == contentDigest;
}

bool PKCS7SignerInfo::verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content,
                                          unsigned hash) const {
    return verifyContentDigest(contentTypeOid, content, static_cast<HashID>(hash));
}

void PKCS7SignerInfo::dump(std::ostream& out) const {
    DistinguishedName name;
    name.parse(issuer, nullptr); // Unknown attributes are no line of a dump.
    out << "SignerInfo:\n"
        << "  issuer: " << name.str() << '\n'
        << "  serialNr: " << str(serialNumber) << '\n'
        << "  digestAlgo: " << getHashName(digestAlgorithm) << '\n'
        << "  digest: " << str(contentDigest) << '\n'
        << "  contentType: " << oidStr(contentType) << '\n';
    if (hasSigningTime != 0)
        out << "  signingTime: " << signingTime.toString() << '\n';
    out << "  encryptedDigest: " << str(encryptedDigest) << '\n'
        << "  message-digest: " << str(messageDigest(digestAlgorithm)) << '\n';
    if (counterSignature) {
        out << "CounterSignature ";
        counterSignature->dump(out);
    }
    if (msCounterSignature) {
        out << "MS CounterSignature ";
        msCounterSignature->dump(out);
    }
}

#include "pkcs/pkcs12_bags.h"

#include "sealkit/pkcs8.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/ber.h"
#include "pkcs/bmp_string.h"
#include "pkcs/parse.h"

#include <iostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

using detail::PKCS12Bag;

void nameUnknown(asn1::blob type) {
    std::cout << "PFX: unknown SafeBag type - " << oidStr(type) << std::endl;
}

/// PKCS12Attribute ::= SEQUENCE { attrId OBJECT IDENTIFIER, attrValues SET OF ANY }
bool readAttribute(asn1::blob attribute, PKCS12Attributes& to) {
    asn1::blob content, type, values;
    if (!detail::readOnly(attribute, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::take(fields, tag::oid, &type) || !detail::take(fields, tag::set, &values) ||
        !detail::atEnd(fields))
        return false;
    asn1::parser value(values);
    asn1::blob first;
    if (type == oid::friendlyName && to.friendlyName.empty() && detail::take(value, tag::bmpString, &first) &&
        detail::atEnd(value))
        to.friendlyName = detail::textOfBmp(first);
    else if (type == oid::localKeyId && to.localKeyId.empty() &&
             detail::take(value, tag::octetString, &first) && detail::atEnd(value))
        to.localKeyId = detail::copyOf(first);
    else
        to.others.insert(to.others.end(), attribute.begin(), attribute.end());
    return true;
}

bool readAttributes(asn1::blob set, PKCS12Attributes& to) {
    asn1::parser elements(set);
    asn1::blob attribute;
    while (detail::takeWhole(elements, tag::sequence, &attribute))
        if (!readAttribute(attribute, to))
            return false;
    return detail::atEnd(elements);
}

/// EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier, encryptedData OCTET STRING }
bool readShroudedKey(asn1::blob value, PKCS12Bag& to) {
    asn1::blob content, algorithm, encrypted;
    if (!detail::readOnly(value, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!detail::take(fields, tag::sequence, &algorithm) ||
        !detail::parseAlgorithm(to.algorithm, algorithm) ||
        !detail::take(fields, tag::octetString, &encrypted) || !detail::atEnd(fields))
        return false;
    to.encryptedKey = detail::copyOf(encrypted);
    return true;
}

bool readBags(asn1::blob safeContents, unsigned depth, std::vector<PKCS12Bag>& bags);

/// SafeBag ::= SEQUENCE { bagId OBJECT IDENTIFIER, bagValue [0] EXPLICIT, bagAttributes SET OPTIONAL }
bool readBag(asn1::blob content, unsigned depth, std::vector<PKCS12Bag>& bags) {
    asn1::parser fields(content);
    asn1::blob type, value, attributes;
    if (!detail::take(fields, tag::oid, &type) || !detail::take(fields, tag::constructed(0), &value))
        return false;
    PKCS12Bag bag;
    if (!detail::atEnd(fields) && (!detail::take(fields, tag::set, &attributes) ||
                                   !readAttributes(attributes, bag.attributes) || !detail::atEnd(fields)))
        return false;

    if (type == oid::safeContentsBag)
        return depth < detail::maxNesting && readBags(value, depth + 1, bags);
    if (type == oid::keyBag) {
        bag.key = parseOneAssimetricKey(value);
        if (bag.key == nullptr)
            return false;
    } else if (type == oid::shroudedKeyBag) {
        if (!readShroudedKey(value, bag))
            return false;
    } else if (type == oid::certBag) {
        if (!detail::readCertBag(value, &bag.certificate))
            return false;
        if (bag.certificate == nullptr)
            return true;
    } else {
        nameUnknown(type);
        return true;
    }
    bags.push_back(std::move(bag));
    return true;
}

bool readBags(asn1::blob safeContents, unsigned depth, std::vector<PKCS12Bag>& bags) {
    asn1::blob content, bag;
    if (!detail::readOnly(safeContents, tag::sequence, &content))
        return false;
    asn1::parser elements(content);
    while (detail::take(elements, tag::sequence, &bag))
        if (!readBag(bag, depth, bags))
            return false;
    return detail::atEnd(elements);
}

} // namespace

bool detail::readSafeContents(asn1::blob safeContents, bool isBer, std::vector<PKCS12Bag>& bags) {
    if (!isBer)
        return readBags(safeContents, 0, bags);
    SecretBytes const der(berToDer(safeContents));
    return readBags(der, 0, bags);
}

/// CertBag ::= SEQUENCE { certId OBJECT IDENTIFIER, certValue [0] EXPLICIT }, for X.509 an OCTET STRING.
bool detail::readCertBag(asn1::blob certBag, std::shared_ptr<X509Certificate>* certificate) {
    asn1::blob content, type, value, encoded;
    if (!readOnly(certBag, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (!take(fields, tag::oid, &type) || !take(fields, tag::constructed(0), &value) || !atEnd(fields))
        return false;
    if (!(type == oid::x509CertificateBag)) {
        nameUnknown(type);
        return true;
    }
    auto read = std::make_shared<X509Certificate>();
    if (!readOnly(value, tag::octetString, &encoded) ||
        !read->parse(encoded.data(), static_cast<unsigned>(encoded.size())))
        return false;
    *certificate = std::move(read);
    return true;
}

bool detail::refuseSafeContents() {
    std::cout << "PFX: unable to parse SafeContents" << std::endl;
    return false;
}

void detail::saveBag(DerEncoder& to, asn1::blob type, asn1::blob value, PKCS12Attributes const* attributes) {
    to.begin(tag::sequence).addOid(type).begin(tag::constructed(0)).addEncoded(value).end();
    if (attributes != nullptr && (!attributes->friendlyName.empty() || !attributes->localKeyId.empty() ||
                                  !attributes->others.empty())) {
        to.begin(tag::set);
        if (!attributes->friendlyName.empty()) {
            std::vector<unsigned char> name;
            appendBmp(name, attributes->friendlyName);
            to.begin(tag::sequence).addOid(oid::friendlyName).begin(tag::set);
            to.add(tag::bmpString, name).end().end();
        }
        if (!attributes->localKeyId.empty()) {
            to.begin(tag::sequence).addOid(oid::localKeyId).begin(tag::set);
            to.addOctetString(attributes->localKeyId).end().end();
        }
        to.addEncoded(attributes->others).end();
    }
    to.end();
}

std::vector<unsigned char> detail::encodeCertBag(X509Certificate const& certificate) {
    DerEncoder encoder;
    encoder.begin(tag::sequence).addOid(oid::x509CertificateBag).begin(tag::constructed(0));
    encoder.addOctetString(certificate.serialize()).end().end();
    return encoder.take();
}

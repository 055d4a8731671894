#include "sealkit/pkcs12.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/secret_bytes.h"
#include "pkcs/ber.h"
#include "pkcs/parse.h"
#include "pkcs/pkcs12_bags.h"
#include "pkcs/version.h"

#include <iostream>
#include <ostream>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

/// ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] EXPLICIT }
bool readContentInfo(asn1::blob element, asn1::blob* type, asn1::blob* content) {
    asn1::blob body;
    if (!detail::readOnly(element, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    return detail::take(fields, tag::oid, type) && detail::take(fields, tag::constructed(0), content) &&
           detail::atEnd(fields);
}

} // namespace

PKCS12PFX::PKCS12PFX() = default;
PKCS12PFX::PKCS12PFX(PKCS12PFX&&) noexcept = default;
PKCS12PFX& PKCS12PFX::operator=(PKCS12PFX&&) noexcept = default;
PKCS12PFX::~PKCS12PFX() = default;

bool PKCS12PFX::parse(asn1::blob pfx) { return parseAnew(pfx, false); }

bool PKCS12PFX::parseBer(asn1::blob pfx) {
    detail::SecretBytes const der(detail::berToDer(pfx));
    return parseAnew(der, true);
}

/// Only at the end is anything of the object changed: `pfx` may be a view of it.
bool PKCS12PFX::parseAnew(asn1::blob pfx, bool readsBer) {
    PKCS12PFX parsed;
    parsed.isBer = readsBer;
    bool const isGood = parsed.parseElement(pfx);
    if (!isGood)
        parsed = PKCS12PFX();
    parsed.scheme = std::move(scheme);
    parsed.pbes2Cipher = pbes2Cipher;
    parsed.iterations = iterations;
    *this = std::move(parsed);
    return isGood;
}

/// PFX ::= SEQUENCE { version INTEGER, authSafe ContentInfo, macData MacData OPTIONAL }
bool PKCS12PFX::parseElement(asn1::blob pfx) {
    asn1::blob body, version, element;
    if (!detail::readOnly(pfx, tag::sequence, &body))
        return false;
    asn1::parser fields(body);
    if (!detail::takeInteger(fields, &version))
        return false;
    if (detail::smallNumber(version) != 3) {
        std::cout << "PFX: invalid version: " << detail::numberText(version) << std::endl;
        return false;
    }
    if (!detail::takeWhole(fields, tag::sequence, &element) || !parseContentInfo(element))
        return false;
    if (fields.tag == tag::sequence &&
        (!detail::takeWhole(fields, tag::sequence, &element) || !parseMAC(element)))
        return false;
    return detail::atEnd(fields);
}

bool PKCS12PFX::parseContentInfo(asn1::blob contentInfo) {
    asn1::blob type, content, octets;
    if (!readContentInfo(contentInfo, &type, &content))
        return false;
    if (type == oid::signedData) {
        auto parsed = std::make_unique<PKCS7SignedData>();
        if (!parsed->parse(contentInfo))
            return false;
        signedData = std::move(parsed);
        return detail::readOnly(signedData->content, tag::octetString, &octets) &&
               parseAuthenticatedSafe(octets);
    }
    return type == oid::data && detail::readOnly(content, tag::octetString, &octets) &&
           parseAuthenticatedSafe(octets);
}

/// AuthenticatedSafe ::= SEQUENCE OF ContentInfo
bool PKCS12PFX::parseAuthenticatedSafe(asn1::blob safe) {
    authenticatedSafe.assign(safe.begin(), safe.end());
    detail::SecretBytes const der(isBer ? detail::berToDer(safe) : std::vector<unsigned char>());
    asn1::blob body, element;
    if (!detail::readOnly(isBer ? asn1::blob(der) : safe, tag::sequence, &body))
        return false;
    asn1::parser elements(body);
    while (detail::takeWhole(elements, tag::sequence, &element))
        if (!parseContent(element))
            return false;
    return detail::atEnd(elements);
}

bool PKCS12PFX::parseContent(asn1::blob contentInfo) {
    using detail::PKCS12Content;
    asn1::blob type, content, octets;
    if (!readContentInfo(contentInfo, &type, &content))
        return false;
    if (type == oid::data)
        return detail::readOnly(content, tag::octetString, &octets) &&
               (parseSafeContents(octets) || detail::refuseSafeContents());
    if (type == oid::encryptedData) {
        contents.push_back({PKCS12Content::Kind::encrypted, encryptedData.size(), false, {}});
        return ::parse(encryptedData.emplace_back(), content);
    }
    if (type == oid::envelopedData) {
        contents.push_back({PKCS12Content::Kind::enveloped, envelopedData.size(), false, {}});
        return envelopedData.emplace_back().parseData(content);
    }
    return false;
}

bool PKCS12PFX::parseSafeContents(asn1::blob safeContents) {
    detail::PKCS12Content content;
    if (!detail::readSafeContents(safeContents, isBer, content.bags))
        return false;
    contents.push_back(std::move(content));
    show(contents.back());
    return true;
}

bool PKCS12PFX::parseCertBag(asn1::blob certBag) {
    detail::PKCS12Content content;
    detail::PKCS12Bag bag;
    if (!detail::readCertBag(certBag, &bag.certificate))
        return false;
    if (bag.certificate != nullptr) {
        content.bags.push_back(std::move(bag));
        contents.push_back(std::move(content));
        show(contents.back());
    }
    return true;
}

/// Adds what an open content holds to the members.
void PKCS12PFX::show(detail::PKCS12Content const& content) {
    for (detail::PKCS12Bag const& bag : content.bags) {
        if (bag.certificate != nullptr) {
            // A list that someone else filled may be shorter than it could be, and must not be longer.
            certificateAttributes.resize(certificates.size());
            certificates.push_back(bag.certificate);
            certificateAttributes.push_back(bag.attributes);
        } else if (bag.key != nullptr) {
            keyAttributes.resize(keys.size());
            keys.push_back(bag.key);
            keyAttributes.push_back(bag.attributes);
        }
    }
}

void PKCS12PFX::dump(std::ostream& out) const {
    constexpr char section[] = "==========> ";
    if (signedData != nullptr) {
        out << section << "signedData" << std::endl;
        signedData->dump(out);
    }
    if (!encryptedData.empty())
        out << section << "encryptedData: " << encryptedData.size() << std::endl;
    for (PKCS7EncryptedData const& content : encryptedData)
        out << "size: " << content.encryptedContentInfo.encryptedContent.size() << std::endl;
    if (!envelopedData.empty())
        out << section << "envelopedData: " << envelopedData.size() << std::endl;
    for (PKCS7EnvelopedData const& content : envelopedData)
        out << "size: " << content.encryptedContentInfo.encryptedContent.size() << std::endl;
    if (!certificates.empty())
        out << section << "certs: " << certificates.size() << std::endl;
    if (!keys.empty())
        out << section << "keys: " << keys.size() << std::endl;
}

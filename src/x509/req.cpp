#include "sealkit/req.h"

#include "sealkit/der.h"
#include "sealkit/pkcs8.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/utf.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"
#include "x509/writer.h"

#include <algorithm>
#include <iostream>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned version1 = 0;

/// CertificationRequestInfo ::= SEQUENCE { version, subject, subjectPKInfo, attributes [0] IMPLICIT SET OF
/// Attribute } (RFC 2986, section 4.1) taken apart.
struct Outline {
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    asn1::blob attributes; ///< Content of the set.

    bool read(asn1::blob tbs) {
        asn1::blob content, version;
        if (!detail::readOnly(tbs, tag::sequence, &content))
            return false;
        asn1::parser fields(content);
        return detail::takeInteger(fields, &version) && detail::takeWhole(fields, tag::sequence, &subject) &&
               detail::takeWhole(fields, tag::sequence, &subjectPublicKeyInfo) &&
               detail::take(fields, tag::constructed(0), &attributes) && detail::atEnd(fields);
    }
};

/// Attribute ::= SEQUENCE { type OBJECT IDENTIFIER, values SET }
struct Attribute {
    asn1::blob type;
    asn1::blob values; ///< Content of the set.

    bool read(asn1::blob content) {
        asn1::parser fields(content);
        return detail::take(fields, tag::oid, &type) && detail::take(fields, tag::set, &values) &&
               detail::atEnd(fields);
    }
};

bool isString(unsigned elementTag) {
    switch (elementTag) {
    case tag::utf8String:
    case tag::numericString:
    case tag::printableString:
    case tag::t61String:
    case tag::ia5String:
    case tag::visibleString:
    case tag::universalString:
    case tag::bmpString:
        return true;
    default:
        return false;
    }
}

/// X.680, section 41.4.
bool isPrintableString(std::string_view text) {
    constexpr std::string_view others = " '()+,-./:=?";
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               others.find(c) != std::string_view::npos;
    });
}

/// The one value of a challengePassword attribute (RFC 2985, section 5.4.1).
bool readChallengePassword(asn1::blob values, std::string* password) {
    asn1::parser value(values);
    if (!isString(value.tag))
        return false;
    asn1::blob text = value.take();
    password->assign(text.begin(), text.end());
    return detail::atEnd(value);
}

/// An attribute with one value.
std::vector<unsigned char> encodeAttribute(asn1::blob type, asn1::blob value) {
    return DerEncoder()
        .begin(tag::sequence)
        .addOid(type)
        .begin(tag::set)
        .addEncoded(value)
        .end()
        .end()
        .take();
}

/// Empty for no password. PrintableString where it can be (RFC 2985, section 5.4.1); octets that are no
/// UTF-8 are a T61String, which claims the least about them.
std::vector<unsigned char> encodeChallengePassword(std::string const& password) {
    if (password.empty())
        return {};
    unsigned const stringTag = isPrintableString(password) ? tag::printableString
                               : detail::isUtf8(password)  ? tag::utf8String
                                                           : tag::t61String;
    return encodeAttribute(oid::challengePassword, DerEncoder().add(stringTag, password).take());
}

/// The one value of an extensionRequest attribute (RFC 2985, section 5.4.2).
bool readExtensionRequest(asn1::blob values, std::vector<X509Extension>* extensions) {
    asn1::blob list;
    return detail::readOnly(values, tag::sequence, &list) && detail::readExtensions(list, extensions);
}

bool readExtension(X509Req& request, X509Extension const& extension, std::ostream& notices) {
    if (extension.oid == asn1::blob(oid::subjectAltName))
        return detail::readGeneralNames(extension.value, &request.subjectAltNames);
    if (extension.oid == asn1::blob(oid::keyUsage))
        return detail::readKeyUsage(extension.value, &request.keyUsage);
    if (extension.oid == asn1::blob(oid::extKeyUsage))
        return detail::readExtKeyUsage(extension.value, &request.extKeyUsage, notices);
    notices << "unknown ext id=" << oidStr(extension.oid) << std::endl;
    return true;
}

} // namespace

X509Req::~X509Req() = default;

bool X509Req::parse(unsigned char const* data, unsigned len) { return parseReq(asn1::blob(data, len)); }

bool X509Req::parseReq(asn1::blob request) {
    *this = X509Req();
    Outline outline;
    if (!unpackObj(request) || !outline.read(tbs) || !subject.parse(outline.subject))
        return false;
    subjectPublicKeyInfo = detail::copyOf(outline.subjectPublicKeyInfo);

    // Both attributes are single-valued, and a set holds an attribute once (X.501, section 8.2).
    bool hasPassword = false, hasExtensions = false;
    std::vector<X509Extension> list;
    asn1::parser attributes(outline.attributes);
    asn1::blob content;
    while (detail::take(attributes, tag::sequence, &content)) {
        Attribute attribute;
        if (!attribute.read(content))
            return false;
        if (attribute.type == asn1::blob(oid::challengePassword)) {
            if (std::exchange(hasPassword, true) ||
                !readChallengePassword(attribute.values, &challengePassword))
                return false;
        } else if (attribute.type == asn1::blob(oid::extensionRequest)) {
            if (std::exchange(hasExtensions, true) || !readExtensionRequest(attribute.values, &list))
                return false;
        } else {
            std::cout << "unknown attribute " << oidStr(attribute.type) << std::endl;
        }
    }
    if (!detail::atEnd(attributes))
        return false;
    for (X509Extension const& extension : list)
        if (!readExtension(*this, extension, std::cout))
            return false;
    return true;
}

std::unique_ptr<PublicKey> X509Req::parsePublicKey() const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo);
}

void X509Req::setPublicKey(PublicKey const& key) { subjectPublicKeyInfo = encodePkcs8PublicKey(key); }

bool X509Req::setSubject(asn1::blob name) { return detail::takeName(name, &subject, &subjectElement); }

std::vector<unsigned char> X509Req::serializeExtensions() const {
    std::vector<X509Extension> const before = extensions();
    std::ostream silence(nullptr);
    X509Req was;
    for (X509Extension const& extension : before)
        readExtension(was, extension, silence);

    detail::ExtensionWriter list(before);
    list.add(oid::keyUsage, keyUsage == was.keyUsage, true, detail::encodeKeyUsage(keyUsage));
    list.add(oid::extKeyUsage, extKeyUsage == was.extKeyUsage, false, detail::encodeExtKeyUsage(extKeyUsage));
    list.add(oid::subjectAltName, detail::isSame(subjectAltNames, was.subjectAltNames),
             subject.empty() && subject.other.empty(), detail::encodeGeneralNames(subjectAltNames));
    return list.finish();
}

bool X509Req::updateTbs(PrivateKey const& key, HashID hash) {
    asn1::blob keyInfo;
    if (detail::signatureAlgorithmOf(key, hash).oid.empty() ||
        !detail::readOnly(subjectPublicKeyInfo, tag::sequence, &keyInfo) ||
        !detail::isNamedKeyUsage(keyUsage) || !detail::isNamedExtKeyUsage(extKeyUsage) ||
        !std::all_of(subjectAltNames.begin(), subjectAltNames.end(), detail::isWritable))
        return false;
    Outline before;
    if (!before.read(tbs))
        before = Outline();

    // The elements of a SET OF stand in the order of their encodings (X.690, section 11.6).
    std::vector<std::vector<unsigned char>> attributes;
    std::vector<unsigned char> password = encodeChallengePassword(challengePassword);
    asn1::parser attributesBefore(before.attributes);
    asn1::blob element;
    while (detail::takeWhole(attributesBefore, tag::sequence, &element)) {
        asn1::blob content;
        Attribute attribute;
        if (!detail::readOnly(element, tag::sequence, &content) || !attribute.read(content) ||
            attribute.type == asn1::blob(oid::extensionRequest))
            continue;
        std::string was;
        if (attribute.type != asn1::blob(oid::challengePassword))
            attributes.push_back(detail::copyOf(element));
        else if (readChallengePassword(attribute.values, &was) && was == challengePassword)
            password = detail::copyOf(element);
    }
    if (!password.empty())
        attributes.push_back(std::move(password));
    std::vector<unsigned char> const list = serializeExtensions();
    if (!list.empty())
        attributes.push_back(encodeAttribute(oid::extensionRequest, list));
    std::sort(attributes.begin(), attributes.end());

    DerEncoder to;
    to.begin(tag::sequence).addInteger(version1);
    to.addEncoded(
        detail::encodeName(subject, subjectElement.empty() ? before.subject : asn1::blob(subjectElement)));
    to.addEncoded(subjectPublicKeyInfo).begin(tag::constructed(0));
    for (std::vector<unsigned char> const& attribute : attributes)
        to.addEncoded(attribute);
    tbs = to.end().end().take();
    return true;
}

asn1::blob X509Req::subjectBytes() const {
    Outline outline;
    return outline.read(tbs) ? outline.subject : asn1::blob();
}

std::vector<X509Extension> X509Req::extensions() const {
    Outline outline;
    std::vector<X509Extension> list;
    if (!outline.read(tbs))
        return list;
    asn1::parser attributes(outline.attributes);
    asn1::blob content;
    while (detail::take(attributes, tag::sequence, &content)) {
        Attribute attribute;
        if (attribute.read(content) && attribute.type == asn1::blob(oid::extensionRequest)) {
            if (!readExtensionRequest(attribute.values, &list))
                list.clear();
            return list;
        }
    }
    return list;
}

void X509Req::dump(std::ostream& out) const {
    out << "REQ\n"
        << "  name: <" << subject.str() << ">\n"
        << "  extensions:\n";
    if (!challengePassword.empty())
        out << "    challengePassword: " << challengePassword << '\n';
    detail::dumpGeneralNames(out, "    subject alternative name: ", "      ", subjectAltNames);
    X509Certificate::dumpKeyUsage(detail::combineKeyUsage(keyUsage, extKeyUsage), out);
    if (std::unique_ptr<PublicKey> key = parsePublicKey())
        key->dump(out);
}

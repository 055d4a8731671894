#include "sealkit/req.h"

#include "sealkit/pkcs8.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"

#include <iostream>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

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

/// The one value of a challengePassword attribute (RFC 2985, section 5.4.1).
bool readChallengePassword(asn1::blob values, std::string* password) {
    asn1::parser value(values);
    if (!isString(value.tag))
        return false;
    asn1::blob text = value.take();
    password->assign(text.begin(), text.end());
    return detail::atEnd(value);
}

/// The one value of an extensionRequest attribute (RFC 2985, section 5.4.2).
bool readExtensionRequest(asn1::blob values, std::vector<X509Extension>* extensions) {
    asn1::blob list;
    return detail::readOnly(values, tag::sequence, &list) && detail::readExtensions(list, extensions);
}

bool readExtension(X509Req& request, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::subjectAltName))
        return detail::readGeneralNames(extension.value, &request.subjectAltNames);
    if (extension.oid == asn1::blob(oid::keyUsage))
        return detail::readKeyUsage(extension.value, &request.keyUsage);
    if (extension.oid == asn1::blob(oid::extKeyUsage))
        return detail::readExtKeyUsage(extension.value, &request.extKeyUsage);
    std::cout << "unknown ext id=" << oidStr(extension.oid) << std::endl;
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
        if (!readExtension(*this, extension))
            return false;
    return true;
}

std::unique_ptr<PublicKey> X509Req::parsePublicKey() const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo);
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

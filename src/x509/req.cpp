#include "sealkit/req.h"

#include "sealkit/der.h"
#include "sealkit/pkcs8.h"

#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "base/utf.h"
#include "sealkit/oid_names.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"
#include "x509/read.h"
#include "x509/writer.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;
using detail::Reading;

namespace {

constexpr unsigned version1 = 0;

/// The fields of CertificationRequestInfo ::= SEQUENCE { version, subject, subjectPKInfo, attributes [0]
/// IMPLICIT SET OF Attribute } (RFC 2986, section 4.1).
struct Outline {
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    asn1::blob attributes; ///< Content of the set.

    bool read(Reading& reading, asn1::blob tbs) {
        asn1::blob content, version;
        if (!detail::readOnly(reading, tbs, tag::sequence, &content))
            return false;
        detail::Level fields(reading, content);
        return detail::takeInteger(fields, &version, "version") &&
               detail::takeWhole(fields, tag::sequence, &subject, "subject") &&
               detail::takeWhole(fields, tag::sequence, &subjectPublicKeyInfo, "subjectPKInfo") &&
               (detail::take(fields, tag::constructed(0), &attributes, "attributes") ||
                reading.isTolerant()) &&
               detail::finish(fields);
    }
};

/// Attribute ::= SEQUENCE { type OBJECT IDENTIFIER, values SET }
struct Attribute {
    asn1::blob type;
    asn1::blob values; ///< Content of the set.

    bool read(Reading& reading, asn1::blob content) {
        detail::Level fields(reading, content);
        return detail::take(fields, tag::oid, &type, "type") &&
               detail::take(fields, tag::set, &values, "values") && detail::finish(fields);
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

/// The characters of PrintableString (X.680, section 41.4).
bool isPrintableString(std::string_view text) {
    constexpr std::string_view others = " '()+,-./:=?";
    return std::all_of(text.begin(), text.end(), [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               others.find(c) != std::string_view::npos;
    });
}

/// The single value of a challengePassword attribute (RFC 2985, section 5.4.1).
bool readChallengePassword(Reading& reading, asn1::blob values, std::string* password) {
    detail::Level value(reading, values);
    asn1::blob text;
    if (!detail::take(value, isString(value.tag) ? value.tag : tag::utf8String, &text))
        return false;
    password->assign(text.begin(), text.end());
    return detail::finish(value);
}

/// Encodes an attribute with one value.
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

/// Empty if there is no password. The preferred type is PrintableString (RFC 2985, section 5.4.1). Octets
/// that are not UTF-8 become a T61String, which implies the least about them.
std::vector<unsigned char> encodeChallengePassword(std::string const& password) {
    if (password.empty())
        return {};
    unsigned const stringTag = isPrintableString(password) ? tag::printableString
                               : detail::isUtf8(password)  ? tag::utf8String
                                                           : tag::t61String;
    return encodeAttribute(oid::challengePassword, DerEncoder().add(stringTag, password).take());
}

/// The single value of an extensionRequest attribute (RFC 2985, section 5.4.2).
bool readExtensionRequest(Reading& reading, asn1::blob values, detail::ExtensionList* extensions) {
    asn1::blob list;
    return detail::readOnly(reading, values, tag::sequence, &list) &&
           detail::readExtensions(reading, list, extensions);
}

bool readExtension(Reading& reading, X509Req& request, X509Extension const& extension) {
    if (extension.oid == asn1::blob(oid::subjectAltName))
        return detail::readGeneralNames(reading, extension.value, &request.subjectAltNames);
    if (extension.oid == asn1::blob(oid::keyUsage))
        return detail::readKeyUsage(reading, extension.value, &request.keyUsage);
    if (extension.oid == asn1::blob(oid::extKeyUsage))
        return detail::readExtKeyUsage(reading, extension.value, &request.extKeyUsage);
    if (reading.isStated())
        reading.note("unknown ext id=" + oidStr(extension.oid));
    return true;
}

/// Reads the known attributes of a request. Each may occur only once, with one value (X.501, section 8.2).
class AttributeReader {
public:
    AttributeReader(Reading& carried, X509Req& request) : reading(carried), to(request) {}

    bool read(asn1::blob content, size_t number) {
        asn1::parser const first(content);
        asn1::blob const type = first.tag == tag::oid ? first.value() : asn1::blob();
        Reading::Step const step(reading, "attribute", number, type, type.empty() ? nullptr : oidName);
        Attribute attribute;
        if (!attribute.read(reading, content))
            return false;
        if (type == asn1::blob(oid::challengePassword))
            return isFirst(hasPassword, content) &&
                   readChallengePassword(reading, attribute.values, &to.challengePassword);
        if (type == asn1::blob(oid::extensionRequest))
            return isFirst(hasExtensions, content) &&
                   readExtensionRequest(reading, attribute.values, &extensions);
        if (reading.isStated())
            reading.note("unknown attribute " + oidStr(type));
        return true;
    }

    detail::ExtensionList extensions; ///< The requested extensions.

private:
    bool isFirst(bool& seen, asn1::blob content) {
        return !std::exchange(seen, true) || reading.refuse(RefusalId::repeatedAttribute, content);
    }

    Reading& reading;
    X509Req& to;
    bool hasPassword = false;
    bool hasExtensions = false;
};

} // namespace

bool parseRequestOutline(asn1::blob der, RequestOutline* to) {
    *to = {};
    Reading reading{Reading::Tolerant()};
    detail::SignedParts parts;
    asn1::blob content, list;
    Outline outline;
    if (!detail::readParts(reading, der, &parts, &content))
        return false;
    outline.read(reading, parts.tbs);
    to->subject = outline.subject;
    to->subjectPublicKeyInfo = outline.subjectPublicKeyInfo;
    detail::Level elements(reading, outline.attributes);
    while (elements.tag == tag::sequence) {
        Attribute attribute;
        detail::take(elements, tag::sequence, &content);
        attribute.read(reading, content);
        if (attribute.type == asn1::blob(oid::extensionRequest) && list.empty())
            detail::readOnly(reading, attribute.values, tag::sequence, &list);
        if (!attribute.type.empty())
            to->attributes.push_back({attribute.type, attribute.values});
    }
    detail::setOutline(parts, {}, list, to);
    return !to->subject.empty();
}

X509Req::~X509Req() = default;

bool X509Req::parse(unsigned char const* data, unsigned len) { return parseReq(asn1::blob(data, len)); }

bool X509Req::parseReq(asn1::blob request) {
    Reading reading(request);
    return detail::read(reading, request, *this);
}

bool X509Req::parse(asn1::blob der, Refusal* refusal) {
    Reading reading(der, refusal);
    return detail::read(reading, der, *this) ||
           detail::refuseOtherKind(reading, InputKind::request, detail::findDerKind(der));
}

bool detail::read(Reading& reading, asn1::blob der, X509Req& to) {
    asn1::blob keyInfo;
    return readWithKeyInfo(reading, der, to, &keyInfo);
}

bool detail::readWithKeyInfo(Reading& reading, asn1::blob der, X509Req& to, asn1::blob* keyInfo) {
    to = X509Req();
    SignedParts parts;
    Outline outline;
    if (!unpack(reading, der, to, &parts) || !outline.read(reading, parts.tbs) ||
        !readField(reading, "subject", readName, outline.subject, to.subject))
        return false;
    to.subjectPublicKeyInfo = copyOf(outline.subjectPublicKeyInfo);
    *keyInfo = outline.subjectPublicKeyInfo;

    AttributeReader reader(reading, to);
    Level attributes(reading, outline.attributes);
    asn1::blob content;
    for (size_t number = 1; !atEnd(attributes); number++)
        if (!take(attributes, tag::sequence, &content, "attributes") || !reader.read(content, number))
            return false;
    return readEach(reading, reader.extensions, to, readExtension);
}

bool X509Req::verifyOwnSignature() const {
    std::unique_ptr<PublicKey> const key = parsePublicKey(nullptr);
    return key && verify(*key);
}

std::unique_ptr<PublicKey> X509Req::parsePublicKey() const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo);
}

std::unique_ptr<PublicKey> X509Req::parsePublicKey(Refusal* refusal) const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo, refusal);
}

void X509Req::setPublicKey(PublicKey const& key) { subjectPublicKeyInfo = encodePkcs8PublicKey(key); }

bool X509Req::setSubject(asn1::blob name) { return detail::takeName(name, &subject, &subjectElement); }

std::vector<unsigned char> X509Req::serializeExtensions() const {
    std::vector<X509Extension> const before = extensions();
    Reading silent;
    X509Req was;
    for (X509Extension const& extension : before)
        readExtension(silent, was, extension);

    detail::ExtensionWriter list(before);
    list.add(oid::keyUsage, keyUsage == was.keyUsage, true, detail::encodeKeyUsage(keyUsage));
    list.add(oid::extKeyUsage, extKeyUsage == was.extKeyUsage, false, detail::encodeExtKeyUsage(extKeyUsage));
    list.add(oid::subjectAltName, detail::isSame(subjectAltNames, was.subjectAltNames),
             subject.empty() && subject.other.empty(), detail::encodeGeneralNames(subjectAltNames));
    return list.finish();
}

bool X509Req::updateTbs(PrivateKey const& key, HashID hash) {
    Reading silent;
    asn1::blob keyInfo;
    if (detail::signatureAlgorithmOf(key, hash).oid.empty() ||
        !detail::readOnly(silent, subjectPublicKeyInfo, tag::sequence, &keyInfo) ||
        !detail::isNamedKeyUsage(keyUsage) || !detail::isNamedExtKeyUsage(extKeyUsage) ||
        !std::all_of(subjectAltNames.begin(), subjectAltNames.end(), detail::isWritable))
        return false;
    Outline before;
    if (!before.read(silent, tbs))
        before = Outline();

    // DER sorts the elements of a SET OF by their encodings (X.690, section 11.6).
    std::vector<std::vector<unsigned char>> attributes;
    std::vector<unsigned char> password = encodeChallengePassword(challengePassword);
    detail::Level attributesBefore(silent, before.attributes);
    asn1::blob element;
    while (detail::takeWhole(attributesBefore, tag::sequence, &element)) {
        asn1::blob content;
        Attribute attribute;
        if (!detail::readOnly(silent, element, tag::sequence, &content) || !attribute.read(silent, content) ||
            attribute.type == asn1::blob(oid::extensionRequest))
            continue;
        std::string was;
        if (attribute.type != asn1::blob(oid::challengePassword))
            attributes.push_back(detail::copyOf(element));
        else if (readChallengePassword(silent, attribute.values, &was) && was == challengePassword)
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
    Reading silent;
    Outline outline;
    return outline.read(silent, tbs) ? outline.subject : asn1::blob();
}

std::vector<X509Extension> X509Req::extensions() const {
    Reading silent;
    Outline outline;
    if (!outline.read(silent, tbs))
        return {};
    detail::Level attributes(silent, outline.attributes);
    asn1::blob content;
    while (detail::take(attributes, tag::sequence, &content)) {
        Attribute attribute;
        if (attribute.read(silent, content) && attribute.type == asn1::blob(oid::extensionRequest)) {
            detail::ExtensionList list;
            if (!readExtensionRequest(silent, attribute.values, &list))
                return {};
            return {list.begin(), list.end()};
        }
    }
    return {};
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

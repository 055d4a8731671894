#include "pkcs/pkcs12_bags.h"

#include "sealkit/oid_names.h"

#include "asn1/ber.h"
#include "asn1/element.h"
#include "asn1/oids.h"
#include "keys/bmp_string.h"
#include "keys/read.h"
#include "pkcs/read.h"
#include "x509/read.h"

#include <algorithm>
#include <iterator>

namespace oid = detail::oid;
namespace tag = detail::tag;

using detail::Level;
using detail::PKCS12Bag;
using detail::PKCS12Content;
using detail::PKCS12Reading;
using detail::Reading;

namespace {

/// Ignores a bag or certificate of an unsupported type.
void ignore(Reading const& reading, asn1::blob type, std::vector<PKCS12IgnoredBag>& ignored) {
    reading.note("PFX: unknown SafeBag type - " + oidStr(type));
    ignored.push_back({detail::copyOf(type), reading.path()});
}

/// PKCS12Attribute ::= SEQUENCE { attrId OBJECT IDENTIFIER, attrValues SET OF ANY }
bool readAttribute(Reading& reading, asn1::blob attribute, PKCS12Attributes& to) {
    asn1::blob content, type, values;
    if (!detail::readOnly(reading, attribute, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!detail::take(fields, tag::oid, &type, "attrId") ||
        !detail::take(fields, tag::set, &values, "attrValues") || !detail::finish(fields))
        return false;
    // An attribute with an unexpected value, or a second one of its type, is kept with the others.
    asn1::parser value(values);
    bool const isSingle = value.tag != asn1::parser::errorTag && value.tag != asn1::parser::endTag;
    unsigned const valueTag = value.tag;
    asn1::blob const first = isSingle ? value.take() : asn1::blob();
    if (type == oid::friendlyName && to.friendlyName.empty() && valueTag == tag::bmpString &&
        detail::atEnd(value))
        to.friendlyName = detail::textOfBmp(first);
    else if (type == oid::localKeyId && to.localKeyId.empty() && valueTag == tag::octetString &&
             detail::atEnd(value))
        to.localKeyId = detail::copyOf(first);
    else
        to.others.insert(to.others.end(), attribute.begin(), attribute.end());
    return true;
}

bool readAttributes(Reading& reading, asn1::blob set, PKCS12Attributes& to) {
    Level elements(reading, set);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(reading, "attribute", number);
        asn1::blob attribute;
        if (!detail::takeWhole(elements, tag::sequence, &attribute) || !readAttribute(reading, attribute, to))
            return false;
    }
    return true;
}

/// EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier, encryptedData OCTET STRING
/// }
bool readEncryptedKey(Reading& reading, asn1::blob value, PKCS12Bag& to) {
    Reading::Step const step(reading, "encrypted key");
    asn1::blob content, algorithm, encrypted;
    if (!detail::readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!detail::take(fields, tag::sequence, &algorithm, "encryptionAlgorithm") ||
        !detail::readPlainAlgorithm(reading, algorithm, to.algorithm) ||
        !detail::take(fields, tag::octetString, &encrypted, "encryptedData") || !detail::finish(fields))
        return false;
    to.encryptedKey = detail::copyOf(encrypted);
    to.place = {reading.path(), reading.offsetOf(value.start)};
    return true;
}

bool readBags(PKCS12Reading& file, asn1::blob safeContents, unsigned depth, PKCS12Content& to);

/// SafeBag ::= SEQUENCE { bagId OBJECT IDENTIFIER, bagValue [0] EXPLICIT, bagAttributes SET OPTIONAL }
bool readBag(PKCS12Reading& file, asn1::blob content, unsigned depth, PKCS12Content& to) {
    Reading& reading = file.reading;
    Level fields(reading, content);
    asn1::blob type, value, attributes;
    if (!detail::take(fields, tag::oid, &type, "bagId") ||
        !detail::take(fields, tag::constructed(0), &value, "bagValue"))
        return false;
    PKCS12Bag bag;
    if (!detail::atEnd(fields) &&
        (!detail::take(fields, tag::set, &attributes, "bagAttributes") ||
         !readAttributes(reading, attributes, bag.attributes) || !detail::finish(fields)))
        return false;

    if (type == oid::safeContentsBag) {
        if (depth < detail::maxNesting)
            return readBags(file, value, depth + 1, to);
        return reading.refuse(RefusalId::nestedTooDeep, value,
                              {{"maximum", std::to_string(detail::maxNesting)}});
    }
    if (type == oid::keyBag) {
        Reading::Step const step(reading, "key");
        bag.key = detail::readOneAsymmetricKey(reading, value);
        if (bag.key == nullptr)
            return false;
    } else if (type == oid::shroudedKeyBag) {
        if (!readEncryptedKey(reading, value, bag))
            return false;
    } else if (type == oid::certBag) {
        if (!detail::readCertBag(file, value, &bag.certificate, to.ignored))
            return false;
        if (bag.certificate == nullptr)
            return true;
    } else {
        ignore(reading, type, to.ignored);
        return true;
    }
    to.bags.push_back(std::move(bag));
    return true;
}

bool readBags(PKCS12Reading& file, asn1::blob safeContents, unsigned depth, PKCS12Content& to) {
    asn1::blob content, bag;
    if (!detail::readOnly(file.reading, safeContents, tag::sequence, &content))
        return false;
    Level elements(file.reading, content);
    for (size_t number = 1; !detail::atEnd(elements); number++) {
        Reading::Step const step(file.reading, "bag", number);
        if (!detail::take(elements, tag::sequence, &bag))
            return false;
        if (!readBag(file, bag, depth, to) && !file.setAside(to.unreadable))
            return false;
    }
    return true;
}

} // namespace

bool PKCS12Attributes::isTrustedByJava() const {
    bool isTrusted = false;
    for (asn1::parser attributes{asn1::blob(others)}; attributes.tag == tag::sequence; attributes.next())
        isTrusted = isTrusted || asn1::parser(attributes.value()).value() == oid::trustedKeyUsage;
    return isTrusted;
}

void PKCS12Attributes::setTrustedByJava() {
    if (isTrustedByJava())
        return;
    DerEncoder encoder;
    encoder.begin(tag::sequence).addOid(oid::trustedKeyUsage);
    encoder.begin(tag::set).addOid(oid::anyExtendedKeyUsage).end().end();
    others.insert(others.end(), encoder.buf.begin(), encoder.buf.end());
}

std::vector<std::string> PKCS12Attributes::otherNames() const {
    std::vector<std::string> names;
    for (asn1::parser attributes{asn1::blob(others)}; attributes.tag == tag::sequence; attributes.next())
        names.push_back(oidName(asn1::parser(attributes.value()).value()));
    return names;
}

std::string PKCS12IgnoredBag::name() const {
    // RFC 7292, sections 4.2.3 to 4.2.5.
    static constexpr struct {
        char const* dotted;
        char const* name;
    } names[] = {
        {"1.2.840.113549.1.12.10.1.4", "CRL"},
        {"1.2.840.113549.1.12.10.1.5", "secret other than a private key"},
        {"1.2.840.113549.1.9.22.2", "SDSI certificate"},
    };
    std::string dotted = oidStr(type);
    auto const row = std::ranges::find_if(names, [&](auto const& one) { return dotted == one.dotted; });
    return row == std::end(names) ? dotted : row->name;
}

bool detail::readSafeContents(PKCS12Reading& file, asn1::blob safeContents, PKCS12Content& to) {
    return readAsDer(file.reading, file.mayBeBer, safeContents,
                     [&](asn1::blob der) { return readBags(file, der, 0, to); });
}

/// CertBag ::= SEQUENCE { certId OBJECT IDENTIFIER, certValue [0] EXPLICIT }, for X.509 an OCTET STRING.
bool detail::readCertBag(PKCS12Reading& file, asn1::blob certBag,
                         std::shared_ptr<X509Certificate>* certificate,
                         std::vector<PKCS12IgnoredBag>& ignored) {
    Reading& reading = file.reading;
    asn1::blob content, type, value, encoded;
    if (!readOnly(reading, certBag, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (!take(fields, tag::oid, &type, "certId") || !take(fields, tag::constructed(0), &value, "certValue") ||
        !finish(fields))
        return false;
    if (!(type == oid::x509CertificateBag)) {
        ignore(reading, type, ignored);
        return true;
    }
    Reading::Step const step(reading, "certificate");
    auto parsed = std::make_shared<X509Certificate>();
    if (!readOnly(reading, value, tag::octetString, &encoded) || !read(reading, encoded, *parsed))
        return false;
    *certificate = std::move(parsed);
    return true;
}

bool detail::noteSafeContents(Reading const& reading) {
    reading.note("PFX: unable to parse SafeContents");
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

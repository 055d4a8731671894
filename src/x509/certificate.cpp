#include "sealkit/der.h"
#include "sealkit/pkcs8.h"
#include "sealkit/x509.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"
#include "x509/writer.h"

#include <algorithm>
#include <iostream>
#include <span>
#include <string>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned version3 = 2;

/// TBSCertificate ::= SEQUENCE { version [0] EXPLICIT, serialNumber, signature, issuer, validity, subject,
/// subjectPublicKeyInfo, extensions [3] EXPLICIT OPTIONAL } (RFC 5280, section 4.1) taken apart.
struct Outline {
    asn1::blob serialNumber; ///< Content.
    asn1::blob algorithm;
    asn1::blob issuer;
    asn1::blob notBefore;
    asn1::blob notAfter;
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    asn1::blob extensions; ///< Content of the list.

    bool read(asn1::blob tbs) {
        asn1::blob content, version, validity, wrapped;
        if (!detail::readOnly(tbs, tag::sequence, &content))
            return false;
        asn1::parser fields(content);
        if (!detail::take(fields, tag::constructed(0), &version) || !isVersion3(version) ||
            !detail::takeInteger(fields, &serialNumber) ||
            !detail::takeWhole(fields, tag::sequence, &algorithm) ||
            !detail::takeWhole(fields, tag::sequence, &issuer) ||
            !detail::take(fields, tag::sequence, &validity) || !readValidity(validity) ||
            !detail::takeWhole(fields, tag::sequence, &subject) ||
            !detail::takeWhole(fields, tag::sequence, &subjectPublicKeyInfo))
            return false;
        if (fields.tag == tag::constructed(3) && (!detail::take(fields, tag::constructed(3), &wrapped) ||
                                                  !detail::readOnly(wrapped, tag::sequence, &extensions)))
            return false;
        return detail::atEnd(fields);
    }

private:
    /// Validity ::= SEQUENCE { notBefore Time, notAfter Time }
    bool readValidity(asn1::blob content) {
        asn1::parser times(content);
        notBefore = times.takeWhole();
        notAfter = times.takeWhole();
        return detail::atEnd(times) && notBefore.end() <= notAfter.start;
    }

    static bool isVersion3(asn1::blob version) {
        asn1::parser number(version);
        return number.tag == tag::integer && number.readUInt() == version3 && detail::atEnd(number);
    }
};

/// Extensions that say nothing that the library acts on: known, and passed over even when critical.
bool isPassedOver(asn1::blob id) {
    static constexpr std::span<unsigned char const> passedOver[] = {
        oid::authorityInfoAccess,
        oid::subjectInfoAccess,
        oid::certificatePolicies,
        oid::policyMappings,
        oid::issuerAltName,
        oid::freshestCrl,
        oid::subjectDirectoryAttributes,
        oid::signedCertificateTimestamps,
    };
    for (std::span<unsigned char const> known : passedOver)
        if (asn1::blob(known) == id)
            return true;
    asn1::blob family(oid::netscapeCertificateExtensions);
    return id.size() > family.size() && id.pop_front(family.size()) == family;
}

/// Where remarks on what is passed over go.
using Notices = std::ostream&;

// Each reads one extension into the certificate. False refuses the certificate.

bool readKeyUsage(X509Certificate& certificate, X509Extension const& extension, Notices) {
    return detail::readKeyUsage(extension.value, &certificate.keyUsage);
}

bool readExtKeyUsage(X509Certificate& certificate, X509Extension const& extension, Notices notices) {
    return detail::readExtKeyUsage(extension.value, &certificate.extKeyUsage, notices);
}

/// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER OPTIONAL }
bool readBasicConstraints(X509Certificate& certificate, X509Extension const& extension, Notices) {
    asn1::blob content;
    if (!detail::readOnly(extension.value, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    bool isCa = false;
    if (fields.tag == tag::boolean && !detail::takeBoolean(fields, &isCa))
        return false;
    detail::skipOptional(fields, tag::integer);
    certificate.basicConstraints = isCa ? 1 : 2;
    return detail::atEnd(fields);
}

bool readSubjectKeyId(X509Certificate& certificate, X509Extension const& extension, Notices) {
    asn1::blob content;
    if (!detail::readOnly(extension.value, tag::octetString, &content))
        return false;
    certificate.subjectKeyId = detail::copyOf(content);
    return true;
}

bool readAuthorityKeyId(X509Certificate& certificate, X509Extension const& extension, Notices) {
    return detail::readAuthorityKeyId(extension.value, &certificate.authorityKeyId);
}

bool readSubjectAltName(X509Certificate& certificate, X509Extension const& extension, Notices) {
    return detail::readGeneralNames(extension.value, &certificate.subjectAltNames);
}

/// DistributionPointName ::= CHOICE { fullName [0] GeneralNames, nameRelativeToCRLIssuer [1] ... }
bool readDistributionPointName(asn1::blob content, std::vector<GeneralName>* names, Notices notices) {
    asn1::parser choice(content);
    if (detail::atEnd(choice))
        return false;
    if (choice.tag == tag::constructed(0))
        return detail::appendGeneralNames(choice.take(), names) && detail::atEnd(choice);
    unsigned other = choice.tag;
    if (!choice.next() || !detail::atEnd(choice))
        return false;
    notices << "unsupported attribute: " << std::to_string(other) << " in CRL DistributionPoint" << std::endl;
    return true;
}

/// CRLDistributionPoints ::= SEQUENCE OF SEQUENCE { distributionPoint [0] OPTIONAL, reasons [1] OPTIONAL,
/// cRLIssuer [2] OPTIONAL }
bool readCrlDistributionPoints(X509Certificate& certificate, X509Extension const& extension,
                               Notices notices) {
    asn1::blob list, content, name;
    if (!detail::readOnly(extension.value, tag::sequence, &list))
        return false;
    asn1::parser points(list);
    while (detail::take(points, tag::sequence, &content)) {
        asn1::parser fields(content);
        if (detail::take(fields, tag::constructed(0), &name) &&
            !readDistributionPointName(name, &certificate.crlDistributionPoints, notices))
            return false;
        detail::skipOptional(fields, tag::primitive(1));
        detail::skipOptional(fields, tag::constructed(2));
        if (!detail::atEnd(fields))
            return false;
    }
    return detail::atEnd(points);
}

/// Says that an extension, or a part of it, is not enforced. A critical one refuses the certificate.
bool isUnsupportedAccepted(char const* what, bool critical, Notices notices) {
    notices << "unsupported ext: " << what << ", critical: " << (critical ? '1' : '0') << std::endl;
    return !critical;
}

/// GeneralSubtrees ::= SEQUENCE OF SEQUENCE { base GeneralName, minimum [0] DEFAULT 0, maximum [1] OPTIONAL },
/// tagged as `field`. The first is kept.
bool readSubtrees(asn1::parser& fields, unsigned field, bool critical, GeneralName* constraint,
                  Notices notices) {
    if (fields.tag != field)
        return true;
    asn1::blob list, content;
    if (!detail::take(fields, field, &list))
        return false;
    asn1::parser subtrees(list);
    size_t count = 0;
    while (detail::take(subtrees, tag::sequence, &content)) {
        asn1::parser subtree(content);
        GeneralName base;
        if (!detail::takeGeneralName(subtree, &base))
            return false;
        detail::skipOptional(subtree, tag::primitive(0));
        detail::skipOptional(subtree, tag::primitive(1));
        if (!detail::atEnd(subtree))
            return false;
        if (count++ == 0)
            *constraint = std::move(base);
    }
    if (!detail::atEnd(subtrees) || count == 0)
        return false;
    if (count > 1) {
        notices << "multiple name contraints not supported" << std::endl;
        if (critical)
            return false;
    }
    constexpr unsigned char dnsName = 2;
    return constraint->type == dnsName || isUnsupportedAccepted("name constraints", critical, notices);
}

/// NameConstraints ::= SEQUENCE { permittedSubtrees [0] OPTIONAL, excludedSubtrees [1] OPTIONAL }
bool readNameConstraints(X509Certificate& certificate, X509Extension const& extension, Notices notices) {
    asn1::blob content;
    if (!detail::readOnly(extension.value, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    return readSubtrees(fields, tag::constructed(0), extension.critical, &certificate.nameConstraintPermitted,
                        notices) &&
           readSubtrees(fields, tag::constructed(1), extension.critical, &certificate.nameConstraintExcluded,
                        notices) &&
           detail::atEnd(fields);
}

bool readPolicyConstraints(X509Certificate&, X509Extension const& extension, Notices notices) {
    return isUnsupportedAccepted("policy constraints", extension.critical, notices);
}

bool readInhibitAnyPolicy(X509Certificate&, X509Extension const& extension, Notices notices) {
    return isUnsupportedAccepted("inhibit any policy", extension.critical, notices);
}

bool readExtension(X509Certificate& certificate, X509Extension const& extension, Notices notices) {
    static constexpr struct {
        std::span<unsigned char const> oid;
        bool (*read)(X509Certificate&, X509Extension const&, Notices);
    } readers[] = {
        {oid::keyUsage, readKeyUsage},
        {oid::extKeyUsage, readExtKeyUsage},
        {oid::basicConstraints, readBasicConstraints},
        {oid::subjectKeyIdentifier, readSubjectKeyId},
        {oid::authorityKeyIdentifier, readAuthorityKeyId},
        {oid::subjectAltName, readSubjectAltName},
        {oid::crlDistributionPoints, readCrlDistributionPoints},
        {oid::nameConstraints, readNameConstraints},
        {oid::policyConstraints, readPolicyConstraints},
        {oid::inhibitAnyPolicy, readInhibitAnyPolicy},
    };
    for (auto const& reader : readers)
        if (asn1::blob(reader.oid) == extension.oid)
            return reader.read(certificate, extension, notices);
    if (isPassedOver(extension.oid))
        return true;
    notices << "unknown ext id=" << oidStr(extension.oid) << std::endl;
    return !extension.critical;
}

// The other way round. Empty for an extension that is absent.

std::vector<unsigned char> encodeBasicConstraints(unsigned char basicConstraints) {
    if (basicConstraints == 0)
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    if (basicConstraints == 1)
        encoder.addBool(tag::boolean, true);
    return encoder.end().take();
}

std::vector<unsigned char> encodeNameConstraints(GeneralName const& permitted, GeneralName const& excluded) {
    if (permitted.type == GeneralName::none && excluded.type == GeneralName::none)
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    auto const add = [&encoder](unsigned field, GeneralName const& name) {
        if (name.type != GeneralName::none)
            encoder.begin(field).begin(tag::sequence).addEncoded(name.serialize()).end().end();
    };
    add(tag::constructed(0), permitted);
    add(tag::constructed(1), excluded);
    return encoder.end().take();
}

/// A point for each name: several names in one point would be several ways to the same list.
std::vector<unsigned char> encodeCrlDistributionPoints(std::vector<GeneralName> const& names) {
    if (names.empty())
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    for (GeneralName const& name : names)
        encoder.begin(tag::sequence)
            .begin(tag::constructed(0))
            .begin(tag::constructed(0))
            .addEncoded(name.serialize())
            .end()
            .end()
            .end();
    return encoder.end().take();
}

/// Whether all that the members say can be written. An address in a name constraint has its mask behind it.
bool hasWritableExtensions(X509Certificate const& certificate) {
    auto const isWritableConstraint = [](GeneralName const& name) {
        return name.type == GeneralName::none || detail::isWritable(name) ||
               (name.type == GeneralName::ipAddress && (name.data.size() == 8 || name.data.size() == 32));
    };
    return detail::isNamedKeyUsage(certificate.keyUsage) &&
           detail::isNamedExtKeyUsage(certificate.extKeyUsage) &&
           std::all_of(certificate.subjectAltNames.begin(), certificate.subjectAltNames.end(),
                       detail::isWritable) &&
           std::all_of(certificate.crlDistributionPoints.begin(), certificate.crlDistributionPoints.end(),
                       detail::isWritable) &&
           isWritableConstraint(certificate.nameConstraintPermitted) &&
           isWritableConstraint(certificate.nameConstraintExcluded);
}

void dumpConstraint(std::ostream& out, char const* title, GeneralName const& constraint) {
    if (constraint.type == GeneralName::none)
        return;
    out << title << '\n';
    detail::dumpGeneralName(out, "      ", constraint);
}

} // namespace

X509Certificate::~X509Certificate() = default;

bool X509Certificate::parse(unsigned char const* data, unsigned len) {
    *this = X509Certificate();
    Outline outline;
    if (!unpackObj(asn1::blob(data, len)) || !outline.read(tbs))
        return false;
    // RFC 5280, section 4.1.1.2: both must be the same, or the unsigned one could be exchanged.
    if (outline.algorithm != asn1::blob(unpackedAlgorithm))
        return false;
    if (!issuer.parse(outline.issuer) || !detail::readTime(outline.notBefore, &notBefore) ||
        !detail::readTime(outline.notAfter, &notAfter) || !subject.parse(outline.subject))
        return false;
    serialNumber = detail::copyOf(outline.serialNumber);
    subjectPublicKeyInfo = detail::copyOf(outline.subjectPublicKeyInfo);

    std::vector<X509Extension> list;
    if (!detail::readExtensions(outline.extensions, &list))
        return false;
    for (X509Extension const& extension : list)
        if (!readExtension(*this, extension, std::cout))
            return false;
    selfSigned =
        outline.issuer == outline.subject && (authorityKeyId.empty() || authorityKeyId == subjectKeyId);
    return true;
}

std::unique_ptr<PublicKey> X509Certificate::parsePublicKey() const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo);
}

void X509Certificate::setPublicKey(PublicKey const& key) { subjectPublicKeyInfo = encodePkcs8PublicKey(key); }

bool X509Certificate::setIssuer(asn1::blob name) { return detail::takeName(name, &issuer, &issuerElement); }

bool X509Certificate::setSubject(asn1::blob name) {
    return detail::takeName(name, &subject, &subjectElement);
}

std::vector<unsigned char> X509Certificate::serializeExtensions() const {
    std::vector<X509Extension> const before = extensions();
    std::ostream silence(nullptr);
    X509Certificate was;
    for (X509Extension const& extension : before)
        readExtension(was, extension, silence);

    detail::ExtensionWriter list(before);
    list.add(oid::basicConstraints, basicConstraints == was.basicConstraints, true,
             encodeBasicConstraints(basicConstraints));
    list.add(oid::keyUsage, keyUsage == was.keyUsage, true, detail::encodeKeyUsage(keyUsage));
    list.add(oid::extKeyUsage, extKeyUsage == was.extKeyUsage, false, detail::encodeExtKeyUsage(extKeyUsage));
    list.add(oid::subjectKeyIdentifier, subjectKeyId == was.subjectKeyId, false,
             detail::encodeOctets(subjectKeyId));
    list.add(oid::authorityKeyIdentifier, authorityKeyId == was.authorityKeyId, false,
             detail::encodeAuthorityKeyId(authorityKeyId));
    list.add(oid::subjectAltName, detail::isSame(subjectAltNames, was.subjectAltNames),
             subject.empty() && subject.other.empty(), detail::encodeGeneralNames(subjectAltNames));
    list.add(oid::nameConstraints,
             detail::isSame(nameConstraintPermitted, was.nameConstraintPermitted) &&
                 detail::isSame(nameConstraintExcluded, was.nameConstraintExcluded),
             true, encodeNameConstraints(nameConstraintPermitted, nameConstraintExcluded));
    list.add(oid::crlDistributionPoints, detail::isSame(crlDistributionPoints, was.crlDistributionPoints),
             false, encodeCrlDistributionPoints(crlDistributionPoints));
    return list.finish();
}

bool X509Certificate::updateTbs(PrivateKey const& key, HashID hash) {
    AlgorithmIdentifier const algorithm = detail::signatureAlgorithmOf(key, hash);
    asn1::blob keyInfo;
    if (algorithm.oid.empty() || serialNumber.empty() ||
        !detail::readOnly(subjectPublicKeyInfo, tag::sequence, &keyInfo) || !hasWritableExtensions(*this))
        return false;
    Outline before;
    if (!before.read(tbs))
        before = Outline();
    std::vector<unsigned char> number = detail::encodeNumber(serialNumber, before.serialNumber);
    std::vector<unsigned char> const issuerName =
        detail::encodeName(issuer, issuerElement.empty() ? before.issuer : asn1::blob(issuerElement));
    std::vector<unsigned char> const subjectName =
        detail::encodeName(subject, subjectElement.empty() ? before.subject : asn1::blob(subjectElement));

    DerEncoder to;
    to.begin(tag::sequence).begin(tag::constructed(0)).addInteger(version3).end();
    to.add(tag::integer, number);
    save(algorithm, to);
    to.addEncoded(issuerName).begin(tag::sequence);
    if (!detail::addTime(to, notBefore, before.notBefore) || !detail::addTime(to, notAfter, before.notAfter))
        return false;
    to.end().addEncoded(subjectName).addEncoded(subjectPublicKeyInfo);
    std::vector<unsigned char> const list = serializeExtensions();
    if (!list.empty())
        to.begin(tag::constructed(3)).addEncoded(list).end();
    tbs = to.end().take();

    serialNumber = std::move(number);
    selfSigned = issuerName == subjectName && (authorityKeyId.empty() || authorityKeyId == subjectKeyId);
    return true;
}

std::vector<unsigned char> calcKeyId(asn1::blob subjectPublicKeyInfo) {
    asn1::blob content, algorithm, key;
    if (!detail::readOnly(subjectPublicKeyInfo, tag::sequence, &content))
        return {};
    asn1::parser fields(content);
    if (!detail::take(fields, tag::sequence, &algorithm) || !detail::take(fields, tag::bitString, &key) ||
        !detail::atEnd(fields) || key.empty())
        return {};
    return calcDigest(HashID::SHA1, bitStringContent(key));
}

asn1::blob X509Certificate::issuerBytes() const {
    Outline outline;
    return outline.read(tbs) ? outline.issuer : asn1::blob();
}

asn1::blob X509Certificate::subjectBytes() const {
    Outline outline;
    return outline.read(tbs) ? outline.subject : asn1::blob();
}

std::vector<X509Extension> X509Certificate::extensions() const {
    return detail::listExtensions<Outline>(tbs);
}

void X509Certificate::dump(std::ostream& out) const {
    out << "Certificate:\n"
        << "  serialNr:  " << str(serialNumber) << '\n'
        << "  issuer:    <" << issuer.str() << ">\n"
        << "  subject:   <" << subject.str() << ">\n"
        << "  notBefore: " << notBefore.toString() << '\n'
        << "  notAfter:  " << notAfter.toString() << '\n'
        << "  selfSigned:" << (selfSigned ? '1' : '0') << '\n'
        << "  extensions:\n";
    dumpKeyUsage(detail::combineKeyUsage(keyUsage, extKeyUsage), out);
    if (basicConstraints != 0)
        out << "    basic constraints: isCa: " << (basicConstraints == 1 ? "TRUE" : "FALSE") << '\n';
    if (!subjectKeyId.empty())
        out << "    subject key id:  " << str(subjectKeyId) << '\n';
    if (!authorityKeyId.empty())
        out << "    authority key id:" << str(authorityKeyId) << '\n';
    detail::dumpGeneralNames(out, "    subject alternative name: ", "      ", subjectAltNames);
    detail::dumpGeneralNames(out, "    CRL distribution points: ", "       ", crlDistributionPoints);
    dumpConstraint(out, "    name constraints permitted: ", nameConstraintPermitted);
    dumpConstraint(out, "    name constraints excluded: ", nameConstraintExcluded);
    out << "  signed with: " << oid2name(signatureAlgorithm.oid) << '\n';
    if (std::unique_ptr<PublicKey> key = parsePublicKey())
        key->dump(out);
}

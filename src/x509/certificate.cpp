#include "sealkit/der.h"
#include "sealkit/pkcs8.h"
#include "sealkit/x509.h"

#include "asn1/ber.h"
#include "asn1/input_kind.h"
#include "asn1/oids.h"
#include "asn1/read.h"
#include "x509/extend.h"
#include "x509/extension_values.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"
#include "x509/read.h"
#include "x509/writer.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <utility>

namespace oid = detail::oid;
namespace tag = detail::tag;

namespace {

constexpr unsigned version1 = 0;
constexpr unsigned version2 = 1;
constexpr unsigned version3 = 2;

/// The fields of TBSCertificate ::= SEQUENCE { version [0] EXPLICIT, serialNumber, signature, issuer,
/// validity, subject, subjectPublicKeyInfo, issuerUniqueID [1] OPTIONAL, subjectUniqueID [2] OPTIONAL,
/// extensions [3] EXPLICIT OPTIONAL } (RFC 5280, section 4.1).
struct Outline {
    asn1::blob serialNumber; ///< Content.
    asn1::blob algorithm;
    asn1::blob issuer;
    asn1::blob notBefore;
    asn1::blob notAfter;
    asn1::blob subject;
    asn1::blob subjectPublicKeyInfo;
    asn1::blob extensions;   ///< Content of the list.
    asn1::blob uniqueIds[2]; ///< Contents, of issuer and subject.
    unsigned version = version1;

    bool read(detail::Reading& reading, asn1::blob tbs) {
        asn1::blob content, validity, wrapped;
        if (!detail::readOnly(reading, tbs, tag::sequence, &content))
            return false;
        detail::Level fields(reading, content);
        if (!takeVersion(fields) || !detail::takeInteger(fields, &serialNumber, "serialNumber") ||
            !detail::takeWhole(fields, tag::sequence, &algorithm, "signature") ||
            !detail::takeWhole(fields, tag::sequence, &issuer, "issuer") ||
            !detail::take(fields, tag::sequence, &validity, "validity") ||
            !(readValidity(reading, validity) || reading.isTolerant()) ||
            !detail::takeWhole(fields, tag::sequence, &subject, "subject") ||
            !detail::takeWhole(fields, tag::sequence, &subjectPublicKeyInfo, "subjectPublicKeyInfo"))
            return false;
        if (!takeUniqueIdentifiers(fields))
            return false;
        if (detail::isAt(fields, tag::constructed(3)) &&
            (!expectVersion(fields, version3) ||
             !detail::take(fields, tag::constructed(3), &wrapped, "extensions") ||
             !detail::readOnly(reading, wrapped, tag::sequence, &extensions, "extensions")))
            return false;
        return detail::finish(fields);
    }

private:
    /// Validity ::= SEQUENCE { notBefore Time, notAfter Time }
    bool readValidity(detail::Reading& reading, asn1::blob content) {
        detail::Reading::Step const step(reading, "validity");
        detail::Level times(reading, content);
        return takeAny(times, &notBefore, "notBefore") && takeAny(times, &notAfter, "notAfter") &&
               detail::finish(times);
    }

    /// Takes an element of any type. `readTime` checks it later: the names' diagnostics come first.
    static bool takeAny(detail::Level& level, asn1::blob* element, char const* field) {
        bool const isThere = !detail::atEnd(level) && level.tag != asn1::parser::errorTag;
        return detail::takeWhole(level, isThere ? level.tag : tag::utcTime, element, field);
    }

    /// version [0] EXPLICIT INTEGER DEFAULT v1
    bool takeVersion(detail::Level& fields) {
        detail::Reading& reading = fields.reading;
        asn1::blob const place(fields.tlvStart, fields.finish);
        asn1::blob wrapped;
        if (fields.tag != tag::integer) {
            if (!detail::take(fields, tag::constructed(0), &wrapped, "version"))
                return false;
            detail::Level number(reading, wrapped);
            if (!detail::takeUInt(number, &version, "version") || !detail::finish(number))
                return false;
        }
        if (version > version3)
            return reading.refuseUnlessTolerant(RefusalId::certificateVersion, place.start,
                                                versionFacts(version3));
        return version == version3 ||
               reading.refuseUnsupported(RefusalId::certificateVersion, place, versionFacts(version3));
    }

    std::vector<Fact> versionFacts(unsigned expected) const {
        auto const shown = [](unsigned number) { return std::to_string(std::uint64_t{number} + 1); };
        return {{"expected", shown(expected)}, {"found", shown(version)}};
    }

    /// Refuses a field that a later version introduced.
    bool expectVersion(detail::Level const& fields, unsigned first) const {
        return version >= first || fields.reading.refuseUnlessTolerant(RefusalId::certificateVersion,
                                                                       fields.tlvStart, versionFacts(first));
    }

    /// issuerUniqueID [1] and subjectUniqueID [2], IMPLICIT BIT STRING.
    bool takeUniqueIdentifiers(detail::Level& fields) {
        for (unsigned const number : {1u, 2u})
            if (unsigned const identifier = tag::primitive(number);
                fields.tag == identifier &&
                (!expectVersion(fields, version2) ||
                 !fields.reading.refuseUnsupported(RefusalId::uniqueIdentifiers,
                                                   asn1::blob(fields.tlvStart, fields.finish)) ||
                 !detail::take(fields, identifier, &uniqueIds[number - 1])))
                return false;
        return true;
    }
};

/// Whether an extension outside of id-ce is known but unused. It is ignored even if critical.
bool isIgnored(asn1::blob id) {
    static constexpr std::span<unsigned char const> ignored[] = {
        oid::authorityInfoAccess,
        oid::subjectInfoAccess,
        oid::signedCertificateTimestamps,
    };
    for (std::span<unsigned char const> known : ignored)
        if (asn1::blob(known) == id)
            return true;
    asn1::blob family(oid::netscapeCertificateExtensions);
    return id.size() > family.size() && id.pop_front(family.size()) == family;
}

using detail::Reading;

/// The value of an INTEGER's content, ignoring the sign. Larger values become the maximum.
unsigned toPathLength(asn1::blob content) {
    unsigned length = 0;
    for (unsigned char const octet : content) {
        if (length > std::numeric_limits<unsigned>::max() >> 8)
            return std::numeric_limits<unsigned>::max();
        length = length << 8 | octet;
    }
    return length;
}

// Each function reads one extension into the certificate.

bool readKeyUsage(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    return detail::readKeyUsage(reading, extension.value, &certificate.keyUsage);
}

bool readExtKeyUsage(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    return detail::readExtKeyUsage(reading, extension.value, &certificate.extKeyUsage);
}

bool readBasicConstraints(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    detail::BasicConstraintsFields constraints;
    if (!detail::readBasicConstraints(reading, extension.value, &constraints))
        return false;
    certificate.basicConstraints = constraints.isCa ? 1 : 2;
    if (constraints.pathLength.start != nullptr)
        certificate.setPathLength(toPathLength(constraints.pathLength));
    return true;
}

bool readSubjectKeyId(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    return detail::readKeyIdentifier(reading, extension.value, &certificate.subjectKeyId);
}

bool readAuthorityKeyId(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    return detail::readAuthorityKeyId(reading, extension.value, &certificate.authorityKeyId);
}

bool readSubjectAltName(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    return detail::readGeneralNames(reading, extension.value, &certificate.subjectAltNames);
}

bool readCrlDistributionPoints(Reading& reading, X509Certificate& certificate,
                               X509Extension const& extension) {
    return detail::readDistributionPoints(reading, extension.value, &certificate.crlDistributionPoints);
}

/// Notes that an extension, or a part of it, is not enforced. If it is critical, the certificate is refused.
bool isUnsupportedAccepted(Reading& reading, char const* what, X509Extension const& extension,
                           std::vector<Fact> facts = {}) {
    if (reading.isStated())
        reading.note("unsupported ext: " + std::string(what) +
                     ", critical: " + (extension.critical ? '1' : '0'));
    return !extension.critical || reading.refuseUnsupported(RefusalId::unsupportedCriticalConstraint,
                                                            extension.value, std::move(facts));
}

/// Reads the subtrees under the tag `field` and keeps the first.
bool readSubtrees(detail::Level& fields, unsigned field, char const* name, X509Extension const& extension,
                  GeneralName* constraint) {
    asn1::blob const place(fields.tlvStart, fields.finish);
    std::vector<GeneralName> subtrees;
    if (!detail::readSubtrees(fields, field, name, &subtrees))
        return false;
    if (subtrees.empty())
        return true;
    Reading& reading = fields.reading;
    if (subtrees.size() > 1) {
        Reading::Step const step(reading, name, 2);
        reading.note("multiple name contraints not supported");
        if (extension.critical && !reading.refuseUnsupported(RefusalId::severalSubtrees, place,
                                                             {{"subtrees", std::to_string(subtrees.size())}}))
            return false;
    }
    *constraint = std::move(subtrees.front());
    Reading::Step const step(reading, name, 1);
    return constraint->type == GeneralName::dnsName ||
           isUnsupportedAccepted(reading, "name constraints", extension,
                                 {{"supported", "DNS"}, {"found", constraint->typeStr()}});
}

/// NameConstraints ::= SEQUENCE { permittedSubtrees [0] OPTIONAL, excludedSubtrees [1] OPTIONAL }
bool readNameConstraints(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    asn1::blob content;
    if (!detail::readOnly(reading, extension.value, tag::sequence, &content))
        return false;
    detail::Level fields(reading, content);
    return readSubtrees(fields, tag::constructed(0), detail::permittedSubtree, extension,
                        &certificate.nameConstraintPermitted) &&
           readSubtrees(fields, tag::constructed(1), detail::excludedSubtree, extension,
                        &certificate.nameConstraintExcluded) &&
           detail::finish(fields);
}

bool readPolicyConstraints(Reading& reading, X509Certificate&, X509Extension const& extension) {
    return isUnsupportedAccepted(reading, "policy constraints", extension);
}

bool readInhibitAnyPolicy(Reading& reading, X509Certificate&, X509Extension const& extension) {
    return isUnsupportedAccepted(reading, "inhibit any policy", extension);
}

/// Ignores an extension that is known but unused, even if critical.
bool ignore(Reading&, X509Certificate&, X509Extension const&) { return true; }

/// The readers of the extensions in id-ce, 2.5.29 (RFC 5280, section 4.2.1), by the last arc.
constexpr struct {
    unsigned char arc;
    bool (*read)(Reading&, X509Certificate&, X509Extension const&);
} readers[] = {
    {oid::keyUsage[2], readKeyUsage},
    {oid::extKeyUsage[2], readExtKeyUsage},
    {oid::basicConstraints[2], readBasicConstraints},
    {oid::subjectKeyIdentifier[2], readSubjectKeyId},
    {oid::authorityKeyIdentifier[2], readAuthorityKeyId},
    {oid::subjectAltName[2], readSubjectAltName},
    {oid::crlDistributionPoints[2], readCrlDistributionPoints},
    {oid::nameConstraints[2], readNameConstraints},
    {oid::policyConstraints[2], readPolicyConstraints},
    {oid::inhibitAnyPolicy[2], readInhibitAnyPolicy},
    {oid::certificatePolicies[2], ignore},
    {oid::policyMappings[2], ignore},
    {oid::issuerAltName[2], ignore},
    {oid::freshestCrl[2], ignore},
    {oid::subjectDirectoryAttributes[2], ignore},
};

bool readExtension(Reading& reading, X509Certificate& certificate, X509Extension const& extension) {
    asn1::blob const id = extension.oid;
    if (id.size() == std::size(oid::keyUsage) && id[0] == oid::keyUsage[0] && id[1] == oid::keyUsage[1])
        for (auto const& reader : readers)
            if (reader.arc == id[2])
                return reader.read(reading, certificate, extension);
    if (isIgnored(extension.oid))
        return true;
    if (reading.isStated())
        reading.note("unknown ext id=" + oidStr(extension.oid));
    return !extension.critical ||
           reading.refuseUnsupported(RefusalId::unknownCriticalExtension, extension.oid);
}

// The encoders of extensions. Their result is empty if the extension is absent.

std::vector<unsigned char> encodeBasicConstraints(unsigned char basicConstraints,
                                                  std::optional<unsigned> pathLength) {
    if (basicConstraints == 0)
        return {};
    DerEncoder encoder;
    encoder.begin(tag::sequence);
    if (basicConstraints == 1) {
        encoder.addBool(tag::boolean, true);
        if (pathLength)
            encoder.addInteger(*pathLength);
    }
    return encoder.end().take();
}

std::vector<unsigned char> encodeConstraints(GeneralName const& permitted, GeneralName const& excluded) {
    NameSubtrees subtrees;
    if (permitted.type != GeneralName::none)
        subtrees.permitted = {permitted};
    if (excluded.type != GeneralName::none)
        subtrees.excluded = {excluded};
    return detail::encodeNameConstraints(subtrees);
}

/// Writes one point for each name, because several names in one point would be alternatives for the same CRL.
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

/// Whether all members can be encoded. An address in a name constraint is followed by its mask.
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

void X509Certificate::clear() {
    for (std::vector<unsigned char>* bytes :
         {&tbs, &signatureAlgorithm.oid, &signatureAlgorithm.params, &signature, &unpackedFrame,
          &serialNumber, &subjectPublicKeyInfo, &subjectKeyId, &authorityKeyId, &issuerElement,
          &subjectElement})
        bytes->clear();
    notBefore = notAfter = TimePoint();
    detail::clear(issuer);
    detail::clear(subject);
    selfSigned = false;
    keyUsage = extKeyUsage = basicConstraints = 0;
    subjectAltNames.clear();
    crlDistributionPoints.clear();
    nameConstraintPermitted = GeneralName();
    nameConstraintExcluded = GeneralName();
    ownExtensions.clear();
    maxPathLength.reset();
    unsupported.reset();
}

bool X509Certificate::parse(unsigned char const* data, unsigned len) {
    asn1::blob const der(data, len);
    Reading reading(der);
    return detail::read(reading, der, *this);
}

bool X509Certificate::parse(asn1::blob der, Refusal* refusal) {
    return parse(der, refusal, FormRules::platform);
}

bool X509Certificate::parse(asn1::blob der, Refusal* refusal, FormRules forms) {
    Reading reading(der, refusal, forms);
    auto const readInto = [&](asn1::blob bytes) { return detail::read(reading, bytes, *this); };
    return detail::readDerOrBer(reading, der, readInto) ||
           detail::refuseOtherKind(reading, InputKind::certificate, detail::findDerKind(der));
}

bool detail::readWithKeyInfo(Reading& reading, asn1::blob der, X509Certificate& to, asn1::blob* keyInfo) {
    SignedParts parts;
    Outline outline;
    if (!unpack(reading, der, to, &parts) || !outline.read(reading, parts.tbs) ||
        !isSameAlgorithm(reading, parts.algorithm, outline.algorithm))
        return false;
    if (!readField(reading, "issuer", readName, outline.issuer, to.issuer) ||
        !readField(reading, "notBefore", readTime, outline.notBefore, &to.notBefore) ||
        !readField(reading, "notAfter", readTime, outline.notAfter, &to.notAfter) ||
        !readField(reading, "subject", readName, outline.subject, to.subject))
        return false;
    assign(to.serialNumber, outline.serialNumber);
    assign(to.subjectPublicKeyInfo, outline.subjectPublicKeyInfo);
    *keyInfo = outline.subjectPublicKeyInfo;

    ExtensionList list;
    if (!readExtensions(reading, outline.extensions, &list) || !readEach(reading, list, to, readExtension))
        return false;
    to.selfSigned = outline.issuer == outline.subject &&
                    (to.authorityKeyId.empty() || to.authorityKeyId == to.subjectKeyId);
    return true;
}

bool detail::read(Reading& reading, asn1::blob der, X509Certificate& to) {
    to.clear();
    asn1::blob keyInfo;
    reading.takeMark();
    if (!readWithKeyInfo(reading, der, to, &keyInfo))
        return false;
    if (reading.takeMark()) {
        auto refusal = std::make_shared<Refusal>();
        X509Certificate().parse(der, refusal.get());
        to.unsupported = std::move(refusal);
    }
    return true;
}

bool parseCertificateOutline(asn1::blob der, CertificateOutline* to) {
    *to = {};
    Reading reading{Reading::Tolerant()};
    detail::SignedParts parts;
    asn1::blob content;
    Outline outline;
    if (!detail::readParts(reading, der, &parts, &content))
        return false;
    outline.read(reading, parts.tbs);
    detail::setOutline(parts, outline.algorithm, outline.extensions, to);
    to->version = outline.version + 1;
    to->serialNumber = outline.serialNumber;
    to->issuer = outline.issuer;
    to->notBefore = outline.notBefore;
    to->notAfter = outline.notAfter;
    to->subject = outline.subject;
    to->subjectPublicKeyInfo = outline.subjectPublicKeyInfo;
    to->issuerUniqueId = bitStringContent(outline.uniqueIds[0]);
    to->subjectUniqueId = bitStringContent(outline.uniqueIds[1]);
    return !to->issuer.empty();
}

std::unique_ptr<PublicKey> X509Certificate::parsePublicKey() const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo);
}

std::unique_ptr<PublicKey> X509Certificate::parsePublicKey(Refusal* refusal) const {
    return parsePkcs8PublicKey(subjectPublicKeyInfo, refusal);
}

void X509Certificate::setPublicKey(PublicKey const& key) { subjectPublicKeyInfo = encodePkcs8PublicKey(key); }

bool X509Certificate::setIssuer(asn1::blob name) { return detail::takeName(name, &issuer, &issuerElement); }

bool X509Certificate::setSubject(asn1::blob name) {
    return detail::takeName(name, &subject, &subjectElement);
}

bool X509Certificate::setExtension(asn1::blob oid, bool critical, asn1::blob value) {
    bool const isExtKeyUsage = oid == asn1::blob(oid::extKeyUsage);
    bool const isNameConstraints = oid == asn1::blob(oid::nameConstraints);
    X509Certificate said;
    Reading silent;
    if ((isExtKeyUsage || isNameConstraints) && !value.empty() &&
        !readExtension(silent, said, {oid, critical, value}))
        return false;
    static constexpr std::span<unsigned char const> ofMembers[] = {
        oid::basicConstraints,       oid::keyUsage,       oid::subjectKeyIdentifier,
        oid::authorityKeyIdentifier, oid::subjectAltName, oid::crlDistributionPoints};
    if (std::ranges::any_of(ofMembers, [&](asn1::blob other) { return other == oid; }))
        return false;
    if (isExtKeyUsage)
        extKeyUsage = said.extKeyUsage;
    if (isNameConstraints) {
        nameConstraintPermitted = said.nameConstraintPermitted;
        nameConstraintExcluded = said.nameConstraintExcluded;
    }
    std::erase_if(ownExtensions, [&](OwnExtension const& own) { return asn1::blob(own.oid) == oid; });
    ownExtensions.push_back({detail::copyOf(oid), critical, detail::copyOf(value)});
    return true;
}

std::vector<X509Extension> X509Certificate::keptExtensions() const {
    std::vector<X509Extension> kept = extensions();
    for (OwnExtension const& own : ownExtensions) {
        std::erase_if(kept,
                      [&](X509Extension const& extension) { return extension.oid == asn1::blob(own.oid); });
        if (!own.value.empty())
            kept.push_back({own.oid, own.critical, own.value});
    }
    return kept;
}

std::vector<unsigned char> X509Certificate::serializeExtensions() const {
    std::vector<X509Extension> const before = keptExtensions();
    Reading silent;
    X509Certificate was;
    for (X509Extension const& extension : before)
        readExtension(silent, was, extension);

    detail::ExtensionWriter list(before);
    list.add(oid::basicConstraints,
             basicConstraints == was.basicConstraints && maxPathLength == was.maxPathLength, true,
             encodeBasicConstraints(basicConstraints, maxPathLength));
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
             true, encodeConstraints(nameConstraintPermitted, nameConstraintExcluded));
    list.add(oid::crlDistributionPoints, detail::isSame(crlDistributionPoints, was.crlDistributionPoints),
             false, encodeCrlDistributionPoints(crlDistributionPoints));
    return list.finish();
}

bool X509Certificate::updateTbs(PrivateKey const& key, HashID hash) {
    AlgorithmIdentifier const algorithm = detail::signatureAlgorithmOf(key, hash);
    Reading silent;
    asn1::blob keyInfo;
    if (algorithm.oid.empty() || serialNumber.empty() ||
        !detail::readOnly(silent, subjectPublicKeyInfo, tag::sequence, &keyInfo) ||
        !hasWritableExtensions(*this))
        return false;
    Outline before;
    if (!before.read(silent, tbs))
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
    Reading silent;
    asn1::blob content, algorithm, key;
    if (!detail::readOnly(silent, subjectPublicKeyInfo, tag::sequence, &content))
        return {};
    detail::Level fields(silent, content);
    if (!detail::take(fields, tag::sequence, &algorithm) || !detail::take(fields, tag::bitString, &key) ||
        !detail::atEnd(fields) || key.empty())
        return {};
    return calcDigest(HashID::SHA1, bitStringContent(key));
}

asn1::blob getKeyAlgorithm(asn1::blob subjectPublicKeyInfo) {
    Reading silent;
    detail::Level fields(silent, subjectPublicKeyInfo);
    asn1::blob algorithm;
    return detail::enter(fields, tag::sequence) && detail::enter(fields, tag::sequence) &&
                   detail::take(fields, tag::oid, &algorithm)
               ? algorithm
               : asn1::blob();
}

asn1::blob X509Certificate::issuerBytes() const {
    Reading silent;
    Outline outline;
    return outline.read(silent, tbs) ? outline.issuer : asn1::blob();
}

asn1::blob X509Certificate::subjectBytes() const {
    Reading silent;
    Outline outline;
    return outline.read(silent, tbs) ? outline.subject : asn1::blob();
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

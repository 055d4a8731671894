#include "x509/extension_values.h"

#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"

namespace detail {

namespace {

/// Calls `read(content, number)` for each SEQUENCE in the SEQUENCE `value`.
template <typename Read>
bool readSequences(Reading& reading, asn1::blob value, Read read) {
    asn1::blob list, content;
    if (!readOnly(reading, value, tag::sequence, &list))
        return false;
    Level elements(reading, list);
    for (size_t number = 1; !atEnd(elements); number++)
        if (!take(elements, tag::sequence, &content) || !read(content, number))
            return false;
    return true;
}

/// The identifiers of CertificatePolicies.
bool readPolicyIdentifiers(Reading& reading, asn1::blob value, ObjectIdentifiers* to) {
    return readPolicies(reading, value, [&](asn1::blob oid, asn1::blob) {
        to->oids.push_back(oid);
        return true;
    });
}

bool keepBasicConstraints(Reading& reading, asn1::blob value, BasicConstraints* to) {
    BasicConstraintsFields fields;
    bool const isGood = readBasicConstraints(reading, value, &fields);
    to->isCa = fields.isCa;
    if (fields.pathLength.start != nullptr)
        to->pathLength = copyOf(fields.pathLength);
    return isGood;
}

bool readAnyNameConstraints(Reading& reading, asn1::blob value, NameSubtrees* to) {
    return readNameConstraints(reading, value, to, SubtreeBounds::ignored);
}

/// AuthorityInfoAccessSyntax ::= SEQUENCE OF SEQUENCE { accessMethod OBJECT IDENTIFIER, accessLocation
/// GeneralName }
bool readAccess(Reading& reading, asn1::blob value, std::vector<AccessDescription>* to) {
    return readSequences(reading, value, [&](asn1::blob content, size_t number) {
        Reading::Step const step(reading, "access description", number);
        Level fields(reading, content);
        AccessDescription& description = to->emplace_back();
        asn1::blob method;
        if (!take(fields, tag::oid, &method, "accessMethod") ||
            !takeGeneralName(fields, &description.location, "accessLocation"))
            return false;
        description.method = copyOf(method);
        return finish(fields);
    });
}

} // namespace

/// BasicConstraints ::= SEQUENCE { cA BOOLEAN DEFAULT FALSE, pathLenConstraint INTEGER OPTIONAL }
bool readBasicConstraints(Reading& reading, asn1::blob value, BasicConstraintsFields* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (fields.tag == tag::boolean && !takeBoolean(fields, &to->isCa, "cA"))
        return false;
    if (fields.tag == tag::integer)
        to->pathLength = fields.take();
    return finish(fields);
}

bool readExtendedKeyUsage(Reading& reading, asn1::blob value, ObjectIdentifiers* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level elements(reading, content);
    while (!atEnd(elements))
        if (!take(elements, tag::oid, &to->oids.emplace_back()))
            return false;
    return true;
}

/// CertificatePolicies ::= SEQUENCE OF SEQUENCE { policyIdentifier OBJECT IDENTIFIER, policyQualifiers
/// OPTIONAL }
bool readPolicies(Reading& reading, asn1::blob value,
                  std::function<bool(asn1::blob oid, asn1::blob qualifiers)> const& use) {
    return readSequences(reading, value, [&](asn1::blob content, size_t number) {
        Reading::Step const step(reading, "policy", number);
        Level fields(reading, content);
        asn1::blob oid, qualifiers;
        if (!take(fields, tag::oid, &oid, "policyIdentifier"))
            return false;
        if (fields.tag == tag::sequence)
            qualifiers = fields.takeWhole();
        return finish(fields) && use(oid, qualifiers);
    });
}

/// GeneralSubtree ::= SEQUENCE { base GeneralName, minimum [0] DEFAULT 0, maximum [1] OPTIONAL }
bool readSubtrees(Level& fields, unsigned field, char const* name, std::vector<GeneralName>* to,
                  SubtreeBounds bounds) {
    if (fields.tag != field)
        return true;
    Reading& reading = fields.reading;
    asn1::blob list, content;
    if (!take(fields, field, &list, name))
        return false;
    Level subtrees(reading, list);
    for (size_t number = 1; number == 1 || !atEnd(subtrees); number++) {
        if (!take(subtrees, tag::sequence, &content, name))
            return false;
        Reading::Step const step(reading, name, number);
        Level subtree(reading, content);
        if (!takeGeneralName(subtree, &to->emplace_back()))
            return false;
        bool const isRefused = bounds == SubtreeBounds::refused;
        static constexpr unsigned char zero[] = {0};
        if (isRefused && subtree.tag == tag::primitive(0) && subtree.value() != asn1::blob(zero))
            return refuseField(reading, "minimum", RefusalId::numberOutOfRange, subtree.tlvStart);
        skipOptional(subtree, tag::primitive(0));
        if (isRefused && subtree.tag == tag::primitive(1))
            return refuseField(reading, "maximum", RefusalId::numberOutOfRange, subtree.tlvStart);
        skipOptional(subtree, tag::primitive(1));
        if (!finish(subtree))
            return false;
    }
    return true;
}

bool readNameConstraints(Reading& reading, asn1::blob value, NameSubtrees* to, SubtreeBounds bounds) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    return readSubtrees(fields, tag::constructed(0), permittedSubtree, &to->permitted, bounds) &&
           readSubtrees(fields, tag::constructed(1), excludedSubtree, &to->excluded, bounds) &&
           finish(fields);
}

/// CRLDistributionPoints ::= SEQUENCE OF SEQUENCE { distributionPoint [0] OPTIONAL, reasons [1] OPTIONAL,
/// cRLIssuer [2] OPTIONAL }
bool readDistributionPoints(Reading& reading, asn1::blob value,
                            std::function<bool(DistributionPointFields const&)> const& use) {
    return readSequences(reading, value, [&](asn1::blob content, size_t number) {
        Reading::Step const step(reading, "distribution point", number);
        Level fields(reading, content);
        DistributionPointFields point;
        if (fields.tag == tag::constructed(0) && !take(fields, tag::constructed(0), &point.name))
            return false;
        if (fields.tag == tag::primitive(1))
            point.reasons = fields.take();
        if (fields.tag == tag::constructed(2))
            point.crlIssuer = fields.take();
        // An error in the point takes precedence over one after it.
        return use(point) && finish(fields);
    });
}

bool readDistributionPointName(Reading& reading, asn1::blob name, std::vector<GeneralName>* names,
                               asn1::blob* relative) {
    Level choice(reading, name);
    if (atEnd(choice))
        return refuseElement(choice, tag::constructed(0), "fullName");
    if (choice.tag == tag::constructed(0))
        return appendGeneralNames(reading, choice.take(), names) && finish(choice);
    if (choice.tag == tag::constructed(1) && relative != nullptr) {
        *relative = choice.take();
        return finish(choice);
    }
    unsigned const other = choice.tag;
    choice.next();
    if (!finish(choice))
        return false;
    if (reading.isStated())
        reading.note("unsupported attribute: " + std::to_string(other) + " in CRL DistributionPoint");
    return true;
}

unsigned readNamedBits(asn1::blob content) {
    constexpr size_t maxBits = 16;
    asn1::blob const octets = bitStringContent(content);
    unsigned bits = 0;
    for (size_t bit = 0; bit < maxBits && bit / 8 < octets.size(); bit++)
        if (octets[bit / 8] & 0x80u >> bit % 8)
            bits |= 1u << bit;
    return bits;
}

namespace {

/// Takes a BOOLEAN DEFAULT FALSE with an IMPLICIT tag.
bool takeFlag(Level& fields, unsigned number, bool* flag) {
    asn1::blob content;
    if (fields.tag != tag::primitive(number))
        return true;
    if (!take(fields, tag::primitive(number), &content))
        return false;
    *flag = content.size() == 1 && content[0] != 0;
    return content.size() == 1 ||
           refuseField(fields.reading, nullptr, RefusalId::malformedBoolean, content.start);
}

} // namespace

/// IssuingDistributionPoint ::= SEQUENCE { distributionPoint [0] OPTIONAL, onlyContainsUserCerts [1] DEFAULT
/// FALSE, onlyContainsCACerts [2] DEFAULT FALSE, onlySomeReasons [3] OPTIONAL, indirectCRL [4] DEFAULT FALSE,
/// onlyContainsAttributeCerts [5] DEFAULT FALSE }
bool readIssuingDistributionPoint(Reading& reading, asn1::blob value, IssuingDistributionPointFields* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    auto const takeOptional = [&](unsigned wanted, asn1::blob* field, char const* name) {
        return fields.tag != wanted || take(fields, wanted, field, name);
    };
    return takeOptional(tag::constructed(0), &to->point.name, "distributionPoint") &&
           takeFlag(fields, 1, &to->onlyUserCertificates) && takeFlag(fields, 2, &to->onlyCaCertificates) &&
           takeOptional(tag::primitive(3), &to->point.reasons, "onlySomeReasons") &&
           takeFlag(fields, 4, &to->isIndirect) && takeFlag(fields, 5, &to->onlyAttributeCertificates) &&
           finish(fields);
}

/// PolicyMappings ::= SEQUENCE SIZE (1..MAX) OF SEQUENCE { issuerDomainPolicy, subjectDomainPolicy }
bool readPolicyMappings(Reading& reading, asn1::blob value, std::vector<EquivalentPolicies>* to) {
    asn1::blob list, content;
    if (!readOnly(reading, value, tag::sequence, &list))
        return false;
    Level elements(reading, list);
    do {
        if (!take(elements, tag::sequence, &content))
            return false;
        Reading::Step const step(reading, "mapping", to->size() + 1);
        Level fields(reading, content);
        EquivalentPolicies& mapping = to->emplace_back();
        if (!take(fields, tag::oid, &mapping.issuerDomain, "issuerDomainPolicy") ||
            !take(fields, tag::oid, &mapping.subjectDomain, "subjectDomainPolicy") || !finish(fields))
            return false;
    } while (!atEnd(elements));
    return true;
}

/// PolicyConstraints ::= SEQUENCE { requireExplicitPolicy [0] OPTIONAL, inhibitPolicyMapping [1] OPTIONAL },
/// which must not be empty.
bool readPolicyConstraints(Reading& reading, asn1::blob value, PolicyConstraintNumbers* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (atEnd(fields))
        return refuseElement(fields, tag::primitive(0), "requireExplicitPolicy");
    auto const takeOptional = [&](unsigned field, std::optional<asn1::blob>* number) {
        return fields.tag != field || take(fields, field, &number->emplace());
    };
    return takeOptional(tag::primitive(0), &to->requireExplicitPolicy) &&
           takeOptional(tag::primitive(1), &to->inhibitPolicyMapping) && finish(fields);
}

bool readDistributionPoints(Reading& reading, asn1::blob value, std::vector<GeneralName>* to) {
    return readDistributionPoints(reading, value, [&](DistributionPointFields const& point) {
        return point.name.start == nullptr || readDistributionPointName(reading, point.name, to, nullptr);
    });
}

bool readKeyIdentifier(Reading& reading, asn1::blob value, std::vector<unsigned char>* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::octetString, &content))
        return false;
    *to = copyOf(content);
    return true;
}

bool readAuthorityKeyId(Reading& reading, asn1::blob value, std::vector<unsigned char>* to) {
    asn1::blob content;
    if (!readOnly(reading, value, tag::sequence, &content))
        return false;
    Level fields(reading, content);
    if (fields.tag == tag::primitive(0))
        *to = copyOf(fields.take());
    skipOptional(fields, tag::constructed(1)); // authorityCertIssuer
    skipOptional(fields, tag::primitive(2));   // authorityCertSerialNumber
    return finish(fields);
}

bool readCrlNumber(Reading& reading, asn1::blob value, std::vector<unsigned char>* to) {
    Level number(reading, value);
    asn1::blob content;
    if (!takeInteger(number, &content) || !finish(number))
        return false;
    *to = copyOf(content);
    return true;
}

} // namespace detail

bool parseBasicConstraints(asn1::blob value, BasicConstraints* to, Refusal* refusal) {
    return detail::parse(detail::keepBasicConstraints, value, to, refusal);
}

bool parseNameConstraints(asn1::blob value, NameSubtrees* to, Refusal* refusal) {
    return detail::parse(detail::readAnyNameConstraints, value, to, refusal);
}

bool parseGeneralNames(asn1::blob value, std::vector<GeneralName>* to, Refusal* refusal) {
    return detail::parse(detail::readGeneralNames, value, to, refusal);
}

bool parseKeyUsage(asn1::blob value, unsigned* to, Refusal* refusal) {
    return detail::parse(detail::readKeyUsage, value, to, refusal);
}

bool parseExtendedKeyUsage(asn1::blob value, ObjectIdentifiers* to, Refusal* refusal) {
    return detail::parse(detail::readExtendedKeyUsage, value, to, refusal);
}

bool parseCertificatePolicies(asn1::blob value, ObjectIdentifiers* to, Refusal* refusal) {
    return detail::parse(detail::readPolicyIdentifiers, value, to, refusal);
}

bool parseAccessDescriptions(asn1::blob value, std::vector<AccessDescription>* to, Refusal* refusal) {
    return detail::parse(detail::readAccess, value, to, refusal);
}

bool parseDistributionPoints(asn1::blob value, std::vector<GeneralName>* to, Refusal* refusal) {
    return detail::parse(detail::readDistributionPoints, value, to, refusal);
}

bool parseKeyIdentifier(asn1::blob value, std::vector<unsigned char>* to, Refusal* refusal) {
    return detail::parse(detail::readKeyIdentifier, value, to, refusal);
}

bool parseAuthorityKeyId(asn1::blob value, std::vector<unsigned char>* to, Refusal* refusal) {
    return detail::parse<std::vector<unsigned char>>(detail::readAuthorityKeyId, value, to, refusal);
}

bool parseCrlNumber(asn1::blob value, std::vector<unsigned char>* to, Refusal* refusal) {
    return detail::parse(detail::readCrlNumber, value, to, refusal);
}

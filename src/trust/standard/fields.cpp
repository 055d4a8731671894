#include "trust/standard/fields.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/view.h"
#include "trust/standard/name.h"
#include "x509/extension_values.h"
#include "x509/extensions.h"
#include "x509/general_names.h"
#include "x509/key_usage.h"

#include <algorithm>
#include <limits>
#include <span>
#include <string_view>

namespace detail {

namespace {

/// The version of a TBSCertificate: [0] EXPLICIT INTEGER DEFAULT v1.
unsigned readVersion(asn1::blob tbs) {
    Reading silent;
    asn1::blob content;
    unsigned number = 0;
    if (!readOnly(silent, tbs, tag::sequence, &content))
        return 1;
    Level fields(silent, content);
    if (fields.tag != tag::constructed(0))
        return 1;
    Level wrapped(silent, fields.value());
    return takeUInt(wrapped, &number) && number <= 2 ? number + 1 : 1;
}

/// The content of an INTEGER that counts certificates. A negative number is malformed, and a number that is
/// too large becomes the maximum.
bool readCount(Reading& reading, asn1::blob content, std::optional<unsigned>* to) {
    if (content.empty())
        return reading.refuse(RefusalId::emptyInteger, content);
    if (content[0] & 0x80)
        return reading.refuse(RefusalId::numberOutOfRange, content);
    unsigned count = 0;
    for (unsigned char const octet : content) {
        if (count > std::numeric_limits<unsigned>::max() >> 8) {
            count = std::numeric_limits<unsigned>::max();
            break;
        }
        count = count << 8 | octet;
    }
    *to = count;
    return true;
}

// Each function reads one extension into the fields.

bool readConstraints(Reading& reading, CertificateFields& to, asn1::blob value) {
    BasicConstraintsFields constraints;
    if (!readBasicConstraints(reading, value, &constraints))
        return false;
    if (constraints.pathLength.start != nullptr &&
        !readCount(reading, constraints.pathLength, &to.pathLength))
        return false;
    to.isCa = constraints.isCa;
    return true;
}

bool readUsage(Reading& reading, CertificateFields& to, asn1::blob value) {
    unsigned bits = 0;
    if (!readKeyUsage(reading, value, &bits))
        return false;
    to.keyUsage = bits;
    return true;
}

bool readPurposes(Reading& reading, CertificateFields& to, asn1::blob value) {
    ObjectIdentifiers purposes;
    if (!readExtendedKeyUsage(reading, value, &purposes))
        return false;
    to.extendedKeyUsage = std::move(purposes.oids);
    return true;
}

/// A policy must occur only once (RFC 5280, section 4.2.1.4).
bool hasRepeatedPolicy(std::vector<PolicyInformation> const& policies) {
    std::vector<std::string_view> oids;
    oids.reserve(policies.size());
    for (PolicyInformation const& policy : policies)
        oids.push_back(viewOf(policy.oid));
    std::ranges::sort(oids);
    return std::ranges::adjacent_find(oids) != oids.end();
}

bool readCertificatePolicies(Reading& reading, CertificateFields& to, asn1::blob value) {
    to.hasPolicies = true;
    bool const isRead = readPolicies(reading, value, [&](asn1::blob oid, asn1::blob qualifiers) {
        to.policies.push_back({oid, qualifiers});
        return true;
    });
    if (!isRead)
        return false;
    if (to.policies.empty())
        return reading.refuse(RefusalId::missingElement, value, {{"expected", "a policy"}});
    return !hasRepeatedPolicy(to.policies) ||
           reading.refuse(RefusalId::malformedExtension, value, {{"problem", "a policy occurs twice"}});
}

bool readMappings(Reading& reading, CertificateFields& to, asn1::blob value) {
    return readPolicyMappings(reading, value, &to.policyMappings);
}

bool readPolicyNumbers(Reading& reading, CertificateFields& to, asn1::blob value) {
    PolicyConstraintNumbers numbers;
    auto const count = [&](std::optional<asn1::blob> const& number, std::optional<unsigned>* counted) {
        return !number || readCount(reading, *number, counted);
    };
    return readPolicyConstraints(reading, value, &numbers) &&
           count(numbers.requireExplicitPolicy, &to.policyConstraints.requireExplicit) &&
           count(numbers.inhibitPolicyMapping, &to.policyConstraints.inhibitMapping);
}

bool readInhibitAnyPolicy(Reading& reading, CertificateFields& to, asn1::blob value) {
    asn1::blob content;
    return readOnly(reading, value, tag::integer, &content) &&
           readCount(reading, content, &to.inhibitAnyPolicy);
}

bool readSubtrees(Reading& reading, CertificateFields& to, asn1::blob value) {
    return readNameConstraints(reading, value, &to.constraints, SubtreeBounds::refused);
}

bool readPoints(Reading& reading, std::vector<DistributionPoint>& to, asn1::blob value) {
    return readDistributionPoints(reading, value, [&](DistributionPointFields const& fields) {
        DistributionPoint& point = to.emplace_back();
        if (fields.name.start != nullptr && !readDistributionPointName(reading, fields.name, &point))
            return false;
        if (fields.reasons.start != nullptr)
            point.reasons = readReasons(fields.reasons);
        return fields.crlIssuer.start == nullptr ||
               appendGeneralNames(reading, fields.crlIssuer, &point.crlIssuer);
    });
}

bool readCrlPoints(Reading& reading, CertificateFields& to, asn1::blob value) {
    return readPoints(reading, to.distributionPoints, value);
}

bool readDeltaPoints(Reading& reading, CertificateFields& to, asn1::blob value) {
    return readPoints(reading, to.freshestCrls, value);
}

struct ExtensionReader {
    std::span<unsigned char const> oid;
    /// Null if `X509Certificate` has the value.
    bool (*read)(Reading&, CertificateFields&, asn1::blob value);
};

/// The extensions that the standard rules process.
constexpr ExtensionReader readers[] = {
    {oid::basicConstraints, readConstraints},
    {oid::keyUsage, readUsage},
    {oid::extKeyUsage, readPurposes},
    {oid::subjectAltName, nullptr},
    {oid::subjectKeyIdentifier, nullptr},
    {oid::authorityKeyIdentifier, nullptr},
    {oid::certificatePolicies, readCertificatePolicies},
    {oid::policyMappings, readMappings},
    {oid::policyConstraints, readPolicyNumbers},
    {oid::inhibitAnyPolicy, readInhibitAnyPolicy},
    {oid::nameConstraints, readSubtrees},
    {oid::crlDistributionPoints, readCrlPoints},
    {oid::freshestCrl, readDeltaPoints},
};

/// The canonical form of a name. `field` is its name in refusals.
std::string readName(Reading& reading, char const* field, asn1::blob name) {
    std::string form = canonicalName(name);
    if (isMalformedName(form))
        refuseField(reading, field, RefusalId::malformedName, name.start);
    return form;
}

} // namespace

bool readDistributionPointName(Reading& reading, asn1::blob name, DistributionPoint* to) {
    return readDistributionPointName(reading, name, &to->fullNames, &to->relativeName);
}

unsigned readReasons(asn1::blob content) {
    constexpr unsigned namedBits = 0x1FF;
    return readNamedBits(content) & namedBits;
}

CertificateFields::CertificateFields(X509Certificate const& from)
    : certificate(&from), version(readVersion(from.tbs)), extensions(from.extensions()) {
    Refusal refusal;
    Reading reading(from.tbs, &refusal);
    asn1::blob const issuerName = from.issuerBytes(), subjectName = from.subjectBytes();
    issuer = readName(reading, "issuer", issuerName);
    subject = issuerName == subjectName ? issuer : readName(reading, "subject", subjectName);
    isSelfIssued = issuer == subject;
    isSubjectEmpty = subject.empty();

    size_t number = 0;
    for (X509Extension const& extension : extensions) {
        Reading::Step const step = extensionStep(reading, ++number, extension.oid);
        auto const reader = std::ranges::find_if(
            readers, [&](ExtensionReader const& each) { return asn1::blob(each.oid) == extension.oid; });
        if (reader == std::end(readers)) {
            if (extension.critical && unknownCritical.empty())
                unknownCritical = extension.oid;
        } else if (reader->read != nullptr) {
            reader->read(reading, *this, extension.value);
        }
    }
    if (refusal) {
        // The offset is relative to `tbs` and would be mistaken for one in the certificate.
        refusal.offset = Refusal::nowhere;
        malformed = std::move(refusal);
    }
}

X509Extension const* CertificateFields::find(asn1::blob oid) const {
    auto const found = std::ranges::find(extensions, oid, &X509Extension::oid);
    return found == extensions.end() ? nullptr : &*found;
}

} // namespace detail

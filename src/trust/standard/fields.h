// What the standard rules ask of one certificate, decoded from the signed bytes once.
#pragma once

#include "base/reading.h"
#include "sealkit/extensions.h"
#include "sealkit/x509.h"

#include <optional>
#include <string>
#include <vector>

namespace detail {

/// One element of certificatePolicies.
struct PolicyInformation {
    asn1::blob oid;        ///< Content octets.
    asn1::blob qualifiers; ///< The whole SEQUENCE; empty if absent.
};

/// requireExplicitPolicy and inhibitPolicyMapping; larger numbers read as the largest.
struct PolicyConstraints {
    std::optional<unsigned> requireExplicit;
    std::optional<unsigned> inhibitMapping;
};

/// One DistributionPoint of cRLDistributionPoints or freshestCRL, or that of an issuingDistributionPoint (RFC
/// 5280, sections 4.2.1.13 and 5.2.5).
struct DistributionPoint {
    std::vector<GeneralName> fullNames;
    asn1::blob relativeName; ///< Content of nameRelativeToCRLIssuer, a SET of attributes; empty if absent.
    std::optional<unsigned> reasons;    ///< Bit i is the named bit i of ReasonFlags. Nothing: all reasons.
    std::vector<GeneralName> crlIssuer; ///< Empty if absent.
};

/// DistributionPointName, its whole encoding, as `fullNames` or `relativeName`.
bool readDistributionPointName(Reading& reading, asn1::blob name, DistributionPoint* to);
/// Content of a BIT STRING of ReasonFlags (RFC 5280, section 4.2.1.13) as `DistributionPoint::reasons` has
/// them.
unsigned readReasons(asn1::blob content);

/// Views are into the `tbs` of the certificate, which must outlive this and not change.
struct CertificateFields {
    explicit CertificateFields(X509Certificate const& certificate);

    X509Certificate const* certificate;
    unsigned version = 1;
    std::string issuer;  ///< `canonicalName`
    std::string subject; ///< `canonicalName`
    bool isSelfIssued = false;
    bool isSubjectEmpty = false;
    std::vector<X509Extension> extensions;
    bool isCa = false;
    std::optional<unsigned> pathLength;
    std::optional<unsigned> keyUsage; ///< Bits of `KeyUsage`; nothing if the extension is absent.
    std::optional<std::vector<asn1::blob>>
        extendedKeyUsage; ///< Content octets; nothing if the extension is absent.
    std::vector<PolicyInformation> policies;
    bool hasPolicies = false;
    std::vector<EquivalentPolicies> policyMappings;
    PolicyConstraints policyConstraints;
    std::optional<unsigned> inhibitAnyPolicy;
    NameSubtrees constraints; ///< With an unsupported minimum or maximum, `malformed` says so.
    std::vector<DistributionPoint> distributionPoints;
    std::vector<DistributionPoint> freshestCrls;

    /// The first name or extension that cannot be read, and why. The members above then miss it.
    std::optional<Refusal> malformed;
    /// The first critical extension that the standard rules do not process; empty otherwise.
    asn1::blob unknownCritical;

    X509Extension const* find(asn1::blob oid) const;
};

} // namespace detail

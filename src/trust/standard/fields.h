// The fields of one certificate that the standard rules use, decoded once from the signed bytes.
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

/// requireExplicitPolicy and inhibitPolicyMapping; numbers that are too large become the maximum.
struct PolicyConstraints {
    std::optional<unsigned> requireExplicit;
    std::optional<unsigned> inhibitMapping;
};

/// A DistributionPoint of cRLDistributionPoints or freshestCRL, or that of an issuingDistributionPoint (RFC
/// 5280, sections 4.2.1.13 and 5.2.5).
struct DistributionPoint {
    std::vector<GeneralName> fullNames;
    asn1::blob relativeName; ///< Content of nameRelativeToCRLIssuer, a SET of attributes; empty if absent.
    std::optional<unsigned> reasons; ///< Bit i is the named bit i of ReasonFlags. Nothing means all reasons.
    std::vector<GeneralName> crlIssuer; ///< Empty if absent.
};

/// Reads a whole DistributionPointName as `fullNames` or `relativeName`.
bool readDistributionPointName(Reading& reading, asn1::blob name, DistributionPoint* to);
/// Converts the content of a BIT STRING of ReasonFlags (RFC 5280, section 4.2.1.13) to
/// `DistributionPoint::reasons`.
unsigned readReasons(asn1::blob content);

/// Has views into the `tbs` of the certificate, which must outlive it unchanged.
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
    std::optional<std::vector<asn1::blob>> extendedKeyUsage; ///< Content octets; nothing if absent.
    std::vector<PolicyInformation> policies;
    bool hasPolicies = false;
    std::vector<EquivalentPolicies> policyMappings;
    PolicyConstraints policyConstraints;
    std::optional<unsigned> inhibitAnyPolicy;
    NameSubtrees constraints; ///< An unsupported minimum or maximum is recorded in `malformed`.
    std::vector<DistributionPoint> distributionPoints;
    std::vector<DistributionPoint> freshestCrls;

    /// The first malformed name or extension, and why. The fields above do not include it.
    std::optional<Refusal> malformed;
    /// The first critical extension that the standard rules do not process, or empty.
    asn1::blob unknownCritical;

    X509Extension const* find(asn1::blob oid) const;
};

} // namespace detail

/// The values of extensions as structures (RFC 5280, section 4.2).
///
/// | function                            | extension                                          | standard           |
/// | ----------------------------------- | -------------------------------------------------- | ------------------ |
/// | `parseBasicConstraints`             | basicConstraints                                   | RFC 5280, 4.2.1.9  |
/// | `parseNameConstraints`              | nameConstraints, all subtrees                      | RFC 5280, 4.2.1.10 |
/// | `parseGeneralNames`                 | subjectAltName, issuerAltName, certificateIssuer   | RFC 5280, 4.2.1.6  |
/// | `parseKeyUsage`                     | keyUsage                                           | RFC 5280, 4.2.1.3  |
/// | `parseExtendedKeyUsage`             | extKeyUsage, including unknown usages              | RFC 5280, 4.2.1.12 |
/// | `parseCertificatePolicies`          | certificatePolicies, with or without qualifiers    | RFC 5280, 4.2.1.4  |
/// | `parsePolicyMappings`               | policyMappings                                     | RFC 5280, 4.2.1.5  |
/// | `parsePolicyConstraints`            | policyConstraints                                  | RFC 5280, 4.2.1.11 |
/// | `parseIntegerValue`                 | inhibitAnyPolicy, deltaCRLIndicator                | RFC 5280, 4.2.1.14 |
/// | `parseAccessDescriptions`           | authorityInfoAccess, subjectInfoAccess             | RFC 5280, 4.2.2    |
/// | `parseDistributionPoints`           | cRLDistributionPoints, freshestCRL                 | RFC 5280, 4.2.1.13 |
/// | `parseIssuingDistributionPoint`     | issuingDistributionPoint                           | RFC 5280, 5.2.5    |
/// | `parseKeyIdentifier`                | subjectKeyIdentifier                               | RFC 5280, 4.2.1.2  |
/// | `parseAuthorityKeyId`               | authorityKeyIdentifier                             | RFC 5280, 4.2.1.1  |
/// | `parseCrlNumber`                    | cRLNumber                                          | RFC 5280, 5.2.3    |
/// | `parseReasonCode`                   | reasonCode                                         | RFC 5280, 5.3.1    |
/// | `parseInvalidityDate`               | invalidityDate                                     | RFC 5280, 5.3.2    |
/// | `parsePrivateKeyUsagePeriod`        | privateKeyUsagePeriod                              | RFC 3280, 4.2.1.4  |
/// | `parseStatements`                   | qcStatements, subjectDirectoryAttributes           | RFC 3739, 3.2.6    |
/// | `parseTlsFeatures`                  | tlsFeature                                         | RFC 7633           |
/// | `parseSignedCertificateTimestamps`  | the timestamps of Certificate Transparency         | RFC 6962, 3.3      |
/// | `parseNetscapeType`                 | Netscape's certificate type                        |                    |
/// | `parseStringValue`                  | extensions that consist of one string              |                    |
///
/// `value` is `X509Extension::value`. Each function returns false if it is malformed, with the reason in
/// `*refusal` unless that is null; `*to` is then partly filled. No function writes to a stream. The parsers
/// of certificates, CRLs and requests use the same readers. Blobs in the results are views of the value.
///
/// Not here: the minimum and maximum of subtrees.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/refusal.h"
#include "sealkit/timepoint.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Whether the subject is a CA, and how many CAs may follow below it.
struct BasicConstraints {
    bool isCa = false; ///< cA.
    /// Content octets of the INTEGER; nothing if absent.
    std::optional<std::vector<unsigned char>> pathLength;
};

/// The subtrees of names that a CA may issue for, and those that it may not. An IP address is followed by its
/// mask.
struct NameSubtrees {
    std::vector<GeneralName> permitted; ///< permittedSubtrees.
    std::vector<GeneralName> excluded;  ///< excludedSubtrees.
};

/// A service and its location.
struct AccessDescription {
    std::vector<unsigned char> method; ///< Content octets of the object identifier.
    GeneralName location;              ///< Where it is; most often a URI.
};

/// A list of object identifiers, as views of the parsed value.
struct ObjectIdentifiers {
    std::vector<asn1::blob> oids; ///< Content octets.
};

/// A qualifier of a policy: the address of a practice statement, or a notice to users.
struct PolicyQualifier {
    asn1::blob id; ///< Content octets of the object identifier.
    /// The address; or the organization, numbers and text of a notice, joined; or another qualifier as
    /// `asn1::derText` writes it.
    std::string text;
};

/// A policy with its qualifiers.
struct QualifiedPolicy {
    asn1::blob id;                           ///< Content octets of the object identifier.
    std::vector<PolicyQualifier> qualifiers; ///< In their order.
};

/// Two policies, by the content octets of their object identifiers, that are equivalent.
struct EquivalentPolicies {
    asn1::blob issuerDomain;  ///< issuerDomainPolicy.
    asn1::blob subjectDomain; ///< subjectDomainPolicy.
};

/// The numbers of certificates, as content octets; nothing for an absent one.
struct PolicyConstraintNumbers {
    std::optional<asn1::blob> requireExplicitPolicy; ///< How many certificates below may lack a policy.
    std::optional<asn1::blob> inhibitPolicyMapping;  ///< How many below may map policies.
};

/// Where a CRL is found and what it covers.
struct CrlDistributionPoint {
    std::vector<GeneralName> fullName; ///< Where the CRL is, by any of these; empty if absent.
    /// The name relative to the CRL's issuer, as the encoding of a Name of its own; empty if absent.
    std::vector<unsigned char> relativeName;
    std::optional<unsigned> reasons;    ///< Bits of ReasonFlags; nothing if absent.
    std::vector<GeneralName> crlIssuer; ///< Who signs the CRL, if not the issuer of the certificate.
};

/// The scope of a CRL. `point.crlIssuer` is always empty.
struct IssuingDistributionPoint {
    CrlDistributionPoint point;             ///< `reasons` are onlySomeReasons.
    bool onlyUserCertificates = false;      ///< onlyContainsUserCerts.
    bool onlyCaCertificates = false;        ///< onlyContainsCACerts.
    bool onlyAttributeCertificates = false; ///< onlyContainsAttributeCerts.
    bool isIndirect = false;                ///< indirectCRL: it has entries of other issuers' certificates.
};

/// Which key the issuer signed with.
struct AuthorityKeyIdentifier {
    std::optional<asn1::blob> keyId;        ///< The subject key identifier of the issuer.
    std::vector<GeneralName> issuer;        ///< The issuer of the issuer's certificate.
    std::optional<asn1::blob> serialNumber; ///< Content octets.
};

/// When the private key may be used.
struct PrivateKeyUsagePeriod {
    std::optional<TimePoint> notBefore; ///< Not before this time.
    std::optional<TimePoint> notAfter;  ///< Not after this time.
};

/// A statement or attribute of some type.
struct TypedValue {
    asn1::blob id;    ///< Content octets of the object identifier.
    asn1::blob value; ///< Whole encoding (for an attribute, of its SET); empty if absent.
};

/// The promise of a log to publish the certificate (RFC 6962, section 3.2).
struct SignedCertificateTimestamp {
    unsigned version = 0;            ///< 0 is version 1; for other versions no other member is set.
    asn1::blob logId;                ///< The SHA-256 digest of the log's key, 32 bytes.
    std::uint64_t milliseconds = 0;  ///< Since 1970.
    asn1::blob extensions;           ///< CtExtensions, without their length.
    unsigned hashAlgorithm = 0;      ///< As TLS 1.2 numbers them (RFC 5246, section 7.4.1.4.1).
    unsigned signatureAlgorithm = 0; ///< Likewise.
    asn1::blob signature;            ///< Over the certificate and the fields above.
};

/// basicConstraints.
SEALKIT_API bool parseBasicConstraints(asn1::blob value, BasicConstraints* to, Refusal* refusal = nullptr);
/// nameConstraints, all subtrees.
SEALKIT_API bool parseNameConstraints(asn1::blob value, NameSubtrees* to, Refusal* refusal = nullptr);
/// subjectAltName, issuerAltName or certificateIssuer.
SEALKIT_API bool parseGeneralNames(asn1::blob value, std::vector<GeneralName>* to,
                                   Refusal* refusal = nullptr);
/// Bits of `KeyUsage` (x509.h).
SEALKIT_API bool parseKeyUsage(asn1::blob value, unsigned* to, Refusal* refusal = nullptr);
/// extKeyUsage, including unknown usages.
SEALKIT_API bool parseExtendedKeyUsage(asn1::blob value, ObjectIdentifiers* to, Refusal* refusal = nullptr);
/// certificatePolicies, without qualifiers.
SEALKIT_API bool parseCertificatePolicies(asn1::blob value, ObjectIdentifiers* to,
                                          Refusal* refusal = nullptr);
/// certificatePolicies with their qualifiers.
SEALKIT_API bool parseCertificatePolicies(asn1::blob value, std::vector<QualifiedPolicy>* to,
                                          Refusal* refusal = nullptr);
/// policyMappings.
SEALKIT_API bool parsePolicyMappings(asn1::blob value, std::vector<EquivalentPolicies>* to,
                                     Refusal* refusal = nullptr);
/// policyConstraints.
SEALKIT_API bool parsePolicyConstraints(asn1::blob value, PolicyConstraintNumbers* to,
                                        Refusal* refusal = nullptr);
/// The content octets of an INTEGER.
SEALKIT_API bool parseIntegerValue(asn1::blob value, asn1::blob* to, Refusal* refusal = nullptr);
/// authorityInfoAccess or subjectInfoAccess.
SEALKIT_API bool parseAccessDescriptions(asn1::blob value, std::vector<AccessDescription>* to,
                                         Refusal* refusal = nullptr);
/// cRLDistributionPoints or freshestCRL: the full names of all points, in one list.
SEALKIT_API bool parseDistributionPoints(asn1::blob value, std::vector<GeneralName>* to,
                                         Refusal* refusal = nullptr);
/// The same with every field of each point.
SEALKIT_API bool parseDistributionPoints(asn1::blob value, std::vector<CrlDistributionPoint>* to,
                                         Refusal* refusal = nullptr);
/// issuingDistributionPoint.
SEALKIT_API bool parseIssuingDistributionPoint(asn1::blob value, IssuingDistributionPoint* to,
                                               Refusal* refusal = nullptr);
/// subjectKeyIdentifier.
SEALKIT_API bool parseKeyIdentifier(asn1::blob value, std::vector<unsigned char>* to,
                                    Refusal* refusal = nullptr);
/// The keyIdentifier, empty if absent. The issuer and serial number beside it are ignored.
SEALKIT_API bool parseAuthorityKeyId(asn1::blob value, std::vector<unsigned char>* to,
                                     Refusal* refusal = nullptr);
/// The whole extension.
SEALKIT_API bool parseAuthorityKeyId(asn1::blob value, AuthorityKeyIdentifier* to,
                                     Refusal* refusal = nullptr);
/// Content octets of the INTEGER.
SEALKIT_API bool parseCrlNumber(asn1::blob value, std::vector<unsigned char>* to, Refusal* refusal = nullptr);

/// reasonCode: the code, which `crlReasonName` (crl.h) names.
SEALKIT_API bool parseReasonCode(asn1::blob value, unsigned char* to, Refusal* refusal = nullptr);
/// invalidityDate.
SEALKIT_API bool parseInvalidityDate(asn1::blob value, TimePoint* to, Refusal* refusal = nullptr);
/// privateKeyUsagePeriod.
SEALKIT_API bool parsePrivateKeyUsagePeriod(asn1::blob value, PrivateKeyUsagePeriod* to,
                                            Refusal* refusal = nullptr);
/// qcStatements or subjectDirectoryAttributes.
SEALKIT_API bool parseStatements(asn1::blob value, std::vector<TypedValue>* to, Refusal* refusal = nullptr);
/// The numbers of TLS extensions.
SEALKIT_API bool parseTlsFeatures(asn1::blob value, std::vector<unsigned>* to, Refusal* refusal = nullptr);
/// The list in the extension of a certificate or OCSP response.
SEALKIT_API bool parseSignedCertificateTimestamps(asn1::blob value,
                                                  std::vector<SignedCertificateTimestamp>* to,
                                                  Refusal* refusal = nullptr);
/// The bits of the type, bit i being the named bit i.
SEALKIT_API bool parseNetscapeType(asn1::blob value, unsigned* to, Refusal* refusal = nullptr);
/// A string of any type, in UTF-8.
SEALKIT_API bool parseStringValue(asn1::blob value, std::string* to, Refusal* refusal = nullptr);

/// The names of the reasons that are set in `CrlDistributionPoint::reasons`, as `crlReasonName` (crl.h) has
/// them.
SEALKIT_API std::vector<std::string> reasonFlagNames(unsigned bits);
/// The names of the bits that are set in Netscape's certificate type: "ssl-client", "object-signing-ca".
SEALKIT_API std::vector<std::string> netscapeTypeNames(unsigned bits);
/// The name of a TLS feature, "status-request"; its number if it has no name here.
SEALKIT_API std::string tlsFeatureName(unsigned feature);
/// The signature algorithm of a timestamp, "SHA256+ECDSA"; its numbers if they have no names here.
SEALKIT_API std::string timestampAlgorithmName(SignedCertificateTimestamp const& timestamp);

/// The names of the bits of `KeyUsage` that are set, as `X509Certificate::dumpKeyUsage` has them.
SEALKIT_API std::vector<std::string> keyUsageNames(unsigned bits);
/// The same for extended key usages.
SEALKIT_API std::vector<std::string> extKeyUsageNames(unsigned bits);

/// The values of extensions as structures (RFC 5280, section 4.2).
///
/// | function                    | extension                                        | RFC 5280      |
/// | --------------------------- | ------------------------------------------------ | ------------- |
/// | `parseBasicConstraints`     | basicConstraints                                 | 4.2.1.9       |
/// | `parseNameConstraints`      | nameConstraints, every subtree                   | 4.2.1.10      |
/// | `parseGeneralNames`         | subjectAltName, issuerAltName, certificateIssuer | 4.2.1.6       |
/// | `parseKeyUsage`             | keyUsage                                         | 4.2.1.3       |
/// | `parseExtendedKeyUsage`     | extKeyUsage, unknown usages too                  | 4.2.1.12      |
/// | `parseCertificatePolicies`  | certificatePolicies, without qualifiers          | 4.2.1.4       |
/// | `parseAccessDescriptions`   | authorityInfoAccess, subjectInfoAccess           | 4.2.2         |
/// | `parseDistributionPoints`   | cRLDistributionPoints, freshestCRL: full names   | 4.2.1.13      |
/// | `parseKeyIdentifier`        | subjectKeyIdentifier                             | 4.2.1.2       |
/// | `parseAuthorityKeyId`       | authorityKeyIdentifier                           | 4.2.1.1       |
/// | `parseCrlNumber`            | cRLNumber                                        | 5.2.3         |
///
/// `value` is `X509Extension::value`. Each function returns false if it is malformed, with a reason where `refusal` is
/// not null; what `to` points to is then partly filled. All of them are silent. Parsing a certificate reads the values
/// with the same readers.
///
/// Not here: policy qualifiers, policy mappings and policy constraints, issuing distribution points, minimum and
/// maximum of subtrees.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/refusal.h"

#include <optional>
#include <string>
#include <vector>

/// Whether the subject is a CA, and how many CAs may follow below it.
struct BasicConstraints {
    bool isCa = false;
    /// Content octets of the INTEGER; nothing if absent.
    std::optional<std::vector<unsigned char>> pathLength;
};

/// The subtrees of names that a CA may issue for, and those that it may not. An address has its mask behind it
/// (`GeneralName::str`).
struct NameSubtrees {
    std::vector<GeneralName> permitted;
    std::vector<GeneralName> excluded;
};

/// A service and where it is.
struct AccessDescription {
    std::vector<unsigned char> method; ///< Content octets of the object identifier.
    GeneralName location;
};

/// Views of the value that was parsed.
struct ObjectIdentifiers {
    std::vector<asn1::blob> oids; ///< Content octets.
};

/// basicConstraints.
SEALKIT_API bool parseBasicConstraints(asn1::blob value, BasicConstraints* to, Refusal* refusal = nullptr);
/// nameConstraints, every subtree.
SEALKIT_API bool parseNameConstraints(asn1::blob value, NameSubtrees* to, Refusal* refusal = nullptr);
/// subjectAltName, issuerAltName or certificateIssuer.
SEALKIT_API bool parseGeneralNames(asn1::blob value, std::vector<GeneralName>* to,
                                   Refusal* refusal = nullptr);
/// Bits of `KeyUsage` (x509.h).
SEALKIT_API bool parseKeyUsage(asn1::blob value, unsigned* to, Refusal* refusal = nullptr);
/// extKeyUsage, unknown usages too.
SEALKIT_API bool parseExtendedKeyUsage(asn1::blob value, ObjectIdentifiers* to, Refusal* refusal = nullptr);
/// certificatePolicies: the policies alone.
SEALKIT_API bool parseCertificatePolicies(asn1::blob value, ObjectIdentifiers* to,
                                          Refusal* refusal = nullptr);
/// authorityInfoAccess or subjectInfoAccess.
SEALKIT_API bool parseAccessDescriptions(asn1::blob value, std::vector<AccessDescription>* to,
                                         Refusal* refusal = nullptr);
/// cRLDistributionPoints or freshestCRL: the full names of all points in a row.
SEALKIT_API bool parseDistributionPoints(asn1::blob value, std::vector<GeneralName>* to,
                                         Refusal* refusal = nullptr);
/// subjectKeyIdentifier.
SEALKIT_API bool parseKeyIdentifier(asn1::blob value, std::vector<unsigned char>* to,
                                    Refusal* refusal = nullptr);
/// The keyIdentifier, empty if absent. The issuer and serial number beside it are ignored.
SEALKIT_API bool parseAuthorityKeyId(asn1::blob value, std::vector<unsigned char>* to,
                                     Refusal* refusal = nullptr);
/// Content octets of the INTEGER.
SEALKIT_API bool parseCrlNumber(asn1::blob value, std::vector<unsigned char>* to, Refusal* refusal = nullptr);

/// The names of the bits of `KeyUsage` that are set, as `X509Certificate::dumpKeyUsage` has them.
SEALKIT_API std::vector<std::string> keyUsageNames(unsigned bits);
/// The same for extended key usages.
SEALKIT_API std::vector<std::string> extKeyUsageNames(unsigned bits);

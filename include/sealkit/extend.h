/// Extensions of a certificate that is to be signed (RFC 5280, section 4.2), beyond the members of
/// `X509Certificate`.
///
/// | function                 | extension                                   | critical | standard            |
/// | ------------------------ | ------------------------------------------- | -------- | ------------------- |
/// | `setNameConstraints`     | nameConstraints, any number of subtrees     | yes      | RFC 5280, 4.2.1.10  |
/// | `setExtendedKeyUsage`    | extKeyUsage, any object identifiers         | if asked | RFC 5280, 4.2.1.12  |
/// | `setCertificatePolicies` | certificatePolicies, with CPS addresses     | no       | RFC 5280, 4.2.1.4   |
/// | `setAuthorityInfoAccess` | authorityInfoAccess                         | no       | RFC 5280, 4.2.2.1   |
/// | `setOcspNoCheck`         | id-pkix-ocsp-nocheck                        | no       | RFC 6960, 4.2.2.2.1 |
/// | `dropTimestamps`         | signed certificate timestamps: removes them |          | RFC 6962, 3.3       |
///
/// Each function replaces the extension that was parsed or set before, or removes it if the new list is
/// empty. `sign` writes the result.
///
/// Not here: user notices, policy mappings and policy constraints. `X509Certificate::setExtension` sets any
/// extension from its DER.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/extensions.h"
#include "sealkit/x509.h"

#include <span>
#include <string>
#include <vector>

/// A policy that a certificate was issued under.
struct CertificatePolicy {
    std::vector<unsigned char> oid;   ///< Content octets of the object identifier.
    std::vector<std::string> cpsUris; ///< Where the certification practice statement is; ASCII.
};

/// Where the status and the issuer of a certificate are found.
struct AuthorityInfoAccess {
    std::vector<std::string> ocsp;      ///< Addresses of OCSP responders; ASCII.
    std::vector<std::string> caIssuers; ///< Addresses of the issuer's certificate; ASCII.
};

/// Sets all subtrees. An IP address is followed by its mask (`parseSubtreeText`). The platform's rules refuse
/// several subtrees of a kind, and subtrees of kinds other than dNSName.
SEALKIT_API void setNameConstraints(X509Certificate& to, NameSubtrees const& subtrees);

/// Sets the usages of the bits in `usages` (`ExtKeyUsage`), and then `others`, the content octets of object
/// identifiers; each usage is written once. Time-stamping must be the only usage, and the extension critical
/// (RFC 3161, section 2.3). Returns false and changes nothing if a bit is unassigned.
SEALKIT_API bool setExtendedKeyUsage(X509Certificate& to, unsigned usages,
                                     std::span<std::vector<unsigned char> const> others, bool critical);

/// Sets the policies, each of which may occur once (RFC 5280, section 4.2.1.4).
SEALKIT_API void setCertificatePolicies(X509Certificate& to, std::span<CertificatePolicy const> policies);

/// Sets the addresses, those of OCSP responders first.
SEALKIT_API void setAuthorityInfoAccess(X509Certificate& to, AuthorityInfoAccess const& access);

/// Removes the signed certificate timestamps of a parsed certificate: they are not valid for a certificate
/// that is signed again.
SEALKIT_API void dropTimestamps(X509Certificate& of);

/// Sets or removes the extension that tells clients not to check the revocation of an OCSP responder's own
/// certificate.
SEALKIT_API void setOcspNoCheck(X509Certificate& to, bool isSet = true);

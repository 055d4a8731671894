/// Checking certificates under the standard rules before a CA hands them out.
///
/// | member           | what it does                                             |
/// | ---------------- | -------------------------------------------------------- |
/// | `x509CheckIssue` | tells why others would refuse a certificate under its CA |
///
/// A CA signs the certificate first, because the signature is checked too, and hands it out if
/// `x509CheckIssue` accepts it.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/path.h"

/// Checks a signed certificate under the certificate of its CA and under the CAs above, as far as `others`,
/// in any order, contains them. The last CA that is found counts as trusted, and its own constraints apply. A
/// null `issuer` stands for a self-signed certificate.
///
/// Accepts the certificate if
///
/// - the chain is valid under the standard rules (path.h), from the first second of the certificate to its
///   last: signatures, names, dates, key usage of the CAs, path lengths, name constraints, policies and
///   critical extensions;
/// - the name constraints also allow a common name that reads as an address, a mailbox or a host with several
///   labels, which many programs accept as an identity; that of a CA is not checked;
/// - the policies of the last CA also allow the certificate, unless that CA is self-signed;
/// - a CA stays within the path lengths above it when it issues certificates in turn, which RFC 5280 does not
///   check for the last certificate;
/// - every issuer that has extended key usages has each one of the certificate, or anyExtendedKeyUsage;
/// - if the certificate is not a CA and is for time-stamping, that is its only extended key usage, and the
///   extension is critical (RFC 3161, section 2.3).
///
/// On refusal `depth` is 0 for the certificate, 1 for the CA, and so on; `code` and `facts` tell why.
SEALKIT_API PathExplanation x509CheckIssue(std::shared_ptr<X509Certificate> const& certificate,
                                           std::shared_ptr<X509Certificate> const& issuer,
                                           CertificateChain const& others = {});

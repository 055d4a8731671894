/// What a CA may issue: certificates judged by the standard rules before they leave it.
///
/// | member           | what it does                                                    |
/// | ---------------- | --------------------------------------------------------------- |
/// | `x509CheckIssue` | says why others would refuse a certificate under its CA         |
///
/// A CA signs the certificate first, as its signature is among what is judged, and hands it out if this
/// accepts it.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/path.h"

/// Judges a signed certificate under the certificate of its CA, and the CAs above that as far as `others`, in
/// any order, hold them. The last one that is found is taken for trusted, and its own constraints count. A
/// null `issuer` stands for the certificate itself, which signed itself.
///
/// Accepts the certificate if
///
/// - the chain is valid by the standard rules (path.h), from the first second of the certificate to its last:
///   signatures, names, dates, key usage of the CAs, path lengths, name constraints, policies and critical
///   extensions;
/// - a CA is still within the path lengths above it once it issues, where RFC 5280 does not count the last
///   certificate;
/// - each extended key usage of the certificate is one of every issuer that has any, or those have
///   anyExtendedKeyUsage;
/// - time-stamping, of a certificate that is no CA, is its only extended key usage, and critical (RFC 3161,
///   section 2.3).
///
/// Of a refusal `depth` is 0 for the certificate, 1 for the CA, and so on; `code` and `facts` say why.
SEALKIT_API PathExplanation x509CheckIssue(std::shared_ptr<X509Certificate> const& certificate,
                                           std::shared_ptr<X509Certificate> const& issuer,
                                           CertificateChain const& others = {});

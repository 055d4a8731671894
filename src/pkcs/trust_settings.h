/// OpenSSL's trust settings of a certificate.
#pragma once

#include "base/reading.h"
#include "sealkit/objects.h"

#include <optional>

namespace detail {

/// Splits the block "TRUSTED CERTIFICATE" into the certificate, a view of `block`, and the optional settings
/// after it:
///
/// X509_CERT_AUX ::= SEQUENCE { trust SEQUENCE OF OBJECT IDENTIFIER OPTIONAL, reject [0] IMPLICIT SEQUENCE OF
/// OBJECT IDENTIFIER OPTIONAL, alias UTF8String OPTIONAL, keyid OCTET STRING OPTIONAL, other [1] IMPLICIT
/// SEQUENCE OF AlgorithmIdentifier OPTIONAL }
bool splitTrusted(Reading& reading, asn1::blob block, asn1::blob* certificate,
                  std::optional<TrustSettings>* settings);

} // namespace detail

/// MGF1 (RFC 8017, appendix B.2.1), the mask generation function of RSASSA-PSS and RSAES-OAEP, and the hashes
/// in their parameters.
#pragma once

#include "sealkit/hash.h"

#include "asn1/element.h"

#include <span>

namespace detail {

/// XORs the mask of `seed` into `to`. The hash must be known. Intermediate values are wiped.
void addMask(HashID hash, asn1::blob seed, std::span<unsigned char> to);

/// Takes an AlgorithmIdentifier under an EXPLICIT tag with this number.
bool takeWrapped(Level& level, unsigned number, char const* field, asn1::blob* oid, asn1::blob* parameters);

/// The hash of an AlgorithmIdentifier with NULL or absent parameters (RFC 4055, section 2.1): SHA-1 or a
/// SHA-2. `HashID::none` for others.
HashID schemeHash(asn1::blob oid, asn1::blob parameters);

/// The hash of an AlgorithmIdentifier for MGF1; `HashID::none` for another algorithm or hash.
HashID maskHash(Reading& reading, asn1::blob oid, asn1::blob parameters);

} // namespace detail

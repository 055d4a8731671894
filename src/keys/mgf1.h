/// MGF1 (RFC 8017, appendix B.2.1), the mask of RSASSA-PSS and RSAES-OAEP, and how their parameters name
/// hashes.
#pragma once

#include "sealkit/hash.h"

#include "asn1/element.h"

#include <span>

namespace detail {

/// Adds (XORs) the mask that `seed` gives to `to`. The hash must be known. Nothing of the mask is left in
/// memory.
void addMask(HashID hash, asn1::blob seed, std::span<unsigned char> to);

/// Takes the AlgorithmIdentifier in the current element, which is [number] EXPLICIT.
bool takeWrapped(Level& level, unsigned number, char const* field, asn1::blob* oid, asn1::blob* parameters);

/// The hash that an AlgorithmIdentifier names, with NULL parameters or none (RFC 4055, section 2.1): SHA-1 or
/// a SHA-2. `HashID::none` for another.
HashID schemeHash(asn1::blob oid, asn1::blob parameters);

/// The hash of the mask that an AlgorithmIdentifier names, which must be MGF1; `HashID::none` for another.
HashID maskHash(Reading& reading, asn1::blob oid, asn1::blob parameters);

} // namespace detail

/// Checks the content of an RSA signature.
#pragma once

#include "base/reading.h"
#include "sealkit/blob.h"
#include "sealkit/hash.h"

namespace detail {

/// Returns the digest in a DigestInfo (RFC 8017, section 9.2), as a view of `block`. The block must consist
/// of one DigestInfo with the expected hash and a digest of its length; the parameters of the hash are
/// ignored. Otherwise notes the problem and returns an empty blob.
asn1::blob readDigestInfo(Reading& reading, HashID expected, asn1::blob block);

} // namespace detail

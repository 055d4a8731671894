/// The check of what an RSA signature encloses.
#pragma once

#include "base/reading.h"
#include "sealkit/blob.h"
#include "sealkit/hash.h"

namespace detail {

/// Returns the digest inside a DigestInfo (RFC 8017 section 9.2), a view of `block`. The block must be one
/// DigestInfo and nothing else, with the hash that is expected and a digest of its length; the hash's
/// parameters are ignored. Otherwise notes what is wrong and returns an empty blob.
asn1::blob readDigestInfo(Reading& reading, HashID expected, asn1::blob block);

} // namespace detail

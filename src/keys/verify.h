/// Verifying signatures, with the reason where one does not verify.
#pragma once

#include "sealkit/keys.h"

#include "base/reading.h"

namespace detail {

/// What the members of the same name say. `reading` is one of the signature.
bool verifyHashed(Reading& reading, RsaPublicKey const& key, HashID hashId, asn1::blob digest,
                  asn1::blob sig);
bool verifyHashed(Reading& reading, EcPublicKey const& key, HashID hashId, asn1::blob digest, asn1::blob sig);

/// `verifyHashed` and `verifyMessage` of signature.h.
bool verifyHashed(Reading& reading, PublicKey const& key, HashID hash, asn1::blob digest,
                  asn1::blob signature);
bool verifyMessage(Reading& reading, PublicKey const& key, HashID hash, asn1::blob message,
                   asn1::blob signature);

} // namespace detail

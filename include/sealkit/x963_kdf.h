/// Keys from an agreed secret: the key derivation function of ANSI X9.63 (SEC 1, section 3.6.1).
///
/// | member    | what it is                                               |
/// | --------- | -------------------------------------------------------- |
/// | `x963Kdf` | derives a key of any length from a secret, with any hash |
///
/// The secret is the result of `agreeKeys` (agreement.h). Messages use this function (RFC 5753, section 7.2);
/// HKDF is in hmac.h.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"

#include <span>

/// Fills `key` with digests of the secret, a counter of four bytes that begins at 1, and `sharedInfo`, which
/// both sides know and which may be empty. Returns false and leaves `key` unchanged for an unknown hash, and
/// for a key of more than 2^32 - 1 digests.
SEALKIT_API bool x963Kdf(HashID hash, asn1::blob secret, asn1::blob sharedInfo, std::span<unsigned char> key);

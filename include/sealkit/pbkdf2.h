/// Deriving a key from a password: PBKDF2 (RFC 8018, section 5.2).
///
/// | member   | what it is                                                                       |
/// | -------- | -------------------------------------------------------------------------------- |
/// | `pbkdf2` | derives a key of any length, with HMAC over a hash as the pseudo-random function |
///
/// Not here: making a salt, and checking salt or count. RFC 8018 (section 4) asks for at least 8 bytes of
/// salt and 1000 iterations. The count multiplies the cost of every guess, and of every use.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"

#include <span>

/// Fills `key` from the bytes of the password and the salt. `prf` is the hash under HMAC: SHA-1, SHA-256,
/// SHA-384 or SHA-512. It takes `iterations` HMACs for each digest that `key` needs, in whole or in part.
/// Returns false and leaves `key` unchanged if the hash is another, if the count is 0, or if the key needs
/// more than 2^32 - 1 digests.
SEALKIT_API bool pbkdf2(HashID prf, asn1::blob password, asn1::blob salt, unsigned iterations,
                        std::span<unsigned char> key);
inline bool pbkdf2(unsigned prf, asn1::blob password, asn1::blob salt, unsigned iterations,
                   std::span<unsigned char> key) {
    return pbkdf2(static_cast<HashID>(prf), password, salt, iterations, key);
}

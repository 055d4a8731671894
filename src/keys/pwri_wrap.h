/// Wrapping content keys under a key that comes from a password: PWRI-KEK (RFC 3211, section 2.3).
#pragma once

#include "keys/content_cipher.h"

#include "sealkit/rng.h"

#include <vector>

namespace detail {

/// The longest key that its length octet counts.
inline constexpr size_t maxPwriKeySize = 255;

/// Wraps `key`, of 3 to `maxPwriKeySize` bytes, under a key of `cipher.keySize` bytes and an IV of
/// `cipher.blockSize`. Empty for another size, and if `rng` fails.
std::vector<unsigned char> wrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv,
                                    asn1::blob key, Rng const& rng);

/// False, with `key` as it was, if what is wrapped is not a key with its length and check bytes. A wrong
/// key-encryption key passes once in 2^24 times. The caller wipes the result.
bool unwrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv, asn1::blob wrapped,
                std::vector<unsigned char>& key);

} // namespace detail

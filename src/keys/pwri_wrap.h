/// Wraps content keys under a password-derived key: PWRI-KEK (RFC 3211, section 2.3).
#pragma once

#include "keys/content_cipher.h"

#include "sealkit/rng.h"

#include <vector>

namespace detail {

/// The largest value of the length octet.
inline constexpr size_t maxPwriKeySize = 255;

/// Wraps `key`, of 3 to `maxPwriKeySize` bytes, under a key of `cipher.keySize` bytes and an IV of
/// `cipher.blockSize`. Empty if the size is wrong or `rng` fails.
std::vector<unsigned char> wrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv,
                                    asn1::blob key, Rng const& rng);

/// Unwraps a key and verifies its length and check bytes. Returns false and leaves `key` unchanged if they
/// are wrong. A wrong key-encryption key passes with probability 2^-24. The caller wipes the result.
bool unwrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv, asn1::blob wrapped,
                std::vector<unsigned char>& key);

} // namespace detail

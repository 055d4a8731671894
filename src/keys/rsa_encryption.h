/// RSAES-PKCS1-v1_5 (RFC 8017, section 7.2), which encrypts the content keys of messages.
#pragma once

#include "sealkit/keys.h"

#include <vector>

namespace detail {

/// An encryption block begins with 00 02, at least eight non-zero bytes, and 00.
constexpr unsigned encryptionOverhead = 11;

/// Encrypts a message. The result is as long as the modulus. Empty if `message` is longer than that less
/// `encryptionOverhead`, the key is unusable, or `rng` fails or is not random.
std::vector<unsigned char> encryptPkcs1(RsaPublicKey const& key, asn1::blob message, Rng const& rng);

/// Decrypts a message. Returns false and leaves `message` unchanged if `encrypted` is not exactly as long as
/// the modulus, shorter than `encryptionOverhead` or not below the modulus, if the key is inconsistent, or if
/// the block is malformed. An attacker who learns which blocks are malformed can decrypt others (D.
/// Bleichenbacher, "Chosen ciphertext attacks against protocols based on the RSA encryption standard PKCS
/// #1", CRYPTO 1998), so the result must not be revealed.
bool decryptPkcs1(RsaPrivateKey const& key, asn1::blob encrypted, std::vector<unsigned char>& message);

} // namespace detail

/// RSAES-PKCS1-v1_5 (RFC 8017, section 7.2), which carries the content keys of messages.
#pragma once

#include "sealkit/keys.h"

#include <vector>

namespace detail {

/// A block for encryption begins with 00 02, at least eight bytes that are not zero, and 00.
constexpr unsigned encryptionOverhead = 11;

/// As many bytes as the modulus has. Empty when `message` has more than those less `encryptionOverhead`,
/// when the key is not usable, and when `rng` fails or what it gives is not random.
std::vector<unsigned char> encryptPkcs1(RsaPublicKey const& key, asn1::blob message, Rng const& rng);

/// False when `encrypted` is not exactly as long as the modulus, or shorter than `encryptionOverhead`, when
/// it is not below the modulus, when the members of the key are inconsistent, and when the block is
/// malformed; `message` is unchanged then. Who learns that a block was refused can have others decrypted (D.
/// Bleichenbacher, "Chosen ciphertext attacks against protocols based on the RSA encryption standard PKCS
/// #1", CRYPTO 1998): the answer must not reach a stranger, over and over.
bool decryptPkcs1(RsaPrivateKey const& key, asn1::blob encrypted, std::vector<unsigned char>& message);

} // namespace detail

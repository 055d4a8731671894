/// Encryption with RSA keys: RSAES-OAEP (RFC 8017, section 7.1).
///
/// | member           | what it is                                      |
/// | ---------------- | ----------------------------------------------- |
/// | `OaepParameters` | the hash of the scheme and the hash of its mask |
/// | `maxOaepMessage` | how long a message may be                       |
/// | `encryptOaep`    | encrypts a short message, as a key is           |
/// | `decryptOaep`    | decrypts one                                    |
///
/// The label is empty. Messages encrypt their content keys with this scheme (`EnvelopedMessage`,
/// enveloped.h); encryption by PKCS#1 v1.5 is available only there. All failures of decryption are alike and
/// take the same time: an attacker who can tell them apart can decrypt any ciphertext (J. Manger, "A Chosen
/// Ciphertext Attack on RSA Optimal Asymmetric Encryption Padding (OAEP) as Standardized in PKCS #1 v2.0",
/// CRYPTO 2001).
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/rng.h"

#include <vector>

#include "sealkit/detail/class_names_begin.h"

/// Two hashes out of SHA-1, SHA-256, SHA-384 and SHA-512. The standard's defaults are SHA-1 twice.
struct OaepParameters {
    HashID hash = HashID::SHA256;     ///< Of the label.
    HashID maskHash = HashID::SHA256; ///< Of MGF1.

    bool operator==(OaepParameters const&) const = default;
};

/// The size of the longest message in bytes: that of the modulus less two digests and two bytes. 0 for
/// unknown hashes and keys that are too short.
SEALKIT_API size_t maxOaepMessage(RsaPublicKey const& key, OaepParameters const& parameters);

/// The ciphertext, as many bytes as the modulus has. Empty for a longer message than `maxOaepMessage`, for
/// unknown hashes, for an unusable key, and if `rng` fails.
SEALKIT_API std::vector<unsigned char> encryptOaep(RsaPublicKey const& key, OaepParameters const& parameters,
                                                   asn1::blob message, Rng const& rng);

/// Assigns the plaintext to `message`, which the caller wipes. Returns false and leaves it unchanged if
/// `encrypted` is not as long as the modulus or not below it, if the decrypted block is malformed, for
/// unknown hashes, and if the key is unusable or inconsistent.
SEALKIT_API bool decryptOaep(RsaPrivateKey const& key, OaepParameters const& parameters, asn1::blob encrypted,
                             std::vector<unsigned char>& message);

#include "sealkit/detail/class_names_end.h"

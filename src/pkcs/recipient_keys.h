/// Content keys of encrypted messages: encrypting them to recipients, and decrypting them.
///
/// The functions that decrypt return false where the message, or the kind of the key, is refused, which
/// depends on no secret. `contentKey` is left empty where the encrypted key does not decrypt: the content is
/// then decrypted with another key, so that neither the answer nor how long it takes tells (RFC 3218, section
/// 2.3.2).
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <string_view>

namespace detail {

/// With the private key of the recipient.
bool decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient, PrivateKey const& key,
                       SecretBytes& contentKey);

/// With the password of the recipient, whose derivation takes `passwordRounds`.
bool decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient, std::string_view password,
                       SecretBytes& contentKey);

/// With a key that both sides have.
bool decryptContentKeyShared(Reading& reading, EnvelopedRecipient const& recipient,
                             asn1::blob keyEncryptionKey, SecretBytes& contentKey);

/// How many rounds deriving the key of a recipient from a password takes. False where that is refused.
bool passwordRounds(Reading& reading, EnvelopedRecipient const& recipient, unsigned* rounds);

/// Encrypts a content key to the holder of an RSA key.
bool transportContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                         EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to);

/// Encrypts a content key to the holder of a certificate with a key of any kind.
bool encryptContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                       EnvelopedOptions const& options, Rng& rng, EnvelopedRecipient& to);

/// Encrypts a content key under a password.
bool encryptContentKey(Reading& reading, std::string_view password, asn1::blob contentKey,
                       EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to);

} // namespace detail

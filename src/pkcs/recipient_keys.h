/// Encrypts content keys to recipients and decrypts them.
/// The functions that decrypt return false if they refuse the message or the type of the key, which depends
/// on no secret. If the encrypted key does not decrypt, `contentKey` remains empty. The caller then decrypts
/// the content with another key, so that neither the result nor the time reveals the failure (RFC 3218,
/// section 2.3.2).
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <string_view>

namespace detail {

/// Decrypts with the private key of the recipient.
bool decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient, PrivateKey const& key,
                       SecretBytes& contentKey);

/// Decrypts with the password of the recipient. The derivation takes `passwordRounds`.
bool decryptContentKey(Reading& reading, EnvelopedRecipient const& recipient, std::string_view password,
                       SecretBytes& contentKey);

/// Decrypts with a key that sender and recipient share.
bool decryptContentKeyShared(Reading& reading, EnvelopedRecipient const& recipient,
                             asn1::blob keyEncryptionKey, SecretBytes& contentKey);

/// The rounds that derive a recipient's key from a password. Returns false if the recipient is
/// refused.
bool passwordRounds(Reading& reading, EnvelopedRecipient const& recipient, unsigned* rounds);

/// Encrypts a content key with an RSA public key.
bool transportContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                         EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to);

/// Encrypts a content key with the public key of a certificate, of any supported type.
bool encryptContentKey(Reading& reading, X509Certificate const& certificate, asn1::blob contentKey,
                       EnvelopedOptions const& options, Rng& rng, EnvelopedRecipient& to);

/// Encrypts a content key under a password.
bool encryptContentKey(Reading& reading, std::string_view password, asn1::blob contentKey,
                       EnvelopedOptions const& options, Rng const& rng, EnvelopedRecipient& to);

} // namespace detail

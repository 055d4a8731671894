/// Encrypts and decrypts the contents of messages under a content key.
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <vector>

namespace detail {

/// The maximum size of a content key.
inline constexpr size_t maxContentKeySize = 32;

/// A content and its authenticated attributes. `message` is null for content without authentication.
struct EncryptedContent {
    PKCS7EncryptedContentInfo const& info;
    EnvelopedMessage const* message = nullptr;
};

/// Decrypts a content. An empty key or one of a wrong size fails, but takes as long. Refusals other than
/// `RefusalId::undecryptable` depend only on the message. `out` must have been wiped.
bool decryptContent(Reading& reading, EncryptedContent const& content, asn1::blob key,
                    std::vector<unsigned char>& out);

/// Generates a key for a cipher in CBC mode and encrypts a content under it. Returns false for other ciphers.
bool encryptCbc(PKCS7EncryptedContentInfo& to, CipherID cipher, unsigned keySize, asn1::blob content,
                Rng const& rng, SecretBytes& key);

/// Generates a key for AES-GCM and encrypts a content under it. Sets `encryptedContentInfo` and `mac`, and
/// authenticates the message's attributes. Returns false for other key sizes and too large contents.
bool encryptGcm(EnvelopedMessage& to, unsigned keySize, asn1::blob content, Rng const& rng, SecretBytes& key);

} // namespace detail

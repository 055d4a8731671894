/// The contents of encrypted messages: encrypting and decrypting them under a content key.
#pragma once

#include "sealkit/enveloped.h"

#include "base/reading.h"
#include "base/secret_bytes.h"

#include <vector>

namespace detail {

/// The longest content key.
inline constexpr size_t maxContentKeySize = 32;

/// A content with what authenticates it. `message` is null for those that nothing does.
struct EncryptedContent {
    PKCS7EncryptedContentInfo const& info;
    EnvelopedMessage const* message = nullptr;
};

/// Decrypts a content. An empty key, and one of another size, decrypt nothing, but take as long. What is
/// refused beside `RefusalId::undecryptable` follows from the message alone. What `out` held must be wiped
/// already.
bool decryptContent(Reading& reading, EncryptedContent const& content, asn1::blob key,
                    std::vector<unsigned char>& out);

/// Makes a key for a cipher in CBC mode, and encrypts a content under it. False for other ciphers.
bool encryptCbc(PKCS7EncryptedContentInfo& to, CipherID cipher, unsigned keySize, asn1::blob content,
                Rng const& rng, SecretBytes& key);

/// Makes a key for AES-GCM, and encrypts a content under it: sets `encryptedContentInfo` and `mac`. False for
/// keys of another size, and for contents that are too large. The attributes are authenticated as they stand
/// in the message.
bool encryptGcm(EnvelopedMessage& to, unsigned keySize, asn1::blob content, Rng const& rng, SecretBytes& key);

} // namespace detail

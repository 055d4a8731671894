/// Obsolete ciphers of password-encrypted files. The library decrypts with them, but does not encrypt.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/password_schemes.h"

#include <span>
#include <vector>

namespace detail {

struct LegacyCipher {
    enum class Kind { des, twoKeyTripleDes, tripleDes, rc2, rc4 };

    Kind kind;
    unsigned keySize;
    unsigned effectiveBits; ///< Of the key. RC2 may use fewer bits than the key has.

    static constexpr unsigned maxKeySize = 24, blockSize = 8;

    /// Whether the cipher has an IV, and the plaintext a padding.
    bool isBlockCipher() const { return kind != Kind::rc4; }
    /// Whether an exhaustive key search is affordable.
    bool isWeak() const { return effectiveBits <= 64 || keySize <= 8; }
    /// A name such as "RC2-CBC (40 bits)".
    char const* name() const;
};

/// Whether `data` can be a ciphertext: one or more whole blocks for a block cipher.
bool canBeDecrypted(LegacyCipher const& cipher, asn1::blob data);

/// Decrypts data that `canBeDecrypted` accepts, and removes the padding as `decryptPadded` does. Returns
/// false if the padding is longer than a block. `rc2` must not be null for RC2.
bool decrypt(LegacyCipher const& cipher, std::span<unsigned char const> key, asn1::blob iv, asn1::blob data,
             Rc2Decryptor rc2, std::vector<unsigned char>& out);

} // namespace detail

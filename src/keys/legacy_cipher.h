/// Ciphers that old files are encrypted with under a password. They only decrypt: nothing is written with
/// them.
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
    unsigned effectiveBits; ///< Of the key: of RC2 fewer than it has.

    static constexpr unsigned maxKeySize = 24, blockSize = 8;

    /// Whether the key has an IV, and the plaintext a padding.
    bool isBlockCipher() const { return kind != Kind::rc4; }
    /// Whether all keys can be tried at a moderate price.
    bool isWeak() const { return effectiveBits <= 64 || keySize <= 8; }
    /// "RC2-CBC (40 bits)".
    char const* name() const;
};

/// Whether `data` may be what the cipher gave: whole blocks, and one at least.
bool canBeDecrypted(LegacyCipher const& cipher, asn1::blob data);

/// Decrypts what `canBeDecrypted`, and takes off as many bytes as the last one says, as `decryptPadded` does
/// for other ciphers; false if it says more than a block has. `rc2` decrypts RC2 and is not null where that
/// is needed.
bool decrypt(LegacyCipher const& cipher, std::span<unsigned char const> key, asn1::blob iv, asn1::blob data,
             Rc2Decryptor rc2, std::vector<unsigned char>& out);

} // namespace detail

/// AES in Galois/Counter Mode (SP 800-38D): encryption that authenticates its ciphertext and additional data.
///
/// | name        | what it is                                                |
/// | ----------- | --------------------------------------------------------- |
/// | `GCMCipher` | the mode over a given block cipher, with tags of 16 bytes |
///
/// `createCipher` makes one from a key. Each message needs an IV that was never used under the same key: two
/// messages under one IV reveal the XOR of their plaintexts and allow forgeries. Use IVs of 12 bytes. Longer
/// ones are hashed as SP 800-38D says; shorter ones follow a rule of this library that other implementations
/// do not share.
///
/// Not here: shorter tags, messages in several calls, and constant time: tables are indexed with secrets
/// (`docs/timing.md`).
#pragma once

#include "sealkit/block.h"
#include "sealkit/cipher.h"
#include "sealkit/detail/assert.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"

#include <memory>
#include <utility>

/// GCM under the key of its block cipher. `setIV`, then `encrypt` or `decrypt`, for each message.
class SEALKIT_API GCMCipher : public Cipher {
public:
    /// Takes the cipher, whose blocks must have 16 bytes, or the process is aborted.
    explicit GCMCipher(std::unique_ptr<BlockCipher> cipher) : aes(std::move(cipher)) {
        SEALKIT_ASSERT_AS(aes->blockLength() == 16, "aes->blockLength() == 16", "../include/sealkit/gcm.h");
    }
    /// Wipes what was derived from key and IV.
    ~GCMCipher() override;

    /// `len` and the tag.
    unsigned ciphertextLength(unsigned len) const override { return len + tagLength; }
    unsigned blockLength() override { return 16; }
    /// Begins a message and derives J0 from the IV (SP 800-38D section 7.1, steps 1 and 2). An IV of fewer
    /// than 12 bytes, even an empty one, is not hashed: J0 is the IV, then zeros, then a last byte of 1, so
    /// zero bytes at its end make no difference.
    void setIV(unsigned char const* iv, unsigned size) override;
    /// Encrypts `len` bytes and writes the ciphertext, then the tag, to `out`, which may begin where `in`
    /// does. This is SP 800-38D section 7.1, except that lengths are authenticated in bits modulo 2^32: a
    /// message or additional data of 512 MiB counts as empty, so both must be shorter. Call `setIV` before
    /// every message: otherwise the J0 of a second message is the last counter block of the first, and its
    /// tag is masked with that block's keystream.
    void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                 unsigned char* out) override;
    /// Decrypts ciphertext and tag, `len` bytes together, to `out`, which may begin where `in` does. Returns
    /// the length of the plaintext, or all ones (0xFFFFFFFF) if the tag does not match or `len` has no room
    /// for it. If the tag does not match, `out` still holds the plaintext: discard it.
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                     unsigned char* out) override;

protected:
    std::unique_ptr<BlockCipher> aes; ///< The block cipher under the key.
    std::unique_ptr<Hash> ghash;      ///< Null until `setIV`.
    unsigned char counter[16];        ///< J0 after `setIV`, then the last counter block used.
    unsigned char tagLength = 16;     ///< The bytes of the tag.
};

/// AES-SIV (RFC 5297): deterministic authenticated encryption, which tolerates repeated nonces.
///
/// | name     | what it is                                  |
/// | -------- | ------------------------------------------- |
/// | `AESSIV` | encryption and decryption of whole messages |
///
/// The ciphertext is V, the synthetic IV of 16 bytes that is the tag as well, and then as many bytes as the
/// plaintext has. Equal messages under equal associated data give equal ciphertexts, which reveals that they
/// are equal. To hide that, pass a nonce as the last string of associated data (RFC 5297 section 3).
///
/// Not here: messages in pieces, which the mode does not allow, and constant time (`docs/timing.md`).
#pragma once

#include "sealkit/detail/export.h"

#include <span>
#include <vector>

/// AES-SIV under one key.
class SEALKIT_API AESSIV {
public:
    /// Takes 32, 48 or 64 bytes: the first half is the key of S2V, the second half the key of the encryption.
    /// The key is not copied: it must outlive the object, and its owner wipes it.
    explicit AESSIV(std::span<unsigned char const> key);

    /// Encrypts (RFC 5297 section 2.6) to `out`, which has room for 16 bytes more than the plaintext; the
    /// plaintext may be at `out + 16` and must not overlap it otherwise. Plaintext and associated data may be
    /// empty. The number of strings in `ad` is not checked, although the security proof only holds for up to
    /// 126. Returns false and writes nothing if the key has another length or an input has 4 GiB or more.
    bool encrypt(std::span<unsigned char const> const& plaintext,
                 std::vector<std::span<unsigned char const>> const& ad, unsigned char* out) const;
    /// Decrypts (RFC 5297 section 2.7) V and ciphertext to `out`, which has room for 16 bytes fewer than the
    /// input and may be `input.data() + 16`, but must not overlap it otherwise. Returns whether V is that of
    /// the plaintext and the associated data. If it is not, `out` still holds the decrypted bytes: discard
    /// them. Returns false and writes nothing if the input is shorter than 16 bytes, the key has another
    /// length or an input has 4 GiB or more.
    bool decrypt(std::span<unsigned char const> const& input,
                 std::vector<std::span<unsigned char const>> const& ad, unsigned char* out) const;

protected:
    /// The key, a view of the caller's bytes.
    std::span<unsigned char const> key;
};

/// Authenticated encryption in one call: AES-GCM (SP 800-38D) and AES-SIV (RFC 5297) over spans.
///
/// | functions                  | key                | nonce                      | sealed message           |
/// | -------------------------- | ------------------ | -------------------------- | ------------------------ |
/// | `sealAesGcm`, `openAesGcm` | 16, 24 or 32 bytes | 12 bytes, never used twice | ciphertext, then the tag |
/// | `sealAesSiv`, `openAesSiv` | 32, 48 or 64 bytes | any length, 0 included     | the tag, then ciphertext |
///
/// The tag has `aeadTagSize` bytes and is compared in constant time. Every function returns whether it
/// succeeded, and leaves zeros in all of `out` if not: a forged message yields no plaintext. Nothing is kept
/// between calls.
///
/// GCM loses its secrecy and its authenticity if two messages are sealed under one key and one nonce; SIV
/// then only shows which messages are equal. Not here: messages in pieces (`gcm.h`), several strings of
/// associated data (`siv.h`), and encryption whose time does not depend on key and data (`docs/timing.md`).
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>
#include <span>

inline constexpr size_t aeadTagSize = 16; ///< The bytes of a tag.

/// What both sides agree on besides the message. Every member must be the same when the message is opened.
struct AeadParameters {
    std::span<unsigned char const> key;            ///< Its sizes are in the table.
    std::span<unsigned char const> nonce;          ///< Its sizes are in the table.
    std::span<unsigned char const> associatedData; ///< Authenticated, not encrypted; may be empty.
};

/// Encrypts `plaintext` to `out`, which has exactly `aeadTagSize` bytes more and overlaps no input. Returns
/// false if the key, the nonce or `out` does not have the size that the table states, or if the plaintext or
/// the associated data has 512 MiB or more.
SEALKIT_API bool sealAesGcm(AeadParameters const& parameters, std::span<unsigned char const> plaintext,
                            std::span<unsigned char> out);
/// Decrypts what `sealAesGcm` wrote to `out`, which has exactly `aeadTagSize` bytes fewer and overlaps no
/// input. Returns false under the same conditions, or if the message is not authentic.
SEALKIT_API bool openAesGcm(AeadParameters const& parameters, std::span<unsigned char const> sealed,
                            std::span<unsigned char> out);

/// Encrypts `plaintext` to `out`, which has exactly `aeadTagSize` bytes more and overlaps no input. The
/// strings that RFC 5297 authenticates are the associated data and, unless it is empty, the nonce. Returns
/// false if the key or `out` does not have the size that the table states, or if an input has 4 GiB or more.
SEALKIT_API bool sealAesSiv(AeadParameters const& parameters, std::span<unsigned char const> plaintext,
                            std::span<unsigned char> out);
/// Decrypts what `sealAesSiv` wrote to `out`, which has exactly `aeadTagSize` bytes fewer and overlaps no
/// input. Returns false under the same conditions, or if the message is not authentic.
SEALKIT_API bool openAesSiv(AeadParameters const& parameters, std::span<unsigned char const> sealed,
                            std::span<unsigned char> out);

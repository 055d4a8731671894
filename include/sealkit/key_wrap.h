/// Encryption of keys under other keys: AES Key Wrap (RFC 3394).
///
/// | functions              | key-encryption key | key                             | wrapped key    |
/// | ---------------------- | ------------------ | ------------------------------- | -------------- |
/// | `wrapKey`, `unwrapKey` | 16, 24 or 32 bytes | 16 bytes or more, multiple of 8 | 8 bytes longer |
///
/// Wrapped keys are authenticated: `unwrapKey` rejects bytes that were changed, or wrapped under another key.
/// There is no nonce, so equal keys give equal wrapped keys. Both functions return whether they succeeded,
/// and fill `out` with zeros if not.
///
/// Not here: keys of other lengths (RFC 5649), and encryption whose time does not depend on keys
/// (`docs/timing.md`).
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>
#include <span>

/// How much longer a wrapped key is than the key.
inline constexpr size_t keyWrapOverhead = 8;

/// Wraps `key` under `keyEncryptionKey` to `out`, which has exactly `keyWrapOverhead` bytes more and overlaps
/// no input. Returns false if a size differs from those of the table.
SEALKIT_API bool wrapKey(std::span<unsigned char const> keyEncryptionKey, std::span<unsigned char const> key,
                         std::span<unsigned char> out);

/// Unwraps to `out`, which has exactly `keyWrapOverhead` bytes fewer and overlaps no input. Returns false
/// under the same conditions, or if the integrity check value, which is compared in constant time, is wrong.
SEALKIT_API bool unwrapKey(std::span<unsigned char const> keyEncryptionKey,
                           std::span<unsigned char const> wrapped, std::span<unsigned char> out);

/// Chaining modes over any block cipher (SP 800-38A): functions that keep the chaining value in a buffer of
/// the caller.
///
/// | mode   | functions                          | block | length          | section |
/// | ------ | ---------------------------------- | ----- | --------------- | ------- |
/// | CBC    | `CBC_encrypt`, `CBC_decrypt`       | any   | whole blocks    | 6.2     |
/// | CFB128 | `CFB128_encrypt`, `CFB128_decrypt` | 16    | any (see there) | 6.3     |
///
/// `iv` holds one block, which is the initialisation vector at first. Each call updates it, so that the next
/// call continues the stream. `in` holds `len` bytes. Nothing is allocated.
///
/// Not here: padding, authentication, and the counter mode (`block.h`).
#pragma once

#include "sealkit/block.h"

/// Encrypts the whole blocks of `in` to `out`, which may be the same memory. A partial block at the end is
/// neither read nor written.
SEALKIT_API void CBC_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                             unsigned char* out);
/// Decrypts the whole blocks of `in` to `out`, which must not overlap: each block of `in` is needed once more
/// after its plaintext is written.
SEALKIT_API void CBC_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                             unsigned char* out);

/// Encrypts `len` bytes to `out`, which may be the same memory. A partial block at the end does not update
/// `iv`: a further call would reuse its keystream, so it must be the end of the message. The block length
/// must be 16, or the process is aborted.
SEALKIT_API void CFB128_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);
/// Undoes `CFB128_encrypt`, under the same conditions.
SEALKIT_API void CFB128_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);

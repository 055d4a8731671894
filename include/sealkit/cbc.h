/// Chaining modes over any block cipher (SP 800-38A): functions that carry the chaining value in a buffer of
/// the caller's.
///
/// | mode   | functions                          | block | length             | section |
/// | ------ | ---------------------------------- | ----- | ------------------ | ------- |
/// | CBC    | `CBC_encrypt`, `CBC_decrypt`       | any   | whole blocks       | 6.2     |
/// | CFB128 | `CFB128_encrypt`, `CFB128_decrypt` | 16    | any, but see below | 6.3     |
///
/// `iv` holds one block, the initialisation vector at first, and is updated, so that the next call goes on
/// where this one stopped. `in` holds `len` bytes. Nothing is allocated.
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

/// Encrypts `len` bytes to `out`, which may be the same memory. A partial block at the end does not move
/// `iv`: a call after it would use its keystream again, so it ends the message. The block length must be 16,
/// or the process is aborted.
SEALKIT_API void CFB128_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);
/// Undoes `CFB128_encrypt`, under the same conditions.
SEALKIT_API void CFB128_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);

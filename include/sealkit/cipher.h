/// Ciphers as objects: one interface, one factory, seven algorithms; and a record cipher over two of them.
///
/// | `CipherID`     | id  | key        | object                                 | ciphertext of n bytes |
/// | -------------- | --- | ---------- | -------------------------------------- | --------------------- |
/// | `Null`         | 1   | any        | `CBCCipher` over the identity, block 1 | n                     |
/// | `DesCbc`       | 2   | 8          | `CBCCipher` over `DES`                 | n, whole blocks       |
/// | `TripleDesCbc` | 3   | 24         | `CBCCipher` over triple DES (EDE3)     | n, whole blocks       |
/// | `AesCbc`       | 4   | 16, 24, 32 | `CBCCipher` over AES                   | n, whole blocks       |
/// | `AesCtr`       | 5   | 16, 24, 32 | `CTR128Cipher` over AES                | n                     |
/// | `AesCfb`       | 6   | 16         | `CFB128Cipher` over AES                | n                     |
/// | `AesGcm`       | 7   | 16, 32     | `GCMCipher` over AES (`gcm.h`)         | n + 16                |
///
/// Sizes are in bytes. Make an object, give it an IV with `setIV`, then encrypt or decrypt with it; the IV
/// must come first. The plain modes continue the stream from call to call and ignore additional data.
/// `CBC_MAC_MP_Cipher`, which `createAead` makes, takes one whole record in each call.
///
/// Not here: the padding of plain CBC, and the choice of IVs.
#pragma once

#include "sealkit/block.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"

#include <memory>
#include <span>

/// The algorithms of `createCipher`. Each function that takes one takes the plain number as well.
enum class CipherID : unsigned {
    Null = 1,         ///< Gives no protection, but is not the identity: see `createCipher`.
    DesCbc = 2,       ///< DES in CBC mode.
    TripleDesCbc = 3, ///< Triple DES in CBC mode.
    AesCbc = 4,       ///< AES in CBC mode.
    AesCtr = 5,       ///< AES in counter mode.
    AesCfb = 6,       ///< AES in CFB mode, with segments of 128 bits.
    AesGcm = 7,       ///< AES in GCM mode.
};

/// A cipher under a key. The order of the virtual functions is part of the interface.
class SEALKIT_API Cipher {
public:
    virtual ~Cipher() = default;
    /// How many bytes `encrypt` writes for an input of `len` bytes.
    virtual unsigned ciphertextLength(unsigned len) const = 0;
    /// The block size of the mode in bytes.
    virtual unsigned blockLength() = 0;
    /// Takes the IV, which the object copies, and begins a message.
    virtual void setIV(unsigned char const* iv, unsigned size) = 0;
    /// Encrypts `len` bytes to `out`, which has room for `ciphertextLength(len)`. Authenticates the
    /// additional data at `aad` too in modes that do so; the others ignore it.
    virtual void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                         unsigned char* out) = 0;
    /// Decrypts `len` bytes to `out` and returns how many bytes were written, or all ones (0xFFFFFFFF) if
    /// authentication failed. The contents of `out` must then be discarded.
    virtual unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad,
                             unsigned aadLength, unsigned char* out) = 0;
};

/// CBC over any block cipher with blocks of up to 16 bytes (`CBC_encrypt`). It can encrypt in place, but not
/// decrypt in place. `decrypt` returns the length of the whole blocks.
class SEALKIT_API CBCCipher : public Cipher {
public:
    /// Uses `cipher` under the key that it has. Set the IV before the first use.
    explicit CBCCipher(std::unique_ptr<BlockCipher> cipher);
    ~CBCCipher() override;
    /// `len` without a partial block at the end.
    unsigned ciphertextLength(unsigned len) const override;
    unsigned blockLength() override;
    /// Takes the first `size` bytes, 16 at most; the rest of the IV is unchanged.
    void setIV(unsigned char const* iv, unsigned size) override;
    void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                 unsigned char* out) override;
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                     unsigned char* out) override;

protected:
    std::unique_ptr<BlockCipher> cipher; ///< Encrypts one block.
    unsigned char iv[16];                ///< The chaining value.
};

/// CFB with segments of 128 bits (`CFB128_encrypt`). Only the last call of a stream may have a length that is
/// not a multiple of 16.
class SEALKIT_API CFB128Cipher : public Cipher {
public:
    /// Uses `cipher`, of blocks of 16 bytes, under the key that it has. Set the IV before the first use.
    explicit CFB128Cipher(std::unique_ptr<BlockCipher> cipher);
    ~CFB128Cipher() override;
    unsigned ciphertextLength(unsigned len) const override { return len; }
    unsigned blockLength() override;
    /// Reads 16 bytes; `size` is ignored.
    void setIV(unsigned char const* iv, unsigned size) override;
    void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                 unsigned char* out) override;
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                     unsigned char* out) override;

protected:
    std::unique_ptr<BlockCipher> cipher; ///< Encrypts one block.
    unsigned char iv[16];                ///< The feedback.
};

/// Counter mode (`CTR128_encrypt`).
class SEALKIT_API CTR128Cipher : public Cipher {
public:
    /// Uses `cipher`, of blocks of 16 bytes, under the key that it has. Set the IV before the first use.
    explicit CTR128Cipher(std::unique_ptr<BlockCipher> cipher);
    ~CTR128Cipher() override;
    unsigned ciphertextLength(unsigned len) const override { return len; }
    unsigned blockLength() override { return 16; }
    /// Takes the first counter block. A `size` other than 16 aborts the process.
    void setIV(unsigned char const* iv, unsigned size) override;
    void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                 unsigned char* out) override;
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                     unsigned char* out) override;

protected:
    std::unique_ptr<BlockCipher> cipher; ///< Encrypts one block.
    unsigned char iv[16];                ///< The next counter block.
};

/// MAC, then pad, then encrypt, with the padding of TLS 1.0 to 1.2 for block ciphers (RFC 5246 section
/// 6.2.3.2): p bytes of value p - 1. Unlike in TLS, the MAC covers only the plaintext, without sequence
/// number, header or additional data.
///
/// Every record begins with the IV that `setIV` took: equal plaintexts give equal ciphertexts until the next
/// `setIV`. The time of a failure tells an attacker which check failed: do not use this class where attackers
/// can send messages and time the answers.
class SEALKIT_API CBC_MAC_MP_Cipher : public Cipher {
public:
    /// A plain cipher in CBC mode with blocks of at most 16 bytes, and a MAC of at most 64.
    CBC_MAC_MP_Cipher(std::unique_ptr<Cipher> cipher, std::unique_ptr<Hash> mac);
    ~CBC_MAC_MP_Cipher() override;
    /// `len`, the MAC, and 1 to `blockLength()` bytes that fill the last block.
    unsigned ciphertextLength(unsigned len) const override;
    unsigned blockLength() override;
    /// Reads `blockLength()` bytes; `size` is ignored.
    void setIV(unsigned char const* iv, unsigned size) override;
    /// Encrypts a record to `out`, which may be the same memory.
    void encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                 unsigned char* out) override;
    /// Decrypts a record to `out`, which must not overlap and needs room for all `len` bytes: `out` then also
    /// holds the MAC and the padding, after the plaintext. Returns the length of the plaintext, or all ones
    /// (0xFFFFFFFF) if length, MAC or padding is wrong. Up to 256 bytes of padding are accepted.
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                     unsigned char* out) override;

protected:
    std::unique_ptr<Cipher> cipher; ///< Encrypts the padded record.
    std::unique_ptr<Hash> mac;      ///< Computes the MAC of the plaintext.
    unsigned char iv[16] = {};      ///< The bytes that `setIV` took.
};

/// A new cipher under `key`, which is copied. Null if `id` is unknown or its algorithm does not take a key of
/// this length. The third argument has no effect.
///
/// Id 1 is CBC over an identity cipher with blocks of one byte: each byte of ciphertext is the byte of
/// plaintext XOR the byte of ciphertext before it; for the first byte, XOR the first byte of the IV.
SEALKIT_API std::unique_ptr<Cipher> createCipher(unsigned id, std::span<unsigned char const> key, unsigned);
SEALKIT_API std::unique_ptr<Cipher> createCipher(CipherID id, std::span<unsigned char const> key, unsigned);

/// A new record cipher: `CBC_MAC_MP_Cipher` over the cipher `id`, AES or triple DES in CBC mode, and HMAC
/// over the hash `hashId`. Null for any other cipher. A key of a wrong length and an unknown hash are not
/// detected: the object may then only be destroyed.
SEALKIT_API std::unique_ptr<Cipher> createAead(unsigned id, unsigned hashId,
                                               std::span<unsigned char const> encKey,
                                               std::span<unsigned char const> macKey);
SEALKIT_API std::unique_ptr<Cipher> createAead(CipherID id, HashID hashId,
                                               std::span<unsigned char const> encKey,
                                               std::span<unsigned char const> macKey);
SEALKIT_API std::unique_ptr<Cipher> createAead(CipherID id, unsigned hashId,
                                               std::span<unsigned char const> encKey,
                                               std::span<unsigned char const> macKey);
SEALKIT_API std::unique_ptr<Cipher> createAead(unsigned id, HashID hashId,
                                               std::span<unsigned char const> encKey,
                                               std::span<unsigned char const> macKey);

namespace kp {

/// Whether the platform prefers the kernel's ciphers. Initially false. The library does not read these flags:
/// `createCipher` always makes software implementations.
SEALKIT_API extern bool kernelCrypto;
/// The same of ciphers that the kernel calls experimental.
SEALKIT_API extern bool experimentalKernelCrypto;

} // namespace kp

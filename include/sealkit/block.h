/// Block ciphers, one block at a time, and the counter mode over them.
///
/// | class    | key | block | round keys | standard  |
/// | -------- | --- | ----- | ---------- | --------- |
/// | `AES128` | 16  | 16    | 11         | FIPS 197  |
/// | `AES192` | 24  | 16    | 13         | FIPS 197  |
/// | `AES256` | 32  | 16    | 15         | FIPS 197  |
/// | `DES`    | 8   | 8     | 16         | FIPS 46-3 |
///
/// Sizes are in bytes. A key is read when the object is made and expanded once, for both directions; the
/// expanded key is overwritten when the object is destroyed. Nothing fails, and an object is for one
/// thread at a time.
///
/// Not here: messages longer than a block (`cbc.h`, `gcm.h` and, as objects, `cipher.h`), triple DES, which
/// `createCipher` makes, and constant time: tables are indexed with secrets (`docs/timing.md`). DES is broken
/// and only here for formats that prescribe it.
#pragma once

#include "sealkit/detail/export.h"

#include <cstdint>

#include "sealkit/detail/class_names_begin.h"

/// A permutation of blocks under a key. The order of the virtual functions is part of the interface.
class SEALKIT_API BlockCipher {
public:
    virtual ~BlockCipher() = default;
    /// The size of a block in bytes.
    virtual unsigned blockLength() = 0;
    /// Encrypts the block at `in` to `out`, which may be the same memory. Any alignment is allowed.
    virtual void encrypt(unsigned char const* in, unsigned char* out) = 0;
    /// Undoes `encrypt`, under the same conditions.
    virtual void decrypt(unsigned char const* in, unsigned char* out) = 0;
};

/// AES under a key of 128 bits.
class SEALKIT_API AES128 : public BlockCipher {
public:
    /// Reads 16 bytes.
    explicit AES128(unsigned char const* key);
    ~AES128() override;
    unsigned blockLength() override { return 16; }
    void encrypt(unsigned char const* in, unsigned char* out) override;
    void decrypt(unsigned char const* in, unsigned char* out) override;

protected:
    std::uint32_t schedule[4 * 11]; ///< w of FIPS 197 section 5.2: four words a round key.
};

/// AES under a key of 192 bits.
class SEALKIT_API AES192 : public BlockCipher {
public:
    /// Reads 24 bytes.
    explicit AES192(unsigned char const* key);
    ~AES192() override;
    unsigned blockLength() override { return 16; }
    void encrypt(unsigned char const* in, unsigned char* out) override;
    void decrypt(unsigned char const* in, unsigned char* out) override;

protected:
    std::uint32_t schedule[4 * 13]; ///< w of FIPS 197 section 5.2: four words a round key.
};

/// AES under a key of 256 bits.
class SEALKIT_API AES256 : public BlockCipher {
public:
    /// Reads 32 bytes.
    explicit AES256(unsigned char const* key);
    ~AES256() override;
    unsigned blockLength() override { return 16; }
    void encrypt(unsigned char const* in, unsigned char* out) override;
    void decrypt(unsigned char const* in, unsigned char* out) override;

protected:
    std::uint32_t schedule[4 * 15]; ///< w of FIPS 197 section 5.2: four words a round key.
};

/// DES. The parity bits of the key, the lowest of each byte, have no effect.
class SEALKIT_API DES : public BlockCipher {
public:
    /// Reads 8 bytes.
    explicit DES(unsigned char const* key);
    ~DES() override;
    unsigned blockLength() override { return 8; }
    void encrypt(unsigned char const* in, unsigned char* out) override;
    void decrypt(unsigned char const* in, unsigned char* out) override;

protected:
    /// The subkeys K1 to K16, each in two words of 24 bits: the halves that PC-2 takes from C and from D.
    std::uint32_t subkeys[16][2];
};

/// Counter mode (SP 800-38A section 6.5) from the counter block `iv`, 16 bytes, which is advanced to the next
/// block: XORs `len` bytes at `in` with the encrypted counters and writes them to `out`, which may be the
/// same memory. Only the last 32 bits of the counter block are incremented, big-endian and modulo 2^32. A
/// partial last block uses up a whole counter block. The block length must be 16, or the process is aborted.
SEALKIT_API void CTR128_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);
/// The same operation.
SEALKIT_API void CTR128_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                                unsigned char* out);

#include "sealkit/detail/class_names_end.h"

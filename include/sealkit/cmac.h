/// AES-CMAC (SP 800-38B, RFC 4493): a message authentication code made of a block cipher.
///
/// | name            | what it is                                   | standard               |
/// | --------------- | -------------------------------------------- | ---------------------- |
/// | `AesCmac`       | the MAC of a message in any number of pieces | SP 800-38B section 6.2 |
/// | `createAesCmac` | makes one from a key                         |                        |
/// | `aesCmac`       | the MAC of a message in one piece            | RFC 4493 section 2.4   |
/// | `aesCmac128`    | the same under a key of 16 bytes             | RFC 4493 section 2.4   |
/// | `genCmacSubkey` | the two subkeys                              | RFC 4493 section 2.3   |
///
/// Keys have 16, 24 or 32 bytes, MACs have 16.
///
/// Not here: comparison. Compare a received MAC with `equalInConstantTime` (compare.h). The time is not
/// constant: AES indexes tables with secrets (`docs/timing.md`).
#pragma once

#include "sealkit/block.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"

#include <memory>
#include <span>

/// CMAC in progress. It is a `Hash` and is used like one: `update` zero or more times, then `digest`, which
/// leaves it ready for another message under the same key. Neither allocates memory.
class SEALKIT_API AesCmac : public Hash {
public:
    /// Takes AES, or any cipher with blocks of 16 bytes. The block size is not checked.
    explicit AesCmac(std::unique_ptr<BlockCipher> cipher);
    AesCmac(AesCmac const&) = delete;
    AesCmac& operator=(AesCmac const&) = delete;

    unsigned lengthFieldLength() override { return 8; }
    /// Wipes the subkeys and what was absorbed.
    ~AesCmac() override;
    void update(void const* data, unsigned len) override;
    unsigned blockLength() override { return 16; }
    unsigned digestLength() override { return 16; }
    void digest(unsigned char* out) override;
    using Hash::digest;

protected:
    std::unique_ptr<BlockCipher> aes; ///< The cipher under the key.
    unsigned char k1[16];             ///< Masks a whole last block.
    unsigned char k2[16];             ///< Masks a padded last block.
    unsigned char state[16] = {};     ///< The chaining value XOR the bytes that wait.
    unsigned waiting = 0;             ///< How many bytes wait: a whole block waits until more bytes follow.
};

/// A new CMAC under `key`, which is copied. Null if the key does not have 16, 24 or 32 bytes.
SEALKIT_API std::unique_ptr<AesCmac> createAesCmac(std::span<unsigned char const> key);

/// The subkeys, 16 bytes each, under a key of `keyLength` bytes. Writes nothing if that is not 16, 24 or 32.
SEALKIT_API void genCmacSubkey(unsigned char const* key, unsigned keyLength, unsigned char* k1,
                               unsigned char* k2);
/// The same under a key of 16 bytes.
SEALKIT_API void genCmacSubkey(unsigned char const* key, unsigned char* k1, unsigned char* k2);

/// Writes the MAC of `msgLength` bytes, 16 bytes, to `mac`. Writes nothing if `keyLength` is not 16, 24 or
/// 32.
SEALKIT_API void aesCmac(unsigned char const* key, unsigned keyLength, unsigned char const* msg,
                         unsigned msgLength, unsigned char* mac);
/// The same under a key of 16 bytes.
SEALKIT_API void aesCmac128(unsigned char const* key, unsigned char const* msg, unsigned msgLength,
                            unsigned char* mac);

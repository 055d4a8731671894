/// HMAC (RFC 2104, FIPS 198-1) over any hash, and key derivation with it.
///
/// | member                  | what it is                                                         | standard |
/// | ----------------------- | ------------------------------------------------------------------ | -------- |
/// | `HMAC`                  | a keyed digest over a hash that the caller owns                    | RFC 2104 |
/// | `OwningHMAC`            | the same over a hash that it owns                                  | RFC 2104 |
/// | `createHMAC`            | makes one from a `HashID` and a key                                |          |
/// | `HKPDF_Expand`, `HKPDF` | extract-and-expand key derivation; mind the order of the arguments | RFC 5869 |
///
/// An HMAC is itself a `Hash` and is used like one: `update` any number of times, then `digest`, which
/// leaves it ready for another message under the same key. Unlike a hash it must be given an `update`
/// (of length 0, for the empty message) or an `init` before `digest`.
///
/// Not here: comparison. Compare a received MAC with `equalInConstantTime` (compare.h).
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/wipe.h"

#include <memory>
#include <span>
#include <vector>

#include "sealkit/detail/class_names_begin.h"

/// A keyed digest over a hash that the caller owns and that must outlive it. The hash must be fresh when it
/// is passed, and must not be used otherwise while this object exists.
class SEALKIT_API HMAC : public Hash {
public:
    /// Keys `inner` with `keyLength` bytes; every length is allowed. A key longer than a block of the hash is
    /// replaced by its digest; a key of exactly one block is used unchanged.
    HMAC(Hash* inner, void const* key, unsigned keyLength);
    HMAC(HMAC const&) = delete;
    HMAC& operator=(HMAC const&) = delete;

    unsigned lengthFieldLength() override { return 8; }
    /// Wipes the key. The inner hash is unchanged.
    ~HMAC() override;
    void update(void const* data, unsigned len) override;
    unsigned blockLength() override { return inner->blockLength(); }
    unsigned digestLength() override { return inner->digestLength(); }
    /// Finishes the message. Without an `update` or `init` since the last one the inner pad is missing:
    /// the result is H(opad || H(empty message)).
    void digest(unsigned char* out) override;
    using Hash::digest;

    /// Begins a message: feeds the inner pad to the hash. `update` does so by itself.
    void init();

private:
    void feedPad(unsigned char fill);

    Hash* inner;
    bool started = false;
    unsigned char key[128]; ///< The first `keyLength` bytes are used.
    unsigned keyLength;
};

/// An HMAC that owns its hash.
class SEALKIT_API OwningHMAC : public HMAC {
public:
    /// Takes the hash, which must not be null.
    OwningHMAC(std::unique_ptr<Hash> hash, void const* key, unsigned keyLength);
    ~OwningHMAC() override;

private:
    std::unique_ptr<Hash> hash;
};

/// A new HMAC over the hash `id`, which must be known to `createHash`; this is not checked.
SEALKIT_API std::unique_ptr<class HMAC> createHMAC(unsigned id, std::span<unsigned char const> key);
SEALKIT_API std::unique_ptr<class HMAC> createHMAC(HashID id, std::span<unsigned char const> key);

/// HKDF-Expand (RFC 5869, section 2.3): `length` bytes from the pseudo-random key `prk` and `info`. The
/// length is not limited to 255 blocks: the counter byte then wraps to 0 and goes on. `hash` must be
/// fresh and is left fresh.
SEALKIT_API std::vector<unsigned char> HKPDF_Expand(Hash& hash, unsigned char const* info,
                                                    unsigned infoLength, unsigned char const* prk,
                                                    unsigned prkLength, unsigned length);

/// HKDF (RFC 5869, section 2): `length` bytes from the input keying material `ikm`. Mind the order:
/// salt, info, keying material, where the RFC has salt, keying material, info.
SEALKIT_API std::vector<unsigned char> HKPDF(Hash& hash, std::vector<unsigned char> const& salt,
                                             std::vector<unsigned char> const& info,
                                             std::vector<unsigned char> const& ikm, unsigned length);

#include "sealkit/detail/class_names_end.h"

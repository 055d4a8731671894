/// Message digests: one interface, one factory, seven algorithms.
///
/// | `HashID`  | id  | class         | digest | block | length field | standard               | name      |
/// | --------- | --- | ------------- | ------ | ----- | ------------ | ---------------------- | --------- |
/// | `MD5SHA1` | 1   | `MD5SHA1Hash` | 36     | 64    | 8            | MD5, then SHA-1        | "unknown" |
/// | `MD4`     | 2   | `MD4`         | 16     | 64    | 8            | RFC 1320               | "unknown" |
/// | `MD5`     | 3   | `MD5`         | 16     | 64    | 8            | RFC 1321               | "MD5"     |
/// | `SHA1`    | 4   | `SHA1`        | 20     | 64    | 8            | FIPS 180-4 section 6.1 | "SHA1"    |
/// | `SHA256`  | 5   | `SHA256`      | 32     | 64    | 8            | FIPS 180-4 section 6.2 | "SHA256"  |
/// | `SHA384`  | 6   | `SHA384`      | 48     | 128   | 16           | FIPS 180-4 section 6.5 | "SHA384"  |
/// | `SHA512`  | 7   | `SHA512`      | 64     | 128   | 16           | FIPS 180-4 section 6.4 | "SHA512"  |
///
/// Sizes are in bytes. A message is zero or more calls of `update` and one `digest`; the object is then ready
/// for the next message. No function fails, and an object is for one thread at a time. Each object overwrites
/// its block and its chaining state when it is destroyed.
///
/// Not here: keyed digests, and messages that are not whole bytes. MD4, MD5 and SHA-1 no longer resist
/// collisions; they are here for formats and protocols that prescribe them.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/wipe.h"

#include <cstdint>
#include <memory>
#include <string>

#include "sealkit/detail/class_names_begin.h"

/// The algorithms. Each function that takes one takes the plain number as well.
enum class HashID : unsigned {
    none = 0,    ///< No algorithm.
    MD5SHA1 = 1, ///< MD5, then SHA-1.
    MD4 = 2,     ///< RFC 1320.
    MD5 = 3,     ///< RFC 1321.
    SHA1 = 4,    ///< FIPS 180-4.
    SHA256 = 5,  ///< FIPS 180-4.
    SHA384 = 6,  ///< FIPS 180-4.
    SHA512 = 7,  ///< FIPS 180-4.
};

/// A message digest in progress. The order of the virtual functions is part of the interface.
class SEALKIT_API Hash {
public:
    /// The bytes that padding keeps free for the length of the message at the end of the last block.
    /// Classes that do not pad give 8.
    virtual unsigned lengthFieldLength() = 0;
    virtual ~Hash() = default;
    /// Absorbs the `len` bytes at `data`, which may have any alignment and may be null if `len` is 0.
    virtual void update(void const* data, unsigned len) = 0;
    /// The size of an input block in bytes, a power of two.
    virtual unsigned blockLength() = 0;
    /// The size of the digest in bytes.
    virtual unsigned digestLength() = 0;
    /// Ends the message, writes its digest, `digestLength()` bytes, to `out` and makes the object
    /// ready for a new message.
    virtual void digest(unsigned char* out) = 0;

    /// Ends the message in the same way and returns its digest as a string of `digestLength()` bytes.
    std::string digest();
};

/// The buffering and padding that the Merkle–Damgård hashes share (FIPS 180-4 section 5.1, RFC 1321 sections
/// 3.1 and 3.2). A derived class adds its chaining state, directly after the block, and the functions that
/// work on it.
///
/// Construction does not begin a message: the first `update` or `digest` that finds the counter at zero does,
/// by calling `init`.
class SEALKIT_API HashImpl : public Hash {
public:
    ~HashImpl() override { secureMemset(block, 0, sizeof block); }
    /// Begins the message if the counter is zero, even if `len` is zero; then absorbs the bytes.
    void update(void const* data, unsigned len) override { absorb(data, len); }
    using Hash::digest;

    /// Loads the initial chaining value. Called by `update` and `finish`; callers need not call it.
    virtual void init() = 0;
    /// Compresses the full block, `blockLength()` bytes, into the chaining state.
    virtual void transform() = 0;

    /// Pads the message, compresses what is left of it and sets the counter to zero. The chaining
    /// state then holds the digest. The length in bits, taken modulo 2^64, is written to the last
    /// eight bytes of the block; the rest of a longer length field is zero.
    void finish(bool littleEndianLength);

protected:
    void absorb(void const* data, unsigned len); ///< What `update` does.

    std::uint64_t counter = 0; ///< Bytes of the message so far. At zero no message has begun.
    unsigned char block[128];  ///< Bytes that wait for compression: the first `blockLength()` are used.
};

/// MD4, RFC 1320.
class SEALKIT_API MD4 : public HashImpl {
public:
    unsigned lengthFieldLength() override { return 8; }
    ~MD4() override;
    unsigned blockLength() override { return 64; }
    unsigned digestLength() override { return 16; }
    void digest(unsigned char* out) override;
    using Hash::digest;
    void init() override;
    void transform() override;

protected:
    std::uint32_t state[4]; ///< A, B, C, D
};

/// MD5, RFC 1321.
class SEALKIT_API MD5 : public HashImpl {
public:
    unsigned lengthFieldLength() override { return 8; }
    ~MD5() override;
    unsigned blockLength() override { return 64; }
    unsigned digestLength() override { return 16; }
    void digest(unsigned char* out) override;
    using Hash::digest;
    void init() override;
    void transform() override;

protected:
    std::uint32_t state[4]; ///< A, B, C, D
};

/// SHA-1, FIPS 180-4 section 6.1.
class SEALKIT_API SHA1 : public HashImpl {
public:
    unsigned lengthFieldLength() override { return 8; }
    ~SHA1() override;
    unsigned blockLength() override { return 64; }
    unsigned digestLength() override { return 20; }
    void digest(unsigned char* out) override;
    using Hash::digest;
    void init() override;
    void transform() override;

protected:
    std::uint32_t state[5]; ///< H0 to H4
};

/// SHA-256, FIPS 180-4 section 6.2.
class SEALKIT_API SHA256 : public HashImpl {
public:
    unsigned lengthFieldLength() override { return 8; }
    ~SHA256() override;
    unsigned blockLength() override { return 64; }
    unsigned digestLength() override { return 32; }
    void digest(unsigned char* out) override;
    using Hash::digest;
    void init() override;
    void transform() override;

protected:
    std::uint32_t state[8]; ///< H0 to H7
};

/// SHA-512, FIPS 180-4 section 6.4.
class SEALKIT_API SHA512 : public HashImpl {
public:
    unsigned lengthFieldLength() override { return 16; }
    ~SHA512() override;
    unsigned blockLength() override { return 128; }
    unsigned digestLength() override { return 64; }
    /// Writes the first `digestLength()` bytes of the chaining state.
    void digest(unsigned char* out) override;
    using Hash::digest;
    void init() override;
    void transform() override;

protected:
    std::uint64_t state[8]; ///< H0 to H7
};

/// SHA-384, FIPS 180-4 section 6.5: SHA-512 from another initial value, cut to 48 bytes.
class SEALKIT_API SHA384 : public SHA512 {
public:
    unsigned digestLength() override { return 48; }
    void init() override;
};

/// The MD5 digest followed by the SHA-1 digest of the same message, as TLS up to 1.1 signs it
/// (RFC 4346 section 7.4.3).
class SEALKIT_API MD5SHA1Hash : public Hash {
public:
    unsigned lengthFieldLength() override { return 8; }
    ~MD5SHA1Hash() override;
    void update(void const* data, unsigned len) override;
    unsigned blockLength() override { return 64; }
    unsigned digestLength() override { return 36; }
    void digest(unsigned char* out) override;
    using Hash::digest;

protected:
    // "class", as functions of OpenSSL have the same names.
    /// The first 16 bytes of the digest.
    class MD5 md5;
    /// The other 20 bytes.
    class SHA1 sha1;
};

/// Makes a hash object for `id`, ready for its first message. Null if `id` is unknown.
SEALKIT_API std::unique_ptr<Hash> createHash(unsigned id);
SEALKIT_API std::unique_ptr<Hash> createHash(HashID id);

/// The name of the algorithm as certificates and signatures show it. "unknown" for every other value,
/// and for `HashID::MD5SHA1` and `HashID::MD4`, which appear in neither.
SEALKIT_API std::string getHashName(HashID id);
SEALKIT_API std::string getHashName(unsigned id);

#include "sealkit/detail/class_names_end.h"

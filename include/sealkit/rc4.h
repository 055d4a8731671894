/// The stream cipher RC4.
///
/// | name  | what it is                            |
/// | ----- | ------------------------------------- |
/// | `RC4` | the key stream and encryption with it |
///
/// RC4 is broken (RFC 7465). It is only here for old formats and protocols that prescribe it. There is no IV
/// and no authentication, and its memory accesses depend on the key.
#pragma once

#include "sealkit/detail/export.h"

#include <cstdint>

#include "sealkit/detail/class_names_begin.h"

/// RC4 under one key: `setKey` first, then bytes in any number of calls.
class SEALKIT_API RC4 {
public:
    RC4() = default;
    RC4(RC4 const&) = default;
    RC4& operator=(RC4 const&) = default;
    /// Wipes the state.
    ~RC4();

    /// Begins the stream of a key of 1 to 256 bytes; further bytes are ignored. A `keyLength` of 0 aborts the
    /// process.
    void setKey(unsigned char const* key, unsigned keyLength);
    /// The next byte of the stream.
    unsigned char gen();
    /// XORs `len` bytes with the stream and writes them to `out`, which may be the same memory. Also
    /// decrypts.
    void encrypt(unsigned char const* in, unsigned char* out, unsigned len);
    /// Skips `n` bytes of the stream.
    void skip(unsigned n);

protected:
    unsigned char S[256]; ///< The permutation.
    std::uint32_t i;      ///< One ahead of the i of the usual description, which increments before use.
    std::uint32_t j;      ///< The j of that description.
};

#include "sealkit/detail/class_names_end.h"

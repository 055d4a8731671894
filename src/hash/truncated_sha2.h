/// Truncated hashes of SHA-2 with other initial values and without a `HashID`.
#pragma once

#include "sealkit/hash.h"
#include "sealkit/wipe.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace detail {

/// SHA-224, FIPS 180-4 section 6.3.
class Sha224 : public ::SHA256 {
public:
    unsigned digestLength() override { return digestSize; }
    using Hash::digest;
    void digest(unsigned char* out) override {
        unsigned char longer[32];
        ::SHA256::digest(longer);
        std::memcpy(out, longer, digestSize);
        secureMemset(longer, 0, sizeof longer);
    }
    void init() override {
        // Section 5.3.2: the second 32 bits of the fractional parts of the square roots of the ninth through
        // sixteenth primes.
        static constexpr std::uint32_t initialState[8] = {
            0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939, 0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4,
        };
        std::copy(std::begin(initialState), std::end(initialState), state);
    }

private:
    static constexpr unsigned digestSize = 28;
};

/// SHA-512/256, FIPS 180-4 section 6.7.
class Sha512_256 : public ::SHA512 {
public:
    unsigned digestLength() override { return 32; }
    void init() override {
        // Section 5.3.6.2: the SHA-512 digest of "SHA-512/256", computed with each byte of the initial value
        // XOR a5.
        static constexpr std::uint64_t initialState[8] = {
            0x22312194fc2bf72c, 0x9f555fa3c84c64c2, 0x2393b86b6f53b151, 0x963877195940eabd,
            0x96283ee2a88effe3, 0xbe5e1e2553863992, 0x2b0199fc2c85b8aa, 0x0eb72ddc81c52ca2,
        };
        std::copy(std::begin(initialState), std::end(initialState), state);
    }
};

} // namespace detail

/// GHASH (SP 800-38D section 6.4): the polynomial over GF(2^128) that authenticates in GCM.
#pragma once

#include "sealkit/hash.h"

#include <cstdint>

namespace detail {

/// GHASH with one hash subkey. Unlike a proper hash, it pads each `update` with zeros to whole blocks, as GCM
/// requires, and `digest` returns the accumulator.
class GHash final : public Hash {
public:
    /// `h` is the hash subkey, 16 bytes.
    explicit GHash(unsigned char const* h);
    GHash(GHash const&) = delete;
    GHash& operator=(GHash const&) = delete;

    unsigned lengthFieldLength() override { return 8; }
    /// Wipes table and accumulator.
    ~GHash() override;
    void update(void const* data, unsigned len) override;
    unsigned blockLength() override { return 16; }
    unsigned digestLength() override { return 16; }
    /// Writes the accumulator and resets it to zero.
    void digest(unsigned char* out) override;

private:
    /// A field element of 16 bytes in memory order, which suffices for sums, in the widest words available.
    using Element = std::uintptr_t __attribute__((vector_size(16)));

    /// table[p][n] is the product of the hash subkey and the element whose p-th group of four bits is n, with
    /// zeros elsewhere. The product with any element is the sum of 32 entries, without a reduction.
    Element table[32][16];
    Element y{}; ///< The accumulator.
};

} // namespace detail

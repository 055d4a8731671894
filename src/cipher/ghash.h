/// GHASH (SP 800-38D section 6.4): the polynomial over GF(2^128) that authenticates in GCM.
#pragma once

#include "sealkit/hash.h"

#include <cstdint>

namespace detail {

/// GHASH under one hash subkey. Unlike a proper hash it pads every `update` by itself with zeros to whole
/// blocks, as GCM needs it for additional data and ciphertext, and `digest` is the bare accumulator.
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
    /// Writes the accumulator and begins anew from zero.
    void digest(unsigned char* out) override;

private:
    /// 16 bytes of a field element in the order of memory: sums need no other. The widest words there are.
    using Element = std::uintptr_t __attribute__((vector_size(16)));

    /// table[p][n] is the product of the hash subkey and the element that is n in its p-th group of four
    /// bits, and zero elsewhere. A product with any element is the sum of 32 entries, with nothing left to
    /// reduce.
    Element table[32][16];
    Element y{}; ///< The accumulator.
};

} // namespace detail

/// The block cipher of `CipherID::Null`.
#pragma once

#include "sealkit/block.h"

namespace detail {

/// The identity on blocks of one byte.
class NullBlockCipher final : public BlockCipher {
public:
    unsigned blockLength() override { return 1; }
    void encrypt(unsigned char const* in, unsigned char* out) override { *out = *in; }
    void decrypt(unsigned char const* in, unsigned char* out) override { *out = *in; }
};

} // namespace detail

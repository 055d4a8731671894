/// Triple DES, for `createCipher`.
#pragma once

#include "sealkit/block.h"

namespace detail {

/// DES with accessible subkeys.
class OpenDES final : public DES {
public:
    using DES::DES;
    using DES::subkeys;
};

/// Triple DES with three keys: encryption, decryption, encryption (TDEA of SP 800-67).
class TripleDES : public BlockCipher {
public:
    /// Reads 24 bytes: the three keys in the order of encryption.
    explicit TripleDES(unsigned char const* key) : first(key), second(key + 8), third(key + 16) {}
    unsigned blockLength() override { return 8; }
    void encrypt(unsigned char const* in, unsigned char* out) override {
        first.encrypt(in, out);
        second.decrypt(out, out);
        third.encrypt(out, out);
    }
    void decrypt(unsigned char const* in, unsigned char* out) override {
        third.decrypt(in, out);
        second.encrypt(out, out);
        first.decrypt(out, out);
    }

protected:
    OpenDES first, second, third;
};

} // namespace detail

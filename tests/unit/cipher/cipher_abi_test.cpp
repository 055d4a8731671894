// Looks into the objects.
#include "sealkit/cipher.h"
#include "sealkit/hmac.h"
#include "sealkit/wipe.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

namespace TEST_FILE {

unsigned char const key[32] = {1, 2, 3, 4, 5, 6, 7, 8};

template <typename Base>
struct Open : Base {
    using Base::Base;
    using Base::cipher;
    using Base::iv;
    std::ptrdiff_t offset(void const* member) const {
        return static_cast<char const*>(member) - reinterpret_cast<char const*>(this);
    }
};
struct OpenRecord : Open<CBC_MAC_MP_Cipher> {
    using CBC_MAC_MP_Cipher::mac;
    using Open::Open;
};

template <typename Mode>
void expectBlockCipherAndThenIv() {
    Open<Mode> object(std::make_unique<AES128>(key));
    EXPECT_EQ(object.offset(&object.cipher), std::ptrdiff_t(sizeof(void*)));
    EXPECT_EQ(object.offset(object.iv), std::ptrdiff_t(2 * sizeof(void*)));
    static_assert(sizeof object.iv == 16);
    static_assert(sizeof(Mode) == 2 * sizeof(void*) + 16);
}

TEST(CipherAbi, ModesHoldTheBlockCipherAndThenTheIv) {
    expectBlockCipherAndThenIv<CBCCipher>();
    expectBlockCipherAndThenIv<CFB128Cipher>();
    expectBlockCipherAndThenIv<CTR128Cipher>();
}

TEST(CipherAbi, RecordCipherHoldsCipherMacAndIv) {
    OpenRecord object(createCipher(4, {key, 16}, 0), createHMAC(5, {key, 16}));
    EXPECT_EQ(object.offset(&object.cipher), std::ptrdiff_t(sizeof(void*)));
    EXPECT_EQ(object.offset(&object.mac), std::ptrdiff_t(2 * sizeof(void*)));
    EXPECT_EQ(object.offset(object.iv), std::ptrdiff_t(3 * sizeof(void*)));
    static_assert(sizeof object.iv == 16);
}

TEST(CipherAbi, RecordCipherZeroesItsIvBeforeItTakesAShortOne) {
    unsigned char const ones[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    OpenRecord object(createCipher(3, {key, 24}, 0), createHMAC(5, {key, 16}));
    std::memset(object.iv, 7, 16);
    object.setIV(ones, 8); // A whole block: the rest stays.
    EXPECT_EQ(std::string(reinterpret_cast<char*>(object.iv), 16), std::string(8, 1) + std::string(8, 7));
    object.setIV(ones, 7);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(object.iv), 16), std::string(8, 1) + std::string(8, 0));
}

struct Recorder : Cipher {
    ~Recorder() override { *log += "~"; }
    unsigned ciphertextLength(unsigned len) const override { return len + 1000; }
    unsigned blockLength() override { return 77; }
    void setIV(unsigned char const*, unsigned size) override { *log += "i" + std::to_string(size); }
    void encrypt(unsigned char const*, unsigned len, unsigned char const*, unsigned aadLength,
                 unsigned char*) override {
        *log += "e" + std::to_string(len) + "," + std::to_string(aadLength);
    }
    unsigned decrypt(unsigned char const*, unsigned len, unsigned char const*, unsigned aadLength,
                     unsigned char*) override {
        *log += "d" + std::to_string(len) + "," + std::to_string(aadLength);
        return 5;
    }
    std::string* log = nullptr;
};

TEST(CipherAbi, SlotsAreInTheirOrder) {
    std::string log;
    auto* const onHeap = new Recorder;
    alignas(Recorder) unsigned char memory[sizeof(Recorder)];
    auto* const inPlace = new (memory) Recorder;
    onHeap->log = inPlace->log = &log;
    // The tables of the Itanium C++ ABI, section 2.5: a destructor has an entry for objects of any
    // kind and one for those that are also freed.
    auto const* const table = *reinterpret_cast<void* const* const*>(onHeap);
    using Destroy = void (*)(Cipher*);
    using CiphertextLength = unsigned (*)(Cipher const*, unsigned);
    using BlockLength = unsigned (*)(Cipher*);
    using SetIV = void (*)(Cipher*, unsigned char const*, unsigned);
    using Encrypt =
        void (*)(Cipher*, unsigned char const*, unsigned, unsigned char const*, unsigned, unsigned char*);
    using Decrypt =
        unsigned (*)(Cipher*, unsigned char const*, unsigned, unsigned char const*, unsigned, unsigned char*);
    EXPECT_EQ(reinterpret_cast<CiphertextLength>(table[2])(onHeap, 3), 1003u);
    EXPECT_EQ(reinterpret_cast<BlockLength>(table[3])(onHeap), 77u);
    reinterpret_cast<SetIV>(table[4])(onHeap, nullptr, 12);
    reinterpret_cast<Encrypt>(table[5])(onHeap, nullptr, 1, nullptr, 2, nullptr);
    EXPECT_EQ(reinterpret_cast<Decrypt>(table[6])(onHeap, nullptr, 3, nullptr, 4, nullptr), 5u);
    EXPECT_EQ(log, "i12e1,2d3,4");
    log.clear();
    reinterpret_cast<Destroy>(table[0])(inPlace);
    reinterpret_cast<Destroy>(table[1])(onHeap);
    EXPECT_EQ(log, "~~");
}

struct ScopedBlockCipher : BlockCipher {
    explicit ScopedBlockCipher(bool* flag) : destroyed(flag) {}
    ~ScopedBlockCipher() override { *destroyed = true; }
    unsigned blockLength() override { return 16; }
    void encrypt(unsigned char const*, unsigned char*) override {}
    void decrypt(unsigned char const*, unsigned char*) override {}
    bool* destroyed;
};

template <typename Mode>
bool destroysItsCipher() {
    bool destroyed = false;
    { Mode const mode(std::make_unique<ScopedBlockCipher>(&destroyed)); }
    return destroyed;
}

TEST(CipherAbi, ModesDestroyTheirBlockCipher) {
    EXPECT_TRUE(destroysItsCipher<CBCCipher>());
    EXPECT_TRUE(destroysItsCipher<CFB128Cipher>());
    EXPECT_TRUE(destroysItsCipher<CTR128Cipher>());
}

/// An identity cipher that keeps what it was given where a test can see it.
struct SeenCipher : Cipher {
    unsigned ciphertextLength(unsigned len) const override { return len; }
    unsigned blockLength() override { return 16; }
    void setIV(unsigned char const*, unsigned) override {}
    void encrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                 unsigned char* out) override {
        std::memcpy(out, in, len);
        lastInput = in;
    }
    unsigned decrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                     unsigned char* out) override {
        std::memcpy(out, in, len);
        return len;
    }
    unsigned char const* lastInput = nullptr;
};

void const* wiped;
size_t wipedBytes;
void* recordWipe(void* data, int value, size_t size) {
    wiped = data;
    wipedBytes = size;
    return std::memset(data, value, size);
}

TEST(RecordCipher, OverwritesTailAndMacOfThePlaintextBeforeItReturns) {
    auto owned = std::make_unique<SeenCipher>();
    SeenCipher const& seen = *owned;
    CBC_MAC_MP_Cipher cipher(std::move(owned), createHMAC(5, {key, 16}));
    unsigned char out[64];
    auto* const before = secureMemset;
    secureMemset = recordWipe;
    cipher.encrypt(key, 20, nullptr, 0, out);
    void const* const scratch = wiped;
    size_t const scratchBytes = wipedBytes;
    wipedBytes = 0;
    unsigned const length = cipher.decrypt(out, 64, nullptr, 0, out);
    secureMemset = before;
    EXPECT_EQ(scratch, seen.lastInput);
    EXPECT_GE(scratchBytes, 4u + 32 + 12);
    EXPECT_EQ(length, 20u);
    EXPECT_GE(wipedBytes, 32u) << "the MAC that was expected";
}

} // namespace TEST_FILE

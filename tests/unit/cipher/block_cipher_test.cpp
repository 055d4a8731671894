// Looks into the objects: derives from library classes and is therefore built without RTTI, as they are.
#include "sealkit/block.h"

#include "cipher/null_block_cipher.h"
#include "cipher/triple_des.h"
#include "sealkit/wipe.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

/// Makes the bytes that a cipher holds visible.
template <typename Base>
struct Open : Base {
    using Base::Base;
    auto& words() {
        if constexpr (std::is_same_v<Base, DES>)
            return this->subkeys;
        else
            return this->schedule;
    }
};

std::unique_ptr<BlockCipher> makeAes(Bytes const& key) {
    if (key.size() == 16)
        return std::make_unique<AES128>(key.data());
    if (key.size() == 24)
        return std::make_unique<AES192>(key.data());
    return std::make_unique<AES256>(key.data());
}

/// Both directions, elsewhere, in place and misaligned, several times with one object.
void expectBlock(BlockCipher& cipher, Bytes const& plaintext, Bytes const& ciphertext) {
    unsigned const size = cipher.blockLength();
    ASSERT_EQ(plaintext.size(), size);
    for (unsigned shift = 0; shift < 8; ++shift) {
        Bytes in(shift + size), out(8 + size + 1, 0xA5);
        std::copy(plaintext.begin(), plaintext.end(), in.begin() + shift);
        cipher.encrypt(in.data() + shift, out.data() + 8 - shift);
        EXPECT_EQ(test::toHex(out.data() + 8 - shift, size), test::toHex(ciphertext));
        EXPECT_EQ(out[7 - shift], 0xA5);
        EXPECT_EQ(out[8 - shift + size], 0xA5);
        cipher.decrypt(out.data() + 8 - shift, in.data() + shift);
        EXPECT_EQ(test::toHex(in.data() + shift, size), test::toHex(plaintext));
        cipher.encrypt(in.data() + shift, in.data() + shift);
        EXPECT_EQ(test::toHex(in.data() + shift, size), test::toHex(ciphertext));
        cipher.decrypt(in.data() + shift, in.data() + shift);
        EXPECT_EQ(test::toHex(in.data() + shift, size), test::toHex(plaintext));
    }
}

std::string scheduleOf(Bytes const& key) {
    std::string text;
    auto const append = [&](auto const& words) {
        for (std::uint32_t const word : words)
            for (int shift = 24; shift >= 0; shift -= 8) {
                auto const byte = static_cast<unsigned char>(word >> shift);
                text += test::toHex(&byte, 1);
            }
    };
    if (key.size() == 16)
        append(Open<AES128>(key.data()).words());
    else if (key.size() == 24)
        append(Open<AES192>(key.data()).words());
    else
        append(Open<AES256>(key.data()).words());
    return text;
}

TEST_CASES(AES, GivesTheSchedulesAndBlocksOfFips197, "cipher/fips197.txt")(test::Case const& c) {
    Bytes const key = c.bytes("key");
    if (c.has("schedule"))
        EXPECT_EQ(scheduleOf(key), c.text("schedule"));
    else
        expectBlock(*makeAes(key), c.bytes("plaintext"), c.bytes("ciphertext"));
}

// A thousand times onto itself: every entry of every table is used many times over. The results are those of
// OpenSSL's AES in ECB mode.
TEST(AES, AgreesWithOthersThroughAThousandEncryptions) {
    struct {
        unsigned keyLength;
        char const* result;
    } const rows[] = {
        {16, "c1b94b18121294facbd119db8f7693d3"},
        {24, "30b58b1240dfb7340d7b559ab5cea1f7"},
        {32, "36b95fa4b305644a54d86be5957a24ad"},
    };
    for (auto const& row : rows) {
        auto const cipher = makeAes(Bytes(row.keyLength, 0x11));
        Bytes block(16, 0x22);
        for (int i = 0; i < 1000; ++i)
            cipher->encrypt(block.data(), block.data());
        EXPECT_EQ(test::toHex(block), row.result);
        for (int i = 0; i < 1000; ++i)
            cipher->decrypt(block.data(), block.data());
        EXPECT_EQ(block, Bytes(16, 0x22));
    }
}

TEST_CASES(DES, GivesTheBlocksOfSp800_17WhateverTheParityBits, "cipher/sp800-17.txt")(test::Case const& c) {
    Bytes key = c.bytes("key");
    DES cipher(key.data());
    expectBlock(cipher, c.bytes("plaintext"), c.bytes("ciphertext"));
    for (unsigned char& byte : key)
        byte ^= 1;
    DES other(key.data());
    expectBlock(other, c.bytes("plaintext"), c.bytes("ciphertext"));
    EXPECT_EQ(std::memcmp(Open<DES>(c.bytes("key").data()).words(), Open<DES>(key.data()).words(), 128), 0);
}

// The first and last subkeys of the example in which every step of the key 133457799BBCDFF1 is written out
// in textbooks: K1 = 000110 110000 001011 101111 111111 000111 000001 110010.
TEST(DES, KeepsEachSubkeyInTwoWordsOf24Bits) {
    Bytes const key = test::hex("133457799bbcdff1");
    Open<DES> cipher(key.data());
    auto const& subkeys = cipher.words();
    static_assert(sizeof subkeys == 16 * 2 * 4);
    EXPECT_EQ(subkeys[0][0], 0b000110'110000'001011'101111u);
    EXPECT_EQ(subkeys[0][1], 0b111111'000111'000001'110010u);
    EXPECT_EQ(subkeys[15][0], 0b110010'110011'110110'001011u);
    EXPECT_EQ(subkeys[15][1], 0b000011'100001'011111'110101u);
    for (auto const& subkey : subkeys) {
        EXPECT_LT(subkey[0], 1u << 24);
        EXPECT_LT(subkey[1], 1u << 24);
    }
}

TEST_CASES(TripleDES, GivesTheBlocksOfSp800_67, "cipher/sp800-67.txt")(test::Case const& c) {
    detail::TripleDES cipher(c.bytes("key").data());
    Bytes const plaintext = c.bytes("plaintext"), ciphertext = c.bytes("ciphertext");
    for (std::ptrdiff_t i = 0; i < 24; i += 8)
        expectBlock(cipher, Bytes(plaintext.begin() + i, plaintext.begin() + i + 8),
                    Bytes(ciphertext.begin() + i, ciphertext.begin() + i + 8));
}

TEST_CASES(TripleDES, WithThreeEqualKeysIsDes, "cipher/sp800-17.txt")(test::Case const& c) {
    Bytes const key = c.bytes("key");
    Bytes keys;
    for (int i = 0; i < 3; ++i)
        keys.insert(keys.end(), key.begin(), key.end());
    detail::TripleDES cipher(keys.data());
    expectBlock(cipher, c.bytes("plaintext"), c.bytes("ciphertext"));
}

TEST(TripleDES, HoldsThreeDesObjectsInTheOrderOfTheirKeys) {
    static_assert(sizeof(detail::TripleDES) == sizeof(BlockCipher) + 3 * sizeof(DES));
    Bytes key(24);
    for (unsigned i = 0; i < 24; ++i)
        key[i] = static_cast<unsigned char>(8 * i);
    detail::TripleDES const cipher(key.data());
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&cipher);
    for (unsigned i = 0; i < 3; ++i) {
        Open<DES> single(key.data() + 8 * i);
        unsigned char const* const held = bytes + sizeof(BlockCipher) + i * sizeof(DES) + sizeof(void*);
        EXPECT_EQ(std::memcmp(held, single.words(), sizeof single.words()), 0) << i;
    }
}

TEST(NullBlockCipher, CopiesOneByte) {
    detail::NullBlockCipher cipher;
    EXPECT_EQ(cipher.blockLength(), 1u);
    unsigned char const in[2] = {0x5C, 0x77};
    unsigned char out[2] = {0, 0xA5};
    cipher.encrypt(in, out);
    EXPECT_EQ(out[0], 0x5C);
    EXPECT_EQ(out[1], 0xA5);
    cipher.decrypt(in + 1, out);
    EXPECT_EQ(out[0], 0x77);
    EXPECT_EQ(out[1], 0xA5);
}

TEST(BlockCipherAbi, SaysTheLengthOfItsBlocks) {
    unsigned char const key[32] = {};
    EXPECT_EQ(AES128(key).blockLength(), 16u);
    EXPECT_EQ(AES192(key).blockLength(), 16u);
    EXPECT_EQ(AES256(key).blockLength(), 16u);
    EXPECT_EQ(DES(key).blockLength(), 8u);
    EXPECT_EQ(detail::TripleDES(key).blockLength(), 8u);
}

TEST(BlockCipherAbi, FieldsStandBehindTheTable) {
    static_assert(sizeof(BlockCipher) == sizeof(void*));
    static_assert(sizeof(detail::NullBlockCipher) == sizeof(void*));
    unsigned char const key[32] = {};
    auto const offsets = [&](auto object, size_t size) {
        EXPECT_EQ(reinterpret_cast<char*>(&object.words()) - reinterpret_cast<char*>(&object),
                  std::ptrdiff_t(sizeof(void*)));
        EXPECT_EQ(sizeof(object.words()), size);
    };
    offsets(Open<AES128>(key), 11 * 16);
    offsets(Open<AES192>(key), 13 * 16);
    offsets(Open<AES256>(key), 15 * 16);
    offsets(Open<DES>(key), 16 * 8);
}

struct Recorder : BlockCipher {
    ~Recorder() override { *log += "~"; }
    unsigned blockLength() override { return 77; }
    void encrypt(unsigned char const* in, unsigned char*) override { *log += in == nullptr ? "e" : "?"; }
    void decrypt(unsigned char const* in, unsigned char*) override { *log += in == nullptr ? "d" : "?"; }
    std::string* log = nullptr;
};

TEST(BlockCipherAbi, SlotsAreTwoDestructorsBlockLengthEncryptDecrypt) {
    std::string log;
    auto* const onHeap = new Recorder;
    alignas(Recorder) unsigned char memory[sizeof(Recorder)];
    auto* const inPlace = new (memory) Recorder;
    onHeap->log = inPlace->log = &log;
    // The tables of the Itanium C++ ABI, section 2.5: a destructor has an entry for objects of any
    // kind and one for those that are also freed.
    auto const* const table = *reinterpret_cast<void* const* const*>(onHeap);
    using Length = unsigned (*)(BlockCipher*);
    using Crypt = void (*)(BlockCipher*, unsigned char const*, unsigned char*);
    using Destroy = void (*)(BlockCipher*);
    EXPECT_EQ(reinterpret_cast<Length>(table[2])(onHeap), 77u);
    reinterpret_cast<Crypt>(table[3])(onHeap, nullptr, nullptr);
    reinterpret_cast<Crypt>(table[4])(onHeap, nullptr, nullptr);
    EXPECT_EQ(log, "ed");
    reinterpret_cast<Destroy>(table[0])(inPlace);
    reinterpret_cast<Destroy>(table[1])(onHeap);
    EXPECT_EQ(log, "ed~~");
}

/// Whether destroying a cipher overwrites all that lies behind its table.
template <typename Class>
void expectWiped() {
    Bytes key(32);
    for (unsigned i = 0; i < 32; ++i)
        key[i] = static_cast<unsigned char>(37 * i + 1);
    alignas(Class) static unsigned char memory[sizeof(Class)];
    auto* const cipher = new (memory) Class(key.data());
    EXPECT_FALSE(std::all_of(memory + sizeof(void*), memory + sizeof memory, [](auto c) { return c == 0; }));
    cipher->~Class();
    EXPECT_TRUE(std::all_of(memory + sizeof(void*), memory + sizeof memory, [](auto c) { return c == 0; }));
}

TEST(BlockCipher, OverwritesItsKeyWhenDestroyed) {
    expectWiped<AES128>();
    expectWiped<AES192>();
    expectWiped<AES256>();
    expectWiped<DES>();
}

size_t wipedBytes;
void* countWiped(void* data, int value, size_t size) {
    wipedBytes += size;
    return std::memset(data, value, size);
}

TEST(TripleDES, OverwritesItsThreeKeysWhenDestroyed) {
    unsigned char const key[24] = {1, 2, 3};
    auto* const before = secureMemset;
    secureMemset = countWiped;
    wipedBytes = 0;
    { detail::TripleDES const cipher(key); }
    secureMemset = before;
    EXPECT_EQ(wipedBytes, 3u * 16 * 8);
}

} // namespace TEST_FILE

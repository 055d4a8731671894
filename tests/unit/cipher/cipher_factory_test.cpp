#include "sealkit/cipher.h"

#include "support/captured_output.h"
#include "support/cipher_uses.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <map>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

Bytes numbered(unsigned size) {
    Bytes bytes(size);
    for (unsigned i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(29 * i + 5);
    return bytes;
}

TEST(CreateCipher, TakesTheKeyLengthsOfEachIdAndNoOthers) {
    test::CapturedOutput output;
    std::map<unsigned, std::vector<unsigned>> const lengths = {
        {2, {8}}, {3, {24}}, {4, {16, 24, 32}}, {5, {16, 24, 32}}, {6, {16}}, {7, {16, 32}},
    };
    for (unsigned id : {0u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 255u, 256u + 4, 0x80000004u, 0xFFFFFFFFu})
        for (unsigned size = 0; size <= 65; ++size) {
            auto const row = lengths.find(id);
            bool const taken =
                row != lengths.end() && std::count(row->second.begin(), row->second.end(), size) != 0;
            EXPECT_EQ(createCipher(id, numbered(size), 0) != nullptr, taken) << id << " " << size;
            EXPECT_EQ(createCipher(CipherID(id), numbered(size), 0) != nullptr, taken) << id << " " << size;
        }
    for (unsigned size = 0; size <= 65; ++size)
        EXPECT_TRUE(createCipher(CipherID::Null, numbered(size), 0)) << size;
    EXPECT_TRUE(createCipher(1, {}, 0));
    EXPECT_EQ(output.text(), "");
}

TEST(CreateCipher, KnowsEveryAlgorithmByNameAndNumber) {
    EXPECT_EQ(static_cast<unsigned>(CipherID::Null), 1u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::DesCbc), 2u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::TripleDesCbc), 3u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::AesCbc), 4u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::AesCtr), 5u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::AesCfb), 6u);
    EXPECT_EQ(static_cast<unsigned>(CipherID::AesGcm), 7u);
    unsigned const blocks[] = {1, 8, 8, 16, 16, 16};
    unsigned const keys[] = {0, 8, 24, 16, 16, 16};
    for (unsigned id = 1; id <= 6; ++id)
        EXPECT_EQ(createCipher(id, numbered(keys[id - 1]), 0)->blockLength(), blocks[id - 1]);
}

TEST_CASES(CreateCipher, MakesTheModesOfSp800_38a, "cipher/sp800-38a.txt")(test::Case const& c) {
    std::map<std::string, unsigned> const ids = {{"CBC", 4}, {"CTR", 5}, {"CFB", 6}};
    unsigned const id = ids.at(c.text("mode"));
    Bytes const key = c.bytes("key");
    test::CipherVector const vector = {c.bytes("iv"), {}, c.bytes("plaintext"), c.bytes("ciphertext")};
    if (id == 6 && key.size() != 16)
        return;
    // The third argument is nothing to it.
    for (unsigned const ignored : {0u, 12u, 16u, 0xFFFFFFFFu})
        test::expectCipher([&] { return createCipher(id, key, ignored); }, vector, {16, true, id != 4});
}

TEST_CASES(CreateCipher, MakesDesAndTripleDesInCbcMode, "cipher/des-cbc.txt")(test::Case const& c) {
    auto const id = static_cast<unsigned>(c.number("id"));
    Bytes const key = c.bytes("key");
    test::expectCipher([&] { return createCipher(id, key, 0); },
                       {c.bytes("iv"), {}, c.bytes("plaintext"), c.bytes("ciphertext")}, {8, true, false});
}

TEST(CreateCipher, OfIdOneChainsTheBytesWithoutAKey) {
    Bytes const iv = numbered(16), plaintext = test::hex("00000102ff55aa");
    Bytes ciphertext;
    unsigned char previous = iv[0];
    for (unsigned char const byte : plaintext)
        ciphertext.push_back(previous ^= byte);
    for (unsigned const keyLength : {0u, 1u, 16u})
        test::expectCipher([&] { return createCipher(CipherID::Null, numbered(keyLength), 0); },
                           {iv, {}, plaintext, ciphertext}, {1, true, false});
    // In figures: 05, 05, 05 ^ 01 …
    EXPECT_EQ(test::toHex(ciphertext), "05050406f9ac06");
}

TEST(CreateCipher, CopiesTheKey) {
    Bytes key = numbered(16), in = numbered(16), before(16), after(16);
    auto const cipher = createCipher(4, key, 0);
    cipher->setIV(in.data(), 16);
    cipher->encrypt(in.data(), 16, nullptr, 0, before.data());
    key.assign(16, 0);
    cipher->setIV(in.data(), 16);
    cipher->encrypt(in.data(), 16, nullptr, 0, after.data());
    EXPECT_EQ(before, after);
}

TEST(CreateCipher, DoesNotAskThePlatform) {
    EXPECT_FALSE(kp::kernelCrypto);
    EXPECT_FALSE(kp::experimentalKernelCrypto);
    static_assert(sizeof kp::kernelCrypto == 1 && sizeof kp::experimentalKernelCrypto == 1);
    auto const encrypted = [] {
        Bytes const in = numbered(32);
        Bytes out(32);
        auto const cipher = createCipher(5, numbered(32), 0);
        cipher->setIV(in.data(), 16);
        cipher->encrypt(in.data(), 32, nullptr, 0, out.data());
        return out;
    };
    Bytes const before = encrypted();
    kp::kernelCrypto = kp::experimentalKernelCrypto = true;
    EXPECT_EQ(encrypted(), before);
    kp::kernelCrypto = kp::experimentalKernelCrypto = false;
}

} // namespace TEST_FILE

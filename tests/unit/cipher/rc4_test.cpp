#include "sealkit/rc4.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <numeric>
#include <random>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

RC4 under(Bytes const& key) {
    RC4 rc4;
    rc4.setKey(key.data(), size(key));
    return rc4;
}

Bytes stream(RC4& rc4, unsigned count) {
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return rc4.gen(); });
    return bytes;
}

TEST_CASES(RC4, GivesTheStreamsOfRfc6229, "cipher/rfc6229.txt")(test::Case const& c) {
    std::mt19937 random(static_cast<unsigned>(c.index()));
    Bytes const key = c.bytes("key"), expected = c.bytes("stream");
    auto const offset = static_cast<unsigned>(c.number("offset"));
    RC4 rc4 = under(key);
    rc4.skip(offset);
    EXPECT_EQ(stream(rc4, size(expected)), expected);

    // The same object again, in place, cut at random, with the bytes before encrypted and not skipped.
    rc4.setKey(key.data(), size(key));
    Bytes message(offset + expected.size(), 0x5A);
    for (unsigned done = 0; done < message.size();) {
        unsigned const piece = random() % (size(message) - done + 1);
        rc4.encrypt(message.data() + done, message.data() + done, piece);
        done += piece;
    }
    for (unsigned k = 0; k < expected.size(); k++)
        EXPECT_EQ(message[offset + k] ^ 0x5A, expected[k]);

    RC4 other = under(key);
    Bytes plaintext(message.size());
    other.encrypt(message.data(), plaintext.data(), size(message));
    EXPECT_EQ(plaintext, Bytes(message.size(), 0x5A));
}

TEST(RC4, GivesThePublishedStreamOfKey) {
    RC4 rc4 = under({'K', 'e', 'y'});
    EXPECT_EQ(stream(rc4, 4), (Bytes{0xEB, 0x9F, 0x77, 0x81}));
}

TEST(RC4, SkippingIsDiscarding) {
    Bytes const message(100, 1);
    for (unsigned n : {0U, 1U, 2U, 255U, 256U, 257U, 1000U}) {
        RC4 skipping = under({1, 2, 3}), discarding = under({1, 2, 3});
        skipping.skip(n);
        stream(discarding, n);
        Bytes a(100), b(100);
        skipping.encrypt(message.data(), a.data(), 100);
        discarding.encrypt(message.data(), b.data(), 100);
        EXPECT_EQ(a, b) << n;
    }
}

TEST(RC4, EncryptsNothingOfNothing) {
    RC4 rc4 = under({1, 2, 3}), other = under({1, 2, 3});
    rc4.encrypt(nullptr, nullptr, 0);
    EXPECT_EQ(stream(rc4, 10), stream(other, 10));
}

TEST(RC4, ACopyGoesItsOwnWay) {
    RC4 rc4 = under({1, 2, 3});
    rc4.skip(5);
    RC4 copy = rc4;
    EXPECT_EQ(stream(copy, 10), stream(rc4, 10));
}

TEST(RC4, OnlyTheFirst256BytesOfAKeyCount) {
    Bytes key(256);
    std::iota(key.begin(), key.end(), static_cast<unsigned char>(7));
    Bytes longer = key;
    longer.push_back(1);
    RC4 rc4 = under(key), other = under(longer);
    EXPECT_EQ(stream(rc4, 300), stream(other, 300));
    key[255] ^= 1;
    RC4 third = under(key);
    other = under(longer);
    EXPECT_NE(stream(third, 300), stream(other, 300));
}

TEST(RC4DeathTest, WantsAKey) {
    RC4 rc4;
    EXPECT_DEATH(rc4.setKey(nullptr, 0), "rc4\\.cpp:[0-9]+: setKey: Assertion `keyLength != 0' failed");
}

TEST(RC4, FieldsStandInTheirOrder) {
    ASSERT_EQ(sizeof(RC4), 256U + 4 + 4);
    RC4 rc4 = under({1});
    auto const* bytes = reinterpret_cast<unsigned char const*>(&rc4);
    Bytes permutation(bytes, bytes + 256);
    auto index = [&](size_t at) {
        std::uint32_t value;
        std::memcpy(&value, bytes + at, sizeof value);
        return value;
    };
    EXPECT_EQ(index(256), 1U);
    EXPECT_EQ(index(260), 0U);
    unsigned const s1 = permutation[1];
    rc4.gen();
    EXPECT_EQ(index(256), 2U);
    EXPECT_EQ(index(260), s1);
    rc4.skip(254);
    EXPECT_EQ(index(256), 0U); // Modulo 256.
    std::sort(permutation.begin(), permutation.end());
    for (unsigned k = 0; k < 256; k++)
        EXPECT_EQ(permutation[k], k);
}

TEST(RC4, WipesItsState) {
    alignas(RC4) unsigned char memory[sizeof(RC4)];
    auto* const rc4 = new (memory) RC4;
    rc4->setKey(memory, 5);
    rc4->skip(10);
    rc4->~RC4();
    EXPECT_TRUE(std::all_of(memory, memory + sizeof memory, [](unsigned char byte) { return byte == 0; }));
}

} // namespace TEST_FILE

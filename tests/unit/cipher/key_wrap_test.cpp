#include "sealkit/key_wrap.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

TEST_CASES(KeyWrap, OfTheStandard, "cipher/rfc3394.txt")(test::Case const& c) {
    Bytes const kek = c.bytes("kek"), key = c.bytes("key"), wrapped = c.bytes("wrapped");
    Bytes out(wrapped.size()), again(key.size());
    EXPECT_TRUE(wrapKey(kek, key, out));
    EXPECT_EQ(out, wrapped);
    EXPECT_TRUE(unwrapKey(kek, wrapped, again));
    EXPECT_EQ(again, key);
}

TEST(KeyWrap, RefusesEveryChangeAndLeavesZeros) {
    Bytes const kek(16, 7), key(24, 9);
    Bytes wrapped(32);
    ASSERT_TRUE(wrapKey(kek, key, wrapped));
    for (size_t i = 0; i < wrapped.size(); i++) {
        Bytes changed = wrapped, out(24, 0xA5);
        changed[i] ^= 0x10;
        EXPECT_FALSE(unwrapKey(kek, changed, out)) << i;
        EXPECT_EQ(out, Bytes(24));
    }
    Bytes out(24, 0xA5);
    EXPECT_FALSE(unwrapKey(Bytes(16, 8), wrapped, out));
    EXPECT_EQ(out, Bytes(24));
}

TEST(KeyWrap, RefusesOtherSizes) {
    auto const wraps = [](size_t kek, size_t key, size_t wrapped) {
        Bytes out(wrapped, 0xA5), back(key, 0xA5);
        bool const isWrapped = wrapKey(Bytes(kek), Bytes(key), out);
        EXPECT_TRUE(isWrapped || out == Bytes(wrapped));
        EXPECT_EQ(isWrapped && unwrapKey(Bytes(kek), out, back), isWrapped);
        EXPECT_TRUE(isWrapped || !unwrapKey(Bytes(kek), Bytes(wrapped), back));
        return isWrapped;
    };
    EXPECT_TRUE(wraps(16, 16, 24));
    EXPECT_TRUE(wraps(24, 1000, 1008));
    EXPECT_FALSE(wraps(15, 16, 24));
    EXPECT_FALSE(wraps(0, 16, 24));
    EXPECT_FALSE(wraps(16, 8, 16));
    EXPECT_FALSE(wraps(16, 0, 8));
    EXPECT_FALSE(wraps(16, 17, 25));
    EXPECT_FALSE(wraps(16, 16, 25));
    EXPECT_FALSE(wraps(16, 16, 16));
}

} // namespace TEST_FILE

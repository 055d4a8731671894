#include "sealkit/pbkdf2.h"

#include "support/allocation_count.h"
#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

// One published case has 2^24 iterations.
unsigned const maxIterations = test::lessWhenSlow(1u << 24, 100'000u);

Bytes derive(HashID id, Bytes const& password, Bytes const& salt, unsigned iterations, size_t size) {
    Bytes key(size);
    EXPECT_TRUE(pbkdf2(id, password, salt, iterations, key));
    return key;
}

TEST_CASES(Pbkdf2, GivesTheKeysOfAnotherImplementation, "hash/pbkdf2.txt")(test::Case const& c) {
    Bytes const key = c.bytes("key");
    auto const hash = static_cast<HashID>(c.number("hash"));
    auto const iterations = static_cast<unsigned>(c.number("iterations"));
    EXPECT_EQ(derive(hash, c.bytes("password"), c.bytes("salt"), iterations, key.size()), key);
}

TEST_CASES(Pbkdf2, AgreesWithWycheproof, "wycheproof/pbkdf2_hmacsha1.txt", "wycheproof/pbkdf2_hmacsha256.txt")
(test::Case const& c) {
    HashID const id = c.file().ends_with("sha1") ? HashID::SHA1 : HashID::SHA256;
    c.ignore({"flags"});
    Bytes const password = c.bytes("password"), salt = c.bytes("salt"), key = c.bytes("dk");
    auto const iterations = static_cast<unsigned>(c.number("iterationCount"));
    EXPECT_EQ(c.number("dkLen"), key.size());
    EXPECT_EQ(c.text("result"), "valid");
    if (iterations > maxIterations)
        GTEST_SKIP() << iterations << " iterations";
    EXPECT_EQ(derive(id, password, salt, iterations, key.size()), key);
}

TEST(Pbkdf2, AShorterKeyIsTheBeginningOfALongerOne) {
    Bytes const password{1, 2, 3}, salt{4, 5};
    Bytes const whole = derive(HashID::SHA256, password, salt, 7, 100);
    for (size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(derive(HashID::SHA256, password, salt, 7, size),
                  Bytes(whole.begin(), whole.begin() + size));
}

TEST(Pbkdf2, TouchesNothingBehindTheKey) {
    Bytes memory(40, 0xEE);
    EXPECT_TRUE(pbkdf2(HashID::SHA1, Bytes{1}, Bytes{2}, 2, std::span(memory).first(21)));
    EXPECT_TRUE(std::all_of(memory.begin() + 21, memory.end(), [](auto byte) { return byte == 0xEE; }));
}

TEST(Pbkdf2, RefusesOtherHashesAndACountOfZero) {
    Bytes const untouched(20, 0xEE);
    Bytes key = untouched;
    for (HashID id : {HashID::none, HashID::MD5SHA1, HashID::MD4, HashID::MD5, static_cast<HashID>(8)})
        EXPECT_FALSE(pbkdf2(id, Bytes{1}, Bytes{2}, 1, key));
    EXPECT_FALSE(pbkdf2(HashID::SHA256, Bytes{1}, Bytes{2}, 0, key));
    EXPECT_EQ(key, untouched);
}

TEST(Pbkdf2, LeavesNothingOnTheHeapSinceItTakesNothingFromIt) {
    Bytes const password(200, 7), salt(9, 8);
    Bytes key(70);
    EXPECT_EQ(test::allocationsOf([&] { pbkdf2(HashID::SHA512, password, salt, 3, key); }), 0u);
}

} // namespace TEST_FILE

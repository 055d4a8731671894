#include "sealkit/x963_kdf.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

HashID hashOf(std::string const& name) {
    return name == "SHA1"     ? HashID::SHA1
           : name == "SHA256" ? HashID::SHA256
           : name == "SHA384" ? HashID::SHA384
                              : HashID::SHA512;
}

TEST_CASES(X963Kdf, OfPublishedKeys, "hash/x963.txt")(test::Case const& c) {
    Bytes const expected = c.bytes("key");
    Bytes key(expected.size());
    EXPECT_TRUE(x963Kdf(hashOf(c.text("hash")), c.bytes("secret"), c.bytes("info"), key));
    EXPECT_EQ(key, expected);
    // A shorter key is the beginning of a longer one.
    Bytes shorter(expected.size() / 2);
    EXPECT_TRUE(x963Kdf(hashOf(c.text("hash")), c.bytes("secret"), c.bytes("info"), shorter));
    EXPECT_TRUE(std::equal(shorter.begin(), shorter.end(), expected.begin()));
}

TEST(X963Kdf, LeavesTheKeyWhereTheHashIsUnknown) {
    Bytes key(16, 3);
    EXPECT_FALSE(x963Kdf(HashID::none, Bytes(16), Bytes(), key));
    EXPECT_EQ(key, Bytes(16, 3));
    Bytes nothing;
    EXPECT_TRUE(x963Kdf(HashID::SHA256, Bytes(16), Bytes(), nothing));
}

} // namespace TEST_FILE

#include "sealkit/hash.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

struct Row {
    HashID id;
    unsigned number;
    unsigned digestLength, blockLength, lengthFieldLength;
    char const* name;
};

constexpr Row table[] = {
    {HashID::MD5SHA1, 1, 36, 64, 8, "unknown"}, {HashID::MD4, 2, 16, 64, 8, "unknown"},
    {HashID::MD5, 3, 16, 64, 8, "MD5"},         {HashID::SHA1, 4, 20, 64, 8, "SHA1"},
    {HashID::SHA256, 5, 32, 64, 8, "SHA256"},   {HashID::SHA384, 6, 48, 128, 16, "SHA384"},
    {HashID::SHA512, 7, 64, 128, 16, "SHA512"},
};

template <typename Class>
std::string digestOfAbc() {
    Class hash;
    hash.update("abc", 3);
    return hash.digest();
}

TEST(HashFactory, makes_each_algorithm_with_its_sizes) {
    for (Row const& row : table) {
        EXPECT_EQ(static_cast<unsigned>(row.id), row.number);
        for (auto const& hash : {createHash(row.id), createHash(row.number)}) {
            ASSERT_TRUE(hash) << row.number;
            EXPECT_EQ(hash->digestLength(), row.digestLength) << row.number;
            EXPECT_EQ(hash->blockLength(), row.blockLength) << row.number;
            EXPECT_EQ(hash->lengthFieldLength(), row.lengthFieldLength) << row.number;
            EXPECT_EQ(hash->digest().size(), row.digestLength) << row.number;
        }
    }
}

TEST(HashFactory, makes_the_class_of_each_algorithm) {
    auto const made = [](unsigned id) {
        auto hash = createHash(id);
        hash->update("abc", 3);
        return hash->digest();
    };
    EXPECT_EQ(made(1), digestOfAbc<MD5SHA1Hash>());
    EXPECT_EQ(made(2), digestOfAbc<MD4>());
    EXPECT_EQ(made(3), digestOfAbc<MD5>());
    EXPECT_EQ(made(4), digestOfAbc<SHA1>());
    EXPECT_EQ(made(5), digestOfAbc<SHA256>());
    EXPECT_EQ(made(6), digestOfAbc<SHA384>());
    EXPECT_EQ(made(7), digestOfAbc<SHA512>());
}

TEST(HashFactory, makes_nothing_for_other_ids_and_says_nothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(createHash(HashID::none));
    for (unsigned id : {0u, 8u, 9u, 256u + 5u, 0x80000005u, 0xffffffffu})
        EXPECT_FALSE(createHash(id)) << id;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HashName, is_that_of_the_table) {
    for (Row const& row : table) {
        EXPECT_EQ(getHashName(row.id), row.name);
        EXPECT_EQ(getHashName(row.number), row.name);
    }
}

// MD4 and MD5+SHA-1 appear in no certificate: the table has no name for them.
TEST(HashName, is_unknown_for_the_factorys_own_ids) {
    EXPECT_EQ(getHashName(1), "unknown");
    EXPECT_EQ(getHashName(2), "unknown");
}

TEST(HashName, is_unknown_for_what_is_no_algorithm) {
    EXPECT_EQ(getHashName(HashID::none), "unknown");
    for (unsigned id : {0u, 8u, 256u + 5u, 0xffffffffu})
        EXPECT_EQ(getHashName(id), "unknown") << id;
}

} // namespace TEST_FILE

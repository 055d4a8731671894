#include "sealkit/scrypt.h"

#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

ScryptParams paramsOf(test::Case const& c) {
    return {c.number("N"), static_cast<std::uint32_t>(c.number("r")),
            static_cast<std::uint32_t>(c.number("p"))};
}

TEST_CASES(Scrypt, GivesTheKeysOfTheStandard, "hash/scrypt.txt")(test::Case const& c) {
    Bytes const expected = c.bytes("key"), password = c.bytes("password"), salt = c.bytes("salt");
    ScryptParams const params = paramsOf(c);
    if (params.cost * params.blockSize * params.parallelization > test::lessWhenSlow(1u << 23, 1u << 15))
        GTEST_SKIP() << "takes long here";
    Bytes key(expected.size());
    EXPECT_TRUE(scrypt(password, salt, params, key));
    EXPECT_EQ(key, expected);
}

TEST(Scrypt, RejectsParametersThatAreNotThoseOfTheStandard) {
    constexpr std::uint32_t maxNumber = std::numeric_limits<std::uint32_t>::max();
    for (ScryptParams const params : {ScryptParams{0, 8, 1},
                                      {1, 8, 1},
                                      {3, 8, 1},
                                      {16, 0, 1},
                                      {16, 8, 0},
                                      {1u << 16, 1, 1},
                                      {16, 8, maxNumber},
                                      {16, maxNumber, maxNumber}}) {
        EXPECT_FALSE(isScryptCost(params));
        Bytes key(3, 7);
        EXPECT_FALSE(scrypt({}, {}, params, key));
        EXPECT_EQ(key, Bytes(3, 7));
    }
    EXPECT_TRUE(isScryptCost({1u << 15, 1, 1}));
    EXPECT_TRUE(isScryptCost({std::uint64_t{1} << 63, 4, 1}));
}

TEST(Scrypt, RejectsWhatTakesMoreMemoryOrTimeThanTheLimits) {
    EXPECT_TRUE(isScryptWithinLimits({1u << 17, 8, 1}));
    EXPECT_TRUE(isScryptWithinLimits({1u << 17, 8, 8}));
    EXPECT_TRUE(isScryptWithinLimits({1u << 15, 32, 8}));
    for (ScryptParams const params : {ScryptParams{1u << 18, 8, 1},
                                      {1u << 17, 8, 9},
                                      {1u << 17, 9, 1},
                                      {std::uint64_t{1} << 63, 8, 1},
                                      {2, 1u << 30, 1},
                                      {2, 4, 1u << 22},
                                      {2, 1u << 22, 3}}) {
        EXPECT_FALSE(isScryptWithinLimits(params)) << params.cost;
        Bytes key(3, 7);
        EXPECT_FALSE(scrypt({}, {}, params, key));
        EXPECT_EQ(key, Bytes(3, 7));
    }
}

TEST(Scrypt, FillsNothing) { EXPECT_TRUE(scrypt({}, {}, {2, 1, 1}, {})); }

} // namespace

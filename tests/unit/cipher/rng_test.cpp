#include "sealkit/rng.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <type_traits>
#include <vector>

namespace {

TEST(KernelRand, FillsExactlyTheBytesAskedFor) {
    for (bool const insecure : {false, true}) {
        std::array<unsigned char, 66> buffer{};
        ASSERT_TRUE(kernelRand(buffer.data() + 1, 64, insecure));
        EXPECT_EQ(buffer.front(), 0);
        EXPECT_EQ(buffer.back(), 0);
        // 64 random bytes are all zero once in 2^512.
        EXPECT_TRUE(std::any_of(buffer.begin(), buffer.end(), [](unsigned char b) { return b != 0; }));
    }
}

TEST(KernelRand, GivesOtherBytesEachTime) {
    std::array<unsigned char, 32> first{}, second{};
    ASSERT_TRUE(kernelRand(first.data(), first.size(), false));
    ASSERT_TRUE(kernelRand(second.data(), second.size(), false));
    EXPECT_NE(first, second);
}

TEST(KernelRand, FillsMoreThanOneSystemCallPromises) {
    // The kernel promises 256 bytes in one piece.
    std::vector<unsigned char> buffer(1 << 20);
    ASSERT_TRUE(kernelRand(buffer.data(), static_cast<unsigned>(buffer.size()), false));
    for (size_t at = 0; at < buffer.size(); at += 64)
        ASSERT_TRUE(std::any_of(&buffer[at], &buffer[at] + 64, [](unsigned char b) { return b != 0; }));
}

TEST(KernelRand, NothingToFillSucceeds) { EXPECT_TRUE(kernelRand(nullptr, 0, false)); }

TEST(DefaultRng, IsOneObject) { EXPECT_EQ(&getDefaultRng(), &getDefaultRng()); }

TEST(DefaultRng, Fills) {
    Rng const& rng = getDefaultRng();
    std::array<unsigned char, 32> secure{}, insecure{};
    EXPECT_TRUE(rng.fill(secure.data(), secure.size()));
    EXPECT_TRUE(rng.fillInsecure(insecure.data(), insecure.size()));
    EXPECT_NE(secure, decltype(secure){});
    EXPECT_NE(insecure, decltype(insecure){});
    EXPECT_TRUE(rng.fill(nullptr, 0));
}

TEST(Rng, IsAnInterfaceWithoutState) {
    EXPECT_TRUE(std::is_abstract_v<Rng>);
    EXPECT_TRUE(std::has_virtual_destructor_v<Rng>);
    EXPECT_EQ(sizeof(Rng), sizeof(void*));
}

} // namespace

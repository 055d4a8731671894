#include "sealkit/mlkem.h"
#include "sealkit/rng.h"

#include "support/kernel_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <dlfcn.h>

namespace {

unsigned calls = 0;

} // namespace

/// As another library may define it. The program's own takes the place of the library's in all its calls by
/// name.
extern "C" int randombytes(uint8_t* out, size_t length) {
    ++calls;
    std::fill_n(out, length, 0);
    return 0;
}

namespace {

TEST(ForeignRandombytes, TakesThePlaceOfTheExportedOne) {
    using Function = int (*)(uint8_t*, size_t);
    unsigned const before = calls;
    unsigned char byte = 1;
    EXPECT_EQ(reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, "randombytes"))(&byte, 1), 0);
    EXPECT_EQ(byte, 0);
    EXPECT_EQ(calls, before + 1);
}

TEST(ForeignRandombytes, GivesMlKemNothing) {
    unsigned const before = calls;
    MLKEMDecap first, second;
    ASSERT_TRUE(first.generate());
    ASSERT_TRUE(second.generate());
    EXPECT_FALSE(std::equal(std::begin(first.publicKey), std::end(first.publicKey), second.publicKey));
    MLKEMEncap one, other;
    EXPECT_NE(one.encap(first.publicKey), other.encap(first.publicKey));
    EXPECT_FALSE(std::equal(std::begin(one.sharedSecret), std::end(one.sharedSecret), other.sharedSecret));
    EXPECT_EQ(calls, before);
}

TEST(ForeignRandombytes, LeavesTheKernelAsTheOnlySource) {
    test::KernelBytes const kernel(std::vector<unsigned char>{1, 2, 3, 5, 7});
    MLKEMDecap owner;
    ASSERT_TRUE(owner.generate());
    MLKEMEncap sender;
    EXPECT_FALSE(sender.encap(owner.publicKey).empty());
    EXPECT_EQ(kernel.asked(), (std::vector<size_t>{64, 32}));
}

} // namespace

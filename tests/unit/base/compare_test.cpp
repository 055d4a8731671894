#include "sealkit/compare.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

TEST(EqualInConstantTime, ComparesSizesAndEveryByte) {
    for (size_t const size : {size_t{0}, size_t{1}, size_t{16}, size_t{33}, size_t{1000}}) {
        Bytes bytes(size);
        for (size_t i = 0; i < size; i++)
            bytes[i] = static_cast<unsigned char>(i * 37);
        Bytes other = bytes;
        EXPECT_TRUE(equalInConstantTime(bytes, other)) << size;
        for (size_t i = 0; i < size; i++)
            for (unsigned const bit : {0x01u, 0x80u}) {
                other[i] = static_cast<unsigned char>(other[i] ^ bit);
                EXPECT_FALSE(equalInConstantTime(bytes, other)) << size << ", byte " << i;
                other[i] = bytes[i];
            }
        other.push_back(0);
        EXPECT_FALSE(equalInConstantTime(bytes, other)) << size;
        EXPECT_FALSE(equalInConstantTime(other, bytes)) << size;
    }
}

TEST(EqualInConstantTime, TakesEmptyBlobsForEqual) {
    unsigned char const byte = 0;
    EXPECT_TRUE(equalInConstantTime({}, {&byte, 0}));
    EXPECT_FALSE(equalInConstantTime({}, {&byte, 1}));
}

/// Differences in several bytes that cancel out when they are added or combined by XOR.
TEST(EqualInConstantTime, LetsNoDifferencesCancelOut) {
    EXPECT_FALSE(equalInConstantTime(Bytes{1, 2}, Bytes{2, 1}));
    EXPECT_FALSE(equalInConstantTime(Bytes{0x80, 0x80}, Bytes{0, 0}));
}

} // namespace TEST_FILE

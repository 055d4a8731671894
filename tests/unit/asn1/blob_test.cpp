#include "sealkit/blob.h"

#include <gtest/gtest.h>

namespace {

TEST(Blob, DefaultIsEmpty) {
    asn1::blob empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.data(), nullptr);
}

TEST(Blob, PopFrontPastTheEndAborts) {
    asn1::blob empty;
    EXPECT_DEATH(empty.pop_front(), "^[^ ]*: \\.\\./include/sealkit/blob\\.h:[0-9]+: pop_front: Assertion `start < finish' failed");
    asn1::blob two("ab");
    EXPECT_DEATH(two.pop_front(3), "\\.\\./include/sealkit/blob\\.h:[0-9]+: pop_front: Assertion `start \\+ sz <= finish' failed");
}

TEST(Blob, PopFrontTakesFromTheFront) {
    asn1::blob text("abc");
    EXPECT_EQ(text.pop_front(), 'a');
    EXPECT_EQ(text.pop_front(2), asn1::blob("bc"));
    EXPECT_TRUE(text.empty());
}

TEST(Blob, BitStringContentDropsTheCountOfUnusedBits) {
    EXPECT_TRUE(bitStringContent(asn1::blob{}).empty());
    unsigned char const bits[] = {7, 0x80};
    EXPECT_EQ(bitStringContent(asn1::blob(bits, 2)), asn1::blob(bits + 1, 1));
}

} // namespace

#include "sealkit/blob.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace TEST_FILE {

TEST(Blob, IsTwoPointersStartFirst) {
    static_assert(std::is_trivially_copyable_v<asn1::blob>);
    EXPECT_EQ(sizeof(asn1::blob), 2 * sizeof(void*));
    asn1::blob view;
    EXPECT_EQ(static_cast<void*>(&view.start), static_cast<void*>(&view));
    EXPECT_EQ(static_cast<void*>(&view.finish), static_cast<void*>(&view.start + 1));
}

TEST(Blob, DefaultIsEmpty) {
    asn1::blob empty;
    EXPECT_TRUE(empty.empty());
    EXPECT_EQ(empty.size(), 0u);
    EXPECT_EQ(empty.start, nullptr);
    EXPECT_EQ(empty.finish, nullptr);
    EXPECT_EQ(empty.data(), nullptr);
    EXPECT_TRUE(asn1::blob(nullptr, 0).empty());
    EXPECT_TRUE(asn1::blob(nullptr, size_t{0}).empty());
    EXPECT_TRUE(asn1::blob(nullptr, nullptr).empty());
}

TEST(Blob, ViewsWhatItIsMadeFromWithoutCopying) {
    unsigned char const array[] = {'a', 'b', 'c'};
    std::vector<unsigned char> const vector(array, array + 3);
    std::string const string = "abc";
    std::string_view const view = string;
    char const* const literal = "abc";

    EXPECT_EQ(asn1::blob(array).start, array);
    EXPECT_EQ(asn1::blob(array, array + 3).finish, array + 3);
    EXPECT_EQ(asn1::blob(array, 2).finish, array + 2);
    EXPECT_EQ(asn1::blob(array, 0).finish, array);
    EXPECT_EQ(asn1::blob(vector).start, vector.data());
    EXPECT_EQ(asn1::blob(string).start, reinterpret_cast<unsigned char const*>(string.data()));
    EXPECT_EQ(asn1::blob(view).start, reinterpret_cast<unsigned char const*>(string.data()));
    EXPECT_EQ(asn1::blob(literal, 2).start, reinterpret_cast<unsigned char const*>(literal));
    for (asn1::blob made :
         {asn1::blob(array), asn1::blob(array, array + 3), asn1::blob(vector), asn1::blob(string),
          asn1::blob(view), asn1::blob(literal), asn1::blob(literal, 3)})
        EXPECT_EQ(std::string(made.begin(), made.end()), "abc");
}

TEST(Blob, PopFrontTakesFromTheFront) {
    asn1::blob text("abcd");
    EXPECT_EQ(text.pop_front(), 'a');
    asn1::blob const middle = text.pop_front(2);
    EXPECT_EQ(middle, asn1::blob("bc"));
    EXPECT_EQ(middle.finish, text.start);
    EXPECT_EQ(text.pop_front(0).size(), 0u);
    EXPECT_EQ(text.pop_front(1), asn1::blob("d"));
    EXPECT_TRUE(text.empty());
    EXPECT_TRUE(text.pop_front(0).empty());
}

TEST(Blob, PopFrontPastTheEndAborts) {
    asn1::blob empty;
    EXPECT_DEATH(empty.pop_front(),
                 "\\.\\./include/sealkit/blob\\.h:[0-9]+: pop_front: Assertion `start < finish' failed");
    asn1::blob two("ab");
    EXPECT_DEATH(
        two.pop_front(3),
        "\\.\\./include/sealkit/blob\\.h:[0-9]+: pop_front: Assertion `start \\+ sz <= finish' failed");
    // A size that would carry the pointer round the end of memory.
    EXPECT_DEATH(two.pop_front(SIZE_MAX), "Assertion `start \\+ sz <= finish' failed");
}

TEST(Blob, EqualityComparesSizesAndBytes) {
    std::vector<unsigned char> const one{1, 2, 3}, same{1, 2, 3}, longer{1, 2, 3, 4}, other{1, 2, 4};
    EXPECT_EQ(asn1::blob(one), asn1::blob(one));
    EXPECT_EQ(asn1::blob(one), asn1::blob(same));
    EXPECT_NE(asn1::blob(one), asn1::blob(longer));
    EXPECT_NE(asn1::blob(one), asn1::blob(other));
    EXPECT_NE(asn1::blob(one), asn1::blob());
    // Two empty ones are equal wherever they point, null included.
    EXPECT_EQ(asn1::blob(), asn1::blob(""));
    EXPECT_EQ(asn1::blob(""), asn1::blob());
}

TEST(Blob, BitStringContentDropsTheCountOfUnusedBits) {
    EXPECT_TRUE(bitStringContent(asn1::blob{}).empty());
    unsigned char const bits[] = {7, 0x80};
    EXPECT_EQ(bitStringContent(asn1::blob(bits)), asn1::blob(bits + 1, 1));
    // The count itself is not looked at.
    unsigned char const impossible[] = {0xFF, 0x80};
    EXPECT_EQ(bitStringContent(asn1::blob(impossible)), asn1::blob(impossible + 1, 1));
    EXPECT_TRUE(bitStringContent(asn1::blob(bits, 1)).empty());
}

} // namespace TEST_FILE

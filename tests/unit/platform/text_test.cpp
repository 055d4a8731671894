#include "kp/text.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

TEST(Hex2bin, ReadsDigitsOfBothCases) {
    Bytes out;
    EXPECT_TRUE(hex2bin("00ff09afAF", &out));
    EXPECT_EQ(out, (Bytes{0x00, 0xff, 0x09, 0xaf, 0xaf}));
}

TEST(Hex2bin, ReplacesWhatWasThere) {
    Bytes out = {1, 2, 3};
    EXPECT_TRUE(hex2bin("", &out));
    EXPECT_TRUE(out.empty());
}

TEST(Hex2bin, RefusesAnOddCount) {
    Bytes out = {1};
    EXPECT_FALSE(hex2bin("abc", &out));
    EXPECT_TRUE(out.empty());
}

TEST(Hex2bin, RefusesEverythingButDigits) {
    std::string const digits = "0123456789abcdefABCDEF";
    for (unsigned value = 0; value < 256; ++value) {
        std::string text = "00000000";
        for (size_t place : {4, 5}) {
            text[place] = static_cast<char>(value);
            Bytes out = {1};
            bool const isDigit = digits.find(text[place]) != digits.npos;
            EXPECT_EQ(hex2bin(text, &out), isDigit) << value;
            EXPECT_EQ(out.size(), isDigit ? 4u : 0u);
            text[place] = '0';
        }
    }
}

TEST(Str2lower, ChangesOnlyAsciiCapitals) {
    EXPECT_EQ(str2lower("WWW.Example.COM"), "www.example.com");
    for (unsigned value = 0; value < 256; ++value) {
        char const c = static_cast<char>(value);
        bool const capital = c >= 'A' && c <= 'Z';
        EXPECT_EQ(str2lower(std::string_view(&c, 1)),
                  std::string(1, capital ? static_cast<char>(value + 32) : c));
    }
    EXPECT_EQ(str2lower(""), "");
}

} // namespace TEST_FILE

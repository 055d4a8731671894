#include "sealkit/text.h"

#include "base/utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>

namespace TEST_FILE {

std::string utf8(char32_t point) {
    std::string text;
    detail::appendUtf8(text, point);
    return text;
}

std::string escaped(std::string const& bytes) {
    std::string text;
    for (unsigned char const byte : bytes)
        for (char const c : {'\\', 'x', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]})
            text += c;
    return text;
}

/// What `printable` made its result of.
std::optional<std::string> unescape(std::string_view text) {
    auto const digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
    std::string result;
    for (size_t i = 0; i < text.size(); i++)
        if (text[i] != '\\') {
            result += text[i];
        } else if (text.substr(i, 2) == "\\\\") {
            result += '\\';
            i++;
        } else if (text.substr(i, 2) == "\\x" && text.size() - i >= 4) {
            result += static_cast<char>(digit(text[i + 2]) << 4 | digit(text[i + 3]));
            i += 3;
        } else {
            return std::nullopt;
        }
    return result;
}

TEST(Printable, LeavesOrdinaryTextAsItIs) {
    for (std::string const text :
         {"", "CN=Müller, O=\"A & B\"", "Ω Ж 漢字 한글 עברית العربية 🔑", "e\u0301 \uFFFC"}) {
        EXPECT_EQ(printable(text), text);
        EXPECT_EQ(printableLine(text), text);
    }
}

TEST(Printable, EscapesControlsByteByByte) {
    EXPECT_EQ(printable("a\x1b[31m\r\n\tb\x7f"), R"(a\x1b[31m\x0d\x0a\x09b\x7f)");
    EXPECT_EQ(printable(std::string_view("\0", 1)), R"(\x00)");
    EXPECT_EQ(printable("\u009b2J"), R"(\xc2\x9b2J)");
}

TEST(Printable, EscapesWhatIsNotUtf8) {
    EXPECT_EQ(printable("\xff\xfe"), R"(\xff\xfe)");
    EXPECT_EQ(printable("\xc0\xaf"), R"(\xc0\xaf)") << "too long a form";
    EXPECT_EQ(printable("\xed\xa0\x80"), R"(\xed\xa0\x80)") << "a surrogate";
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)") << "beyond U+10FFFF";
    EXPECT_EQ(printable("\xe6\xbc"), R"(\xe6\xbc)") << "cut";
    EXPECT_EQ(printable("\xe6\xbcz"), R"(\xe6\xbcz)");
}

TEST(Printable, EscapesWhatReordersOrHidesText) {
    for (char32_t const point :
         {0xA0,    0xAD,    0x34F,   0x61C,   0x115F,  0x1160,  0x1680,  0x17B4,  0x180B,  0x180E,
          0x180F,  0x2000,  0x2003,  0x200A,  0x200B,  0x200D,  0x200E,  0x200F,  0x2028,  0x2029,
          0x202A,  0x202E,  0x202F,  0x205F,  0x2060,  0x2065,  0x2066,  0x2069,  0x206F,  0x2800,
          0x3000,  0x3164,  0xFE00,  0xFE0F,  0xFEFF,  0xFFA0,  0xFFF0,  0xFFF9,  0xFFFB,  0x110BD,
          0x1BCA0, 0x1D159, 0x1D173, 0xE0001, 0xE0020, 0xE007F, 0xE0080, 0xE0100, 0xE01EF, 0xE0FFF}) {
        std::string const text = utf8(point);
        EXPECT_EQ(printable("a" + text + "b"), "a" + escaped(text) + "b")
            << std::hex << static_cast<unsigned>(point);
        EXPECT_EQ(printableLine("a" + text + "b"), "a" + escaped(text) + "b")
            << std::hex << static_cast<unsigned>(point);
    }
    for (char32_t const neighbour : {0xA1, 0xAC, 0xAE, 0x34E, 0x350, 0x1FFF, 0x2010, 0x2027, 0x2030, 0x27FF,
                                     0x2801, 0x3001, 0x3163, 0xFDFF, 0xFE10, 0xFFFC, 0xE1000, 0x10FFFF})
        EXPECT_EQ(printable(utf8(neighbour)), utf8(neighbour))
            << std::hex << static_cast<unsigned>(neighbour);
}

TEST(Printable, EscapesTheBackslashSoThatNoTwoTextsLookAlike) {
    EXPECT_EQ(printable("\x1b"), R"(\x1b)");
    EXPECT_EQ(printable(R"(\x1b)"), R"(\\x1b)");
    EXPECT_EQ(printable(R"(\\x1b)"), R"(\\\\x1b)");
    std::mt19937 random(1);
    for (int i = 0; i < 20000; i++) {
        std::string text(random() % 12, '\0');
        for (char& c : text)
            c = random() % 3 == 0   ? '\\'
                : random() % 3 == 0 ? "x01b"[random() % 4]
                                    : static_cast<char>(random());
        std::string const shown = printable(text);
        EXPECT_EQ(unescape(shown), text) << shown;
        EXPECT_EQ(printableLine(shown), shown);
    }
}

TEST(PrintableLine, LeavesTheBackslashAsItIs) { EXPECT_EQ(printableLine("C:\\x1b \x1b"), R"(C:\x1b \x1b)"); }

} // namespace TEST_FILE

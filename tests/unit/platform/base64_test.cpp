#include "kp/base64.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

std::string encode(std::string_view bytes) {
    return kp::base64Encode({reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()});
}

/// Decodes into exactly the room that the interface asks for.
std::optional<std::string> decode(std::string_view text) {
    Bytes out(text.size() / 4 * 3);
    size_t const size = kp::base64Decode(text, out);
    if (size == kp::base64Failure)
        return std::nullopt;
    return std::string(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(size));
}

TEST(Base64, Rfc4648Section10) {
    std::pair<char const*, char const*> const vectors[] = {
        {"", ""},
        {"f", "Zg=="},
        {"fo", "Zm8="},
        {"foo", "Zm9v"},
        {"foob", "Zm9vYg=="},
        {"fooba", "Zm9vYmE="},
        {"foobar", "Zm9vYmFy"},
    };
    for (auto [bytes, text] : vectors) {
        EXPECT_EQ(encode(bytes), text);
        EXPECT_EQ(decode(text), bytes);
    }
}

TEST(Base64, FailureIsAllOnes) {
    EXPECT_EQ(kp::base64Failure, static_cast<size_t>(-1));
    unsigned char out[3];
    EXPECT_EQ(kp::base64Decode("Zg=", out), static_cast<size_t>(-1));
}

TEST(Base64, UsesTheStandardAlphabetInOrder) {
    // The numbers 0 to 63 as 6-bit digits.
    Bytes bytes;
    for (unsigned i = 0; i < 64; i += 4) {
        unsigned const group = i << 18 | (i + 1) << 12 | (i + 2) << 6 | (i + 3);
        for (unsigned shift : {16u, 8u, 0u})
            bytes.push_back(static_cast<unsigned char>(group >> shift));
    }
    std::string const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(kp::base64Encode(bytes), alphabet);
    EXPECT_EQ(decode(alphabet), std::string(bytes.begin(), bytes.end()));
}

TEST(Base64, RoundTripsEveryLength) {
    std::mt19937 random(1);
    for (size_t size = 0; size < 200; ++size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        std::string const text = encode(bytes);
        EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
        EXPECT_EQ(decode(text), bytes);
    }
}

TEST(Base64, RefusesIncompleteGroups) {
    for (char const* text : {"Z", "Zg", "Zg=", "Zm9vY", "Zm9vYg", "Zm9vYg="})
        EXPECT_EQ(decode(text), std::nullopt) << text;
}

TEST(Base64, RefusesMisplacedPadding) {
    for (char const* text :
         {"====", "Z===", "=Zg=", "Zg=g", "Z=g=", "Zg==Zg==", "Zm8=Zm9v", "Zm9v====", "Zm9v=Zm9"})
        EXPECT_EQ(decode(text), std::nullopt) << text;
}

TEST(Base64, RefusesUnusedBitsThatAreSet) {
    // RFC 4648 section 3.5: two texts would stand for the same bytes.
    for (char const* text : {"Zh==", "Zv==", "Zm9=", "Zm/=", "Zm9vZh=="})
        EXPECT_EQ(decode(text), std::nullopt) << text;
}

TEST(Base64, RefusesEveryOtherCharacterAtEveryPlace) {
    std::string const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (unsigned value = 0; value < 256; ++value) {
        char const c = static_cast<char>(value);
        if (alphabet.find(c) != alphabet.npos)
            continue;
        for (size_t place = 0; place < 8; ++place) {
            std::string text = "Zm9vYmFy";
            text[place] = c;
            // "Zm9vYmF=" is padding in its place, with a bit set that it leaves unused.
            EXPECT_EQ(decode(text), std::nullopt) << value << " at " << place;
        }
    }
}

TEST(Base64, RefusesBlanksAndLineEnds) {
    for (char const* text : {" Zm9vYmFy   ", "Zm9v\nYmF\n", "Zm9v\r\nYm", "Zm9vYmFy\n\n\n\n", "\tZm9"})
        EXPECT_EQ(decode(text), std::nullopt) << text;
}

TEST(Base64, NeverWritesPastTheRoomGiven) {
    unsigned char out[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(kp::base64Decode("Zm9vYmFy", std::span(out).first(5)), kp::base64Failure);
    EXPECT_EQ(kp::base64Decode("Zm9vYg==", std::span(out).first(4)), kp::base64Failure);
    EXPECT_EQ(kp::base64Decode("Zm9v", std::span(out).first(3)), 3u);
    EXPECT_EQ(out[3], 4);
}

} // namespace TEST_FILE

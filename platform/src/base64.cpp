#include "kp/base64.h"

#include <array>

namespace kp {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char padding = '=';
constexpr unsigned char noDigit = 0xff;

constexpr std::array<unsigned char, 256> digitValues = [] {
    std::array<unsigned char, 256> values{};
    values.fill(noDigit);
    for (size_t value = 0; value < alphabet.size(); ++value)
        values[static_cast<unsigned char>(alphabet[value])] = static_cast<unsigned char>(value);
    return values;
}();

/// The digits of a group of `count` characters, 6 bits each, as one number; all ones if one of them is not
/// a digit.
uint32_t readDigits(char const* text, size_t count) {
    uint32_t number = 0;
    unsigned seen = 0;
    for (size_t i = 0; i < count; ++i) {
        unsigned const value = digitValues[static_cast<unsigned char>(text[i])];
        seen |= value;
        number = number << 6 | value;
    }
    // Digits have 6 bits; only `noDigit` sets a higher one.
    return seen < alphabet.size() ? number : UINT32_MAX;
}

} // namespace

std::string base64Encode(std::span<unsigned char const> bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (; bytes.size() >= 3; bytes = bytes.subspan(3)) {
        uint32_t const group = uint32_t(bytes[0]) << 16 | uint32_t(bytes[1]) << 8 | bytes[2];
        for (unsigned shift : {18u, 12u, 6u, 0u})
            text += alphabet[group >> shift & 63];
    }
    if (bytes.size() == 1) {
        text += alphabet[bytes[0] >> 2];
        text += alphabet[bytes[0] << 4 & 63];
        text.append(2, padding);
    } else if (bytes.size() == 2) {
        unsigned const group = unsigned(bytes[0]) << 8 | bytes[1];
        text += alphabet[group >> 10];
        text += alphabet[group >> 4 & 63];
        text += alphabet[group << 2 & 63];
        text += padding;
    }
    return text;
}

size_t base64Decode(std::string_view text, std::span<unsigned char> out) {
    if (text.size() % 4 != 0 || out.size() < text.size() / 4 * 3)
        return base64Failure;
    if (text.empty())
        return 0;

    unsigned char* next = out.data();
    char const* group = text.data();
    char const* const last = group + text.size() - 4;
    for (; group != last; group += 4) {
        uint32_t const number = readDigits(group, 4);
        if (number == UINT32_MAX)
            return base64Failure;
        *next++ = static_cast<unsigned char>(number >> 16);
        *next++ = static_cast<unsigned char>(number >> 8);
        *next++ = static_cast<unsigned char>(number);
    }

    // The last group has 4, 3 or 2 digits, which make 3, 2 or 1 bytes.
    size_t const digits = last[3] != padding ? 4 : last[2] != padding ? 3 : 2;
    uint32_t number = readDigits(last, digits);
    if (number == UINT32_MAX)
        return base64Failure;
    number <<= 6 * (4 - digits);
    unsigned const bytes = static_cast<unsigned>(digits) - 1;
    if ((number & (0xffffffu >> 8 * bytes)) != 0)
        return base64Failure;
    for (unsigned i = 0; i < bytes; ++i)
        *next++ = static_cast<unsigned char>(number >> (16 - 8 * i));
    return static_cast<size_t>(next - out.data());
}

} // namespace kp

/// Encodings of Unicode: UTF-8, which the library uses, and UTF-16 in BMPStrings.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <string_view>

namespace detail {

inline constexpr char32_t notUtf8 = 0xFFFFFFFF, replacementCharacter = 0xFFFD;

inline bool isSurrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

/// Takes one character off text that is not empty (RFC 3629, section 4). Returns `notUtf8` and leaves the
/// text unchanged if it does not start with one.
inline char32_t takeUtf8(std::string_view& text) {
    unsigned const first = static_cast<unsigned char>(text[0]);
    size_t const length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || text.size() < length)
        return notUtf8;
    char32_t point = length == 1 ? first : first & (0x7Fu >> length);
    for (size_t i = 1; i < length; i++) {
        unsigned const next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0) != 0x80)
            return notUtf8;
        point = point << 6 | (next & 0x3F);
    }
    if ((length == 3 && point < 0x800) || (length == 4 && point < 0x10000) || point > 0x10FFFF ||
        isSurrogate(point))
        return notUtf8;
    text.remove_prefix(length);
    return point;
}

inline bool isUtf8(std::string_view text) {
    while (!text.empty())
        if (takeUtf8(text) == notUtf8)
            return false;
    return true;
}

inline void appendUtf8(std::string& to, char32_t point) {
    if (point < 0x80) {
        to += static_cast<char>(point);
        return;
    }
    unsigned const more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    to += static_cast<char>((0xFF00u >> (more + 1) & 0xFF) | point >> 6 * more);
    for (unsigned i = more; i-- > 0;)
        to += static_cast<char>(0x80 | (point >> 6 * i & 0x3F));
}

} // namespace detail

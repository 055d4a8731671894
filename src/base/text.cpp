#include "sealkit/text.h"

#include "base/unprintable_ranges.h"
#include "base/utf.h"

#include <algorithm>

namespace {

enum class Backslash { escaped, unchanged };

bool isUnprintable(char32_t point) {
    auto const after = std::upper_bound(
        std::begin(detail::unprintableRanges), std::end(detail::unprintableRanges), point,
        [](char32_t value, detail::UnprintableRange const& range) { return value < range.first; });
    return after != std::begin(detail::unprintableRanges) && point <= std::prev(after)->last;
}

std::string escape(std::string_view text, Backslash backslash) {
    constexpr char digits[] = "0123456789abcdef";
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        std::string_view rest = text;
        char32_t const point = detail::takeUtf8(rest);
        if (point == detail::notUtf8)
            rest.remove_prefix(1);
        std::string_view const bytes = text.substr(0, text.size() - rest.size());
        text = rest;
        if (point == U'\\' && backslash == Backslash::escaped)
            result += "\\\\";
        else if (point != detail::notUtf8 && !isUnprintable(point))
            result += bytes;
        else
            for (char const c : bytes) {
                auto const byte = static_cast<unsigned char>(c);
                result += {'\\', 'x', digits[byte >> 4], digits[byte & 15]};
            }
    }
    return result;
}

} // namespace

std::string printable(std::string_view text) { return escape(text, Backslash::escaped); }

std::string printableLine(std::string_view line) { return escape(line, Backslash::unchanged); }

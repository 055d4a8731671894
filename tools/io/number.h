/// Numbers as people write them.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Reads an integer, decimal or hexadecimal after 0x. Nothing may precede or follow it.
template <typename Integer>
std::optional<Integer> parseNumber(std::string_view text) {
    bool const isHex = text.starts_with("0x") || text.starts_with("0X");
    if (isHex)
        text.remove_prefix(2);
    Integer number = 0;
    auto const [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

/// "0x10".
inline std::string formatHex(uint32_t number) {
    char digits[8];
    return "0x" + std::string(digits, std::to_chars(digits, digits + sizeof(digits), number, 16).ptr);
}

/// Numbers as people write them.
#pragma once

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Reads an integer, decimal or behind 0x hexadecimal, and nothing else around it.
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

/// Declares an option or argument that is such a number. (CLI11's own take an empty text for 0, and
/// 010 for 8.)
template <typename Integer>
CLI::Option* addNumber(CLI::App& app, std::string const& name, std::optional<Integer>& target,
                       std::string const& description) {
    auto const read = [&target, name](std::string const& text) {
        target = parseNumber<Integer>(text);
        if (!target)
            throw CLI::ValidationError(name, "\"" + text + "\" is no number of 32 bits");
    };
    return app.add_option_function<std::string>(name, read, description)->type_name("NUMBER");
}

/// "0x10".
inline std::string formatHex(uint32_t number) {
    char digits[8];
    return "0x" + std::string(digits, std::to_chars(digits, digits + sizeof(digits), number, 16).ptr);
}

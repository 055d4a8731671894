/// Bytes in hexadecimal digits.
#pragma once

#include "io/secret.h"

#include <span>
#include <string>

namespace detail {

template <typename Text>
Text hexDigits(std::span<unsigned char const> bytes) {
    static char const digits[] = "0123456789abcdef";
    Text text;
    text.reserve(2 * bytes.size());
    for (unsigned char byte : bytes) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 15]);
    }
    return text;
}

} // namespace detail

/// "00ff".
inline std::string toHex(std::span<unsigned char const> bytes) {
    return detail::hexDigits<std::string>(bytes);
}

/// The same for a secret.
inline SecretBytes toHex(SecretBytes const& bytes) { return detail::hexDigits<SecretBytes>(bytes); }

/// Functions for text that the operating system's library has beyond the C++ standard library.
#pragma once

#include "kp/export.h"

#include <string>
#include <string_view>
#include <vector>

/// Reads pairs of hexadecimal digits of either case to `out`, replacing its content. Returns false and an
/// empty `out` if the number of characters is odd or one is not a digit. Empty text gives no bytes.
KP_API bool hex2bin(std::string_view text, std::vector<unsigned char>* out);

/// The text with A to Z in lowercase. Every other byte is unchanged, in every locale.
KP_API std::string str2lower(std::string_view text);

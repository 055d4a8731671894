/// Helpers for text that the operating system's standard-library runtime has beside the usual ones.
#pragma once

#include "kp/export.h"

#include <string>
#include <string_view>
#include <vector>

/// Reads pairs of hexadecimal digits of either case into `out`, replacing what it held. False when
/// the count of characters is odd or one is no digit; `out` is empty then. No text gives no bytes.
KP_API bool hex2bin(std::string_view text, std::vector<unsigned char>* out);

/// The text with A to Z made lowercase. Every other byte stays, in every locale.
KP_API std::string str2lower(std::string_view text);

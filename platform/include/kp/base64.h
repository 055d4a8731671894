/// Base64 of RFC 4648 section 4: the alphabet A-Z a-z 0-9 + /, padded by "=".
#pragma once

#include "kp/export.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kp {

/// What `base64Decode` returns for text that is not base64: all ones.
inline constexpr size_t base64Failure = SIZE_MAX;

/// The text of `bytes`: (n + 2) / 3 * 4 characters in one line; empty for no bytes.
KP_API std::string base64Encode(std::span<unsigned char const> bytes);

/// Decodes `text` to the start of `out` and returns the number of bytes written. `out` needs room for
/// text.size() / 4 * 3 bytes, including padding.
///
/// Returns `base64Failure`, with any content in `out`, if `out` is too small or the text is not exactly what
/// an encoder writes: groups of four characters of the alphabet, of which only the last one is padded by one
/// or two "=", with unused bits of zero (RFC 4648 section 3.5). Blanks and line ends are refused like any
/// other character (section 3.3): remove them first.
KP_API size_t base64Decode(std::string_view text, std::span<unsigned char> out);

} // namespace kp

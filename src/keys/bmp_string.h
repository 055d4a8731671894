/// Text in BMPStrings: big-endian UTF-16, for passwords and friendly names.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// Appends UTF-8 as UTF-16, two bytes at most for each of its bytes. Bytes that are not UTF-8 are a character
/// each.
void appendBmp(std::vector<unsigned char>& to, std::string_view text);

/// A password with each of its bytes as a character, with the two zero bytes after them that
/// `pkcs12_password` has. The caller wipes it.
std::vector<unsigned char> bmpOfBytes(std::string_view password);

/// The text in UTF-8. A surrogate without its other half becomes U+FFFD, an odd byte at the end is left out.
std::string textOfBmp(asn1::blob bmp);

} // namespace detail

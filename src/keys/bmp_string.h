/// Text in BMPStrings: big-endian UTF-16, for passwords and friendly names.
#pragma once

#include "sealkit/blob.h"

#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// Appends UTF-8 as UTF-16, with at most two bytes for each byte. Other bytes become one character each.
void appendBmp(std::vector<unsigned char>& to, std::string_view text);

/// The password with each byte as a character, followed by two zero bytes as in `pkcs12_password`. The caller
/// wipes it.
std::vector<unsigned char> bmpOfBytes(std::string_view password);

/// The text in UTF-8. An unpaired surrogate becomes U+FFFD, and an odd last byte is dropped.
std::string textOfBmp(asn1::blob bmp);

} // namespace detail

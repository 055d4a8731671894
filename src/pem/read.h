/// The readers of PEM text, with reasons for refusals.
#pragma once

#include "sealkit/pem.h"

#include "asn1/tags.h"
#include "base/reading.h"

#include <algorithm>
#include <optional>

namespace detail {

inline constexpr std::string_view beginMark = "-----BEGIN ", endMark = "-----END ";

/// Some editors write a byte-order mark before text. The stated loaders find no block after it.
inline std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (text.starts_with(mark))
        text.remove_prefix(mark.size());
    return text;
}

/// Whether the bytes start like an object in DER or BER instead of text: a SEQUENCE with a long or indefinite
/// length. PEM marks within them are then part of the object, even if it is truncated.
inline bool beginsAsObject(asn1::blob bytes) {
    return bytes.size() > 1 && bytes[0] == tag::sequence && bytes[1] >= 0x80 && bytes[1] <= 0x84;
}

/// Whether the text appears to be UTF-16.
bool isUtf16(std::string_view text);

/// Takes the first line, without its end.
inline std::string_view takeLine(std::string_view& text) {
    size_t const end = std::min(text.find('\n'), text.size());
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Refuses an incomplete block in the remaining text.
bool finish(Reading& reading, PemReader const& reader);

/// Decodes the body of a block. The previous contents of `out` are always wiped; after a failure it is empty.
bool decode(Reading& reading, PemBlock const& block, std::vector<unsigned char>* out);

/// Decrypts the body of a block under the same conditions. Without a password the refusal is
/// `RefusalId::passwordRequired`, unless decryption is unsupported or the block malformed.
bool decrypt(Reading& reading, PemBlock const& block, std::optional<std::string_view> password,
             std::vector<unsigned char>* out);

/// The headers of an encrypted block.
struct DekInfo {
    std::string_view cipher;
    std::vector<unsigned char> iv;
    std::string_view text; ///< The base64 lines after the headers.
    size_t line = 0;       ///< The number of the line before them.
};

/// Reads the headers of an encrypted block. Sets `cipher` as soon as it is known.
bool readDekInfo(Reading& reading, PemBlock const& block, DekInfo* info);

} // namespace detail

/// The readers of PEM text, which say why they refuse it.
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

/// Whether bytes begin as an object in DER or BER does and no text: a SEQUENCE whose length takes more octets
/// than one. What looks like PEM in it belongs to it, also where its end is missing.
inline bool beginsAsObject(asn1::blob bytes) {
    return bytes.size() > 1 && bytes[0] == tag::sequence && bytes[1] >= 0x80 && bytes[1] <= 0x84;
}

/// Whether it looks like text in UTF-16.
bool isUtf16(std::string_view text);

/// Takes the first line off, without its end.
inline std::string_view takeLine(std::string_view& text) {
    size_t const end = std::min(text.find('\n'), text.size());
    std::string_view const line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// Refuses the beginning of a block in what is left.
bool finish(Reading& reading, PemReader const& reader);

/// Decodes the body of a block. What `out` held is wiped in any case; it is empty on failure.
bool decode(Reading& reading, PemBlock const& block, std::vector<unsigned char>* out);

/// Decrypts the body of a block under the same conditions. Without a password that is refused, as
/// `RefusalId::passwordRequired` unless no password decrypts it.
bool decrypt(Reading& reading, PemBlock const& block, std::optional<std::string_view> password,
             std::vector<unsigned char>* out);

/// What the headers of an encrypted block ask for.
struct DekInfo {
    std::string_view cipher;
    std::vector<unsigned char> iv;
    std::string_view text; ///< The lines of base64 after the headers.
    size_t line = 0;       ///< The line before those.
};

/// Reads the headers of an encrypted block. `cipher` is set as soon as it is known.
bool readDekInfo(Reading& reading, PemBlock const& block, DekInfo* info);

} // namespace detail

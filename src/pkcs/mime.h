/// Entities of MIME (RFC 2045): headers and an encoded body.
#pragma once

#include "base/reading.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace detail::mime {

/// The Content-Type of an entity.
struct ContentType {
    std::string type; ///< "text/plain", in lower case.

    /// The value of a parameter, unquoted; nothing if it is missing. `name` is in lower case.
    std::optional<std::string> parameter(std::string_view name) const;

    std::vector<std::pair<std::string, std::string>> parameters; ///< Names in lower case.
};

/// A MIME entity. `body` is a view of the input.
struct Entity {
    std::optional<ContentType> contentType;
    std::string encoding; ///< Content-Transfer-Encoding in lower case; empty if it is missing.
    std::string_view body;
};

/// Reads the headers up to a blank line or the end of the text. Refuses a malformed header field and a
/// malformed Content-Type.
bool read(Reading& reading, std::string_view text, Entity* to);

/// Decodes the transfer encoding of the body. Refuses an unknown one and malformed base64.
bool decodeBody(Reading& reading, Entity const& entity, std::vector<unsigned char>* to);

/// Takes a line, including its end, off the text.
std::string_view takeWholeLine(std::string_view& text);
/// The line without CR and LF at its end.
std::string_view withoutLineEnd(std::string_view line);

/// Base64 in lines of 64 characters with CR LF.
std::string encodeBase64Lines(asn1::blob bytes);

} // namespace detail::mime

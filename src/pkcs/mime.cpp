#include "pkcs/mime.h"

#include "base/secret_bytes.h"

#include <kp/base64.h>
#include <kp/text.h>

#include <algorithm>

namespace detail::mime {

namespace {

constexpr size_t lineLength = 64;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

/// Printable ASCII except the colon (RFC 5322, section 3.6.8).
bool isFieldNameCharacter(char c) { return c > ' ' && c < 127 && c != ':'; }

/// A token of RFC 2045, section 5.1.
bool isTokenCharacter(char c) {
    return c > ' ' && c < 127 && std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
}

/// Reads the value of a structured field: tokens, quoted strings and comments between them.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest(text) {}

    bool atEnd() {
        skipSpace();
        return rest.empty();
    }

    bool takeIf(char c) {
        skipSpace();
        if (!rest.starts_with(c))
            return false;
        rest.remove_prefix(1);
        return true;
    }

    bool takeToken(std::string* to) {
        skipSpace();
        auto const end = std::ranges::find_if_not(rest, isTokenCharacter);
        to->assign(rest.begin(), end);
        rest.remove_prefix(to->size());
        return !to->empty();
    }

    /// Takes a token or a quoted string. Characters that a token may not contain are accepted up to a
    /// semicolon or blank, because boundaries with "=" are often unquoted.
    bool takeValue(std::string* to) {
        skipSpace();
        to->clear();
        if (!rest.starts_with('"')) {
            size_t const end = std::min(rest.find_first_of("; \t"), rest.size());
            to->assign(rest.substr(0, end));
            rest.remove_prefix(end);
            return !to->empty();
        }
        for (size_t i = 1; i < rest.size(); ++i) {
            if (rest[i] == '"') {
                rest.remove_prefix(i + 1);
                return true;
            }
            if (rest[i] == '\\' && i + 1 < rest.size())
                ++i;
            to->push_back(rest[i]);
        }
        return false;
    }

private:
    void skipSpace() {
        for (size_t depth = 0; !rest.empty(); rest.remove_prefix(1)) {
            if (depth != 0 && rest[0] == '\\' && rest.size() > 1)
                rest.remove_prefix(1);
            else if (rest[0] == '(')
                ++depth;
            else if (depth != 0 && rest[0] == ')')
                --depth;
            else if (depth == 0 && !isBlank(rest[0]))
                return;
        }
    }

    std::string_view rest;
};

bool parseContentType(std::string_view value, ContentType* to) {
    Scanner scanner(value);
    std::string type, subtype;
    if (!scanner.takeToken(&type) || !scanner.takeIf('/') || !scanner.takeToken(&subtype))
        return false;
    to->type = str2lower(type + "/" + subtype);
    while (scanner.takeIf(';')) {
        if (scanner.atEnd())
            return true;
        std::string name, content;
        if (!scanner.takeToken(&name) || !scanner.takeIf('=') || !scanner.takeValue(&content))
            return false;
        to->parameters.emplace_back(str2lower(name), std::move(content));
    }
    return scanner.atEnd();
}

/// The value of a hexadecimal digit, or -1.
int digitOf(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                  : -1;
}

/// Decodes quoted-printable (RFC 2045, section 6.7). A "=" that does not begin an escape is literal.
void decodeQuotedPrintable(std::string_view text, std::vector<unsigned char>* to) {
    to->reserve(text.size());
    while (!text.empty()) {
        std::string_view const whole = takeWholeLine(text);
        std::string_view line = withoutLineEnd(whole);
        std::string_view const end = whole.substr(line.size());
        while (!line.empty() && isBlank(line.back()))
            line.remove_suffix(1);
        bool const continues = line.ends_with('=');
        if (continues)
            line.remove_suffix(1);
        for (size_t i = 0; i < line.size(); ++i) {
            int const high = line[i] == '=' && i + 2 < line.size() ? digitOf(line[i + 1]) : -1;
            int const low = high >= 0 ? digitOf(line[i + 2]) : -1;
            to->push_back(static_cast<unsigned char>(low >= 0 ? high * 16 + low : line[i]));
            i += low >= 0 ? 2 : 0;
        }
        if (!continues)
            to->insert(to->end(), end.begin(), end.end());
    }
}

} // namespace

std::optional<std::string> ContentType::parameter(std::string_view name) const {
    auto const found = std::ranges::find(parameters, name, &std::pair<std::string, std::string>::first);
    return found == parameters.end() ? std::nullopt : std::optional(found->second);
}

std::string_view takeWholeLine(std::string_view& text) {
    size_t const end = text.find('\n');
    std::string_view const line = text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
    text.remove_prefix(line.size());
    return line;
}

std::string_view withoutLineEnd(std::string_view line) {
    if (line.ends_with('\n'))
        line.remove_suffix(1);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

bool read(Reading& reading, std::string_view text, Entity* to) {
    while (!text.empty()) {
        std::string_view const start = text;
        std::string field(withoutLineEnd(takeWholeLine(text)));
        if (field.empty())
            break;
        while (!text.empty() && isBlank(text[0]))
            field += withoutLineEnd(takeWholeLine(text));
        auto const nameEnd = std::ranges::find_if_not(field, isFieldNameCharacter);
        std::string const name = str2lower(std::string(field.begin(), nameEnd));
        std::string_view value(field);
        value.remove_prefix(name.size());
        while (!value.empty() && isBlank(value[0]))
            value.remove_prefix(1);
        if (name.empty() || !value.starts_with(':'))
            return reading.refuse(RefusalId::malformedMail, asn1::blob(start),
                                  {{"expected", "a header field"}});
        value.remove_prefix(1);
        if (name == "content-type" && !to->contentType) {
            to->contentType.emplace();
            if (!parseContentType(value, &*to->contentType))
                return reading.refuse(RefusalId::malformedMail, asn1::blob(start),
                                      {{"expected", "a Content-Type"}});
        } else if (name == "content-transfer-encoding" && to->encoding.empty()) {
            Scanner scanner(value);
            scanner.takeToken(&to->encoding);
            to->encoding = str2lower(to->encoding);
        }
    }
    to->body = text;
    return true;
}

bool decodeBody(Reading& reading, Entity const& entity, std::vector<unsigned char>* to) {
    asn1::blob const body = entity.body;
    wipe(*to);
    to->clear();
    if (entity.encoding.empty() || entity.encoding == "7bit" || entity.encoding == "8bit" ||
        entity.encoding == "binary") {
        to->assign(body.begin(), body.end());
        return true;
    }
    if (entity.encoding == "quoted-printable") {
        decodeQuotedPrintable(entity.body, to);
        return true;
    }
    if (entity.encoding != "base64")
        return reading.refuse(RefusalId::unsupportedTransferEncoding, body, {{"found", entity.encoding}});
    SecretBytes text;
    text.value.reserve(body.size());
    for (unsigned char const c : body)
        if (c > ' ')
            text.value.push_back(c);
    to->resize(text.value.size() / 4 * 3);
    size_t const decoded =
        kp::base64Decode({reinterpret_cast<char const*>(text.value.data()), text.value.size()}, *to);
    if (decoded == kp::base64Failure) {
        wipe(*to);
        to->clear();
        return reading.refuse(RefusalId::malformedMail, body, {{"expected", "base64"}});
    }
    to->resize(decoded);
    return true;
}

std::string encodeBase64Lines(asn1::blob bytes) {
    std::string text = kp::base64Encode({bytes.start, bytes.size()});
    std::string lines;
    lines.reserve(text.size() + (text.size() / lineLength + 1) * 2);
    for (size_t at = 0; at < text.size(); at += lineLength)
        lines.append(text, at, lineLength).append("\r\n");
    wipe(text);
    return lines;
}

} // namespace detail::mime

#include "trust/standard/host.h"

#include "asn1/element.h"
#include "asn1/oids.h"

#include <algorithm>

namespace detail {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

bool isLabelCharacter(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
}

} // namespace

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isHostName(std::string_view text) {
    constexpr size_t maxSize = 253, maxLabel = 63;
    if (text.size() > maxSize)
        return false;
    size_t label = 0;
    for (char const c : text) {
        if (c == '.' ? label == 0 : (label == maxLabel || !isLabelCharacter(c)))
            return false;
        label = c == '.' ? 0 : label + 1;
    }
    return label != 0;
}

bool isHostPattern(std::string_view text) {
    return isHostName(text.starts_with("*.") ? text.substr(2) : text);
}

bool isAddressLike(std::string_view host) {
    if (host.find(':') != std::string_view::npos)
        return true;
    std::string_view last = host.substr(host.rfind('.') + 1);
    if (last.starts_with("0x") || last.starts_with("0X")) {
        last.remove_prefix(2);
        return std::ranges::all_of(last, isHexDigit);
    }
    return !last.empty() && std::ranges::all_of(last, isDigit);
}

std::optional<Mailbox> splitMailbox(std::string_view text) {
    constexpr char deleteCharacter = 0x7F;
    size_t const at = text.rfind('@');
    if (at == 0 || at == std::string_view::npos || at + 1 == text.size())
        return std::nullopt;
    if (std::ranges::any_of(
            text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == deleteCharacter; }))
        return std::nullopt;
    return Mailbox{text.substr(0, at), text.substr(at + 1)};
}

/// OtherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY }, its content
std::optional<std::string_view> readSmtpUtf8Mailbox(GeneralName const& name) {
    constexpr unsigned char constructed = 0x20;
    if (name.type != (GeneralName::otherName | constructed))
        return std::nullopt;
    Reading silent;
    Level fields(silent, asn1::blob(name.data));
    asn1::blob type, value, text;
    if (!take(fields, tag::oid, &type) || type != oid::smtpUtf8Mailbox)
        return std::nullopt;
    if (!take(fields, tag::constructed(0), &value) || !readOnly(silent, value, tag::utf8String, &text))
        return std::string_view();
    return std::string_view(reinterpret_cast<char const*>(text.data()), text.size());
}

} // namespace detail

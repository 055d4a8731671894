#include "trust/standard/name.h"

#include "asn1/element.h"
#include "base/view.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

namespace detail {

namespace {

/// Marks the form of a malformed name. Other forms begin with a length of at most `maxLength`.
constexpr char malformedMark = '\xFF';
constexpr size_t maxLength = 0x7FFFFFFF;

/// The kind of an attribute value's form.
constexpr char asText = 'T', asElement = 'E';

void append(std::string& to, std::string_view part) {
    for (int shift = 24; shift >= 0; shift -= 8)
        to += static_cast<char>(part.size() >> shift & 0xFF);
    to += part;
}

/// Uppercase letters at a constant distance from their lowercase. With a step of 2, only every other letter
/// of the range is uppercase.
struct LetterRange {
    char32_t first, last;
    int distance;
    unsigned step = 1;
};

/// The simple lower case of the Latin, Greek, Cyrillic and Armenian letters that names are written in.
constexpr LetterRange upperCase[] = {
    {U'A', U'Z', 32},     {0xC0, 0xD6, 32},     {0xD8, 0xDE, 32},       {0x100, 0x12E, 1, 2},
    {0x132, 0x136, 1, 2}, {0x139, 0x147, 1, 2}, {0x14A, 0x176, 1, 2},   {0x178, 0x178, -121},
    {0x179, 0x17D, 1, 2}, {0x1CD, 0x1DB, 1, 2}, {0x1DE, 0x1EE, 1, 2},   {0x1F8, 0x21E, 1, 2},
    {0x222, 0x232, 1, 2}, {0x386, 0x386, 38},   {0x388, 0x38A, 37},     {0x38C, 0x38C, 64},
    {0x38E, 0x38F, 63},   {0x391, 0x3A1, 32},   {0x3A3, 0x3AB, 32},     {0x400, 0x40F, 80},
    {0x410, 0x42F, 32},   {0x460, 0x480, 1, 2}, {0x48A, 0x4BE, 1, 2},   {0x4C1, 0x4CD, 1, 2},
    {0x4D0, 0x52E, 1, 2}, {0x531, 0x556, 48},   {0x1E00, 0x1E94, 1, 2}, {0x1EA0, 0x1EFE, 1, 2},
    {0xFF21, 0xFF3A, 32},
};

char32_t toLower(char32_t c) {
    for (LetterRange const& range : upperCase) {
        if (c < range.first)
            return c;
        if (c <= range.last)
            return (c - range.first) % range.step == 0
                       ? static_cast<char32_t>(static_cast<std::int32_t>(c) + range.distance)
                       : c;
    }
    return c;
}

bool isBetween(char32_t c, char32_t first, char32_t last) { return c >= first && c <= last; }

/// Characters that count as a space (RFC 4518, section 2.2).
bool isSpace(char32_t c) {
    return c == U' ' || isBetween(c, 0x09, 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           isBetween(c, 0x2000, 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
           c == 0x3000;
}

/// Characters that are ignored (RFC 4518, section 2.2): control characters and invisible ones.
bool isIgnored(char32_t c) {
    return c < 0x20 || isBetween(c, 0x7F, 0x9F) || c == 0xAD || c == 0x34F || c == 0x1806 ||
           isBetween(c, 0x180B, 0x180E) || isBetween(c, 0x200B, 0x200F) || isBetween(c, 0x202A, 0x202E) ||
           isBetween(c, 0x2060, 0x2063) || isBetween(c, 0x206A, 0x206F) || isBetween(c, 0xFE00, 0xFE0F) ||
           c == 0xFEFF || isBetween(c, 0xFFF9, 0xFFFC);
}

void appendUtf8(std::string& to, char32_t c) {
    if (c < 0x80) {
        to += static_cast<char>(c);
        return;
    }
    int const further = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned lead[] = {0xC0, 0xE0, 0xF0};
    to += static_cast<char>(lead[further - 1] | c >> 6 * further);
    for (int shift = 6 * (further - 1); shift >= 0; shift -= 6)
        to += static_cast<char>(0x80 | (c >> shift & 0x3F));
}

/// Decodes the characters of a string type.
class Characters {
public:
    Characters(asn1::blob bytes, unsigned stringTag) : rest(bytes), form(stringTag) {}

    bool atEnd() const { return rest.empty(); }

    /// The next character; nothing if the string is malformed.
    std::optional<char32_t> take() {
        switch (form) {
        case tag::bmpString:
            return takeFixed(2);
        case tag::universalString:
            return takeFixed(4);
        case tag::utf8String:
            return takeUtf8();
        case tag::t61String: // Read as Latin-1, which is what encoders write under this tag.
            return rest.pop_front();
        default:
            return rest[0] < 0x80 ? std::optional<char32_t>(rest.pop_front()) : std::nullopt;
        }
    }

private:
    static std::optional<char32_t> checked(char32_t c) {
        if (c > 0x10FFFF || isBetween(c, 0xD800, 0xDFFF))
            return std::nullopt;
        return c;
    }

    std::optional<char32_t> takeFixed(size_t octets) {
        if (rest.size() < octets)
            return std::nullopt;
        char32_t c = 0;
        for (unsigned char const octet : rest.pop_front(octets))
            c = c << 8 | octet;
        return checked(c);
    }

    std::optional<char32_t> takeUtf8() {
        unsigned char const first = rest.pop_front();
        if (first < 0x80)
            return first;
        size_t const further = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
        if (first < 0xC2 || first > 0xF4 || rest.size() < further)
            return std::nullopt;
        char32_t c = first & (0x3Fu >> further);
        for (unsigned char const octet : rest.pop_front(further)) {
            if ((octet & 0xC0) != 0x80)
                return std::nullopt;
            c = c << 6 | (octet & 0x3F);
        }
        constexpr char32_t shortest[] = {0x80, 0x800, 0x10000};
        return c < shortest[further - 1] ? std::nullopt : checked(c);
    }

    asn1::blob rest;
    unsigned form;
};

bool isText(unsigned valueTag) {
    return valueTag == tag::printableString || valueTag == tag::utf8String || valueTag == tag::ia5String ||
           valueTag == tag::t61String || valueTag == tag::bmpString || valueTag == tag::universalString;
}

/// Lowercases, compresses and trims white space. Returns nothing if the string is malformed.
std::optional<std::string> foldText(asn1::blob value, unsigned stringTag) {
    std::string text;
    text.reserve(value.size());
    bool isSpaceDue = false;
    for (Characters characters(value, stringTag); !characters.atEnd();) {
        auto const c = characters.take();
        if (!c)
            return std::nullopt;
        if (isSpace(*c)) {
            isSpaceDue = !text.empty();
        } else if (!isIgnored(*c)) {
            if (isSpaceDue)
                text += ' ';
            isSpaceDue = false;
            appendUtf8(text, toLower(*c));
        }
    }
    return text;
}

/// AttributeTypeAndValue ::= SEQUENCE { type OBJECT IDENTIFIER, value ANY }
std::optional<std::string> foldAttribute(asn1::blob content) {
    Reading silent;
    Level fields(silent, content);
    asn1::blob type;
    if (!take(fields, tag::oid, &type) || atEnd(fields))
        return std::nullopt;
    std::optional<std::string> text;
    if (isText(fields.tag))
        text = foldText(fields.value(), fields.tag);
    asn1::blob const element = fields.takeWhole();
    if (!atEnd(fields))
        return std::nullopt;
    std::string attribute;
    append(attribute, viewOf(type));
    attribute += text ? asText : asElement;
    attribute += text ? *text : viewOf(element);
    return attribute;
}

/// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue. Appends it to `to`.
bool foldRelativeName(asn1::blob content, std::string& to) {
    Reading silent;
    Level set(silent, content);
    std::vector<std::string> attributes;
    asn1::blob attribute;
    do {
        if (!take(set, tag::sequence, &attribute))
            return false;
        std::optional<std::string> folded = foldAttribute(attribute);
        if (!folded || folded->size() > maxLength)
            return false;
        attributes.push_back(std::move(*folded));
    } while (!atEnd(set));
    std::ranges::sort(attributes);
    std::string all;
    for (std::string const& each : attributes)
        append(all, each);
    if (all.size() > maxLength)
        return false;
    append(to, all);
    return true;
}

/// Name ::= SEQUENCE OF RelativeDistinguishedName
bool foldName(asn1::blob name, std::string& to) {
    Reading silent;
    asn1::blob content, set;
    if (!readOnly(silent, name, tag::sequence, &content))
        return false;
    Level sets(silent, content);
    while (!atEnd(sets))
        if (!take(sets, tag::set, &set) || !foldRelativeName(set, to))
            return false;
    return true;
}

} // namespace

std::string canonicalName(asn1::blob name) {
    std::string form;
    form.reserve(2 * name.size());
    if (!foldName(name, form)) {
        form = malformedMark;
        form += viewOf(name);
    }
    return form;
}

std::string canonicalRelativeName(asn1::blob content) {
    std::string form;
    if (!foldRelativeName(content, form)) {
        form = malformedMark;
        form += viewOf(content);
    }
    return form;
}

bool isMalformedName(std::string_view form) { return form.starts_with(malformedMark); }

} // namespace detail

#include "objects/names.h"

#include "io/terminal.h"

#include "sealkit/asn1.h"
#include "sealkit/der.h"

#include <kp/text.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace {

constexpr unsigned char sequenceTag = 0x30, setTag = 0x31;
constexpr unsigned char utf8String = 0x0C, numericString = 0x12, printableString = 0x13, t61String = 0x14,
                        ia5String = 0x16, visibleString = 0x1A;

struct AttributeType {
    std::string_view name; ///< In lowercase.
    std::string_view oid;
    unsigned char stringTag = utf8String; ///< RFC 5280, appendix A.
};

constexpr AttributeType attributeTypes[] = {
    {"c", "2.5.4.6", printableString},
    {"st", "2.5.4.8"},
    {"s", "2.5.4.8"},
    {"l", "2.5.4.7"},
    {"o", "2.5.4.10"},
    {"ou", "2.5.4.11"},
    {"cn", "2.5.4.3"},
    {"serialnumber", "2.5.4.5", printableString},
    {"emailaddress", "1.2.840.113549.1.9.1", ia5String},
    {"email", "1.2.840.113549.1.9.1", ia5String},
    {"dc", "0.9.2342.19200300.100.1.25", ia5String},
    {"uid", "0.9.2342.19200300.100.1.1"},
    {"t", "2.5.4.12"},
    {"title", "2.5.4.12"},
    {"gn", "2.5.4.42"},
    {"givenname", "2.5.4.42"},
    {"sn", "2.5.4.4"},
    {"surname", "2.5.4.4"},
    {"street", "2.5.4.9"},
    {"postalcode", "2.5.4.17"},
    {"businesscategory", "2.5.4.15"},
    {"organizationidentifier", "2.5.4.97"},
};

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7F; });
}

/// X.680, section 41.4.
bool isPrintableString(std::string_view text) {
    constexpr std::string_view others = " '()+,-./:=?";
    return std::ranges::all_of(text, [&](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               others.find(c) != std::string_view::npos;
    });
}

/// Whether the text is UTF-8 and nothing in it deceives who reads it, in whatever terminal.
bool isCleanUtf8(std::string_view text) { return printableLine(text) == text; }

/// Takes what stands before the next separator that no backslash precedes, and the separator.
std::string takePart(std::string_view& text, char separator) {
    std::string part;
    while (!text.empty() && text.front() != separator) {
        if (text.front() == '\\' && text.size() > 1) {
            part += text.front(); // Stays until the attribute is split.
            text.remove_prefix(1);
        }
        part += text.front();
        text.remove_prefix(1);
    }
    if (!text.empty())
        text.remove_prefix(1);
    return part;
}

std::string withoutBackslashes(std::string_view text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && i + 1 < text.size())
            i++;
        plain += text[i];
    }
    return plain;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ' && !text.ends_with("\\ "))
        text.remove_suffix(1);
    return text;
}

/// Writes one attribute as a set of its own.
bool addAttribute(DerEncoder& to, std::string_view part, std::string* problem) {
    size_t const equals = part.find('=');
    if (equals == std::string_view::npos) {
        *problem = "\"" + std::string(part) + "\" is no ATTRIBUTE=VALUE";
        return false;
    }
    std::string const name(trimmed(part.substr(0, equals)));
    std::string const value = withoutBackslashes(trimmed(part.substr(equals + 1)));
    auto const type = std::ranges::find(attributeTypes, str2lower(name), &AttributeType::name);
    bool const isKnown = type != std::end(attributeTypes);
    std::vector<unsigned char> const oid = encodeOid(isKnown ? type->oid : name);
    unsigned char const stringTag = isKnown ? type->stringTag : utf8String;
    if (oid.empty())
        *problem = "\"" + name + "\" is no attribute of a name";
    else if (value.empty())
        *problem = name + " has no value";
    else if (!isCleanUtf8(value))
        *problem = "the value of " + name + " is not UTF-8 or has control characters";
    else if ((stringTag == printableString && !isPrintableString(value)) ||
             (stringTag == ia5String && !isAscii(value)))
        *problem = "the value of " + name + " may have plain ASCII letters, digits and few signs only";
    else if (isKnown && type->name == "c" && value.size() != 2)
        *problem = "a country (C) has two letters";
    else {
        to.begin(setTag).begin(sequenceTag).addOid(oid).add(stringTag, value).end().end();
        return true;
    }
    return false;
}

/// A host name, perhaps with a wildcard, as a certificate has it.
bool isHostName(std::string_view text) {
    return !text.empty() && text.front() != '.' && text.find("..") == std::string_view::npos &&
           std::ranges::all_of(text, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '.' || c == '_' || c == '*';
           });
}

} // namespace

std::vector<unsigned char> encodeOid(std::string_view dotted) {
    std::vector<std::uint32_t> arcs;
    while (true) {
        std::uint32_t arc = 0;
        auto const [end, error] = std::from_chars(dotted.data(), dotted.data() + dotted.size(), arc);
        if (error != std::errc())
            return {};
        arcs.push_back(arc);
        dotted.remove_prefix(static_cast<size_t>(end - dotted.data()));
        if (dotted.empty())
            break;
        if (dotted.front() != '.')
            return {};
        dotted.remove_prefix(1);
    }
    // The first octet holds two arcs (X.690, section 8.19.4). The library shows it for arcs below 40 alone.
    if (arcs.size() < 2 || arcs[0] > 2 || arcs[1] > 39)
        return {};
    std::vector<unsigned char> content = {static_cast<unsigned char>(arcs[0] * 40 + arcs[1])};
    for (size_t i = 2; i < arcs.size(); i++) {
        std::array<unsigned char, 5> digits{};
        size_t at = digits.size();
        for (std::uint32_t rest = arcs[i], more = 0; at == digits.size() || rest != 0;
             rest >>= 7, more = 0x80)
            digits[--at] = static_cast<unsigned char>((rest & 0x7F) | more);
        content.insert(content.end(), digits.begin() + static_cast<ptrdiff_t>(at), digits.end());
    }
    return content;
}

std::optional<std::vector<unsigned char>> parseSubject(std::string_view text, std::string* problem) {
    char const separator = text.starts_with('/') ? '/' : ',';
    if (separator == '/')
        text.remove_prefix(1);
    DerEncoder to;
    to.begin(sequenceTag);
    while (!trimmed(text).empty())
        if (!addAttribute(to, trimmed(takePart(text, separator)), problem))
            return std::nullopt;
    return to.end().take();
}

bool isPlainName(asn1::blob name) {
    asn1::parser sets(name);
    if (!sets.enter(sequenceTag))
        return false;
    while (sets.tag == setTag) {
        asn1::parser attributes(sets.take());
        while (attributes.tag == sequenceTag) {
            asn1::parser attribute(attributes.take());
            attribute.take(); // The type.
            bool const isReadable = attribute.tag == utf8String || attribute.tag == printableString ||
                                    attribute.tag == ia5String || attribute.tag == numericString ||
                                    attribute.tag == visibleString || attribute.tag == t61String;
            asn1::blob const value = attribute.take();
            if (!isReadable || !isCleanUtf8({reinterpret_cast<char const*>(value.data()), value.size()}) ||
                attribute.tag != asn1::parser::endTag)
                return false;
        }
        if (attributes.tag != asn1::parser::endTag)
            return false;
    }
    return sets.tag == asn1::parser::endTag;
}

bool isPlainName(GeneralName const& name) {
    switch (name.type) {
    case GeneralName::dnsName:
        return isHostName(name.data);
    case GeneralName::ipAddress:
        return name.data.size() == 4 || name.data.size() == 16;
    case GeneralName::rfc822Name:
        return isAscii(name.data) && name.data.find('@') != std::string::npos;
    case GeneralName::uri:
        return isAscii(name.data) && name.data.find(':') != std::string::npos;
    default:
        return false;
    }
}

std::optional<GeneralName> parseAlternativeName(std::string_view text, std::string* problem) {
    static constexpr struct Kind {
        std::string_view kind;
        unsigned char type;
    } kinds[] = {
        {"dns", GeneralName::dnsName},
        {"ip", GeneralName::ipAddress},
        {"email", GeneralName::rfc822Name},
        {"uri", GeneralName::uri},
    };
    size_t const colon = std::min(text.find(':'), text.size());
    auto const kind = std::ranges::find(kinds, str2lower(text.substr(0, colon)), &Kind::kind);
    GeneralName name;
    if (kind != std::end(kinds) && colon < text.size()) {
        std::string_view const value = text.substr(colon + 1);
        IPAddr6 address;
        name.data = value;
        if (kind->type != GeneralName::ipAddress) {
            name.type = kind->type;
        } else if (address.parse(value)) {
            name.type = kind->type;
            name.setIp(address);
        }
    }
    if (isPlainName(name))
        return name;
    *problem = "\"" + std::string(text) +
               "\" is no alternative name: DNS:host, IP:address, email:mailbox or URI:address";
    return std::nullopt;
}

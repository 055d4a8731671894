#include "sealkit/name_text.h"

#include "asn1/attributes.h"
#include "asn1/element.h"
#include "asn1/string_text.h"
#include "sealkit/der.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "sealkit/text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <functional>
#include <optional>
#include <span>
#include <utility>

namespace tag = detail::tag;

namespace {

/// Attribute types with another name than `oidName`, or another string type than UTF8String (RFC 5280,
/// appendix A).
struct AttributeType {
    std::string_view name; ///< In lowercase.
    std::string_view oid;
    unsigned stringTag = tag::utf8String;
};

constexpr AttributeType attributeTypes[] = {
    {"c", "2.5.4.6", tag::printableString},
    {"st", "2.5.4.8"},
    {"s", "2.5.4.8"},
    {"l", "2.5.4.7"},
    {"o", "2.5.4.10"},
    {"ou", "2.5.4.11"},
    {"cn", "2.5.4.3"},
    {"serialnumber", "2.5.4.5", tag::printableString},
    {"emailaddress", "1.2.840.113549.1.9.1", tag::ia5String},
    {"email", "1.2.840.113549.1.9.1", tag::ia5String},
    {"dc", "0.9.2342.19200300.100.1.25", tag::ia5String},
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

std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

std::string toString(asn1::blob bytes) { return {bytes.begin(), bytes.end()}; }

bool isAscii(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < 0x7F; });
}

bool isAlphanumeric(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// The characters of PrintableString (X.680, section 41.4).
bool isPrintableString(std::string_view text) {
    constexpr std::string_view others = " '()+,-./:=?";
    return std::ranges::all_of(
        text, [&](char c) { return isAlphanumeric(c) || others.find(c) != std::string_view::npos; });
}

/// Whether the text is UTF-8 without deceptive characters.
bool isPlain(std::string_view text) { return printableLine(text) == text; }

/// Takes the part before the next unescaped separator, and the separator.
std::string_view takePart(std::string_view& text, char separator) {
    size_t end = 0;
    while (end < text.size() && text[end] != separator)
        end += text[end] == '\\' && end + 1 < text.size() ? 2 : 1;
    std::string_view const part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
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

AttributeType const* findAttributeType(std::string_view name) {
    return std::ranges::find(attributeTypes, lower(name), &AttributeType::name);
}

/// Empty for an unknown attribute.
std::vector<unsigned char> attributeOid(std::string_view name) {
    auto const* const type = findAttributeType(name);
    return parseOid(type != std::end(attributeTypes) ? type->oid : name);
}

/// Replaces attributes in braces in a value by those of another name. If that name lacks one, returns false
/// and sets `*value` to that attribute.
using FillIn = std::function<bool(std::string* value)>;

/// Writes one attribute as a separate set.
bool addAttribute(detail::Reading& reading, DerEncoder& to, std::string_view part, FillIn const& fillIn) {
    auto const refuse = [&](std::string_view attribute, char const* problem) {
        return reading.refuse(RefusalId::malformedName, asn1::blob(part),
                              {{"attribute", std::string(attribute)}, {"problem", problem}});
    };
    size_t const equals = part.find('=');
    if (equals == std::string_view::npos)
        return refuse(part, "no ATTRIBUTE=VALUE");
    std::string const name(trimmed(part.substr(0, equals)));
    std::string value = withoutBackslashes(trimmed(part.substr(equals + 1)));
    auto const* const type = findAttributeType(name);
    bool const isKnown = type != std::end(attributeTypes);
    std::vector<unsigned char> const oid = attributeOid(name);
    unsigned const stringTag = isKnown ? type->stringTag : tag::utf8String;
    if (oid.empty())
        return refuse(name, "unknown");
    if (fillIn && !fillIn(&value))
        return refuse(value, "missing in the name that the template is filled in from");
    if (value.empty())
        return refuse(name, "no value");
    if (!isPlain(value))
        return refuse(name, "not UTF-8, or with control characters or invisible ones");
    if ((stringTag == tag::printableString && !isPrintableString(value)) ||
        (stringTag == tag::ia5String && !isAscii(value)))
        return refuse(name, "only plain ASCII letters, digits and a few signs are allowed");
    if (isKnown && type->name == "c" && value.size() != 2)
        return refuse(name, "a country has two letters");
    to.begin(tag::set).begin(tag::sequence).addOid(oid).add(stringTag, value).end().end();
    return true;
}

/// The value of an attribute. A value that is not a string becomes "#" and hexadecimal digits (RFC 4514,
/// section 2.4).
std::string attributeText(unsigned form, asn1::blob value) {
    if (detail::isStringTag(form))
        return detail::stringText(form, value);
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "#";
    for (unsigned char const octet : DerEncoder().add(form, value).take())
        text += {digits[octet >> 4], digits[octet & 15]};
    return text;
}

/// Calls `use(type, tag, value, isFirstOfSet)` for each attribute. Returns false if the name is malformed.
template <typename Use>
bool forEachAttribute(asn1::blob name, Use use) {
    asn1::parser sets(name);
    if (!sets.enter(tag::sequence))
        return false;
    while (sets.tag == tag::set) {
        asn1::parser attributes(sets.take());
        for (bool isFirst = true; attributes.tag == tag::sequence; isFirst = false) {
            asn1::parser attribute(attributes.take());
            if (attribute.tag != tag::oid)
                return false;
            asn1::blob const type = attribute.take();
            unsigned const form = attribute.tag;
            asn1::blob const value = attribute.take();
            use(type, form, value, isFirst);
            if (!detail::atEnd(attribute))
                return false;
        }
        if (!detail::atEnd(attributes))
            return false;
    }
    return detail::atEnd(sets);
}

/// Whether the text is a host name, which may have a wildcard.
bool isHostName(std::string_view text) {
    return !text.empty() && text.front() != '.' && text.find("..") == std::string_view::npos &&
           std::ranges::all_of(text, [](char c) {
               return isAlphanumeric(c) || c == '-' || c == '.' || c == '_' || c == '*';
           });
}

std::string hexText(asn1::blob bytes) {
    constexpr size_t maxShownBytes = 64;
    if (bytes.size() <= maxShownBytes)
        return bytes.empty() ? "(empty)" : str(bytes);
    return str(asn1::blob(bytes.start, maxShownBytes)) + ":... (" + std::to_string(bytes.size()) + " bytes)";
}

std::string addressText(asn1::blob octets) {
    GeneralName address;
    address.type = GeneralName::ipAddress;
    address.data = toString(octets);
    return address.dataStr();
}

/// The number of leading ones in `mask`. If other ones follow, the result exceeds the bits of the mask.
size_t prefixLength(asn1::blob mask) {
    size_t length = 0;
    bool hasEnded = false;
    for (unsigned char const octet : mask) {
        int const ones = std::countl_one(octet);
        if ((hasEnded && octet != 0) || static_cast<unsigned char>(octet << ones) != 0)
            return mask.size() * 8 + 1;
        length += static_cast<size_t>(ones);
        hasEnded = ones < 8;
    }
    return length;
}

/// The text of an iPAddress. In name constraints a mask of the same length follows (RFC 5280,
/// section 4.2.1.10).
std::string ipText(asn1::blob octets) {
    if (octets.size() == 4 || octets.size() == 16)
        return addressText(octets);
    if (octets.size() != 8 && octets.size() != 32)
        return hexText(octets);
    asn1::blob const address = octets.pop_front(octets.size() / 2);
    size_t const length = prefixLength(octets);
    return addressText(address) + "/" +
           (length <= octets.size() * 8 ? std::to_string(length) : addressText(octets));
}

/// OtherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY }, its content.
std::string otherNameText(asn1::blob content) {
    asn1::parser fields(content);
    if (fields.tag != tag::oid)
        return hexText(content);
    asn1::blob const type = fields.take();
    asn1::blob const value = fields.takeWhole();
    asn1::parser wrapped(value);
    if (wrapped.enter(tag::constructed(0)) && detail::isStringTag(wrapped.tag) &&
        oidName(type) != oidStr(type))
        return oidName(type) + " " + detail::stringText(wrapped.tag, wrapped.value());
    return oidName(type) + " " + hexText(value);
}

} // namespace

std::vector<std::string> detail::attributeTexts(asn1::blob name, asn1::blob type) {
    std::vector<std::string> found;
    forEachAttribute(name, [&](asn1::blob each, unsigned form, asn1::blob value, bool) {
        if (each == type)
            found.push_back(attributeText(form, value));
    });
    return found;
}

namespace {

std::vector<unsigned char> parseName(std::string_view text, FillIn const& fillIn, Refusal* refusal) {
    detail::Reading reading(text, refusal);
    char const separator = text.starts_with('/') ? '/' : ',';
    if (separator == '/')
        text.remove_prefix(1);
    DerEncoder to;
    to.begin(tag::sequence);
    while (!trimmed(text).empty())
        if (!addAttribute(reading, to, trimmed(takePart(text, separator)), fillIn))
            return {};
    return to.end().take();
}

} // namespace

std::vector<unsigned char> parseNameText(std::string_view text, Refusal* refusal) {
    return parseName(text, nullptr, refusal);
}

std::vector<unsigned char> parseNameTemplate(std::string_view text, asn1::blob from, Refusal* refusal) {
    auto const fillIn = [from](std::string* value) {
        std::string filled;
        std::string_view rest = *value;
        for (size_t open = 0; (open = rest.find('{')) != std::string_view::npos;) {
            size_t const close = rest.find('}', open);
            std::string const attribute(rest.substr(open + 1, close - open - 1));
            std::vector<std::string> found;
            if (close != std::string_view::npos)
                found = detail::attributeTexts(from, attributeOid(attribute));
            if (found.empty()) {
                *value = attribute;
                return false;
            }
            filled.append(rest.substr(0, open)).append(found.front());
            rest.remove_prefix(close + 1);
        }
        *value = filled.append(rest);
        return true;
    };
    return parseName(text, fillIn, refusal);
}

std::string nameText(asn1::blob name) {
    asn1::parser const whole(name);
    if (whole.tag != tag::sequence)
        return "(malformed)";
    std::string text;
    forEachAttribute(name, [&](asn1::blob type, unsigned form, asn1::blob value, bool isFirst) {
        text += (text.empty() ? "" : isFirst ? ", " : "+") + oidName(type) + "=" + attributeText(form, value);
    });
    return text;
}

bool isPlainName(asn1::blob name) {
    bool isPlainSoFar = true;
    bool const isWellFormed = forEachAttribute(name, [&](asn1::blob, unsigned form, asn1::blob value, bool) {
        bool const isReadable = form == tag::utf8String || form == tag::printableString ||
                                form == tag::ia5String || form == tag::numericString ||
                                form == tag::visibleString || form == tag::t61String;
        isPlainSoFar = isPlainSoFar && isReadable && isPlain(toString(value));
    });
    return isWellFormed && isPlainSoFar;
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

namespace {

constexpr unsigned char constructed = 0x20; ///< The constructed bit of `GeneralName::type`.

/// The name of a kind in text, and the function that reads its value.
struct NameKind {
    std::string_view kind; ///< In lowercase.
    unsigned char type;
    bool (*read)(std::string_view value, std::string* data);
};

bool takeAsItIs(std::string_view value, std::string* data) {
    *data = value;
    return true;
}

bool readAddress(std::string_view value, std::string* data) {
    IPAddr6 address;
    GeneralName name;
    if (!address.parse(value))
        return false;
    name.setIp(address);
    *data = name.data;
    return true;
}

bool readDirectoryName(std::string_view value, std::string* data) {
    constexpr size_t emptyName = 2;
    std::vector<unsigned char> const name = parseNameText(value);
    *data = toString(name);
    return name.size() > emptyName;
}

bool readRegisteredId(std::string_view value, std::string* data) {
    *data = toString(parseOid(value));
    return !data->empty();
}

/// Converts "1.2.3;UTF8:text" to the content of OtherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0]
/// EXPLICIT ANY }.
bool readOtherName(std::string_view value, std::string* data) {
    size_t const semicolon = std::min(value.find(';'), value.size());
    std::string_view form = value.substr(std::min(semicolon + 1, value.size()));
    std::vector<unsigned char> const oid = parseOid(value.substr(0, semicolon));
    size_t const colon = std::min(form.find(':'), form.size());
    std::string const name = lower(form.substr(0, colon));
    form.remove_prefix(std::min(colon + 1, form.size()));
    bool const isUtf8 = name == "utf8";
    if (oid.empty() || form.empty() || !isPlain(form) || (!isUtf8 && (name != "ia5" || !isAscii(form))))
        return false;
    DerEncoder to;
    to.addOid(oid).begin(tag::constructed(0)).add(isUtf8 ? tag::utf8String : tag::ia5String, form).end();
    *data = toString(to.take());
    return true;
}

constexpr NameKind nameKinds[] = {
    {"dns", GeneralName::dnsName, takeAsItIs},
    {"ip", GeneralName::ipAddress, readAddress},
    {"email", GeneralName::rfc822Name, takeAsItIs},
    {"uri", GeneralName::uri, takeAsItIs},
    {"dirname", GeneralName::directoryName | constructed, readDirectoryName},
    {"rid", GeneralName::registeredId, readRegisteredId},
    {"othername", GeneralName::otherName | constructed, readOtherName},
};

/// Reads a mask, "8" or "255.0.0.0", for an address with as many octets.
bool readMask(std::string_view text, std::string& mask) {
    size_t const bits = mask.size() * 8;
    size_t prefix = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), prefix);
    if (error != std::errc() || end != text.data() + text.size()) {
        std::string written;
        if (!readAddress(text, &written) || written.size() != mask.size())
            return false;
        mask = written;
        return true;
    }
    if (prefix > bits)
        return false;
    for (size_t i = 0; i < bits; i++)
        if (i < prefix)
            mask[i / 8] = static_cast<char>(mask[i / 8] | 0x80 >> i % 8);
    return true;
}

/// Reads "10.0.0.0/8": an address and its mask. Address bits outside the mask are rejected as a mistake.
bool readAddressRange(std::string_view value, std::string* data) {
    size_t const slash = std::min(value.find('/'), value.size());
    std::string address;
    if (!readAddress(value.substr(0, slash), &address))
        return false;
    std::string mask(address.size(), '\0');
    std::string_view const bits = value.substr(std::min(slash + 1, value.size()));
    if (slash == value.size())
        mask.assign(address.size(), '\xFF');
    else if (!readMask(bits, mask))
        return false;
    for (size_t i = 0; i < address.size(); i++)
        if ((address[i] & ~mask[i]) != 0)
            return false;
    *data = address + mask;
    return true;
}

bool isPlainHost(std::string_view text) { return isHostName(text) && text.find('*') == text.npos; }

bool readDomain(std::string_view value, std::string* data) {
    if (value.starts_with('.'))
        value.remove_prefix(1);
    *data = value;
    return isPlainHost(value);
}

/// Reads "a.example" or ".a.example".
bool readHosts(std::string_view value, std::string* data) {
    *data = value;
    return isPlainHost(value.starts_with('.') ? value.substr(1) : value);
}

bool readMailboxes(std::string_view value, std::string* data) {
    size_t const at = value.rfind('@');
    if (at == std::string_view::npos)
        return readHosts(value, data);
    *data = value;
    return at > 0 && isAscii(value) && isPlainHost(value.substr(at + 1));
}

constexpr NameKind subtreeKinds[] = {
    {"dns", GeneralName::dnsName, readDomain},
    {"ip", GeneralName::ipAddress, readAddressRange},
    {"email", GeneralName::rfc822Name, readMailboxes},
    {"uri", GeneralName::uri, readHosts},
    {"dirname", GeneralName::directoryName | constructed, readDirectoryName},
};

/// Reads "KIND:value" into `*to`, where KIND is one of `kinds`.
bool readKind(std::span<NameKind const> kinds, std::string_view text, GeneralName* to) {
    size_t const colon = text.find(':');
    auto const kind = std::ranges::find(kinds, lower(text.substr(0, colon)), &NameKind::kind);
    if (colon == std::string_view::npos || kind == kinds.end())
        return false;
    to->type = kind->type;
    return kind->read(text.substr(colon + 1), &to->data);
}

} // namespace

bool parseGeneralNameText(std::string_view text, GeneralName* to, Refusal* refusal) {
    GeneralName name;
    if (readKind(nameKinds, text, &name) && (name.type > GeneralName::ipAddress || isPlainName(name))) {
        *to = std::move(name);
        return true;
    }
    detail::Reading reading(text, refusal);
    return reading.refuse(RefusalId::malformedGeneralName, asn1::blob(text),
                          {{"expected", "DNS:host, IP:address, email:mailbox, URI:address, dirName:NAME, "
                                        "RID:OID or otherName:OID;UTF8:text"},
                           {"found", std::string(text)}});
}

bool parseSubtreeText(std::string_view text, GeneralName* to, Refusal* refusal) {
    GeneralName name;
    if (readKind(subtreeKinds, text, &name)) {
        *to = std::move(name);
        return true;
    }
    detail::Reading reading(text, refusal);
    return reading.refuse(RefusalId::malformedGeneralName, asn1::blob(text),
                          {{"expected", "DNS:domain, IP:address/bits, email:host, URI:host or dirName:NAME"},
                           {"found", std::string(text)}});
}

std::string generalNameText(GeneralName const& name) {
    unsigned char const kind = name.type & ~constructed;
    GeneralName plain;
    plain.type = name.type == GeneralName::none ? name.type : kind;
    std::string const type = plain.typeStr();
    std::string text = type.empty() ? "type " + std::to_string(name.type) : type;
    asn1::blob const data(name.data);
    switch (name.type) {
    case GeneralName::rfc822Name:
    case GeneralName::dnsName:
    case GeneralName::uri:
        return text + ": " + name.data;
    case GeneralName::ipAddress:
        return text + ": " + ipText(data);
    case GeneralName::registeredId:
        return text + ": " + oidName(data);
    case GeneralName::directoryName | constructed:
        return text + ": " + nameText(data);
    case GeneralName::otherName | constructed:
        return text + ": " + otherNameText(data);
    default:
        return text + ": " + hexText(data);
    }
}

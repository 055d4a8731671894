#include "sealkit/asn1_tree.h"
#include "sealkit/bignum.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include "asn1/element.h"
#include "asn1/string_text.h"

#include <algorithm>

namespace tag = detail::tag;

namespace asn1 {

namespace {

/// The bytes in hexadecimal, cut if they are long.
std::string hexText(blob bytes, size_t maxBytes) {
    if (bytes.size() <= maxBytes)
        return str(bytes);
    return str(blob(bytes.start, maxBytes)) + ":... (" + std::to_string(bytes.size()) + " bytes)";
}

/// A number in two's complement (X.690, section 8.3).
std::string integerText(blob content, size_t maxBytes) {
    constexpr size_t maxDecimalBytes = 32;
    if (content.empty())
        return "(empty)";
    if (content.size() > maxDecimalBytes)
        return "0x" + hexText(content, maxBytes);
    if (content[0] < 0x80)
        return BigNum(content).strDec();
    std::vector<unsigned char> magnitude(content.begin(), content.end());
    for (unsigned char& octet : magnitude)
        octet = static_cast<unsigned char>(~octet);
    return "-" + (BigNum(blob(magnitude)) + 1u).strDec();
}

/// `oidStr`, but with the correct first two arcs (X.690, section 8.19.4) if the second exceeds 39.
std::string dottedText(blob oid) {
    constexpr unsigned char firstOfArc2 = 80, more = 0x80;
    size_t first = 0;
    std::uint32_t number = 0;
    while (first < oid.size() && first < 4) {
        number = number << 7 | (oid[first] & 0x7Fu);
        if ((oid[first++] & more) == 0)
            break;
    }
    bool const isWhole = first > 0 && (oid[first - 1] & more) == 0;
    if (!isWhole || number < firstOfArc2)
        return oidStr(oid);
    std::vector<unsigned char> rest = {firstOfArc2}; // "2.0"
    rest.insert(rest.end(), oid.begin() + first, oid.end());
    return "2." + std::to_string(number - firstOfArc2) + oidStr(rest).substr(3);
}

std::string oidText(blob oid) {
    std::string const dotted = dottedText(oid), name = oidName(oid);
    return name == oidStr(oid) ? dotted : dotted + " " + name;
}

/// Converts "20261121083000Z" to "2026-11-21T08:30:00Z". Other text is unchanged.
std::string timeText(bool isUtcTime, blob content) {
    std::string const text(content.begin(), content.end());
    size_t const digits = std::min(text.find_first_not_of("0123456789"), text.size());
    size_t const yearDigits = isUtcTime ? 2 : 4;
    if (digits % 2 != 0 || digits < yearDigits + 6 || digits > yearDigits + 10)
        return text;
    std::string result = text.substr(0, yearDigits);
    if (isUtcTime)
        result = (result >= "50" ? "19" : "20") + result;
    constexpr char separators[] = {'-', '-', 'T', ':', ':'};
    for (size_t i = yearDigits, part = 0; i < digits; i += 2, part++)
        result += separators[part] + text.substr(i, 2);
    return result + text.substr(digits);
}

std::string bitsText(blob content, size_t maxBytes) {
    if (content.empty())
        return "(empty)";
    unsigned const unused = content.pop_front();
    std::string text = hexText(content, maxBytes);
    if (unused != 0)
        text += std::string(text.empty() ? "" : " ") + "(" + std::to_string(unused) + " unused bits)";
    return text;
}

std::string cutText(std::string text, size_t maxBytes) {
    size_t const whole = text.size();
    if (whole <= maxBytes)
        return text;
    while (maxBytes > 0 && (static_cast<unsigned char>(text[maxBytes]) & 0xC0) == 0x80)
        --maxBytes; // Moves back to the start of a character.
    return text.substr(0, maxBytes) + "... (" + std::to_string(whole) + " bytes)";
}

bool isPlainText(blob content) {
    return !content.empty() &&
           std::ranges::all_of(content, [](unsigned char c) { return c >= ' ' && c < 0x7F; });
}

} // namespace

std::string tagName(TreeElement const& element) {
    if (element.isEndOfContents)
        return "end of contents";
    std::string const number = std::to_string(element.number);
    switch (element.tagClass) {
    case TagClass::application:
        return "[APPLICATION " + number + "]";
    case TagClass::context:
        return "[" + number + "]";
    case TagClass::privateUse:
        return "[PRIVATE " + number + "]";
    case TagClass::universal:
        break;
    }
    static constexpr char const* names[] = {
        "end of contents",
        "BOOLEAN",
        "INTEGER",
        "BIT STRING",
        "OCTET STRING",
        "NULL",
        "OBJECT IDENTIFIER",
        "ObjectDescriptor",
        "EXTERNAL",
        "REAL",
        "ENUMERATED",
        "EMBEDDED PDV",
        "UTF8String",
        "RELATIVE-OID",
        "TIME",
        "[UNIVERSAL 15]",
        "SEQUENCE",
        "SET",
        "NumericString",
        "PrintableString",
        "T61String",
        "VideotexString",
        "IA5String",
        "UTCTime",
        "GeneralizedTime",
        "GraphicString",
        "VisibleString",
        "GeneralString",
        "UniversalString",
        "CHARACTER STRING",
        "BMPString",
    };
    return element.number < std::size(names) ? names[element.number] : "[UNIVERSAL " + number + "]";
}

std::string valueText(TreeElement const& element, size_t maxBytes) {
    blob const content = element.content;
    if (element.isConstructed || element.isEndOfContents || element.holdsElement)
        return "";
    if (element.tagClass != TagClass::universal)
        return isPlainText(content)
                   ? "\"" + cutText(std::string(content.begin(), content.end()), maxBytes) + "\""
                   : hexText(content, maxBytes);
    unsigned const number = static_cast<unsigned>(std::min<std::uint64_t>(element.number, 0x1F));
    switch (number) {
    case tag::boolean:
        return content.size() != 1 ? hexText(content, maxBytes) : content[0] != 0 ? "TRUE" : "FALSE";
    case tag::integer:
    case tag::enumerated:
        return integerText(content, maxBytes);
    case tag::bitString:
        return bitsText(content, maxBytes);
    case tag::oid:
        return oidText(content);
    case tag::utcTime:
    case tag::generalizedTime:
        return cutText(timeText(number == tag::utcTime, content), maxBytes);
    default:
        return detail::isStringTag(number) ? cutText(detail::stringText(number, content), maxBytes)
                                           : hexText(content, maxBytes);
    }
}

std::string derText(blob der, size_t maxLength) {
    std::string text;
    TreeWalker walker(der);
    std::vector<char const*> open; // The closing text of each open element.
    bool isFirst = true;
    auto const closeTo = [&](size_t depth) {
        while (open.size() > depth) {
            text += open.back();
            open.pop_back();
            isFirst = false;
        }
    };
    while (walker.next()) {
        TreeElement const& element = walker.element();
        if (element.isEndOfContents)
            continue;
        closeTo(element.depth);
        if (text.size() > maxLength) {
            text += text.ends_with(' ') ? "..." : ", ...";
            closeTo(0);
            return text;
        }
        text += isFirst ? "" : ", ";
        isFirst = false;
        bool const isUniversal = element.tagClass == TagClass::universal;
        bool const isString =
            isUniversal && detail::isStringTag(static_cast<unsigned>(element.number & 0x1F));
        if (!isUniversal)
            text += tagName(element) + " ";
        if (element.isConstructed || element.holdsElement) {
            text += element.holdsElement
                        ? (element.number == tag::octetString ? "OCTET STRING {" : "BIT STRING {")
                        : "{";
            open.push_back("}");
            isFirst = true;
        } else if (isUniversal && element.number == tag::null) {
            text += "NULL";
        } else if (isString) {
            text += "\"" + valueText(element, maxLength) + "\"";
        } else if (std::string const value = valueText(element); !value.empty()) {
            text += isUniversal && element.number == tag::oid ? oidName(element.content) : value;
        } else {
            text += "\"\"";
        }
    }
    closeTo(0);
    if (!walker.isComplete() || text.empty())
        return der.empty() ? "(empty)" : hexText(der, maxLength / 4);
    return text;
}

} // namespace asn1

#include "asn1/string_text.h"

#include "asn1/tags.h"
#include "base/utf.h"

namespace detail {

namespace {

constexpr unsigned videotexString = 0x15, graphicString = 0x19, generalString = 0x1B;

/// Converts UCS-2 or UCS-4. Invalid and incomplete characters become the replacement character.
std::string fromUnits(asn1::blob content, size_t size) {
    std::string text;
    while (!content.empty()) {
        char32_t point = 0;
        bool const isWhole = content.size() >= size;
        for (unsigned char const octet : content.pop_front(isWhole ? size : content.size()))
            point = point << 8 | octet;
        bool const isCharacter = isWhole && point <= 0x10FFFF && !isSurrogate(point);
        appendUtf8(text, isCharacter ? point : replacementCharacter);
    }
    return text;
}

} // namespace

bool isStringTag(unsigned tag) {
    switch (tag) {
    case tag::utf8String:
    case tag::numericString:
    case tag::printableString:
    case tag::t61String:
    case videotexString:
    case tag::ia5String:
    case graphicString:
    case tag::visibleString:
    case generalString:
    case tag::universalString:
    case tag::bmpString:
        return true;
    default:
        return false;
    }
}

std::string stringText(unsigned tag, asn1::blob content) {
    if (tag == tag::bmpString)
        return fromUnits(content, 2);
    if (tag == tag::universalString)
        return fromUnits(content, 4);
    std::string text(content.begin(), content.end());
    return tag == tag::t61String && !isUtf8(text) ? fromUnits(content, 1) : text;
}

} // namespace detail

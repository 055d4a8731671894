#include "asn1/element.h"

#include "asn1/header.h"

namespace detail {

namespace {

RefusalId refusalOf(HeaderError error) {
    switch (error) {
    case HeaderError::indefiniteLength:
        return RefusalId::indefiniteLength;
    case HeaderError::unsupportedLength:
        return RefusalId::unsupportedLength;
    case HeaderError::unsupportedTag:
        return RefusalId::unsupportedTag;
    default:
        return RefusalId::truncatedElement;
    }
}

} // namespace

bool refuseHeader(Reading& reading, asn1::blob bytes) {
    asn1::blob rest = bytes;
    unsigned tag = 0;
    size_t length = 0;
    HeaderError const error = takeHeader(rest, &tag, &length);
    std::vector<Fact> facts;
    if (error == HeaderError::truncated && length > rest.size())
        facts = {{"length", std::to_string(length)}, {"bytes left", std::to_string(rest.size())}};
    return reading.refuse(refusalOf(error), bytes, std::move(facts));
}

namespace {

/// Finds the available part of a truncated element with that tag, if the reading is tolerant.
bool findTruncated(Level const& level, unsigned expected, asn1::blob* whole, asn1::blob* content) {
    if (!level.reading.isTolerant() || level.tag != asn1::parser::errorTag || level.start == level.finish)
        return false;
    asn1::blob rest(level.start, level.finish);
    unsigned tag = 0;
    size_t length = 0;
    if (takeHeader(rest, &tag, &length) != HeaderError::truncated || tag != expected || length <= rest.size())
        return false;
    *whole = asn1::blob(level.start, level.finish);
    *content = rest;
    return true;
}

/// The same, and takes it.
bool takeTruncated(Level& level, unsigned expected, asn1::blob* whole, asn1::blob* content) {
    if (!findTruncated(level, expected, whole, content))
        return false;
    level.start = level.finish;
    return true;
}

} // namespace

std::string tagText(unsigned tag) {
    switch (tag) {
    case asn1::parser::endTag:
        return "the end";
    case tag::boolean:
        return "BOOLEAN";
    case tag::integer:
        return "INTEGER";
    case tag::bitString:
        return "BIT STRING";
    case tag::octetString:
        return "OCTET STRING";
    case tag::null:
        return "NULL";
    case tag::oid:
        return "OBJECT IDENTIFIER";
    case tag::enumerated:
        return "ENUMERATED";
    case tag::utf8String:
        return "UTF8String";
    case tag::numericString:
        return "NumericString";
    case tag::printableString:
        return "PrintableString";
    case tag::t61String:
        return "T61String";
    case tag::ia5String:
        return "IA5String";
    case tag::utcTime:
        return "UTCTime";
    case tag::generalizedTime:
        return "GeneralizedTime";
    case tag::visibleString:
        return "VisibleString";
    case tag::universalString:
        return "UniversalString";
    case tag::bmpString:
        return "BMPString";
    case tag::sequence:
        return "SEQUENCE";
    case tag::set:
        return "SET";
    default:
        break;
    }
    constexpr unsigned contextClass = 0x80, classAndLongForm = 0xC0, number = 0x1F;
    if (tag <= 0xFF && (tag & classAndLongForm) == contextClass)
        return "[" + std::to_string(tag & number) + "]";
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "tag 0x";
    for (int shift = tag > 0xFF ? 28 : 4; shift >= 0; shift -= 4)
        if (tag >> shift != 0 || shift <= 4)
            text += digits[tag >> shift & 0x0F];
    return text;
}

bool refuseElement(Level const& level, unsigned expected, char const* field) {
    Reading& reading = level.reading;
    if (!reading.wantsReason())
        return false;
    if (level.tag == asn1::parser::errorTag)
        return refuseHeader(reading, {level.start, level.finish});
    if (atEnd(level))
        return refuseField(reading, field, RefusalId::missingElement, level.finish,
                           {{"expected", tagText(expected)}});
    return refuseField(reading, field, RefusalId::unexpectedElement, level.tlvStart,
                       {{"expected", tagText(expected)}, {"found", tagText(level.tag)}});
}

bool refuseField(Reading& reading, char const* field, RefusalId id, unsigned char const* at,
                 std::vector<Fact> facts) {
    if (field == nullptr)
        return reading.refuse(id, at, std::move(facts));
    Reading::Step const step(reading, field);
    return reading.refuse(id, at, std::move(facts));
}

bool isAt(Level const& level, unsigned expected) {
    asn1::blob whole, content;
    return level.tag == expected || findTruncated(level, expected, &whole, &content);
}

// The common case of `take`, `takeWhole` and `readOnly` calls nothing, so that it saves no registers: a
// certificate is parsed by fifty of these calls.

namespace {

[[gnu::noinline]] bool takeAnywhere(Level& level, unsigned expected, asn1::blob* content, char const* field) {
    asn1::blob whole;
    if (level.tag != expected)
        return takeTruncated(level, expected, &whole, content) || refuseElement(level, expected, field);
    asn1::blob const taken = level.value();
    bool const isGood = advance(level) || level.reading.isTolerant();
    *content = isGood ? taken : asn1::blob();
    return isGood || refuseElement(level, asn1::parser::endTag);
}

[[gnu::noinline]] bool takeWholeAnywhere(Level& level, unsigned expected, asn1::blob* element,
                                         char const* field) {
    asn1::blob content;
    if (level.tag != expected)
        return takeTruncated(level, expected, element, &content) || refuseElement(level, expected, field);
    asn1::blob const taken(level.tlvStart, level.valueEnd);
    bool const isGood = advance(level) || level.reading.isTolerant();
    *element = isGood ? taken : asn1::blob();
    return isGood || refuseElement(level, asn1::parser::endTag);
}

[[gnu::noinline]] bool readOnlyAnywhere(Reading& reading, asn1::blob der, unsigned expected,
                                        asn1::blob* content, char const* field) {
    Level level(reading, der);
    if (reading.isTolerant())
        return take(level, expected, content, field);
    // Another tag means another type, not a malformed element.
    if (level.tag == asn1::parser::errorTag && !der.empty() && der[0] != expected)
        return reading.refuse(RefusalId::unexpectedElement, der,
                              {{"expected", tagText(expected)}, {"found", tagText(der[0])}});
    if (level.tag != expected)
        return refuseElement(level, expected, field);
    *content = level.value();
    return level.valueEnd == level.finish ||
           reading.refuse(RefusalId::trailingBytes, level.valueEnd,
                          {{"bytes", std::to_string(level.finish - level.valueEnd)}});
}

} // namespace

bool take(Level& level, unsigned expected, asn1::blob* content, char const* field) {
    asn1::blob const taken = level.value();
    if (level.tag != expected || !advanceShort(level))
        return takeAnywhere(level, expected, content, field);
    *content = taken;
    return true;
}

bool takeWhole(Level& level, unsigned expected, asn1::blob* element, char const* field) {
    asn1::blob const taken(level.tlvStart, level.valueEnd);
    if (level.tag != expected || !advanceShort(level))
        return takeWholeAnywhere(level, expected, element, field);
    *element = taken;
    return true;
}

bool readOnly(Reading& reading, asn1::blob der, unsigned expected, asn1::blob* content, char const* field) {
    // Most elements have a header of two octets and nothing after them.
    constexpr unsigned char longForm = 0x80;
    if (der.size() < 2 || der[0] != expected || der[1] >= longForm || der[1] != der.size() - 2)
        return readOnlyAnywhere(reading, der, expected, content, field);
    *content = asn1::blob(der.start + 2, der.finish);
    return true;
}

bool enter(Level& level, unsigned expected, char const* field) {
    if (level.tag != expected)
        return refuseElement(level, expected, field);
    return level.enter(expected) || refuseElement(level, asn1::parser::endTag);
}

bool takeInteger(Level& level, asn1::blob* content, char const* field) {
    unsigned char const* const place = level.tlvStart;
    if (!take(level, tag::integer, content, field))
        return false;
    return !content->empty() || level.reading.isTolerant() ||
           refuseField(level.reading, field, RefusalId::emptyInteger, place);
}

bool takeUInt(Level& level, unsigned* number, char const* field) {
    if (level.tag != tag::integer)
        return refuseElement(level, tag::integer, field);
    *number = level.readUInt();
    return level.tag != asn1::parser::errorTag || refuseElement(level, asn1::parser::endTag);
}

size_t countElements(asn1::parser level) {
    size_t count = 0;
    for (; level.tag != asn1::parser::endTag && level.tag != asn1::parser::errorTag; advance(level))
        count++;
    return count;
}

} // namespace detail

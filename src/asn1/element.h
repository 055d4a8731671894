/// Strict reading of DER: each step takes one element with a given tag, or fails.
///
/// The parser itself accepts whatever stays within bounds, and at the end of a level gives the last
/// element once more. These functions look at the tag first. A function that returns false has left the
/// parser where no later step succeeds, or where `atEnd` is false.
#pragma once

#include "sealkit/asn1.h"

#include <vector>

namespace detail {

/// Identifier octets (X.690, section 8.1.2).
namespace tag {
inline constexpr unsigned boolean = 0x01;
inline constexpr unsigned integer = 0x02;
inline constexpr unsigned bitString = 0x03;
inline constexpr unsigned octetString = 0x04;
inline constexpr unsigned null = 0x05;
inline constexpr unsigned oid = 0x06;
inline constexpr unsigned enumerated = 0x0A;
inline constexpr unsigned utf8String = 0x0C;
inline constexpr unsigned numericString = 0x12;
inline constexpr unsigned printableString = 0x13;
inline constexpr unsigned t61String = 0x14;
inline constexpr unsigned ia5String = 0x16;
inline constexpr unsigned utcTime = 0x17;
inline constexpr unsigned generalizedTime = 0x18;
inline constexpr unsigned visibleString = 0x1A;
inline constexpr unsigned universalString = 0x1C;
inline constexpr unsigned bmpString = 0x1E;
inline constexpr unsigned sequence = 0x30;
inline constexpr unsigned set = 0x31;

/// [number] of a primitive type.
constexpr unsigned primitive(unsigned number) { return 0x80 | number; }
/// [number] of a constructed type, or EXPLICIT.
constexpr unsigned constructed(unsigned number) { return 0xA0 | number; }
} // namespace tag

/// Takes the content of the current element, which must have the tag `expected`.
inline bool take(asn1::parser& level, unsigned expected, asn1::blob* content) {
    if (level.tag != expected)
        return false;
    *content = level.take();
    return level.tag != asn1::parser::errorTag;
}

/// The same with identifier and length octets.
inline bool takeWhole(asn1::parser& level, unsigned expected, asn1::blob* element) {
    if (level.tag != expected)
        return false;
    *element = level.takeWhole();
    return level.tag != asn1::parser::errorTag;
}

/// Takes the content of an INTEGER, which has at least one octet (X.690, section 8.3.1).
inline bool takeInteger(asn1::parser& level, asn1::blob* content) {
    return take(level, tag::integer, content) && !content->empty();
}

/// Passes over an element that may be absent.
inline void skipOptional(asn1::parser& level, unsigned optional) {
    if (level.tag == optional)
        level.next();
}

/// Whether the level was read to its end, and without error.
inline bool atEnd(asn1::parser const& level) { return level.tag == asn1::parser::endTag; }

/// The content of the one element that `der` consists of.
inline bool readOnly(asn1::blob der, unsigned expected, asn1::blob* content) {
    asn1::parser level(der);
    return take(level, expected, content) && atEnd(level);
}

inline std::vector<unsigned char> copyOf(asn1::blob bytes) { return {bytes.begin(), bytes.end()}; }

} // namespace detail

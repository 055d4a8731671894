/// Strict reading of DER: each step takes one element with a given tag, or fails.
///
/// The parser itself accepts whatever stays within bounds, and at the end of a level gives the last
/// element once more. These functions look at the tag first. A function that returns false has left the
/// parser where no later step succeeds, or where `atEnd` is false.
#pragma once

#include "asn1/tags.h"
#include "sealkit/asn1.h"

#include <vector>

namespace detail {

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

/// Takes an INTEGER as the number that `readUInt` makes of it.
inline bool takeUInt(asn1::parser& level, unsigned* number) {
    if (level.tag != tag::integer)
        return false;
    *number = level.readUInt();
    return level.tag != asn1::parser::errorTag;
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

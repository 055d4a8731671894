/// The identifier and length octets of an element (ITU-T X.690, sections 8.1.2 and 8.1.3), and the step of a
/// parser to the next element.
#pragma once

#include "sealkit/asn1.h"

namespace detail {

enum class HeaderError : unsigned char {
    none,
    truncated,         ///< The element or its header exceeds the input.
    indefiniteLength,  ///< Only in BER.
    unsupportedLength, ///< More than four length octets.
    unsupportedTag,    ///< More than four identifier octets.
};

/// Takes the header off `rest`, which then begins with the content. `rest` must not be empty. After an error
/// `*tag` and `*length` are undefined.
///
/// Non-minimal lengths are accepted (BER's form, section 8.1.3.5), because old tools write them. Lengths are
/// compared with the remaining size before any pointer moves, so pointers cannot wrap.
HeaderError takeHeader(asn1::blob& rest, unsigned* tag, size_t* length);

/// `asn1::parser::next` for all elements, the end and errors. Not inlined, because few elements need it.
[[gnu::noinline]] bool advanceAnywhere(asn1::parser& at);

/// `asn1::parser::next` for the end and for a header of two octets, the most common case. Returns false and
/// leaves the parser unchanged in all other cases.
inline bool advanceShort(asn1::parser& at) {
    if (at.tag == asn1::parser::errorTag)
        return false;
    unsigned char const* const header = at.start;
    size_t const left = static_cast<size_t>(at.finish - header);
    if (left == 0) {
        at.tag = asn1::parser::endTag;
        return true;
    }
    if (left < 2)
        return false;
    unsigned const tag = header[0], length = header[1];
    if ((tag & 0x1F) == 0x1F || length >= 0x80 || length > left - 2)
        return false;
    at.tag = tag;
    at.tlvStart = header;
    at.valueStart = header + 2;
    at.valueEnd = at.start = header + 2 + length;
    return true;
}

/// `asn1::parser::next`.
inline bool advance(asn1::parser& at) { return advanceShort(at) || advanceAnywhere(at); }

} // namespace detail

/// The identifier and length octets of an element (ITU-T X.690, sections 8.1.2 and 8.1.3), and the step of a
/// parser from one element to the next.
#pragma once

#include "sealkit/asn1.h"

namespace detail {

enum class HeaderError : unsigned char {
    none,
    truncated,         ///< The element, or its header, is longer than what is left.
    indefiniteLength,  ///< Of BER alone.
    unsupportedLength, ///< More than four length octets.
    unsupportedTag,    ///< More than four identifier octets.
};

/// Takes the header off `rest`, which then begins with the content. `rest` must not be empty. On an error
/// `*tag` and `*length` are of no use.
///
/// Lengths that could be shorter are accepted (BER's form, section 8.1.3.5): old tools write them. Lengths
/// are compared with what is left before any pointer moves, so none can wrap.
HeaderError takeHeader(asn1::blob& rest, unsigned* tag, size_t* length);

/// `asn1::parser::next` for every element, the end and an error. Kept out of the calls that most elements
/// need.
[[gnu::noinline]] bool advanceAnywhere(asn1::parser& at);

/// `asn1::parser::next`, inlined into the library's own steps for the end and for a header of two octets, as
/// most have.
inline bool advance(asn1::parser& at) {
    unsigned char const* const header = at.start;
    size_t const left = static_cast<size_t>(at.finish - header);
    if (left == 0 && at.tag != asn1::parser::errorTag) {
        at.tag = asn1::parser::endTag;
        return true;
    }
    if (at.tag == asn1::parser::errorTag || left < 2 || (header[0] & 0x1F) == 0x1F || header[1] > left - 2 ||
        header[1] >= 0x80)
        return advanceAnywhere(at);
    at.tag = header[0];
    at.tlvStart = header;
    at.valueStart = header + 2;
    at.valueEnd = at.start = header + 2 + header[1];
    return true;
}

} // namespace detail

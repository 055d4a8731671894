/// The identifier and length octets of an element (ITU-T X.690, sections 8.1.2 and 8.1.3).
#pragma once

#include "sealkit/blob.h"

namespace detail {

enum class HeaderError : unsigned char {
    none,
    truncated,         ///< The element, or its header, is longer than what is left.
    indefiniteLength,  ///< Of BER alone.
    unsupportedLength, ///< More than four length octets.
    unsupportedTag,    ///< More than four identifier octets.
};

/// Takes the header off `rest`, which then begins with the content. `rest` must not be empty. On an error `*tag` and
/// `*length` are of no use.
///
/// Lengths that could be shorter are accepted (BER's form, section 8.1.3.5): old tools write them. Lengths are
/// compared with what is left before any pointer moves, so none can wrap.
inline HeaderError takeHeader(asn1::blob& rest, unsigned* tag, size_t* length) {
    *tag = rest.pop_front();
    if ((*tag & 0x1F) == 0x1F) {
        unsigned char octet;
        do {
            if (rest.empty())
                return HeaderError::truncated;
            if (*tag >= 0x1000000)
                return HeaderError::unsupportedTag;
            octet = rest.pop_front();
            *tag = (*tag << 8) + (octet & 0x7F);
        } while (octet & 0x80);
    }
    if (rest.empty())
        return HeaderError::truncated;
    *length = rest.pop_front();
    if (*length & 0x80) {
        size_t octets = *length & 0x7F;
        if (octets == 0)
            return HeaderError::indefiniteLength;
        if (octets > 4)
            return HeaderError::unsupportedLength;
        if (octets > rest.size())
            return HeaderError::truncated;
        *length = 0;
        while (octets-- > 0)
            *length = (*length << 8) + rest.pop_front();
    }
    return *length > rest.size() ? HeaderError::truncated : HeaderError::none;
}

} // namespace detail

/// Attributes of signers, signed and unsigned.
#pragma once

#include "asn1/element.h"

namespace detail {

/// Attribute ::= SEQUENCE { attrType, attrValues SET } (RFC 5652, section 5.3) taken apart.
struct Attribute {
    asn1::blob type;
    asn1::blob values; ///< Content of the SET.

    bool read(asn1::blob content) {
        asn1::parser fields(content);
        return take(fields, tag::oid, &type) && take(fields, tag::set, &values) && atEnd(fields);
    }
};

/// Calls `readAttribute` for each attribute of a SET's content until one is refused.
template <typename Read>
bool readAttributes(asn1::blob set, Read readAttribute) {
    asn1::parser elements(set);
    asn1::blob content;
    while (take(elements, tag::sequence, &content)) {
        Attribute attribute;
        if (!attribute.read(content) || !readAttribute(attribute))
            return false;
    }
    return atEnd(elements);
}

} // namespace detail

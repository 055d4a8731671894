/// The signed and unsigned attributes of signers.
#pragma once

#include "asn1/element.h"
#include "sealkit/oid.h"

namespace detail {

/// The fields of Attribute ::= SEQUENCE { attrType, attrValues SET } (RFC 5652, section 5.3).
struct Attribute {
    asn1::blob type;
    asn1::blob values; ///< Content of the SET.
};

inline bool readAttribute(Reading& reading, asn1::blob content, Attribute* to) {
    Level fields(reading, content);
    return take(fields, tag::oid, &to->type, "type") && take(fields, tag::set, &to->values, "values") &&
           finish(fields);
}

/// Calls `readValues` for each attribute in a SET's content until it returns false. `what` names an attribute
/// in refusals.
template <typename Read>
bool readAttributes(Reading& reading, asn1::blob set, char const* what, Read readValues) {
    Level elements(reading, set);
    for (size_t number = 1; !atEnd(elements); number++) {
        asn1::blob content;
        Attribute attribute;
        Reading::Step const step(reading, what, number);
        if (!take(elements, tag::sequence, &content) || !readAttribute(reading, content, &attribute))
            return false;
        Reading::Step const name(reading, "type", 0, attribute.type, oidStr);
        if (!readValues(attribute))
            return false;
    }
    return true;
}

} // namespace detail

/// Recognises objects by the outline of their DER, and refuses objects of the wrong kind.
#pragma once

#include "asn1/tags.h"
#include "base/reading.h"
#include "sealkit/input_kind.h"

namespace detail {

/// The kind of an object with a form of its own in DER; `InputKind::otherDer` for all other bytes, even if
/// they are not DER.
InputKind findDerKind(asn1::blob der);

/// Whether the first octets are those of a SEQUENCE of indefinite length.
inline bool hasIndefiniteLength(asn1::blob bytes) {
    return bytes.size() > 1 && bytes[0] == tag::sequence && bytes[1] == 0x80;
}

/// Replaces the refusal of input that should be a `wanted` if `found` is another kind, because that is more
/// helpful than the first wrong field. Returns false.
bool refuseOtherKind(Reading& reading, InputKind wanted, InputKind found);

} // namespace detail

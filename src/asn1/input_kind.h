/// What DER is, by its shape, and the refusal of what another kind was wanted for.
#pragma once

#include "asn1/tags.h"
#include "base/reading.h"
#include "sealkit/input_kind.h"

namespace detail {

/// One of the kinds that have a form of their own in DER; `InputKind::otherDer` for all else, also where it
/// is not DER.
InputKind findDerKind(asn1::blob der);

/// Whether the bytes are a SEQUENCE of indefinite length, as far as its first octets show.
inline bool hasIndefiniteLength(asn1::blob bytes) {
    return bytes.size() > 1 && bytes[0] == tag::sequence && bytes[1] == 0x80;
}

/// Refuses input that was refused as a `wanted` once more where `found` is another kind, which says more than
/// the first wrong field. Always false.
bool refuseOtherKind(Reading& reading, InputKind wanted, InputKind found);

} // namespace detail

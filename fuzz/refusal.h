/// The laws of refusals: readers with and without a `Refusal` agree.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/assert.h"
#include "sealkit/refusal.h"

namespace fuzz {

/// `read(Refusal*)` reads an input that the reader without a `Refusal` accepted or not. Both agree. The
/// refusal has a place within the input if they fail, and is unchanged if they succeed.
template <typename Read>
void checkRefusal(asn1::blob input, bool isAccepted, Read read) {
    Refusal refusal;
    refusal.path = "earlier";
    SEALKIT_ASSERT(read(&refusal) == isAccepted);
    SEALKIT_ASSERT((refusal.id == RefusalId::none) == isAccepted);
    SEALKIT_ASSERT((refusal.path == "earlier") == isAccepted);
    SEALKIT_ASSERT(refusal.offset == Refusal::nowhere || refusal.offset <= input.size());
}

/// The same for a class with `parse`.
template <typename Object>
void checkRefusal(asn1::blob input, bool isAccepted) {
    checkRefusal(input, isAccepted, [input](Refusal* refusal) { return Object().parse(input, refusal); });
}

} // namespace fuzz

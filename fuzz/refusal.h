/// The reader that tells why and the stated one are one.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/assert.h"
#include "sealkit/refusal.h"

namespace fuzz {

/// `read(Refusal*)` reads an input that the stated reader accepted or not: both agree, and the refusal is
/// filled in exactly when they fail, with a place within the input, and is unchanged when they succeed.
template <typename Read>
void checkRefusal(asn1::blob input, bool isAccepted, Read read) {
    Refusal refusal;
    refusal.path = "earlier";
    SEALKIT_ASSERT(read(&refusal) == isAccepted);
    SEALKIT_ASSERT((refusal.id == RefusalId::none) == isAccepted);
    SEALKIT_ASSERT((refusal.path == "earlier") == isAccepted);
    SEALKIT_ASSERT(refusal.offset == Refusal::nowhere || refusal.offset <= input.size());
}

/// The same of a class with `parse`.
template <typename Object>
void checkRefusal(asn1::blob input, bool isAccepted) {
    checkRefusal(input, isAccepted, [input](Refusal* refusal) { return Object().parse(input, refusal); });
}

} // namespace fuzz

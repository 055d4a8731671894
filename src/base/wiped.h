/// Secrets on the stack, which must not stay there.
#pragma once

#include "sealkit/wipe.h"

namespace detail {

/// A value that begins as zeros and is wiped where its scope ends.
template <typename Value>
struct Wiped : Value {
    Wiped() : Value() {}
    Wiped(Wiped const&) = delete;
    Wiped& operator=(Wiped const&) = delete;
    ~Wiped() { secureMemset(static_cast<Value*>(this), 0, sizeof(Value)); }
};

/// Wipes the room that functions called before by the same function used on the stack: for those whose own
/// locals are too many or too hot to be wiped each time.
void wipeStackBelow();

} // namespace detail

/// Wipes secrets on the stack.
#pragma once

#include "sealkit/wipe.h"

namespace detail {

/// A value-initialized value that is wiped by the destructor.
template <typename Value>
struct Wiped : Value {
    Wiped() : Value() {}
    Wiped(Wiped const&) = delete;
    Wiped& operator=(Wiped const&) = delete;
    ~Wiped() { secureMemset(static_cast<Value*>(this), 0, sizeof(Value)); }
};

/// Wipes the stack memory that functions called earlier have used. For functions whose
/// locals are too many or too time-critical to be wiped each time.
void wipeStackBelow();

} // namespace detail

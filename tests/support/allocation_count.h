/// Counting allocations.
#pragma once

#include <cstddef>

namespace test {

/// How many blocks of memory the program and the libraries under it have taken from the heap so far.
size_t allocationCount();

/// How many bytes of the heap they hold.
size_t bytesHeld();

/// How many blocks they take while `body` runs.
template <typename Body>
size_t allocationsOf(Body const& body) {
    size_t const before = allocationCount();
    body();
    return allocationCount() - before;
}

/// How many bytes they hold more once `body` has run.
template <typename Body>
size_t bytesHeldBy(Body const& body) {
    size_t const before = bytesHeld();
    body();
    return bytesHeld() - before;
}

} // namespace test

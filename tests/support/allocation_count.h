/// Counts allocations.
#pragma once

#include <cstddef>

namespace test {

/// The number of heap allocations of the program and its libraries so far.
size_t allocationCount();

/// The number of bytes that they hold now.
size_t bytesHeld();

/// The number of allocations while `body` runs.
template <typename Body>
size_t allocationsOf(Body const& body) {
    size_t const before = allocationCount();
    body();
    return allocationCount() - before;
}

/// The increase in bytes held by `body`.
template <typename Body>
size_t bytesHeldBy(Body const& body) {
    size_t const before = bytesHeld();
    body();
    return bytesHeld() - before;
}

} // namespace test

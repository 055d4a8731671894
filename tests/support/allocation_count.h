/// Counting allocations.
#pragma once

#include <cstddef>

namespace test {

/// How many blocks of memory the program and the libraries under it have taken from the heap so far.
size_t allocationCount();

/// How many they take while `body` runs.
template <typename Body>
size_t allocationsOf(Body const& body) {
    size_t const before = allocationCount();
    body();
    return allocationCount() - before;
}

} // namespace test

/// Counting allocations.
#pragma once

namespace test {

/// How many blocks of memory the program and the library under test have taken from the heap so far.
unsigned long allocationCount();

} // namespace test

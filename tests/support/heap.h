/// The allocation operators of every test program, and what looks on.
#pragma once

#include <cstddef>

namespace test {

/// How many blocks were taken.
extern size_t allocations;
/// Is told of each block before it goes back, unless it is null.
extern void (*onRelease)(unsigned char const* block, size_t size);

} // namespace test

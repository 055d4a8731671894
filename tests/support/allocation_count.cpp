#include "support/allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

size_t count = 0;

} // namespace

size_t test::allocationCount() { return count; }

// The operators that every allocation of C++ goes through, of the library's too.
void* operator new(size_t size) {
    ++count;
    if (void* memory = std::malloc(size ? size : 1))
        return memory;
    std::abort();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

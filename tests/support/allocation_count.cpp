#include "support/allocation_count.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

namespace {

size_t allocations = 0;

} // namespace

size_t test::allocationCount() { return allocations; }

// The operators that every allocation of C++ goes through, of the library's too. New memory is filled, so
// that nobody counts on zeros.
void* operator new(size_t size) {
    ++allocations;
    void* const memory = std::malloc(size ? size : 1);
    if (memory == nullptr)
        std::abort();
    return std::memset(memory, 0xA5, malloc_usable_size(memory));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

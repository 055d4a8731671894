#include "allocation_count.h"

#include <cstdlib>
#include <new>

namespace {

unsigned long count = 0;

} // namespace

unsigned long test::allocationCount() { return count; }

// The operators that every allocation of C++ goes through, of the library's too.
void* operator new(size_t size) {
    ++count;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

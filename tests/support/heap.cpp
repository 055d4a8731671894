#include "support/heap.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

size_t test::allocations = 0;
void (*test::onRelease)(unsigned char const* block, size_t size) = nullptr;

namespace {

void release(void* memory) {
    if (test::onRelease != nullptr && memory != nullptr)
        test::onRelease(static_cast<unsigned char const*>(memory), malloc_usable_size(memory));
    std::free(memory);
}

} // namespace

// The operators that every allocation of C++ goes through, of the library's too. New memory is filled, so
// that a block holds nothing but what was written to it, and that nobody counts on zeros.
void* operator new(size_t size) {
    ++test::allocations;
    void* const memory = std::malloc(size ? size : 1);
    if (memory == nullptr)
        std::abort();
    return std::memset(memory, 0xA5, malloc_usable_size(memory));
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, size_t) noexcept { release(memory); }

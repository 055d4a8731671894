#include "support/allocation_count.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

namespace {

std::atomic<size_t> allocations = 0;
std::atomic<size_t> held = 0;

} // namespace

size_t test::allocationCount() { return allocations; }
size_t test::bytesHeld() { return held; }

// Every allocation of C++ passes through these operators, including the library's. New memory is filled, so
// that no test relies on zeros.
void* operator new(size_t size) {
    void* const memory = std::malloc(size ? size : 1);
    if (memory == nullptr)
        std::abort();
    size_t const usable = malloc_usable_size(memory);
    allocations.fetch_add(1, std::memory_order_relaxed);
    held.fetch_add(usable, std::memory_order_relaxed);
    return std::memset(memory, 0xA5, usable);
}
void* operator new(size_t size, std::nothrow_t const&) noexcept { return operator new(size); }
void operator delete(void* memory) noexcept {
    held.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept { operator delete(memory); }
void operator delete(void* memory, std::nothrow_t const&) noexcept { operator delete(memory); }

/// The allocator of containers that may hold secrets.
#pragma once

#include "sealkit/wipe.h"

#include <cstddef>
#include <new>

namespace detail {

/// An allocator that wipes memory before it goes back to the heap, so that no freed block ever
/// holds what a secret number or buffer held: growing, shrinking and moving included.
template <typename T>
struct WipingAllocator {
    using value_type = T;

    WipingAllocator() = default;
    template <typename U>
    WipingAllocator(WipingAllocator<U> const&) noexcept {}

    T* allocate(size_t count) { return static_cast<T*>(::operator new(count * sizeof(T))); }

    void deallocate(T* data, size_t count) noexcept {
        secureMemset(data, 0, count * sizeof(T));
        ::operator delete(data);
    }

    friend bool operator==(WipingAllocator, WipingAllocator) noexcept { return true; }
};

} // namespace detail

/// XOR of byte strings.
#pragma once

#include "base/unrolled.h"

#include <cstddef>
#include <cstring>

namespace detail {

/// Writes the XOR of `len` bytes at `a` and `b` to `out`, which may be either of them.
inline void xorBytes(unsigned char* out, unsigned char const* a, unsigned char const* b, unsigned len) {
    for (; len >= sizeof(size_t); len -= sizeof(size_t)) {
        size_t wordA, wordB;
        std::memcpy(&wordA, a, sizeof wordA);
        std::memcpy(&wordB, b, sizeof wordB);
        wordA ^= wordB;
        std::memcpy(out, &wordA, sizeof wordA);
        a += sizeof wordA, b += sizeof wordB, out += sizeof wordA;
    }
    while (len-- != 0)
        *out++ = static_cast<unsigned char>(*a++ ^ *b++);
}

/// The same for a constant length, unrolled into a few words.
template <unsigned size>
[[gnu::always_inline]] inline void xorBlock(unsigned char* out, unsigned char const* a,
                                            unsigned char const* b) {
    unrolled<size / sizeof(size_t)>([&](auto i) __attribute__((always_inline)) {
        constexpr unsigned at = i * sizeof(size_t);
        size_t wordA, wordB;
        std::memcpy(&wordA, a + at, sizeof wordA);
        std::memcpy(&wordB, b + at, sizeof wordB);
        wordA ^= wordB;
        std::memcpy(out + at, &wordA, sizeof wordA);
    });
}

} // namespace detail

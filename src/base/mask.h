/// Masks for branch-free selection.
#pragma once

namespace detail {

/// All ones for 1, zero for 0. The barrier hides from the compiler that there are only two values, which
/// could make it branch.
template <typename Word>
__attribute__((always_inline)) inline Word maskOf(Word bit) {
    asm("" : "+r"(bit));
    return Word{0} - bit;
}

} // namespace detail

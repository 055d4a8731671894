/// Masks that choose without a branch.
#pragma once

namespace detail {

/// All ones for 1, zero for 0. The compiler is kept from seeing that there are but two values, as it would
/// branch.
template <typename Word>
__attribute__((always_inline)) inline Word maskOf(Word bit) {
    asm("" : "+r"(bit));
    return Word{0} - bit;
}

} // namespace detail

/// Loops that the compiler unrolls.
#pragma once

#include <type_traits>
#include <utility>

namespace detail {

/// Calls `step` with 0 to `count` - 1, each as a constant. Arrays indexed by them stay in registers.
template <unsigned count, typename Step>
[[gnu::always_inline]] constexpr void unrolled(Step const& step) {
    [&]<unsigned... i>(std::integer_sequence<unsigned, i...>) __attribute__((always_inline)) {
        (step(std::integral_constant<unsigned, i>()), ...);
    }
    (std::make_integer_sequence<unsigned, count>());
}

} // namespace detail

/// Addresses of look-up tables that lie one behind the other.
#pragma once

#include <array>
#include <cstddef>

namespace detail {

/// The addresses of `tables`, each in a register of its own where a load adds two registers or a register and a
/// constant, but not all three: the compiler would take one register for all, and add once more at each look-up.
template <typename Entry, size_t entries, size_t count>
[[gnu::always_inline]] inline std::array<Entry const*, count>
tableBases(std::array<std::array<Entry, entries>, count> const& tables) {
    std::array<Entry const*, count> bases;
    for (size_t i = 0; i < count; ++i) {
        bases[i] = tables[i].data();
#if !defined __x86_64__ && !defined __i386__
        asm("" : "+r"(bases[i])); // hides what the addresses have in common
#endif
    }
    return bases;
}

} // namespace detail

/// Addresses of look-up tables that lie one after the other.
#pragma once

#include <array>
#include <cstddef>

namespace detail {

/// What looks `tables` up soonest. Where a load adds two registers and a constant, that is the tables
/// themselves, with one register for all. Where it adds two registers or a register and a constant, but not
/// all three, it is their addresses, each in a register of its own: the compiler would take one register for
/// all, and add once more at each look-up.
template <typename Entry, size_t entries, size_t count>
[[gnu::always_inline]] inline decltype(auto)
tableBases(std::array<std::array<Entry, entries>, count> const& tables) {
#if defined __x86_64__ || defined __i386__
    return (tables);
#else
    std::array<Entry const*, count> bases;
    for (size_t i = 0; i < count; ++i) {
        bases[i] = tables[i].data();
        asm("" : "+r"(bases[i])); // hides what the addresses have in common
    }
    return bases;
#endif
}

} // namespace detail

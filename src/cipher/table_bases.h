/// Base addresses of consecutive look-up tables.
#pragma once

#include <array>
#include <cstddef>

namespace detail {

/// The fastest way to address `tables`. If a load can add two registers and a constant, that is the tables
/// themselves, with one register for all. Otherwise it is an address in a register for each table; the
/// compiler would use a single register and an addition for each look-up.
template <typename Entry, size_t entries, size_t count>
[[gnu::always_inline]] inline decltype(auto)
tableBases(std::array<std::array<Entry, entries>, count> const& tables) {
#if defined __x86_64__ || defined __i386__
    return (tables);
#else
    std::array<Entry const*, count> bases;
    for (size_t i = 0; i < count; ++i) {
        bases[i] = tables[i].data();
        asm("" : "+r"(bases[i])); // Hides the common base address from the compiler.
    }
    return bases;
#endif
}

} // namespace detail

/// Big-endian and little-endian words in unaligned byte arrays.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace detail {

template <std::unsigned_integral Word>
constexpr Word byteSwapped(Word value) {
    if constexpr (sizeof(Word) == 2)
        return __builtin_bswap16(value);
    else if constexpr (sizeof(Word) == 4)
        return __builtin_bswap32(value);
    else {
        static_assert(sizeof(Word) == 8);
        return __builtin_bswap64(value);
    }
}

template <std::endian order, std::unsigned_integral Word>
constexpr Word inOrder(Word value) {
    return order == std::endian::native ? value : byteSwapped(value);
}

template <std::unsigned_integral Word>
Word loadBigEndian(unsigned char const* from) {
    Word value;
    std::memcpy(&value, from, sizeof value);
    return inOrder<std::endian::big>(value);
}

template <std::unsigned_integral Word>
Word loadLittleEndian(unsigned char const* from) {
    Word value;
    std::memcpy(&value, from, sizeof value);
    return inOrder<std::endian::little>(value);
}

template <std::unsigned_integral Word>
void storeBigEndian(unsigned char* to, Word value) {
    value = inOrder<std::endian::big>(value);
    std::memcpy(to, &value, sizeof value);
}

template <std::unsigned_integral Word>
void storeLittleEndian(unsigned char* to, Word value) {
    value = inOrder<std::endian::little>(value);
    std::memcpy(to, &value, sizeof value);
}

} // namespace detail

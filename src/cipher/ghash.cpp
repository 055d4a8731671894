#include "ghash.h"

#include "base/bytes.h"
#include "base/unrolled.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace detail {
namespace {

/// A field element as in SP 800-38D, section 6.3: the first bit, x^0, is the highest one of `high`.
struct Wide {
    std::uint64_t high;
    std::uint64_t low;
};

/// Times x, modulo x^128 + x^7 + x^2 + x + 1.
Wide timesX(Wide v) {
    std::uint64_t const reduction = v.low & 1 ? std::uint64_t(0xE1) << 56 : 0;
    return {(v.high >> 1) ^ reduction, v.low >> 1 | v.high << 63};
}

} // namespace

GHash::GHash(unsigned char const* h) {
    Wide v = {loadBigEndian<std::uint64_t>(h), loadBigEndian<std::uint64_t>(h + 8)};
    for (auto& multiples : table) {
        Element multiplesOfBits[4]; // Kept in registers.
        unrolled<4>([&](auto i) __attribute__((always_inline)) {
            std::uint64_t const bytes[2] = {inOrder<std::endian::big>(v.high),
                                            inOrder<std::endian::big>(v.low)};
            std::memcpy(&multiplesOfBits[3 - i], bytes, sizeof bytes);
            v = timesX(v);
        });
        // In the order of a Gray code, consecutive sums differ by one multiple.
        Element sum{};
        multiples[0] = sum;
        unrolled<15>([&](auto i) __attribute__((always_inline)) {
            constexpr unsigned step = i + 1;
            sum ^= multiplesOfBits[std::countr_zero(step)];
            multiples[step ^ step >> 1] = sum;
        });
    }
    secureMemset(&v, 0, sizeof v);
}

GHash::~GHash() {
    secureMemset(table, 0, sizeof table);
    secureMemset(&y, 0, sizeof y);
}

void GHash::update(void const* data, unsigned len) {
    auto const* in = static_cast<unsigned char const*>(data);
    unsigned char padded[16] = {};
    Element sum = y;
    while (len != 0) {
        unsigned const taken = std::min(len, 16U);
        Element block;
        if (taken == sizeof block) {
            std::memcpy(&block, in, sizeof block);
        } else {
            std::memcpy(padded, in, taken);
            std::memcpy(&block, padded, sizeof block);
        }
        in += taken;
        len -= taken;

        sum ^= block;
        std::uintptr_t words[sizeof sum / sizeof(std::uintptr_t)];
        std::memcpy(words, &sum, sizeof words);
        sum = Element{};
        auto const* position = table;
        for (std::uintptr_t const word : words) {
#pragma GCC unroll 8
            for (unsigned i = 0; i < sizeof word; i++) {
                constexpr unsigned lastByte = sizeof word - 1;
                unsigned const shift = 8 * (std::endian::native == std::endian::big ? lastByte - i : i);
                sum ^= position[0][word >> shift >> 4 & 15] ^ position[1][word >> shift & 15];
                position += 2;
            }
        }
    }
    y = sum;
}

void GHash::digest(unsigned char* out) {
    std::memcpy(out, &y, sizeof y);
    y = Element{};
}

} // namespace detail

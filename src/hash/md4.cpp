#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "base/unrolled.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace {

// RFC 1320 section 3.3
constexpr std::uint32_t initialState[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// The order of the block's words in the three rounds, and the rotation distances (RFC 1320, section 3.4).
constexpr unsigned words[3][16] = {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
                                   {0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15},
                                   {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15}};
constexpr int distances[3][4] = {{3, 7, 11, 19}, {3, 5, 9, 13}, {3, 9, 11, 15}};

/// F, G and H of RFC 1320 section 3.4 with the constants of their rounds: the square roots of 2 and
/// 3 times 2^30.
template <unsigned round>
[[gnu::always_inline]] inline std::uint32_t mixed(std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0)
        return d ^ (b & (c ^ d));
    else if constexpr (round == 1)
        return ((b & c) | (d & (b | c))) + 0x5a827999;
    else
        return (b ^ c ^ d) + 0x6ed9eba1;
}

} // namespace

MD4::~MD4() { secureMemset(state, 0, sizeof state); }

void MD4::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

void MD4::transform() {
    std::uint32_t v[4]; // A to D, which rotate by renaming: A of step i is v[-i mod 4].
    detail::unrolled<4>([&](auto i) { v[i] = state[i]; });

    detail::unrolled<48>([&](auto i) __attribute__((always_inline)) {
        auto const at = [&](unsigned letter) -> std::uint32_t& { return v[(letter - i) % 4]; };
        unsigned const word = words[i / 16][i % 16];
        at(0) +=
            detail::loadLittleEndian<std::uint32_t>(block + 4 * word) + mixed<i / 16>(at(1), at(2), at(3));
        at(0) = std::rotl(at(0), distances[i / 16][i % 4]);
    });

    detail::unrolled<4>([&](auto i) { state[i] += v[i]; });
}

void MD4::digest(unsigned char* out) {
    finish(true);
    for (unsigned i = 0; i < 4; i++)
        detail::storeLittleEndian(out + 4 * i, state[i]);
}

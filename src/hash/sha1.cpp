#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "base/unrolled.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace {

// FIPS 180-4 section 5.3.1
constexpr std::uint32_t initialState[5] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0};

/// f and K of round `i`, added (FIPS 180-4 sections 4.1.1 and 4.2.1). The constants are the square
/// roots of 2, 3, 5 and 10 times 2^30.
template <unsigned i>
[[gnu::always_inline]] inline std::uint32_t mixed(std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (i < 20)
        return (d ^ (b & (c ^ d))) + 0x5a827999;
    else if constexpr (i < 40)
        return (b ^ c ^ d) + 0x6ed9eba1;
    else if constexpr (i < 60)
        return (b & c) + (d & (b ^ c)) + 0x8f1bbcdc; // The halves have no common bits.
    else
        return (b ^ c ^ d) + 0xca62c1d6;
}

} // namespace

SHA1::~SHA1() { secureMemset(state, 0, sizeof state); }

void SHA1::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

// FIPS 180-4 section 6.1.2
void SHA1::transform() {
    std::uint32_t w[16]; // The last sixteen words of the message schedule.
    std::uint32_t v[5];  // a to e, which rotate by renaming: a of round i is v[-i mod 5].
    detail::unrolled<5>([&](auto i) { v[i] = state[i]; });

    detail::unrolled<80>([&](auto i) __attribute__((always_inline)) {
        if constexpr (i < 16)
            w[i] = detail::loadBigEndian<std::uint32_t>(block + 4 * i);
        else
            w[i % 16] = std::rotl(w[(i + 13) % 16] ^ w[(i + 8) % 16] ^ w[(i + 2) % 16] ^ w[i % 16], 1);
        auto const at = [&](unsigned letter) -> std::uint32_t& { return v[(letter + 80 - i) % 5]; };
        at(4) += w[i % 16] + mixed<i>(at(1), at(2), at(3)) + std::rotl(at(0), 5);
        at(1) = std::rotl(at(1), 30);
    });

    detail::unrolled<5>([&](auto i) { state[i] += v[i]; });
}

void SHA1::digest(unsigned char* out) {
    finish(false);
    for (unsigned i = 0; i < 5; i++)
        detail::storeBigEndian(out + 4 * i, state[i]);
}

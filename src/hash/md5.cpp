#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "base/unrolled.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace {

// RFC 1321 section 3.3
constexpr std::uint32_t initialState[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// T of RFC 1321 section 3.4: the integer part of 2^32 times |sin(i)| for i = 1 to 64, in radians.
constexpr std::uint32_t sines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

// The rotation distances of the four rounds, RFC 1321 section 3.4.
constexpr int distances[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

/// The index of the block's word in step `i`.
constexpr unsigned wordOfStep(unsigned i) {
    constexpr unsigned factor[4] = {1, 5, 3, 7}, offset[4] = {0, 1, 5, 0};
    return (factor[i / 16] * i + offset[i / 16]) % 16;
}

/// F, G, H and I of RFC 1321, section 3.4. The halves of G have no common bits, so addition replaces OR. As
/// `b` is computed last, the half without it can be added before.
template <unsigned round>
[[gnu::always_inline]] inline std::uint32_t mixed(std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    if constexpr (round == 0)
        return d ^ (b & (c ^ d));
    else if constexpr (round == 1)
        return (c & ~d) + (b & d);
    else if constexpr (round == 2)
        return b ^ (c ^ d);
    else
        return c ^ (b | ~d);
}

} // namespace

MD5::~MD5() { secureMemset(state, 0, sizeof state); }

void MD5::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

void MD5::transform() {
    std::uint32_t v[4]; // A to D, which rotate by renaming: A of step i is v[-i mod 4].
    detail::unrolled<4>([&](auto i) { v[i] = state[i]; });

    detail::unrolled<64>([&](auto i) __attribute__((always_inline)) {
        auto const at = [&](unsigned letter) -> std::uint32_t& { return v[(letter - i) % 4]; };
        std::uint32_t const word = detail::loadLittleEndian<std::uint32_t>(block + 4 * wordOfStep(i));
        at(0) += word + sines[i] + mixed<i / 16>(at(1), at(2), at(3));
        at(0) = std::rotl(at(0), distances[i / 16][i % 4]) + at(1);
    });

    detail::unrolled<4>([&](auto i) { state[i] += v[i]; });
}

void MD5::digest(unsigned char* out) {
    finish(true);
    for (unsigned i = 0; i < 4; i++)
        detail::storeLittleEndian(out + 4 * i, state[i]);
}

#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "hash/sha2.h"

#include <algorithm>
#include <iterator>

namespace {

// FIPS 180-4 section 5.3.3: the first 32 bits of the fractional parts of the square roots of the
// first eight primes.
constexpr std::uint32_t initialState[8] = {
    0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19,
};

} // namespace

SHA256::~SHA256() { secureMemset(state, 0, sizeof state); }

void SHA256::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

void SHA256::transform() {
    static constexpr detail::Sha2Distances distances = {{2, 13, 22}, {6, 11, 25}, {7, 18, 3}, {17, 19, 10}};
    detail::sha2Compress<64, distances>(state, block);
}

void SHA256::digest(unsigned char* out) {
    finish(false);
    for (unsigned i = 0; i < 8; i++)
        detail::storeBigEndian(out + 4 * i, state[i]);
}

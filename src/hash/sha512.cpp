#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "hash/sha2.h"

#include <algorithm>
#include <iterator>

namespace {

// FIPS 180-4 section 5.3.5: the first 64 bits of the fractional parts of the square roots of the
// first eight primes.
constexpr std::uint64_t initialState[8] = {
    0x6a09e667f3bcc908, 0xbb67ae8584caa73b, 0x3c6ef372fe94f82b, 0xa54ff53a5f1d36f1,
    0x510e527fade682d1, 0x9b05688c2b3e6c1f, 0x1f83d9abfb41bd6b, 0x5be0cd19137e2179,
};

} // namespace

SHA512::~SHA512() { secureMemset(state, 0, sizeof state); }

void SHA512::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

void SHA512::transform() {
    static constexpr detail::Sha2Distances distances = {{28, 34, 39}, {14, 18, 41}, {1, 8, 7}, {19, 61, 6}};
    detail::sha2Compress<80, distances>(state, block);
}

void SHA512::digest(unsigned char* out) {
    finish(false);
    unsigned const words = digestLength() / 8;
    for (unsigned i = 0; i < words; i++)
        detail::storeBigEndian(out + 8 * i, state[i]);
}

#include "sealkit/hash.h"

#include <algorithm>
#include <iterator>

namespace {

// FIPS 180-4 section 5.3.4: the first 64 bits of the fractional parts of the square roots of the
// ninth to sixteenth primes.
constexpr std::uint64_t initialState[8] = {
    0xcbbb9d5dc1059ed8, 0x629a292a367cd507, 0x9159015a3070dd17, 0x152fecd8f70e5939,
    0x67332667ffc00b31, 0x8eb44a8768581511, 0xdb0c2e0d64f98fa7, 0x47b5481dbefa4fa4,
};

} // namespace

void SHA384::init() { std::copy(std::begin(initialState), std::end(initialState), state); }

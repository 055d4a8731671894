#include "sealkit/bignum.h"

#include "bignum/digits.h"
#include "sealkit/rng.h"

bool randomBigNum(BigNum* result, BigNum const& n, Rng const& rng) {
    if (n.bits() < 2)
        return false;
    BigNum const greatest = n - bn2(1, 0);
    unsigned const bits = greatest.bits();
    std::vector<unsigned char, detail::WipingAllocator<unsigned char>> bytes((bits + 7) / 8);
    // At least half of all numbers of this size are in range. An honest generator fails this often with
    // probability 2^-128.
    for (unsigned tries = 0; tries < 128; tries++) {
        if (!rng.fill(bytes.data(), static_cast<unsigned>(bytes.size())))
            return false;
        bytes[0] &= static_cast<unsigned char>(0xFF >> (bytes.size() * 8 - bits));
        BigNum candidate(asn1::blob(bytes.data(), bytes.size()));
        if (!detail::isZero(candidate) && candidate <= greatest) {
            *result = std::move(candidate);
            return true;
        }
    }
    return false;
}

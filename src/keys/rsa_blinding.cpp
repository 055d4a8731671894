#include "keys/rsa_blinding.h"

#include "base/declassify.h"

#include <iterator>

namespace detail {

namespace {

using std::uint64_t;

constexpr unsigned wordBits = 64;

/// A draw fails only if it shares a factor with n, which is rare unless n is tiny or the source is broken.
constexpr unsigned maxPairs = 128;

/// 1 if a < b, without a branch.
uint64_t isBelow(uint64_t a, uint64_t b) { return ((~a & b) | (~(a ^ b) & (a - b))) >> (wordBits - 1); }

/// carry * 2^64 + a, less m unless it is below m.
uint64_t reduceOnce(uint64_t a, uint64_t carry, uint64_t m) {
    return a - (m & maskOf(carry | (isBelow(a, m) ^ 1)));
}

uint64_t addModulo(uint64_t a, uint64_t b, uint64_t m) {
    uint64_t const sum = a + b;
    return reduceOnce(sum, ((a & b) | ((a | b) & ~sum)) >> (wordBits - 1), m);
}

uint64_t multiplyModulo(uint64_t a, uint64_t b, uint64_t m) {
    uint64_t product = 0;
    for (unsigned bit = wordBits; bit-- != 0;) {
        product = addModulo(product, product, m);
        product = addModulo(product, b & maskOf(a >> bit & 1), m);
    }
    return product;
}

uint64_t remainder(Digit const* x, size_t count, uint64_t m) {
    uint64_t rest = 0;
    while (count-- != 0)
        for (unsigned bit = digitBits; bit-- != 0;)
            rest = reduceOnce(rest << 1 | (x[count] >> bit & 1), rest >> (wordBits - 1), m);
    return rest;
}

/// The inverse of a modulo an odd m, if their gcd is 1, by the binary algorithm in a fixed number of steps.
/// Each step removes a bit from u or v.
uint64_t invert(uint64_t a, uint64_t m, uint64_t* gcd) {
    uint64_t u = a, v = m, x = 1, y = 0; // x * a = u and y * a = v mod m
    auto const swapIf = [](uint64_t mask, uint64_t& left, uint64_t& right) {
        uint64_t const differing = (left ^ right) & mask;
        left ^= differing;
        right ^= differing;
    };
    for (unsigned i = 0; i < 2 * wordBits; ++i) {
        uint64_t const odd = maskOf(u & 1);
        uint64_t const below = odd & maskOf(isBelow(u, v));
        swapIf(below, u, v);
        swapIf(below, x, y);
        u = (u - (v & odd)) >> 1;
        x = addModulo(x, (m - y) & odd, m);
        x = (x >> 1) + (((m >> 1) + 1) & maskOf(x & 1));
    }
    *gcd = v;
    return y;
}

} // namespace

bool RsaBlinding::draw(QuietModulus const& n, Rng const& rng) {
    for (unsigned draws = 0; draws < maxPairs; draws++) {
        if (!rng.fill(reinterpret_cast<unsigned char*>(&r), sizeof r))
            return false;
        r |= 1;
        uint64_t gcd = 0;
        negativeInverse = r - invert(remainder(n.modulus(), n.width(), r), r, &gcd);
        if (declassified(Told::retry, gcd == 1))
            return true;
    }
    return false;
}

void RsaBlinding::blind(QuietModulus& n, Digit* x, BigNum const& e) const {
    Digit const plain[] = {static_cast<Digit>(r), static_cast<Digit>(r >> digitBits)};
    SecretDigits base(n.width()), power(n.width());
    n.enter(base.data(), plain, std::size(plain));
    n.raise(power.data(), base.data(), base.data(), e);
    n.multiply(x, x, power.data());
}

void RsaBlinding::unblind(QuietModulus const& n, Digit* x) const {
    // x + t * n is a multiple of r, with a quotient below n.
    size_t const k = n.width();
    uint64_t const t = multiplyModulo(remainder(x, k, r), negativeInverse, r);
    SecretDigits sum;
    sum.reserve(k + 2);
    sum.assign(x, x + k);
    sum.resize(k + 2);
    sum[k] = addMultiple<NativeLimb>(sum.data(), n.modulus(), k, static_cast<Digit>(t));
    sum[k + 1] = addMultiple<NativeLimb>(sum.data() + 1, n.modulus(), k, static_cast<Digit>(t >> digitBits));

    // The division is exact, so each digit of the quotient follows from the lowest digit that remains.
    Digit const low = static_cast<Digit>(r), high = static_cast<Digit>(r >> digitBits);
    Digit const inverse = Digit{0} - detail::negativeInverse(low);
    uint64_t taken = 0; // Subtracted from the digits from i on.
    for (size_t i = 0; i < k; ++i) {
        uint64_t const left = uint64_t{sum[i]} - static_cast<Digit>(taken);
        Digit const quotient = static_cast<Digit>(left) * inverse;
        taken = (taken >> digitBits) + (left >> (wordBits - 1)) + (uint64_t{quotient} * low >> digitBits) +
                uint64_t{quotient} * high;
        x[i] = quotient;
    }
}

} // namespace detail

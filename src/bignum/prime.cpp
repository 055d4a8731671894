// Primality: trial division, then Miller-Rabin.
#include "sealkit/prime.h"

#include "bignum/digits.h"

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <utility>

using detail::Digit;
using detail::NativeLimb;

namespace {

/// The limit of trial division. For candidates of a 1024-bit prime, dividing by five primes of this size
/// takes about as long as the rounds of Miller-Rabin that it saves.
constexpr unsigned trialBound = 4096;

/// The sieve of Eratosthenes.
consteval std::array<bool, trialBound> sieve() {
    std::array<bool, trialBound> isComposite{};
    for (unsigned i = 2; i < trialBound; ++i)
        for (unsigned multiple = i * i; i * i < trialBound && multiple < trialBound; multiple += i)
            isComposite[multiple] = true;
    return isComposite;
}

consteval size_t countOddPrimes() {
    auto const isComposite = sieve();
    size_t count = 0;
    for (unsigned i = 3; i < trialBound; ++i)
        count += !isComposite[i];
    return count;
}

consteval auto listOddPrimes() {
    auto const isComposite = sieve();
    std::array<uint16_t, countOddPrimes()> primes{};
    size_t count = 0;
    for (unsigned i = 3; i < trialBound; ++i)
        if (!isComposite[i])
            primes[count++] = static_cast<uint16_t>(i);
    return primes;
}

constexpr auto oddPrimes = listOddPrimes();

/// Consecutive primes whose product fits a limb. The remainder modulo it yields those modulo each prime.
struct PrimeGroup {
    size_t end = 0; ///< One past the last of them in `oddPrimes`.
    /// Divides by a multiple of the product with the top bit set, which the primes divide too.
    detail::InvariantDivisor<NativeLimb> divisor{std::numeric_limits<NativeLimb>::max()};
};

/// The group that begins at `first`.
constexpr PrimeGroup groupFrom(size_t first) {
    NativeLimb product = 1;
    size_t end = first;
    while (end < oddPrimes.size() && product <= std::numeric_limits<NativeLimb>::max() / oddPrimes[end])
        product *= oddPrimes[end++];
    return {end, detail::InvariantDivisor<NativeLimb>(product << std::countl_zero(product))};
}

consteval size_t countGroups() {
    size_t count = 0;
    for (size_t end = 0; end < oddPrimes.size(); end = groupFrom(end).end)
        ++count;
    return count;
}

consteval auto listGroups() {
    std::array<PrimeGroup, countGroups()> groups{};
    size_t end = 0;
    for (PrimeGroup& group : groups) {
        group = groupFrom(end);
        end = group.end;
    }
    return groups;
}

constexpr auto primeGroups = listGroups();

NativeLimb remainder(BigNum const& n, detail::InvariantDivisor<NativeLimb> const& divisor) {
    NativeLimb rest = 0;
    for (size_t i = detail::limbCount<NativeLimb>(n.size()); i-- != 0;)
        divisor.divide(rest, detail::limbAt<NativeLimb>(n.digits.data(), n.size(), i));
    return rest;
}

/// The least odd prime below the bound that divides n, or 0.
unsigned smallFactor(BigNum const& n) {
    size_t i = 0;
    for (PrimeGroup const& group : primeGroups) {
        NativeLimb const rest = remainder(n, group.divisor);
        for (; i < group.end; ++i)
            if (rest % oddPrimes[i] == 0)
                return oddPrimes[i];
    }
    return 0;
}

/// An odd number above 3, prepared for rounds of Miller-Rabin.
class MillerRabin {
public:
    explicit MillerRabin(BigNum const& number)
        : n(number), red(n), minusOne(n - red.one), even(n - bn64(1)), twos(lsb(even)), odd(even >> twos) {}

    /// A round with a random base from 2 to n - 2. Returns false if n is composite or the generator fails.
    bool passes(Rng const& rng) const {
        BigNum base;
        if (!randomBigNum(&base, n - bn64(2), rng))
            return false;
        base += 1;
        RedNum power = expByMod(red.fromBigNum(std::move(base)), odd, red);
        if (power.value == red.one || power.value == minusOne)
            return true;
        for (unsigned i = 1; i < twos; ++i) {
            sqr(power, power);
            if (power.value == minusOne)
                return true;
        }
        return false;
    }

private:
    BigNum const& n;
    MontgomeryReducer const red;
    BigNum const minusOne; ///< In Montgomery form.
    BigNum const even;     ///< n - 1 = odd * 2^twos.
    unsigned const twos;
    BigNum const odd;
};

} // namespace

bool isProbablePrime(BigNum const& n, Rng const& rng, unsigned rounds) {
    if (n.bits() < 2 || !detail::isOdd(n))
        return n == bn64(2);
    if (unsigned const factor = smallFactor(n); factor != 0)
        return n == bn64(factor);
    if (n < bn64(trialBound * trialBound))
        return true;
    MillerRabin const test(n);
    for (unsigned i = 0; i < rounds; ++i)
        if (!test.passes(rng))
            return false;
    return true;
}

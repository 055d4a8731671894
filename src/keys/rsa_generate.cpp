// Generates RSA keys (FIPS 186-5, appendix A.1.3).
#include "sealkit/keys.h"
#include "sealkit/prime.h"

#include "base/secret_bytes.h"

#include <numeric>

namespace {

constexpr unsigned minModulusBits = 2048;
constexpr unsigned maxModulusBits = 8192;

/// On average about 115 of this many candidates are prime. A generator that yields none is not random, and
/// the limit ends the search.
constexpr unsigned candidatesPerModulusBit = 20;

/// Rounds of Miller-Rabin for a random candidate (FIPS 186-5, table B.1).
unsigned roundsFor(unsigned modulusBits) { return modulusBits >= 3072 ? 4 : 5; }

/// Draws the primes of one key.
class PrimeSource {
public:
    PrimeSource(Rng const& generator, unsigned modulusBits, unsigned publicExponent)
        : rng(generator),
          bits(modulusBits / 2),
          e(publicExponent),
          rounds(roundsFor(modulusBits)),
          candidates(candidatesPerModulusBit * modulusBits) {}

    /// Sets `prime` to a random prime that is far enough from `other`, if that is given (step 5.4). Returns
    /// false if the generator fails or is not random.
    ///
    /// Every candidate is drawn anew, so that all suitable primes are equally likely. An incremental search
    /// would favour primes after long gaps and save little, because most candidates have a small factor,
    /// which is found about as fast as a candidate is drawn.
    bool draw(BigNum* prime, BigNum const* other) {
        for (unsigned i = 0; i < candidates; ++i)
            if (!drawCandidate(prime))
                return false;
            else if (isCoprimeToExponent(*prime) && (other == nullptr || isFar(*prime, *other)) &&
                     isProbablePrime(*prime, rng, rounds))
                return true;
        return false;
    }

private:
    /// Draws an odd number whose top two bits are set, so that the product of two has full length. Returns
    /// false if the generator fails or repeats a number.
    bool drawCandidate(BigNum* candidate) {
        if (!rng.fill(octets.value.data(), static_cast<unsigned>(octets.value.size())))
            return false;
        BigNum number{asn1::blob(octets)};
        number.modBy2Pow(bits);
        number.setBit(bits - 1, true);
        number.setBit(bits - 2, true);
        number.setBit(0, true);
        // Fails early: a stuck generator may repeat a number that takes long to test.
        if (number == *candidate)
            return false;
        *candidate = std::move(number);
        return true;
    }

    /// Whether e and p - 1 are coprime.
    bool isCoprimeToExponent(BigNum const& p) const {
        BigNum rest;
        div(p - bn64(1), bn64(e), nullptr, &rest);
        return std::gcd(e, rest.digits[0]) == 1;
    }

    /// |p - q| > 2^(bits - 100), because Fermat's method factors a product of close primes.
    bool isFar(BigNum const& p, BigNum const& q) const {
        return (p > q ? p - q : q - p) > bn64(1) << (bits - 100);
    }

    Rng const& rng;
    unsigned const bits;
    unsigned const e;
    unsigned const rounds;
    unsigned const candidates;
    detail::SecretBytes octets{std::vector<unsigned char>((bits + 7) / 8)};
};

} // namespace

bool RsaPrivateKey::generatePrivKey(Rng& rng, unsigned bits, unsigned exponent) {
    if (bits < minModulusBits || bits > maxModulusBits || bits % 2 != 0 || exponent < 3 || exponent % 2 == 0)
        return false;
    PrimeSource primes(rng, bits, exponent);
    RsaPrivateKey key;
    key.e = bn64(exponent);
    BigNum const one = bn64(1);
    do {
        if (!primes.draw(&key.p, nullptr) || !primes.draw(&key.q, &key.p))
            return false;
        if (key.p < key.q)
            std::swap(key.p, key.q);
        key.d = invByMod(key.e, lcm(key.p - one, key.q - one));
    } while (key.d.bits() <= bits / 2); // Required by A.1.1, 3.a; practically never repeated.
    key.n = key.p * key.q;
    div(key.d, key.p - one, nullptr, &key.exp1);
    div(key.d, key.q - one, nullptr, &key.exp2);
    key.coeff = invByMod(key.q, key.p);
    *this = key;
    return true;
}

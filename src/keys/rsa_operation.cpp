#include "keys/rsa_operation.h"

namespace detail {

namespace {

/// x^d mod n by the Chinese remainder theorem (RFC 8017, section 5.1.2, step 2.b). The result is wrong
/// when the numbers do not belong together; nothing when they cannot be computed with.
std::optional<BigNum> powerByPrimes(RsaPrivateKey const& key, BigNum const& x) {
    if (!isOddAboveOne(key.p) || !isOddAboveOne(key.q) || key.p * key.q != key.n || key.exp1 >= key.p ||
        key.exp2 >= key.q || key.coeff >= key.p)
        return {};
    BigNum h = expByMod(x, key.exp1, key.p);
    BigNum const m2 = expByMod(x, key.exp2, key.q);
    BigNum m2ModP;
    div(m2, key.p, nullptr, &m2ModP);
    if (h < m2ModP)
        h += key.p;
    h -= m2ModP;
    h *= key.coeff;
    div(h, key.p, nullptr, &h);
    return m2 + key.q * h;
}

} // namespace

bool isUsable(RsaPublicKey const& key) {
    return isOddAboveOne(key.n) && key.n.bits() <= maxModulusBits && isOddAboveOne(key.e) &&
           key.e.bits() <= maxExponentBits;
}

std::optional<BigNum> publicPower(RsaPublicKey const& key, BigNum const& x) {
    if (!isUsable(key) || x >= key.n)
        return {};
    return expByMod(x, key.e, key.n);
}

std::optional<BigNum> privatePower(RsaPrivateKey const& key, BigNum const& x) {
    if (!isUsable(key) || x >= key.n)
        return {};
    // One result that is wrong modulo one prime alone gives the primes away (D. Boneh, R. DeMillo,
    // R. Lipton, "On the importance of checking cryptographic protocols for faults", EUROCRYPT 1997).
    auto const isConfirmed = [&](BigNum const& power) { return publicPower(key, power) == x; };
    if (std::optional<BigNum> power = powerByPrimes(key, x); power && isConfirmed(*power))
        return power;
    if (key.d >= key.n)
        return {};
    BigNum power = expByMod(x, key.d, key.n);
    if (!isConfirmed(power))
        return {};
    return power;
}

} // namespace detail

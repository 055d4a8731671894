/// Blinding of RSA's private operations (P. Kocher, "Timing attacks on implementations of Diffie-Hellman,
/// RSA, DSS, and other systems", CRYPTO 1996): the base is x * r^e instead of x, and the result is x^d * r.
#pragma once

#include "bignum/quiet_modulus.h"
#include "sealkit/rng.h"

#include <cstdint>

namespace detail {

/// A random number of 64 bits, drawn for one operation, and its inverses for dividing by it modulo n.
///
/// 64 bits suffice, because an attacker cannot try 2^63 numbers, and inverting them only takes word
/// arithmetic.
class RsaBlinding {
public:
    /// Draws a number that is coprime to n. Returns false if `rng` fails or delivers no such number.
    bool draw(QuietModulus const& n, Rng const& rng);

    /// x = x * r^e mod n, in Montgomery form.
    void blind(QuietModulus& n, Digit* x, BigNum const& e) const;
    /// x = x / r mod n, outside Montgomery form.
    void unblind(QuietModulus const& n, Digit* x) const;

private:
    std::uint64_t r = 0;
    std::uint64_t negativeInverse = 0; ///< -1/n mod r.
};

} // namespace detail

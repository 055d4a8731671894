/// Blinding of RSA's private operations (P. Kocher, "Timing attacks on implementations of Diffie-Hellman,
/// RSA, DSS, and other systems", CRYPTO 1996): x * r^e is raised in place of x, and what comes out is x^d *
/// r.
#pragma once

#include "bignum/quiet_modulus.h"
#include "sealkit/rng.h"

#include <cstdint>

namespace detail {

/// A random number of 64 bits and how to divide by it modulo n. It is drawn for one operation.
///
/// A number of two digits blinds as well as one of the modulus' length, since nobody can try 2^63 of them,
/// and its inverse takes words alone.
class RsaBlinding {
public:
    /// Draws a number that is coprime to n. Returns false if `rng` fails or gives no such number.
    bool draw(QuietModulus const& n, Rng const& rng);

    /// x = x * r^e mod n, in Montgomery form.
    void blind(QuietModulus& n, Digit* x, BigNum const& e) const;
    /// x = x / r mod n, of a plain number.
    void unblind(QuietModulus const& n, Digit* x) const;

private:
    std::uint64_t r = 0;
    std::uint64_t negativeInverse = 0; ///< -1/n mod r.
};

} // namespace detail

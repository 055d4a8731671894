/// Prime numbers.
///
/// | name              | what it is                                                     | standard            |
/// | ----------------- | -------------------------------------------------------------- | ------------------- |
/// | `isProbablePrime` | trial division, then Miller-Rabin to random bases              | FIPS 186-5, B.3.1   |
///
/// The test is probabilistic: a composite number passes with a probability that is bounded, but not zero. Its
/// time is not constant: most composite numbers are found in a fraction of the time of a prime.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/detail/export.h"
#include "sealkit/rng.h"

/// Rounds of Miller-Rabin for a number of unknown origin. Each lets at most a quarter of the bases pass
/// for any composite number, however it was chosen: together at most one in 2^128.
constexpr unsigned millerRabinRounds = 64;

/// Whether `n` is probably prime: no small prime divides it, and it passes `rounds` rounds of Miller-Rabin to
/// bases that `rng` chooses. Returns false for 0 and 1, and if the generator fails before the end. Numbers
/// that were drawn at random need far fewer rounds than others (FIPS 186-5, table B.1). The time for a prime
/// grows with `rounds` and with the third power of the length of `n`.
SEALKIT_API bool isProbablePrime(BigNum const& n, Rng const& rng, unsigned rounds = millerRabinRounds);

/// Prime numbers.
///
/// | name              | what it is                                        | standard          |
/// | ----------------- | ------------------------------------------------- | ----------------- |
/// | `isProbablePrime` | trial division, then Miller-Rabin to random bases | FIPS 186-5, B.3.1 |
///
/// The test is probabilistic: a composite number passes with a small, bounded probability. Its time is not
/// constant: most composite numbers take a fraction of the time of a prime.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/detail/export.h"
#include "sealkit/rng.h"

/// Rounds of Miller-Rabin for a number of unknown origin. Any composite number passes one round with a
/// probability of at most 1/4, however it was chosen, and all rounds with at most 2^-128.
constexpr unsigned millerRabinRounds = 64;

/// Whether `n` is probably prime: no small prime divides it, and it passes `rounds` rounds of Miller-Rabin to
/// bases that `rng` chooses. Returns false for 0 and 1, and if the generator fails before the end. Numbers
/// that were drawn at random need far fewer rounds than others (FIPS 186-5, table B.1). The time for a prime
/// grows with `rounds` and with the third power of the length of `n`.
SEALKIT_API bool isProbablePrime(BigNum const& n, Rng const& rng, unsigned rounds = millerRabinRounds);

/// The RSA operations on numbers, behind signatures and decryption (RFC 8017, section 5).
#pragma once

#include "sealkit/keys.h"

#include <optional>

namespace detail {

// Time and memory of an operation stay bounded whatever key arrives.
constexpr unsigned maxModulusBits = 16384;
constexpr unsigned maxExponentBits = 64;

/// As every RSA prime and modulus is: Montgomery arithmetic needs it.
inline bool isOddAboveOne(BigNum const& x) { return x.getBit(0) && x.bits() > 1; }

/// Whether the public numbers can be computed with. An exponent of 1 would make every block its own
/// signature, and an even one has no private exponent.
bool isUsable(RsaPublicKey const& key);

/// In bytes.
inline unsigned modulusLength(RsaPublicKey const& key) { return (key.n.bits() + 7) / 8; }

/// x^e mod n. Nothing when the key is not usable and when `x` is not below the modulus.
std::optional<BigNum> publicPower(RsaPublicKey const& key, BigNum const& x);

/// x^d mod n: the number whose `publicPower` is `x`. It is computed with the primes where they are there
/// and give it, with d otherwise. Nothing when the key is not usable, when `x` is not below the modulus,
/// and when the members do not belong together, whichever of them is wrong: a result that the public
/// numbers do not confirm never leaves.
std::optional<BigNum> privatePower(RsaPrivateKey const& key, BigNum const& x);

} // namespace detail

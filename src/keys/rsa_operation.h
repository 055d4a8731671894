/// The RSA primitives behind signatures and decryption (RFC 8017, section 5).
#pragma once

#include "sealkit/keys.h"

#include <vector>

namespace detail {

// Bounds the time and memory of an operation for any input key.
constexpr unsigned maxModulusBits = 16384;
constexpr unsigned maxExponentBits = 64;

/// True for every RSA prime and modulus, and required by Montgomery arithmetic.
inline bool isOddAboveOne(BigNum const& x) { return x.getBit(0) && x.bits() > 1; }

/// Whether the public members are usable. With an exponent of 1 every block would be its own signature, and
/// an even exponent has no inverse.
bool isUsable(RsaPublicKey const& key);

/// In bytes.
inline unsigned modulusLength(RsaPublicKey const& key) { return (key.n.bits() + 7) / 8; }

/// x^e mod n as big-endian bytes, as long as the modulus. `x` is a big-endian number of any length. Empty if
/// the key is unusable or `x` is not below the modulus.
std::vector<unsigned char> publicPower(RsaPublicKey const& key, asn1::blob x);

/// x^d mod n: the block whose `publicPower` is `x`. Uses the CRT if the primes are present and consistent,
/// and d otherwise. The computation is quiet and blinded with numbers from `rng`, and its result is checked
/// against the public members. Empty if the key is unusable or inconsistent, `x` is not below the modulus, or
/// `rng` fails. The caller wipes a secret result.
std::vector<unsigned char> privatePower(RsaPrivateKey const& key, asn1::blob x,
                                        Rng const& rng = getDefaultRng());

} // namespace detail

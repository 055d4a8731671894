/// The RSA operations on blocks, behind signatures and decryption (RFC 8017, section 5).
#pragma once

#include "sealkit/keys.h"

#include <vector>

namespace detail {

// Time and memory of an operation stay bounded for every key that arrives.
constexpr unsigned maxModulusBits = 16384;
constexpr unsigned maxExponentBits = 64;

/// As every RSA prime and modulus is: Montgomery arithmetic needs it.
inline bool isOddAboveOne(BigNum const& x) { return x.getBit(0) && x.bits() > 1; }

/// Whether the public numbers can be computed with. An exponent of 1 would make every block its own
/// signature, and an even one has no private exponent.
bool isUsable(RsaPublicKey const& key);

/// In bytes.
inline unsigned modulusLength(RsaPublicKey const& key) { return (key.n.bits() + 7) / 8; }

/// x^e mod n as big-endian bytes, as many as the modulus has. `x` is a big-endian number of any length. Empty
/// if the key is not usable or `x` is not below the modulus.
std::vector<unsigned char> publicPower(RsaPublicKey const& key, asn1::blob x);

/// x^d mod n: the block whose `publicPower` is `x`. It is computed with the primes where they are there and
/// give it, with d otherwise; quiet, and blinded with numbers of `rng`. Empty if the key is not usable, if
/// `x` is not below the modulus, if the members are inconsistent, whichever of them is wrong, and if `rng`
/// fails: a result that the public numbers do not confirm never leaves. The caller wipes a result that is
/// secret.
std::vector<unsigned char> privatePower(RsaPrivateKey const& key, asn1::blob x,
                                        Rng const& rng = getDefaultRng());

} // namespace detail

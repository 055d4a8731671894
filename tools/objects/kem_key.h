/// Files with keys of ML-KEM-768 (FIPS 203), in the forms of RFC 9935.
#pragma once

#include "io/password.h"
#include "io/secret.h"

#include "sealkit/mlkem_keys.h"

#include <optional>
#include <string>
#include <vector>

/// Reads and checks a secret key: PKCS#8 with the seed, the expanded key or both, encrypted or not, in PEM or
/// DER; or the raw 64 bytes of the seed or 2400 bytes of the expanded key. Asks for a required password that
/// the options do not give. Complains on failure. Returns the exit status.
int readKemKey(std::string const& path, PasswordSource const& password, MLKEMDecap& key);

/// Reads a public key: SubjectPublicKeyInfo in PEM or DER, its raw 1184 bytes, or that of a certificate or
/// secret key, under the same conditions.
int readKemPublicKey(std::string const& path, PasswordSource const& password,
                     std::vector<unsigned char>& key);

/// The PEM of the secret key computed from `seed`: PKCS#8 with the seed, the form that most programs read.
/// Encrypted if `password` is not null. Empty if the random source fails.
SecretBytes encodeKemKey(std::span<unsigned char const, mlkemSeedSize> seed, std::string const* password,
                         unsigned iterations);

/// The public key as the PEM of a SubjectPublicKeyInfo.
std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key);

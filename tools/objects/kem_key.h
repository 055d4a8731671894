/// Files with keys of ML-KEM-768 (FIPS 203), in the forms of RFC 9935.
#pragma once

#include "io/password.h"
#include "io/secret.h"

#include "sealkit/mlkem_keys.h"

#include <optional>
#include <string>
#include <vector>

/// Reads a secret key: the seed, the expanded key or both of them in PKCS#8, encrypted or not, PEM or DER; or
/// the 64 bytes of the one or the 2400 of the other as they are. The key is checked. A password that it needs
/// is asked for where none is given. Complains if it is missing. The exit status.
int readKemKey(std::string const& path, PasswordSource const& password, MLKEMDecap& key);

/// Reads a public key: SubjectPublicKeyInfo, PEM or DER, or its 1184 bytes as they are; or takes that of a
/// certificate or of a secret key, under the same conditions.
int readKemPublicKey(std::string const& path, PasswordSource const& password,
                     std::vector<unsigned char>& key);

/// The PEM of the secret key that is computed from `seed`: PKCS#8 with the seed, the form that most others
/// read. Encrypted where `password` is not null. Empty when the random source fails.
SecretBytes encodeKemKey(std::span<unsigned char const, mlkemSeedSize> seed, std::string const* password,
                         unsigned iterations);

/// The PEM of its public key: SubjectPublicKeyInfo.
std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key);

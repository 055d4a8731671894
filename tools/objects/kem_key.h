/// Files with keys of ML-KEM-768 (FIPS 203), in the forms of RFC 9935.
#pragma once

#include "io/secret.h"

#include "sealkit/mlkem_keys.h"

#include <optional>
#include <string>
#include <vector>

/// Reads a secret key: the seed, the expanded key or both of them in PKCS#8, PEM or DER; or the 64 bytes of the one
/// or the 2400 of the other as they are. The key is checked. Complains and returns false when there is none.
bool readKemKey(std::string const& path, MLKEMDecap& key);

/// Reads a public key: SubjectPublicKeyInfo, PEM or DER, or its 1184 bytes as they are; or takes that of a
/// certificate or of a secret key. Complains and gives nothing when there is none.
std::optional<std::vector<unsigned char>> readKemPublicKey(std::string const& path);

/// The PEM of the secret key that is computed from `seed`: PKCS#8 with the seed, the form that most others read.
SecretBytes encodeKemKey(std::span<unsigned char const, mlkemSeedSize> seed);

/// The PEM of its public key: SubjectPublicKeyInfo.
std::vector<unsigned char> encodeKemPublicKey(MLKEMDecap const& key);

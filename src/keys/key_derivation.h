/// The key derivation functions of PBES2 and PBMAC1: PBKDF2 (RFC 8018) and scrypt (RFC 7914).
#pragma once

#include "sealkit/password_schemes.h"
#include "sealkit/scrypt.h"

#include "base/reading.h"
#include "hash/file_hash.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace detail {

/// The fields of an AlgorithmIdentifier as views, so that refusals have a location. Object identifiers are
/// content octets.
struct KeyDerivation {
    asn1::blob kdf, prf, salt;
    unsigned iterations = 0;
    std::optional<unsigned> keyLength; ///< The maximum if it is out of range.
    ScryptParams scrypt;               ///< Instead of `prf` and `iterations`, for scrypt.
};

/// The hash of the HMAC with this object identifier; `FileHash::none` for other algorithms.
FileHash hashOfHmac(asn1::blob oid);

/// Reads the content of an AlgorithmIdentifier. `schemes` decides whether scrypt is supported.
bool readKeyDerivation(Reading& reading, asn1::blob content, PasswordSchemes const& schemes,
                       KeyDerivation& to);

/// Whether the function, its pseudorandom function and its cost are acceptable.
bool checkDerivation(Reading& reading, KeyDerivation const& derivation, PasswordSchemes const& schemes);

/// Derives `key`. `checkDerivation` must have accepted the parameters. Returns false if the memory for scrypt
/// is not available.
bool deriveKey(Reading& reading, KeyDerivation const& derivation, std::string_view password,
               std::span<unsigned char> key);

/// A text such as "PBKDF2 with HMAC-SHA256".
std::string describeDerivation(KeyDerivation const& derivation);

/// The cost of the derivation, in iterations.
std::uint64_t workOf(KeyDerivation const& derivation);

} // namespace detail

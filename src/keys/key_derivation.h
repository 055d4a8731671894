/// Key derivation functions of PBES2 and PBMAC1 in an AlgorithmIdentifier: PBKDF2 (RFC 8018) and scrypt (RFC
/// 7914).
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

/// The fields as views, so that a refusal tells their place. Identifiers without their header.
struct KeyDerivation {
    asn1::blob kdf, prf, salt;
    unsigned iterations = 0;
    std::optional<unsigned> keyLength; ///< The largest number for every one that is out of range.
    ScryptParams scrypt;               ///< In place of `prf` and `iterations`.
};

/// The hash of an HMAC, by its object identifier; `FileHash::none` for others.
FileHash hashOfHmac(asn1::blob oid);

/// Reads the content of an AlgorithmIdentifier. `schemes` tells whether scrypt is read.
bool readKeyDerivation(Reading& reading, asn1::blob content, PasswordSchemes const& schemes,
                       KeyDerivation& to);

/// Whether the function, its pseudorandom function and its cost are supported.
bool checkDerivation(Reading& reading, KeyDerivation const& derivation, PasswordSchemes const& schemes);

/// Fills `key`, in the time that the parameters ask for, when `checkDerivation` is true. Returns false
/// without the memory that scrypt asks for.
bool deriveKey(Reading& reading, KeyDerivation const& derivation, std::string_view password,
               std::span<unsigned char> key);

/// "PBKDF2 with HMAC-SHA256".
std::string describeDerivation(KeyDerivation const& derivation);

/// What deriving a key costs, in iterations.
std::uint64_t workOf(KeyDerivation const& derivation);

} // namespace detail

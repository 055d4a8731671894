/// The ciphers under the names that people use.
#pragma once

#include "sealkit/cipher.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How a cipher treats a message, which decides what the program does around it.
enum class CipherMode {
    null, ///< Any length, no key.
    cbc,  ///< Whole blocks; padded unless that is switched off.
    ctr,  ///< Any length.
    cfb,  ///< Any length.
    gcm,  ///< As a whole, authenticated with one string of associated data.
    siv,  ///< As a whole, authenticated with any number of them; not of the factory's.
};

struct CipherName {
    std::string name;
    CipherMode mode;
    CipherID id; ///< Without a meaning for SIV.
    std::vector<size_t> keyLengths;
    size_t ivLength; ///< 0 where any length will do.
};

/// The cipher of that name, in letters of either case. "aes-256-cbc" is "aes-cbc" with keys of that size
/// alone (and "aes-256-siv" needs two of them). Nothing for an unknown name.
std::optional<CipherName> findCipher(std::string_view name);

/// "null, des-cbc, ...".
std::string listCiphers();

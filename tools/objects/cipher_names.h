/// The ciphers under their usual names.
#pragma once

#include "sealkit/cipher.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How a cipher treats a message.
enum class CipherMode {
    null, ///< Any length, no key.
    cbc,  ///< Whole blocks; padded unless padding is disabled.
    ctr,  ///< Any length.
    cfb,  ///< Any length.
    gcm,  ///< All at once, authenticated together with one string of associated data.
    siv,  ///< All at once, authenticated with any number of strings; not created by the cipher factory.
};

struct CipherName {
    std::string name;
    CipherMode mode;
    CipherID id; ///< Meaningless for SIV.
    std::vector<size_t> keyLengths;
    size_t ivLength; ///< 0 if any length is accepted.
};

/// The cipher of that name, in either case. "aes-256-cbc" is "aes-cbc" restricted to keys of that size
/// ("aes-256-siv" needs two of them). Returns nothing for an unknown name.
std::optional<CipherName> findCipher(std::string_view name);

/// "null, des-cbc, ...".
std::string listCiphers();

/// The hashes under their usual names.
#pragma once

#include "sealkit/hash.h"

#include <string>
#include <string_view>

struct HashName {
    char const* name;
    char const* tag; ///< The name in lines that name their algorithm, such as "SHA256 (file) = digest".
    HashID id;
};

inline constexpr HashName hashNames[] = {
    {"md4", "MD4", HashID::MD4},
    {"md5", "MD5", HashID::MD5},
    {"sha1", "SHA1", HashID::SHA1},
    {"sha256", "SHA256", HashID::SHA256},
    {"sha384", "SHA384", HashID::SHA384},
    {"sha512", "SHA512", HashID::SHA512},
    {"md5-sha1", "MD5-SHA1", HashID::MD5SHA1},
};

/// The hash of that name, in either case; null for an unknown name.
HashName const* findHash(std::string_view name);

/// "md4, md5, ...".
std::string listHashes();

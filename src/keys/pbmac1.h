/// PBMAC1 (RFC 8018, section 7.1; RFC 9579): a MAC under a password.
#pragma once

#include "keys/key_derivation.h"

#include <vector>

namespace detail {

struct Pbmac1 {
    KeyDerivation key;
    FileHash hash = FileHash::none; ///< Under HMAC.
};

/// Reads PBMAC1-params, the whole encoding, and refuses what is not supported. The length of the key must be
/// there (RFC 9579, section 4).
bool read(Reading& reading, asn1::blob params, Pbmac1& to);

/// The MAC of `data`; empty where the key cannot be derived.
std::vector<unsigned char> computePbmac1(Reading& reading, Pbmac1 const& mac, std::string_view password,
                                         asn1::blob data);

} // namespace detail

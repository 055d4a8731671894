/// PBMAC1 (RFC 8018, section 7.1; RFC 9579): a password-based MAC.
#pragma once

#include "keys/key_derivation.h"

#include <vector>

namespace detail {

struct Pbmac1 {
    KeyDerivation key;
    FileHash hash = FileHash::none; ///< The hash of HMAC.
};

/// Reads PBMAC1-params, the whole encoding. Refuses unsupported algorithms and a missing key length, which
/// RFC 9579, section 4, requires.
bool read(Reading& reading, asn1::blob params, Pbmac1& to);

/// The MAC of `data`; empty if the key cannot be derived.
std::vector<unsigned char> computePbmac1(Reading& reading, Pbmac1 const& mac, std::string_view password,
                                         asn1::blob data);

} // namespace detail

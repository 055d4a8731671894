/// AES-GCM over a buffer, with tags of the sizes that messages have (RFC 5084, section 3.2).
#pragma once

#include "sealkit/aead.h"

#include <vector>

namespace detail {

inline constexpr size_t minGcmTagSize = 12;

/// Whether GCM takes a message of this size; larger ones would be authenticated as others.
bool isGcmSize(size_t size);

/// Encrypts the buffer and appends a tag of `aeadTagSize` bytes, for which it has room already. Returns false
/// under the conditions of `sealAesGcm`.
bool sealGcmInPlace(AeadParameters const& parameters, std::vector<unsigned char>& buffer);

/// Decrypts a buffer that ends with a tag of `tagSize` bytes, `minGcmTagSize` to `aeadTagSize`, and takes the
/// tag off. Returns false and empties the buffer, once it is wiped, if the message is not authentic.
bool openGcmInPlace(AeadParameters const& parameters, size_t tagSize, std::vector<unsigned char>& buffer);

} // namespace detail

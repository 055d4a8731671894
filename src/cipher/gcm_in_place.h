/// AES-GCM in place, with the tag sizes of messages (RFC 5084, section 3.2).
#pragma once

#include "sealkit/aead.h"

#include <vector>

namespace detail {

inline constexpr size_t minGcmTagSize = 12;

/// Whether GCM supports a message of this size. The length of a larger one would wrap.
bool isGcmSize(size_t size);

/// Encrypts the buffer in place and appends a tag of `aeadTagSize` bytes, for which the capacity must
/// suffice. Returns false under the conditions of `sealAesGcm`.
bool sealGcmInPlace(AeadParameters const& parameters, std::vector<unsigned char>& buffer);

/// Decrypts a buffer that ends with a tag of `tagSize` bytes, `minGcmTagSize` to `aeadTagSize`, and removes
/// the tag. If the message is not authentic, wipes and empties the buffer and returns false.
bool openGcmInPlace(AeadParameters const& parameters, size_t tagSize, std::vector<unsigned char>& buffer);

} // namespace detail

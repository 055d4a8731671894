/// PBKDF2 with HMAC over SHA-224, which has no `HashID`: some files of keys name it.
#pragma once

#include "sealkit/blob.h"

#include <span>

namespace detail {

/// On the terms of `pbkdf2`.
bool pbkdf2Sha224(asn1::blob password, asn1::blob salt, unsigned iterations, std::span<unsigned char> key);

} // namespace detail

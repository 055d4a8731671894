/// The library's ids of what cases call by OpenSSL's names.
#pragma once

#include "sealkit/cipher.h"
#include "sealkit/hash.h"

#include <string>

namespace interop {

/// Fails the test, and gives no algorithm, for any other name.
HashID hashNamed(std::string const& name);
CipherID cipherNamed(std::string const& name);

} // namespace interop

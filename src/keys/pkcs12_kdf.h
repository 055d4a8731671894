/// The key derivation of PKCS#12 with any hash.
#pragma once

#include "sealkit/pbe1.h"

namespace detail {

/// `pkcs12_kdf` with a given hash, which is reset afterwards. 0 iterations count as 1.
void deriveByPkcs12(Hash& hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                    PKCS12Purpose purpose, std::span<unsigned char> out);

} // namespace detail

/// The key derivation of PKCS#12 over any hash.
#pragma once

#include "sealkit/pbe1.h"

namespace detail {

/// `pkcs12_kdf` over a fresh hash, which is fresh again afterwards. There is one iteration at least.
void deriveByPkcs12(Hash& hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                    PKCS12Purpose purpose, std::span<unsigned char> out);

} // namespace detail

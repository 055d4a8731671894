/// pbeWithSHAAnd3-KeyTripleDES-CBC for passwords in the form of the key derivation.
#pragma once

#include "sealkit/pkcs12.h"

namespace detail {

/// As `::pbe1_crypt`, with the password as `pkcs12_kdf` takes it.
bool pbe1Crypt(PBEParams const& params, asn1::blob password, asn1::blob data, std::vector<unsigned char>& out,
               bool encrypt);

} // namespace detail

/// The schemes that encrypt the contents and keys of PKCS#12 files under a password: PBES2 and
/// pbeWithSHAAnd3-KeyTripleDES-CBC.
#pragma once

#include "sealkit/pkcs12.h"

#include "base/reading.h"

namespace detail {

/// Refuses a scheme that is not one of them.
bool refuseScheme(Reading& reading, asn1::blob scheme);

/// How many iterations a scheme takes; 0 when it is not supported or has malformed parameters.
unsigned iterationsOf(AlgorithmIdentifier const& algorithm);

/// Whether `data` can be decrypted as the scheme says, apart from the password.
bool checkEncryption(Reading& reading, AlgorithmIdentifier const& algorithm, asn1::blob data);

} // namespace detail

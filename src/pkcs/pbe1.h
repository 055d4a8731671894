/// pbeWithSHAAnd3-KeyTripleDES-CBC for passwords in the form of the key derivation.
#pragma once

#include "sealkit/pkcs12.h"

#include "base/reading.h"

namespace detail {

/// Whether a count of iterations is one that is done: 1 to `pkcs12MaxIterations`. `content` is that of the INTEGER which
/// it was read from, empty for none.
bool checkCount(Reading& reading, unsigned iterations, asn1::blob content = {});

/// pkcs-12PbeParams.
bool read(Reading& reading, asn1::blob params, PBEParams& to);

/// Whether `data` can be decrypted as `params` say, apart from the password.
bool checkPbe1(Reading& reading, PBEParams const& params, asn1::blob data);

/// As `::pbe1_crypt`, with the password as `pkcs12_kdf` takes it.
bool pbe1Crypt(Reading& reading, PBEParams const& params, asn1::blob password, asn1::blob data,
               std::vector<unsigned char>& out, bool encrypt);

} // namespace detail

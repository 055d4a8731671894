/// The MAC of a PKCS#12 file (RFC 7292, section 4, and appendix B.4).
#pragma once

#include "sealkit/pkcs12.h"

#include "base/reading.h"
#include "hash/file_hash.h"

namespace detail {

/// The fields of a MacData, as views of it.
struct PKCS12Mac {
    AlgorithmIdentifier algorithm;
    asn1::blob value, salt;
    unsigned iterations = 0; ///< 0 if they are omitted.
};

/// Reads a MacData, the whole element.
bool read(Reading& reading, asn1::blob macData, PKCS12Mac& to);

/// The hash of the MAC algorithm; `FileHash::none` if it is unsupported or not a hash.
FileHash macHashOf(AlgorithmIdentifier const& algorithm, PasswordSchemes const& schemes);

/// HMAC over `data` under a key derived from the password, which must be in the form that `pkcs12_kdf` takes.
/// Empty for `FileHash::none`. 0 iterations count as 1.
std::vector<unsigned char> pkcs12Mac(FileHash hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                                     asn1::blob data);

/// The number of iterations that `macIterations` stands for.
inline unsigned macCount(unsigned macIterations) {
    return macIterations == 0 ? pkcs12MacIterations : macIterations;
}

} // namespace detail

/// The schemes of PKCS#12 (RFC 7292, appendix C) and PBES1 (RFC 8018, section 6.1).
#pragma once

#include "sealkit/pbe1.h"

#include "base/reading.h"
#include "keys/legacy_cipher.h"
#include "keys/password_scheme.h"

namespace detail {

struct Pbe1Scheme {
    asn1::blob oid;
    HashID hash;
    enum class Derivation { pkcs12, pbkdf1 } derivation;
    LegacyCipher cipher;
};

/// Null for any other scheme.
Pbe1Scheme const* findPbe1Scheme(asn1::blob oid);

/// Whether a count of iterations is from 1 to `pkcs12MaxIterations`. `content` is its INTEGER's, or empty.
bool checkCount(Reading& reading, unsigned iterations, asn1::blob content = {});

/// Reads pkcs-12PbeParams and the PBEParameter of PBES1.
bool read(Reading& reading, asn1::blob params, PBEParams& to);

/// Whether `data` can be decrypted with the right password.
bool checkPbe1(Reading& reading, Pbe1Scheme const& scheme, PBEParams const& params, asn1::blob data);

/// Decrypts. `rc2` must not be null if the scheme needs it. After a failure, `out` holds nothing that was
/// decrypted.
bool decryptPbe1(Reading& reading, Pbe1Scheme const& scheme, PBEParams const& params,
                 SchemePassword const& password, asn1::blob data, Rc2Decryptor rc2,
                 std::vector<unsigned char>& out);

} // namespace detail

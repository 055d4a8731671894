/// The schemes that encrypt keys, and the contents of PKCS#12 files, under a password, behind one interface.
#pragma once

#include "sealkit/oid.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"

#include "base/reading.h"

#include <cstdint>

namespace detail {

/// An AlgorithmIdentifier that names a scheme.
struct SchemeIdentifier {
    asn1::blob oid;    ///< Content octets.
    asn1::blob params; ///< The whole encoding; empty where they are absent.
};

/// A password in the two forms that schemes take.
struct SchemePassword {
    std::string_view bytes;
    asn1::blob bmp; ///< As `pkcs12_kdf` takes it.
};

/// Whether a scheme is read. Those of PBES2 and pbeWithSHAAnd3-KeyTripleDES-CBC always are; the latter is no
/// scheme of keys outside PKCS#12 for the stated readers.
bool isSchemeRead(asn1::blob oid, PasswordSchemes const& schemes);

/// Refuses a scheme by its name. Always false.
bool refuseScheme(Reading& reading, asn1::blob oid);

/// Whether the key comes from the `bmp` of a password.
bool takesBmpPassword(asn1::blob oid);

/// Whether `data` can be decrypted as the scheme says, apart from the password.
bool checkScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob data,
                 PasswordSchemes const& schemes);

/// How the scheme encrypts, and whether `data` can be decrypted apart from the password. Null for no data.
/// Returns what deriving the key costs, in iterations; 0 where the scheme is not read.
std::uint64_t describeScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob const* data,
                             PasswordSchemes const& schemes, KeyEncryption* to);

/// Decrypts `data`. What `out` held is wiped; it holds nothing that was decrypted when that fails.
bool decryptUnderPassword(Reading& reading, SchemeIdentifier const& scheme, SchemePassword const& password,
                          asn1::blob data, PasswordSchemes const& schemes, std::vector<unsigned char>& out);

} // namespace detail

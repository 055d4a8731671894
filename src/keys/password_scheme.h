/// The schemes that encrypt keys and the contents of PKCS#12 files under a password, behind one interface.
#pragma once

#include "sealkit/oid.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"

#include "base/reading.h"

#include <cstdint>

namespace detail {

/// An AlgorithmIdentifier of a scheme.
struct SchemeIdentifier {
    asn1::blob oid;    ///< Content octets.
    asn1::blob params; ///< The whole encoding; empty if absent.
};

/// A password in the two forms that schemes use.
struct SchemePassword {
    std::string_view bytes;
    asn1::blob bmp; ///< In the form that `pkcs12_kdf` takes.
};

/// Whether a scheme is supported. PBES2 and pbeWithSHAAnd3-KeyTripleDES-CBC always are, except that the
/// stated readers of keys outside PKCS#12 reject the latter.
bool isSchemeRead(asn1::blob oid, PasswordSchemes const& schemes);

/// Refuses a scheme, with its name. Returns false.
bool refuseScheme(Reading& reading, asn1::blob oid);

/// Whether the scheme uses the `bmp` form of a password.
bool takesBmpPassword(asn1::blob oid);

/// Whether `data` can be decrypted with the right password.
bool checkScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob data,
                 PasswordSchemes const& schemes);

/// Describes the encryption and, unless `data` is null, whether it can be decrypted with the right password.
/// Returns the cost of the key derivation, in iterations; 0 for an unsupported scheme.
std::uint64_t describeScheme(Reading& reading, SchemeIdentifier const& scheme, asn1::blob const* data,
                             PasswordSchemes const& schemes, KeyEncryption* to);

/// Decrypts `data`. Wipes the previous contents of `out`, which holds nothing that was decrypted after a
/// failure.
bool decryptUnderPassword(Reading& reading, SchemeIdentifier const& scheme, SchemePassword const& password,
                          asn1::blob data, PasswordSchemes const& schemes, std::vector<unsigned char>& out);

} // namespace detail

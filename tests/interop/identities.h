/// Holders of keys, with certificates by libcrypto that are valid from 2020 to 2049.
#pragma once

#include "interop/libcrypto_objects.h"
#include "support/random.h"

#include <cstdint>
#include <string>
#include <vector>

namespace interop {

/// 2030-01-01, when all of these certificates are valid.
inline constexpr std::int64_t whenValid = 1893456000;

/// A key, by the name of its file, and a certificate for it.
struct Identity {
    std::string keyName;
    libcrypto::OwnedCertificate certificate;

    EVP_PKEY* key() const { return libcrypto::key(keyName); }
    X509* get() const { return certificate.get(); }
    libcrypto::Bytes der() const { return libcrypto::encoded<i2d_X509>(get()); }
};

enum class Names {
    plain, ///< Their attributes stand in the order in which the library writes them, as strings of ASCII.
    any,   ///< Any order and grouping, known attributes or others, all types of strings.
};

struct Certified {
    Names names = Names::any;
    bool isAuthority = false;
    bool stampsTime = false; ///< extendedKeyUsage timeStamping, critical.
};

/// The name of a key file: RSA of 1024 bits for the most part, and up to 4096.
std::string randomRsaKey(test::Random& random);

/// No two calls give the same name.
libcrypto::OwnedName randomName(test::Random& random, Names names);

Identity selfSigned(test::Random& random, std::string const& keyName, Names names = Names::any);
Identity issuedBy(Identity const& issuer, test::Random& random, std::string const& keyName,
                  Certified as = {});

/// With a few revoked certificates.
libcrypto::OwnedCrl crlBy(Identity const& issuer, test::Random& random);

/// That trusts `root` and looks at it from the time `now`.
libcrypto::OwnedStore storeOf(Identity const& root, std::int64_t now = whenValid);

libcrypto::OwnedCertificates stackOf(std::vector<X509*> const& certificates);

} // namespace interop

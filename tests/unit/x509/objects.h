/// Certificates, lists and requests in parts, so that a test changes what it is about and nothing else.
#pragma once

#include "sealkit/crl.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include "support/captured_output.h"
#include "support/der.h"

#include <string>
#include <vector>

namespace test {

using der::Bytes;

inline Bytes const sha256WithRsa = der::algorithm("1.2.840.113549.1.1.11", der::null());
inline Bytes const ecdsaWithSha256 = der::algorithm("1.2.840.10045.4.3.2");

/// An Ed25519 key with the bytes 1 to 32.
inline Bytes makeKeyInfo() {
    Bytes key(32);
    for (size_t i = 0; i < key.size(); i++)
        key[i] = static_cast<unsigned char>(i + 1);
    return der::sequence(der::algorithm("1.3.101.112"), der::bitString(key));
}

struct CertificateParts {
    Bytes version = der::context(0, der::integer(2));
    Bytes serialNumber = der::integer({0x01, 0xAB});
    Bytes algorithm = sha256WithRsa;
    Bytes issuer = der::name({{"2.5.4.6", "UY"}, {"2.5.4.3", "ca"}});
    Bytes validity = der::sequence(der::utcTime("240101000000Z"), der::utcTime("250101000000Z"));
    Bytes subject = der::name({{"2.5.4.3", "leaf"}});
    Bytes keyInfo = makeKeyInfo();
    Bytes beforeExtensions;
    std::vector<Bytes> extensions; ///< The field is left out when there are none.
    Bytes afterExtensions;
    Bytes outerAlgorithm; ///< As the inner one when empty.
    Bytes signature = der::bitString({0xDE, 0xAD});
    Bytes afterSignature;

    Bytes tbs() const {
        Bytes list = extensions.empty() ? Bytes() : der::context(3, der::sequence(der::join(extensions)));
        return der::sequence(version, serialNumber, algorithm, issuer, validity, subject, keyInfo,
                             beforeExtensions, list, afterExtensions);
    }
    Bytes der() const {
        return der::sequence(tbs(), outerAlgorithm.empty() ? algorithm : outerAlgorithm, signature,
                             afterSignature);
    }
};

struct CrlParts {
    Bytes version = der::integer(1);
    Bytes algorithm = sha256WithRsa;
    Bytes issuer = der::name({{"2.5.4.6", "UY"}, {"2.5.4.3", "ca"}});
    Bytes thisUpdate = der::utcTime("240101000000Z");
    Bytes nextUpdate = der::utcTime("240201000000Z");
    Bytes revoked;
    std::vector<Bytes> extensions; ///< The field is left out when there are none.
    Bytes afterExtensions;
    Bytes outerAlgorithm; ///< As the inner one when empty.
    Bytes signature = der::bitString({0xDE, 0xAD});

    Bytes tbs() const {
        Bytes list = extensions.empty() ? Bytes() : der::context(0, der::sequence(der::join(extensions)));
        return der::sequence(version, algorithm, issuer, thisUpdate, nextUpdate, revoked, list,
                             afterExtensions);
    }
    Bytes der() const {
        return der::sequence(tbs(), outerAlgorithm.empty() ? algorithm : outerAlgorithm, signature);
    }
};

struct ReqParts {
    Bytes version = der::integer(0);
    Bytes subject = der::name({{"2.5.4.3", "leaf"}});
    Bytes keyInfo = makeKeyInfo();
    std::vector<Bytes> attributes;
    Bytes afterAttributes;
    Bytes algorithm = ecdsaWithSha256;
    Bytes signature = der::bitString({0xDE, 0xAD});

    Bytes tbs() const {
        return der::sequence(version, subject, keyInfo, der::context(0, der::join(attributes)),
                             afterAttributes);
    }
    Bytes der() const { return der::sequence(tbs(), algorithm, signature); }
};

/// A parsed object with what parsing said.
template <typename Object>
struct Parsed {
    Object object;
    bool accepted;
    std::string said;

    explicit Parsed(Bytes const& encoded) {
        CapturedOutput capture;
        accepted = object.parse(encoded.data(), static_cast<unsigned>(encoded.size()));
        said = capture.text();
    }
    template <typename Parts>
    requires requires(Parts const& parts) { parts.der(); }
    explicit Parsed(Parts const& parts) : Parsed(parts.der()) {}
};

template <typename Object>
std::string dumpOf(Object const& object) {
    std::ostringstream out;
    object.dump(out);
    return out.str();
}

} // namespace test

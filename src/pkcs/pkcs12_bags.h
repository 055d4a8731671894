/// What is in a PKCS#12 file: contents, and bags in them (RFC 7292, section 4).
#pragma once

#include "sealkit/pkcs12.h"

namespace detail {

/// A certificate, a key, or a key that is locked: encrypted under the password.
struct PKCS12Bag {
    std::shared_ptr<X509Certificate> certificate;
    std::shared_ptr<PrivateKey> key;
    AlgorithmIdentifier algorithm;           ///< Of a key that is locked.
    std::vector<unsigned char> encryptedKey; ///< The same.
    PKCS12Attributes attributes;

    bool isLocked() const { return certificate == nullptr && key == nullptr; }
};

struct PKCS12Content {
    enum class Kind { plain, encrypted, enveloped };

    Kind kind = Kind::plain;
    size_t index = 0; ///< In the file's `encryptedData` or `envelopedData`.
    bool isOpen = true;
    std::vector<PKCS12Bag> bags; ///< None while it is not open.
};

/// Reads a SafeContents, the whole element, and appends its bags, those of bags in bags included. False, when it is
/// malformed or holds what its class refuses; `bags` may have grown then. Bags of unknown types are named.
bool readSafeContents(asn1::blob safeContents, bool isBer, std::vector<PKCS12Bag>& bags);

/// Reads a CertBag, the whole element. A certificate that is not X.509 is named, and `*certificate` null.
bool readCertBag(asn1::blob certBag, std::shared_ptr<X509Certificate>* certificate);

/// Says that safe contents do not parse, and is false.
bool refuseSafeContents();

/// Writes a SafeBag around `value`, a whole element.
void saveBag(DerEncoder& to, asn1::blob type, asn1::blob value, PKCS12Attributes const* attributes);

/// The CertBag of a certificate.
std::vector<unsigned char> encodeCertBag(X509Certificate const& certificate);

} // namespace detail

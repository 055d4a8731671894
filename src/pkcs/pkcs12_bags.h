/// What is in a PKCS#12 file: contents, and bags in them (RFC 7292, section 4).
#pragma once

#include "sealkit/pkcs12.h"

#include "pkcs/pkcs12_reading.h"

namespace detail {

/// A certificate, a key, or a key that is encrypted under the password.
struct PKCS12Bag {
    std::shared_ptr<X509Certificate> certificate;
    std::shared_ptr<PrivateKey> key;
    AlgorithmIdentifier algorithm;           ///< Of a key that is encrypted, or was.
    std::vector<unsigned char> encryptedKey; ///< The same.
    PKCS12Attributes attributes;
    PKCS12Place place; ///< Of a key that is encrypted, or was.
    Refusal refusal;   ///< Why the key could not be decrypted when the file was read partially.

    bool isEncrypted() const { return certificate == nullptr && key == nullptr; }
};

struct PKCS12Content {
    enum class Kind { plain, encrypted, enveloped };

    Kind kind = Kind::plain;
    size_t index = 0; ///< In the file's `encryptedData` or `envelopedData`.
    bool isDecrypted = true;
    std::vector<PKCS12Bag> bags; ///< None while it is encrypted.
    std::vector<PKCS12IgnoredBag> ignored;
    std::vector<Refusal> unreadable; ///< Of what was read partially: the content, or bags of it.
    PKCS12Place place;
};

/// Reads a SafeContents, the whole element, and appends its bags, those of bags in bags included. When it is
/// refused, bags may have been appended.
bool readSafeContents(PKCS12Reading& file, asn1::blob safeContents, PKCS12Content& to);

/// Reads a CertBag, the whole element. A certificate that is not X.509 is ignored, and `*certificate` null.
bool readCertBag(PKCS12Reading& file, asn1::blob certBag, std::shared_ptr<X509Certificate>* certificate,
                 std::vector<PKCS12IgnoredBag>& ignored);

/// Says, where that is stated, that safe contents do not parse, and is false.
bool noteSafeContents(Reading const& reading);

/// Writes a SafeBag around `value`, a whole element.
void saveBag(DerEncoder& to, asn1::blob type, asn1::blob value, PKCS12Attributes const* attributes);

/// The CertBag of a certificate.
std::vector<unsigned char> encodeCertBag(X509Certificate const& certificate);

} // namespace detail

/// The contents of a PKCS#12 file, and their bags (RFC 7292, section 4).
#pragma once

#include "sealkit/pkcs12.h"

#include "pkcs/pkcs12_reading.h"

namespace detail {

/// A certificate, a key, or a key encrypted under the password.
struct PKCS12Bag {
    std::shared_ptr<X509Certificate> certificate;
    std::shared_ptr<PrivateKey> key;
    AlgorithmIdentifier algorithm;           ///< Of a key that is or was encrypted.
    std::vector<unsigned char> encryptedKey; ///< Of a key that is or was encrypted.
    PKCS12Attributes attributes;
    PKCS12Place place; ///< Of a key that is or was encrypted.
    Refusal refusal;   ///< Why a key of a partially read file could not be decrypted.

    bool isEncrypted() const { return certificate == nullptr && key == nullptr; }
};

struct PKCS12Content {
    enum class Kind { plain, encrypted, enveloped };

    Kind kind = Kind::plain;
    size_t index = 0; ///< The position in the file's `encryptedData` or `envelopedData`.
    bool isDecrypted = true;
    std::vector<PKCS12Bag> bags; ///< Empty while the content is encrypted.
    std::vector<PKCS12IgnoredBag> ignored;
    std::vector<Refusal> unreadable; ///< Unreadable parts of a partially read content, or the content itself.
    PKCS12Place place;
};

/// Reads a SafeContents, the whole element, and appends its bags, including nested ones. A refusal may leave
/// some of them appended.
bool readSafeContents(PKCS12Reading& file, asn1::blob safeContents, PKCS12Content& to);

/// Reads a CertBag, the whole element. A certificate that is not X.509 is ignored, with null in
/// `*certificate`.
bool readCertBag(PKCS12Reading& file, asn1::blob certBag, std::shared_ptr<X509Certificate>* certificate,
                 std::vector<PKCS12IgnoredBag>& ignored);

/// Writes the diagnostic for malformed safe contents where it is stated. Returns false.
bool noteSafeContents(Reading const& reading);

/// Writes a SafeBag around `value`, a whole element.
void saveBag(DerEncoder& to, asn1::blob type, asn1::blob value, PKCS12Attributes const* attributes);

/// The CertBag of a certificate.
std::vector<unsigned char> encodeCertBag(X509Certificate const& certificate);

} // namespace detail

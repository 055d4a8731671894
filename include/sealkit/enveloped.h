/// Encrypted messages of CMS in all their forms: EnvelopedData (RFC 5652) and AuthEnvelopedData (RFC 5083).
///
/// | member               | what it is                                                         |
/// | -------------------- | ------------------------------------------------------------------ |
/// | `EnvelopedMessage`   | a message: reading it, finding a recipient, decrypting its content |
/// | `EnvelopedRecipient` | who may decrypt it, and the content key that is encrypted to them  |
/// | `encryptMessage`     | makes a message to the holders of certificates and of passwords    |
/// | `EnvelopedOptions`   | how it encrypts                                                    |
///
/// | recipient            | content key                                                         | standard             |
/// | -------------------- | ------------------------------------------------------------------- | -------------------- |
/// | an RSA key           | PKCS#1 v1.5, or OAEP over SHA-1 or SHA-2 with an empty label         | RFC 3370, RFC 3560   |
/// | an EC key            | ECDH from a key of the message, X9.63 over SHA-1 or SHA-2, AES key wrap | RFC 5753          |
/// | an X25519 key        | the same, or HKDF over SHA-2                                         | RFC 8418             |
/// | a password           | PBKDF2 with HMAC over SHA-1 or SHA-2, PWRI-KEK with triple DES or AES | RFC 3211            |
/// | a shared key         | AES key wrap; only for reading                                       | RFC 3565             |
///
/// Contents are encrypted in CBC mode under triple DES or AES, or under AES-GCM with tags of 12 to 16 bytes.
/// Only GCM authenticates: a message that decrypts was not changed since it was made, either by somebody who
/// knows the password or, with certificates, by anybody at all. No plaintext is returned before the tag is
/// verified.
///
/// Messages may be BER. `PKCS7EnvelopedData` (pkcs7.h) is the same reader with fewer forms. S/MIME text
/// around a message is not read here: smime.h reads it.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/oaep.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/rng.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// How a recipient gets the content key.
enum class RecipientKind : unsigned {
    keyTransport, ///< Encrypted to an RSA key.
    keyAgreement, ///< Under a key that follows from an agreement with an EC or X25519 key.
    sharedKey,    ///< Under a key that both sides have.
    password,     ///< Under a key that is derived from a password.
};

/// What the recipients of one KeyAgreeRecipientInfo have in common (RFC 5652, section 6.2.2).
struct KeyAgreement {
    AlgorithmIdentifier originatorAlgorithm;  ///< Empty if a certificate names the originator.
    std::vector<unsigned char> originatorKey; ///< The public key, as its own DER. Empty in the same case.
    /// The ukm, which both sides add to the secret.
    std::optional<std::vector<unsigned char>> keyingMaterial;
    /// The parameters are the AlgorithmIdentifier of the key wrap.
    AlgorithmIdentifier keyEncryptionAlgorithm;
};

/// A recipient of any kind. The inherited members name the key and hold the encrypted key; those that a kind
/// does not use are empty. A shared key has its identifier in `subjectKeyId`.
struct EnvelopedRecipient : PKCS7KeyTransRecipientInfo {
    RecipientKind kind = RecipientKind::keyTransport; ///< How the content key reaches the recipient.
    std::shared_ptr<KeyAgreement const> agreement; ///< Never null for `keyAgreement`, null for other kinds.
    AlgorithmIdentifier keyDerivation;             ///< For `password` only.

    /// The algorithm that encrypts the content key, for every kind of recipient.
    AlgorithmIdentifier const& algorithm() const {
        return agreement == nullptr ? keyEncryptionAlgorithm : agreement->keyEncryptionAlgorithm;
    }
};

/// The size of the largest content that is encrypted, and that is decrypted under GCM: 512 MiB less one byte.
inline constexpr size_t maxEnvelopedContent = (size_t{1} << 29) - 1;
/// The largest number of recipients of a message.
inline constexpr size_t maxRecipients = 150'000;
/// The largest number of recipients that a key is tried on if no certificate names one.
inline constexpr size_t maxRecipientsTried = 16;

/// EnvelopedData or AuthEnvelopedData. Its members are not secret: no key is kept.
class SEALKIT_API EnvelopedMessage {
public:
    bool isAuthenticated = false;               ///< AuthEnvelopedData.
    unsigned version = 0;                       ///< As it stands in the message.
    std::vector<unsigned char> originatorInfo;  ///< The whole element [0]; empty when absent.
    std::vector<EnvelopedRecipient> recipients; ///< In the order of the message.
    /// How many are of unknown kinds or malformed. They are not among `recipients`.
    size_t otherRecipients = 0;
    PKCS7EncryptedContentInfo encryptedContentInfo; ///< The content, encrypted.
    std::vector<unsigned char> authAttrs; ///< The whole element [1] of AuthEnvelopedData; empty when absent.
    std::vector<unsigned char> mac;       ///< Of AuthEnvelopedData: the tag.
    std::vector<unsigned char> unprotectedAttrs; ///< The whole element, [1] or [2]; empty when absent.

    EnvelopedMessage();
    EnvelopedMessage(EnvelopedMessage&&) noexcept;
    EnvelopedMessage& operator=(EnvelopedMessage&&) noexcept;
    ~EnvelopedMessage();

    /// Reads a ContentInfo of either type, DER or BER. Returns false if it is malformed, has trailing bytes
    /// or an unknown version, or if it has more than `maxRecipients`. Recipients of unknown kinds and
    /// malformed ones are counted.
    bool parse(asn1::blob message, Refusal* refusal);

    /// The recipients that name `certificate`: by its subject key identifier, or by issuer and serial number.
    std::vector<EnvelopedRecipient const*> findRecipients(X509Certificate const& certificate) const;
    /// The recipients that `key` may belong to, by its kind, size and curve.
    std::vector<EnvelopedRecipient const*> findRecipients(PrivateKey const& key) const;

    /// Decrypts the content with the key of one of the recipients of this message.
    ///
    /// Returns false and leaves `out` empty on failure. An encrypted key and a content that do not decrypt,
    /// for any reason, are one refusal, `RefusalId::undecryptable`, and take the same time; all other
    /// refusals follow only from the message and the kind of the key. Under CBC an attacker who learns, for
    /// many messages of their own making, whether decryption succeeded can decrypt other messages: do not
    /// show strangers whether it did. That includes messages under GCM, which can be rewritten as ones under
    /// CBC with the same key.
    ///
    /// The previous content of `out` is wiped. The caller wipes the result.
    bool decrypt(EnvelopedRecipient const& recipient, PrivateKey const& key, std::vector<unsigned char>& out,
                 Refusal* refusal) const;

    /// The same with the recipients that name `certificate`, which is that of `key`, or if it is null with
    /// those that may hold `key`; at most `maxRecipientsTried` of them. `RefusalId::notARecipient` if no
    /// recipient matches.
    bool decrypt(X509Certificate const* certificate, PrivateKey const& key, std::vector<unsigned char>& out,
                 Refusal* refusal) const;

    /// The same with a password, which is tried for every recipient of that kind. `RefusalId::wrongPassword`
    /// if it decrypts none of their keys, `RefusalId::changedContent` if it decrypts a key but that does not
    /// decrypt the content, and `RefusalId::noPassword` if the message has no such recipient. All recipients
    /// together may require at most `pbes2MaxIterations` (pbes2.h) iterations.
    bool decrypt(std::string_view password, std::vector<unsigned char>& out, Refusal* refusal) const;

    /// The same with a shared key of 16, 24 or 32 bytes, which is tried for every recipient of that kind.
    bool decryptShared(asn1::blob keyEncryptionKey, std::vector<unsigned char>& out, Refusal* refusal) const;
};

/// How `encryptMessage` encrypts.
struct EnvelopedOptions {
    /// `AesGcm` makes an AuthEnvelopedData; `AesCbc` and `TripleDesCbc` an EnvelopedData.
    CipherID cipher = CipherID::AesGcm;
    unsigned keySize = 0; ///< In bytes; 0 for the longest, so that AES is AES-256.
    bool byKeyId = false; ///< Names recipients by subject key identifier instead of issuer and serial number.
    std::optional<OaepParameters> oaep; ///< For RSA keys; PKCS#1 v1.5 without it.
    unsigned iterations = 600'000;      ///< Of PBKDF2, 1 to `pbes2MaxIterations`.
};

/// Encrypts `content`, of type `contentType` (content octets of an object identifier), under a new key to
/// each of the recipients, of which there must be at least one. How a certificate gets the content key
/// follows from its key: RSA, EC or X25519. A password is derived with PBKDF2 over HMAC-SHA256 and wraps the
/// key under AES-256. Trust in the certificates and their key usage are not checked.
///
/// Returns the DER of a ContentInfo. Empty, with the reason, if a certificate has a key of another kind, a
/// key that is too short, or lacks a subject key identifier that `byKeyId` needs; if the cipher is
/// unsupported, if the content is longer than `maxEnvelopedContent`, and if `rng` fails.
SEALKIT_API std::vector<unsigned char> encryptMessage(std::span<X509Certificate const* const> certificates,
                                                      std::span<std::string_view const> passwords,
                                                      asn1::blob contentType, asn1::blob content,
                                                      EnvelopedOptions const& options, Rng& rng,
                                                      Refusal* refusal);

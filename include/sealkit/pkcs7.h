/// Cryptographic messages: PKCS#7 (RFC 2315) and CMS (RFC 5652).
///
/// | member                       | what it is                                                     | RFC 5652 |
/// | ---------------------------- | -------------------------------------------------------------- | -------- |
/// | `PKCS7SignedData`            | a content with its signers, their certificates and CRLs        | 5.1      |
/// | `PKCS7SignerInfo`            | one signature: who signed what, and how                        | 5.3      |
/// | `PKCS7EnvelopedData`         | a content encrypted to the holders of RSA keys                 | 6.1      |
/// | `PKCS7KeyTransRecipientInfo` | one recipient: its key, and the content key encrypted under it | 6.2.1    |
/// | `PKCS7EncryptedContentInfo`  | the encrypted content and its algorithm                        | 6.1      |
/// | `PKCS7EncryptedData`         | a content encrypted under a key from elsewhere                 | 8        |
///
/// `parse` accepts signers that have an RSA key, are named by issuer and serial number, and sign attributes:
/// the type of the content and its digest. It refuses signatures over the content itself, signers that are
/// named by a key identifier, and other kinds of keys. A digest algorithm must have NULL parameters.
/// Everything is DER; indefinite lengths are refused. For the standard rules (`FormRules`), `parse` accepts
/// signers of every kind, and BER; `addSigner` and `encode` make such messages.
///
/// Contents are encrypted in CBC mode, under des-EDE3 (key 24, IV 8 bytes) or AES (key 16, 24 or 32, IV 16),
/// and content keys by PKCS#1 v1.5 (RFC 3370, section 4.2.1). Recipients by key agreement, key-encryption key
/// or password are refused, and so is RSAES-OAEP: `EnvelopedMessage` (enveloped.h) reads those, and AES-GCM.
///
/// Parsing checks form, not trust: no signature is verified. `PKCS7SignedData::verify` does that, and
/// validates the signers' certificates under a store. Encryption does not authenticate: an enveloped message
/// shows neither who sent it nor whether it was changed. Time-stamps are in timestamp.h.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/cipher.h"
#include "sealkit/crl.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"
#include "sealkit/rng.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <concepts>
#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sealkit/detail/class_names_begin.h"

class CertificateStore;
struct PathOptions;
struct PKCS7SignerForm;
class PKCS7SignedData;
class PKCS7SignerInfo;

namespace detail {
class Reading;
bool read(Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to, unsigned depth);
bool readSignedData(Reading& reading, asn1::blob signedData, PKCS7SignedData& to, unsigned depth);
} // namespace detail

/// How a signer of a message signs.
struct PKCS7SignerOptions {
    /// The hash of the content and, except for Ed25519, of the signature. Ed25519 only signs with SHA-512
    /// (RFC 8419).
    HashID hash = HashID::SHA256;
    /// Names the certificate by its subject key identifier instead of issuer and serial number.
    bool byKeyId = false;
    /// Whether attributes (content type, digest and time) are signed instead of the content. Required for
    /// contents of types other than data (RFC 5652, section 5.3).
    bool hasAttributes = true;
    std::optional<TimePoint> signingTime; ///< Among the attributes. The years 1950 to 2049.
    /// Further attributes, each the whole encoding of an Attribute.
    std::vector<std::vector<unsigned char>> attributes{};
};

/// SignerInfo (RFC 5652, section 5.3). Object identifiers are content octets throughout.
class SEALKIT_API PKCS7SignerInfo {
public:
    std::vector<unsigned char> authAttributes;  ///< The signed attributes: the content octets of [0].
    std::vector<unsigned char> issuer;          ///< The whole encoding of the certificate's issuer name.
    std::vector<unsigned char> serialNumber;    ///< Content octets of the certificate's serial number.
    HashID digestAlgorithm = HashID::none;      ///< The hash of the content, and of what is signed.
    std::vector<unsigned char> contentType;     ///< The attribute's value; empty when absent.
    std::vector<unsigned char> contentDigest;   ///< The messageDigest attribute's value; empty when absent.
    unsigned char hasSigningTime = 0;           ///< Whether `signingTime` is set.
    TimePoint signingTime;                      ///< The attribute's value, as the signer states it.
    std::vector<unsigned char> encryptedDigest; ///< The signature.
    std::unique_ptr<PKCS7SignerInfo> counterSignature; ///< Of this signature; null when absent.
    /// A time-stamp of this signature; null when absent.
    std::unique_ptr<PKCS7SignedData> msCounterSignature;

    PKCS7SignerInfo();
    PKCS7SignerInfo(PKCS7SignerInfo&&) noexcept;
    PKCS7SignerInfo& operator=(PKCS7SignerInfo&&) noexcept;
    ~PKCS7SignerInfo();

    /// Reads a DER SignerInfo of version 1. Returns false if it is malformed, has no signed attributes, an
    /// unknown digest algorithm, a signature algorithm other than rsaEncryption, or counter-signatures nested
    /// more than 16 deep. Another version writes "bad version" to standard error; attributes that are not
    /// stored are named on standard output. Of several counter-signatures of a kind the first is kept.
    bool parse(asn1::blob signerInfo);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob signerInfo, Refusal* refusal);

    /// Writes the SignerInfo, of version 1 unless it has a `form`. The attributes are `authAttributes`. If
    /// those are empty, they are first made from `contentType` and `contentDigest`, unless there is no
    /// content type, no content digest and no signing time. A signing time that is not among them is not
    /// written.
    void save(DerEncoder& to);

    /// Fills in the object and signs `content`, of type `contentTypeOid`, with the RSA key of `certificate`.
    /// Returns false and leaves the object unchanged if `key` is not an RSA key. Also returns false if the
    /// key is too short for the digest, or if a message cannot name `hash`. The issuer is the certificate's
    /// as `DistinguishedName` writes it: `DistinguishedName::roundTrips(certificate.issuerBytes())` tells
    /// whether others will recognise it.
    bool sign(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
              asn1::blob content, HashID hash);
    bool sign(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
              asn1::blob content, unsigned hash);

    /// Fills in the object and signs `content`, of type `contentTypeOid`, with the key of `certificate`, RSA
    /// by PKCS#1 v1.5, EC on a named curve or Ed25519. The issuer has the certificate's bytes. Returns false
    /// and leaves the object unchanged if the key cannot sign, if a certificate that is to be named by its
    /// key identifier has none, if attributes are missing that the content needs, or if the time cannot be
    /// written.
    bool sign(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
              asn1::blob content, PKCS7SignerOptions const& options);

    /// The properties of a signer that the members above cannot express; null for a signer of the form that
    /// `parse` accepts without `FormRules`. Set by `parse` for the standard rules, and by `sign` with
    /// options.
    PKCS7SignerForm const* form() const { return otherForm.get(); }

    /// The digest that is signed: that of `authAttributes` as a SET (RFC 5652, section 5.4). Empty if `hash`
    /// is unknown.
    std::vector<unsigned char> messageDigest(HashID hash) const;
    std::vector<unsigned char> messageDigest(unsigned hash) const;

    /// The same, after making `authAttributes` if they are empty.
    std::vector<unsigned char> encodeAndMessageDigest(HashID hash);
    std::vector<unsigned char> encodeAndMessageDigest(unsigned hash);

    /// Sets the values of the two attributes to `contentTypeOid` and the digest of `content`.
    /// `authAttributes` are unchanged.
    void addContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash);
    void addContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash);

    /// Whether `hash` is the signer's, `contentTypeOid` the type it names, and the digest of `content`, the
    /// content octets, the one it holds. The signature is not verified.
    bool verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) const;
    bool verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash) const;

    /// The values of a signed attribute, the content of their SET: a view of `authAttributes`. Nothing if
    /// there is no such attribute; the first of several with the type `oid`.
    std::optional<asn1::blob> findSignedAttribute(asn1::blob oid) const;

    /// Writes the fields as text, line by line. Names are not escaped and may contain any byte.
    void dump(std::ostream& out) const;

private:
    friend bool detail::read(detail::Reading& reading, asn1::blob signerInfo, PKCS7SignerInfo& to,
                             unsigned depth);

    std::unique_ptr<PKCS7SignerForm> otherForm;
};

/// The form of a signer that is read for the standard rules, or made with options (RFC 5652, section 5.3).
struct SEALKIT_API PKCS7SignerForm {
    /// The subject key identifier of the certificate. Empty if issuer and serial number name it, which are
    /// empty otherwise.
    std::vector<unsigned char> subjectKeyId;
    bool hasAttributes = true; ///< Whether attributes are signed instead of the content.
    /// Content octets of the object identifier of the digest algorithm, known or not.
    std::vector<unsigned char> digestAlgorithm;
    AlgorithmIdentifier signatureAlgorithm; ///< The parameters are empty when absent.
    /// All counter-signatures but the first, which is the signer's `counterSignature`.
    std::vector<std::unique_ptr<PKCS7SignerInfo>> furtherCounterSignatures;
    /// Time-stamps of the signature (RFC 3161, appendix A) other than `msCounterSignature`: whole elements,
    /// which should be tokens and are not parsed. They are not written.
    std::vector<std::vector<unsigned char>> timeStamps;
};

/// SignedData (RFC 5652, section 5.1). Its content may be secret, as in a signed PKCS#12 file: `raw` and
/// `content` are wiped when the object is destroyed or assigned to.
class SEALKIT_API PKCS7SignedData {
public:
    std::vector<unsigned char> raw; ///< The whole parsed message, which `save` writes unless it is empty.
    std::vector<HashID> digestAlgorithms;   ///< As the message lists them.
    std::vector<unsigned char> contentType; ///< Content octets of the object identifier.
    /// The whole element, an OCTET STRING or a SEQUENCE. Empty for a detached signature; to make one, clear
    /// it after `create`.
    std::vector<unsigned char> content;
    std::vector<std::shared_ptr<X509Certificate>> certificates; ///< In the message's order.
    std::vector<std::shared_ptr<X509Crl>> crls;                 ///< In the message's order.
    std::vector<std::unique_ptr<PKCS7SignerInfo>> signerInfos;  ///< In the message's order.

    PKCS7SignedData();
    PKCS7SignedData(PKCS7SignedData&&) noexcept;
    PKCS7SignedData& operator=(PKCS7SignedData&&) noexcept;
    ~PKCS7SignedData();

    /// Reads a DER ContentInfo of SignedData, which is kept in `raw`, or a bare SignedData, which is not.
    /// Returns false if it is malformed, has trailing bytes, or `parseContentInfo` rejects it. A content of
    /// another type writes "not a signed data" to standard error.
    bool parse(asn1::blob message);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob message, Refusal* refusal);
    /// The same, with the certificates and CRLs that `forms` accepts. For `FormRules::standard` this also
    /// accepts
    ///
    /// - BER, which `raw` holds as DER;
    /// - signers that are named by key identifier, that sign the content itself, or that have other keys,
    ///   digest and signature algorithms, with NULL or absent parameters (`PKCS7SignerInfo::form`);
    /// - several counter-signatures;
    /// - messages of versions 4 and 5. Certificates and CRLs that are not X.509 or that do not parse are left
    ///   out, with the reason in `ignored`.
    ///
    /// Whether a signer's algorithms are supported is decided when the message is checked.
    bool parse(asn1::blob message, Refusal* refusal, FormRules forms);

    /// Why certificates and CRLs of the message were left out, at most `maxIgnored` of them. Set by `parse`.
    std::vector<Refusal> const& ignored() const { return ignoredObjects; }
    static constexpr size_t maxIgnored = 100; ///< The number of reasons that are kept.

    /// Reads a DER SignedData of version 1 or 3. Returns false if it is malformed, has trailing bytes,
    /// another version or an unknown digest algorithm, if a certificate, CRL or signer does not parse, or if
    /// it is nested more than 16 deep in counter-signatures. Another version writes "bad version " and the
    /// number to standard error.
    bool parseContentInfo(asn1::blob signedData);
    /// The same, silently and with a reason (refusal.h).
    bool parseContentInfo(asn1::blob signedData, Refusal* refusal);

    /// Writes `raw` unless it is empty, otherwise a ContentInfo with a SignedData of version 1, without the
    /// CRLs.
    void save(DerEncoder& to);

    /// Replaces the object by a new message: `content`, kept as an OCTET STRING, of type `contentTypeOid`,
    /// with one signer, as `PKCS7SignerInfo::sign` makes it, and that signer's certificate. Returns false if
    /// `sign` fails; the object must then not be used.
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, HashID hash);
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, unsigned hash);

    /// Sets the type and content of a new message, the content as an OCTET STRING. Call it before
    /// `addSigner`.
    void setContent(asn1::blob contentTypeOid, asn1::blob contentOctets);

    /// Appends a signer of the content, and its digest algorithm and certificate if the message lacks them.
    /// Returns false and leaves the message unchanged if `PKCS7SignerInfo::sign` fails. For a detached
    /// signature, clear `content` afterwards. Clears `raw`.
    bool addSigner(X509Certificate const& certificate, PrivateKey const& key,
                   PKCS7SignerOptions const& options);

    /// The DER of the ContentInfo, with the version that RFC 5652, section 5.1, requires and all SETs in
    /// DER's order: the content, the certificates and CRLs, and the signers that `addSigner` or `parse` for
    /// the standard rules made. Without signers and content it is a bundle of certificates and CRLs
    /// ("certs-only", RFC 8551, section 3.8).
    std::vector<unsigned char> encode() const;

    /// The content as it would be stored in a file: the content octets of an OCTET STRING, or the whole
    /// element of another type. Empty for a detached signature. A view of `content`.
    asn1::blob contentOctets() const;

    /// The certificate of the message that `verify` takes for the signer's: the first one that has its issuer
    /// and serial number, octet by octet, else the first whose issuer matches once `DistinguishedName` has
    /// re-encoded it, or for a signer that is named by key identifier the first that has it. Null if it is
    /// missing.
    std::shared_ptr<X509Certificate> findCertificate(PKCS7SignerInfo const& signer) const;

    /// Whether every signer signed the content, and its certificate is valid under `store` at the time `now`.
    /// The content is the message's own, without its identifier and length octets, or `detachedContent` if
    /// the message has none; if there are both, they must be equal. An empty `detachedContent` means not
    /// given.
    ///
    /// A signer signs its attributes: they must contain one content type, that of the message, and one
    /// digest, that of the content (RFC 5652, section 5.6). Its certificate is that of `findCertificate`, or
    /// the first of its issuer's name in the store if that is self-signed and has the serial number; a
    /// certificate from elsewhere can be appended to `certificates` first. Chains are searched through the
    /// message's certificates and the store by `PathSearch` (search.h), without a name to match and without
    /// CRLs: at most 16 certificates to a chain, 8 chains, and 64 units of work for each signer's
    /// certificate. A message without signers fails.
    ///
    /// On failure `*reason`, unless `reason` is null, tells which signer failed and why, with the failure of
    /// its best chain. It may contain any byte of names. `checkMessage` (message_check.h) gives all findings
    /// as values.
    ///
    /// Not checked: the purposes of the certificates, the CRLs of the message, counter-signatures, and the
    /// signing time, which the signer chose; and what is not signed, namely the message's list of digest
    /// algorithms and whether the content is an OCTET STRING or a SEQUENCE.
    bool verify(CertificateStore const& store, asn1::blob detachedContent, TimePoint now,
                std::string* reason) const;
    /// The same, with the `options` (path.h) for the chains of the signers' certificates: time, names, CRLs,
    /// purpose and rules.
    bool verify(CertificateStore const& store, asn1::blob detachedContent, PathOptions const& options,
                std::string* reason) const;

    /// Writes digest algorithms, content type, certificates and signers as text, line by line. Names are not
    /// escaped and may contain any byte.
    void dump(std::ostream& out) const;

private:
    friend bool detail::readSignedData(detail::Reading& reading, asn1::blob signedData, PKCS7SignedData& to,
                                       unsigned depth);

    void wipe();

    std::vector<Refusal> ignoredObjects;
};

/// KeyTransRecipientInfo (RFC 5652, section 6.2.1).
struct PKCS7KeyTransRecipientInfo {
    unsigned version = 0;     ///< 0: by issuer and serial number; 2: by subject key identifier.
    DistinguishedName issuer; ///< Version 0.
    /// The whole encoding that `issuer` was read from. It is written as long as it matches `issuer`.
    std::vector<unsigned char> issuerElement;
    std::vector<unsigned char> serialNumber;    ///< Version 0: content octets of the INTEGER.
    std::vector<unsigned char> subjectKeyId;    ///< Version 2.
    AlgorithmIdentifier keyEncryptionAlgorithm; ///< How the content key is encrypted.
    std::vector<unsigned char> encryptedKey;    ///< The content key under the recipient's key.
};

/// Reads the whole element. Returns false if it is malformed or of another version.
SEALKIT_API bool parse(PKCS7KeyTransRecipientInfo& to, asn1::blob element);
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool parse(PKCS7KeyTransRecipientInfo& to, asn1::blob element, Refusal* refusal);
/// Writes the SEQUENCE.
SEALKIT_API void save(PKCS7KeyTransRecipientInfo const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PKCS7KeyTransRecipientInfo const& from);

/// EncryptedContentInfo (RFC 5652, section 6.1).
struct PKCS7EncryptedContentInfo {
    std::vector<unsigned char> contentType;         ///< Content octets of the object identifier.
    AlgorithmIdentifier contentEncryptionAlgorithm; ///< The parameters are the IV, an OCTET STRING.
    std::vector<unsigned char> encryptedContent;    ///< Empty when the field is absent.
};

/// Reads the whole element. Returns false if it is malformed. DER forbids a segmented encryptedContent, so
/// that is rejected too.
SEALKIT_API bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element);
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element, Refusal* refusal);
/// Writes the SEQUENCE, without the encrypted content if that is empty.
SEALKIT_API void save(PKCS7EncryptedContentInfo const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PKCS7EncryptedContentInfo const& from);

/// EncryptedData of version 0, which has no attributes (RFC 5652, section 8).
struct PKCS7EncryptedData {
    unsigned version = 0;                           ///< 0.
    PKCS7EncryptedContentInfo encryptedContentInfo; ///< The content, encrypted.
};

/// Reads the whole element. Returns false if it is malformed or of another version, which writes
/// "EncryptedData: invalid version: " and the number to standard output.
SEALKIT_API bool parse(PKCS7EncryptedData& to, asn1::blob element);
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool parse(PKCS7EncryptedData& to, asn1::blob element, Refusal* refusal);
/// Writes the SEQUENCE.
SEALKIT_API void save(PKCS7EncryptedData const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PKCS7EncryptedData const& from);

/// How `PKCS7EnvelopedData` encrypts.
struct PKCS7Encryption {
    CipherID cipher = CipherID::AesCbc; ///< Or `TripleDesCbc`.
    unsigned keySize = 0;               ///< In bytes; 0 for the longest, so that AES is AES-256.
    /// Names recipients by subject key identifier instead of issuer and serial number.
    bool byKeyId = false;
};

/// EnvelopedData (RFC 5652, section 6.1). Its members are not secret: the content key is never kept.
class SEALKIT_API PKCS7EnvelopedData {
public:
    unsigned version = 0;                                   ///< 0, or 2 for fields that version 0 lacks.
    std::vector<unsigned char> originatorInfo;              ///< The whole element [0]; empty when absent.
    std::vector<PKCS7KeyTransRecipientInfo> recipientInfos; ///< In the message's order.
    PKCS7EncryptedContentInfo encryptedContentInfo;         ///< The content, encrypted.
    std::vector<unsigned char> unprotectedAttrs;            ///< The whole element [1]; empty when absent.

    /// Reads a DER ContentInfo of EnvelopedData. Returns false if it is malformed, has trailing bytes, or a
    /// function below rejects it. A content of another type writes "blob is not enveloped data" to standard
    /// output.
    bool parse(asn1::blob message);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob message, Refusal* refusal);

    /// Reads a DER EnvelopedData. Returns false if it is malformed, has trailing bytes, or has originator or
    /// attributes in version 0. A version other than 0 and 2 is reported on standard output.
    bool parseData(asn1::blob envelopedData);
    /// The same, silently and with a reason (refusal.h).
    bool parseData(asn1::blob envelopedData, Refusal* refusal);

    /// Reads the content of the SET of RecipientInfo and replaces `recipientInfos`. Malformed recipients of
    /// version 0 and 2 are left out. Returns false if one is of another kind, which is reported on standard
    /// output, or is not a RecipientInfo.
    bool parseRecipientInfo(asn1::blob set);
    /// The same, silently and with a reason (refusal.h).
    bool parseRecipientInfo(asn1::blob set, Refusal* refusal);

    /// Keeps the whole element as it is. Returns false unless it is one element with the field's tag.
    bool parseOriginatorInfo(asn1::blob element);
    /// The same, with a reason (refusal.h).
    bool parseOriginatorInfo(asn1::blob element, Refusal* refusal);
    /// Keeps the whole element as it is. Returns false unless it is one element with the field's tag.
    bool parseUnprotectedAttrs(asn1::blob element);
    /// The same, with a reason (refusal.h).
    bool parseUnprotectedAttrs(asn1::blob element, Refusal* refusal);

    /// The DER of the ContentInfo, with the `version` of the object.
    std::vector<unsigned char> encode() const;

    /// Decrypts the content with the key of the first recipient that names `cert`: by its subject key
    /// identifier or by issuer and serial number. `key` is the RSA key of `cert`.
    ///
    /// Returns false and leaves `out` empty on failure. Standard output then says:
    ///
    /// - "ktri: no key matches" if no recipient names `cert`;
    /// - "ktri: only rsa supported, not " and the number of the recipient's algorithm if that or `key` is not
    ///   RSA, followed by the next line;
    /// - "ktri: key decrypt failed" if the encrypted key cannot be decrypted, for any reason;
    /// - "EncryptedContentInfo: unimplemented algorithm: <" with the name or number, and ">";
    /// - nothing for a key or an IV of a wrong length, a content that is not whole blocks, and wrong padding.
    ///
    /// Only the last byte of the padding is checked. An attacker who learns, for many messages of their own
    /// making, which failure occurred can decrypt other messages: do not show strangers the output or whether
    /// decryption succeeded. The time of a failure does not tell whether the content key was valid.
    ///
    /// The previous content of `out` is wiped. The caller wipes the result.
    bool decrypt(X509Certificate const& cert, PrivateKey const& key, std::vector<unsigned char>& out) const;
    /// The same, silently and with a reason (refusal.h). A malformed key block and a content that does not
    /// decrypt are one refusal, `RefusalId::undecryptable`; all others follow only from the message and the
    /// kind of the key.
    bool decrypt(X509Certificate const& cert, PrivateKey const& key, std::vector<unsigned char>& out,
                 Refusal* refusal) const;
    /// The same, with the key of a given recipient of this message, for callers without a certificate.
    bool decrypt(PKCS7KeyTransRecipientInfo const& recipient, PrivateKey const& key,
                 std::vector<unsigned char>& out, Refusal* refusal) const;

    /// The first recipient that names `cert`, which `decrypt` uses: by its subject key identifier or by
    /// issuer and serial number. Null if no recipient does.
    PKCS7KeyTransRecipientInfo const* findRecipient(X509Certificate const& cert) const;

    /// Replaces the object by a new message: `content`, of type `contentType` (content octets of an object
    /// identifier), encrypted under a new key and IV of `rng` to each of the recipients, of which there must
    /// be at least one. Trust in the certificates and their key usage are not checked.
    ///
    /// Returns false and leaves the object unchanged if a certificate has no RSA key, one too short for the
    /// content key, or lacks a subject key identifier that `byKeyId` needs; if the cipher is unsupported, if
    /// `rng` fails, and if the content has 4 GiB or more.
    bool encrypt(std::span<X509Certificate const* const> recipients, asn1::blob contentType,
                 asn1::blob content, PKCS7Encryption const& how, Rng const& rng);
    /// The same, to one recipient by issuer and serial number.
    bool encrypt(X509Certificate const& recipient, asn1::blob contentType, asn1::blob content,
                 CipherID cipher, Rng const& rng);
    /// A template, so that `{}` stays the id.
    template <std::integral Number>
    bool encrypt(X509Certificate const& recipient, asn1::blob contentType, asn1::blob content, Number cipher,
                 Rng const& rng) {
        return encrypt(recipient, contentType, content, static_cast<CipherID>(cipher), rng);
    }
};

#include "sealkit/detail/class_names_end.h"

/// Cryptographic messages: PKCS#7 (RFC 2315) and CMS (RFC 5652).
///
/// | member                      | what it is                                                        | RFC 5652 |
/// |-----------------------------|-------------------------------------------------------------------|----------|
/// | `PKCS7SignedData`           | a content, or none, with its signers, their certificates and CRLs | 5.1      |
/// | `PKCS7SignerInfo`           | one signature: who signed what, and how                           | 5.3      |
/// | `PKCS7EnvelopedData`        | a content encrypted to the holders of RSA keys                    | 6.1      |
/// | `PKCS7KeyTransRecipientInfo`| one of them: which key, and the content key under it              | 6.2.1    |
/// | `PKCS7EncryptedContentInfo` | the encrypted content, and how                                    | 6.1      |
/// | `PKCS7EncryptedData`        | a content encrypted under a key that is agreed elsewhere          | 8        |
///
/// Signers have an RSA key, are named by issuer and serial number, and sign attributes: the type of the content
/// and its digest. A signature over the bare content, by a key identifier or by any other kind of key is
/// refused. A digest algorithm needs its NULL parameters. Everything is DER; indefinite lengths are refused.
///
/// Contents are encrypted in CBC mode, under des-EDE3 (key 24, IV 8 bytes) or AES (key 16, 24 or 32, IV 16), and
/// content keys by PKCS#1 v1.5 (RFC 3370, section 4.2.1). Key agreement, key-encryption keys and passwords are
/// refused as recipients, and RSAES-OAEP is.
///
/// Parsing checks form, not trust: no signature is verified. `PKCS7SignedData::verify` does that, and with a store
/// of what is trusted decides on the signers' certificates. Encryption does not authenticate: who an enveloped
/// message is from, and whether it was changed, nobody knows. Time-stamps are in timestamp.h.
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

#include <iosfwd>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class CertificateStore;
class PKCS7SignedData;

/// SignerInfo (RFC 5652, section 5.3). Object identifiers are content octets throughout.
class SEALKIT_API PKCS7SignerInfo {
public:
    std::vector<unsigned char> authAttributes; ///< What is signed: the content octets of [0].
    std::vector<unsigned char> issuer;         ///< The whole encoding of the certificate's issuer name.
    std::vector<unsigned char> serialNumber;   ///< Content octets of the certificate's serial number.
    HashID digestAlgorithm = HashID::none;
    std::vector<unsigned char> contentType;   ///< The attribute's value; empty when absent.
    std::vector<unsigned char> contentDigest; ///< The messageDigest attribute's value; empty when absent.
    unsigned char hasSigningTime = 0;
    TimePoint signingTime;
    std::vector<unsigned char> encryptedDigest;        ///< The signature.
    std::unique_ptr<PKCS7SignerInfo> counterSignature; ///< Of this signature; null when absent.
    std::unique_ptr<PKCS7SignedData>
        msCounterSignature; ///< A time-stamp of this signature; null when absent.

    PKCS7SignerInfo();
    PKCS7SignerInfo(PKCS7SignerInfo&&) noexcept;
    PKCS7SignerInfo& operator=(PKCS7SignerInfo&&) noexcept;
    ~PKCS7SignerInfo();

    /// Reads a DER SignerInfo of version 1. False when it is malformed, has no signed attributes, a digest
    /// algorithm that is unknown, a signature algorithm other than rsaEncryption, or counter-signatures nested
    /// more than 16 deep. "bad version" goes to standard error; attributes that are not stored are named on
    /// standard output. Of several counter-signatures of a kind the first is kept.
    bool parse(asn1::blob signerInfo);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob signerInfo, Refusal* refusal);

    /// Writes the SignerInfo, of version 1. The attributes are `authAttributes` or, where those are empty, made
    /// from `contentType` and `contentDigest` and kept; a signing time that is not among them is not written, nor
    /// are attributes when there is no content type, no content digest and no signing time.
    void save(DerEncoder& to);

    /// Fills the object in and signs: `content`, of type `contentTypeOid`, by the RSA key of `certificate`. False
    /// when `key` is no RSA key, and nothing is changed then; false as well when it is too short for the
    /// digest, or `hash` is none that a message can name. The issuer is the certificate's as `DistinguishedName`
    /// writes it: `DistinguishedName::roundTrips(certificate.issuerBytes())` tells whether others will know it again.
    bool sign(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
              asn1::blob content, HashID hash);
    bool sign(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
              asn1::blob content, unsigned hash);

    /// The digest that is signed: that of `authAttributes` as a SET (RFC 5652, section 5.4). Empty when `hash` names
    /// none.
    std::vector<unsigned char> messageDigest(HashID hash) const;
    std::vector<unsigned char> messageDigest(unsigned hash) const;

    /// The same, after making `authAttributes` where they are empty.
    std::vector<unsigned char> encodeAndMessageDigest(HashID hash);
    std::vector<unsigned char> encodeAndMessageDigest(unsigned hash);

    /// Takes `contentTypeOid` and the digest of `content` as the values of the two attributes. `authAttributes`
    /// stay as they are.
    void addContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash);
    void addContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash);

    /// Whether `hash` is the signer's, `contentTypeOid` the type it names, and the digest of `content`, the content
    /// octets, the one it holds. The signature is not looked at.
    bool verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, HashID hash) const;
    bool verifyContentDigest(asn1::blob contentTypeOid, asn1::blob content, unsigned hash) const;

    /// The values of a signed attribute, the content of their SET: a view of `authAttributes`. Nothing if there is no
    /// such attribute; of several with the type `oid` the first counts.
    std::optional<asn1::blob> findSignedAttribute(asn1::blob oid) const;

    /// Writes the fields as text, line by line. Names are written as they are: they may hold any byte.
    void dump(std::ostream& out) const;
};

/// SignedData (RFC 5652, section 5.1). Its content may be secret, as that of a signed PKCS#12 file is: `raw` and
/// `content` are wiped where the object ends, and where another is moved to it.
class SEALKIT_API PKCS7SignedData {
public:
    std::vector<unsigned char> raw; ///< The whole message as it was parsed; what `save` writes unless empty.
    std::vector<HashID> digestAlgorithms;
    std::vector<unsigned char> contentType; ///< Content octets of the object identifier.
    /// The whole element, an OCTET STRING or a SEQUENCE. Empty when the content is elsewhere (a detached
    /// signature); to make one of those, clear it after `create`.
    std::vector<unsigned char> content;
    std::vector<std::shared_ptr<X509Certificate>> certificates;
    std::vector<std::shared_ptr<X509Crl>> crls;
    std::vector<std::unique_ptr<PKCS7SignerInfo>> signerInfos;

    PKCS7SignedData();
    PKCS7SignedData(PKCS7SignedData&&) noexcept;
    PKCS7SignedData& operator=(PKCS7SignedData&&) noexcept;
    ~PKCS7SignedData();

    /// Reads a DER ContentInfo of SignedData, which is kept in `raw`, or a bare SignedData, which is not. False when
    /// it is malformed, has bytes behind it, or is refused as below; a content of another type is "not a
    /// signed data" on standard error.
    bool parse(asn1::blob message);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob message, Refusal* refusal);

    /// Reads a DER SignedData of version 1 or 3. False when it is malformed, has bytes behind it, a digest algorithm
    /// that is unknown, a certificate, CRL or signer that does not parse, or is nested more than 16 deep in
    /// counter-signatures. "bad version " and the number go to standard error.
    bool parseContentInfo(asn1::blob signedData);
    /// The same, silently and with a reason (refusal.h).
    bool parseContentInfo(asn1::blob signedData, Refusal* refusal);

    /// Writes `raw` where there is one. Otherwise a ContentInfo with a SignedData of version 1, without the CRLs.
    void save(DerEncoder& to);

    /// Makes the object anew: `content`, kept as an OCTET STRING, of type `contentTypeOid`, with one signer, as
    /// `PKCS7SignerInfo::sign` makes it, and that signer's certificate. False when `sign` says so; the object is
    /// then of no use.
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, HashID hash);
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, unsigned hash);

    /// The content as a file has it: of an OCTET STRING the content octets, of another type the whole element. Empty
    /// when the content is elsewhere. A view of `content`.
    asn1::blob contentOctets() const;

    /// The certificate of the message that `verify` takes for the signer's: the first one that has its issuer and
    /// serial number, octet by octet, else the first whose issuer becomes so when `DistinguishedName` writes it.
    /// Null when there is none.
    std::shared_ptr<X509Certificate> findCertificate(PKCS7SignerInfo const& signer) const;

    /// Whether every signer signed the content, and `store` vouches for its certificate at the time `now`. The content
    /// is the message's own, without its identifier and length octets, or `detachedContent` where the message has
    /// none; with both, they must be equal. An empty `detachedContent` is none.
    ///
    /// What a signer signed are its attributes: they must hold one content type, the message's, and one digest, that
    /// of the content (RFC 5652, section 5.6). Its certificate is that of `findCertificate`, or the first of its
    /// issuer's name in the store where that is self-signed and has the serial number; one that is known from elsewhere
    /// can be appended to `certificates` first. Chains are searched through the message's certificates and the store
    /// by `PathSearch` (search.h), without a name to match and without CRLs: at most 16 certificates long, 8 of them,
    /// and with 64 units of work for each signer's certificate. A message without signers is false.
    ///
    /// On failure `*reason`, unless null, says which signer failed and why: what the best of its chains lacks. It may
    /// repeat bytes of names as they are. `checkMessage` (message_check.h) gives all findings as values.
    ///
    /// Not looked at: what the certificates may be used for, the CRLs of the message, counter-signatures, and the
    /// signing time, which the signer chose. Nor is the list of digest algorithms, which is not signed, nor
    /// whether the content is an OCTET STRING or a SEQUENCE, which is not signed either.
    bool verify(CertificateStore const& store, asn1::blob detachedContent, TimePoint now,
                std::string* reason) const;

    /// Writes digest algorithms, content type, certificates and signers as text, line by line. Names are written
    /// as they are: they may hold any byte.
    void dump(std::ostream& out) const;

private:
    void wipe();
};

/// KeyTransRecipientInfo (RFC 5652, section 6.2.1).
struct PKCS7KeyTransRecipientInfo {
    unsigned version = 0;     ///< 0: by issuer and serial number; 2: by subject key identifier.
    DistinguishedName issuer; ///< Version 0.
    /// The whole encoding that `issuer` was read from. It is what is written for as long as it says the same.
    std::vector<unsigned char> issuerElement;
    std::vector<unsigned char> serialNumber; ///< Version 0: content octets of the INTEGER.
    std::vector<unsigned char> subjectKeyId; ///< Version 2.
    AlgorithmIdentifier keyEncryptionAlgorithm;
    std::vector<unsigned char> encryptedKey; ///< The content key under the recipient's key.
};

/// Reads the whole element. False when it is malformed or of another version.
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
    std::vector<unsigned char> encryptedContent;    ///< Empty when the field is left out.
};

/// Reads the whole element. False when it is malformed. An encrypted content in pieces is, in DER.
SEALKIT_API bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element);
/// The same, silently and with a reason (refusal.h).
SEALKIT_API bool parse(PKCS7EncryptedContentInfo& to, asn1::blob element, Refusal* refusal);
/// Writes the SEQUENCE, without the encrypted content where that is empty.
SEALKIT_API void save(PKCS7EncryptedContentInfo const& from, DerEncoder& to);
/// The SEQUENCE's encoding.
SEALKIT_API std::vector<unsigned char> encode(PKCS7EncryptedContentInfo const& from);

/// EncryptedData of version 0, which has no attributes (RFC 5652, section 8).
struct PKCS7EncryptedData {
    unsigned version = 0;
    PKCS7EncryptedContentInfo encryptedContentInfo;
};

/// Reads the whole element. False when it is malformed or of another version, which goes to standard output as
/// "EncryptedData: invalid version: " and the number.
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
    /// Names recipients by subject key identifier, and not by issuer and serial number.
    bool byKeyId = false;
};

/// EnvelopedData (RFC 5652, section 6.1). Its contents are not secret; the key to them is never kept.
class SEALKIT_API PKCS7EnvelopedData {
public:
    unsigned version = 0;                      ///< 0, or 2 for what version 0 does not have.
    std::vector<unsigned char> originatorInfo; ///< The whole element [0]; empty when absent.
    std::vector<PKCS7KeyTransRecipientInfo> recipientInfos;
    PKCS7EncryptedContentInfo encryptedContentInfo;
    std::vector<unsigned char> unprotectedAttrs; ///< The whole element [1]; empty when absent.

    /// Reads a DER ContentInfo of EnvelopedData. False when it is malformed, has bytes behind it, or is refused as
    /// the functions below do; a content of another type is "blob is not enveloped data" on standard output.
    bool parse(asn1::blob message);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob message, Refusal* refusal);

    /// Reads a DER EnvelopedData. False when it is malformed, has bytes behind it, or has originator or
    /// attributes in version 0. A version other than 0 and 2 goes to standard output.
    bool parseData(asn1::blob envelopedData);
    /// The same, silently and with a reason (refusal.h).
    bool parseData(asn1::blob envelopedData, Refusal* refusal);

    /// Reads the content of the SET of RecipientInfo, anew. Recipients of version 0 and 2 that are malformed are
    /// left out. False when one is of another kind, which standard output is told, or is none at all.
    bool parseRecipientInfo(asn1::blob set);
    /// The same, silently and with a reason (refusal.h).
    bool parseRecipientInfo(asn1::blob set, Refusal* refusal);

    /// Keep the whole element as it is. False unless it is one element with the field's tag.
    bool parseOriginatorInfo(asn1::blob element);
    bool parseUnprotectedAttrs(asn1::blob element);
    /// The same, with a reason (refusal.h).
    bool parseOriginatorInfo(asn1::blob element, Refusal* refusal);
    bool parseUnprotectedAttrs(asn1::blob element, Refusal* refusal);

    /// The DER of the ContentInfo, with `version` as it stands.
    std::vector<unsigned char> encode() const;

    /// Decrypts the content with the key of the first recipient that names `cert`: by its subject key identifier
    /// or by issuer and serial number. `key` is the RSA key of `cert`.
    ///
    /// False, and `out` empty, when nothing comes of it. Standard output says then:
    ///
    /// - "ktri: no key matches" when no recipient names `cert`;
    /// - "ktri: only rsa supported, not " and the number of the recipient's algorithm when that or `key` is not
    ///   RSA, and the next line too;
    /// - "ktri: key decrypt failed" when the encrypted key gives none, whatever the reason;
    /// - "EncryptedContentInfo: unimplemented algorithm: <" with the name or number, and ">";
    /// - nothing about a key or an IV of a wrong length, a content that is not whole blocks, and its padding.
    ///
    /// Of the padding the last byte alone is looked at. Who learns which of these it was, for messages of his
    /// own making and many times over, can have any message read: do not answer strangers with what is printed, nor
    /// with whether a content came out. The time that a failure takes does not tell whether the key was good.
    ///
    /// What `out` held before is wiped. The caller wipes what it gets.
    bool decrypt(X509Certificate const& cert, PrivateKey const& key, std::vector<unsigned char>& out) const;
    /// The same, silently and with a reason (refusal.h). A bad key block and a content that does not decrypt are one
    /// refusal, `RefusalId::undecryptable`; all others follow from the message and the kind of the key alone.
    bool decrypt(X509Certificate const& cert, PrivateKey const& key, std::vector<unsigned char>& out,
                 Refusal* refusal) const;
    /// The same, with the key of a given recipient of this message, for who has no certificate.
    bool decrypt(PKCS7KeyTransRecipientInfo const& recipient, PrivateKey const& key,
                 std::vector<unsigned char>& out, Refusal* refusal) const;

    /// The first recipient that names `cert`, which `decrypt` uses: by its subject key identifier or by issuer and
    /// serial number. Null if no recipient does.
    PKCS7KeyTransRecipientInfo const* findRecipient(X509Certificate const& cert) const;

    /// Makes the object anew: `content`, of type `contentType` (content octets of an object identifier), encrypted
    /// under a new key and IV of `rng` to each of the recipients, of which there is one at least. Whether a
    /// certificate may be trusted or used so is not asked.
    ///
    /// False when a certificate has no RSA key, one too short for the content key, or, where it is asked for, no
    /// subject key identifier; when there is no such cipher, when `rng` fails, and for 4 GiB and more. The
    /// object is as it was then.
    bool encrypt(std::span<X509Certificate const* const> recipients, asn1::blob contentType,
                 asn1::blob content, PKCS7Encryption const& how, Rng const& rng);
    /// The same, to one recipient by issuer and serial number.
    bool encrypt(X509Certificate const& recipient, asn1::blob contentType, asn1::blob content,
                 CipherID cipher, Rng const& rng);
};

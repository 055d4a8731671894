/// Cryptographic messages: PKCS#7 (RFC 2315) and CMS (RFC 5652).
///
/// | member            | what it is                                                          | RFC 5652 |
/// |-------------------|---------------------------------------------------------------------|----------|
/// | `PKCS7SignedData` | a content, or none, with its signers, their certificates and CRLs   | 5.1      |
/// | `PKCS7SignerInfo` | one signature: who signed what, and how                             | 5.3      |
///
/// Signers have an RSA key, are named by issuer and serial number, and sign attributes: the type of the content
/// and its digest. A signature over the bare content, by a key identifier or by any other kind of key is
/// refused. A digest algorithm needs its NULL parameters. Everything is DER; indefinite lengths are refused.
///
/// Parsing checks form, not trust: no signature is verified. `PKCS7SignedData::verify` does that, and with a store
/// of what is trusted decides on the signers' certificates. Time-stamps are in timestamp.h.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/der.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/keys.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <iosfwd>
#include <memory>
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

    /// Writes the SignerInfo, of version 1. The attributes are `authAttributes` or, where those are empty, made
    /// from `contentType` and `contentDigest` and kept; a signing time that is not among them is not written, nor
    /// are attributes when there is no content type, no content digest and no signing time.
    void save(DerEncoder& to);

    /// Fills the object in and signs: `content`, of type `contentTypeOid`, by the RSA key of `certificate`. False
    /// when `key` is no RSA key, and nothing is changed then; false as well when it is too short for the
    /// digest, or `hash` is none that a message can name.
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

    /// Writes the fields as text, line by line. Names are written as they are: they may hold any byte.
    void dump(std::ostream& out) const;
};

/// SignedData (RFC 5652, section 5.1).
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

    /// Reads a DER SignedData of version 1 or 3. False when it is malformed, has bytes behind it, a digest algorithm
    /// that is unknown, a certificate, CRL or signer that does not parse, or is nested more than 16 deep in
    /// counter-signatures. "bad version " and the number go to standard error.
    bool parseContentInfo(asn1::blob signedData);

    /// Writes `raw` where there is one. Otherwise a ContentInfo with a SignedData of version 1, without the CRLs.
    void save(DerEncoder& to);

    /// Makes the object anew: `content`, kept as an OCTET STRING, of type `contentTypeOid`, with one signer, as
    /// `PKCS7SignerInfo::sign` makes it, and that signer's certificate. False when `sign` says so; the object is
    /// then of no use.
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, HashID hash);
    bool create(X509Certificate const& certificate, PrivateKey const& key, asn1::blob contentTypeOid,
                asn1::blob content, unsigned hash);

    /// Whether every signer signed the content, and `store` vouches for its certificate at the time `now`. The content
    /// is the message's own, without its identifier and length octets, or `detachedContent` where the message has
    /// none; with both, they must be equal. A signer's certificate is the first one of the message that has
    /// its issuer and serial number, or a self-signed one of the store. Its chain goes up through the
    /// message's certificates and the store, at most 16 certificates, and is decided on by `x509ValidatePath`
    /// without a name to match and without CRLs. A message without signers is false.
    ///
    /// On failure `*reason`, unless null, says which signer failed and why. It may repeat bytes of names as they are.
    ///
    /// Not looked at: what the certificates may be used for, the CRLs of the message, counter-signatures, and the
    /// signing time, which the signer chose.
    bool verify(CertificateStore const& store, asn1::blob detachedContent, TimePoint now,
                std::string* reason) const;

    /// Writes digest algorithms, content type, certificates and signers as text, line by line. Names are written
    /// as they are: they may hold any byte.
    void dump(std::ostream& out) const;
};

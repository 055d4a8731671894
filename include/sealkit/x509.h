/// X.509 v3 certificates (RFC 5280), and the signed envelope that they share with CRLs and requests.
///
/// | member            | what it is                                                       | RFC 5280   |
/// | ----------------- | ---------------------------------------------------------------- | ---------- |
/// | `X509Base`        | signed bytes, algorithm and signature of any signed X.509 object | 4.1.1      |
/// | `X509Certificate` | a certificate: its fields, its extensions, its text form         | 4.1.2, 4.2 |
/// | `calcKeyId`       | the usual subject key identifier                                 | 4.2.1.2    |
/// | `X509Extension`   | one extension of an object, as views                             | 4.1        |
/// | `KeyUsage`        | the bits of `X509Certificate::keyUsage`                          | 4.2.1.3    |
/// | `ExtKeyUsage`     | the bits of `X509Certificate::extKeyUsage`                       | 4.2.1.12   |
///
/// CRLs are in crl.h, requests in req.h.
///
/// To make one, fill in the members, then call `sign` and `serialize`. An object that was parsed or made can
/// be signed again.
///
/// Parsing checks form, not trust: signatures, dates and usages are not checked (path.h validates). Unusual
/// but harmless contents are reported in one line on standard output and ignored. Certificates of version 1
/// and 2 are refused, unless they are read for the standard rules (`FormRules`).
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/keys.h"
#include "sealkit/name.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"
#include "sealkit/timepoint.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <vector>

class X509Base;
class X509Certificate;

namespace detail {
class Reading;
bool read(Reading& reading, asn1::blob der, X509Certificate& to);
struct SignedParts;
bool unpack(Reading& reading, asn1::blob object, X509Base& to, SignedParts* parts);
} // namespace detail

/// Bits of a key usage word: bit i is the named bit i of the extension (RFC 5280, section 4.2.1.3).
struct KeyUsage {
    enum : unsigned {
        digitalSignature = 1u << 0,  ///< Signatures other than of certificates and CRLs.
        contentCommitment = 1u << 1, ///< Signatures that bind their signer.
        keyEncipherment = 1u << 2,   ///< Encrypts keys.
        dataEncipherment = 1u << 3,  ///< Encrypts data without a key between.
        keyAgreement = 1u << 4,      ///< Agrees on keys.
        keyCertSign = 1u << 5,       ///< Signs certificates.
        crlSign = 1u << 6,           ///< Signs CRLs.
        encipherOnly = 1u << 7,      ///< With `keyAgreement`: only to encrypt.
        decipherOnly = 1u << 8,      ///< With `keyAgreement`: only to decrypt.
    };
};

/// Bits of an extended key usage word (RFC 5280, section 4.2.1.12).
struct ExtKeyUsage {
    enum : unsigned {
        tlsServer = 1u << 0,       ///< serverAuth.
        tlsClient = 1u << 1,       ///< clientAuth.
        codeSigning = 1u << 2,     ///< codeSigning.
        emailProtection = 1u << 3, ///< emailProtection.
        timeStamping = 1u << 4,    ///< timeStamping.
        ocspSigning = 1u << 5,     ///< OCSPSigning.
        dvcs = 1u << 6,            ///< dvcs (RFC 3029).
    };
};

/// One extension. The views point into the signed bytes.
struct X509Extension {
    asn1::blob oid;        ///< Content octets of extnID.
    bool critical = false; ///< Whether a reader that does not know it must refuse the object.
    asn1::blob value;      ///< Content octets of extnValue: the DER of the extension's own type.
};

/// SIGNED{ToBeSigned}: the signed bytes, the algorithm and the signature (RFC 5280, section 4.1.1).
class SEALKIT_API X509Base {
public:
    std::vector<unsigned char> tbs;         ///< The whole element that is signed.
    AlgorithmIdentifier signatureAlgorithm; ///< As it stands outside the signed part.
    std::vector<unsigned char> signature;   ///< The bits of the BIT STRING, without the count of unused ones.

    /// The hash that `sign` uses by default: SHA-256, unless a program sets another.
    static HashID digestAlgo;

    virtual ~X509Base() = default;

    /// Rebuilds `tbs` from the members, to be signed by `key` over `hash`. Usually only called by `sign`.
    /// Returns false and leaves `tbs` unchanged if the members are invalid, or if there is no signature
    /// algorithm for `key` with `hash`.
    ///
    /// Names, times, serial numbers, extensions and attributes that were parsed and not changed since keep
    /// their bytes; so do unknown extensions and attributes.
    virtual bool updateTbs(PrivateKey const& key, HashID hash) = 0;
    bool updateTbs(PrivateKey const& key, unsigned hash) { return updateTbs(key, static_cast<HashID>(hash)); }

    /// Rebuilds `tbs` and signs it. RSA keys sign by PKCS#1 v1.5 and EC keys by ECDSA over `hash`, or over
    /// `digestAlgo` if that is `HashID::none`; Ed25519 keys have their own hash and ignore `hash`. Returns
    /// false and leaves `tbs`, algorithm and signature unchanged if `updateTbs` fails, or if `key` cannot
    /// sign (X25519, an RSA key too short for the digest).
    bool sign(PrivateKey const& key, HashID hash);
    bool sign(PrivateKey const& key, unsigned hash);
    bool sign(PrivateKey const& key);

    /// Splits an encoded object into `tbs`, `signatureAlgorithm` and `signature`. Returns false and leaves
    /// the object unchanged if `object` is not one SEQUENCE of a SEQUENCE, an AlgorithmIdentifier and a BIT
    /// STRING, or has trailing bytes.
    bool unpackObj(asn1::blob object);
    /// The same, with a reason (refusal.h).
    bool unpackObj(asn1::blob object, Refusal* refusal);

    /// Whether `signature` is that of `tbs` under `key`. Also returns false if the algorithm is unknown or
    /// not one of the key's kind.
    bool verify(PublicKey const& key) const;

    /// The DER of the whole object. What was unpacked and not changed since is reproduced byte for byte; an
    /// element whose member was changed is re-encoded with the shortest lengths.
    std::vector<unsigned char> serialize() const;

protected:
    X509Base() = default;
    X509Base(X509Base const&) = default;
    X509Base(X509Base&&) noexcept = default;
    X509Base& operator=(X509Base const&) = default;
    X509Base& operator=(X509Base&&) noexcept = default;

    /// The identifier and length octets of the object as it was unpacked, its algorithm, and its signature
    /// where DER would encode that differently, one after the other. `serialize` uses them as long as they
    /// match the members.
    std::vector<unsigned char> unpackedFrame;

private:
    friend bool detail::unpack(detail::Reading& reading, asn1::blob object, X509Base& to,
                               detail::SignedParts* parts);
};

/// A certificate. The members have the values of the last `parse`; those with a stated value for absence are
/// optional.
class SEALKIT_API X509Certificate : public X509Base {
public:
    std::vector<unsigned char> serialNumber; ///< Content octets of the INTEGER.
    DistinguishedName issuer;                ///< The CA that signed it.
    DistinguishedName subject;               ///< Whose key it certifies.
    TimePoint notBefore;                     ///< The first second of its validity.
    TimePoint notAfter;                      ///< The last second of its validity.
    /// Issuer and subject are the same bytes, and the authority key identifier, if there is one, equals the
    /// subject key identifier. The signature is not verified.
    bool selfSigned = false;
    std::vector<unsigned char> subjectPublicKeyInfo; ///< The whole element.
    unsigned keyUsage = 0;                           ///< Bits of `KeyUsage`; 0 when absent.
    unsigned extKeyUsage = 0;                        ///< Bits of `ExtKeyUsage`; 0 when absent.
    unsigned char basicConstraints = 0;              ///< 0 absent, 1 cA TRUE, anything else cA FALSE.
    std::vector<unsigned char> subjectKeyId;         ///< Empty when absent.
    std::vector<unsigned char> authorityKeyId;       ///< Empty when absent.
    std::vector<GeneralName> subjectAltNames;        ///< In their order; empty when absent.
    std::vector<GeneralName> crlDistributionPoints;  ///< The full names of all points, in one list.
    GeneralName nameConstraintPermitted;             ///< The first permitted subtree; type 255 when none.
    GeneralName nameConstraintExcluded;              ///< The first excluded subtree; type 255 when none.

    X509Certificate() = default;
    X509Certificate(X509Certificate const&) = default;
    X509Certificate(X509Certificate&&) noexcept = default;
    X509Certificate& operator=(X509Certificate const&) = default;
    X509Certificate& operator=(X509Certificate&&) noexcept = default;
    ~X509Certificate() override;

    /// Reads a DER certificate and copies what it keeps. Returns false if `data` is malformed, has trailing
    /// bytes, is not of version 3, has unique identifiers, different outer and inner signature algorithms, a
    /// repeated extension, a malformed extension that is stored in a member, or an unknown critical
    /// extension; the object is then partly filled and must not be used.
    ///
    /// Reported on standard output, one line each: unknown extensions, unknown extended key usages,
    /// distribution points without a full name, and constraints that are not enforced.
    bool parse(unsigned char const* data, unsigned len);
    /// The same, silently and with a reason (refusal.h).
    bool parse(asn1::blob der, Refusal* refusal);
    /// The same. For `FormRules::standard` this also accepts certificates of versions 1 and 2, unique
    /// identifiers, several subtrees and constraints of any kind in critical name constraints, critical
    /// constraints of policies, and unknown critical extensions.
    bool parse(asn1::blob der, Refusal* refusal, FormRules forms);

    /// Why the platform's rules refuse this certificate, which was read for the standard rules; null if they
    /// accept it. Set by the last `parse`; copies share it.
    Refusal const* platformRefusal() const { return unsupported.get(); }

    /// The public key. Null if `subjectPublicKeyInfo` is malformed or its key is unsupported.
    std::unique_ptr<PublicKey> parsePublicKey() const;
    /// The same, silently and with a reason.
    std::unique_ptr<PublicKey> parsePublicKey(Refusal* refusal) const;

    /// Stores the SubjectPublicKeyInfo of `key`. The subject key identifier is unchanged.
    void setPublicKey(PublicKey const& key);

    /// How many CAs may follow below this one (pathLenConstraint, RFC 5280, section 4.2.1.9); nothing if the
    /// certificate does not limit them. A number of more than 32 bits is read as the largest of 32 bits.
    std::optional<unsigned> pathLength() const { return maxPathLength; }
    /// Sets the pathLenConstraint, which is written only if `basicConstraints` is 1.
    void setPathLength(std::optional<unsigned> length) { maxPathLength = length; }

    /// Sets the issuer to `name`, the whole encoding of a Name. These bytes are written unless the member is
    /// changed afterwards. An issuer must equal the subject of the issuing certificate byte for byte
    /// (`subjectBytes`), which `DistinguishedName` does not guarantee. Returns false and changes nothing if
    /// `name` is malformed.
    bool setIssuer(asn1::blob name);
    /// The same of the subject.
    bool setSubject(asn1::blob name);

    /// Sets an extension that `sign` writes, given by the content octets of its identifier and the DER of its
    /// own type. It replaces one that was parsed or set before; an empty `value` removes it. For extended key
    /// usages and name constraints, whose members cannot express everything, the members are read from
    /// `value`; changing them afterwards overrides it. Returns false and changes nothing if `value` is
    /// malformed for one of these two, or if the extension has a member, which must be set instead. extend.h
    /// has functions for the usual extensions.
    bool setExtension(asn1::blob oid, bool critical, asn1::blob value);

    /// The extensions as `sign` writes them: the whole encoding of Extensions (RFC 5280, section 4.1), empty
    /// without extensions. The order is basic constraints, key usage, extended key usage, subject and
    /// authority key identifier, subject alternative name, name constraints, CRL distribution points (one for
    /// each name), and then those that were parsed and have no member. Critical are basic constraints, key
    /// usage and name constraints, and alternative names if the subject is empty; what was parsed and not
    /// changed keeps its bytes.
    std::vector<unsigned char> serializeExtensions() const;

    /// Rebuilds the TBSCertificate, of version 3 and without unique identifiers, and updates `serialNumber`
    /// and `selfSigned` to match it. Apart from an unsuitable key, it fails if the serial number is missing,
    /// if the public key is missing or malformed, if a date is outside the years 1950 to 2049, if a usage bit
    /// has no name, or if a general name is malformed.
    bool updateTbs(PrivateKey const& key, HashID hash) override;
    using X509Base::updateTbs;

    /// Writes all fields as text, line by line, the public key at the end. Names and identifiers are not
    /// escaped and may contain any byte.
    void dump(std::ostream& out) const;

    /// Writes a line with the names of the key usages in `bits` (bits 0 to 15 as in `KeyUsage`) and a line
    /// with those of the extended key usages (from bit 16 up, as `ExtKeyUsage` << 16). An empty line is
    /// omitted.
    static void dumpKeyUsage(unsigned bits, std::ostream& out);

    /// The issuer's whole encoding. A view into `tbs`, valid while that is unchanged; empty unless `tbs` has
    /// the shape of a TBSCertificate.
    asn1::blob issuerBytes() const;
    /// The same for the subject.
    asn1::blob subjectBytes() const;

    /// All extensions in their order, known or not. Views into `tbs`, valid while that is unchanged.
    std::vector<X509Extension> extensions() const;

private:
    /// Empties the object and keeps its storage.
    void clear();

    /// An extension as `setExtension` took it.
    struct OwnExtension {
        std::vector<unsigned char> oid;
        bool critical;
        std::vector<unsigned char> value; ///< Empty for one that is left out.
    };

    /// Those of `tbs`, and those that were set.
    std::vector<X509Extension> keptExtensions() const;

    std::vector<unsigned char> issuerElement;  ///< As `setIssuer` took it.
    std::vector<unsigned char> subjectElement; ///< As `setSubject` took it.
    std::vector<OwnExtension> ownExtensions;
    std::optional<unsigned> maxPathLength;
    std::shared_ptr<Refusal const> unsupported;

    friend bool detail::read(detail::Reading& reading, asn1::blob der, X509Certificate& to);
};

/// The key identifier that most CAs use (RFC 5280, section 4.2.1.2, method 1): the SHA-1 digest of the key's
/// own DER, 20 bytes. Empty if `subjectPublicKeyInfo` is malformed.
SEALKIT_API std::vector<unsigned char> calcKeyId(asn1::blob subjectPublicKeyInfo);

/// The content octets of the object identifier of the key's algorithm, a view; empty if
/// `subjectPublicKeyInfo` is malformed. For keys that `parsePublicKey` does not know.
SEALKIT_API asn1::blob getKeyAlgorithm(asn1::blob subjectPublicKeyInfo);

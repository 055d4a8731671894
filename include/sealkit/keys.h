/// Keys: RSA, EC over the named NIST curves, Ed25519 and X25519.
///
/// | algorithm | public           | private           | does                           | standard          |
/// | --------- | ---------------- | ----------------- | ------------------------------ | ----------------- |
/// | RSA       | RsaPublicKey     | RsaPrivateKey     | PKCS#1 v1.5 signatures         | RFC 8017          |
/// | EC        | EcPublicKey      | EcPrivateKey      | ECDSA, Diffie-Hellman          | FIPS 186-5, SEC 1 |
/// | Ed25519   | Ed25519PublicKey | Ed25519PrivateKey | signatures over whole messages | RFC 8032          |
/// | X25519    | X25519PublicKey  | X25519PrivateKey  | key agreement                  | RFC 7748          |
///
/// Certificates, files and messages hold keys through the abstract `PublicKey` and `PrivateKey`. A
/// private key is also its own public key: `RsaPrivateKey` derives from `RsaPublicKey`, and so on.
///
/// The members are public and may be filled by hand. The parsers reject numbers that the operations cannot
/// work with. Operations on unsuitable members fail; they do not crash. Objects that hold secrets wipe them
/// when they are destroyed. The time of many operations depends on the secret numbers: `docs/timing.md` tells
/// which operations are safe if an attacker can measure time precisely.
///
/// RSA-PSS and other curves are not supported. Programs cannot add kinds of keys: the library expects every
/// `PublicKey` to be, or to derive from, one of the classes of this header.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/ec.h"
#include "sealkit/hash.h"
#include "sealkit/oid.h"
#include "sealkit/refusal.h"
#include "sealkit/rng.h"

#include <iosfwd>
#include <memory>
#include <vector>

/// The public half of any key.
class SEALKIT_API PublicKey {
public:
    virtual ~PublicKey() = default;

    /// Reads the key from its own DER, the content of a SubjectPublicKeyInfo's BIT STRING or of a
    /// OneAsymmetricKey's OCTET STRING, and the whole encoding of the algorithm's parameters (empty if they
    /// are absent). Returns false and leaves the key unchanged if the bytes are malformed, have trailing
    /// bytes, or hold an unusable key.
    virtual bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) = 0;

    /// The key's own DER. Empty if the members form no valid key (an EC point that does not fit its curve's
    /// field, a secret out of range). That of a private key holds the secrets: the caller wipes it.
    virtual std::vector<unsigned char> encodeToDerEncoded() const = 0;

    /// The whole encoding of the parameters that stand beside the algorithm's object identifier:
    /// NULL for RSA, the curve's identifier for EC (empty for an unnamed curve), empty for the
    /// others. A view of static bytes.
    virtual asn1::blob algorithmParams() const = 0;

    /// Whether `other` is of the same type and has the same public members. A private key therefore equals
    /// its public key.
    virtual bool equals(PublicKey const& other) const = 0;

    /// Which of the classes of this header the object is, or derives from.
    virtual KeyType keyType() const = 0;

    /// Writes the members as text, hexadecimal numbers line by line, ended by an end of line. The
    /// dump of a private key shows its secrets.
    virtual void dump(std::ostream& out) const = 0;
};

/// The private half of any key, which is also its public half: parameters and equality are those of the
/// public key, while the DER is that of the private key.
class SEALKIT_API PrivateKey : public virtual PublicKey {
public:
    ~PrivateKey() override = default;

    /// A new key with a copy of only the public members.
    virtual std::unique_ptr<PublicKey> publicKey() const = 0;
};

/// RSA public key (RFC 8017, section 3.1).
class SEALKIT_API RsaPublicKey : public virtual PublicKey {
public:
    BigNum n; ///< Modulus.
    BigNum e; ///< Public exponent.

    RsaPublicKey();
    RsaPublicKey(RsaPublicKey const&);
    RsaPublicKey& operator=(RsaPublicKey const&);
    ~RsaPublicKey() override;

    /// Reads RSAPublicKey ::= SEQUENCE { modulus, publicExponent } (RFC 8017, appendix A.1.1). The parameters
    /// are NULL or absent. The modulus must be odd, greater than 1 and at most 16,384 bits long, the exponent
    /// odd, greater than 1 and at most 64 bits long.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    asn1::blob algorithmParams() const override;
    bool equals(PublicKey const& other) const override;
    KeyType keyType() const override;
    void dump(std::ostream& out) const override;

    /// Whether `sig` is the PKCS#1 v1.5 signature (RFC 8017, section 8.2.2) of `digest`, which was made with
    /// `hashId`. The signature is read as a number, which must be below the modulus: leading zero bytes may
    /// be added or missing. For `HashID::MD5SHA1` the block holds the 36 bytes without a DigestInfo. The
    /// parameters in a signed DigestInfo are ignored, except under an exponent below 65537, where they must
    /// be NULL or absent and the encoding minimal: unchecked bytes would allow forgeries there. An unexpected
    /// DigestInfo is reported on standard output.
    bool verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const;
    bool verifyHashed(unsigned hashId, asn1::blob digest, asn1::blob sig) const {
        return verifyHashed(static_cast<HashID>(hashId), digest, sig);
    }

    /// The digest within `block`, the DigestInfo of a signature: a view into `block`. It must be one SEQUENCE
    /// for hash `expected` with a digest of that hash's size, without trailing bytes; otherwise the result is
    /// empty, and a line on standard output gives the reason. The parameters of the algorithm are ignored.
    static asn1::blob parseHashFromDerEncoded(HashID expected, asn1::blob block);
    static asn1::blob parseHashFromDerEncoded(unsigned expected, asn1::blob block) {
        return parseHashFromDerEncoded(static_cast<HashID>(expected), block);
    }
};

/// RSA private key (RFC 8017, section 3.2), two primes.
class SEALKIT_API RsaPrivateKey : public RsaPublicKey, public PrivateKey {
public:
    BigNum d;     ///< Private exponent.
    BigNum p;     ///< First prime.
    BigNum q;     ///< Second prime.
    BigNum exp1;  ///< d mod (p - 1).
    BigNum exp2;  ///< d mod (q - 1).
    BigNum coeff; ///< q^-1 mod p.

    RsaPrivateKey();
    RsaPrivateKey(RsaPrivateKey const&);
    RsaPrivateKey& operator=(RsaPrivateKey const&);
    ~RsaPrivateKey() override;

    /// Reads RSAPrivateKey ::= SEQUENCE { version, modulus, publicExponent, privateExponent, prime1, prime2,
    /// exponent1, exponent2, coefficient } (RFC 8017, appendix A.1.2) with two primes, version 0. The public
    /// numbers have the bounds of the public key; the others lie from 1 to the modulus less 1, and the primes
    /// are odd. Whether the numbers are consistent is not checked: an inconsistent key makes no signatures.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    void dump(std::ostream& out) const override;
    std::unique_ptr<PublicKey> publicKey() const override;

    /// Makes a new key whose modulus has exactly `bits` bits, under the public exponent `e` (FIPS 186-5,
    /// appendix A.1.3): two random primes of the same size, p the greater. `bits` is even and from 2048 to
    /// 8192, `e` is odd and at least 3. Returns false and leaves the key unchanged if they are out of range,
    /// or if the generator fails or its output is not random. Takes seconds, and minutes for the longest
    /// keys.
    bool generatePrivKey(Rng& rng, unsigned bits, unsigned e = 65537);

    /// The PKCS#1 v1.5 signature (RFC 8017, section 8.2.1) of `digest`, which was made with `hashId`: as many
    /// bytes as the modulus has. Empty if the digest does not fit, if the hash is unknown, or if the members
    /// are inconsistent. A modulus without room for the eight 0xFF bytes of the standard is accepted. p, q,
    /// exp1, exp2 and coeff may be zero, which takes longer.
    std::vector<unsigned char> signHashed(HashID hashId, asn1::blob digest) const;
    std::vector<unsigned char> signHashed(unsigned hashId, asn1::blob digest) const {
        return signHashed(static_cast<HashID>(hashId), digest);
    }
};

/// Public key on a named NIST curve.
class SEALKIT_API EcPublicKey : public virtual PublicKey {
public:
    Curve curve = Curve{}; ///< The named curve.
    ECPoint point;         ///< The public point on it.

    EcPublicKey();
    EcPublicKey(EcPublicKey const&);
    EcPublicKey& operator=(EcPublicKey const&);
    ~EcPublicKey() override;

    /// Reads a point in the octet form of SEC 1, section 2.3.4, uncompressed or compressed. The
    /// parameters must be the object identifier of a named curve (RFC 5480, section 2.1.1); the point
    /// must have the width of the field and lie on the curve.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    asn1::blob algorithmParams() const override;
    bool equals(PublicKey const& other) const override;
    KeyType keyType() const override;
    void dump(std::ostream& out) const override;

    /// Whether `sig`, the DER of SEQUENCE { r INTEGER, s INTEGER } (RFC 5480, appendix A), is the
    /// ECDSA signature of `digest`, which was made with `hashId`.
    bool verifyHashed(HashID hashId, asn1::blob digest, asn1::blob sig) const;
    bool verifyHashed(unsigned hashId, asn1::blob digest, asn1::blob sig) const {
        return verifyHashed(static_cast<HashID>(hashId), digest, sig);
    }
};

/// Private key on a named NIST curve.
class SEALKIT_API EcPrivateKey : public EcPublicKey, public PrivateKey {
public:
    BigNum secret; ///< Scalar, from 1 to the group order less 1.

    EcPrivateKey();
    EcPrivateKey(EcPrivateKey const&);
    EcPrivateKey& operator=(EcPrivateKey const&);
    ~EcPrivateKey() override;

    /// Reads ECPrivateKey ::= SEQUENCE { version 1, privateKey OCTET STRING, parameters [0] OPTIONAL,
    /// publicKey [1] OPTIONAL } (RFC 5915, section 3). The curve is that of `algoParams` or of [0], which
    /// must agree if both are present. The secret is from 1 to the group order less 1; leading zero bytes are
    /// ignored. A public key, uncompressed or compressed, must match it; the point is always computed. All
    /// fields are written, the secret as wide as the group order and the point uncompressed.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    void dump(std::ostream& out) const override;
    std::unique_ptr<PublicKey> publicKey() const override;

    /// Makes a new key on `curve`, which is set first: a uniformly distributed scalar from 1 to the group
    /// order less 1 (FIPS 186-5, appendix A.2.2), and its point. Returns false and leaves the key unchanged
    /// if `curve` is unknown or the generator fails.
    bool generatePrivKey(Rng& rng);

    /// The ECDSA signature of `digest`, which was made with `hashId`: the DER of SEQUENCE { r INTEGER, s
    /// INTEGER }. Its nonce is derived from the key and the digest (RFC 6979), so that the same digest always
    /// gets the same signature. Empty if the hash is unknown, if the digest does not have its size, or if
    /// `secret` is out of range. `point` is ignored, and the signature is not verified: a hardware fault may
    /// reveal the secret.
    std::vector<unsigned char> signHashed(HashID hashId, asn1::blob digest) const;
    std::vector<unsigned char> signHashed(unsigned hashId, asn1::blob digest) const {
        return signHashed(static_cast<HashID>(hashId), digest);
    }

    /// The secret shared with the holder of the point `peerPoint` (SEC 1, section 3.3.1), which is
    /// uncompressed or compressed: the x-coordinate, as wide as the field. Empty if the point does not have
    /// the field's width or is not on the curve, if it is a compressed point of P-224, or if `secret` is out
    /// of range.
    std::vector<unsigned char> exchangeKeys(asn1::blob peerPoint) const;
};

class X25519PublicKey;
class X25519PrivateKey;

/// Ed25519 public key.
class SEALKIT_API Ed25519PublicKey : public virtual PublicKey {
public:
    std::vector<unsigned char> pub; ///< The encoded point, 32 bytes (RFC 8032, section 5.1.5).

    Ed25519PublicKey();
    Ed25519PublicKey(Ed25519PublicKey const&);
    Ed25519PublicKey& operator=(Ed25519PublicKey const&);
    ~Ed25519PublicKey() override;

    /// Reads the 32 bytes as they are; the parameters must be absent (RFC 8410, section 3).
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    asn1::blob algorithmParams() const override;
    bool equals(PublicKey const& other) const override;
    KeyType keyType() const override;
    void dump(std::ostream& out) const override;

    /// Whether `sig` is the signature of `message` (`eddsa::verify`).
    bool verify(asn1::blob message, asn1::blob sig) const;

    /// The same point as a key for key agreement. Its `pub` is empty if this key's bytes do not decode to a
    /// point, or decode to the point of order 2, whose coordinate is 0.
    X25519PublicKey toX25519PublicKey() const;
};

/// Ed25519 private key.
class SEALKIT_API Ed25519PrivateKey : public Ed25519PublicKey, public PrivateKey {
public:
    std::vector<unsigned char> secret; ///< The 32-byte seed (RFC 8032, section 5.1.5).

    Ed25519PrivateKey();
    Ed25519PrivateKey(Ed25519PrivateKey const&);
    Ed25519PrivateKey& operator=(Ed25519PrivateKey const&);
    ~Ed25519PrivateKey() override;

    /// Reads CurvePrivateKey ::= OCTET STRING of 32 bytes (RFC 8410, section 7) and derives the public
    /// value; the parameters must be absent.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    void dump(std::ostream& out) const override;
    std::unique_ptr<PublicKey> publicKey() const override;

    /// Makes a new key from 32 bytes of `rng`. Returns false if the generator fails; the key must then not be
    /// used.
    bool generatePrivKey(Rng& rng);
    /// Sets the secret to `privateBytes` and derives the public value from it. Returns false and leaves the
    /// key unchanged if there are not exactly 32 bytes.
    bool initPrivate(std::vector<unsigned char> privateBytes);
    /// The 64-byte signature of `message` (`eddsa::sign`).
    std::vector<unsigned char> sign(asn1::blob message) const;
    /// The key-agreement key with the same scalar and the same point.
    X25519PrivateKey toX25519PrivateKey() const;
};

/// X25519 public key.
class SEALKIT_API X25519PublicKey : public virtual PublicKey {
public:
    std::vector<unsigned char> pub; ///< The u-coordinate, 32 bytes, little-endian (RFC 7748, section 5).

    X25519PublicKey();
    X25519PublicKey(X25519PublicKey const&);
    X25519PublicKey& operator=(X25519PublicKey const&);
    ~X25519PublicKey() override;

    /// Reads the 32 bytes as they are; the parameters must be absent (RFC 8410, section 3).
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    asn1::blob algorithmParams() const override;
    bool equals(PublicKey const& other) const override;
    KeyType keyType() const override;
    void dump(std::ostream& out) const override;
};

/// X25519 private key.
class SEALKIT_API X25519PrivateKey : public X25519PublicKey, public PrivateKey {
public:
    std::vector<unsigned char> secret; ///< 32 bytes, not clamped (RFC 7748, section 5).

    X25519PrivateKey();
    X25519PrivateKey(X25519PrivateKey const&);
    X25519PrivateKey& operator=(X25519PrivateKey const&);
    ~X25519PrivateKey() override;

    /// Reads CurvePrivateKey ::= OCTET STRING of 32 bytes (RFC 8410, section 7) and derives the public
    /// value; the parameters must be absent.
    bool parseFromDerEncoded(asn1::blob algoParams, asn1::blob keyData) override;
    std::vector<unsigned char> encodeToDerEncoded() const override;
    void dump(std::ostream& out) const override;
    std::unique_ptr<PublicKey> publicKey() const override;

    /// Makes a new key from 32 bytes of `rng`. Returns false if the generator fails; the key must then not be
    /// used.
    bool generatePrivKey(Rng& rng);
    /// Sets the secret to `privateBytes` and derives the public value from it. Returns false and leaves the
    /// key unchanged if there are not exactly 32 bytes.
    bool initPrivate(std::vector<unsigned char> privateBytes);
    /// The 32-byte secret shared with the holder of the public value `peer` (`x25519::kex`). Empty if `peer`
    /// is of small order or on the quadratic twist.
    std::vector<unsigned char> exchangeKeys(asn1::blob peer) const;
};

/// Calls `key.parseFromDerEncoded`, and gives the reason if it fails. Offsets count in `keyData`. Returns
/// false, without a reason, for a class that is not from this header.
SEALKIT_API bool parseFromDerEncoded(PublicKey& key, asn1::blob algoParams, asn1::blob keyData,
                                     Refusal* refusal);

/// The curve that the parameters of an EC key name, as in a block "EC PARAMETERS". Returns a `Curve` of value
/// 0 if they name an unknown curve or describe one explicitly.
SEALKIT_API Curve parseEcParameters(asn1::blob algoParams, Refusal* refusal);

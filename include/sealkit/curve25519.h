/// Curve25519 and its Edwards form: X25519 key agreement (RFC 7748) and Ed25519 signatures (RFC 8032,
/// pure Ed25519 without context).
///
/// | name           | what it is                              | sizes in bytes                   |
/// | -------------- | --------------------------------------- | -------------------------------- |
/// | `x25519::…`    | key agreement                           | private, public, shared 32       |
/// | `eddsa::…`     | signatures                              | private, public 32, signature 64 |
/// | `Curve25519`   | points by their Montgomery u-coordinate | 33: u big-endian, the sign of y  |
/// | `Edwards25519` | points by their Edwards y-coordinate    | 32: RFC 8032, section 5.1.2      |
///
/// Both curves share one implementation: the substitution x = u + A/3 turns v² = u³ + A·u² + u into a short
/// Weierstrass curve, on which `WCurve` does the arithmetic.
///
/// Signing and making a public key are quiet: neither the sequence of operations nor that of addresses
/// depends on the secret. Other operations are not quiet, and there is no Montgomery ladder. A u-coordinate
/// on the quadratic twist or of small order gives no shared secret. Verification does not multiply by the
/// cofactor. Not here: Ed25519ph, Ed25519ctx and batch verification.
#pragma once

#include "sealkit/ec.h"

/// v² = u³ + 486662·u² + u modulo p = 2^255 − 19, as the Weierstrass curve with x = u + A/3 and y = v.
class SEALKIT_API Curve25519 : public WCurve {
public:
    RedNum thirdOfA; ///< A/3 modulo p, which is x − u.

    Curve25519();

    /// The prime p = 2^255 − 19.
    static BigNum const& getMod();
    /// The prime order L = 2^252 + 27742317777372353535851937790883648493 of the base point.
    static BigNum const& getOrder();
    /// The base point: u = 9 with the even y. Its Edwards image is Ed25519's base point.
    Point getG() const;

    /// The point with this u (reduced modulo p) and the y whose low bit is that of `sign`, as (x, y, 1).
    /// Returns the invalid point, three unbound zeros, if u lies on the twist.
    Point fromNum(BigNum const& u, unsigned sign) const;

    /// Sets `y` to the root of x³ + a·x + b with the low bit `sign`. Returns false if it has no root.
    bool getY(RedNum const& x, unsigned sign, BigNum& y) const;

    /// A square root of `c`, if it is a square; any number if not (Atkin, for p ≡ 5 (mod 8)).
    RedNum sqr_root(RedNum const& c) const;

    /// u of an affine or projective point, below p, and the low bit of its y if `sign` is not null. The point
    /// at infinity gives 0.
    BigNum toNum(Point&& P, unsigned* sign) const;

    /// u and, if `v` is not null, v of a point, both below p. The point at infinity gives (0, 0).
    void map_to_25519(Point&& P, BigNum* u, BigNum* v) const;

    /// Reads 32 bytes of u, big-endian, and one whose low bit is the sign. Returns the invalid point for any
    /// other length and if no such point exists.
    Point fromBin(asn1::blob encoded) const;

    /// The 33 bytes that `fromBin` reads.
    std::vector<unsigned char> toBin(Point&& P) const;

    /// Whether `P` is not of small order: neither it nor 8·P is at infinity.
    bool isValid(Point const& P) const;

    /// The first 32 bytes of what `toBin` made, which are u without the sign; all bytes if there are fewer.
    static std::vector<unsigned char> getX(std::vector<unsigned char> const& encoded);
};

/// −x² + y² = 1 + d·x²·y² with d = −121665/121666, by its birational map to `Curve25519` (RFC 7748,
/// section 4.1): u = (1 + y)/(1 − y), v = √−486664·u/x. The sign of the square root is the one
/// that takes `Curve25519::getG` to Ed25519's base point.
class SEALKIT_API Edwards25519 : public Curve25519 {
public:
    /// The point with this y and the x whose low bit is that of `sign`, as (x, y, 1). Returns the invalid
    /// point if y is not below p, if there is no such x (as for x = 0 with sign 1), and for the neutral
    /// element y = 1, which has no image.
    Point fromNum(BigNum const& y, unsigned sign) const;

    /// The y of a point, below p, and the low bit of its x if `sign` is not null. The point at infinity is
    /// the neutral element: y = 1.
    BigNum toNum(Point&& P, unsigned* sign) const;

    /// Sets `x` to the coordinate that `y` has under the low bit `sign` (RFC 8032, section 5.1.3, steps 2 to
    /// 4). Returns false if no point has it.
    bool getX(RedNum const& y, unsigned sign, BigNum& x) const;

    /// Reads RFC 8032's 32 bytes. Returns the invalid point for any other length and if `fromNum` does.
    Point fromBin(asn1::blob encoded) const;

    /// Writes RFC 8032's 32 bytes.
    std::vector<unsigned char> toBin(Point&& P) const;

protected:
    /// The intermediate results of recovering x from y, with U = y² − 1 and V = d·y² + 1.
    struct Recovered {
        RedNum U;    ///< y² − 1
        RedNum V;    ///< d·y² + 1
        RedNum root; ///< 1/√(U·V), which makes x = U·root.
        BigNum x;    ///< The coordinate x.
    };
    /// Sets `r` for the y of a point whose x has the low bit `sign`. Returns false if there is no such point.
    bool recover(RedNum const& y, unsigned sign, Recovered& r) const;
};

namespace x25519 {

/// A u-coordinate: `bytes` little-endian, bit 255 cleared (RFC 7748, section 5). Of any length.
SEALKIT_API BigNum coordToNum(asn1::blob bytes);

/// A scalar: `bytes` little-endian, bits 0, 1, 2 and 255 cleared, bit 254 set (RFC 7748, section 5).
SEALKIT_API BigNum privToNum(asn1::blob bytes);

/// `number` in little-endian, padded with zeros to 32 bytes. Empty for 0; longer for longer numbers.
SEALKIT_API std::vector<unsigned char> numToBlob(BigNum const& number);

/// The shared secret, 32 bytes, of a private key and the peer's public key. Empty if the peer's u is on the
/// twist, for which RFC 7748's ladder gives a value, or of small order.
SEALKIT_API std::vector<unsigned char> kex(asn1::blob priv, asn1::blob peer);

/// The public key, 32 bytes, of a private key.
SEALKIT_API std::vector<unsigned char> get_public_key(asn1::blob priv);

} // namespace x25519

namespace eddsa {

/// The scalar s of a private key. If `prefix` is not null, it receives the 32 bytes that are hashed before
/// the message; they are as secret as the key, and the caller wipes them (RFC 8032, section 5.1.5).
SEALKIT_API BigNum expand_secret(asn1::blob secret, std::vector<unsigned char>* prefix);

/// The public key, 32 bytes, of a scalar.
SEALKIT_API std::vector<unsigned char> secret_to_public(BigNum const& s);

/// The public key, 32 bytes, of a private key.
SEALKIT_API std::vector<unsigned char> get_public_key(asn1::blob secret);

/// The signature, 64 bytes, of a message (RFC 8032, section 5.1.6).
SEALKIT_API std::vector<unsigned char> sign(asn1::blob secret, asn1::blob message);

/// Whether `sig` is a signature of `message` under `pub` (RFC 8032, section 5.1.7, without the cofactor).
/// Returns false unless `pub` has 32 bytes and `sig` 64, for points that do not decode or are the neutral
/// element, and for S not below the group order.
SEALKIT_API bool verify(asn1::blob pub, asn1::blob message, asn1::blob sig);

} // namespace eddsa

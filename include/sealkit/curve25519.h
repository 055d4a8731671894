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
/// Both curves are computed as one: the short Weierstrass curve that x = u + A/3 makes of
/// v² = u³ + A·u² + u, so that `WCurve` does the arithmetic.
///
/// What it does not do: nothing here is constant-time; there is no Montgomery ladder. A u-coordinate
/// that belongs to the quadratic twist, and one of small order, gives no shared secret. Verification
/// does not multiply by the cofactor. There is no Ed25519ph, no Ed25519ctx and no batch verification.
#pragma once

#include "sealkit/ec.h"

/// v² = u³ + 486662·u² + u modulo p = 2^255 − 19, as the Weierstrass curve with x = u + A/3 and y = v.
class SEALKIT_API Curve25519 : public WCurve {
public:
    RedNum thirdOfA; ///< A/3 modulo p: what lies between u and x.

    Curve25519();

    /// The prime p = 2^255 − 19.
    static BigNum const& getMod();
    /// The prime order L = 2^252 + 27742317777372353535851937790883648493 of the base point.
    static BigNum const& getOrder();
    /// The base point: u = 9 with the even y. Its Edwards image is Ed25519's base point.
    Point getG() const;

    /// The point with this u (reduced modulo p) and the y whose low bit is that of `sign`, as
    /// (x, y, 1). The invalid point, three unbound zeros, when there is none: u lies on the twist.
    Point fromNum(BigNum const& u, unsigned sign) const;

    /// Sets `y` to the root of x³ + a·x + b with the low bit `sign`. False when there is none.
    bool getY(RedNum const& x, unsigned sign, BigNum& y) const;

    /// A square root of `c`, if it is a square; any number if not (Atkin, for p ≡ 5 (mod 8)).
    RedNum sqr_root(RedNum const& c) const;

    /// u of an affine or projective point, below p, and the low bit of its y where `sign` is not
    /// null. The point at infinity gives 0.
    BigNum toNum(Point&& P, unsigned* sign) const;

    /// u and, where `v` is not null, v of a point, both below p. The point at infinity gives (0, 0).
    void map_to_25519(Point&& P, BigNum* u, BigNum* v) const;

    /// Reads 32 bytes of u, big-endian, and one whose low bit is the sign. The invalid point for any
    /// other length and when there is no such point.
    Point fromBin(asn1::blob encoded) const;

    /// The 33 bytes that `fromBin` reads.
    std::vector<unsigned char> toBin(Point&& P) const;

    /// Whether `P` is a point that is not of small order: neither it nor 8·P is at infinity.
    bool isValid(Point const& P) const;

    /// The bytes of u in what `toBin` made: all but the sign. Of fewer than 32 bytes, what is there.
    static std::vector<unsigned char> getX(std::vector<unsigned char> const& encoded);
};

/// −x² + y² = 1 + d·x²·y² with d = −121665/121666, by its birational map to `Curve25519` (RFC 7748,
/// section 4.1): u = (1 + y)/(1 − y), v = √−486664·u/x. The sign of the square root is the one
/// that takes `Curve25519::getG` to Ed25519's base point.
class SEALKIT_API Edwards25519 : public Curve25519 {
public:
    /// The point with this y and the x whose low bit is that of `sign`, as (x, y, 1). The invalid
    /// point when y is not below p, when there is no such x (x = 0 with sign 1 among them), and for
    /// the neutral element y = 1, which has no image.
    Point fromNum(BigNum const& y, unsigned sign) const;

    /// The y of a point, below p, and the low bit of its x where `sign` is not null. The point at
    /// infinity is the neutral element: y = 1.
    BigNum toNum(Point&& P, unsigned* sign) const;

    /// Sets `x` to the coordinate that belongs to `y` and has the low bit `sign` (RFC 8032,
    /// section 5.1.3, steps 2 to 4). False when there is none.
    bool getX(RedNum const& y, unsigned sign, BigNum& x) const;

    /// Reads RFC 8032's 32 bytes. The invalid point for any other length and where `fromNum` gives it.
    Point fromBin(asn1::blob encoded) const;

    /// Writes RFC 8032's 32 bytes.
    std::vector<unsigned char> toBin(Point&& P) const;

protected:
    /// What finding x for a y brings to light, with U = y² − 1 and V = d·y² + 1.
    struct Recovered {
        RedNum U, V;
        RedNum root; ///< 1/√(U·V), which makes x = U·root.
        BigNum x;
    };
    bool recover(RedNum const& y, unsigned sign, Recovered& r) const;
};

namespace x25519 {

/// A u-coordinate: `bytes` little-endian, bit 255 cleared (RFC 7748, section 5). Of any length.
SEALKIT_API BigNum coordToNum(asn1::blob bytes);

/// A scalar: `bytes` little-endian, bits 0, 1, 2 and 255 cleared, bit 254 set (RFC 7748, section 5).
SEALKIT_API BigNum privToNum(asn1::blob bytes);

/// `number` little-endian, zeros up to 32 bytes behind it. Empty for 0; longer for longer numbers.
SEALKIT_API std::vector<unsigned char> numToBlob(BigNum const& number);

/// The shared secret, 32 bytes, of a private key and the peer's public key. Empty when the peer's
/// u is on the twist or of small order. Unlike RFC 7748's ladder, which gives a value for the former.
SEALKIT_API std::vector<unsigned char> kex(asn1::blob priv, asn1::blob peer);

/// The public key, 32 bytes, of a private key.
SEALKIT_API std::vector<unsigned char> get_public_key(asn1::blob priv);

} // namespace x25519

namespace eddsa {

/// The scalar s of a private key. Where `prefix` is not null it receives the 32 bytes that go in
/// front of the message; they are as secret as the key, and wiping them is the caller's duty (RFC 8032,
/// section 5.1.5).
SEALKIT_API BigNum expand_secret(asn1::blob secret, std::vector<unsigned char>* prefix);

/// The public key, 32 bytes, of a scalar.
SEALKIT_API std::vector<unsigned char> secret_to_public(BigNum const& s);

/// The public key, 32 bytes, of a private key.
SEALKIT_API std::vector<unsigned char> get_public_key(asn1::blob secret);

/// The signature, 64 bytes, of a message (RFC 8032, section 5.1.6).
SEALKIT_API std::vector<unsigned char> sign(asn1::blob secret, asn1::blob message);

/// Whether `sig` is a signature of `message` under `pub` (RFC 8032, section 5.1.7, without the
/// cofactor). False for any length but 32 and 64 bytes, for points that do not decode or are the neutral
/// element, and for S not below the group order.
SEALKIT_API bool verify(asn1::blob pub, asn1::blob message, asn1::blob sig);

} // namespace eddsa

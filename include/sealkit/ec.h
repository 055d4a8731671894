/// Elliptic curves in short Weierstrass form, y² = x³ + a·x + b over a prime field, and the five
/// prime curves that NIST names.
///
/// | name            | what it is                                                                 |
/// | --------------- | -------------------------------------------------------------------------- |
/// | `Curve`         | the named curves, below                                                    |
/// | `getECParams` … | their domain parameters p, a, b, n and G as plain integers                 |
/// | `ECPoint`       | an affine point and its octet strings (SEC 1, sections 2.3.3 and 2.3.4)    |
/// | `WCurve`        | the group law on Jacobian coordinates, scalar multiplication, square roots |
///
/// | `Curve` | value | text name | field, bytes | also called (SEC 2, X9.62) |
/// | ------- | ----- | --------- | ------------ | -------------------------- |
/// | `p192`  | 1     | "p192"    | 24           | secp192r1, prime192v1      |
/// | `p224`  | 2     | "p224"    | 28           | secp224r1                  |
/// | `p256`  | 3     | "p256"    | 32           | secp256r1, prime256v1      |
/// | `p384`  | 4     | "p384"    | 48           | secp384r1                  |
/// | `p521`  | 5     | "p521"    | 66           | secp521r1                  |
///
/// No operation of this header takes constant time: instructions and memory accesses depend on the values.
/// Decoding a point does not check that it lies on a curve: `WCurve::isOnCurve` does. Compressed points of
/// P-224 cannot be decoded. Errors are reported only by the stated values.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

#include <string>
#include <vector>

/// The named curves. Any other value is an unknown curve.
enum class Curve : unsigned {
    p192 = 1, ///< P-192, secp192r1.
    p224 = 2, ///< P-224, secp224r1.
    p256 = 3, ///< P-256, secp256r1.
    p384 = 4, ///< P-384, secp384r1.
    p521 = 5, ///< P-521, secp521r1.
};

/// An affine point. The point (0, 0) stands for the point at infinity and for one that could not be decoded.
/// It lies on none of the named curves.
struct SEALKIT_API ECPoint {
    BigNum x; ///< The first coordinate, below the modulus of the curve.
    BigNum y; ///< The second one, likewise.

    /// Whether this is (0, 0).
    bool empty() const;

    /// Reads the uncompressed form: 0x04, then x and y, big-endian and equally long. With an odd number of
    /// bytes y is one byte longer. Returns (0, 0) if `octets` is empty or begins with another byte. Neither
    /// the length nor the curve equation is checked.
    static ECPoint fromOctetString(asn1::blob octets);

    /// Reads the compressed form: 0x02 for an even y or 0x03 for an odd one, then x, big-endian, and finds y
    /// on the curve of `p`, `a` and `b`. Returns (0, 0) if `octets` is empty or begins with another byte, if
    /// no point has this x (or one with y = 0), if `p` is even, and if `WCurve::getY` does not support `p`,
    /// as with P-224. The length of x is not checked.
    static ECPoint fromOctetStringCompressed(asn1::blob octets, BigNum const& p, BigNum const& a,
                                             BigNum const& b);

    /// Writes the compressed form (1 + `len` bytes) or the uncompressed one (1 + 2·`len` bytes). `len` is the
    /// curve's `getModLen`; aborts if a coordinate needs more than `len` bytes.
    std::vector<unsigned char> toBin(unsigned len, bool compressed) const;

    /// Whether both coordinates are equal.
    friend bool operator==(ECPoint const& left, ECPoint const& right) {
        return left.x == right.x && left.y == right.y;
    }
};

/// The curve's text name: "p192" to "p521". Another value gives its number in hexadecimal.
SEALKIT_API std::string getCurveName(Curve curve);
SEALKIT_API std::string getCurveName(unsigned curve);

/// The length in bytes of a field element, 24 to 66. Another value gives 0.
SEALKIT_API unsigned getModLen(Curve curve);
SEALKIT_API unsigned getModLen(unsigned curve);

/// The prime p of the field. Another value gives 0.
SEALKIT_API BigNum getModForECCurve(Curve curve);
SEALKIT_API BigNum getModForECCurve(unsigned curve);

/// The prime order n of the base point. Another value gives 0.
SEALKIT_API BigNum getOrderForECCurve(Curve curve);
SEALKIT_API BigNum getOrderForECCurve(unsigned curve);

/// The coefficient a = p − 3. Another value gives 0.
SEALKIT_API BigNum getAForECCurve(Curve curve);
SEALKIT_API BigNum getAForECCurve(unsigned curve);

/// The coefficient b. Another value gives 0.
SEALKIT_API BigNum getBForECCurve(Curve curve);
SEALKIT_API BigNum getBForECCurve(unsigned curve);

/// Sets the prime p, the order n and the base point G. Another value sets them all to 0.
SEALKIT_API void getECParams(Curve curve, BigNum& p, BigNum& n, ECPoint& G);
SEALKIT_API void getECParams(unsigned curve, BigNum& p, BigNum& n, ECPoint& G);

/// `getECParams` of P-192.
SEALKIT_API void getECParamsForP192(BigNum& p, BigNum& n, ECPoint& G);
/// `getECParams` of P-224.
SEALKIT_API void getECParamsForP224(BigNum& p, BigNum& n, ECPoint& G);
/// `getECParams` of P-256.
SEALKIT_API void getECParamsForP256(BigNum& p, BigNum& n, ECPoint& G);
/// `getECParams` of P-384.
SEALKIT_API void getECParamsForP384(BigNum& p, BigNum& n, ECPoint& G);
/// `getECParams` of P-521.
SEALKIT_API void getECParamsForP521(BigNum& p, BigNum& n, ECPoint& G);

/// A curve y² = x³ + a·x + b over the integers modulo an odd prime p. Addition does not use b, so only the
/// functions that need the equation take it.
///
/// Between `fromEC` and `toEC`, coordinates are in the representation of the curve's reducer; points are
/// valid only as long as their curve exists. A curve is immutable: any number of threads may use it at once.
class SEALKIT_API WCurve {
public:
    /// A point in Jacobian coordinates: (X/Z², Y/Z³). Z = 0 is the point at infinity, as is a default point.
    struct Point {
        RedNum X; ///< In the representation of the curve's reducer.
        RedNum Y; ///< Likewise.
        RedNum Z; ///< Likewise; 0 for the point at infinity.
    };

    static constexpr unsigned dblScratch = 5; ///< How many temporaries `dbl` uses.
    static constexpr unsigned addScratch = 6; ///< How many temporaries `add` uses.

    BigNum p;         ///< The modulus, a copy.
    Reducer* reducer; ///< Does all field arithmetic. Owned.
    RedNum minusA;    ///< −a; the unbound zero when a = 0.

    /// Takes ownership of `red`, a reducer made for the value `p`, and points it at the curve's own
    /// copy: neither `p` nor the number that `red` was made for needs to outlive this call.
    WCurve(BigNum const& p, BigNum const& a, Reducer* red);
    ~WCurve();
    WCurve(WCurve const&) = delete;
    WCurve& operator=(WCurve const&) = delete;

    /// P = 2·P. `scratch` has `dblScratch` elements of any value, which belong to the caller. On a curve with
    /// a = 0 this computes the doubling of a = −3.
    void dbl(Point& P, RedNum* scratch) const;

    /// P = P + Q, for any two points. `scratch` has `addScratch` elements of any value, which belong to the
    /// caller.
    void add(Point& P, Point const& Q, RedNum* scratch) const;

    /// k·P. The time depends on `k`, linearly in its length.
    Point mul(BigNum const& k, Point const& P) const;

    /// k·P + l·Q in less time than two multiplications. The time depends on `k` and `l`.
    Point mul2add(BigNum const& k, Point const& P, BigNum const& l, Point const& Q) const;

    /// Sets `y` to one of the square roots of x³ + a·x + b and returns true. Returns false and leaves `y`
    /// unchanged if no root exists, if x³ + a·x + b is 0, and if byte ⌊n/4⌋ of the modulus (of n digits,
    /// little-endian) does not end in two 1 bits. On the named curves that is P-224; for other moduli it does
    /// not say whether p ≡ 3 (mod 4), which the root needs.
    bool getY(BigNum const& a, BigNum const& b, BigNum const& x, BigNum& y) const;

    /// Whether Y² = X³ + a·X + b. Z is taken to be 1, as `fromEC` makes it.
    bool isOnCurve(BigNum const& a, BigNum const& b, Point&& P) const;

    /// Whether P is the point at infinity: whether Z is 0 modulo p.
    bool isInfinity(Point const& P) const;

    /// The point (x, y, 1), with its coordinates reduced modulo p. (0, 0) gets no special treatment.
    Point fromEC(ECPoint const& affine) const;

    /// The affine point, its coordinates below p. The point at infinity gives (0, 0).
    ECPoint toEC(Point&& P) const;

protected:
    /// The residue of a plain integer of any length.
    RedNum toField(BigNum const& x) const;
    /// The plain integer below p.
    BigNum fromField(RedNum&& x) const;
    /// Whether x is 0 modulo p: the reducers leave p itself as it is.
    bool isZero(RedNum const& x) const;
    /// a −= b, for values that the reducer may have left at p or above. Leaves b below p.
    void subtract(RedNum& a, RedNum& b) const;
};

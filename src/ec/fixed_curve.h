/// The arithmetic of a named curve on numbers of fixed width, on the stack.
#pragma once

#include "sealkit/ec.h"

#include "ec/secret_number.h"

class Rng;

namespace detail {

/// Made once for each named curve. What says that it is quiet takes no branch and no address from what it is
/// given; the others are for public numbers.
class FixedCurve {
public:
    /// Null for a value that is no curve.
    static FixedCurve const* find(Curve curve);
    /// The named curve that `curve` is, if its reducer is this library's own; null for another.
    static FixedCurve const* of(WCurve const& curve);

    unsigned const orderBits; ///< Of the order n.

    unsigned orderWidth() const { return (orderBits + 7) / 8; }

    /// `WCurve::mul` and `WCurve::mul2add`, for points of `curve`. Returns false, without a result, for
    /// points that are not in its reducer's form or at infinity.
    virtual bool mul(WCurve const& curve, BigNum const& k, WCurve::Point const& P,
                     WCurve::Point* result) const = 0;
    virtual bool mul2add(WCurve const& curve, BigNum const& k, WCurve::Point const& P, BigNum const& l,
                         WCurve::Point const& Q, WCurve::Point* result) const = 0;

    /// Whether the coordinates are below p and fulfil the curve's equation.
    virtual bool contains(ECPoint const& point) const = 0;

    /// Whether a number is from 1 to n - 1. Quiet.
    virtual bool isScalar(SecretNumber const& number) const = 0;
    /// The public point of a scalar. Quiet.
    virtual ECPoint publicPoint(SecretNumber const& scalar) const = 0;
    /// number = number mod n, for a number of at most `orderBits` bits. Quiet.
    virtual void reduce(SecretNumber& number) const = 0;
    /// The x-coordinate of secret * point, for a scalar and a point on the curve. The windows are those of
    /// `WCurve::mul`; the coordinates are multiplied by a random number first. Returns false if `rng` fails
    /// or gives only zeros.
    virtual bool agree(SecretNumber& x, BigNum const& secret, ECPoint const& point, Rng const& rng) const = 0;

    /// The ECDSA signature (SEC 1, section 4.1.3) of the number e, below n, under the scalars `secret` and
    /// `nonce`. Quiet. Returns false if r or s is 0.
    virtual bool sign(SecretNumber const& secret, SecretNumber const& nonce, SecretNumber const& e, BigNum* r,
                      BigNum* s) const = 0;
    /// Whether (r, s), scalars, is the signature of e under a point on the curve (SEC 1, section 4.1.4).
    virtual bool verify(ECPoint const& point, SecretNumber const& e, BigNum const& r,
                        BigNum const& s) const = 0;

protected:
    constexpr explicit FixedCurve(unsigned bits) : orderBits(bits) {}
    ~FixedCurve() = default;

private:
    virtual bool isCurve(WCurve const& curve) const = 0;
};

} // namespace detail

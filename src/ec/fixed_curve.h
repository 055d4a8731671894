/// The arithmetic of a named curve with numbers of fixed width, on the stack.
#pragma once

#include "sealkit/ec.h"

#include "ec/secret_number.h"

class Rng;

namespace detail {

/// One object for each named curve. In functions documented as quiet, neither branches nor addresses depend
/// on the arguments. The others are for public numbers.
class FixedCurve {
public:
    /// Null for an unknown curve.
    static FixedCurve const* find(Curve curve);
    /// The named curve equal to `curve`, if its reducer is the library's own; otherwise null.
    static FixedCurve const* of(WCurve const& curve);

    unsigned const orderBits; ///< Of the order n.

    unsigned orderWidth() const { return (orderBits + 7) / 8; }

    /// `WCurve::mul` and `WCurve::mul2add` for points of `curve`. Returns false without a result for points
    /// at infinity, or in another form than that of the curve's reducer.
    virtual bool mul(WCurve const& curve, BigNum const& k, WCurve::Point const& P,
                     WCurve::Point* result) const = 0;
    virtual bool mul2add(WCurve const& curve, BigNum const& k, WCurve::Point const& P, BigNum const& l,
                         WCurve::Point const& Q, WCurve::Point* result) const = 0;

    /// Whether the coordinates are below p and satisfy the curve's equation.
    virtual bool contains(ECPoint const& point) const = 0;

    /// Whether a number is from 1 to n - 1. Quiet.
    virtual bool isScalar(SecretNumber const& number) const = 0;
    /// The public point of a scalar. Quiet.
    virtual ECPoint publicPoint(SecretNumber const& scalar) const = 0;
    /// number = number mod n, for at most `orderBits` bits. Quiet.
    virtual void reduce(SecretNumber& number) const = 0;
    /// The x-coordinate of secret * point, for a scalar and a point on the curve. Uses the windows of
    /// `WCurve::mul` on randomised coordinates. Returns false if `rng` fails or only yields zeros.
    virtual bool agree(SecretNumber& x, BigNum const& secret, ECPoint const& point, Rng const& rng) const = 0;

    /// The ECDSA signature (SEC 1, section 4.1.3) of the number e < n under the scalars `secret` and `nonce`.
    /// Quiet. Returns false if r or s is 0.
    virtual bool sign(SecretNumber const& secret, SecretNumber const& nonce, SecretNumber const& e, BigNum* r,
                      BigNum* s) const = 0;
    /// Whether the scalars (r, s) are a signature of e under a point on the curve (SEC 1, section 4.1.4).
    virtual bool verify(ECPoint const& point, SecretNumber const& e, BigNum const& r,
                        BigNum const& s) const = 0;

protected:
    constexpr explicit FixedCurve(unsigned bits) : orderBits(bits) {}
    ~FixedCurve() = default;

private:
    virtual bool isCurve(WCurve const& curve) const = 0;
};

} // namespace detail

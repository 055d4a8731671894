// Multiples of points of Curve25519 with limbs.
#pragma once

#include "sealkit/ec.h"

#include <vector>

namespace detail {

/// Sets `result` to `curve.mul(k, P)`, with the same digits. Returns false and leaves `result` unchanged in
/// cases for the general arithmetic: the field or the reducer is another one, a coordinate of P is not below
/// p, P is at infinity, or a coordinate of the result has more than one representation.
bool multiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P);

/// The same for `curve.mul2add(k, P, l, Q)`.
bool jointMultiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P,
                        BigNum const& l, WCurve::Point const& Q);

/// The encoding of `k` times the base point: 33 bytes as in `Curve25519::toBin`, or empty at infinity. Quiet,
/// except for the number of digits of `k`.
std::vector<unsigned char> encodedMultipleOfBase(BigNum const& k);

} // namespace detail

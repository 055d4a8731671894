// Multiples of points of Curve25519 with their coordinates in limbs.
#pragma once

#include "sealkit/ec.h"

#include <vector>

namespace detail {

/// Sets `result` to `curve.mul(k, P)`, with the same digits. Returns false, with `result` unchanged, where
/// that is left to the general arithmetic: if the curve's field or reducer is another one, if a coordinate of
/// P is not below p or P is at infinity, and if a coordinate of the result has more than one representation.
bool multiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P);

/// The same of `curve.mul2add(k, P, l, Q)`.
bool jointMultiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P,
                        BigNum const& l, WCurve::Point const& Q);

/// The encoding of `k` times the base point, 33 bytes as `Curve25519::toBin` writes them; empty at infinity.
/// Quiet, but for the number of digits of `k`.
std::vector<unsigned char> encodedMultipleOfBase(BigNum const& k);

} // namespace detail

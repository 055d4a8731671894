/// A named curve with everything that keys on it need.
#pragma once

#include "sealkit/ec.h"

namespace detail {

/// A named curve, ready for arithmetic. Made for one of the curves, not for any other value.
class NamedCurve {
    struct Parameters {
        BigNum p, order;
        ECPoint base;

        explicit Parameters(Curve curve) { getECParams(curve, p, order, base); }
    };

public:
    unsigned const width; ///< Of a field element, in bytes.
    BigNum const a;
    BigNum const b;
    BigNum const order; ///< Of the base point, a prime.
    ECPoint const base;
    WCurve const group;

    explicit NamedCurve(Curve curve) : NamedCurve(curve, Parameters(curve)) {}

    /// Coordinates below the modulus that fulfil the equation. (0, 0), which stands for no point, does
    /// not: b is not zero.
    bool contains(ECPoint const& point) const {
        return point.x < group.p && point.y < group.p && group.isOnCurve(a, b, group.fromEC(point));
    }

    /// From 1 to the order less 1, as every private key is.
    bool isScalar(BigNum const& x) const { return x.bits() != 0 && x < order; }

    /// In bytes, as wide as scalars are written.
    unsigned orderWidth() const { return (order.bits() + 7) / 8; }

    /// (0, 0) unless `octets` has the width of the field.
    ECPoint decode(asn1::blob octets) const {
        if (octets.size() == 1 + 2 * width)
            return ECPoint::fromOctetString(octets);
        if (octets.size() == 1 + width)
            return ECPoint::fromOctetStringCompressed(octets, group.p, a, b);
        return {};
    }

    /// The public point of a private scalar.
    ECPoint publicPoint(BigNum const& scalar) const {
        return group.toEC(group.mul(scalar, group.fromEC(base)));
    }

private:
    NamedCurve(Curve curve, Parameters const& parameters)
        : width(getModLen(curve)),
          a(getAForECCurve(curve)),
          b(getBForECCurve(curve)),
          order(parameters.order),
          base(parameters.base),
          group(parameters.p, a, new MontgomeryReducer(parameters.p)) {}
};

} // namespace detail

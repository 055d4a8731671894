/// A named curve with what keys on it need.
#pragma once

#include "sealkit/ec.h"

#include "ec/fixed_curve.h"

namespace detail {

/// Made for one of the curves, not for any other value.
class NamedCurve {
public:
    FixedCurve const& arithmetic;
    unsigned const width; ///< Of a field element, in bytes.

    explicit NamedCurve(Curve curve)
        : arithmetic(*FixedCurve::find(curve)), width(getModLen(curve)), id(curve) {}

    /// In bytes, as wide as scalars are written.
    unsigned orderWidth() const { return arithmetic.orderWidth(); }

    /// Takes the secret of a key. Returns false unless it is from 1 to the order less 1.
    bool takeScalar(BigNum const& secret, SecretNumber* scalar) const {
        return scalar->assign(secret) && declassified(Told::keyInRange, arithmetic.isScalar(*scalar));
    }

    /// (0, 0) unless `octets` has the width of the field.
    ECPoint decode(asn1::blob octets) const {
        if (octets.size() == 1 + 2 * width)
            return ECPoint::fromOctetString(octets);
        if (octets.size() == 1 + width)
            return ECPoint::fromOctetStringCompressed(octets, getModForECCurve(id), getAForECCurve(id),
                                                      getBForECCurve(id));
        return {};
    }

private:
    Curve const id;
};

} // namespace detail

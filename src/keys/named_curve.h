/// A named curve, as keys use it.
#pragma once

#include "sealkit/ec.h"

#include "ec/fixed_curve.h"

namespace detail {

/// The constructor takes only named curves.
class NamedCurve {
public:
    FixedCurve const& arithmetic;
    unsigned const width; ///< The size of a field element, in bytes.

    explicit NamedCurve(Curve curve)
        : arithmetic(*FixedCurve::find(curve)), width(getModLen(curve)), id(curve) {}

    /// The size of an encoded scalar, in bytes.
    unsigned orderWidth() const { return arithmetic.orderWidth(); }

    /// Converts a key's secret. Returns false unless it is from 1 to the order less 1.
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

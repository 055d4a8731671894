/// A named curve with everything that tests of its arithmetic need.
#pragma once

#include "sealkit/ec.h"
#include "support/vectors.h"

#include <stdexcept>
#include <string_view>

struct NamedCurve {
    BigNum p;
    BigNum a;
    BigNum b;
    BigNum n;
    ECPoint G;
    unsigned len;
    WCurve curve;

    explicit NamedCurve(Curve id)
        : p(getModForECCurve(id)),
          a(getAForECCurve(id)),
          b(getBForECCurve(id)),
          len(getModLen(id)),
          curve(p, a, new MontgomeryReducer(p)) {
        BigNum modulus;
        getECParams(id, modulus, n, G);
    }

    ECPoint multipleOfG(BigNum const& k) const { return curve.toEC(curve.mul(k, curve.fromEC(G))); }
    bool contains(ECPoint const& point) const { return curve.isOnCurve(a, b, curve.fromEC(point)); }
};

constexpr Curve allCurves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};

inline BigNum number(std::string_view hex) { return BigNum(asn1::blob(test::hex(hex))); }

/// The curve of that name, which stays for the next call.
inline NamedCurve const& namedCurve(std::string_view name) {
    static NamedCurve const curves[] = {NamedCurve(Curve::p192), NamedCurve(Curve::p224),
                                        NamedCurve(Curve::p256), NamedCurve(Curve::p384),
                                        NamedCurve(Curve::p521)};
    for (unsigned i = 0; i < std::size(curves); ++i)
        if (getCurveName(i + 1) == name)
            return curves[i];
    throw std::invalid_argument(std::string(name));
}

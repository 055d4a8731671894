#include "sealkit/ec.h"

#include "ec/domain_parameters.h"

#include <iterator>

namespace {

using detail::Bytes;
using detail::DomainParameters;
using detail::namedCurves;

DomainParameters const* find(Curve curve) {
    auto const index = static_cast<unsigned>(curve) - 1; // 0 wraps around to an invalid index.
    return index < std::size(namedCurves) ? &namedCurves[index] : nullptr;
}

BigNum toBigNum(Bytes const& bytes) { return BigNum(asn1::blob(bytes.data(), bytes.size())); }

/// A parameter of a curve; 0 for an unknown curve.
BigNum parameter(Curve curve, Bytes DomainParameters::*member) {
    DomainParameters const* parameters = find(curve);
    return parameters ? toBigNum(parameters->*member) : BigNum();
}

} // namespace

std::string getCurveName(Curve curve) {
    if (DomainParameters const* parameters = find(curve))
        return std::string(parameters->name);
    return bn64(static_cast<unsigned>(curve)).str();
}

unsigned getModLen(Curve curve) {
    DomainParameters const* parameters = find(curve);
    return parameters ? parameters->modLen : 0;
}

BigNum getModForECCurve(Curve curve) { return parameter(curve, &DomainParameters::p); }

BigNum getOrderForECCurve(Curve curve) { return parameter(curve, &DomainParameters::n); }

BigNum getAForECCurve(Curve curve) { return find(curve) ? getModForECCurve(curve) - bn64(3) : BigNum(); }

BigNum getBForECCurve(Curve curve) { return parameter(curve, &DomainParameters::b); }

void getECParams(Curve curve, BigNum& p, BigNum& n, ECPoint& G) {
    p = getModForECCurve(curve);
    n = getOrderForECCurve(curve);
    G.x = parameter(curve, &DomainParameters::x);
    G.y = parameter(curve, &DomainParameters::y);
}

void getECParamsForP192(BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve::p192, p, n, G); }
void getECParamsForP224(BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve::p224, p, n, G); }
void getECParamsForP256(BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve::p256, p, n, G); }
void getECParamsForP384(BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve::p384, p, n, G); }
void getECParamsForP521(BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve::p521, p, n, G); }

std::string getCurveName(unsigned curve) { return getCurveName(Curve{curve}); }
unsigned getModLen(unsigned curve) { return getModLen(Curve{curve}); }
BigNum getModForECCurve(unsigned curve) { return getModForECCurve(Curve{curve}); }
BigNum getOrderForECCurve(unsigned curve) { return getOrderForECCurve(Curve{curve}); }
BigNum getAForECCurve(unsigned curve) { return getAForECCurve(Curve{curve}); }
BigNum getBForECCurve(unsigned curve) { return getBForECCurve(Curve{curve}); }
void getECParams(unsigned curve, BigNum& p, BigNum& n, ECPoint& G) { getECParams(Curve{curve}, p, n, G); }

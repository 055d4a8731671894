#include "ec/multiple25519.h"

#include "sealkit/curve25519.h"

#include "ec/points25519.h"
#include "ec/scalar25519.h"

#include <typeinfo>

namespace {

using F = detail::Element;
using Jacobian = detail::JacobianPoint<F>;

/// Converts a number below p, which the general arithmetic keeps unchanged.
bool take(F& x, BigNum const& value) {
    if (value >= Curve25519::getMod())
        return false;
    uint32_t digit[F::digits] = {};
    std::copy(value.digits.begin(), value.digits.end(), digit);
    x = F::fromDigits(digit);
    secureMemset(digit, 0, sizeof digit);
    return true;
}

bool take(Jacobian& P, WCurve::Point const& from) {
    return take(P.X, from.X.value) && take(P.Y, from.Y.value) && take(P.Z, from.Z.value) && !isZero(P.Z);
}

/// The general arithmetic may leave a number up to 74 above p, the sum of two partly reduced ones. Only
/// residues above those have a single representation.
constexpr uint32_t leastUnique = 128;

bool give(RedNum& x, F const& from, Reducer const* reducer) {
    uint32_t digit[F::digits];
    toDigits(digit, from);
    size_t count = F::digits;
    while (count > 1 && digit[count - 1] == 0)
        --count;
    x.reducer = reducer;
    x.value.digits.assign(digit, digit + count);
    secureMemset(digit, 0, sizeof digit);
    return count > 1 || x.value.digits[0] >= leastUnique;
}

bool give(WCurve::Point& P, Jacobian const& from, Reducer const* reducer) {
    WCurve::Point stored;
    if (!give(stored.X, from.X, reducer) || !give(stored.Y, from.Y, reducer) ||
        !give(stored.Z, from.Z, reducer))
        return false;
    P = std::move(stored);
    return true;
}

/// Whether the curve is over the field of 2^255 - 19 with the library's own reducer. A derived reducer may
/// compute something else.
bool isNative(WCurve const& curve) {
    Reducer const& reducer = *curve.reducer;
    return typeid(reducer) == typeid(Mod25519Reducer) && curve.p == Curve25519::getMod();
}

using Secret = detail::Wiped<Jacobian>;

} // namespace

namespace detail {

bool multiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P) {
    F coefficient;
    Secret base, product;
    // With a = 0 the general arithmetic uses the doubling for a = -3.
    if (!isNative(curve) || !take(coefficient, curve.minusA.value) || isZero(coefficient) || !take(base, P))
        return false;
    JacobianMultiplication<F>(coefficient).multiple(product, k, base);
    return give(result, product, curve.reducer);
}

bool jointMultiple25519(WCurve::Point& result, WCurve const& curve, BigNum const& k, WCurve::Point const& P,
                        BigNum const& l, WCurve::Point const& Q) {
    F coefficient;
    Secret first, second, sum;
    if (!isNative(curve) || !take(coefficient, curve.minusA.value) || isZero(coefficient) ||
        !take(first, P) || !take(second, Q))
        return false;
    JacobianMultiplication<F>(coefficient).jointMultiple(sum, k, first, l, second);
    return give(result, sum, curve.reducer);
}

std::vector<unsigned char> encodedMultipleOfBase(BigNum const& k) {
    Scalar25519 scalar;
    scalar.setResidue(k);
    Wiped<EdwardsPoint<F>> P;
    BaseMultiplication<F>().multiple(P, scalar.digits);
    if (isZero(P.X)) // No other multiple of the base point has x = 0.
        return {};

    // u = (1 + y)/(1 - y) and v = √-486664·u/x share the inverse of X·(Z - Y).
    struct Work {
        F inverse, difference, u, v;
    };
    Wiped<Work> w;
    sub(w.difference, P.Z, P.Y);
    mul(w.inverse, P.X, w.difference);
    invert(w.inverse, w.inverse);
    add(w.u, P.Z, P.Y);
    mul(w.u, w.u, P.X);
    mul(w.u, w.u, w.inverse);
    mul(w.v, w.u, mapFactor);
    mul(w.v, w.v, P.Z);
    mul(w.v, w.v, w.difference);
    mul(w.v, w.v, w.inverse);
    std::vector<unsigned char> encoded(4 * F::digits + 1);
    encoded.back() = static_cast<unsigned char>(lowBit(w.v));
    writeBytes(encoded.data(), w.u);
    std::reverse(encoded.begin(), encoded.end() - 1);
    return encoded;
}

} // namespace detail

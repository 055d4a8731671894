#include "ec/fixed_curve.h"

#include "sealkit/rng.h"

#include "base/wiped.h"
#include "ec/base_tables.h"
#include "ec/comb.h"
#include "ec/domain_parameters.h"
#include "ec/named_multiple.h"
#include "ec/prime_fields.h"

#include <bit>
#include <span>
#include <typeinfo>

namespace detail {

namespace {

/// Draws of the factor that randomises the coordinates in a key agreement. Only a broken generator yields
/// zero even twice.
constexpr unsigned maxDraws = 128;

template <typename F, size_t index, CombShape shape, Digit const* table>
class FixedCurveOver final : public FixedCurve {
    using Field = F;
    using Scalars = Residues<MontgomeryModulus<Field::limbs, OrderOf<index>>>;
    using Element = typename Field::Element;
    using Number = Fixed<Field::limbs>;
    using Point = NamedPoint<Field>;
    using Sum = NamedSum<Field>;
    using Multiplication = NamedMultiplication<Field>;

    static constexpr DomainParameters const& parameters = namedCurves[index];
    static constexpr Element b = enteredOf<Field>(fixedOf<Field::limbs>(parameters.b));
    static constexpr Element three = enteredOf<Field>(Element{3});
    static constexpr Point base = {enteredOf<Field>(fixedOf<Field::limbs>(parameters.x)),
                                   enteredOf<Field>(fixedOf<Field::limbs>(parameters.y)), Field::one};

public:
    constexpr FixedCurveOver() : FixedCurve(bitsOf(Scalars::modulus)) {}

    bool mul(WCurve const& curve, BigNum const& k, WCurve::Point const& P,
             WCurve::Point* result) const override {
        Wiped<Point> from;
        Wiped<Sum> product;
        if (!take(curve, P, &from))
            return false;
        Multiplication().multiple(product, k, from);
        give(curve, product, result);
        wipeStackBelow();
        return true;
    }

    bool mul2add(WCurve const& curve, BigNum const& k, WCurve::Point const& P, BigNum const& l,
                 WCurve::Point const& Q, WCurve::Point* result) const override {
        Wiped<Point> from, other;
        Wiped<Sum> sum;
        if (!take(curve, P, &from) || !take(curve, Q, &other))
            return false;
        Multiplication().jointMultiple(sum, k, from, l, other);
        give(curve, sum, result);
        wipeStackBelow();
        return true;
    }

    bool contains(ECPoint const& point) const override {
        Point P;
        if (!enter(point, &P))
            return false;
        Element left, right;
        Field::sqr(left, P.Y);
        Field::sqr(right, P.X);
        Field::sub(right, right, three);
        Field::mul(right, right, P.X); // x^3 - 3x
        Field::add(right, right, b);
        Field::sub(left, left, right);
        return isZero(left) != 0;
    }

    bool isScalar(SecretNumber const& number) const override {
        Digit above = 0;
        for (size_t i = Field::digits; i < number.digits.size(); ++i)
            above |= number.digits[i];
        struct Values {
            Number x, less;
        };
        Wiped<Values> at;
        load(at.x, number);
        NativeLimb const isBelow = subtract(at.less, at.x, Scalars::modulus);
        return (isBelow & (isZero(at.x) ^ 1) & isZeroLimb(above)) != 0;
    }

    ECPoint publicPoint(SecretNumber const& scalar) const override {
        struct Values {
            Number k;
        };
        Wiped<Values> at;
        load(at.k, scalar);
        Element x, y;
        multipleOfBase<Field, shape>(at.k, Scalars::modulus, b, table, x, y);
        Field::leave(x, x);
        Field::leave(y, y);
        wipeStackBelow();
        declassify(Told::publicKey, &x, sizeof x);
        declassify(Told::publicKey, &y, sizeof y);
        return {toBigNum(x), toBigNum(y)};
    }

    void reduce(SecretNumber& number) const override {
        struct Values {
            Number x;
        };
        Wiped<Values> at;
        load(at.x, number);
        reduceOnce(at.x, 0, Scalars::modulus);
        write(number, at.x);
    }

    bool agree(SecretNumber& x, BigNum const& secret, ECPoint const& point, Rng const& rng) const override {
        struct Values {
            Point P;
            Sum product;
            Element affine;
        };
        Wiped<Values> at;
        enter(point, &at.P);
        if (!randomise(at.P, rng))
            return false;
        Multiplication().multiple(at.product, secret, at.P);
        Field::invert(at.affine, at.product.point.Z);
        Field::sqr(at.affine, at.affine);
        Field::mul(at.affine, at.affine, at.product.point.X);
        Field::leave(at.affine, at.affine);
        write(x, at.affine);
        wipeStackBelow();
        return true;
    }

    bool sign(SecretNumber const& secret, SecretNumber const& nonce, SecretNumber const& e, BigNum* r,
              BigNum* s) const override {
        struct Values {
            Number k, d, e;
            Element x, y;
        };
        Wiped<Values> at;
        load(at.k, nonce);
        multipleOfBase<Field, shape>(at.k, Scalars::modulus, b, table, at.x, at.y);
        Field::leave(at.x, at.x);
        Number rNumber = at.x;
        reduceOnce(rNumber, 0, Scalars::modulus); // p is below 2n

        load(at.d, secret);
        Scalars::enter(at.d, at.d);
        Scalars::mul(at.d, at.d, rNumber);
        load(at.e, e);
        Scalars::add(at.d, at.d, at.e);
        Scalars::enter(at.k, at.k);
        Scalars::invert(at.k, at.k);
        Number sNumber;
        Scalars::mul(sNumber, at.k, at.d);
        wipeStackBelow();
        declassify(Told::signature, &rNumber, sizeof rNumber);
        declassify(Told::signature, &sNumber, sizeof sNumber);
        *r = toBigNum(rNumber);
        *s = toBigNum(sNumber);
        return !isZero(rNumber) && !isZero(sNumber);
    }

    bool verify(ECPoint const& point, SecretNumber const& e, BigNum const& r,
                BigNum const& s) const override {
        Point Q;
        if (!enter(point, &Q))
            return false;
        Number const rNumber = toFixed<Field::limbs>(r.digits);
        Number w, u1, u2;
        Scalars::enter(w, toFixed<Field::limbs>(s.digits));
        Scalars::invert(w, w);
        load(u1, e);
        Scalars::mul(u1, w, u1);
        Scalars::mul(u2, w, rNumber);
        Sum sum;
        Multiplication().jointMultiple(sum, toBigNum(u1), base, toBigNum(u2), Q);
        if (sum.isInfinity())
            return false;
        // x = X/Z^2 is below p and r = x mod n, so x is r, or r + n if that is below p.
        Element zz;
        Field::sqr(zz, sum.point.Z);
        Number candidate = rNumber;
        if (isCoordinate(candidate, zz, sum.point.X))
            return true;
        return add(candidate, candidate, Scalars::modulus) == 0 && isCoordinate(candidate, zz, sum.point.X);
    }

private:
    /// Randomises the coordinates of an affine point: (x z^2, y z^3, z) is the same point for any z except 0.
    /// Returns false if `rng` fails or only yields zeros.
    static bool randomise(Point& P, Rng const& rng) {
        struct Values {
            unsigned char bytes[Field::digits * sizeof(Digit)];
            Element power;
        };
        Wiped<Values> at;
        SecretNumber random;
        for (unsigned draws = 0; draws < maxDraws; ++draws) {
            if (!rng.fill(at.bytes, sizeof at.bytes))
                return false;
            random.assign(at.bytes, bitsOf(Field::modulus));
            load(P.Z, random);
            reduceOnce(P.Z, 0, Field::modulus);
            if (P.isInfinity())
                continue;
            Field::sqr(at.power, P.Z);
            Field::mul(P.X, P.X, at.power);
            Field::mul(at.power, at.power, P.Z);
            Field::mul(P.Y, P.Y, at.power);
            return true;
        }
        return false;
    }

    /// Whether x, which is not in Montgomery form, is below p and equals X / zz.
    static bool isCoordinate(Number const& x, Element const& zz, Element const& X) {
        Number less;
        if (subtract(less, x, Field::modulus) == 0)
            return false;
        Element product;
        Field::mul(product, x, Field::radixSquared);
        Field::mul(product, product, zz);
        return product == X;
    }

    bool isCurve(WCurve const& curve) const override {
        return isNumber(curve.p, Field::modulus) && isNumber(curve.minusA.value, three);
    }

    static bool isNumber(BigNum const& x, Number const& fixedNumber) {
        return x.size() <= Field::digits && toFixed<Field::limbs>(x.digits) == fixedNumber;
    }

    static constexpr unsigned bitsOf(Number const& x) {
        size_t i = Field::limbs - 1;
        while (x[i] == 0)
            --i;
        return static_cast<unsigned>(i * limbBits<NativeLimb> + std::bit_width(x[i]));
    }

    static void load(Number& to, SecretNumber const& number) {
        setDigits(to, {number.digits.data(), Field::digits});
    }

    static void write(SecretNumber& to, Number const& x) {
        for (size_t i = 0; i < Field::digits; ++i)
            to.digits[i] = digitOf(x, i);
    }

    static BigNum toBigNum(Number const& x) {
        size_t count = Field::digits;
        while (count > 1 && digitOf(x, count - 1) == 0)
            --count;
        BigNum number;
        number.digits.resize(count);
        for (size_t i = 0; i < count; ++i)
            number.digits[i] = digitOf(x, i);
        return number;
    }

    /// Converts a number below p. Returns false for a larger one.
    static bool residue(BigNum const& x, Element* to) {
        if (x.size() > Field::digits)
            return false;
        *to = toFixed<Field::limbs>(x.digits);
        Number less;
        return subtract(less, *to, Field::modulus) != 0;
    }

    static bool enter(ECPoint const& point, Point* to) {
        if (!residue(point.x, &to->X) || !residue(point.y, &to->Y))
            return false;
        Field::enter(to->X, to->X);
        Field::enter(to->Y, to->Y);
        to->Z = Field::one;
        return true;
    }

    /// Converts a finite point in the form of the curve's reducer.
    static bool take(WCurve const& curve, WCurve::Point const& P, Point* to) {
        return P.X.reducer == curve.reducer && P.Y.reducer == curve.reducer && P.Z.reducer == curve.reducer &&
               residue(P.X.value, &to->X) && residue(P.Y.value, &to->Y) && residue(P.Z.value, &to->Z) &&
               !to->isInfinity();
    }

    static void give(WCurve const& curve, Sum const& sum, WCurve::Point* to) {
        if (sum.begun)
            *to = {{toBigNum(sum.point.X), curve.reducer},
                   {toBigNum(sum.point.Y), curve.reducer},
                   {toBigNum(sum.point.Z), curve.reducer}};
    }
};

constexpr FixedCurveOver<FieldP192, 0, shapeOfP192, tableOfP192> p192;
constexpr FixedCurveOver<FieldP224, 1, shapeOfP224, tableOfP224> p224;
constexpr FixedCurveOver<FieldP256, 2, shapeOfP256, tableOfP256> p256;
constexpr FixedCurveOver<FieldP384, 3, shapeOfP384, tableOfP384> p384;
constexpr FixedCurveOver<FieldP521, 4, shapeOfP521, tableOfP521> p521;

constexpr FixedCurve const* fixedCurves[] = {&p192, &p224, &p256, &p384, &p521};

} // namespace

FixedCurve const* FixedCurve::find(Curve curve) {
    auto const index = static_cast<unsigned>(curve) - 1; // 0 wraps around to an invalid index.
    return index < std::size(fixedCurves) ? fixedCurves[index] : nullptr;
}

FixedCurve const* FixedCurve::of(WCurve const& curve) {
    Reducer const& reducer = *curve.reducer;
    if (typeid(reducer) == typeid(MontgomeryReducer))
        for (FixedCurve const* candidate : fixedCurves)
            if (candidate->isCurve(curve))
                return candidate;
    return nullptr;
}

} // namespace detail

// Multiples of points in limbs, held against the general arithmetic digit by digit.
#include "sealkit/curve25519.h"
#include "sealkit/ecsrp.h"

#include "support/random.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::Random;

BigNum const& p = Curve25519::getMod();
BigNum const& L = Curve25519::getOrder();

/// Another reducer as far as `WCurve` can tell: with it everything goes through the general arithmetic.
struct OtherReducer : Mod25519Reducer {
    using Mod25519Reducer::Mod25519Reducer;
};

/// y² = x³ + a·x + b modulo p with the library's own arithmetic and with the general one.
struct Curves {
    WCurve native;
    WCurve general;

    explicit Curves(BigNum const& a)
        : native(p, a, new Mod25519Reducer(p)), general(p, a, new OtherReducer(p)) {}

    static WCurve::Point on(WCurve const& curve, WCurve::Point P) {
        for (RedNum* coordinate : {&P.X, &P.Y, &P.Z})
            coordinate->reducer = curve.reducer;
        return P;
    }

    void expectSame(WCurve::Point const& left, WCurve::Point const& right) const {
        for (auto coordinate : {&WCurve::Point::X, &WCurve::Point::Y, &WCurve::Point::Z}) {
            EXPECT_EQ((left.*coordinate).value.digits, (right.*coordinate).value.digits);
            bool const isBound = (left.*coordinate).reducer == native.reducer;
            EXPECT_EQ(isBound, (right.*coordinate).reducer == general.reducer);
        }
    }
    void expectSameMultiple(BigNum const& k, WCurve::Point const& P) const {
        SCOPED_TRACE(k.str() + " times " + P.X.value.str());
        expectSame(native.mul(k, on(native, P)), general.mul(k, on(general, P)));
    }
    void expectSameSum(BigNum const& k, WCurve::Point const& P, BigNum const& l,
                       WCurve::Point const& Q) const {
        SCOPED_TRACE(k.str() + " times " + P.X.value.str() + " and " + l.str() + " times " + Q.X.value.str());
        expectSame(native.mul2add(k, on(native, P), l, on(native, Q)),
                   general.mul2add(k, on(general, P), l, on(general, Q)));
    }
};

/// Points of every kind, as (X, Y, Z) with plain numbers: of prime order, of small order, sums of both, at
/// infinity, and with coordinates that were not reduced or belong to no point.
std::vector<WCurve::Point> somePoints(Random& random) {
    Edwards25519 const curve;
    RedNum scratch[WCurve::addScratch];
    std::vector<WCurve::Point> points;
    points.push_back(curve.getG());
    for (char const* u : {"00", "01", "00b8495f16056286fdb1329ceb8d09da6ac49ff1fae35616aeb8413b7c7aebe0"}) {
        WCurve::Point P = curve.Curve25519::fromNum(BigNum(asn1::blob(test::hex(u))), 0);
        EXPECT_FALSE(curve.isInfinity(P));
        points.push_back(P);
        curve.add(P, points[0], scratch);
        points.push_back(P); // with Z that is not 1
    }
    WCurve::Point P = points[0];
    curve.dbl(P, scratch);
    points.push_back(P);
    P.Y.value = p - P.Y.value;
    points.push_back(P);
    P.Z.value = p;
    points.push_back(P);
    P.Z.value = BigNum();
    points.push_back(P);
    P = points[0];
    P.X.value += p;
    points.push_back(P);
    for (RedNum* coordinate : {&P.X, &P.Y, &P.Z})
        coordinate->value = BigNum(asn1::blob(random.bytes(31)));
    points.push_back(P);
    P.X.value = bn64(1);
    points.push_back(P);
    return points;
}

std::vector<BigNum> someScalars(Random& random) {
    std::vector<BigNum> scalars;
    for (unsigned k = 0; k <= 40; ++k)
        scalars.push_back(bn64(k));
    for (unsigned factor : {1U, 2U, 8U})
        for (unsigned k = 0; k < 3; ++k)
            scalars.push_back(L * factor + k - bn64(1));
    for (unsigned length : {5U, 16U, 31U, 32U, 32U, 33U, 64U, 70U})
        scalars.push_back(BigNum(asn1::blob(random.bytes(length))));
    scalars.push_back(bn64(1) << 255);
    scalars.push_back((bn64(1) << 256) - bn64(1));
    return scalars;
}

BigNum const& weierstrassA() {
    static BigNum const a = p - Curve25519().minusA.value;
    return a;
}

TEST(Multiple25519, HasTheDigitsOfTheGeneralArithmetic) {
    Random random(1);
    Curves const curves(weierstrassA());
    std::vector<BigNum> const scalars = someScalars(random);
    for (WCurve::Point const& P : somePoints(random))
        for (BigNum const& k : scalars)
            curves.expectSameMultiple(k, P);
}

TEST(Multiple25519, OfTwoPointsHasTheDigitsOfTheGeneralArithmetic) {
    Random random(2);
    Curves const curves(weierstrassA());
    std::vector<BigNum> const scalars = someScalars(random);
    std::vector<WCurve::Point> const points = somePoints(random);
    for (WCurve::Point const& P : points)
        for (WCurve::Point const& Q : points)
            for (unsigned i = 0; i < 3; ++i)
                curves.expectSameSum(scalars[random.below(scalars.size())], P,
                                     scalars[random.below(scalars.size())], Q);
    for (BigNum const& k : scalars) {
        curves.expectSameSum(k, points[0], BigNum(), points[1]);
        curves.expectSameSum(BigNum(), points[0], k, points[1]);
        curves.expectSameSum(k, points[0], k, points[0]);
    }
}

TEST(Multiple25519, HasTheDigitsOfTheGeneralArithmeticOnOtherCurves) {
    Random random(3);
    for (BigNum const& a : {BigNum(), bn64(1), p - bn64(3), BigNum(asn1::blob(random.bytes(31)))}) {
        Curves const curves(a);
        for (WCurve::Point const& P : somePoints(random))
            for (unsigned length : {1U, 20U, 32U})
                curves.expectSameMultiple(BigNum(asn1::blob(random.bytes(length))), P);
    }
}

TEST(Multiple25519, FindsCoordinatesWithSeveralRepresentations) {
    // The sum of two points with x = 0 in the affine form: what the general arithmetic gives for a coordinate
    // near 0.
    Curves const curves(weierstrassA());
    for (unsigned x = 0; x < 200; ++x) {
        WCurve::Point P = Curve25519().getG();
        P.X.value = bn64(x);
        for (unsigned k : {1U, 2U, 4U})
            curves.expectSameMultiple(bn64(k), P);
    }
}

/// Scalars with every pattern of four bits at every place of the table's entries, and some others.
std::vector<BigNum> scalarsForTable() {
    Random random(4);
    std::vector<BigNum> scalars = {BigNum(), bn64(1), bn64(2), L - bn64(1), L, L + 1, L * 8, bn64(1) << 255};
    for (unsigned i = 0; i < 252; i += 9)
        scalars.push_back(bn64(1) << i);
    for (unsigned i = 0; i < 60; ++i)
        scalars.push_back(BigNum(asn1::blob(random.bytes(32))));
    for (unsigned length : {1U, 33U, 63U, 64U, 65U, 100U})
        scalars.push_back(BigNum(asn1::blob(random.bytes(length))));
    return scalars;
}

TEST(BaseMultiple25519, IsThatOfTheGeneralMultiplication) {
    Edwards25519 const curve;
    WCurve::Point const G = curve.getG();
    for (BigNum const& k : scalarsForTable()) {
        SCOPED_TRACE(k.str());
        WCurve::Point const P = curve.mul(k, G);
        EXPECT_EQ(eddsa::secret_to_public(k), curve.toBin(WCurve::Point(P)));
        std::vector<unsigned char> const verifier = pwdVerifier(k.bin(0));
        if (curve.isInfinity(P))
            EXPECT_TRUE(verifier.empty());
        else
            EXPECT_EQ(verifier, curve.Curve25519::toBin(WCurve::Point(P)));
    }
}

TEST(BaseMultiple25519, IsWhatKeyAgreementWithTheBasePointGives) {
    Random random(5);
    for (unsigned length : {0U, 1U, 31U, 32U, 32U, 32U, 33U, 70U}) {
        std::vector<unsigned char> const priv = random.bytes(length), base = {9};
        EXPECT_EQ(x25519::get_public_key(priv), x25519::kex(priv, base)) << length;
    }
}

TEST(X25519, AgreesWithTheGeneralMultiplication) {
    Random random(6);
    Curve25519 const curve;
    unsigned onTwist = 0;
    for (unsigned i = 0; i < 40; ++i) {
        std::vector<unsigned char> const priv = random.bytes(32), peer = random.bytes(32);
        WCurve::Point const P = curve.fromNum(x25519::coordToNum(peer), 0);
        std::vector<unsigned char> expected;
        if (!curve.isInfinity(P))
            expected = x25519::numToBlob(curve.toNum(curve.mul(x25519::privToNum(priv), P), nullptr));
        onTwist += expected.empty();
        EXPECT_EQ(x25519::kex(priv, peer), expected);
    }
    EXPECT_GT(onTwist, 0U);
    EXPECT_LT(onTwist, 40U);
}

} // namespace TEST_FILE

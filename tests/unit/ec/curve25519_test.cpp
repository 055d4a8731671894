#include "sealkit/curve25519.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

/// The protected helpers, open to the tests.
struct Opened : Edwards25519 {
    using WCurve::fromField;
    using WCurve::isZero;
    using WCurve::subtract;
    using WCurve::toField;
};

BigNum number(std::string_view hex) { return BigNum(asn1::blob(test::hex(hex))); }

BigNum modP(BigNum const& x) {
    BigNum r;
    div(x, Curve25519::getMod(), nullptr, &r);
    return r;
}

bool isInvalid(WCurve::Point const& P) {
    return P.X.value == BigNum() && P.Y.value == BigNum() && P.Z.value == BigNum() &&
           P.X.reducer == &RedNum::emptyReducer && P.Y.reducer == &RedNum::emptyReducer &&
           P.Z.reducer == &RedNum::emptyReducer;
}

/// v² = u³ + A·u² + u, in plain integers.
bool satisfiesMontgomeryEquation(BigNum const& u, BigNum const& v) {
    BigNum const uu = modP(u * u);
    return modP(v * v) == modP(uu * u + uu * 486662U + u);
}

/// The u-coordinates of small order and the order of their points.
struct {
    char const* u;
    unsigned order;
} const smallOrder[] = {{"00", 2},
                        {"01", 4},
                        {"00b8495f16056286fdb1329ceb8d09da6ac49ff1fae35616aeb8413b7c7aebe0", 8},
                        {"57119fd0dd4e22d8868e1c58c45c44045bef839c55b1d0b1248c50a3bc959c5f", 8}};

TEST(Curve25519, ParametersFollowTheirFormulas) {
    EXPECT_EQ(Curve25519::getMod(), (bn64(1) << 255) - bn64(19));
    // 27742317777372353535851937790883648493 in pieces of 18 decimal digits
    BigNum const decimal = (bn64(27) * bn64(1'000'000'000'000'000'000) + bn64(742'317'777'372'353'535)) *
                               bn64(1'000'000'000'000'000'000) +
                           bn64(851'937'790'883'648'493);
    EXPECT_EQ(Curve25519::getOrder(), (bn64(1) << 252) + decimal);
    EXPECT_EQ(Curve25519::getOrder().strDec(),
              "7237005577332262213973186563042994240857116359379907606001950938285454250989");
}

TEST(Curve25519, IsTheWeierstrassFormOfTheMontgomeryCurve) {
    Opened const curve;
    BigNum const p = Curve25519::getMod();
    BigNum const third = curve.fromField(RedNum(curve.thirdOfA));
    EXPECT_EQ(modP(third * 3U), bn64(486662));
    BigNum const a = p - curve.fromField(RedNum(curve.minusA));
    EXPECT_EQ(modP(a * 3U + bn64(486662) * bn64(486662)), bn64(3)); // a = (3 − A²)/3
    for (unsigned u = 2; u < 30; ++u) {
        WCurve::Point const P = curve.Curve25519::fromNum(bn64(u), 0);
        if (curve.isInfinity(P))
            continue;
        BigNum readU, v;
        curve.map_to_25519(WCurve::Point(P), &readU, &v);
        EXPECT_EQ(readU, bn64(u));
        EXPECT_TRUE(satisfiesMontgomeryEquation(readU, v));
    }
}

TEST(Curve25519, FieldsStandInOrderAndEdwardsAddsNone) {
    Curve25519 const curve;
    EXPECT_EQ(static_cast<void const*>(&curve), static_cast<WCurve const*>(&curve));
    EXPECT_EQ(reinterpret_cast<char const*>(&curve) + sizeof(WCurve),
              reinterpret_cast<char const*>(&curve.thirdOfA));
    EXPECT_EQ(sizeof(Curve25519), sizeof(WCurve) + sizeof(RedNum));
    EXPECT_EQ(sizeof(Edwards25519), sizeof(Curve25519));
    static_assert(!std::is_polymorphic_v<Edwards25519>);
}

TEST(Curve25519, PointsOutliveOtherCurves) {
    auto first = std::make_unique<Curve25519>();
    Curve25519 const second;
    WCurve::Point G = second.getG();
    first.reset();
    EXPECT_EQ(second.toNum(std::move(G), nullptr), bn64(9));
}

TEST(Curve25519, BasePointHasTheOrderL) {
    Curve25519 const curve;
    WCurve::Point const G = curve.getG();
    EXPECT_TRUE(curve.isInfinity(curve.mul(Curve25519::getOrder(), G)));
    EXPECT_TRUE(curve.isValid(G));
    unsigned sign = 9;
    EXPECT_EQ(curve.toNum(WCurve::Point(G), &sign), bn64(9));
    EXPECT_EQ(sign, 0U);
    WCurve::Point const again = curve.fromNum(bn64(9), 0);
    EXPECT_EQ(curve.toEC(WCurve::Point(G)), curve.toEC(WCurve::Point(again)));
    EXPECT_EQ(G.Z.value, bn64(1));
}

TEST(Curve25519, SignChoosesTheRoot) {
    Curve25519 const curve;
    for (unsigned sign : {0U, 1U}) {
        WCurve::Point P = curve.fromNum(bn64(9), sign);
        EXPECT_EQ(P.Z.value, bn64(1));
        unsigned readSign = 9;
        EXPECT_EQ(curve.toNum(WCurve::Point(P), &readSign), bn64(9));
        EXPECT_EQ(readSign, sign);
        EXPECT_EQ(curve.toEC(std::move(P)).y.getBit(0), sign);
    }
}

TEST(Curve25519, TwistCoordinatesGiveTheInvalidPoint) {
    Curve25519 const curve;
    unsigned invalid = 0;
    for (unsigned u = 2; u < 60; ++u) {
        WCurve::Point const P = curve.fromNum(bn64(u), 0);
        invalid += isInvalid(P);
        EXPECT_EQ(isInvalid(P), curve.isInfinity(P));
    }
    EXPECT_GT(invalid, 15U);
    EXPECT_LT(invalid, 45U);
    EXPECT_TRUE(isInvalid(curve.fromNum(bn64(2), 0)));
    EXPECT_TRUE(isInvalid(curve.fromNum(Curve25519::getMod() - bn64(1), 0)));
}

TEST(Curve25519, CoordinatesAreReducedModuloP) {
    Curve25519 const curve;
    for (BigNum const& u :
         {Curve25519::getMod() + 9U, Curve25519::getMod() * 2U + 9U, (Curve25519::getMod() << 4000) + 9U}) {
        WCurve::Point P = curve.fromNum(u, 0);
        EXPECT_LE(P.X.value, Curve25519::getMod());
        EXPECT_EQ(curve.toNum(std::move(P), nullptr), bn64(9));
    }
}

TEST(Curve25519, SquareRootsOfSquares) {
    Opened const curve;
    for (unsigned root = 0; root < 40; ++root) {
        RedNum const c = curve.toField(bn64(root * root));
        BigNum const found = curve.fromField(curve.sqr_root(c));
        EXPECT_TRUE(found == bn64(root) || found == Curve25519::getMod() - bn64(root)) << root;
    }
    BigNum const large = Curve25519::getOrder();
    BigNum const found = curve.fromField(curve.sqr_root(curve.toField(modP(large * large))));
    EXPECT_TRUE(found == large || found == Curve25519::getMod() - large);
}

TEST(Curve25519, EncodesAndDecodesPoints) {
    Curve25519 const curve;
    for (unsigned k = 1; k < 20; ++k) {
        WCurve::Point const P = curve.mul(bn64(k), curve.getG());
        Bytes const encoded = curve.toBin(WCurve::Point(P));
        ASSERT_EQ(encoded.size(), 33U);
        unsigned sign;
        EXPECT_EQ(BigNum(asn1::blob(encoded.data(), 32)), curve.toNum(WCurve::Point(P), &sign));
        EXPECT_EQ(encoded[32], sign);
        EXPECT_EQ(curve.toEC(curve.fromBin(encoded)), curve.toEC(WCurve::Point(P)));
        EXPECT_EQ(curve.toBin(curve.fromBin(encoded)), encoded);
        EXPECT_EQ(Curve25519::getX(encoded), Bytes(encoded.begin(), encoded.begin() + 32));
    }
    Bytes nine(33);
    nine[31] = 9;
    EXPECT_EQ(curve.toBin(curve.getG()), nine);
}

TEST(Curve25519, DecodingNeeds33Bytes) {
    Curve25519 const curve;
    for (size_t size : {0, 1, 31, 32, 34, 66, 1'000'000}) {
        Bytes encoded(size);
        if (size >= 32)
            encoded[31] = 9;
        EXPECT_TRUE(isInvalid(curve.fromBin(encoded))) << size;
    }
    Bytes twist(33);
    twist[31] = 2;
    EXPECT_TRUE(isInvalid(curve.fromBin(twist)));
}

TEST(Curve25519, OnlyTheLowBitOfTheSignByteCounts) {
    Curve25519 const curve;
    Bytes encoded(33);
    encoded[31] = 9;
    for (unsigned sign = 0; sign < 256; ++sign) {
        encoded[32] = static_cast<unsigned char>(sign);
        EXPECT_EQ(curve.toBin(curve.fromBin(encoded))[32], sign & 1);
    }
}

TEST(Curve25519, CoordinateOfShortBytesIsWhatIsThere) {
    EXPECT_EQ(Curve25519::getX({}), Bytes{});
    EXPECT_EQ(Curve25519::getX({1, 2}), (Bytes{1, 2}));
    EXPECT_EQ(Curve25519::getX(Bytes(100, 7)), Bytes(32, 7));
}

TEST(Curve25519, PointAtInfinityHasUZero) {
    Curve25519 const curve;
    unsigned sign = 9;
    EXPECT_EQ(curve.toNum({}, &sign), BigNum());
    EXPECT_EQ(sign, 0U);
    BigNum u = bn64(5), v = bn64(5);
    curve.map_to_25519({}, &u, &v);
    EXPECT_EQ(u, BigNum());
    EXPECT_EQ(v, BigNum());
    EXPECT_EQ(curve.toBin({}), Bytes(33));
}

TEST(Curve25519, SecondCoordinateIsOptional) {
    Curve25519 const curve;
    BigNum u;
    curve.map_to_25519(curve.getG(), &u, nullptr);
    EXPECT_EQ(u, bn64(9));
}

TEST(Curve25519, PointsOfSmallOrderAreNotValid) {
    Curve25519 const curve;
    EXPECT_FALSE(curve.isValid({}));
    for (auto const& row : smallOrder) {
        WCurve::Point const P = curve.fromNum(number(row.u), 0);
        ASSERT_FALSE(curve.isInfinity(P)) << row.u;
        for (unsigned k = 1; k <= 16; ++k)
            EXPECT_EQ(curve.isInfinity(curve.mul(bn64(k), P)), k % row.order == 0) << row.u << " * " << k;
        EXPECT_FALSE(curve.isValid(P));
    }
}

TEST(Curve25519, PointsOfMixedOrderAreValid) {
    Curve25519 const curve;
    RedNum scratch[WCurve::addScratch];
    for (auto const& row : smallOrder) {
        WCurve::Point P = curve.getG();
        curve.add(P, curve.fromNum(number(row.u), 0), scratch);
        EXPECT_TRUE(curve.isValid(P));
        EXPECT_FALSE(curve.isInfinity(curve.mul(Curve25519::getOrder(), P)));
    }
}

TEST(Curve25519, ThePointWithVZeroHasOneSignOnly) {
    Curve25519 const curve;
    WCurve::Point P = curve.fromNum(BigNum(), 0);
    EXPECT_FALSE(isInvalid(P));
    EXPECT_EQ(curve.toEC(std::move(P)).y, BigNum());
    EXPECT_TRUE(isInvalid(curve.fromNum(BigNum(), 1)));
}

TEST(Curve25519, DoublingThePointWithVZeroGivesInfinity) {
    Curve25519 const curve;
    RedNum scratch[WCurve::addScratch];
    for (BigNum const& y : {BigNum(), Curve25519::getMod()}) { // the same residue
        WCurve::Point P = curve.fromNum(BigNum(), 0);
        P.Y.value = y;
        WCurve::Point Q = P;
        curve.dbl(P, scratch);
        EXPECT_TRUE(curve.isInfinity(P));
        EXPECT_EQ(curve.toEC(std::move(P)), ECPoint{});
        P = Q;
        curve.add(P, Q, scratch);
        EXPECT_TRUE(curve.isInfinity(P));
    }
}

TEST(Curve25519, PartlyReducedValuesCountAsTheirResidues) {
    Opened const curve;
    BigNum const& p = Curve25519::getMod();
    EXPECT_TRUE(curve.isZero(RedNum{p, curve.reducer}));
    EXPECT_TRUE(curve.isZero(RedNum{BigNum(), curve.reducer}));
    EXPECT_FALSE(curve.isZero(RedNum{p + 1, curve.reducer}));
    EXPECT_EQ(curve.fromField(RedNum{p, curve.reducer}), BigNum());
    EXPECT_EQ(curve.fromField(RedNum{p + 37, curve.reducer}), bn64(37));
    EXPECT_EQ(curve.fromField(RedNum{(bn64(1) << 256) - bn64(1), curve.reducer}), bn64(37));
    for (unsigned left = 0; left < 38; ++left)
        for (unsigned right = 0; right < 38; ++right) {
            RedNum a{bn64(left), curve.reducer};
            RedNum b{p + right, curve.reducer};
            curve.subtract(a, b);
            EXPECT_EQ(curve.fromField(std::move(a)), modP(p + left - bn64(right)));
            EXPECT_EQ(b.value, bn64(right));
        }
}

TEST(Curve25519, ArithmeticTakesPartlyReducedCoordinates) {
    Opened const curve;
    BigNum const& p = Curve25519::getMod();
    BigNum const third = curve.fromField(RedNum(curve.thirdOfA));
    RedNum scratch[WCurve::addScratch];
    unsigned tried = 0;
    for (unsigned x = 1; x < 37; ++x) {
        WCurve::Point const P = curve.Curve25519::fromNum(p + x - third, 0); // (x, y)
        if (curve.isInfinity(P))
            continue;
        ++tried;
        ASSERT_EQ(P.X.value, bn64(x));
        WCurve::Point wide = P;
        wide.X.value += p;
        wide.Z.value += p;
        WCurve::Point doubled = P;
        WCurve::Point wideDoubled = wide;
        curve.dbl(doubled, scratch);
        curve.dbl(wideDoubled, scratch);
        EXPECT_EQ(curve.toEC(WCurve::Point(wideDoubled)), curve.toEC(WCurve::Point(doubled)));
        WCurve::Point sum = wide;
        curve.add(sum, P, scratch);
        EXPECT_EQ(curve.toEC(std::move(sum)), curve.toEC(std::move(doubled)));
        WCurve::Point difference = wide;
        WCurve::Point opposite = P;
        opposite.Y = curve.toField(p - curve.toEC(WCurve::Point(P)).y);
        curve.add(difference, opposite, scratch);
        EXPECT_TRUE(curve.isInfinity(difference));
    }
    EXPECT_GT(tried, 8U);
}

} // namespace TEST_FILE

#include "sealkit/curve25519.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

BigNum modP(BigNum const& x) {
    BigNum r;
    div(x, Curve25519::getMod(), nullptr, &r);
    return r;
}

BigNum minus(BigNum const& x) { return modP(Curve25519::getMod() - x); }
BigNum quotient(BigNum const& x, BigNum const& y) { return modP(x * invByMod(y, Curve25519::getMod())); }

BigNum coefficientD() { return quotient(minus(bn64(121665)), bn64(121666)); }

/// −x² + y² = 1 + d·x²·y², in plain integers.
bool satisfiesEdwardsEquation(BigNum const& x, BigNum const& y) {
    BigNum const xx = modP(x * x);
    BigNum const yy = modP(y * y);
    return modP(yy + minus(xx)) == modP(coefficientD() * modP(xx * yy) + 1);
}

/// A number of 32 bytes, little-endian, with the sign in bit 255.
Bytes encode(BigNum const& y, unsigned sign) {
    BigNum whole = y;
    if (sign)
        whole += bn64(1) << 255;
    Bytes bytes = whole.bin(little_endian{});
    bytes.resize(32);
    return bytes;
}

bool decodes(Edwards25519 const& curve, Bytes const& encoded) {
    WCurve::Point const P = curve.fromBin(encoded);
    return !curve.isInfinity(P);
}

/// The points of small order in RFC 8032's encoding.
struct {
    char const* encoded;
    unsigned order;
} const smallOrder[] = {{"ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f", 2},
                        {"0000000000000000000000000000000000000000000000000000000000000000", 4},
                        {"0000000000000000000000000000000000000000000000000000000000000080", 4},
                        {"26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc05", 8},
                        {"26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc85", 8},
                        {"c7176a703d4dd84fba3c0b760d10670f2a2053fa2c39ccc64ec7fd7792ac037a", 8},
                        {"c7176a703d4dd84fba3c0b760d10670f2a2053fa2c39ccc64ec7fd7792ac03fa", 8}};

TEST(Edwards25519, BasePointIsTheImageOfCurve25519s) {
    Edwards25519 const curve;
    unsigned sign = 9;
    BigNum const y = curve.toNum(curve.getG(), &sign);
    EXPECT_EQ(modP(y * 5U), bn64(4));
    EXPECT_EQ(sign, 0U);
    BigNum x;
    ASSERT_TRUE(curve.getX(RedNum{y, curve.reducer}, sign, x));
    EXPECT_EQ(x.strDec(), "15112221349535400772501151409588531511454012693041857206046113283949847762202");
    EXPECT_EQ(curve.toBin(curve.getG()),
              test::hex("5866666666666666666666666666666666666666666666666666666666666666"));
    EXPECT_EQ(curve.toEC(curve.fromNum(y, 0)), curve.toEC(curve.getG()));
}

TEST(Edwards25519, RecoversXFromY) {
    Edwards25519 const curve;
    unsigned found = 0;
    for (unsigned y = 0; y < 60; ++y) {
        BigNum even, odd;
        bool const hasEven = curve.getX(RedNum{bn64(y), curve.reducer}, 0, even);
        bool const hasOdd = curve.getX(RedNum{bn64(y), curve.reducer}, 1, odd);
        if (y == 1) {
            EXPECT_TRUE(hasEven);
            EXPECT_FALSE(hasOdd);
            EXPECT_EQ(even, BigNum());
            continue;
        }
        EXPECT_EQ(hasEven, hasOdd);
        // Whether there is an x: Euler's criterion on (y² − 1)/(d·y² + 1).
        BigNum const yy = bn64(y) * bn64(y);
        BigNum const ratio = quotient(modP(yy + minus(bn64(1))), modP(coefficientD() * yy + 1));
        BigNum const& p = Curve25519::getMod();
        EXPECT_EQ(hasEven, expByMod(ratio, p >> 1, p) == bn64(1)) << y;
        if (!hasEven)
            continue;
        ++found;
        EXPECT_TRUE(satisfiesEdwardsEquation(even, bn64(y)));
        EXPECT_FALSE(even.getBit(0));
        EXPECT_TRUE(odd.getBit(0));
        EXPECT_EQ(even + odd, p);
    }
    EXPECT_GT(found, 15U);
}

TEST(Edwards25519, FollowsTheBirationalMap) {
    Edwards25519 const curve;
    BigNum const& p = Curve25519::getMod();
    for (unsigned y = 2; y < 40; ++y)
        for (unsigned sign : {0U, 1U}) {
            BigNum x;
            WCurve::Point const P = curve.fromNum(bn64(y), sign);
            ASSERT_EQ(!curve.isInfinity(P), curve.getX(RedNum{bn64(y), curve.reducer}, sign, x));
            if (curve.isInfinity(P))
                continue;
            EXPECT_EQ(P.Z.value, bn64(1));
            BigNum u, v;
            curve.map_to_25519(WCurve::Point(P), &u, &v);
            EXPECT_EQ(u, quotient(bn64(1 + y), p - bn64(y - 1)));
            BigNum const factor = quotient(modP(x * v), u); // √−486664
            EXPECT_EQ(modP(factor * factor), p - bn64(486664));
            EXPECT_EQ(factor.str(), "f26edf460a006bbd27b08dc03fc4f7ec5a1d3d14b7d1a82cc6e04aaff457e06");
            unsigned readSign = 9;
            EXPECT_EQ(curve.toNum(WCurve::Point(P), &readSign), bn64(y));
            EXPECT_EQ(readSign, sign);
        }
}

TEST(Edwards25519, MapsSumsToSums) {
    // (x1, y1) + (x2, y2) by the Edwards addition law (RFC 8032, section 5.1.4), in plain integers.
    Edwards25519 const curve;
    RedNum scratch[WCurve::addScratch];
    auto const affine = [&](WCurve::Point const& P) {
        unsigned sign;
        ECPoint point;
        point.y = curve.toNum(WCurve::Point(P), &sign);
        EXPECT_TRUE(curve.getX(RedNum{point.y, curve.reducer}, sign, point.x));
        return point;
    };
    WCurve::Point const Q = curve.fromNum(bn64(3), 1);
    ASSERT_FALSE(curve.isInfinity(Q));
    ECPoint const q = affine(Q);
    WCurve::Point P = curve.getG();
    for (unsigned i = 0; i < 20; ++i) {
        ECPoint const r = affine(P);
        BigNum const k = modP(coefficientD() * modP(modP(r.x * q.x) * modP(r.y * q.y)));
        BigNum const x = quotient(r.x * q.y + q.x * r.y, k + 1);
        BigNum const y = quotient(r.y * q.y + r.x * q.x, minus(k) + 1);
        curve.add(P, Q, scratch);
        EXPECT_EQ(affine(P), (ECPoint{x, y}));
    }
}

TEST(Edwards25519, EncodesAndDecodesPoints) {
    Edwards25519 const curve;
    for (unsigned k = 1; k < 20; ++k) {
        WCurve::Point const P = curve.mul(bn64(k), curve.getG());
        Bytes const encoded = curve.toBin(WCurve::Point(P));
        ASSERT_EQ(encoded.size(), 32U);
        EXPECT_EQ(curve.toEC(curve.fromBin(encoded)), curve.toEC(WCurve::Point(P)));
        EXPECT_EQ(curve.toBin(curve.fromBin(encoded)), encoded);
    }
}

TEST(Edwards25519, DecodingNeeds32Bytes) {
    Edwards25519 const curve;
    Bytes const base = curve.toBin(curve.getG());
    ASSERT_TRUE(decodes(curve, base));
    for (size_t size : {0, 1, 31, 33, 64, 1'000'000}) {
        Bytes encoded = base;
        encoded.resize(size);
        EXPECT_FALSE(decodes(curve, encoded)) << size;
    }
}

TEST(Edwards25519, SmallYsHaveOneEncodingOnly) {
    Edwards25519 const curve;
    BigNum const& p = Curve25519::getMod();
    unsigned refused = 0;
    for (unsigned y = 0; y < 19; ++y)
        for (unsigned sign : {0U, 1U}) {
            EXPECT_FALSE(decodes(curve, encode(p + y, sign))) << y;
            refused += decodes(curve, encode(bn64(y), sign));
        }
    EXPECT_GT(refused, 8U);
}

TEST(Edwards25519, PlainNumbersNotBelowPAreRefused) {
    Edwards25519 const curve;
    EXPECT_TRUE(curve.isInfinity(curve.fromNum(Curve25519::getMod() + 3U, 0)));
    EXPECT_TRUE(curve.isInfinity(curve.fromNum(bn64(1) << 100'000, 0)));
}

TEST(Edwards25519, NeutralElementIsRefusedAndWritten) {
    Edwards25519 const curve;
    EXPECT_FALSE(decodes(curve, encode(bn64(1), 0)));
    EXPECT_FALSE(decodes(curve, encode(bn64(1), 1)));
    unsigned sign = 9;
    EXPECT_EQ(curve.toNum({}, &sign), bn64(1));
    EXPECT_EQ(sign, 0U);
    EXPECT_EQ(curve.toBin({}), encode(bn64(1), 0));
}

TEST(Edwards25519, XOfZeroHasNoSign) {
    Edwards25519 const curve;
    BigNum const minusOne = Curve25519::getMod() - bn64(1);
    EXPECT_TRUE(decodes(curve, encode(minusOne, 0)));
    EXPECT_FALSE(decodes(curve, encode(minusOne, 1)));
}

TEST(Edwards25519, PointOfOrderTwoIsUOfZero) {
    Edwards25519 const curve;
    WCurve::Point const P = curve.fromNum(Curve25519::getMod() - bn64(1), 0);
    EXPECT_EQ(curve.Curve25519::toNum(WCurve::Point(P), nullptr), BigNum());
    unsigned sign = 9;
    EXPECT_EQ(curve.toNum(WCurve::Point(P), &sign), Curve25519::getMod() - bn64(1));
    EXPECT_EQ(sign, 0U);
}

TEST(Edwards25519, PointsOfSmallOrderDecode) {
    Edwards25519 const curve;
    for (auto const& row : smallOrder) {
        WCurve::Point const P = curve.fromBin(test::hex(row.encoded));
        ASSERT_FALSE(curve.isInfinity(P)) << row.encoded;
        EXPECT_EQ(test::toHex(curve.toBin(WCurve::Point(P))), row.encoded);
        for (unsigned k = 1; k <= 16; ++k)
            EXPECT_EQ(curve.isInfinity(curve.mul(bn64(k), P)), k % row.order == 0) << row.encoded << k;
        EXPECT_FALSE(curve.isValid(P));
    }
}

} // namespace TEST_FILE

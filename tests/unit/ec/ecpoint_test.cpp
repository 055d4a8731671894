#include "named_curve.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

ECPoint decode(Bytes const& octets) { return ECPoint::fromOctetString(octets); }

ECPoint decompress(NamedCurve const& c, Bytes const& octets) {
    return ECPoint::fromOctetStringCompressed(octets, c.p, c.a, c.b);
}

TEST(ECPoint, DefaultIsNoPoint) {
    EXPECT_TRUE(ECPoint{}.empty());
    EXPECT_FALSE((ECPoint{bn64(0), bn64(1)}.empty()));
    EXPECT_FALSE((ECPoint{bn64(1), bn64(0)}.empty()));
}

TEST(ECPoint, FieldsStandInOrder) {
    ECPoint const point;
    EXPECT_EQ(static_cast<void const*>(&point), &point.x);
    EXPECT_EQ(&point.x + 1, &point.y);
    EXPECT_EQ(sizeof(ECPoint), 2 * sizeof(BigNum));
}

TEST(ECPoint, UncompressedFormSplitsInTheMiddle) {
    EXPECT_EQ(decode({4, 1, 2, 3, 4}), (ECPoint{bn64(0x0102), bn64(0x0304)}));
}

TEST(ECPoint, UncompressedFormOfOddLengthGivesYOneByteMore) {
    EXPECT_EQ(decode({4, 1, 2, 3}), (ECPoint{bn64(0x01), bn64(0x0203)}));
    EXPECT_EQ(decode({4, 7}), (ECPoint{bn64(0), bn64(7)}));
}

TEST(ECPoint, PrefixAloneIsNoPoint) { EXPECT_EQ(decode({4}), ECPoint{}); }

TEST(ECPoint, EmptyInputIsNoPoint) {
    EXPECT_EQ(decode({}), ECPoint{});
    EXPECT_EQ(ECPoint::fromOctetString({}), ECPoint{});
    EXPECT_EQ(decompress(NamedCurve(Curve::p256), {}), ECPoint{});
}

TEST(ECPoint, OtherPrefixesAreNoPoint) {
    NamedCurve const c(Curve::p256);
    Bytes octets = c.G.toBin(c.len, false);
    Bytes compressed = c.G.toBin(c.len, true);
    for (unsigned prefix = 0; prefix < 256; ++prefix) {
        octets[0] = compressed[0] = static_cast<unsigned char>(prefix);
        EXPECT_EQ(decode(octets).empty(), prefix != 4) << prefix;
        EXPECT_EQ(decompress(c, compressed).empty(), prefix != 2 && prefix != 3) << prefix;
    }
}

TEST(ECPoint, DecodingDoesNotLookAtTheCurve) {
    ECPoint const point = decode({4, 0, 1, 0, 1});
    EXPECT_EQ(point, (ECPoint{bn64(1), bn64(1)}));
    EXPECT_FALSE(NamedCurve(Curve::p256).contains(point));
}

TEST(ECPoint, WritesUncompressedForm) {
    NamedCurve const c(Curve::p256);
    Bytes const octets = c.G.toBin(32, false);
    ASSERT_EQ(octets.size(), 65U);
    EXPECT_EQ(octets[0], 0x04);
    EXPECT_EQ(Bytes(octets.begin() + 1, octets.begin() + 33), c.G.x.bin(32));
    EXPECT_EQ(Bytes(octets.begin() + 33, octets.end()), c.G.y.bin(32));
}

TEST(ECPoint, CompressedPrefixTellsTheParityOfY) {
    NamedCurve const c(Curve::p256);
    ASSERT_TRUE(c.G.y.getBit(0));
    EXPECT_EQ(c.G.toBin(32, true)[0], 0x03);
    EXPECT_EQ(c.G.toBin(32, true).size(), 33U);
    ECPoint const opposite{c.G.x, c.p - c.G.y};
    EXPECT_EQ(opposite.toBin(32, true)[0], 0x02);
    EXPECT_EQ(ECPoint{}.toBin(2, true), (Bytes{2, 0, 0}));
}

TEST(ECPoint, CoordinatesHaveAFixedWidth) {
    ECPoint const point{bn64(5), bn64(0x0701)};
    EXPECT_EQ(point.toBin(3, false), (Bytes{4, 0, 0, 5, 0, 7, 1}));
    EXPECT_EQ(point.toBin(3, true), (Bytes{3, 0, 0, 5}));
    EXPECT_EQ(decode(point.toBin(3, false)), point);
    // On a real curve: x of 2·G begins with a zero byte there.
    NamedCurve const c(Curve::p521);
    ECPoint const small = c.multipleOfG(bn64(2));
    EXPECT_EQ(small.x.bin(0).size(), 65U);
    EXPECT_EQ(small.toBin(66, true).size(), 67U);
    EXPECT_EQ(small.toBin(66, true)[1], 0);
}

TEST(ECPoint, CompressedFormWritesOnlyX) {
    ECPoint const point{bn64(5), bn64(0x070001)};
    EXPECT_EQ(point.toBin(1, true), (Bytes{3, 5}));
}

TEST(ECPointDeathTest, CoordinateThatIsTooWideAborts) {
    ECPoint const wideX{bn64(0x100), bn64(1)};
    ECPoint const wideY{bn64(1), bn64(0x100)};
    char const* const message = "ec\\.cpp:[0-9]+: toBin: Assertion `tmp\\.size\\(\\) == len' failed";
    EXPECT_DEATH(wideX.toBin(1, false), message);
    EXPECT_DEATH(wideX.toBin(1, true), message);
    EXPECT_DEATH(wideY.toBin(1, false), message);
}

TEST(ECPoint, CompressedPointsDecodeAndReencode) {
    for (Curve id : {Curve::p192, Curve::p256, Curve::p384, Curve::p521}) {
        NamedCurve const c(id);
        for (unsigned k = 1; k < 8; ++k) {
            ECPoint const point = c.multipleOfG(bn64(k));
            for (ECPoint const& candidate : {point, ECPoint{point.x, c.p - point.y}}) {
                Bytes const octets = candidate.toBin(c.len, true);
                ECPoint const decoded = decompress(c, octets);
                EXPECT_EQ(decoded, candidate);
                EXPECT_EQ(decoded.toBin(c.len, true), octets);
            }
        }
    }
}

TEST(ECPoint, CompressedPointsOfP224AreRefused) {
    NamedCurve const c(Curve::p224);
    for (unsigned k = 1; k < 4; ++k)
        EXPECT_EQ(decompress(c, c.multipleOfG(bn64(k)).toBin(c.len, true)), ECPoint{});
}

TEST(ECPoint, CompressedXWithoutAPointIsRefused) {
    NamedCurve const c(Curve::p256);
    unsigned refused = 0;
    for (unsigned x = 0; x < 32; ++x) {
        ECPoint const point = decompress(c, ECPoint{bn64(x), bn64(1)}.toBin(c.len, true));
        EXPECT_TRUE(point.empty() || c.contains(point));
        refused += point.empty();
    }
    EXPECT_GT(refused, 8U);
    EXPECT_LT(refused, 24U);
}

TEST(ECPoint, CompressedPrefixAloneIsXOfZero) {
    NamedCurve const c(Curve::p256); // b is a square modulo p: x = 0 has a point
    ECPoint const even = decompress(c, {2});
    EXPECT_EQ(even.x, BigNum());
    EXPECT_FALSE(even.y.getBit(0));
    EXPECT_TRUE(c.contains(even));
}

TEST(ECPoint, UnusableModuliGiveNoPoint) {
    Bytes const octets{2, 1};
    for (unsigned p : {0U, 1U, 2U, 4U, 0xfffffffeU})
        EXPECT_EQ(ECPoint::fromOctetStringCompressed(octets, bn64(p), BigNum(), BigNum()), ECPoint{}) << p;
}

TEST(ECPoint, OverlongInputIsHarmless) {
    NamedCurve const c(Curve::p256);
    Bytes octets(1'000'001, 0xff);
    octets[0] = 4;
    ECPoint const huge = decode(octets);
    EXPECT_EQ(huge.x.bits(), 4'000'000U);
    EXPECT_FALSE(c.contains(huge));
    octets[0] = 2;
    ECPoint const point = decompress(c, octets);
    EXPECT_TRUE(point.empty() || c.contains(point));
}

} // namespace TEST_FILE

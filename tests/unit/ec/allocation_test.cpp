#include "named_curve.h"
#include "sealkit/curve25519.h"
#include "support/allocation_count.h"

#include <gtest/gtest.h>

using test::allocationsOf;

namespace TEST_FILE {

TEST(Allocation, IsCounted) {
    EXPECT_GT(allocationsOf([] { BigNum const two = bn64(2); }), 0U);
}

/// A scalar of that many bits, with windows of every kind.
BigNum scalar(unsigned bits) {
    BigNum k = bn64(1) << (bits - 1);
    for (unsigned i = 0; i < bits; i += 3)
        k.setBit(i, i % 7 != 0);
    return k;
}

template <typename AnyCurve>
void multiplyingAllocatesTheSameForAnyScalar(AnyCurve const& curve, WCurve::Point const& G) {
    // Numbers that were copied grow once more when a sum first carries into one more digit. After some
    // hundred steps that has happened to all.
    BigNum const shorter = scalar(600);
    BigNum const longer = scalar(1800);
    auto const mulBy = [&](BigNum const& k) { return allocationsOf([&] { curve.mul(k, G); }); };
    EXPECT_EQ(mulBy(shorter), mulBy(longer));
    auto const mul2addBy = [&](BigNum const& k) { return allocationsOf([&] { curve.mul2add(k, G, k, G); }); };
    EXPECT_EQ(mul2addBy(shorter), mul2addBy(longer));
}

TEST(Allocation, MultiplyingAllocatesNothingPerStep) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        multiplyingAllocatesTheSameForAnyScalar(c.curve, c.curve.fromEC(c.G));
    }
    Curve25519 const curve;
    multiplyingAllocatesTheSameForAnyScalar(curve, curve.getG());
}

TEST(Allocation, DoublingAndAddingAllocateNothingOnceScratchHasGrown) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        RedNum scratch[WCurve::addScratch];
        WCurve::Point const G = c.curve.fromEC(c.G);
        WCurve::Point P = G;
        auto const steps = [&] {
            for (unsigned i = 0; i < 20; ++i) {
                c.curve.dbl(P, scratch);
                c.curve.add(P, G, scratch);
            }
        };
        steps();
        EXPECT_EQ(allocationsOf(steps), 0U);
    }
}

TEST(Allocation, SignaturesAndKeysOf25519AllocateWhatTheyReturn) {
    std::vector<unsigned char> const secret(32, 0x31), message(100, 0x32);
    std::vector<unsigned char> const pub = eddsa::get_public_key(secret), sig = eddsa::sign(secret, message);
    EXPECT_EQ(allocationsOf([&] { eddsa::get_public_key(secret); }), 1U);
    EXPECT_EQ(allocationsOf([&] { eddsa::sign(secret, message); }), 1U);
    EXPECT_EQ(allocationsOf([&] { EXPECT_TRUE(eddsa::verify(pub, message, sig)); }), 0U);
    EXPECT_EQ(allocationsOf([&] { x25519::get_public_key(secret); }), 1U);
}

TEST(Allocation, KeyAgreementWithX25519AllocatesTheNumbersThatItIsGiven) {
    std::vector<unsigned char> const secret(32, 0x31), peer = x25519::get_public_key(secret);
    EXPECT_LE(allocationsOf([&] { x25519::kex(secret, peer); }), 8U);
}

TEST(Allocation, MultiplyingOn25519AllocatesTheResult) {
    Curve25519 const curve;
    WCurve::Point const G = curve.getG();
    BigNum const k = scalar(255);
    EXPECT_LE(allocationsOf([&] { curve.mul(k, G); }), 12U);
    EXPECT_LE(allocationsOf([&] { curve.mul2add(k, G, k, G); }), 12U);
}

} // namespace TEST_FILE

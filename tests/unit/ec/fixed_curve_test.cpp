// The arithmetic of fixed width gives the coordinates of the general one, digit by digit.
#include "counting_reducer.h"
#include "named_curve.h"
#include "support/allocation_count.h"
#include "support/random.h"
#include "support/slow.h"

#include <gtest/gtest.h>

#include <array>

namespace TEST_FILE {

/// A named curve twice: with the library's own reducer, and with one that takes the general path.
struct BothPaths {
    NamedCurve const fixed;
    ReducerCounts counts;
    WCurve const general;

    explicit BothPaths(Curve id)
        : fixed(id), general(fixed.p, fixed.a, newCountingReducer(fixed.p, counts)) {}

    /// The same coordinates under the other curve's reducer.
    WCurve::Point moved(WCurve::Point const& P) const {
        auto const to = [&](RedNum const& x) {
            return RedNum{x.value, x.reducer == fixed.curve.reducer ? general.reducer : x.reducer};
        };
        return {to(P.X), to(P.Y), to(P.Z)};
    }

    void expectSame(WCurve::Point const& found, WCurve::Point const& expected,
                    std::string const& what) const {
        WCurve::Point const left = moved(found);
        for (auto coordinate : {&WCurve::Point::X, &WCurve::Point::Y, &WCurve::Point::Z}) {
            ASSERT_EQ((left.*coordinate).value.digits, (expected.*coordinate).value.digits) << what;
            ASSERT_EQ((left.*coordinate).reducer, (expected.*coordinate).reducer) << what;
        }
    }

    void compare(BigNum const& k, WCurve::Point const& P) const {
        expectSame(fixed.curve.mul(k, P), general.mul(k, moved(P)), k.str());
    }
    void compare(BigNum const& k, WCurve::Point const& P, BigNum const& l, WCurve::Point const& Q) const {
        expectSame(fixed.curve.mul2add(k, P, l, Q), general.mul2add(k, moved(P), l, moved(Q)),
                   k.str() + " and " + l.str());
    }

    RedNum residue(BigNum const& x) const { return fixed.curve.reducer->fromBigNum(x); }
};

BigNum randomNumber(test::Random& random, unsigned bits) {
    BigNum x{asn1::blob(random.bytes((bits + 7) / 8))};
    x.modBy2Pow(bits);
    return x;
}

std::vector<BigNum> scalars(BigNum const& n, test::Random& random) {
    std::vector<BigNum> all;
    for (unsigned small : {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 128, 255})
        all.push_back(bn64(small));
    for (BigNum const& k : {n - bn64(1), n, n + 1u, n << 1, (n << 1) + 1u, (bn64(1) << n.bits()) - bn64(1),
                            (bn64(1) << 700) - bn64(1), bn64(1) << 300})
        all.push_back(k);
    for (unsigned bits : {20, 64, 65, 150})
        all.push_back(randomNumber(random, bits));
    for (unsigned i = 0; i < 4; ++i)
        all.push_back(randomNumber(random, n.bits() + i));
    return all;
}

/// Points of the curve in several representations, and some that are not on it.
std::vector<WCurve::Point> points(BothPaths const& both, test::Random& random) {
    NamedCurve const& c = both.fixed;
    WCurve::Point const G = c.curve.fromEC(c.G);
    WCurve::Point const far = c.curve.mul(bn64(123456789), G);
    WCurve::Point opposite = G;
    opposite.Y = both.residue(c.p - c.G.y);
    WCurve::Point rescaled = G; // (4x, 8y, 2)
    rescaled.X = both.residue(c.G.x * 4u);
    rescaled.Y = both.residue(c.G.y * 8u);
    rescaled.Z = both.residue(bn64(2));
    WCurve::Point const offCurve{both.residue(randomNumber(random, c.p.bits() - 1)),
                                 both.residue(randomNumber(random, c.p.bits() - 1)),
                                 both.residue(randomNumber(random, c.p.bits() - 1))};
    WCurve::Point const ofOrderTwo{both.residue(bn64(5)), both.residue(BigNum()), both.residue(bn64(1))};
    WCurve::Point const extreme{both.residue(c.p - bn64(1)), both.residue(bn64(1)),
                                both.residue(c.p - bn64(1))};
    WCurve::Point const zeros{both.residue(BigNum()), both.residue(BigNum()), both.residue(bn64(1))};
    WCurve::Point const infinity{both.residue(bn64(7)), both.residue(bn64(8)), both.residue(BigNum())};
    return {G, far, opposite, rescaled, offCurve, ofOrderTwo, extreme, zeros, infinity, {}};
}

class FixedCurve : public testing::TestWithParam<Curve> {};

TEST_P(FixedCurve, MultiplesHaveTheSameCoordinates) {
    BothPaths const both(GetParam());
    test::Random random(1);
    size_t const every = test::lessWhenSlow(1, 3);
    size_t i = 0;
    for (WCurve::Point const& P : points(both, random))
        for (BigNum const& k : scalars(both.fixed.n, random))
            if (i++ % every == 0)
                both.compare(k, P);
}

TEST_P(FixedCurve, JointMultiplesHaveTheSameCoordinates) {
    BothPaths const both(GetParam());
    test::Random random(2);
    std::vector<BigNum> const factors = scalars(both.fixed.n, random);
    size_t const every = test::lessWhenSlow(1, 17);
    size_t sums = 0;
    for (WCurve::Point const& P : points(both, random))
        for (WCurve::Point const& Q : points(both, random))
            for (size_t i = 0; i < 3; ++i)
                if (sums++ % every == 0)
                    both.compare(factors[random.below(static_cast<unsigned>(factors.size()))], P,
                                 factors[random.below(static_cast<unsigned>(factors.size()))], Q);
    // Sums that become infinite on the way, and go on from there.
    WCurve::Point const G = both.fixed.curve.fromEC(both.fixed.G);
    BigNum const& n = both.fixed.n;
    for (BigNum const& k : factors)
        if (k < n)
            for (unsigned shift : {0, 2, 3, 8})
                both.compare(k << shift, G, (n - k) << shift, G);
}

TEST_P(FixedCurve, CoordinatesThatAreNotReducedTakeTheGeneralPath) {
    BothPaths const both(GetParam());
    WCurve::Point P = both.fixed.curve.fromEC(both.fixed.G);
    P.X.value += both.fixed.p; // RedNum lets a sum be above the modulus
    both.compare(bn64(12345), P);
    both.compare(bn64(12345), P, bn64(54321), P);
}

TEST_P(FixedCurve, OnlyResultsTakeMemory) {
    NamedCurve const c(GetParam());
    WCurve::Point const G = c.curve.fromEC(c.G);
    BigNum const k = c.n - bn64(5);
    WCurve::Point P;
    size_t const results = 12; // three numbers, as often as a point is made and moved
    EXPECT_LE(test::allocationsOf([&] { P = c.curve.mul(k, G); }), results);
    EXPECT_LE(test::allocationsOf([&] { P = c.curve.mul2add(k, G, k, G); }), results);
}

INSTANTIATE_TEST_SUITE_P(NamedCurves, FixedCurve, testing::ValuesIn(allCurves),
                         [](auto const& curve) { return getCurveName(curve.param); });

} // namespace TEST_FILE

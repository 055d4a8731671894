#include "counting_reducer.h"
#include "named_curve.h"
#include "small_curve.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

namespace TEST_FILE {

// All moduli are 3 modulo 4; some of the groups have points of order two.
constexpr SmallCurve smallCurves[] = {{31, 2, 5}, {43, 5, 7}, {31, 30, 0}, {23, 20, 4}};

BigNum big(unsigned value) { return bn64(value); }

struct Scratch {
    RedNum temporaries[WCurve::addScratch];
    operator RedNum*() { return temporaries; }
};

/// A small curve as the library computes it.
struct Computed {
    SmallCurve small;
    BigNum p;
    WCurve curve;

    explicit Computed(SmallCurve const& s)
        : small(s), p(big(s.p)), curve(p, big(s.a), new MontgomeryReducer(p)) {}

    /// The element with Z = `z`, which is not 0.
    WCurve::Point point(SmallCurve::Element const& e, unsigned z = 1) const {
        if (!e)
            return infinity();
        unsigned const zz = z * z % small.p;
        return {residue(e->x * zz), residue(e->y * zz % small.p * z), residue(z)};
    }
    WCurve::Point infinity() const { return {residue(1), residue(1), residue(0)}; }
    RedNum residue(unsigned value) const { return curve.reducer->fromBigNum(big(value % small.p)); }

    SmallCurve::Element element(WCurve::Point point) const {
        if (curve.isInfinity(point))
            return {};
        ECPoint const affine = curve.toEC(std::move(point));
        return SmallCurve::Affine{affine.x.digits[0], affine.y.digits[0]};
    }
};

std::string text(SmallCurve::Element const& e) {
    return e ? "(" + std::to_string(e->x) + ", " + std::to_string(e->y) + ")" : "infinity";
}

TEST(WCurve, SmallCurvesHavePointsOfOrderTwo) {
    bool found = false;
    for (SmallCurve const& small : smallCurves)
        for (auto const& e : small.elements())
            found |= e && e->y == 0;
    EXPECT_TRUE(found);
}

TEST(WCurve, AddsAnyTwoPointsInAnyRepresentation) {
    Scratch scratch;
    for (SmallCurve const& small : smallCurves) {
        Computed const c(small);
        auto const all = small.elements();
        for (auto const& left : all)
            for (auto const& right : all)
                for (unsigned z : {1U, 2U, small.p - 1}) {
                    WCurve::Point P = c.point(left, z);
                    WCurve::Point const Q = c.point(right, 3);
                    c.curve.add(P, Q, scratch);
                    ASSERT_EQ(c.element(P), small.sum(left, right)) << text(left) << " + " << text(right);
                    ASSERT_EQ(c.element(Q), right);
                }
    }
}

TEST(WCurve, DoublesAnyPoint) {
    Scratch scratch;
    for (SmallCurve const& small : smallCurves) {
        Computed const c(small);
        for (auto const& e : small.elements())
            for (unsigned z = 1; z < small.p; ++z) {
                WCurve::Point P = c.point(e, z);
                c.curve.dbl(P, scratch);
                ASSERT_EQ(c.element(P), small.sum(e, e)) << text(e);
            }
    }
}

TEST(WCurve, AddsAPointToItself) {
    Scratch scratch;
    Computed const c(smallCurves[0]);
    for (auto const& e : c.small.elements()) {
        WCurve::Point P = c.point(e, 5);
        c.curve.add(P, P, scratch);
        EXPECT_EQ(c.element(P), c.small.sum(e, e));
    }
}

TEST(WCurve, MultipliesByAnyScalar) {
    for (SmallCurve const& small : smallCurves) {
        Computed const c(small);
        for (auto const& e : small.elements()) {
            SmallCurve::Element expected;
            for (unsigned k = 0; k < 70; ++k) {
                ASSERT_EQ(c.element(c.curve.mul(big(k), c.point(e, 2))), expected) << k << " * " << text(e);
                expected = small.sum(expected, e);
            }
        }
    }
}

TEST(WCurve, MultipliesTwoPointsJointly) {
    Computed const c(smallCurves[0]);
    auto const all = c.small.elements();
    for (size_t i = 0; i < all.size(); i += 5)
        for (size_t j = 0; j < all.size(); j += 7)
            for (unsigned k = 0; k < 20; ++k)
                for (unsigned l = 0; l < 20; l += 3) {
                    auto const expected =
                        c.small.sum(c.small.multiple(k, all[i]), c.small.multiple(l, all[j]));
                    auto const P = c.curve.mul2add(big(k), c.point(all[i], 2), big(l), c.point(all[j], 4));
                    ASSERT_EQ(c.element(P), expected) << k << text(all[i]) << l << text(all[j]);
                }
}

TEST(WCurve, DoublesWithTheFormulaOfMinusThreeWhenAIsZero) {
    Scratch scratch;
    SmallCurve const asGiven{31, 0, 3};
    for (unsigned a : {0U, 31U, 62U}) { // all are 0 modulo p
        BigNum const p = big(31);
        WCurve const curve(p, big(a), new MontgomeryReducer(p));
        EXPECT_EQ(curve.minusA.value, BigNum());
        EXPECT_EQ(curve.minusA.reducer, &RedNum::emptyReducer);
        unsigned differ = 0;
        for (auto const& e : asGiven.elements()) {
            if (!e || e->y == 0)
                continue;
            SmallCurve const minusThree{31, 28, 0}; // doubling does not look at b
            WCurve::Point P = curve.fromEC({big(e->x), big(e->y)});
            curve.dbl(P, scratch);
            ECPoint const doubled = curve.toEC(std::move(P));
            auto const expected = minusThree.sum(e, e);
            EXPECT_EQ(doubled, (ECPoint{big(expected->x), big(expected->y)}));
            differ += expected != asGiven.sum(e, e);
        }
        EXPECT_GT(differ, 0U);
    }
}

TEST(WCurve, StoresMinusA) {
    NamedCurve const c(Curve::p256);
    EXPECT_EQ(c.curve.reducer->toBigNum(RedNum(c.curve.minusA)), big(3));
    BigNum const p = big(31);
    WCurve const wide(p, big(31 + 4), new MontgomeryReducer(p));
    EXPECT_EQ(wide.reducer->toBigNum(RedNum(wide.minusA)), big(27));
}

TEST(WCurve, FieldsStandInOrder) {
    NamedCurve const c(Curve::p256);
    auto const at = [](void const* field) { return reinterpret_cast<uintptr_t>(field); };
    EXPECT_EQ(at(&c.curve), at(&c.curve.p));
    EXPECT_EQ(at(&c.curve.p + 1), at(&c.curve.reducer));
    EXPECT_EQ(at(&c.curve.reducer + 1), at(&c.curve.minusA));
    EXPECT_EQ(sizeof(WCurve), sizeof(BigNum) + sizeof(Reducer*) + sizeof(RedNum));
    static_assert(!std::is_polymorphic_v<WCurve>);

    WCurve::Point const P;
    EXPECT_EQ(at(&P), at(&P.X));
    EXPECT_EQ(at(&P.X + 1), at(&P.Y));
    EXPECT_EQ(at(&P.Y + 1), at(&P.Z));
    EXPECT_EQ(sizeof(WCurve::Point), 3 * sizeof(RedNum));
}

TEST(WCurve, CannotBeCopiedOrMoved) {
    static_assert(!std::is_copy_constructible_v<WCurve>);
    static_assert(!std::is_copy_assignable_v<WCurve>);
    static_assert(!std::is_move_constructible_v<WCurve>);
}

TEST(WCurve, DeletesItsReducerAndKeepsItsOwnModulus) {
    ReducerCounts counts;
    std::unique_ptr<WCurve> curve;
    {
        BigNum const passing = getModForECCurve(Curve::p192);
        curve = std::make_unique<WCurve>(passing, getAForECCurve(Curve::p192),
                                         newCountingReducer(passing, counts));
    }
    EXPECT_EQ(curve->reducer->modulus, &curve->p);
    NamedCurve const& c = namedCurve("p192");
    EXPECT_EQ(curve->toEC(curve->mul(big(5), curve->fromEC(c.G))), c.multipleOfG(big(5)));
    EXPECT_FALSE(counts.deleted);
    curve.reset();
    EXPECT_TRUE(counts.deleted);
}

TEST(WCurve, ConvertsToAffineAndBack) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        WCurve::Point G = c.curve.fromEC(c.G);
        EXPECT_EQ(G.Z.value, c.curve.reducer->fromBigNum(big(1)).value);
        EXPECT_EQ(c.curve.toEC(std::move(G)), c.G);
    }
}

TEST(WCurve, CoordinatesAreReducedModuloP) {
    NamedCurve const& c = namedCurve("p256");
    ECPoint const wide{c.G.x + c.p, c.G.y + c.p * c.p};
    EXPECT_EQ(c.curve.toEC(c.curve.fromEC(wide)), c.G);
    EXPECT_TRUE(c.contains(wide));
}

TEST(WCurve, PointAtInfinityComesOutAsNoPoint) {
    NamedCurve const& c = namedCurve("p256");
    EXPECT_TRUE(c.curve.isInfinity({}));
    EXPECT_EQ(c.curve.toEC({}), ECPoint{});
    WCurve::Point bound = c.curve.fromEC(c.G);
    bound.Z.value = BigNum();
    EXPECT_TRUE(c.curve.isInfinity(bound));
    EXPECT_EQ(c.curve.toEC(std::move(bound)), ECPoint{});
}

TEST(WCurve, InfinityIsNeutral) {
    NamedCurve const& c = namedCurve("p256");
    Scratch scratch;
    WCurve::Point const G = c.curve.fromEC(c.G);
    WCurve::Point P = G;
    c.curve.add(P, {}, scratch);
    EXPECT_EQ(c.curve.toEC(std::move(P)), c.G);
    P = {};
    c.curve.add(P, G, scratch);
    EXPECT_EQ(c.curve.toEC(std::move(P)), c.G);
    P = {};
    c.curve.dbl(P, scratch);
    EXPECT_TRUE(c.curve.isInfinity(P));
    c.curve.add(P, {}, scratch);
    EXPECT_TRUE(c.curve.isInfinity(P));
    EXPECT_TRUE(c.curve.isInfinity(c.curve.mul(big(77), {})));
    EXPECT_TRUE(c.curve.isInfinity(c.curve.mul2add(big(77), {}, big(5), {})));
}

TEST(WCurve, OppositePointsAddToInfinity) {
    Scratch scratch;
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        WCurve::Point P = c.curve.mul(big(9), c.curve.fromEC(c.G));
        ECPoint opposite = c.multipleOfG(big(9));
        opposite.y = c.p - opposite.y;
        c.curve.add(P, c.curve.fromEC(opposite), scratch);
        EXPECT_TRUE(c.curve.isInfinity(P));
    }
}

TEST(WCurve, EqualPointsOfDifferentRepresentationsDouble) {
    Scratch scratch;
    NamedCurve const& c = namedCurve("p384");
    WCurve::Point P = c.curve.mul(big(9), c.curve.fromEC(c.G)); // Z is not 1
    c.curve.add(P, c.curve.fromEC(c.multipleOfG(big(9))), scratch);
    EXPECT_EQ(c.curve.toEC(std::move(P)), c.multipleOfG(big(18)));
}

TEST_CASES(WCurve, MultiplesOfBasePoint, "ec/multiples.txt")(test::Case const& v) {
    NamedCurve const& c = namedCurve(v.text("curve"));
    EXPECT_EQ(c.multipleOfG(number(v.text("k"))), (ECPoint{number(v.text("x")), number(v.text("y"))}));
}

TEST_CASES(WCurve, SumsOfTwoMultiples, "ec/sums.txt")(test::Case const& v) {
    NamedCurve const& c = namedCurve(v.text("curve"));
    WCurve::Point const G = c.curve.fromEC(c.G);
    WCurve::Point const Q = c.curve.mul(number(v.text("q")), G);
    BigNum const k = number(v.text("k"));
    BigNum const l = number(v.text("l"));
    ECPoint const expected{number(v.text("x")), number(v.text("y"))};
    EXPECT_EQ(c.curve.toEC(c.curve.mul2add(k, G, l, Q)), expected);
    EXPECT_EQ(c.curve.toEC(c.curve.mul2add(l, Q, k, G)), expected);
}

TEST(WCurve, JointMultiplicationAgreesWithSeparateOnes) {
    std::mt19937 random(4711);
    Scratch scratch;
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        auto const scalar = [&] {
            BigNum k;
            k.digits.resize(1 + random() % c.n.size());
            for (unsigned& digit : k.digits)
                digit = random();
            k.clamp();
            return k;
        };
        WCurve::Point const G = c.curve.fromEC(c.G);
        WCurve::Point const Q = c.curve.mul(scalar(), G);
        for (unsigned i = 0; i < 4; ++i) {
            BigNum const k = scalar();
            BigNum const l = scalar();
            WCurve::Point P = c.curve.mul(k, G);
            c.curve.add(P, c.curve.mul(l, Q), scratch);
            EXPECT_EQ(c.curve.toEC(c.curve.mul2add(k, G, l, Q)), c.curve.toEC(std::move(P)));
        }
    }
}

TEST(WCurve, ScansScalarsInFourBitWindowsThatBeginAtAOne) {
    // The table of 8P … 15P takes three doublings and seven additions.
    struct {
        char const* k;
        unsigned doublings;
        unsigned additions;
    } const rows[] = {{"00", 0, 0},   // nothing to scan
                      {"01", 0, 0},   // an unfinished window: P is copied
                      {"05", 2, 1},   // 1, 10, 101: doubled for each bit
                      {"08", 0, 0},   // the first window is copied from the table
                      {"0f", 0, 0},   // so is this
                      {"10", 1, 0},   // 1000 0: a zero between windows doubles
                      {"8b", 4, 1},   // 1000 1011
                      {"90", 4, 0},   // 1001 0 0 0 0
                      {"0110", 5, 1}, // 1000 1000 0
                      {"0107", 5, 3}, // 1000 0 0 and 111, one by one
                      {"8000000000", 36, 0}, {"ffffffffff", 36, 9}};
    NamedCurve const& c = namedCurve("p192");
    for (auto const& row : rows) {
        ReducerCounts counts;
        WCurve const curve(c.p, c.a, newCountingReducer(c.p, counts));
        WCurve::Point const G = curve.fromEC(c.G);
        curve.mul(number(row.k), G);
        EXPECT_EQ(counts.doublings(), 3 + row.doublings) << row.k;
        EXPECT_EQ(counts.additions(), 7 + row.additions) << row.k;
    }
}

TEST(WCurve, ScansTwoScalarsTwoBitsAtATime) {
    // The table of iP + jQ takes two doublings and eleven additions.
    struct {
        char const* k;
        char const* l;
        unsigned doublings;
        unsigned additions;
    } const rows[] = {{"00", "00", 0, 0}, {"03", "02", 0, 0},    {"04", "01", 2, 1},
                      {"10", "00", 4, 0}, {"40", "0400", 10, 1}, {"ff", "ff", 6, 3}};
    NamedCurve const& c = namedCurve("p192");
    for (auto const& row : rows) {
        ReducerCounts counts;
        WCurve const curve(c.p, c.a, newCountingReducer(c.p, counts));
        WCurve::Point const G = curve.fromEC(c.G);
        WCurve::Point const Q = curve.fromEC(c.multipleOfG(big(1000)));
        curve.mul2add(number(row.k), G, number(row.l), Q);
        EXPECT_EQ(counts.doublings(), 2 + row.doublings) << row.k << ", " << row.l;
        EXPECT_EQ(counts.additions(), 11 + row.additions) << row.k << ", " << row.l;
    }
}

TEST(WCurve, SimpleScalars) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        WCurve::Point const G = c.curve.fromEC(c.G);
        EXPECT_EQ(c.curve.toEC(c.curve.mul(big(0), G)), ECPoint{});
        EXPECT_EQ(c.multipleOfG(big(1)), c.G);
        EXPECT_TRUE(c.curve.isInfinity(c.curve.mul(c.n, G)));
        EXPECT_EQ(c.multipleOfG(c.n - big(1)), (ECPoint{c.G.x, c.p - c.G.y}));
        EXPECT_EQ(c.multipleOfG(c.n + 1), c.G);
    }
}

TEST(WCurve, JointMultiplicationWithAZeroScalarIsAPlainOne) {
    NamedCurve const& c = namedCurve("p256");
    WCurve::Point const G = c.curve.fromEC(c.G);
    WCurve::Point const Q = c.curve.mul(big(1234567), G);
    BigNum const k = c.n - big(987654321);
    ECPoint const expected = c.multipleOfG(k);
    EXPECT_EQ(c.curve.toEC(c.curve.mul2add(k, G, big(0), Q)), expected);
    EXPECT_EQ(c.curve.toEC(c.curve.mul2add(big(0), Q, k, G)), expected);
    EXPECT_TRUE(c.curve.isInfinity(c.curve.mul2add(big(0), G, big(0), Q)));
    EXPECT_TRUE(c.curve.isInfinity(c.curve.mul2add(k, G, c.n - k, G)));
}

TEST(WCurve, AllOfASmallPlaneIsOnTheCurveOrNot) {
    for (SmallCurve const& small : smallCurves) {
        Computed const c(small);
        for (unsigned x = 0; x < small.p; ++x)
            for (unsigned y = 0; y < small.p; ++y)
                ASSERT_EQ(c.curve.isOnCurve(big(small.a), big(small.b), c.curve.fromEC({big(x), big(y)})),
                          small.contains(x, y))
                    << x << ", " << y;
    }
}

TEST(WCurve, NamedCurvesHoldNoNoPoint) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        EXPECT_FALSE(c.contains({}));
        EXPECT_FALSE(c.curve.isOnCurve(c.a, c.b, {}));
        EXPECT_FALSE(c.contains({c.G.x, c.G.y + 1}));
        EXPECT_FALSE(c.contains({c.G.x + 1, c.G.y}));
    }
}

TEST(WCurve, OnCurveTakesZToBeOne) {
    NamedCurve const& c = namedCurve("p256");
    WCurve::Point P = c.curve.fromEC(c.G);
    P.Z.value = BigNum();
    EXPECT_TRUE(c.curve.isOnCurve(c.a, c.b, std::move(P)));
}

TEST(WCurve, FindsRootsModuloASmallPrime) {
    for (SmallCurve const& small : smallCurves) { // all are 3 modulo 4
        Computed const c(small);
        for (unsigned x = 0; x < small.p; ++x) {
            bool expected = false; // a right-hand side of 0 does not count
            for (unsigned y = 1; y < small.p; ++y)
                expected |= small.contains(x, y);
            BigNum y = big(99);
            ASSERT_EQ(c.curve.getY(big(small.a), big(small.b), big(x), y), expected) << x;
            ASSERT_TRUE(expected ? small.contains(x, y.digits[0]) : y == big(99)) << x;
        }
    }
}

TEST(WCurve, RightHandSideOfZeroHasNoRoot) {
    SmallCurve const& small = smallCurves[2]; // y² = x³ − x: (0, 0), (1, 0) and (−1, 0)
    Computed const c(small);
    BigNum y;
    for (unsigned x : {0U, 1U, 30U}) {
        ASSERT_TRUE(small.contains(x, 0));
        EXPECT_FALSE(c.curve.getY(big(small.a), big(small.b), big(x), y));
    }
}

TEST(WCurve, RootsNeedThePrimeThatTheyAreMadeFor) {
    // The test for p ≡ 3 (mod 4) looks at byte ⌊n/4⌋: with four digits, at byte 1.
    struct {
        char const* p;
        bool taken;
        bool isThreeModFour;
    } const rows[] = {{"80c981b10e0b0c571dde8cee2227bb", true, true},
                      {"cfd58d7bdc968b7afb2c68774b15d7", false, true},
                      {"a7e652ce76e9f477216e9ee7a46309", true, false}};
    for (auto const& row : rows) {
        BigNum const p = number(row.p);
        ASSERT_EQ(p.size(), 4U);
        ASSERT_EQ((p.digits[0] & 3) == 3, row.isThreeModFour);
        WCurve const curve(p, big(1), new MontgomeryReducer(p));
        unsigned found = 0;
        for (unsigned x = 1; x < 40; ++x) {
            BigNum y;
            if (!curve.getY(big(1), big(1), big(x), y))
                continue;
            ++found;
            EXPECT_EQ(curve.isOnCurve(big(1), big(1), curve.fromEC({big(x), y})), row.isThreeModFour);
        }
        EXPECT_EQ(found > 0, row.taken) << row.p;
    }
}

TEST(WCurve, RootsExistOnAllNamedCurvesButP224) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        BigNum y;
        EXPECT_EQ(c.curve.getY(c.a, c.b, c.G.x, y), id != Curve::p224);
        EXPECT_TRUE(id == Curve::p224 || y == c.G.y || y == c.p - c.G.y);
    }
}

} // namespace TEST_FILE

#include "named_curve.h"
#include "sealkit/hash.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

BigNum one() { return bn64(1); }

/// A sum of powers of two with signs: {521, -0} is 2^521 - 1. Written as pairs, largest first.
struct Term {
    int sign;
    unsigned exponent;
};

BigNum sum(std::initializer_list<Term> terms) {
    BigNum total;
    for (Term const& term : terms) {
        if (term.sign > 0)
            total += one() << term.exponent;
        else
            total -= one() << term.exponent;
    }
    return total;
}

BigNum mod(BigNum const& x, BigNum const& p) {
    BigNum r;
    div(x, p, nullptr, &r);
    return r;
}

/// Miller-Rabin with the first twelve primes as bases: enough to notice a wrong digit.
bool looksPrime(BigNum const& n) {
    BigNum const top = n - one();
    unsigned const twos = lsb(top);
    BigNum const odd = top >> twos;
    for (unsigned base : {2U, 3U, 5U, 7U, 11U, 13U, 17U, 19U, 23U, 29U, 31U, 37U}) {
        BigNum power = expByMod(bn64(base), odd, n);
        bool passes = power == one() || power == top;
        for (unsigned i = 1; i < twos && !passes; ++i) {
            power = mod(power * power, n);
            passes = power == top;
        }
        if (!passes)
            return false;
    }
    return true;
}

/// c of FIPS 186-4, D.1.2.x: hashed from the seed as ANSI X9.62, A.3.3.1 says.
BigNum hashedFromSeed(std::vector<unsigned char> const& seed, unsigned fieldBits) {
    auto const sha1 = [](std::vector<unsigned char> const& bytes) {
        auto const hash = createHash(HashID::SHA1);
        hash->update(bytes.data(), static_cast<unsigned>(bytes.size()));
        std::string const digest = hash->digest();
        return BigNum(asn1::blob(digest));
    };
    unsigned const blocks = (fieldBits - 1) / 160;
    BigNum c = sha1(seed);
    c.modBy2Pow(fieldBits - 160 * blocks - 1);
    for (unsigned i = 1; i <= blocks; ++i) {
        BigNum next = BigNum(asn1::blob(seed)) + i;
        next.modBy2Pow(160);
        c <<= 160;
        c += sha1(next.bin(20));
    }
    return c;
}

TEST(NamedCurves, PrimesFollowTheirFormulas) {
    EXPECT_EQ(getModForECCurve(Curve::p192), sum({{1, 192}, {-1, 64}, {-1, 0}}));
    EXPECT_EQ(getModForECCurve(Curve::p224), sum({{1, 224}, {-1, 96}, {1, 0}}));
    EXPECT_EQ(getModForECCurve(Curve::p256), sum({{1, 256}, {-1, 224}, {1, 192}, {1, 96}, {-1, 0}}));
    EXPECT_EQ(getModForECCurve(Curve::p384), sum({{1, 384}, {-1, 128}, {-1, 96}, {1, 32}, {-1, 0}}));
    EXPECT_EQ(getModForECCurve(Curve::p521), sum({{1, 521}, {-1, 0}}));
}

TEST(NamedCurves, ModuliAndOrdersArePrime) {
    for (Curve id : allCurves) {
        EXPECT_TRUE(looksPrime(getModForECCurve(id))) << getCurveName(id);
        EXPECT_TRUE(looksPrime(getOrderForECCurve(id))) << getCurveName(id);
    }
}

TEST(NamedCurves, CoefficientBComesFromItsPublishedSeed) {
    char const* const seeds[] = {
        "3045ae6fc8422f64ed579528d38120eae12196d5", "bd71344799d5c7fcdc45b59fa3b9ab8f6a948bc5",
        "c49d360886e704936a6678e1139d26b7819f7e90", "a335926aa319a27a1d00896a6773a4827acdac73",
        "d09e8800291cb85396cc6717393284aaa0da64ba"};
    for (unsigned i = 0; i < 5; ++i) {
        BigNum const p = getModForECCurve(i + 1);
        BigNum const b = getBForECCurve(i + 1);
        BigNum const c = hashedFromSeed(test::hex(seeds[i]), p.bits());
        EXPECT_EQ(mod(mod(b * b, p) * c, p), p - bn64(27)) << getCurveName(i + 1);
    }
}

TEST(NamedCurves, CoefficientAIsMinusThree) {
    for (Curve id : allCurves)
        EXPECT_EQ(getAForECCurve(id) + 3, getModForECCurve(id));
}

TEST(NamedCurves, DiscriminantIsNotZero) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        EXPECT_NE(mod(c.a * c.a * c.a * 4 + c.b * c.b * 27, c.p), BigNum());
    }
}

TEST(NamedCurves, BasePointLiesOnTheCurveAndHasTheGivenOrder) {
    for (Curve id : allCurves) {
        NamedCurve const c(id);
        EXPECT_TRUE(c.contains(c.G)) << getCurveName(id);
        EXPECT_EQ(c.multipleOfG(c.n), ECPoint{}) << getCurveName(id);
        EXPECT_NE(c.multipleOfG(c.n + 1), ECPoint{}) << getCurveName(id);
    }
}

TEST(NamedCurves, OrdersObeyHassesBound) {
    for (Curve id : allCurves) { // |p + 1 − n| ≤ 2√p, and a cofactor of 1
        BigNum const p = getModForECCurve(id);
        BigNum const n = getOrderForECCurve(id);
        BigNum const trace = p + 1 < n ? n - (p + 1) : p + 1 - n;
        EXPECT_LE(trace * trace, p * 4);
    }
}

TEST(NamedCurves, LengthsAndNames) {
    struct {
        Curve id;
        char const* name;
        unsigned len;
    } const rows[] = {{Curve::p192, "p192", 24},
                      {Curve::p224, "p224", 28},
                      {Curve::p256, "p256", 32},
                      {Curve::p384, "p384", 48},
                      {Curve::p521, "p521", 66}};
    unsigned value = 0;
    for (auto const& row : rows) {
        EXPECT_EQ(static_cast<unsigned>(row.id), ++value);
        EXPECT_EQ(getCurveName(row.id), row.name);
        EXPECT_EQ(getCurveName(value), row.name);
        EXPECT_EQ(getModLen(row.id), row.len);
        EXPECT_EQ(getModLen(value), row.len);
        EXPECT_EQ(row.len, (getModForECCurve(row.id).bits() + 7) / 8);
    }
}

TEST(NamedCurves, PlainNumbersGiveTheSameParameters) {
    for (Curve id : allCurves) {
        auto const value = static_cast<unsigned>(id);
        EXPECT_EQ(getModForECCurve(id), getModForECCurve(value));
        EXPECT_EQ(getOrderForECCurve(id), getOrderForECCurve(value));
        EXPECT_EQ(getAForECCurve(id), getAForECCurve(value));
        EXPECT_EQ(getBForECCurve(id), getBForECCurve(value));
        BigNum p, n, p2, n2;
        ECPoint G, G2;
        getECParams(id, p, n, G);
        getECParams(value, p2, n2, G2);
        EXPECT_EQ(p, getModForECCurve(id));
        EXPECT_EQ(n, getOrderForECCurve(id));
        EXPECT_EQ(p, p2);
        EXPECT_EQ(n, n2);
        EXPECT_EQ(G, G2);
    }
}

TEST(NamedCurves, EachHasItsOwnParameterFunction) {
    void (*const functions[])(BigNum&, BigNum&, ECPoint&) = {
        getECParamsForP192, getECParamsForP224, getECParamsForP256, getECParamsForP384, getECParamsForP521};
    for (unsigned i = 0; i < 5; ++i) {
        NamedCurve const c(allCurves[i]);
        BigNum p, n;
        ECPoint G;
        functions[i](p, n, G);
        EXPECT_EQ(p, c.p);
        EXPECT_EQ(n, c.n);
        EXPECT_EQ(G, c.G);
    }
}

TEST(NamedCurves, UnknownValuesHaveZeroParameters) {
    for (unsigned value : {0U, 6U, 0x10U, 0xffffffffU}) {
        EXPECT_EQ(getModLen(value), 0U);
        EXPECT_EQ(getModForECCurve(value), BigNum());
        EXPECT_EQ(getOrderForECCurve(value), BigNum());
        EXPECT_EQ(getAForECCurve(value), BigNum());
        EXPECT_EQ(getBForECCurve(value), BigNum());
        BigNum p = one(), n = one();
        ECPoint G{one(), one()};
        getECParams(value, p, n, G);
        EXPECT_EQ(p, BigNum());
        EXPECT_EQ(n, BigNum());
        EXPECT_EQ(G, ECPoint{});
    }
}

TEST(NamedCurves, NameOfAnUnknownValueIsItsNumberInHexadecimal) {
    EXPECT_EQ(getCurveName(6), "6");
    EXPECT_EQ(getCurveName(0), "0");
    EXPECT_EQ(getCurveName(26), "1a");
    EXPECT_EQ(getCurveName(Curve{0xffffffff}), "ffffffff");
}

} // namespace TEST_FILE

#include "numbers.h"

#include <gtest/gtest.h>

using test::number;

namespace TEST_FILE {

BigNum const zero;
BigNum const one = bn2(1, 0);

TEST_CASES(Gcd, agrees_with_known_values, "bignum/gcd.txt")(test::Case const& c) {
    BigNum const a = number(c, "a");
    BigNum const b = number(c, "b");
    BigNum const expected = number(c, "gcd");
    BigNum const multiple = number(c, "lcm");
    EXPECT_EQ(gcd(a, b), expected);
    EXPECT_EQ(gcd(b, a), expected);
    EXPECT_EQ(lcm(a, b), multiple);
    EXPECT_EQ(lcm(b, a), multiple);
}

TEST(Gcd, with_zero_is_the_other_number) {
    EXPECT_EQ(gcd(zero, bn2(6, 7)), bn2(6, 7));
    EXPECT_EQ(gcd(bn2(6, 7), zero), bn2(6, 7));
    EXPECT_EQ(gcd(zero, zero), zero);
}

TEST(Gcd, of_a_number_and_itself_is_that_number) {
    BigNum const a = bn3(0, 6, 7);
    EXPECT_EQ(gcd(a, a), a);
    EXPECT_EQ(lcm(a, a), a);
}

TEST(Lcm, of_zero_is_zero) {
    EXPECT_EQ(lcm(zero, zero), zero);
    EXPECT_EQ(lcm(zero, bn2(5, 0)), zero);
    EXPECT_EQ(lcm(bn2(5, 0), zero), zero);
}

/// x * a + y * b, where the sum is not negative.
BigNum combined(SignedBigNum const& x, BigNum const& a, SignedBigNum const& y, BigNum const& b) {
    SignedBigNum sum;
    sum.add(x.magnitude * a, x.negative);
    sum.add(y.magnitude * b, y.negative);
    EXPECT_TRUE(!sum.negative || sum.magnitude == zero);
    return sum.magnitude;
}

TEST(ExtendedGcd, gives_coefficients_of_the_gcd) {
    test::RandomDigits random(9);
    for (unsigned i = 0; i < 300; ++i) {
        BigNum a = random.number(1 + i % 9);
        BigNum b = random.number(1 + i / 9 % 9);
        a <<= random.below(40);
        b <<= random.below(40);
        if (a == zero || b == zero)
            continue;
        SignedBigNum x, y;
        BigNum g;
        begcd(&x, &y, &g, a, b);
        EXPECT_EQ(g, gcd(a, b));
        EXPECT_EQ(combined(x, a, y, b), g) << a.str() << ", " << b.str();

        // Each result is the same when the others are not asked for.
        SignedBigNum alone;
        begcd(&alone, nullptr, nullptr, a, b);
        EXPECT_EQ(alone.magnitude, x.magnitude);
        EXPECT_EQ(alone.negative, x.negative);
        begcd(nullptr, &alone, nullptr, a, b);
        EXPECT_EQ(alone.magnitude, y.magnitude);
        EXPECT_EQ(alone.negative, y.negative);
        BigNum onlyG;
        begcd(nullptr, nullptr, &onlyG, a, b);
        EXPECT_EQ(onlyG, g);
    }
}

TEST(ExtendedGcd, takes_the_steps_of_the_binary_algorithm) {
    // Worked by hand: 693 * (-181) + 609 * 206 = 21 (Handbook of Applied Cryptography, example 14.62).
    SignedBigNum x, y;
    BigNum g;
    begcd(&x, &y, &g, bn2(693, 0), bn2(609, 0));
    EXPECT_EQ(g, bn2(21, 0));
    EXPECT_EQ(x.magnitude, bn2(181, 0));
    EXPECT_TRUE(x.negative);
    EXPECT_EQ(y.magnitude, bn2(206, 0));
    EXPECT_FALSE(y.negative);
}

TEST(ExtendedGcd, of_zero_has_zero_coefficients) {
    BigNum const pairs[][2] = {{zero, bn2(6, 0)}, {bn2(6, 0), zero}, {zero, zero}};
    for (auto const& [a, b] : pairs) {
        SignedBigNum x = {bn2(9, 9), true}, y = {bn2(9, 9), true};
        BigNum g = bn2(9, 9);
        begcd(&x, &y, &g, a, b);
        EXPECT_EQ(x.magnitude, zero);
        EXPECT_FALSE(x.negative);
        EXPECT_EQ(y.magnitude, zero);
        EXPECT_FALSE(y.negative);
        EXPECT_EQ(g, gcd(a, b));
        begcd(nullptr, nullptr, nullptr, a, b);
    }
}

TEST_CASES(Inverse, agrees_with_known_values, "bignum/inverse.txt")(test::Case const& c) {
    BigNum a = number(c, "a");
    BigNum m = number(c, "modulus");
    BigNum const expected = number(c, "inverse");
    EXPECT_EQ(invByMod(a, m), expected);
    a = invByMod(a, m);
    EXPECT_EQ(a, expected) << "over an operand";
}

TEST(Inverse, of_three_modulo_seven_is_five) { EXPECT_EQ(invByMod(bn2(3, 0), bn2(7, 0)), bn2(5, 0)); }

TEST(Inverse, that_does_not_exist_is_the_coefficient_of_the_gcd) {
    // 2 * 1 + 4 * 0 = 2, and the rest likewise.
    EXPECT_EQ(invByMod(bn2(2, 0), bn2(4, 0)), one);
    for (unsigned m = 1; m < 60; ++m) {
        for (unsigned a = 0; a < m + 3; ++a) {
            BigNum const modulus = bn2(m, 0);
            BigNum const x = invByMod(bn2(a, 0), modulus);
            EXPECT_LT(x, modulus);
            BigNum left, right;
            div(x * a, modulus, nullptr, &left);
            div(a % m == 0 ? zero : gcd(bn2(a % m, 0), modulus), modulus, nullptr, &right);
            EXPECT_EQ(left, right) << a << " mod " << m;
        }
    }
}

TEST(Inverse, of_zero_is_zero) {
    EXPECT_EQ(invByMod(zero, bn2(7, 0)), zero);
    EXPECT_EQ(invByMod(bn2(14, 0), bn2(7, 0)), zero);
    EXPECT_EQ(invByMod(bn2(14, 0), one), zero);
}

} // namespace TEST_FILE

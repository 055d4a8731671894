#include "numbers.h"

#include <gtest/gtest.h>

using test::Digits;
using test::digitsOf;
using test::number;

namespace TEST_FILE {

void expectDivision(BigNum const& a, BigNum const& b, BigNum const& quotient, BigNum const& remainder) {
    BigNum q = bn3(7, 7, 7);
    BigNum r = bn3(8, 8, 8);
    div(a, b, &q, &r);
    EXPECT_EQ(q, quotient);
    EXPECT_EQ(r, remainder);
    EXPECT_TRUE(test::isClamped(q));
    EXPECT_TRUE(test::isClamped(r));
    div(a, b, nullptr, nullptr);

    // Either result alone, and results over operands in every combination.
    BigNum x = a, y = b;
    div(x, y, &x, nullptr);
    EXPECT_EQ(x, quotient);
    x = a;
    div(x, y, nullptr, &x);
    EXPECT_EQ(x, remainder);
    x = a;
    div(x, y, &y, nullptr);
    EXPECT_EQ(y, quotient);
    y = b;
    div(x, y, nullptr, &y);
    EXPECT_EQ(y, remainder);
    y = b;
    div(x, y, &x, &y);
    EXPECT_EQ(x, quotient);
    EXPECT_EQ(y, remainder);
    x = a;
    y = b;
    div(x, y, &y, &x);
    EXPECT_EQ(y, quotient);
    EXPECT_EQ(x, remainder);
}

TEST_CASES(Division, agrees_with_known_quotients_and_remainders, "bignum/division.txt")(test::Case const& c) {
    expectDivision(number(c, "dividend"), number(c, "divisor"), number(c, "quotient"),
                   number(c, "remainder"));
}

TEST(Division, of_a_smaller_number_gives_that_number) {
    expectDivision(bn2(5, 0), bn2(7, 0), BigNum(), bn2(5, 0));
    expectDivision(BigNum(), bn2(7, 9), BigNum(), BigNum());
}

TEST(Division, by_one_gives_the_number) { expectDivision(bn3(1, 2, 3), bn2(1, 0), bn3(1, 2, 3), BigNum()); }

TEST(Division, needs_no_shift_when_the_top_bit_of_the_divisor_is_set) {
    BigNum const b = bn2(3, 0x80000000);
    expectDivision(b * bn3(5, 6, 7) + 1, b, bn3(5, 6, 7), bn2(1, 0));
}

TEST(Division, multiplied_back_gives_the_dividend) {
    test::RandomDigits random(8);
    for (unsigned i = 0; i < 3000; ++i) {
        BigNum const a = random.number(random.below(40));
        BigNum const b = random.number(1 + random.below(20));
        if (b.bits() == 0)
            continue;
        BigNum q, r;
        div(a, b, &q, &r);
        EXPECT_LT(r, b);
        EXPECT_EQ(q * b + r, a);
    }
}

TEST(Division, hits_every_shift_of_the_divisor) {
    BigNum const a = number(std::string(100, 'e'));
    for (unsigned bits = 1; bits < 200; ++bits) {
        BigNum const b = (bn2(1, 0) << bits) - bn2(1, 0);
        BigNum q, r;
        div(a, b, &q, &r);
        EXPECT_LT(r, b);
        EXPECT_EQ(q * b + r, a);
    }
}

} // namespace TEST_FILE

#include "numbers.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

using test::Digits;
using test::digitsOf;
using test::number;

namespace TEST_FILE {

BigNum const zero;
BigNum const one = bn2(1, 0);

TEST(BigNum, is_zero_when_default_built) {
    EXPECT_EQ(digitsOf(BigNum()), Digits{0});
    EXPECT_EQ(BigNum().size(), 1u);
}

TEST(BigNum, is_built_from_digits_least_significant_first) {
    EXPECT_EQ(digitsOf(bn2(5, 7)), (Digits{5, 7}));
    EXPECT_EQ(digitsOf(bn2(5, 0)), Digits{5});
    EXPECT_EQ(digitsOf(bn3(1, 2, 3)), (Digits{1, 2, 3}));
    EXPECT_EQ(digitsOf(bn3(1, 2, 0)), (Digits{1, 2}));
    EXPECT_EQ(digitsOf(bn3(0, 0, 0)), Digits{0});
    EXPECT_EQ(digitsOf(bn64(0x0123456789abcdefULL)), (Digits{0x89abcdef, 0x01234567}));
    EXPECT_EQ(digitsOf(bn64(0xffffffff)), Digits{0xffffffff});
    EXPECT_EQ(digitsOf(bn64(0)), Digits{0});
}

TEST(BigNum, is_not_built_from_plain_integers) {
    EXPECT_FALSE((std::is_constructible_v<BigNum, int>));
    EXPECT_FALSE((std::is_constructible_v<BigNum, unsigned long long>));
}

TEST(BigNum, holds_its_digits_and_nothing_else) {
    BigNum x = bn2(1, 2);
    EXPECT_EQ(sizeof x, sizeof x.digits);
    EXPECT_EQ(static_cast<void*>(&x), static_cast<void*>(&x.digits));
    EXPECT_EQ(sizeof x.digits[0], 4u);
}

TEST(BigNum, clamp_removes_zero_digits_from_the_top_but_keeps_one) {
    BigNum x;
    x.digits = {1, 0, 2, 0, 0};
    x.clamp();
    EXPECT_EQ(digitsOf(x), (Digits{1, 0, 2}));
    x.digits.assign(9, 0);
    x.clamp();
    EXPECT_EQ(digitsOf(x), Digits{0});
}

TEST(BigNum, counts_significant_bits) {
    EXPECT_EQ(zero.bits(), 0u);
    EXPECT_EQ(one.bits(), 1u);
    EXPECT_EQ(bn2(0x80000000, 0).bits(), 32u);
    EXPECT_EQ(bn2(0, 1).bits(), 33u);
    EXPECT_EQ(bn3(0, 0, 0xff).bits(), 72u);
}

TEST(BigNum, reads_bits_beyond_the_top_digit_as_zero) {
    BigNum x = bn2(0x80000001, 2);
    EXPECT_TRUE(x.getBit(0));
    EXPECT_FALSE(x.getBit(1));
    EXPECT_TRUE(x.getBit(31));
    EXPECT_FALSE(x.getBit(32));
    EXPECT_TRUE(x.getBit(33));
    EXPECT_FALSE(x.getBit(63));
    EXPECT_FALSE(x.getBit(64));
    EXPECT_FALSE(x.getBit(0xffffffff));
}

TEST(BigNum, finds_the_lowest_set_bit) {
    EXPECT_EQ(lsb(zero), 0u);
    EXPECT_EQ(lsb(one), 0u);
    EXPECT_EQ(lsb(bn2(0x50, 0)), 4u);
    EXPECT_EQ(lsb(bn2(0, 1)), 32u);
    EXPECT_EQ(lsb(bn3(0, 0, 0x80000000)), 95u);
}

TEST(BigNum, compares_by_size_and_then_from_the_top) {
    BigNum const ascending[] = {zero, one, bn2(0xffffffff, 0), bn2(0, 1), bn2(5, 1), bn2(0, 2), bn3(0, 0, 1)};
    for (BigNum const& a : ascending) {
        for (BigNum const& b : ascending) {
            EXPECT_EQ(a < b, &a < &b);
            EXPECT_EQ(a > b, &a > &b);
            EXPECT_EQ(a <= b, &a <= &b);
            EXPECT_EQ(a >= b, &a >= &b);
            EXPECT_EQ(a == b, &a == &b);
            EXPECT_EQ(a != b, &a != &b);
        }
    }
}

TEST(BigNum, set_bit_appends_digits_and_does_not_clamp) {
    BigNum x;
    x.setBit(70, true);
    EXPECT_EQ(digitsOf(x), (Digits{0, 0, 64}));
    x.setBit(3, true);
    EXPECT_EQ(digitsOf(x), (Digits{8, 0, 64}));
    x.setBit(70, false);
    EXPECT_EQ(digitsOf(x), (Digits{8, 0, 0}));
    x.clamp();
    x.setBit(33, false);
    EXPECT_EQ(digitsOf(x), (Digits{8, 0}));
}

TEST(BigNum, mod_by_2_pow_keeps_the_low_bits) {
    auto mod = [](BigNum x, unsigned n) {
        x.modBy2Pow(n);
        return digitsOf(x);
    };
    EXPECT_EQ(mod(bn2(7, 9), 32), Digits{7});
    EXPECT_EQ(mod(bn2(7, 9), 33), (Digits{7, 1}));
    EXPECT_EQ(mod(bn2(7, 8), 34), Digits{7});
    EXPECT_EQ(mod(bn2(7, 9), 2), Digits{3});
    EXPECT_EQ(mod(bn2(7, 9), 0), Digits{0});
    EXPECT_EQ(mod(zero, 0), Digits{0});
    for (unsigned n : {64U, 65U, 96U, 0xffffffffU})
        EXPECT_EQ(mod(bn2(7, 0xffffffff), n), (Digits{7, 0xffffffff})) << n;
    EXPECT_EQ(mod(bn2(7, 0xffffffff), 63), (Digits{7, 0x7fffffff}));
}

TEST(BigNum, shifts_by_whole_digits) {
    BigNum x = bn2(1, 2);
    x.shiftLeftByDigits(2);
    EXPECT_EQ(digitsOf(x), (Digits{0, 0, 1, 2}));
    x.shiftLeftByDigits(0);
    x.shiftRightByDigits(0);
    EXPECT_EQ(digitsOf(x), (Digits{0, 0, 1, 2}));
    x.shiftRightByDigits(3);
    EXPECT_EQ(digitsOf(x), Digits{2});
    x.shiftRightByDigits(1);
    EXPECT_EQ(digitsOf(x), Digits{0});
    x.shiftRightByDigits(5);
    EXPECT_EQ(digitsOf(x), Digits{0});
    x.shiftLeftByDigits(3);
    EXPECT_EQ(digitsOf(x), Digits{0});
}

TEST(BigNum, shifts_by_bits_carry_between_digits) {
    EXPECT_EQ(digitsOf(bn2(0x80000001, 0) << 1), (Digits{2, 1}));
    EXPECT_EQ(digitsOf(bn2(0xffffffff, 0xffffffff) << 4), (Digits{0xfffffff0, 0xffffffff, 0xf}));
    EXPECT_EQ(digitsOf(bn2(3, 0) << 64), (Digits{0, 0, 3}));
    EXPECT_EQ(digitsOf(bn2(2, 1) >> 1), (Digits{0x80000001}));
    EXPECT_EQ(digitsOf(bn3(0, 6, 0) >> 33), Digits{3});
    EXPECT_EQ(digitsOf(bn3(1, 2, 3) >> 64), Digits{3});
    EXPECT_EQ(digitsOf(bn3(1, 2, 3) >> 66), Digits{0});
    EXPECT_EQ(digitsOf(bn3(1, 2, 3) >> 96), Digits{0});
    EXPECT_EQ(digitsOf(bn3(1, 2, 3) >> 0xffffffff), Digits{0});
    EXPECT_EQ(digitsOf(zero << 100), Digits{0});
}

TEST(BigNum, one_shifted_left_is_a_power_of_two) {
    for (unsigned n : {0U, 1U, 31U, 32U, 33U, 255U, 256U}) {
        BigNum power = one << n;
        EXPECT_EQ(power.bits(), n + 1);
        EXPECT_EQ(lsb(power), n);
        EXPECT_EQ(BigNum(one) << n, power) << "through the general shift";
    }
}

TEST(BigNum, shifting_there_and_back_gives_the_same_number) {
    test::RandomDigits random(1);
    for (unsigned n = 0; n < 140; ++n) {
        BigNum const x = random.number(1 + n % 9);
        BigNum shifted = x;
        shifted <<= n;
        EXPECT_TRUE(test::isClamped(shifted));
        EXPECT_EQ(shifted, x * (one << n));
        EXPECT_EQ(shifted >> n, x);
    }
}

TEST(BigNum, adds_with_carry_into_a_new_digit) {
    BigNum x = bn2(0xffffffff, 0xffffffff);
    x += one;
    EXPECT_EQ(digitsOf(x), (Digits{0, 0, 1}));
    x += bn2(0, 5);
    EXPECT_EQ(digitsOf(x), (Digits{0, 5, 1}));
    BigNum small = one;
    small += bn3(0xffffffff, 0xffffffff, 0xffffffff);
    EXPECT_EQ(digitsOf(small), (Digits{0, 0, 0, 1}));
    small += small;
    EXPECT_EQ(digitsOf(small), (Digits{0, 0, 0, 2}));
}

TEST(BigNum, subtracts_with_borrow_and_clamps) {
    BigNum x = bn3(0, 0, 1);
    x -= one;
    EXPECT_EQ(digitsOf(x), (Digits{0xffffffff, 0xffffffff}));
    x -= bn2(0, 0xffffffff);
    EXPECT_EQ(digitsOf(x), Digits{0xffffffff});
    BigNum const& same = x;
    x -= same;
    EXPECT_EQ(digitsOf(x), Digits{0});
}

TEST(BigNum, subtracting_more_of_the_same_size_wraps_around_unnoticed) {
    BigNum x = bn2(3, 1);
    x -= bn2(5, 1);
    EXPECT_EQ(digitsOf(x), (Digits{0xfffffffe, 0xffffffff}));
    BigNum one_digit = bn2(1, 0);
    one_digit -= bn2(2, 0);
    EXPECT_EQ(digitsOf(one_digit), Digits{0xffffffff});
}

TEST(BigNumDeathTest, subtracting_a_number_of_more_digits_aborts) {
    BigNum x = bn2(5, 0);
    BigNum const wider = bn2(0, 1);
    EXPECT_DEATH(x -= wider, "bignum\\.cpp:[0-9]+: operator-=: .*size\\(\\) >= x\\.size\\(\\)");
}

TEST(BigNum, adds_and_multiplies_by_one_word) {
    BigNum x = bn2(0xffffffff, 0xffffffff);
    x += 2;
    EXPECT_EQ(digitsOf(x), (Digits{1, 0, 1}));
    x = bn2(0xffffffff, 0xffffffff);
    x *= 0xffffffff;
    EXPECT_EQ(x.str(), "fffffffeffffffff00000001");
    x *= 0;
    EXPECT_EQ(digitsOf(x), Digits{0});
    x += 0;
    EXPECT_EQ(digitsOf(x), Digits{0});
}

TEST(BigNum, adds_a_word_at_any_digit) {
    BigNum x = bn2(0xffffffff, 0xffffffff);
    x.addToDigit(1, 1);
    EXPECT_EQ(digitsOf(x), (Digits{0xffffffff, 0, 1}));
    x.addToDigit(5, 7);
    EXPECT_EQ(digitsOf(x), (Digits{0xffffffff, 0, 1, 0, 0, 7}));
    x.addToDigit(9, 0);
    EXPECT_EQ(x.size(), 6u);
    x = bn3(5, 0xffffffff, 0xffffffff);
    x.addToDigit(0, 0xfffffffb);
    EXPECT_EQ(digitsOf(x), (Digits{0, 0, 0, 1}));
}

TEST(BigNum, sums_and_differences_agree_in_every_form) {
    test::RandomDigits random(2);
    for (unsigned i = 0; i < 300; ++i) {
        BigNum const a = random.number(random.below(12));
        BigNum const b = random.number(random.below(12));
        BigNum const sum = a + b;
        EXPECT_TRUE(test::isClamped(sum));
        EXPECT_EQ(sum - a, b);
        EXPECT_EQ(sum - b, a);
        EXPECT_EQ(b + a, sum);
        EXPECT_EQ(BigNum(a) + b, sum);
        EXPECT_EQ(a + BigNum(b), sum);
        EXPECT_EQ(BigNum(a) + BigNum(b), sum);
        unsigned word = random();
        EXPECT_EQ(a + word, a + bn2(word, 0));
        EXPECT_EQ(a * word, a * bn2(word, 0));
    }
}

TEST(BigNum, operators_on_temporaries_reuse_their_storage) {
    BigNum a = bn3(1, 2, 3);
    a.digits.reserve(16);
    unsigned const* storage = a.digits.data();
    BigNum b = std::move(a) + bn2(1, 1);
    b = std::move(b) - one;
    b = bn2(4, 4) + std::move(b);
    b = std::move(b) << 33;
    b = std::move(b) >> 7;
    b = std::move(b) * 9;
    b = std::move(b) + 1;
    EXPECT_EQ(b.digits.data(), storage);
}

TEST(SignedBigNum, begins_with_its_magnitude_and_is_positive) {
    SignedBigNum x;
    EXPECT_EQ(static_cast<void*>(&x), static_cast<void*>(&x.magnitude));
    EXPECT_EQ(static_cast<void*>(&x.negative), static_cast<void*>(&x.magnitude + 1));
    EXPECT_EQ(x.magnitude, zero);
    EXPECT_FALSE(x.negative);
}

TEST(SignedBigNum, adds_signed_values) {
    auto sum = [](SignedBigNum x, BigNum const& y, bool minus) {
        x.add(y, minus);
        return (x.negative ? "-" : "+") + x.magnitude.strDec();
    };
    BigNum const five = bn2(5, 0);
    EXPECT_EQ(sum({five, false}, bn2(3, 0), true), "+2");
    EXPECT_EQ(sum({five, false}, bn2(7, 0), true), "-2");
    EXPECT_EQ(sum({five, false}, five, true), "+0");
    EXPECT_EQ(sum({five, true}, five, false), "-0");
    EXPECT_EQ(sum({five, false}, bn2(3, 0), false), "+8");
    EXPECT_EQ(sum({five, true}, bn2(3, 0), true), "-8");
    EXPECT_EQ(sum({five, true}, bn2(7, 0), false), "+2");
    EXPECT_EQ(sum({five, true}, bn2(3, 0), false), "-2");
    EXPECT_EQ(sum({five, false}, bn2(0, 1), true), "-4294967291");
    EXPECT_EQ(sum({zero, true}, zero, false), "-0");
}

} // namespace TEST_FILE

#include "numbers.h"

#include <gtest/gtest.h>

using test::Digits;
using test::digitsOf;
using test::number;

namespace TEST_FILE {

BigNum const p25519 = (bn2(1, 0) << 255) - bn2(19, 0);

TEST_CASES(Multiplication, agrees_with_known_products, "bignum/product.txt")(test::Case const& c) {
    BigNum const a = number(c, "a");
    BigNum const b = number(c, "b");
    BigNum const expected = number(c, "product");
    BigNum r;
    mul(r, a, b);
    EXPECT_EQ(r, expected);
    EXPECT_TRUE(test::isClamped(r));
    mul(r, b, a);
    EXPECT_EQ(r, expected) << "b * a over an earlier result";
    EXPECT_EQ(a * b, expected);
    BigNum member = a;
    member *= b;
    EXPECT_EQ(member, expected);
}

TEST_CASES(Multiplication, may_write_over_its_operands, "bignum/product.txt")(test::Case const& c) {
    BigNum const a = number(c, "a");
    BigNum const b = number(c, "b");
    BigNum const expected = number(c, "product");
    BigNum r = a;
    mul(r, r, b);
    EXPECT_EQ(r, expected);
    r = b;
    mul(r, a, r);
    EXPECT_EQ(r, expected);
    r = a;
    mul(r, r, r);
    BigNum square;
    sqr(square, a);
    EXPECT_EQ(r, square);
}

TEST_CASES(Multiplication, agrees_with_known_squares, "bignum/square.txt")(test::Case const& c) {
    BigNum const a = number(c, "a");
    BigNum const expected = number(c, "square");
    BigNum r = bn3(1, 2, 3);
    sqr(r, a);
    EXPECT_EQ(r, expected);
    EXPECT_TRUE(test::isClamped(r));
    r = a;
    sqr(r, r);
    EXPECT_EQ(r, expected) << "in place";
    BigNum const copy = a;
    mul(r, a, copy);
    EXPECT_EQ(r, expected) << "as a product";
}

TEST(Multiplication, by_zero_gives_the_single_digit_zero) {
    BigNum r = bn3(1, 2, 3);
    mul(r, BigNum(), bn3(9, 9, 9));
    EXPECT_EQ(digitsOf(r), Digits{0});
    mul(r, bn3(9, 9, 9), BigNum());
    EXPECT_EQ(digitsOf(r), Digits{0});
    sqr(r, BigNum());
    EXPECT_EQ(digitsOf(r), Digits{0});
}

TEST(Multiplication, of_the_largest_digits_gives_two_digits) {
    BigNum const largest = bn2(0xffffffff, 0);
    EXPECT_EQ(digitsOf(largest * largest), (Digits{0x00000001, 0xfffffffe}));
}

TEST(Multiplication, of_256_bits_agrees_with_the_general_one) {
    test::RandomDigits random(4);
    for (unsigned i = 0; i < 400; ++i) {
        BigNum const a = random.number(i < 81 ? i % 9 : 8);
        BigNum const b = random.number(i < 81 ? i / 9 : 8);
        BigNum expected, r;
        mul(expected, a, b);
        mul256(r, a, b);
        EXPECT_EQ(r, expected);
        r = a;
        mul256(r, r, b);
        EXPECT_EQ(r, expected);
        sqr(expected, a);
        sqr256(r, a);
        EXPECT_EQ(r, expected);
        r = a;
        sqr256(r, r);
        EXPECT_EQ(r, expected);
        // The long way round, which has no code of its own for this size.
        expected = BigNum();
        for (size_t digit = 0; digit < a.size(); ++digit) {
            BigNum row = b * a.digits[digit];
            row.shiftLeftByDigits(digit);
            expected += row;
        }
        mul256(r, a, b);
        EXPECT_EQ(r, expected);
    }
}

TEST(Multiplication, keeps_the_storage_of_its_result) {
    BigNum const a = number(std::string(256, 'f'));
    BigNum r = a;
    mul(r, r, r);
    unsigned const* storage = r.digits.data();
    for (unsigned i = 0; i < 3; ++i) {
        r.modBy2Pow(1024);
        mul(r, r, a);
        r.modBy2Pow(1024);
        sqr(r, r);
        EXPECT_EQ(r.digits.data(), storage);
    }
}

/// The fold as it is defined: one whole fold after the other.
BigNum folded(BigNum x, BigNum const& mod, unsigned c) {
    auto k = static_cast<unsigned>(mod.size());
    while (x.size() > k) {
        BigNum low = x;
        low.modBy2Pow(32 * k);
        x.shiftRightByDigits(k);
        x *= c;
        x += low;
    }
    if (mod < x)
        x -= mod;
    return x;
}

BigNum reduced(BigNum x, BigNum const& mod, unsigned c) {
    x.reduce(mod, c);
    return x;
}

TEST(Folding, leaves_the_modulus_itself_and_smaller_values) {
    EXPECT_EQ(reduced(p25519, p25519, 38), p25519);
    EXPECT_EQ(reduced(BigNum(), p25519, 38), BigNum());
    EXPECT_EQ(reduced(p25519 - bn2(1, 0), p25519, 38), p25519 - bn2(1, 0));
}

TEST(Folding, subtracts_the_modulus_at_most_once) {
    EXPECT_EQ(reduced(p25519 + 1, p25519, 38), bn2(1, 0));
    // Twice the modulus is below 2^256 and becomes the modulus; one more becomes the modulus plus one.
    EXPECT_EQ(reduced(p25519 * 2, p25519, 38), p25519);
    EXPECT_EQ(reduced(p25519 * 2 + 1, p25519, 38), p25519 + 1);
}

TEST(Folding, brings_higher_digits_down) {
    EXPECT_EQ(reduced(bn2(1, 0) << 256, p25519, 38), bn2(38, 0));
    EXPECT_EQ(reduced((bn2(1, 0) << 512) - bn2(1, 0), p25519, 38), bn2(38 * 38 - 1, 0));
}

TEST(Folding, carries_all_the_way_and_folds_the_carry_again) {
    // 2^256 - 38 + 38 overflows the eight digits.
    BigNum x = (bn2(1, 0) << 257) - bn2(38, 0);
    EXPECT_EQ(reduced(x, p25519, 38), folded(x, p25519, 38));
    x = (bn2(1, 0) << 257) - bn2(1, 0);
    EXPECT_EQ(reduced(x, p25519, 38), bn2(75, 0));
}

TEST(Folding, is_exact_up_to_one_digit_more_than_a_product) {
    test::RandomDigits random(5);
    for (unsigned i = 0; i < 600; ++i) {
        BigNum const x = random.number(1 + i % 17);
        BigNum const r = reduced(x, p25519, 38);
        EXPECT_EQ(r, folded(x, p25519, 38));
        EXPECT_LE(r.bits(), 256u);
        EXPECT_TRUE(test::isClamped(r));
    }
}

TEST(Folding, of_longer_values_ends_and_is_congruent) {
    test::RandomDigits random(6);
    for (unsigned i = 0; i < 200; ++i) {
        BigNum const x = random.number(18 + i % 40);
        BigNum const r = reduced(x, p25519, 38);
        EXPECT_LE(r.bits(), 256u);
        BigNum expected, actual;
        div(x, p25519, nullptr, &expected);
        div(r, p25519, nullptr, &actual);
        EXPECT_EQ(actual, expected);
    }
}

TEST(Folding, works_for_other_moduli) {
    test::RandomDigits random(7);
    struct {
        BigNum mod;
        unsigned c;
    } const cases[] = {
        {bn2(0xfffffffb, 0), 5},                       // 2^32 - 5
        {bn2(0xffffffc5, 0xffffffff), 59},             // 2^64 - 59
        {bn3(0xffffffef, 0xffffffff, 0xffffffff), 17}, // 2^96 - 17
        {(bn2(1, 0) << 160) - bn2(47, 0), 47},         // five digits
        {(bn2(1, 0) << 160) - bn2(0x80000001, 0), 0x80000001},
    };
    for (auto const& [mod, c] : cases) {
        for (unsigned i = 0; i < 100; ++i) {
            BigNum const x = random.number(1 + i % (2 * mod.size() + 1));
            EXPECT_EQ(reduced(x, mod, c), folded(x, mod, c)) << mod.str() << ", " << x.str();
        }
    }
}

} // namespace TEST_FILE

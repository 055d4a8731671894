#include "numbers.h"
#include "support/allocation_count.h"

#include <gtest/gtest.h>

#include <utility>

using test::allocationsOf;
using test::number;

namespace TEST_FILE {

BigNum const zero;
BigNum const one = bn2(1, 0);
BigNum const p25519 = (one << 255) - bn2(19, 0);

TEST_CASES(ExpByMod, agrees_with_known_powers, "bignum/power.txt")(test::Case const& c) {
    BigNum const base = number(c, "base");
    BigNum const exponent = number(c, "exponent");
    BigNum const modulus = number(c, "modulus");
    EXPECT_EQ(expByMod(base, exponent, modulus), number(c, "power"));
}

TEST(ExpByMod, to_the_zeroth_is_one_and_modulo_one_is_zero) {
    EXPECT_EQ(expByMod(bn2(5, 0), zero, bn2(9, 0)), one);
    EXPECT_EQ(expByMod(zero, zero, bn2(9, 0)), one);
    EXPECT_EQ(expByMod(bn2(5, 0), bn2(3, 0), one), zero);
    EXPECT_EQ(expByMod(bn2(5, 0), zero, one), zero);
    MontgomeryReducer red(p25519);
    EXPECT_EQ(expByMod(red.fromBigNum(bn2(5, 0)), zero, red).value, red.one);
}

TEST(ExpByMod, writes_over_its_operands) {
    BigNum x = bn2(3, 0);
    x = expByMod(x, x, bn2(1000003, 0));
    EXPECT_EQ(x, bn2(27, 0));
}

TEST(ExpByMod, of_a_residue_stays_with_its_reducer) {
    MontgomeryReducer red(p25519);
    RedNum const base = red.fromBigNum(bn2(2, 0));
    RedNum power = expByMod(base, bn2(300, 0), red);
    EXPECT_EQ(power.reducer, &red);
    BigNum expected;
    div(one << 300, p25519, nullptr, &expected);
    EXPECT_EQ(red.toBigNum(std::move(power)), expected);
}

TEST(ExpByMod, works_with_plain_residues_modulo_p25519) {
    Mod25519Reducer red(p25519);
    test::RandomDigits random(16);
    for (unsigned bits : {1U, 20U, 24U, 100U, 254U}) {
        BigNum const base = random.number(8);
        BigNum const e = (one << (bits - 1)) + (random.number(8) >> (257 - bits));
        BigNum r = expByMod(red.fromBigNum(base), e, red).value;
        div(r, p25519, nullptr, &r);
        EXPECT_EQ(r, expByMod(base, e, p25519));
    }
}

TEST(ExpByMod, without_reduction_is_the_plain_power) {
    RedNum const power =
        expByMod(RedNum::emptyReducer.fromBigNum(bn2(3, 0)), bn2(41, 0), RedNum::emptyReducer);
    EXPECT_EQ(power.value.strDec(), "36472996377170786403");
}

TEST(ExpByMod, with_an_even_modulus_ends_in_every_size) {
    for (size_t digits : {1U, 2U, 3U, 8U, 9U, 20U}) {
        BigNum m;
        m.digits.assign(digits, 0xfffffffe);
        expByMod(bn3(1, 2, 3), bn2(65537, 0), m);
        m.digits.assign(digits, 0);
        m.digits.back() = 0x80000000;
        expByMod(bn3(1, 2, 3), bn2(65537, 0), m);
    }
}

TEST(ExpByMod, allocates_nothing_from_one_step_to_the_next) {
    for (unsigned bits : {192U, 256U, 521U, 1024U, 2048U}) {
        BigNum m = (one << bits) - bn2(1, 0);
        MontgomeryReducer red(m);
        RedNum const base = red.fromBigNum(bn3(1, 2, 3));
        // Two exponents that share a window width: the longer one has more than twice the steps.
        auto allocationsFor = [&](unsigned exponentBits) {
            BigNum const e = (one << exponentBits) - bn2(1, 0);
            return allocationsOf([&] { expByMod(base, e, red); });
        };
        EXPECT_EQ(allocationsFor(80), allocationsFor(238)) << bits;
        EXPECT_EQ(allocationsFor(700), allocationsFor(1500)) << bits;
    }
}

TEST(FieldArithmetic, allocates_nothing_once_its_numbers_have_grown) {
    BigNum const p256 = number("ffffffff00000001000000000000000000000000ffffffffffffffffffffffff");
    MontgomeryReducer montgomery(p256);
    Mod25519Reducer mod25519(p25519);
    for (Reducer const* red :
         {static_cast<Reducer const*>(&montgomery), static_cast<Reducer const*>(&mod25519)}) {
        RedNum a = red->fromBigNum(number(std::string(63, '7')));
        RedNum b = red->fromBigNum(number(std::string(63, '9')));
        RedNum r;
        auto step = [&] {
            mul(r, a, b);
            mul(r, r, a);
            mul(a, b, a);
            sqr(r, b);
            sqr(b, b);
            mul(r, r, r);
            mul(r, 3);
            r += a;
            r -= b;
            a -= r;
            b += b;
            mul_redbn(r, a, b.value);
        };
        for (unsigned i = 0; i < 4; ++i)
            step();
        EXPECT_EQ(allocationsOf([&] {
                      for (unsigned i = 0; i < 100; ++i)
                          step();
                  }),
                  0u);
    }
}

TEST(Inv, gives_the_inverse_in_the_representation_of_its_reducer) {
    test::RandomDigits random(17);
    MontgomeryReducer montgomery(p25519);
    Mod25519Reducer plain(p25519);
    for (Reducer const* red :
         {static_cast<Reducer const*>(&montgomery), static_cast<Reducer const*>(&plain)}) {
        for (unsigned i = 0; i < 20; ++i) {
            RedNum const x = red->fromBigNum(random.number(8) + 1);
            RedNum inverse = inv(RedNum(x));
            EXPECT_EQ(inverse.reducer, red);
            mul(inverse, inverse, x);
            BigNum product = red->toBigNum(std::move(inverse));
            div(product, p25519, nullptr, &product); // 1 or p + 1 where values are only partly reduced
            EXPECT_EQ(product, one);
        }
    }
}

TEST(Inv, of_zero_is_zero) {
    MontgomeryReducer red(p25519);
    EXPECT_EQ(inv(red.fromBigNum(zero)).value, zero);
}

} // namespace TEST_FILE

#include "numbers.h"

#include <gtest/gtest.h>

#include <utility>

namespace TEST_FILE {

/// Arithmetic modulo a number by division, which counts what is asked of it.
class CountingReducer : public Reducer {
public:
    explicit CountingReducer(BigNum const& m) : Reducer(m) {}

    using Reducer::mul;
    void reduce(BigNum& x) const override {
        ++reductions;
        div(x, *modulus, nullptr, &x);
    }
    void mul(BigNum& r, BigNum const& a, BigNum const& b) const override {
        ++products;
        Reducer::mul(r, a, b);
    }
    void sqr(BigNum& r, BigNum const& a) const override {
        ++squares;
        Reducer::sqr(r, a);
    }

    mutable unsigned reductions = 0;
    mutable unsigned products = 0;
    mutable unsigned squares = 0;
};

BigNum const m = (bn2(1, 0) << 127) - bn2(1, 0);

BigNum plainPower(BigNum const& base, BigNum const& e) {
    BigNum result = bn2(1, 0);
    for (unsigned bit = e.bits(); bit-- != 0;) {
        sqr(result, result);
        if (e.getBit(bit))
            result *= base;
        div(result, m, nullptr, &result);
    }
    return result;
}

TEST(DerivedReducer, is_asked_to_reduce_every_product) {
    CountingReducer red(m);
    BigNum r;
    red.mul(r, m - bn2(1, 0), m - bn2(1, 0));
    EXPECT_EQ(r, bn2(1, 0));
    EXPECT_EQ(red.reductions, 1u);
    red.sqr(r, m - bn2(2, 0));
    EXPECT_EQ(r, bn2(4, 0));
    EXPECT_EQ(red.reductions, 2u);
}

TEST(DerivedReducer, is_called_through_its_numbers) {
    CountingReducer red(m);
    RedNum x = red.fromBigNum(bn2(3, 0));
    mul(x, x, x);
    mul_redbn(x, x, bn2(2, 0));
    EXPECT_EQ(red.products, 2u);
    sqr(x, x);
    EXPECT_EQ(red.squares, 1u);
    EXPECT_EQ(x.value, bn2(18 * 18, 0));
}

TEST(SlidingWindow, has_the_width_that_the_length_of_the_exponent_calls_for) {
    struct {
        unsigned bits, width;
    } const cases[] = {{1, 1},   {17, 1},  {23, 1},  {24, 3},  {79, 3},  {80, 4},
                       {239, 4}, {240, 5}, {671, 5}, {672, 6}, {1000, 6}};
    BigNum const base = bn3(1, 2, 3);
    for (auto [bits, width] : cases) {
        CountingReducer red(m);
        BigNum const ones = (bn2(1, 0) << bits) - bn2(1, 0);
        RedNum const power = expByMod(red.fromBigNum(base), ones, red);
        EXPECT_EQ(power.value, plainPower(base, ones));
        EXPECT_EQ(power.reducer, &red);
        // The table takes width - 1 squares and 2^(width - 1) - 1 products. The first window is a look
        // at the table; each other one is a product, and so is each bit after the last.
        unsigned const windows = bits / width, left = bits % width;
        unsigned const table = width == 1 ? 0 : (1U << (width - 1)) - 1;
        EXPECT_EQ(red.products, table + windows - 1 + left) << bits << " bits";
        EXPECT_EQ(red.squares, width - 1 + (windows - 1) * width + left) << bits << " bits";
    }
}

TEST(SlidingWindow, takes_the_bits_of_an_incomplete_last_window_one_by_one) {
    CountingReducer red(m);
    BigNum const base = bn3(1, 2, 3);
    // 24 bits call for windows of 3: 100, then eighteen zeros, then 101 or a rest of 1, 11 or 01.
    BigNum e = (bn2(1, 0) << 23) + 5;
    EXPECT_EQ(expByMod(red.fromBigNum(base), e, red).value, plainPower(base, e));
    EXPECT_EQ(red.products, 3u + 1u);
    red.products = 0;
    e = (bn2(1, 0) << 23) + 1;
    EXPECT_EQ(expByMod(red.fromBigNum(base), e, red).value, plainPower(base, e));
    EXPECT_EQ(red.products, 3u + 1u);
    red.products = 0;
    e = (bn2(1, 0) << 23) + 3;
    EXPECT_EQ(expByMod(red.fromBigNum(base), e, red).value, plainPower(base, e));
    EXPECT_EQ(red.products, 3u + 2u);
}

TEST(SlidingWindow, reduces_a_base_that_is_not_below_the_modulus) {
    CountingReducer red(m);
    for (unsigned e : {1U, 2U, 3U, 0x800000U}) {
        BigNum const base = m + bn2(4, 0);
        EXPECT_EQ(expByMod(red.fromBigNum(base), bn2(e, 0), red).value, plainPower(bn2(4, 0), bn2(e, 0)));
    }
}

} // namespace TEST_FILE

#include "numbers.h"

#include <gtest/gtest.h>

#include <utility>

using test::Digits;
using test::digitsOf;
using test::number;

namespace TEST_FILE {

BigNum const zero;
BigNum const one = bn2(1, 0);
BigNum const p25519 = (one << 255) - bn2(19, 0);
BigNum const p256 = number("ffffffff00000001000000000000000000000000ffffffffffffffffffffffff");

/// Offset of a field from the start of its object.
template <typename Object, typename Field>
size_t offset(Object const& object, Field const& field) {
    return static_cast<size_t>(reinterpret_cast<char const*>(&field) -
                               reinterpret_cast<char const*>(&object));
}

/// What stands at one place of an object's table of virtual functions, as a plain function that
/// takes the object first.
template <typename Function>
Function* slot(Reducer const& reducer, size_t index) {
    void* const* table = *reinterpret_cast<void* const* const*>(&reducer);
    return reinterpret_cast<Function*>(table[index]);
}

BigNum remainder(BigNum const& a, BigNum const& m) {
    BigNum r;
    div(a, m, nullptr, &r);
    return r;
}

TEST(ReducerLayout, has_its_fields_in_order) {
    MontgomeryReducer montgomery(p256);
    EXPECT_EQ(offset(montgomery, montgomery.modulus), sizeof(void*));
    EXPECT_EQ(offset(montgomery, montgomery.n0inv), 2 * sizeof(void*));
    EXPECT_EQ(offset(montgomery, montgomery.one), 2 * sizeof(void*) + sizeof(void*));
    EXPECT_EQ(sizeof(Reducer), 2 * sizeof(void*));
    EXPECT_EQ(sizeof(Mod25519Reducer), sizeof(Reducer));
    EXPECT_EQ(sizeof(MontgomeryReducer), 3 * sizeof(void*) + sizeof(BigNum));
    RedNum x;
    EXPECT_EQ(offset(x, x.value), 0u);
    EXPECT_EQ(offset(x, x.reducer), sizeof(BigNum));
    EXPECT_EQ(sizeof x, sizeof(BigNum) + sizeof(void*));
}

TEST(ReducerLayout, has_its_virtual_functions_in_order) {
    BigNum const m = bn2(1000003, 0);
    Reducer plain(m);
    BigNum r = bn2(5, 0);
    slot<void(Reducer const*, BigNum&)>(plain, 0)(&plain, r);
    EXPECT_EQ(r, bn2(5, 0));
    slot<void(Reducer const*, BigNum&, BigNum const&, BigNum const&)>(plain, 1)(&plain, r, bn2(6, 0),
                                                                                bn2(7, 0));
    EXPECT_EQ(r, bn2(42, 0));
    slot<void(Reducer const*, BigNum&, unsigned)>(plain, 2)(&plain, r, 3);
    EXPECT_EQ(r, bn2(126, 0));
    slot<void(Reducer const*, BigNum&, BigNum const&)>(plain, 3)(&plain, r, bn2(9, 0));
    EXPECT_EQ(r, bn2(81, 0));
    // 4 and 5 are the destructor, complete and deleting.
    auto* montgomery = new MontgomeryReducer(m);
    slot<void(Reducer*)>(*montgomery, 5)(montgomery);
    MontgomeryReducer red(m);
    RedNum x = slot<RedNum(Reducer const*, BigNum const&)>(red, 6)(&red, bn2(77, 0));
    EXPECT_EQ(x.value, red.fromBigNum(bn2(77, 0)).value);
    EXPECT_EQ(x.reducer, &red);
    BigNum movable = bn2(88, 0);
    RedNum y = slot<RedNum(Reducer const*, BigNum&&)>(red, 7)(&red, std::move(movable));
    EXPECT_EQ(y.value, red.fromBigNum(bn2(88, 0)).value);
    EXPECT_EQ(slot<BigNum(Reducer const*, RedNum&&)>(red, 8)(&red, std::move(x)), bn2(77, 0));
}

TEST(Reducer, reduces_nothing) {
    BigNum const m = bn2(7, 0);
    Reducer red(m);
    EXPECT_EQ(red.modulus, &m);
    BigNum r;
    red.mul(r, bn2(100, 0), bn2(100, 0));
    EXPECT_EQ(r, bn2(10000, 0));
    red.sqr(r, r);
    EXPECT_EQ(r, bn2(100000000, 0));
    red.reduce(r);
    EXPECT_EQ(r, bn2(100000000, 0));
}

TEST(Reducer, subtracts_the_modulus_after_a_product_with_a_word) {
    BigNum const m = bn2(7, 0);
    Reducer red(m);
    BigNum r = bn2(6, 0);
    red.mul(r, 5); // 30 = 4 * 7 + 2
    EXPECT_EQ(r, bn2(2, 0));
    r = bn2(7, 0);
    red.mul(r, 3); // as long as the modulus is less: it stays itself
    EXPECT_EQ(r, bn2(7, 0));
    red.mul(r, 0);
    EXPECT_EQ(r, zero);
}

TEST(Reducer, represents_numbers_by_themselves) {
    BigNum const m = bn2(7, 0);
    Reducer red(m);
    RedNum x = red.fromBigNum(bn2(100, 0));
    EXPECT_EQ(x.value, bn2(100, 0));
    EXPECT_EQ(x.reducer, &red);
    BigNum wide = bn3(1, 2, 3);
    unsigned const* storage = wide.digits.data();
    RedNum y = red.fromBigNum(std::move(wide));
    EXPECT_EQ(y.value.digits.data(), storage) << "moved in";
    BigNum back = red.toBigNum(std::move(y));
    EXPECT_EQ(back.digits.data(), storage) << "moved out";
    EXPECT_EQ(back, bn3(1, 2, 3));
}

TEST(MontgomeryReducer, has_the_constants_of_its_modulus) {
    BigNum const three = bn2(3, 0);
    MontgomeryReducer red(three);
    EXPECT_EQ(red.n0inv, 0x55555555u);
    EXPECT_EQ(red.one, one);
    EXPECT_EQ(red.modulus, &three);

    EXPECT_EQ(MontgomeryReducer(bn2(3, 0)).one, one); // a temporary serves within the expression

    MontgomeryReducer modOne(one);
    EXPECT_EQ(modOne.one, zero);
    EXPECT_EQ(modOne.n0inv, 0xffffffffu);

    test::RandomDigits random(10);
    for (unsigned i = 0; i < 200; ++i) {
        BigNum m = random.number(1 + i % 40);
        m.setBit(0, true);
        MontgomeryReducer r(m);
        EXPECT_EQ(r.n0inv * m.digits[0], 0xffffffffu);
        EXPECT_EQ(r.one, remainder(one << static_cast<unsigned>(32 * m.size()), m));
    }
}

TEST(MontgomeryReducer, divides_by_R) {
    test::RandomDigits random(11);
    for (unsigned i = 0; i < 1500; ++i) {
        BigNum m = random.number(1 + i % 35);
        m.setBit(0, true);
        MontgomeryReducer red(m);
        // Everything below m * R.
        BigNum t = random.number(m.size());
        t = remainder(t, m);
        t.shiftLeftByDigits(m.size());
        t += random.number(m.size());
        BigNum r = t;
        red.reduce(r);
        EXPECT_LT(r, m);
        EXPECT_TRUE(test::isClamped(r));
        r.shiftLeftByDigits(m.size());
        EXPECT_EQ(remainder(r, m), remainder(t, m)) << m.str() << ", " << t.str();
    }
}

TEST(MontgomeryReducer, reduces_the_largest_product_exactly) {
    for (size_t k = 1; k < 40; ++k) {
        for (unsigned low : {0xffffffffU, 1U, 0xfffffffbU}) {
            BigNum m;
            m.digits.assign(k, 0xffffffff);
            m.digits[0] = low;
            MontgomeryReducer red(m);
            BigNum largest = m - one;
            BigNum r = largest * largest;
            red.reduce(r);
            EXPECT_LT(r, m);
            r.shiftLeftByDigits(k);
            EXPECT_EQ(remainder(r, m), remainder(one, m)) << "(-1)^2";
        }
    }
}

TEST(MontgomeryReducer, stays_congruent_beyond_its_precondition) {
    test::RandomDigits random(12);
    for (unsigned i = 0; i < 200; ++i) {
        BigNum m = random.number(1 + i % 12);
        m.setBit(0, true);
        MontgomeryReducer red(m);
        BigNum const t = random.number(3 * m.size() + 2);
        BigNum r = t;
        red.reduce(r);
        r.shiftLeftByDigits(m.size());
        EXPECT_EQ(remainder(r, m), remainder(t, m));
    }
}

TEST(MontgomeryReducer, represents_zero_one_and_the_rest) {
    test::RandomDigits random(13);
    for (unsigned i = 0; i < 100; ++i) {
        BigNum m = random.number(1 + i % 20);
        m.setBit(0, true);
        MontgomeryReducer red(m);
        EXPECT_EQ(red.fromBigNum(zero).value, zero);
        EXPECT_EQ(red.fromBigNum(one).value, red.one);
        EXPECT_EQ(red.fromBigNum(BigNum(one)).value, red.one);
        BigNum const x = random.number(random.below(50));
        RedNum y = red.fromBigNum(x);
        EXPECT_EQ(y.reducer, &red);
        EXPECT_EQ(y.value, x == one ? red.one : remainder(x * red.one, m));
        EXPECT_EQ(red.fromBigNum(BigNum(x)).value, y.value);
        EXPECT_EQ(red.toBigNum(std::move(y)), remainder(x, m));
    }
}

TEST(MontgomeryReducer, multiplies_residues) {
    test::RandomDigits random(14);
    for (unsigned i = 0; i < 400; ++i) {
        BigNum m = random.number(1 + i % 35);
        m.setBit(0, true);
        MontgomeryReducer red(m);
        BigNum const a = random.number(m.size()), b = random.number(m.size());
        RedNum const x = red.fromBigNum(a), y = red.fromBigNum(b);
        BigNum const product = remainder(a * b, m), square = remainder(a * a, m);
        RedNum r;
        mul(r, x, y);
        EXPECT_EQ(r.reducer, &red);
        EXPECT_EQ(red.toBigNum(RedNum(r)), product);
        mul_redbn(r, x, y.value);
        EXPECT_EQ(red.toBigNum(RedNum(r)), product);
        sqr(r, x);
        EXPECT_EQ(red.toBigNum(RedNum(r)), square);
        r = x;
        mul(r, r, y);
        EXPECT_EQ(red.toBigNum(RedNum(r)), product);
        r = y;
        mul(r, x, r);
        EXPECT_EQ(red.toBigNum(RedNum(r)), product);
        r = x;
        mul(r, r, r);
        EXPECT_EQ(red.toBigNum(RedNum(r)), square);
        r = x;
        sqr(r, r);
        EXPECT_EQ(red.toBigNum(RedNum(r)), square);
        r = x;
        mul(r, 7);
        EXPECT_EQ(red.toBigNum(std::move(r)), remainder(a * 7, m));
    }
}

TEST(Mod25519Reducer, multiplies_and_folds) {
    Mod25519Reducer red(p25519);
    test::RandomDigits random(15);
    for (unsigned i = 0; i < 300; ++i) {
        BigNum const a = random.number(random.below(9)), b = random.number(random.below(9));
        auto folded = [](BigNum x) {
            x.reduce(p25519, 38);
            return x;
        };
        RedNum const x = red.fromBigNum(a), y = red.fromBigNum(b);
        EXPECT_EQ(x.value, a);
        RedNum r;
        mul(r, x, y);
        EXPECT_EQ(r.value, folded(a * b));
        sqr(r, x);
        EXPECT_EQ(r.value, folded(a * a));
        mul(r, 0xffffffff);
        EXPECT_EQ(remainder(r.value, p25519), remainder(a * a * 0xffffffff, p25519));
        EXPECT_LE(r.value.bits(), 256u);
        r = x;
        mul(r, r, r);
        EXPECT_EQ(r.value, folded(a * a));
        BigNum t = a << 256;
        red.reduce(t);
        EXPECT_EQ(t, folded(a << 256));
    }
}

TEST(Mod25519Reducer, does_not_turn_the_modulus_into_zero) {
    Mod25519Reducer red(p25519);
    BigNum x = p25519;
    red.reduce(x);
    EXPECT_EQ(x, p25519);
    RedNum const m = red.fromBigNum(p25519);
    EXPECT_EQ(m.value, p25519);
    RedNum r;
    mul(r, m, red.fromBigNum(one));
    EXPECT_EQ(r.value, p25519);
}

TEST(Mod25519Reducer, takes_operands_wider_than_its_field) {
    Mod25519Reducer red(p25519);
    BigNum const wide = (one << 256) + bn2(5, 0);
    BigNum r;
    red.mul(r, wide, wide);
    EXPECT_EQ(r, bn2(43 * 43, 0));
    red.sqr(r, wide);
    EXPECT_EQ(r, bn2(43 * 43, 0));
}

TEST(RedNum, is_bound_to_the_empty_reducer_at_first) {
    RedNum x;
    EXPECT_EQ(x.value, zero);
    EXPECT_EQ(x.reducer, &RedNum::emptyReducer);
    EXPECT_EQ(RedNum::mod1, one);
    EXPECT_EQ(RedNum::emptyReducer.modulus, &RedNum::mod1);
    BigNum r;
    RedNum::emptyReducer.mul(r, bn2(6, 0), bn2(7, 0));
    EXPECT_EQ(r, bn2(42, 0));
}

// Built while the program is loaded: the library's own objects are there already.
RedNum const builtAtLoad = RedNum::emptyReducer.fromBigNum(RedNum::mod1);

TEST(RedNum, statics_exist_when_a_program_builds_its_own) {
    EXPECT_EQ(builtAtLoad.value, one);
    EXPECT_EQ(builtAtLoad.reducer, &RedNum::emptyReducer);
}

TEST(RedNum, addition_subtracts_the_modulus_once_when_the_sum_is_above_it) {
    BigNum const m = bn2(13, 0);
    Reducer red(m);
    auto sum = [&](unsigned a, unsigned b) {
        RedNum x = red.fromBigNum(bn2(a, 0));
        x += red.fromBigNum(bn2(b, 0));
        return x.value.digits[0];
    };
    EXPECT_EQ(sum(5, 7), 12u);
    EXPECT_EQ(sum(6, 7), 13u) << "the modulus itself stays";
    EXPECT_EQ(sum(7, 7), 1u);
    EXPECT_EQ(sum(13, 13), 13u);
    EXPECT_EQ(sum(20, 20), 27u) << "once";
    RedNum x = red.fromBigNum(bn2(9, 0));
    x += x;
    EXPECT_EQ(x.value, bn2(5, 0));
}

TEST(RedNum, subtraction_adds_the_modulus_once_when_it_would_go_below_zero) {
    BigNum const m = bn2(13, 0);
    Reducer red(m);
    auto difference = [&](unsigned a, unsigned b) {
        RedNum x = red.fromBigNum(bn2(a, 0));
        x -= red.fromBigNum(bn2(b, 0));
        return x.value.digits[0];
    };
    EXPECT_EQ(difference(7, 5), 2u);
    EXPECT_EQ(difference(5, 5), 0u);
    EXPECT_EQ(difference(5, 7), 11u);
    EXPECT_EQ(difference(0, 13), 0u);
    EXPECT_EQ(difference(13, 0), 13u);
    RedNum x = red.fromBigNum(bn2(9, 0));
    RedNum const& same = x;
    x -= same;
    EXPECT_EQ(x.value, zero);
}

TEST(RedNum, takes_the_reducer_of_the_first_operand) {
    BigNum const m = bn2(13, 0);
    Reducer first(m), second(m);
    RedNum r;
    mul(r, first.fromBigNum(bn2(2, 0)), second.fromBigNum(bn2(3, 0)));
    EXPECT_EQ(r.reducer, &first);
    sqr(r, second.fromBigNum(bn2(2, 0)));
    EXPECT_EQ(r.reducer, &second);
    mul_redbn(r, first.fromBigNum(bn2(2, 0)), bn2(5, 0));
    EXPECT_EQ(r.reducer, &first);
    EXPECT_EQ(r.value, bn2(10, 0));
    mul(r, 2);
    EXPECT_EQ(r.reducer, &first);
    EXPECT_EQ(r.value, bn2(7, 0));
}

} // namespace TEST_FILE

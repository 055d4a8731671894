#include "ec/field25519.h"

#include "sealkit/curve25519.h"

#include "support/random.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::Random;

BigNum const& p = Curve25519::getMod();

BigNum modP(BigNum x) {
    div(x, p, nullptr, &x);
    return x;
}

/// What the limbs add up to, modulo p.
template <typename F>
BigNum valueOf(F const& x) {
    BigNum sum, minus;
    for (unsigned i = 0; i < F::count; ++i) {
        int64_t const limb = x.limb[i];
        (limb < 0 ? minus : sum) += bn64(static_cast<uint64_t>(limb < 0 ? -limb : limb)) << F::position(i);
    }
    return modP(modP(sum) + (p - modP(minus)));
}

template <typename F>
BigNum digitsOf(F const& x) {
    uint32_t digit[8];
    toDigits(digit, x);
    BigNum number;
    number.digits.assign(digit, digit + 8);
    number.clamp();
    return number;
}

template <typename F>
F fromNumber(BigNum const& x) {
    uint32_t digit[8] = {};
    std::copy(x.digits.begin(), x.digits.end(), digit);
    return F::fromDigits(digit);
}

/// Limbs of so many units, each at its positive or negative bound or somewhere between.
template <typename F>
F ofUnits(Random& random, int64_t units) {
    F x;
    for (unsigned i = 0; i < F::count; ++i) {
        // Limbs that rounded carries leave are half as large.
        int64_t const unit = int64_t{1} << (F::width(i) - (F::count == 10 ? 1 : 0));
        int64_t const bound = (unit + unit / 100) * units;
        int64_t const choice[] = {bound, -bound, 0,
                                  static_cast<int64_t>(random.below(static_cast<size_t>(1) << 24)) *
                                      (bound >> 24)};
        x.limb[i] = static_cast<typename F::Limb>(choice[random.below(4)]);
    }
    return x;
}

template <typename F>
bool isOneUnit(F const& x) {
    for (unsigned i = 0; i < F::count; ++i) {
        int64_t const unit = int64_t{1} << (F::width(i) - (F::count == 10 ? 1 : 0));
        if (x.limb[i] > unit + unit / 100 || x.limb[i] < -unit - unit / 100)
            return false;
    }
    return true;
}

template <typename Limb>
struct Field : testing::Test {
    using F = detail::Field25519<Limb>;
    Random random{25519};

    BigNum number() {
        BigNum x;
        x.digits.resize(8);
        for (unsigned& digit : x.digits)
            digit = random.oneIn(8) ? 0U - static_cast<unsigned>(random.below(2))
                                    : static_cast<unsigned>(random.below(1ULL << 31)) * 2 +
                                          static_cast<unsigned>(random.below(2));
        x.modBy2Pow(255);
        return x;
    }
};

#ifdef __SIZEOF_INT128__
using Limbs = testing::Types<int32_t, int64_t>;
#else
using Limbs = testing::Types<int32_t>;
#endif
TYPED_TEST_SUITE(Field, Limbs);

TYPED_TEST(Field, ReadsAndWritesNumbers) {
    using F = typename TestFixture::F;
    BigNum const top = bn64(1) << 255;
    for (BigNum const& x : {BigNum(), bn64(1), p - bn64(1), p, p + 1, p + 18, top - bn64(1), bn64(1) << 254,
                            bn64(1) << 51, bn64(1) << 230}) {
        EXPECT_EQ(valueOf(fromNumber<F>(x)), modP(x)) << x.str();
        EXPECT_EQ(digitsOf(fromNumber<F>(x)), modP(x)) << x.str();
        EXPECT_EQ(digitsOf(fromNumber<F>(x + top)), modP(x)) << x.str();
    }
    for (int i = 0; i < 200; ++i) {
        BigNum const x = this->number();
        EXPECT_EQ(digitsOf(fromNumber<F>(x)), modP(x)) << x.str();
    }
    constexpr F ten = F::fromHex("0a");
    EXPECT_EQ(valueOf(ten), bn64(10));
}

TYPED_TEST(Field, ComputesWithinItsBounds) {
    using F = typename TestFixture::F;
    for (int i = 0; i < 400; ++i) {
        F const a = ofUnits<F>(this->random, 8), b = ofUnits<F>(this->random, 3);
        F r;
        mul(r, a, b);
        EXPECT_EQ(valueOf(r), modP(valueOf(a) * valueOf(b)));
        EXPECT_TRUE(isOneUnit(r));
        sqr(r, b);
        EXPECT_EQ(valueOf(r), modP(valueOf(b) * valueOf(b)));
        EXPECT_TRUE(isOneUnit(r));
        carried(r, a);
        EXPECT_EQ(valueOf(r), valueOf(a));
        EXPECT_TRUE(isOneUnit(r));
        add(r, a, b);
        EXPECT_EQ(valueOf(r), modP(valueOf(a) + valueOf(b)));
        sub(r, a, b);
        EXPECT_EQ(valueOf(r), modP(valueOf(a) + (p - valueOf(b))));
        F const c = ofUnits<F>(this->random, 4);
        EXPECT_EQ(digitsOf(c), valueOf(c));
        EXPECT_EQ(isZero(c), valueOf(c) == BigNum());
    }
}

TYPED_TEST(Field, ResultsMayBeOperands) {
    using F = typename TestFixture::F;
    F const a = ofUnits<F>(this->random, 3), b = ofUnits<F>(this->random, 3);
    F r = a;
    mul(r, r, b);
    EXPECT_EQ(valueOf(r), modP(valueOf(a) * valueOf(b)));
    r = b;
    mul(r, a, r);
    EXPECT_EQ(valueOf(r), modP(valueOf(a) * valueOf(b)));
    r = a;
    mul(r, r, r);
    EXPECT_EQ(valueOf(r), modP(valueOf(a) * valueOf(a)));
    r = a;
    sqr(r, r);
    EXPECT_EQ(valueOf(r), modP(valueOf(a) * valueOf(a)));
}

TYPED_TEST(Field, KnowsEveryFormOfZero) {
    using F = typename TestFixture::F;
    F x = fromNumber<F>(p);
    F multiple;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(isZero(multiple)) << i;
        F negative;
        sub(negative, F(), multiple);
        EXPECT_TRUE(isZero(negative)) << i;
        for (int one : {1, -1, 19, -19}) {
            F other;
            add(other, multiple, F::small(one));
            EXPECT_FALSE(isZero(other)) << i << ' ' << one;
        }
        add(multiple, multiple, x);
    }
}

TYPED_TEST(Field, RaisesAndInverts) {
    using F = typename TestFixture::F;
    for (int i = 0; i < 10; ++i) {
        F const x = fromNumber<F>(this->number());
        F r;
        powP58(r, x);
        EXPECT_EQ(valueOf(r), expByMod(valueOf(x), p >> 3, p));
        invert(r, x);
        EXPECT_EQ(valueOf(r), invByMod(valueOf(x), p));
    }
    F r;
    invert(r, F());
    EXPECT_TRUE(isZero(r));
}

} // namespace TEST_FILE

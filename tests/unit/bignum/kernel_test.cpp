// The loops over digits, for each width of limb that the machine has, against plain ones.
#include "bignum/kernel.h"

#include "numbers.h"

#include <gtest/gtest.h>

#include <algorithm>

using test::Digits;

namespace TEST_FILE {

template <typename Limb>
class Kernel : public testing::Test {
protected:
    static constexpr size_t step = detail::limbDigits<Limb>;

    /// Room for whole limbs, filled with what must not show through.
    static Digits room(size_t aDigits, size_t bDigits) {
        return Digits((detail::limbCount<Limb>(aDigits) + detail::limbCount<Limb>(bDigits)) * step,
                      0xa5a5a5a5);
    }

    Digits number(size_t count) {
        Digits x(count);
        std::generate(x.begin(), x.end(), std::ref(random));
        return x;
    }

    /// Exactly as long as it says, so that the sanitizers see a read beyond its end.
    static Digits exactly(Digits x, size_t count) {
        x.resize(count);
        x.shrink_to_fit();
        return x;
    }

    test::RandomDigits random{18};
};

struct LimbNames {
    template <typename Limb>
    static std::string GetName(int) {
        return std::to_string(detail::limbBits<Limb>) + "bit";
    }
};

#ifdef __SIZEOF_INT128__
using Limbs = testing::Types<uint32_t, uint64_t>;
#else
using Limbs = testing::Types<uint32_t>;
#endif
TYPED_TEST_SUITE(Kernel, Limbs, LimbNames);

Digits plainProduct(Digits const& a, Digits const& b) {
    Digits r(a.size() + b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        uint64_t carry = 0;
        for (size_t j = 0; j < b.size(); ++j) {
            carry += uint64_t{a[i]} * b[j] + r[i + j];
            r[i + j] = static_cast<unsigned>(carry);
            carry >>= 32;
        }
        r[i + b.size()] = static_cast<unsigned>(carry);
    }
    return r;
}

/// a with the n digits of b added from digit `at` on; returns the carry out of a.
unsigned plainAdd(Digits& a, size_t at, Digits const& b) {
    uint64_t carry = 0;
    for (size_t i = at; i < a.size(); ++i) {
        carry += uint64_t{a[i]} + (i - at < b.size() ? b[i - at] : 0);
        a[i] = static_cast<unsigned>(carry);
        carry >>= 32;
    }
    return static_cast<unsigned>(carry);
}

TYPED_TEST(Kernel, loads_and_stores_digits_in_order) {
    Digits x = {1, 2, 3};
    TypeParam limb = detail::load<TypeParam>(x.data());
    EXPECT_EQ(static_cast<unsigned>(limb), 1u);
    EXPECT_EQ(static_cast<uint64_t>(limb) >> 32, detail::limbDigits<TypeParam> == 2 ? 2u : 0u);
    EXPECT_EQ(detail::limbAt<TypeParam>(x.data(), 3, detail::limbCount<TypeParam>(3) - 1), 3u)
        << "half empty";
    Digits y(3);
    detail::store<TypeParam>(y.data(), limb);
    EXPECT_EQ(y[0], 1u);
    EXPECT_EQ(y[1], detail::limbDigits<TypeParam> == 2 ? 2u : 0u);
}

TYPED_TEST(Kernel, adds_and_subtracts) {
    for (size_t n = 0; n < 12; ++n) {
        for (unsigned i = 0; i < 40; ++i) {
            Digits const a = this->exactly(this->number(n), n);
            Digits const b = this->exactly(this->number(n), n);
            Digits sum = a;
            unsigned carry = plainAdd(sum, 0, b);
            Digits r(n);
            EXPECT_EQ(detail::add<TypeParam>(r.data(), a.data(), b.data(), n), carry);
            EXPECT_EQ(r, sum);
            EXPECT_EQ(detail::subtract<TypeParam>(r.data(), sum.data(), b.data(), n), carry)
                << "carry as borrow";
            EXPECT_EQ(r, a);
            r = a;
            detail::subtract<TypeParam>(r.data(), r.data(), r.data(), n);
            EXPECT_EQ(r, Digits(n));
        }
    }
}

TYPED_TEST(Kernel, shifts) {
    for (size_t n = 1; n < 10; ++n) {
        for (unsigned shift = 0; shift < 32; ++shift) {
            Digits const a = this->exactly(this->number(n), n);
            Digits left(n), right(n);
            unsigned out = detail::shiftLeft<TypeParam>(left.data(), a.data(), n, shift);
            detail::shiftRight<TypeParam>(right.data(), a.data(), n, shift);
            for (size_t i = 0; i < n; ++i) {
                unsigned below = i == 0 ? 0 : a[i - 1];
                unsigned above = i + 1 == n ? 0 : a[i + 1];
                EXPECT_EQ(left[i], static_cast<unsigned>((uint64_t{a[i]} << 32 | below) << shift >> 32));
                EXPECT_EQ(right[i], static_cast<unsigned>((uint64_t{above} << 32 | a[i]) >> shift));
            }
            EXPECT_EQ(out, static_cast<unsigned>(uint64_t{a[n - 1]} << shift >> 32));
            Digits inPlace = a;
            detail::shiftLeft<TypeParam>(inPlace.data(), inPlace.data(), n, shift);
            EXPECT_EQ(inPlace, left);
            inPlace = a;
            detail::shiftRight<TypeParam>(inPlace.data(), inPlace.data(), n, shift);
            EXPECT_EQ(inPlace, right);
        }
    }
}

TYPED_TEST(Kernel, multiplies_schoolbook_at_every_size) {
    for (size_t aDigits = 1; aDigits < 20; ++aDigits) {
        for (size_t bDigits = aDigits; bDigits < 24; ++bDigits) {
            Digits const a = this->exactly(this->number(aDigits), aDigits);
            Digits const b = this->exactly(this->number(bDigits), bDigits);
            Digits r = this->room(aDigits, bDigits);
            detail::product<TypeParam>(r.data(), a.data(), aDigits, b.data(), bDigits);
            Digits expected = plainProduct(a, b);
            expected.resize(r.size());
            EXPECT_EQ(r, expected) << aDigits << " by " << bDigits;
        }
    }
}

TYPED_TEST(Kernel, squares_at_every_size) {
    for (size_t n = 1; n < 40; ++n) {
        for (unsigned i = 0; i < 5; ++i) {
            Digits a = this->exactly(this->number(n), n);
            if (i == 0)
                std::fill(a.begin(), a.end(), 0xffffffff);
            Digits r = this->room(n, n);
            detail::square<TypeParam>(r.data(), a.data(), n);
            Digits expected = plainProduct(a, a);
            expected.resize(r.size());
            EXPECT_EQ(r, expected) << n;
        }
    }
}

TYPED_TEST(Kernel, lays_out_256_bits) {
    for (unsigned i = 0; i < 200; ++i) {
        Digits a = this->number(8), b = this->number(8);
        if (i == 0)
            a = b = Digits(8, 0xffffffff);
        Digits r(16, 0xa5a5a5a5);
        detail::productFixed<TypeParam, 8>(r.data(), a.data(), b.data());
        EXPECT_EQ(r, plainProduct(a, b));
        detail::squareFixed<TypeParam, 8>(r.data(), a.data());
        EXPECT_EQ(r, plainProduct(a, a));
    }
}

/// -1/m mod 2^32, by trial of one bit after the other.
unsigned negativeInverse(unsigned m) {
    unsigned x = 0;
    for (unsigned bit = 0; bit < 32; ++bit)
        if ((x * m + 1) >> bit & 1)
            x |= 1U << bit;
    return x;
}

TYPED_TEST(Kernel, reduces_by_montgomery_at_every_size) {
    for (size_t k = 1; k < 40; ++k) {
        for (unsigned i = 0; i < 12; ++i) {
            Digits m = this->exactly(this->number(k), k);
            if (i == 0)
                std::fill(m.begin(), m.end(), 0xffffffff);
            m[0] |= 1;
            unsigned n0inv = negativeInverse(m[0]);
            Digits t = this->number(2 * k);
            if (i < 2)
                std::fill(t.begin(), t.end(), 0xffffffff);

            Digits expected = t;
            expected.push_back(0);
            for (size_t digit = 0; digit < k; ++digit)
                plainAdd(expected, digit, plainProduct({expected[digit] * n0inv}, m));
            expected.erase(expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(k));

            Digits r = this->exactly(t, 2 * k);
            unsigned carry = detail::montgomeryReduce<TypeParam>(r.data(), m.data(), k, n0inv);
            r.erase(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(k));
            r.push_back(carry);
            EXPECT_EQ(r, expected) << k;

            if (k == detail::fixedDigits) {
                r = t;
                carry =
                    detail::montgomeryReduceFixed<TypeParam, detail::fixedDigits>(r.data(), m.data(), n0inv);
                r.erase(r.begin(), r.begin() + static_cast<std::ptrdiff_t>(k));
                r.push_back(carry);
                EXPECT_EQ(r, expected) << "laid out";
            }
        }
    }
}

TYPED_TEST(Kernel, multiplies_by_one_digit) {
    for (size_t n = 0; n < 12; ++n) {
        for (unsigned i = 0; i < 20; ++i) {
            Digits const a = this->exactly(this->number(n), n);
            unsigned factor = i == 0 ? 0xffffffff : this->random();
            Digits const product = n == 0 ? Digits{0} : plainProduct({factor}, a);
            Digits r = this->exactly(this->number(n), n);
            Digits expected = r;
            expected.push_back(0);
            plainAdd(expected, 0, product);
            r.push_back(detail::addMultiple<TypeParam>(r.data(), a.data(), n, factor));
            EXPECT_EQ(r, expected);

            unsigned carry = this->random();
            expected = product;
            plainAdd(expected, 0, {carry});
            r = a;
            r.push_back(detail::multiplyBy<TypeParam>(r.data(), n, factor, carry));
            EXPECT_EQ(r, expected);
        }
    }
}

TYPED_TEST(Kernel, divides_two_limbs_by_one) {
    for (unsigned i = 0; i < 3000; ++i) {
        auto limb = [&] {
            TypeParam x = this->random();
            if constexpr (sizeof(TypeParam) == 8)
                x = x << 32 | this->random();
            return x;
        };
        TypeParam divisor = limb() | static_cast<TypeParam>(1) << (detail::limbBits<TypeParam> - 1);
        TypeParam high = limb() % divisor, low = limb();
        TypeParam rest = high;
        TypeParam quotient = detail::InvariantDivisor<TypeParam>(divisor).divide(rest, low);
        EXPECT_LT(rest, divisor);
        TypeParam carry = rest;
        EXPECT_EQ(detail::multiplyAdd<TypeParam>(quotient, divisor, 0, carry), low);
        EXPECT_EQ(carry, high);
    }
}

TYPED_TEST(Kernel, divides_normalised_numbers) {
    constexpr size_t step = detail::limbDigits<TypeParam>;
    for (unsigned i = 0; i < 3000; ++i) {
        size_t vLimbs = 1 + this->random.below(5), qLimbs = 1 + this->random.below(4);
        Digits v = this->number(vLimbs * step);
        v.back() |= 0x80000000;
        Digits q = this->number(qLimbs * step);
        Digits u = plainProduct(q, v);
        // A remainder that is below v because its top digit is, or v - 1.
        Digits rest = v;
        if (i % 2 == 0)
            rest.back() = this->random() & 0x7fffffff;
        else
            detail::subtract<TypeParam>(rest.data(), rest.data(), Digits(1, 1).data(), 1) != 0
                ? rest = Digits(v.size())
                : rest;
        plainAdd(u, 0, rest);
        Digits quotient(q.size());
        detail::divideNormalised<TypeParam>(quotient.data(), u.data(), vLimbs + qLimbs, v.data(), vLimbs);
        EXPECT_EQ(quotient, q);
        rest.resize(u.size());
        EXPECT_EQ(u, rest);
    }
}

TEST(DigitDivision, gives_quotient_and_remainder) {
    test::RandomDigits random(19);
    for (unsigned i = 0; i < 2000; ++i) {
        Digits a(random.below(8));
        std::generate(a.begin(), a.end(), std::ref(random));
        unsigned divisor = std::max(random(), 1U);
        Digits q(a.size());
        unsigned rest = detail::divideByDigit(q.data(), a.data(), a.size(), divisor);
        EXPECT_LT(rest, divisor);
        Digits back = plainProduct({divisor}, q);
        plainAdd(back, 0, {rest});
        back.resize(a.size());
        EXPECT_EQ(back, a);
    }
}

} // namespace TEST_FILE

#include "numbers.h"

#include "sealkit/rng.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>

namespace TEST_FILE {

/// Gives what a function of the test gives, and keeps count.
class ScriptedRng : public Rng {
public:
    using Script = std::function<bool(unsigned char*, unsigned)>;

    explicit ScriptedRng(Script fill) : script(std::move(fill)) {}
    bool fill(unsigned char* buf, unsigned len) const override {
        calls++;
        return script(buf, len);
    }
    bool fillInsecure(unsigned char*, unsigned) const override {
        ADD_FAILURE() << "insecure bytes were drawn";
        return false;
    }

    mutable unsigned calls = 0;

private:
    Script script;
};

/// The same bytes in every run.
ScriptedRng seeded(unsigned seed) {
    return ScriptedRng([engine = std::mt19937(seed)](unsigned char* buf, unsigned len) mutable {
        std::generate(buf, buf + len, [&] { return static_cast<unsigned char>(engine()); });
        return true;
    });
}

ScriptedRng filledWith(unsigned char byte) {
    return ScriptedRng([byte](unsigned char* buf, unsigned len) {
        std::fill(buf, buf + len, byte);
        return true;
    });
}

TEST(RandomBigNum, GivesEveryNumberInTheRangeEquallyOften) {
    ScriptedRng const rng = seeded(1);
    for (unsigned n : {2U, 3U, 4U, 5U, 9U, 16U, 17U}) {
        std::map<unsigned, unsigned> counts;
        constexpr unsigned expected = 1000;
        for (unsigned i = 0; i < expected * (n - 1); i++) {
            BigNum x;
            ASSERT_TRUE(randomBigNum(&x, bn2(n, 0), rng));
            ASSERT_EQ(x.size(), 1U);
            counts[x.digits[0]]++;
        }
        EXPECT_EQ(counts.size(), n - 1);
        EXPECT_EQ(counts.count(0), 0U);
        EXPECT_EQ(counts.rbegin()->first, n - 1);
        for (auto [value, count] : counts)
            EXPECT_NEAR(count, expected, 160) << value << " of " << n; // Five standard deviations.
    }
}

TEST(RandomBigNum, StaysInTheRangeAtTheEdgesOfBytesAndDigits) {
    ScriptedRng const rng = seeded(2);
    for (unsigned bits = 1; bits <= 200; bits++) {
        BigNum power = bn2(1, 0);
        power <<= bits;
        for (BigNum const& n : {power, power + 1U, power - bn2(1, 0)})
            for (unsigned i = 0; i < 20 && bn2(1, 0) < n; i++) {
                BigNum x;
                ASSERT_TRUE(randomBigNum(&x, n, rng));
                EXPECT_TRUE(test::isClamped(x));
                EXPECT_LT(x, n);
                EXPECT_GE(x, bn2(1, 0));
            }
    }
}

TEST(RandomBigNum, ReachesBothEnds) {
    // The first draw of each is out of the range: 0, and the bound itself.
    BigNum const n = bn3(0x12345678, 0x9abcdef0, 0xff);
    for (auto const& [first, second] : {std::pair(BigNum(), bn2(1, 0)), std::pair(n, n - bn2(1, 0))}) {
        ScriptedRng const rng(
            [&first = first, &second = second, call = 0](unsigned char* buf, unsigned len) mutable {
                std::vector<unsigned char> const bytes = (call++ == 0 ? first : second).bin(len);
                EXPECT_EQ(bytes.size(), len);
                std::copy(bytes.begin(), bytes.end(), buf);
                return true;
            });
        BigNum x;
        EXPECT_TRUE(randomBigNum(&x, n, rng));
        EXPECT_EQ(x, second);
        EXPECT_EQ(rng.calls, 2U);
    }
}

TEST(RandomBigNum, TakesAsManyBitsAsTheGreatestNumberHas) {
    // 255 of the bits of 32 bytes.
    BigNum n = bn2(1, 0);
    n <<= 255;
    ScriptedRng const rng = filledWith(0xFF);
    BigNum x;
    EXPECT_TRUE(randomBigNum(&x, n, rng));
    EXPECT_EQ(x, n - bn2(1, 0));
    EXPECT_EQ(rng.calls, 1U);
}

TEST(RandomBigNum, MayReplaceTheBound) {
    ScriptedRng const rng = seeded(3);
    BigNum n = bn2(2, 0);
    EXPECT_TRUE(randomBigNum(&n, n, rng));
    EXPECT_EQ(n, bn2(1, 0));
}

TEST(RandomBigNum, FailsWithTheGeneratorAndLeavesTheResultAlone) {
    BigNum const n = bn2(1000, 0);
    BigNum x = bn2(77, 0);
    ScriptedRng const broken([](unsigned char*, unsigned) { return false; });
    EXPECT_FALSE(randomBigNum(&x, n, broken));
    EXPECT_EQ(broken.calls, 1U);
    // Also when it fails in the middle.
    ScriptedRng const breaking([call = 0](unsigned char* buf, unsigned len) mutable {
        std::fill(buf, buf + len, 0);
        return call++ == 0;
    });
    EXPECT_FALSE(randomBigNum(&x, n, breaking));
    EXPECT_EQ(breaking.calls, 2U);
    EXPECT_EQ(x, bn2(77, 0));
}

TEST(RandomBigNum, EndsWithAGeneratorThatIsStuck) {
    BigNum const n = bn2(1000, 0);
    BigNum x = bn2(77, 0);
    for (unsigned char const byte : {0x00, 0xFF}) {
        ScriptedRng const stuck = filledWith(byte);
        EXPECT_FALSE(randomBigNum(&x, n, stuck));
        EXPECT_EQ(stuck.calls, 128U);
    }
    EXPECT_EQ(x, bn2(77, 0));
}

TEST(RandomBigNum, FindsNothingBelowZeroOrOne) {
    ScriptedRng const rng = seeded(4);
    BigNum x = bn2(77, 0);
    EXPECT_FALSE(randomBigNum(&x, BigNum(), rng));
    EXPECT_FALSE(randomBigNum(&x, bn2(1, 0), rng));
    EXPECT_EQ(x, bn2(77, 0));
    EXPECT_EQ(rng.calls, 0U);
}

TEST(RandomBigNum, DrawsFromTheKernel) {
    BigNum n = bn2(1, 0), x, y;
    n <<= 256;
    ASSERT_TRUE(randomBigNum(&x, n, getDefaultRng()));
    ASSERT_TRUE(randomBigNum(&y, n, getDefaultRng()));
    EXPECT_NE(x, y);
}

} // namespace TEST_FILE

#include "sealkit/prime.h"

#include "support/rngs.h"
#include "support/slow.h"
#include "unit/bignum/numbers.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::number;
using test::ScriptedRng;
using test::SeededRng;
using Bytes = std::vector<unsigned char>;

/// 2^bits - less.
BigNum powerLess(unsigned bits, unsigned less) { return (bn64(1) << bits) - bn64(less); }

/// Below the square of the greatest trial divisor no base is drawn: the answer is certain.
TEST(Prime, SmallNumbersAreKnownWithoutChance) {
    constexpr unsigned end = 40'000;
    std::vector<bool> isComposite(end);
    ScriptedRng const none({});
    for (unsigned n = 0; n < end; ++n) {
        bool const isPrime = n >= 2 && !isComposite[n];
        EXPECT_EQ(isProbablePrime(bn64(n), none), isPrime) << n;
        for (unsigned multiple = 2 * n; n >= 2 && multiple < end; multiple += n)
            isComposite[multiple] = true;
    }
    // The last prime below 2^24, the greatest square of a trial divisor, and a prime that needs bases.
    EXPECT_TRUE(isProbablePrime(bn64(16'777'213), none));
    EXPECT_FALSE(isProbablePrime(bn64(4093 * 4093), none));
    EXPECT_FALSE(isProbablePrime(bn64(16'777'259), none));
    EXPECT_TRUE(isProbablePrime(bn64(16'777'259), SeededRng(0)));
}

unsigned const rounds = test::lessWhenSlow(millerRabinRounds, 8u);

TEST_CASES(Prime, WycheproofAgrees, "wycheproof/primality.txt")(test::Case const& c) {
    SeededRng const rng(c.index());
    c.ignore({"flags"});
    unsigned const every = test::lessWhenSlow(1u, 4u);
    if (c.index() % every != 0)
        GTEST_SKIP() << "one of " << every << " is enough here";
    Bytes const value = c.bytes("value");
    // The numbers are signed, and only positive ones are primes: there is no negative BigNum.
    bool const isNegative = !value.empty() && (value[0] & 0x80) != 0;
    bool const isPrime = !isNegative && isProbablePrime(BigNum(value), rng, rounds);
    EXPECT_EQ(isPrime, c.text("result") == "valid") << c.id();
}

TEST(Prime, LargePrimesAreFound) {
    SeededRng const rng(2);
    for (unsigned exponent : {61U, 89U, 107U, 127U, 521U, 607U, 1279U})
        EXPECT_TRUE(isProbablePrime(powerLess(exponent, 1), rng)) << exponent;
    for (unsigned exponent : {67U, 101U, 257U, 523U, 1009U})
        EXPECT_FALSE(isProbablePrime(powerLess(exponent, 1), rng)) << exponent;
    // p - 1 of P-224 is divisible by 2^96: that many squares are looked at.
    BigNum const p224 = powerLess(224, 0) - powerLess(96, 1);
    EXPECT_TRUE(isProbablePrime(p224, rng));
    BigNum const p25519 = powerLess(255, 19);
    EXPECT_TRUE(isProbablePrime(p25519, rng));
    EXPECT_FALSE(isProbablePrime(p224 * p25519, rng));
    EXPECT_FALSE(isProbablePrime(p25519 * p25519, rng));
}

TEST(Prime, CarmichaelNumbersAreComposite) {
    SeededRng const rng(3);
    for (unsigned n : {561U, 1105U, 1729U, 2465U, 2821U, 6601U, 8911U})
        EXPECT_FALSE(isProbablePrime(bn64(n), rng)) << n;
    // (6k + 1)(12k + 1)(18k + 1) without small factors.
    EXPECT_FALSE(isProbablePrime(bn64(464'052'305'161), rng));
    EXPECT_FALSE(isProbablePrime(bn64(4261) * bn64(8521) * bn64(12781), rng, 3));
}

// 4177 * 8353 = 34890481 is 1 modulo 16: of its bases, 0x205 is a strong liar at once, 0x24 after one
// square, 6 after two and 14 after three; 2 and 3 are none. Bases are drawn as the numbers below.
BigNum const composite = bn64(34'890'481);
Bytes base(unsigned value) {
    --value;
    return {static_cast<unsigned char>(value >> 24), static_cast<unsigned char>(value >> 16),
            static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

TEST(Prime, EveryRoundDrawsABaseAndMakesTheWholeTest) {
    for (unsigned liar : {0x205U, 0x24U, 6U, 14U}) {
        ScriptedRng const one({base(liar)});
        EXPECT_TRUE(isProbablePrime(composite, one, 1)) << liar;
        EXPECT_TRUE(one.isUsedUp());
    }
    for (unsigned witness : {2U, 3U}) {
        ScriptedRng const one({base(witness)});
        EXPECT_FALSE(isProbablePrime(composite, one, 1)) << witness;
        EXPECT_TRUE(one.isUsedUp());
    }
    ScriptedRng const late({base(6), base(14), base(0x24), base(2), base(6)});
    EXPECT_FALSE(isProbablePrime(composite, late, 5));
    EXPECT_FALSE(late.isUsedUp());
    ScriptedRng const liars({base(6), base(14), base(0x24)});
    EXPECT_TRUE(isProbablePrime(composite, liars, 3));
}

TEST(Prime, NoBaseIsOneOrMinusOne) {
    // The least and the greatest number that can be drawn stand for 2 and n - 2.
    unsigned const n = 34'890'481;
    ScriptedRng const least({base(2)});
    EXPECT_FALSE(isProbablePrime(composite, least, 1));
    ScriptedRng const greatest({base(n), base(n - 1), base(n - 2)}); // n and n - 1 are drawn again
    EXPECT_FALSE(isProbablePrime(composite, greatest, 1));
    EXPECT_TRUE(greatest.isUsedUp());
}

TEST(Prime, AFailingGeneratorConfirmsNothing) {
    BigNum const prime = powerLess(521, 1);
    SeededRng const enough(4, 70); // 2^521 - 1: no draw is out of range but the last four numbers
    EXPECT_TRUE(isProbablePrime(prime, enough));
    EXPECT_EQ(enough.draws(), millerRabinRounds);
    for (unsigned limit : {0U, 1U, 63U}) {
        SeededRng const failing(4, limit);
        EXPECT_FALSE(isProbablePrime(prime, failing)) << limit;
        EXPECT_EQ(failing.draws(), limit);
    }
    SeededRng const four(4, 4);
    EXPECT_TRUE(isProbablePrime(prime, four, 4));
}

} // namespace TEST_FILE

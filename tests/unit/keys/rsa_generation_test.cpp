// Making RSA keys.
#include "sealkit/keys.h"
#include "sealkit/prime.h"

#include "support/rngs.h"
#include "support/slow.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEST_FILE {

using test::SeededRng;
using Bytes = std::vector<unsigned char>;

Bytes digestOf(char const* text) { return calcDigest(HashID::SHA256, asn1::blob(text)); }

/// What FIPS 186-5, appendix A.1.1, asks of a key of `bits` bits, and RFC 8017, section 3.2.
void expectGood(RsaPrivateKey const& key, unsigned bits, unsigned e) {
    BigNum const one = bn64(1), p1 = key.p - one, q1 = key.q - one, lambda = lcm(p1, q1);
    SeededRng const rng(99);
    EXPECT_EQ(key.n.bits(), bits);
    EXPECT_EQ(key.e, bn64(e));
    EXPECT_EQ(key.p * key.q, key.n);
    for (BigNum const& prime : {key.p, key.q}) {
        EXPECT_EQ(prime.bits(), bits / 2);
        EXPECT_TRUE(prime.getBit(bits / 2 - 2));
        EXPECT_TRUE(isProbablePrime(prime, rng, 8));
        EXPECT_EQ(gcd(prime - one, key.e), one);
    }
    EXPECT_GT(key.p, key.q);
    EXPECT_GT(key.p - key.q, bn64(1) << (bits / 2 - 100));
    EXPECT_LT(key.d, lambda);
    EXPECT_GT(key.d, bn64(1) << bits / 2);
    BigNum rest;
    div(key.d * key.e, lambda, nullptr, &rest);
    EXPECT_EQ(rest, one);
    div(key.d, p1, nullptr, &rest);
    EXPECT_EQ(key.exp1, rest);
    div(key.d, q1, nullptr, &rest);
    EXPECT_EQ(key.exp2, rest);
    div(key.q * key.coeff, key.p, nullptr, &rest);
    EXPECT_EQ(rest, one);
    EXPECT_LT(key.coeff, key.p);

    Bytes const digest = digestOf("abc"), sig = key.signHashed(HashID::SHA256, digest);
    EXPECT_EQ(sig.size(), (bits + 7) / 8);
    EXPECT_TRUE(key.publicKey()->equals(key));
    EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, sig));
    RsaPrivateKey withoutPrimes = key, withoutExponent = key;
    withoutPrimes.p = BigNum();
    withoutExponent.d = BigNum();
    EXPECT_EQ(withoutPrimes.signHashed(HashID::SHA256, digest), sig);
    EXPECT_EQ(withoutExponent.signHashed(HashID::SHA256, digest), sig);
}

TEST(RsaGeneration, MakesKeysOfTheShortestLength) {
    SeededRng rng(1);
    RsaPrivateKey first, second;
    ASSERT_TRUE(first.generatePrivKey(rng, 2048));
    expectGood(first, 2048, 65537);
    ASSERT_TRUE(second.generatePrivKey(rng, 2048));
    EXPECT_NE(first.n, second.n);
    EXPECT_EQ(gcd(first.n, second.n), bn64(1));
}

TEST(RsaGeneration, MakesKeysUnderOtherExponents) {
    // Half of all primes will not do under 3, and all but two in nine under the last.
    for (unsigned e : {3U, 111'546'435U, 4'294'967'295U}) {
        if (test::isSlow() && e != 3)
            continue;
        SeededRng rng(e);
        RsaPrivateKey key;
        ASSERT_TRUE(key.generatePrivKey(rng, 2048, e)) << e;
        expectGood(key, 2048, e);
    }
}

TEST(RsaGeneration, MakesKeysOfEveryEvenLength) {
    // Primes of whole digits and bytes, and of a bit more.
    for (unsigned bits : {2050U, 2064U}) {
        if (test::isSlow() && bits != 2050)
            continue;
        SeededRng rng(bits);
        RsaPrivateKey key;
        ASSERT_TRUE(key.generatePrivKey(rng, bits)) << bits;
        expectGood(key, bits, 65537);
    }
}

TEST(RsaGeneration, MakesLongKeys) {
    if (test::isSlow())
        return;
    for (unsigned bits : {3072U, 4096U, 8192U}) {
        SeededRng rng(3);
        RsaPrivateKey key;
        ASSERT_TRUE(key.generatePrivKey(rng, bits)) << bits;
        expectGood(key, bits, 65537);
    }
}

TEST(RsaGeneration, KeysAreNewWithTheDefaultGenerator) {
    RsaPrivateKey first, second;
    ASSERT_TRUE(first.generatePrivKey(getDefaultRng(), 2048));
    ASSERT_TRUE(second.generatePrivKey(getDefaultRng(), 2048));
    expectGood(first, 2048, 65537);
    EXPECT_NE(first.n, second.n);
}

void expectUnchanged(RsaPrivateKey const& key) {
    for (BigNum const& number : {key.n, key.e, key.d, key.p, key.q, key.exp1, key.exp2, key.coeff})
        EXPECT_EQ(number, bn64(7));
}

RsaPrivateKey allSevens() {
    RsaPrivateKey key;
    key.n = key.e = key.d = key.p = key.q = key.exp1 = key.exp2 = key.coeff = bn64(7);
    return key;
}

TEST(RsaGeneration, RefusesOtherLengthsAndExponentsWithoutADraw) {
    RsaPrivateKey key = allSevens();
    SeededRng rng(1);
    for (unsigned bits : {0U, 1U, 512U, 1024U, 2046U, 2047U, 2049U, 8191U, 8193U, 8194U, 16384U, 0xFFFFFFFEU})
        EXPECT_FALSE(key.generatePrivKey(rng, bits)) << bits;
    for (unsigned e : {0U, 1U, 2U, 4U, 65536U, 0xFFFFFFFEU})
        EXPECT_FALSE(key.generatePrivKey(rng, 2048, e)) << e;
    EXPECT_EQ(rng.draws(), 0u);
    expectUnchanged(key);
}

TEST(RsaGeneration, AGeneratorThatFailsAtAnyDrawMakesNoKey) {
    SeededRng whole(5);
    RsaPrivateKey made;
    ASSERT_TRUE(made.generatePrivKey(whole, 2048));
    size_t const draws = whole.draws();
    ASSERT_GT(draws, 20u);
    for (size_t limit : {size_t{0}, size_t{1}, draws / 2, draws - 6, draws - 1}) {
        if (test::isSlow() && limit > draws / 2)
            continue;
        RsaPrivateKey key = allSevens();
        SeededRng failing(5, limit);
        EXPECT_FALSE(key.generatePrivKey(failing, 2048)) << limit;
        EXPECT_EQ(failing.draws(), limit);
        expectUnchanged(key);
    }
    if (test::isSlow())
        return;
    RsaPrivateKey again;
    SeededRng enough(5, draws);
    ASSERT_TRUE(again.generatePrivKey(enough, 2048));
    EXPECT_EQ(again.n, made.n);
}

TEST(RsaGeneration, AGeneratorThatIsStuckMakesNoKey) {
    // The last makes a composite number without a small factor, which would be tested again and again.
    for (unsigned char byte : {0x00, 0x01, 0x55, 0xFF, 0x0C}) {
        for (unsigned bits : {2048u, 8192u}) {
            RsaPrivateKey key = allSevens();
            test::StuckRng stuck(byte);
            EXPECT_FALSE(key.generatePrivKey(stuck, bits)) << unsigned{byte};
            EXPECT_LT(stuck.draws(), 200u) << unsigned{byte};
            expectUnchanged(key);
        }
    }
}

/// Offers one prime, and then another one at every second draw.
class OfferingRng : public Rng {
public:
    OfferingRng(BigNum const& firstPrime, BigNum const& secondPrime)
        : first(firstPrime), second(secondPrime) {}
    bool fill(unsigned char* buf, unsigned len) const override {
        ++draws;
        if (draws != 1 && draws % 2 == 1)
            return others.fill(buf, len);
        Bytes const offered = (draws == 1 ? first : second).bin(len);
        std::copy(offered.begin(), offered.end(), buf);
        return offered.size() == len;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }

private:
    BigNum first, second;
    SeededRng others{6};
    mutable size_t draws = 0;
};

TEST(RsaGeneration, PrimesAreFarApart) {
    SeededRng seeded(7);
    RsaPrivateKey made;
    ASSERT_TRUE(made.generatePrivKey(seeded, 2048));
    BigNum const p = made.p;
    // The prime next to p, and one that is just near enough: 2^924 is the least distance.
    for (unsigned shift : {0U, 923U}) {
        BigNum near = (bn64(1) << shift) + p;
        near.setBit(0, true);
        while (!isProbablePrime(near, seeded, 5) || gcd(near - bn64(1), bn64(65537)) != bn64(1))
            near += 2u;
        ASSERT_EQ(near.bits(), 1024u);
        OfferingRng offering(p, near);
        RsaPrivateKey key;
        ASSERT_TRUE(key.generatePrivKey(offering, 2048));
        EXPECT_TRUE(key.p == p || key.q == p);
        EXPECT_GT(key.p - key.q, bn64(1) << 924) << shift;
    }
    BigNum far = (bn64(1) << 925) + p;
    while (!isProbablePrime(far, seeded, 5) || gcd(far - bn64(1), bn64(65537)) != bn64(1))
        far += 2u;
    OfferingRng offering(p, far);
    RsaPrivateKey key;
    ASSERT_TRUE(key.generatePrivKey(offering, 2048));
    EXPECT_EQ(key.p, far);
    EXPECT_EQ(key.q, p);
}

/// Passes another generator's bytes on and keeps them.
class RecordingRng : public Rng {
public:
    explicit RecordingRng(Rng const& source) : inner(source) {}
    bool fill(unsigned char* buf, unsigned len) const override {
        bool const filled = inner.fill(buf, len);
        drawn.emplace_back(asn1::blob(buf, len));
        return filled;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }

    std::vector<BigNum> const& numbers() const { return drawn; }

private:
    Rng const& inner;
    mutable std::vector<BigNum> drawn;
};

/// How many bases below `prime` were drawn after it. Candidates look like bases: the number is right for
/// the prime that was found last.
size_t basesAfter(BigNum const& prime, std::vector<BigNum> drawn) {
    unsigned const bits = prime.bits();
    for (BigNum& number : drawn)
        number.modBy2Pow(bits); // all that is used of it
    auto const candidate = std::find_if(drawn.begin(), drawn.end(), [&](BigNum number) {
        for (unsigned const bit : {0U, bits - 1, bits - 2})
            number.setBit(bit, true);
        return number == prime;
    });
    return static_cast<size_t>(std::count_if(candidate + (candidate != drawn.end()), drawn.end(),
                                             [&](BigNum const& base) { return base < prime - bn64(2); }));
}

TEST(RsaGeneration, PrimesPassTheRoundsOfFips186) {
    // Table B.1: five rounds for primes of 1024 bits, four from 1536 bits on.
    struct {
        unsigned bits;
        size_t rounds;
    } const table[] = {
        {2048, 5},
        {3070, 5},
        {3072, 4},
    };
    for (auto const& row : table) {
        if (test::isSlow() && row.bits > 2048)
            break; // A key of this length takes seconds.
        SeededRng const source(row.bits);
        RecordingRng rng(source);
        RsaPrivateKey key;
        ASSERT_TRUE(key.generatePrivKey(rng, row.bits));
        size_t const last = std::min(basesAfter(key.p, rng.numbers()), basesAfter(key.q, rng.numbers()));
        EXPECT_EQ(last, row.rounds) << row.bits;
    }
}

} // namespace TEST_FILE

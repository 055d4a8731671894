#include "ec/scalar25519.h"

#include "support/random.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using detail::Scalar25519;
using test::Random;

BigNum const& L = Curve25519::getOrder();

BigNum modL(BigNum x) {
    div(x, L, nullptr, &x);
    return x;
}

BigNum numberOf(Scalar25519 const& x) {
    unsigned char bytes[32];
    x.write(bytes);
    return BigNum(asn1::blob(bytes), little_endian{});
}

/// Random numbers of 32 bytes and those next to multiples of the order.
std::vector<BigNum> numbers(Random& random, unsigned bytes) {
    std::vector<BigNum> result = {BigNum(), bn64(1), (bn64(1) << 8 * bytes) - bn64(1)};
    BigNum most;
    div(result.back(), L, &most, nullptr);
    for (BigNum const& factor : {bn64(1), bn64(2), most})
        for (BigNum const& near : {L * factor - bn64(1), L * factor, L * factor + 1})
            result.push_back(near);
    for (unsigned i = 0; i < 100; ++i)
        result.push_back(BigNum(asn1::blob(random.bytes(bytes))));
    return result;
}

TEST(Scalar25519, ReducesDigests) {
    Random random(1);
    for (BigNum const& x : numbers(random, 64)) {
        Scalar25519 fromBytes, fromNumber;
        fromBytes.setResidue(asn1::blob(x.bin(little_endian{})));
        fromNumber.setResidue(x);
        EXPECT_EQ(numberOf(fromBytes), modL(x)) << x.str();
        EXPECT_EQ(numberOf(fromNumber), modL(x)) << x.str();
        EXPECT_TRUE(fromBytes.isReduced());
    }
    Scalar25519 fromLonger;
    BigNum const longer(asn1::blob(random.bytes(200)));
    fromLonger.setResidue(longer);
    EXPECT_EQ(numberOf(fromLonger), modL(longer));
}

TEST(Scalar25519, ReadsWritesAndMeasuresNumbers) {
    Random random(2);
    for (BigNum const& x : numbers(random, 32)) {
        Scalar25519 scalar;
        scalar.setBytes(asn1::blob(x.bin(little_endian{})));
        EXPECT_EQ(numberOf(scalar), x);
        EXPECT_EQ(scalar.bits(), x.bits());
        EXPECT_EQ(scalar.isReduced(), x < L);
    }
}

TEST(Scalar25519, MultipliesAndAdds) {
    Random random(3);
    std::vector<BigNum> const all = numbers(random, 32);
    for (unsigned i = 0; i < 500; ++i) {
        Scalar25519 k, s, r, sum;
        BigNum const x = all[random.below(all.size())], y = all[random.below(all.size())],
                     z = modL(all[random.below(all.size())]);
        k.setResidue(x);
        s.setBytes(asn1::blob(y.bin(little_endian{})));
        r.setResidue(z);
        sum.setSum(k, s, r);
        EXPECT_EQ(numberOf(sum), modL(modL(x) * y + z));
    }
}

} // namespace TEST_FILE

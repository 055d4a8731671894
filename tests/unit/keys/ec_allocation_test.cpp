// What the operations of EC keys take from the heap.
#include "sealkit/keys.h"

#include "support/allocation_count.h"
#include "support/rngs.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::allocationsOf;

constexpr Curve curves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};

TEST(EcKeyAllocation, SigningAndVerifyingTakeFewBlocks) {
    std::vector<unsigned char> const digest = calcDigest(HashID::SHA256, asn1::blob("abc"));
    for (Curve curve : curves) {
        EcPrivateKey key;
        key.curve = curve;
        test::SeededRng rng(1);
        ASSERT_TRUE(key.generatePrivKey(rng));
        std::vector<unsigned char> signature;
        EXPECT_LE(allocationsOf([&] { signature = key.signHashed(HashID::SHA256, digest); }), 40U);
        EXPECT_LE(allocationsOf([&] { EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, signature)); }),
                  24U);
        std::vector<unsigned char> const point = key.EcPublicKey::encodeToDerEncoded();
        EXPECT_LE(allocationsOf([&] { EXPECT_FALSE(key.exchangeKeys(point).empty()); }), 24U);
        EXPECT_LE(allocationsOf([&] { EXPECT_TRUE(key.generatePrivKey(rng)); }), 24U);
    }
}

} // namespace TEST_FILE

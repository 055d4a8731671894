// What mlkem-native computes by the code of the processor that runs it, against what it computes in C, which
// is linked here under the names of `pq/mlkem_native.h`. The library does not export its own.
#include "sealkit/mlkem.h"

#include "pq/mlkem_native.h"
#include "support/kernel_bytes.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

/// The results of the C sources for one key and one message.
struct Portable {
    Bytes publicKey = Bytes(1184), secretKey = Bytes(2400), ciphertext = Bytes(1088),
          sharedSecret = Bytes(32);

    Portable(Bytes const& seed, Bytes const& message) {
        EXPECT_EQ(PQCP_MLKEM_NATIVE_MLKEM768_keypair_derand(publicKey.data(), secretKey.data(), seed.data()),
                  0);
        EXPECT_EQ(PQCP_MLKEM_NATIVE_MLKEM768_enc_derand(ciphertext.data(), sharedSecret.data(),
                                                        publicKey.data(), message.data()),
                  0);
    }

    Bytes decapsulated(Bytes const& from) const {
        Bytes secret(32);
        EXPECT_EQ(PQCP_MLKEM_NATIVE_MLKEM768_dec(secret.data(), from.data(), secretKey.data()), 0);
        return secret;
    }
};

TEST(MlkemNative, ComputesWhatItsPortableSourcesCompute) {
    for (unsigned round = 0; round < 200; ++round) {
        test::Random random(round);
        Bytes const seed = random.bytes(64), message = random.bytes(32);
        Portable const expected(seed, message);

        auto const owner = std::make_unique<MLKEMDecap>();
        ASSERT_TRUE(owner->load(seed));
        EXPECT_TRUE(
            std::equal(std::begin(owner->publicKey), std::end(owner->publicKey), expected.publicKey.begin()));
        EXPECT_TRUE(
            std::equal(std::begin(owner->secretKey), std::end(owner->secretKey), expected.secretKey.begin()));

        test::KernelBytes const kernel(message);
        MLKEMEncap sender;
        Bytes ciphertext = sender.encap(owner->publicKey);
        EXPECT_EQ(ciphertext, expected.ciphertext);
        EXPECT_EQ(Bytes(std::begin(sender.sharedSecret), std::end(sender.sharedSecret)),
                  expected.sharedSecret);

        // One that was changed is rejected implicitly: the secret comes from the key.
        for (unsigned char const change : {0x00, 0x01}) {
            ciphertext[round * 5] ^= change;
            ASSERT_TRUE(owner->decap(ciphertext));
            EXPECT_EQ(Bytes(std::begin(owner->sharedSecret), std::end(owner->sharedSecret)),
                      expected.decapsulated(ciphertext));
        }
    }
}

} // namespace TEST_FILE

#include "sealkit/signature.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

TEST(MatchingHash, IsOfTheKeysStrength) {
    EcPublicKey ec;
    struct {
        Curve curve;
        HashID hash;
    } const rows[] = {{Curve::p192, HashID::SHA256},
                      {Curve::p224, HashID::SHA256},
                      {Curve::p256, HashID::SHA256},
                      {Curve::p384, HashID::SHA384},
                      {Curve::p521, HashID::SHA512}};
    for (auto const& row : rows) {
        ec.curve = row.curve;
        EXPECT_EQ(getMatchingHash(ec), row.hash);
    }
    EXPECT_EQ(getMatchingHash(RsaPublicKey()), HashID::SHA256);
    EXPECT_EQ(getMatchingHash(Ed25519PublicKey()), HashID::none);
    EXPECT_EQ(getMatchingHash(X25519PublicKey()), HashID::none);
}

} // namespace TEST_FILE

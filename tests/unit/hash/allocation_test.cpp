#include "sealkit/hmac.h"
#include "sealkit/pbkdf2.h"
#include "support/allocation_count.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

using test::allocationsOf;

namespace TEST_FILE {

constexpr HashID hashes[] = {HashID::MD5SHA1, HashID::MD4,    HashID::MD5,   HashID::SHA1,
                             HashID::SHA256,  HashID::SHA384, HashID::SHA512};

std::vector<unsigned char> const message(1000, 'a');

void useThreeTimes(Hash& hash) {
    unsigned char digest[64];
    for (unsigned piece : {1000U, 3U, 0U}) {
        hash.update(message.data(), piece);
        hash.update(message.data(), 128);
        hash.digest(digest);
    }
}

TEST(Allocation, AHashTakesMemoryForItselfAlone) {
    for (HashID id : hashes) {
        std::unique_ptr<Hash> hash;
        EXPECT_EQ(allocationsOf([&] { hash = createHash(id); }), 1U);
        EXPECT_EQ(allocationsOf([&] { useThreeTimes(*hash); }), 0U) << getHashName(id);
    }
}

TEST(Allocation, AnHmacTakesMemoryForItselfAndItsHash) {
    for (HashID id : hashes) {
        std::unique_ptr<class HMAC> hmac;
        EXPECT_EQ(allocationsOf([&] { hmac = createHMAC(id, message); }), 2U);
        EXPECT_EQ(allocationsOf([&] { useThreeTimes(*hmac); }), 0U) << getHashName(id);
    }
}

TEST(Allocation, KeyDerivationTakesMemoryForItsResultAlone) {
    SHA256 hash;
    std::vector<unsigned char> key;
    EXPECT_EQ(allocationsOf([&] { key = HKPDF(hash, message, message, message, 200); }), 1U);
    std::array<unsigned char, 100> derived;
    for (HashID id : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512})
        EXPECT_EQ(allocationsOf([&] { EXPECT_TRUE(pbkdf2(id, message, message, 10, derived)); }), 0U);
}

} // namespace TEST_FILE

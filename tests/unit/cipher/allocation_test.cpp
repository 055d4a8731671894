#include "sealkit/cipher.h"
#include "sealkit/cmac.h"
#include "sealkit/rc4.h"
#include "support/allocation_count.h"

#include <gtest/gtest.h>

#include <vector>

using test::allocationsOf;

namespace TEST_FILE {

std::vector<unsigned char> const message(1000, 'a'), key(32, 'k'), iv(16, 'i');
std::vector<unsigned char> out(1100), back(1100);

void useTwice(Cipher& cipher) {
    for (unsigned size : {1000U, 5U}) {
        cipher.encrypt(message.data(), size, iv.data(), 13, out.data());
        cipher.decrypt(out.data(), cipher.ciphertextLength(size), iv.data(), 13, back.data());
    }
}

TEST(Allocation, CiphersTakeMemoryWhenTheyAreMade) {
    for (CipherID id : {CipherID::Null, CipherID::DesCbc, CipherID::TripleDesCbc, CipherID::AesCbc,
                        CipherID::AesCtr, CipherID::AesCfb})
        for (size_t keySize : {8, 16, 24, 32})
            if (std::unique_ptr<Cipher> const cipher = createCipher(id, {key.data(), keySize}, 0)) {
                EXPECT_EQ(allocationsOf([&] {
                              cipher->setIV(iv.data(), 16);
                              useTwice(*cipher);
                          }),
                          0U)
                    << static_cast<unsigned>(id) << ", " << keySize;
            }
}

TEST(Allocation, GcmTakesMemoryForTheTableOfAnIV) {
    auto const gcm = createCipher(CipherID::AesGcm, {key.data(), 16}, 0);
    for (unsigned ivSize : {12U, 16U})
        EXPECT_EQ(allocationsOf([&] { gcm->setIV(iv.data(), ivSize); }), 1U);
    EXPECT_EQ(allocationsOf([&] { useTwice(*gcm); }), 0U);
}

TEST(Allocation, RecordCiphersTakeMemoryWhenTheyAreMade) {
    for (HashID hash : {HashID::SHA1, HashID::SHA512}) {
        auto const cipher = createAead(CipherID::AesCbc, hash, {key.data(), 16}, key);
        EXPECT_EQ(allocationsOf([&] {
                      cipher->setIV(iv.data(), 16);
                      useTwice(*cipher);
                  }),
                  0U);
    }
}

template <typename BlockCipher>
size_t allocationsOfBlocks() {
    return allocationsOf([] {
        BlockCipher cipher(key.data());
        cipher.encrypt(message.data(), out.data());
        cipher.decrypt(out.data(), out.data());
    });
}

TEST(Allocation, BlockCiphersTakeNoMemory) {
    EXPECT_EQ(allocationsOfBlocks<AES128>(), 0U);
    EXPECT_EQ(allocationsOfBlocks<AES192>(), 0U);
    EXPECT_EQ(allocationsOfBlocks<AES256>(), 0U);
    EXPECT_EQ(allocationsOfBlocks<DES>(), 0U);
}

TEST(Allocation, Rc4TakesNoMemory) {
    EXPECT_EQ(allocationsOf([] {
                  RC4 rc4;
                  rc4.setKey(key.data(), 32);
                  rc4.encrypt(message.data(), out.data(), 1000);
              }),
              0U);
}

} // namespace TEST_FILE

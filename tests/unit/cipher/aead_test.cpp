#include "sealkit/aead.h"

#include "sealkit/gcm.h"
#include "sealkit/siv.h"

#include <gtest/gtest.h>

#include <numeric>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;
using Call = bool(AeadParameters const&, std::span<unsigned char const>, std::span<unsigned char>);

Bytes counted(size_t size, unsigned char first = 0) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

struct Algorithm {
    char const* name;
    Call *seal, *open;
    std::vector<size_t> keySizes;
};

Algorithm const algorithms[] = {{"GCM", sealAesGcm, openAesGcm, {16, 24, 32}},
                                {"SIV", sealAesSiv, openAesSiv, {32, 48, 64}}};

/// Whether `call` fails, and leaves zeros in `size` bytes.
bool failsAndWipes(Call* call, AeadParameters const& parameters, Bytes const& input, size_t size) {
    Bytes out(size, 0xA5);
    return !call(parameters, input, out) && out == Bytes(size);
}

TEST(Aead, OpensWhatItSealed) {
    Bytes const nonce = counted(12, 0x40), data = counted(20, 0x80);
    for (Algorithm const& algorithm : algorithms)
        for (size_t const keySize : algorithm.keySizes)
            for (size_t const size : {0, 1, 15, 16, 17, 1000, 2049}) {
                Bytes const key = counted(keySize), plaintext = counted(size, 1);
                Bytes sealed(size + aeadTagSize), opened(size);
                ASSERT_TRUE(algorithm.seal({key, nonce, data}, plaintext, sealed)) << algorithm.name << size;
                ASSERT_TRUE(algorithm.open({key, nonce, data}, sealed, opened)) << algorithm.name << size;
                EXPECT_EQ(opened, plaintext);
            }
}

TEST(Aead, IsTheModesOfTheirClasses) {
    Bytes const key = counted(32), nonce = counted(12), data = counted(7), plaintext = counted(40);
    Bytes sealed(56), expected(56);
    GCMCipher gcm(std::make_unique<AES256>(key.data()));
    gcm.setIV(nonce.data(), 12);
    gcm.encrypt(plaintext.data(), 40, data.data(), 7, expected.data());
    EXPECT_TRUE(sealAesGcm({key, nonce, data}, plaintext, sealed));
    EXPECT_EQ(sealed, expected);

    AESSIV(key).encrypt(plaintext, {data, nonce}, expected.data());
    EXPECT_TRUE(sealAesSiv({key, nonce, data}, plaintext, sealed));
    EXPECT_EQ(sealed, expected);
    AESSIV(key).encrypt(plaintext, {data}, expected.data());
    EXPECT_TRUE(sealAesSiv({key, {}, data}, plaintext, sealed));
    EXPECT_EQ(sealed, expected);
}

/// RFC 5297, appendix A.1.
TEST(Aead, SealsThePublishedExampleOfSiv) {
    Bytes key;
    for (unsigned i = 0; i < 16; i++)
        key.push_back(static_cast<unsigned char>(0xFF - i));
    for (unsigned i = 0; i < 16; i++)
        key.push_back(static_cast<unsigned char>(0xF0 + i));
    Bytes const data = counted(24, 0x10), plaintext = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                                       0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee};
    Bytes const published = {0x85, 0x63, 0x2d, 0x07, 0xc6, 0xe8, 0xf3, 0x7f, 0x95, 0x0a,
                             0xcd, 0x32, 0x0a, 0x2e, 0xcc, 0x93, 0x40, 0xc0, 0x2b, 0x96,
                             0x90, 0xc4, 0xdc, 0x04, 0xda, 0xef, 0x7f, 0x6a, 0xfe, 0x5c};
    Bytes sealed(30);
    EXPECT_TRUE(sealAesSiv({key, {}, data}, plaintext, sealed));
    EXPECT_EQ(sealed, published);
}

TEST(Aead, YieldsNothingOfAForgery) {
    Bytes const nonce = counted(12), data = counted(5), plaintext = counted(33, 1);
    for (Algorithm const& algorithm : algorithms) {
        Bytes const key = counted(32);
        Bytes sealed(plaintext.size() + aeadTagSize);
        ASSERT_TRUE(algorithm.seal({key, nonce, data}, plaintext, sealed));
        for (size_t i = 0; i < sealed.size(); i++) {
            Bytes forged = sealed;
            forged[i] ^= 0x80;
            EXPECT_TRUE(failsAndWipes(algorithm.open, {key, nonce, data}, forged, plaintext.size()))
                << algorithm.name << i;
        }
        Bytes const otherKey = counted(32, 1), otherNonce = counted(12, 1), otherData = counted(5, 1);
        EXPECT_TRUE(failsAndWipes(algorithm.open, {otherKey, nonce, data}, sealed, plaintext.size()));
        EXPECT_TRUE(failsAndWipes(algorithm.open, {key, otherNonce, data}, sealed, plaintext.size()));
        EXPECT_TRUE(failsAndWipes(algorithm.open, {key, nonce, otherData}, sealed, plaintext.size()));
        EXPECT_TRUE(failsAndWipes(algorithm.open, {key, nonce, {}}, sealed, plaintext.size()));
    }
}

TEST(Aead, RefusesSizesThatItDoesNotTake) {
    Bytes const nonce = counted(12), plaintext = counted(16);
    for (Algorithm const& algorithm : algorithms) {
        Bytes const key = counted(32);
        Bytes sealed(32);
        ASSERT_TRUE(algorithm.seal({key, nonce, {}}, plaintext, sealed));
        for (size_t const size : {0, 15, 16, 31, 33})
            EXPECT_TRUE(failsAndWipes(algorithm.seal, {key, nonce, {}}, plaintext, size))
                << algorithm.name << size;
        for (size_t const size : {0, 15, 17, 32})
            EXPECT_TRUE(failsAndWipes(algorithm.open, {key, nonce, {}}, sealed, size))
                << algorithm.name << size;
        EXPECT_TRUE(failsAndWipes(algorithm.open, {key, nonce, {}}, counted(15), 0));
        for (size_t const size : {0, 8, 31, 33, 65}) {
            Bytes const wrong = counted(size);
            EXPECT_TRUE(failsAndWipes(algorithm.seal, {wrong, nonce, {}}, plaintext, 32))
                << algorithm.name << size;
            EXPECT_TRUE(failsAndWipes(algorithm.open, {wrong, nonce, {}}, sealed, 16))
                << algorithm.name << size;
        }
    }
    Bytes const key = counted(32);
    for (size_t const size : {0, 8, 11, 13, 16}) {
        Bytes const wrong = counted(size);
        EXPECT_TRUE(failsAndWipes(sealAesGcm, {key, wrong, {}}, plaintext, 32)) << size;
        EXPECT_TRUE(failsAndWipes(openAesGcm, {key, wrong, {}}, counted(32), 16)) << size;
    }
}

} // namespace TEST_FILE

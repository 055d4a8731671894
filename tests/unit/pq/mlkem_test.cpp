#include "sealkit/mlkem.h"

#include "support/captured_output.h"
#include "support/kernel_bytes.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

constexpr size_t publicKeySize = 1184, secretKeySize = 2400, ciphertextSize = 1088, secretSize = 32;

template <size_t size>
Bytes bytesOf(unsigned char const (&array)[size]) {
    return Bytes(array, array + size);
}

template <size_t size>
void fill(unsigned char (&array)[size], unsigned char value) {
    std::fill_n(array, size, value);
}

/// The same key pair for every test that is not about making one.
std::unique_ptr<MLKEMDecap> knownKey(unsigned seed = 1) {
    auto key = std::make_unique<MLKEMDecap>();
    EXPECT_TRUE(key->load(test::Random(seed).bytes(64)));
    return key;
}

// The order of the fields is part of the interface: programs are linked against it.

TEST(MlkemLayout, FieldsStandInOrderWithinTheObjects) {
    auto const key = std::make_unique<MLKEMDecap>();
    auto const* const start = reinterpret_cast<unsigned char const*>(key.get());
    EXPECT_EQ(key->sharedSecret - start, 0);
    EXPECT_EQ(key->publicKey - start, 32);
    EXPECT_EQ(key->secretKey - start, 32 + 1184);
    EXPECT_EQ(sizeof(MLKEMDecap), size_t(32 + 1184 + 2400));
    MLKEMEncap const sender;
    EXPECT_EQ(static_cast<void const*>(sender.sharedSecret), &sender);
    EXPECT_EQ(sizeof(MLKEMEncap), 32U);
    EXPECT_TRUE(std::is_standard_layout_v<MLKEMDecap>);
    EXPECT_TRUE(std::is_standard_layout_v<MLKEMEncap>);
}

TEST(Mlkem, ObjectsBeginWithZeros) {
    auto const key = std::make_unique<MLKEMDecap>();
    EXPECT_EQ(bytesOf(key->sharedSecret), Bytes(secretSize));
    EXPECT_EQ(bytesOf(key->publicKey), Bytes(publicKeySize));
    EXPECT_EQ(bytesOf(key->secretKey), Bytes(secretKeySize));
    EXPECT_EQ(bytesOf(MLKEMEncap().sharedSecret), Bytes(secretSize));
}

TEST(Mlkem, BothSidesComeToTheSameSecret) {
    test::CapturedOutput const output;
    Bytes before;
    for (int i = 0; i < 20; ++i) {
        auto const owner = std::make_unique<MLKEMDecap>();
        ASSERT_TRUE(owner->generate());
        MLKEMEncap sender;
        Bytes const ciphertext = sender.encap(owner->publicKey);
        ASSERT_EQ(ciphertext.size(), ciphertextSize);
        EXPECT_EQ(bytesOf(owner->sharedSecret), Bytes(secretSize)) << "before decap";
        ASSERT_TRUE(owner->decap(ciphertext));
        EXPECT_EQ(bytesOf(owner->sharedSecret), bytesOf(sender.sharedSecret));
        EXPECT_NE(bytesOf(owner->sharedSecret), before);
        before = bytesOf(owner->sharedSecret);
    }
    EXPECT_EQ(output.text(), "");
}

TEST(Mlkem, SecretKeysHoldTheirPublicKey) {
    auto const owner = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(owner->generate());
    EXPECT_EQ(std::memcmp(owner->secretKey + 1152, owner->publicKey, publicKeySize), 0);
}

TEST(Mlkem, KeysSecretsAndCiphertextsAreNewEachTime) {
    auto const first = std::make_unique<MLKEMDecap>(), second = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(first->generate());
    ASSERT_TRUE(second->generate());
    EXPECT_NE(bytesOf(first->publicKey), bytesOf(second->publicKey));
    EXPECT_NE(bytesOf(first->secretKey), bytesOf(second->secretKey));
    MLKEMEncap sender;
    Bytes const ciphertext = sender.encap(first->publicKey), secret = bytesOf(sender.sharedSecret);
    EXPECT_NE(sender.encap(first->publicKey), ciphertext);
    EXPECT_NE(bytesOf(sender.sharedSecret), secret);
}

TEST(Mlkem, AllRandomnessIsTheKernels) {
    Bytes const stream = test::Random(2).bytes(96);
    Bytes publicKey, ciphertext, secret;
    for (int round = 0; round < 2; ++round) {
        test::KernelBytes const kernel(stream);
        auto const owner = std::make_unique<MLKEMDecap>();
        ASSERT_TRUE(owner->generate());
        MLKEMEncap sender;
        Bytes const made = sender.encap(owner->publicKey);
        ASSERT_TRUE(owner->decap(made));
        EXPECT_EQ(kernel.asked(), (std::vector<size_t>{64, 32}));
        if (round == 1) {
            EXPECT_EQ(bytesOf(owner->publicKey), publicKey);
            EXPECT_EQ(made, ciphertext);
            EXPECT_EQ(bytesOf(sender.sharedSecret), secret);
        }
        publicKey = bytesOf(owner->publicKey);
        ciphertext = made;
        secret = bytesOf(sender.sharedSecret);
    }
}

TEST(Mlkem, CiphertextsOfAnotherLengthAreRefusedAndChangeNothing) {
    auto const owner = knownKey();
    MLKEMEncap sender;
    Bytes const ciphertext = sender.encap(owner->publicKey);
    Bytes longer = ciphertext;
    longer.resize(2 * ciphertextSize);
    fill(owner->sharedSecret, 0xA5);
    Bytes const before(reinterpret_cast<unsigned char*>(owner.get()),
                       reinterpret_cast<unsigned char*>(owner.get() + 1));
    for (size_t size : {size_t(0), size_t(1), secretSize, ciphertextSize - 1, ciphertextSize + 1,
                        publicKeySize, 2 * ciphertextSize})
        EXPECT_FALSE(owner->decap(asn1::blob(longer.data(), size))) << size;
    EXPECT_FALSE(owner->decap({}));
    EXPECT_EQ(std::memcmp(owner.get(), before.data(), before.size()), 0);
}

TEST(Mlkem, PublicKeysOfAnotherLengthAreRefused) {
    auto const owner = knownKey();
    Bytes longer = bytesOf(owner->publicKey);
    longer.resize(2 * publicKeySize);
    MLKEMEncap sender;
    test::KernelBytes const kernel({1});
    for (size_t size : {size_t(0), size_t(1), publicKeySize - 1, publicKeySize + 1, secretKeySize - 32})
        EXPECT_TRUE(sender.encap(asn1::blob(longer.data(), size)).empty()) << size;
    EXPECT_TRUE(sender.encap({}).empty());
    EXPECT_TRUE(kernel.asked().empty());
}

/// Writes coefficient `index` of the 768 of a public key: 12 bits, the lowest first (ByteEncode, FIPS 203,
/// algorithm 5).
void setCoefficient(Bytes& publicKey, size_t index, unsigned value) {
    unsigned char* const pair = &publicKey[index / 2 * 3];
    if (index % 2 == 0) {
        pair[0] = static_cast<unsigned char>(value);
        pair[1] = static_cast<unsigned char>((pair[1] & 0xF0) | value >> 8);
    } else {
        pair[1] = static_cast<unsigned char>((pair[1] & 0x0F) | value << 4);
        pair[2] = static_cast<unsigned char>(value >> 4);
    }
}

TEST(Mlkem, PublicKeysWithUnreducedCoefficientsAreRefused) {
    auto const owner = knownKey();
    for (size_t index : {0, 1, 2, 255, 256, 383, 511, 512, 766, 767})
        for (unsigned value : {3328U, 3329U, 3330U, 4095U}) {
            Bytes publicKey = bytesOf(owner->publicKey);
            setCoefficient(publicKey, index, value);
            MLKEMEncap sender;
            EXPECT_EQ(sender.encap(publicKey).size(), value < 3329 ? ciphertextSize : 0)
                << index << ": " << value;
        }
}

TEST(Mlkem, ChangedCiphertextsGiveAnotherSecretAndTrue) {
    auto const owner = knownKey();
    MLKEMEncap sender;
    Bytes const ciphertext = sender.encap(owner->publicKey), secret = bytesOf(sender.sharedSecret);
    std::vector<Bytes> secrets = {secret};
    for (size_t bit : {size_t(0), size_t(7), size_t(4000), size_t(7679), size_t(7680), size_t(8703)}) {
        Bytes changed = ciphertext;
        changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
        ASSERT_TRUE(owner->decap(changed)) << bit;
        secrets.push_back(bytesOf(owner->sharedSecret));
        ASSERT_TRUE(owner->decap(changed));
        EXPECT_EQ(bytesOf(owner->sharedSecret), secrets.back()) << "always the same";
    }
    std::ranges::sort(secrets);
    EXPECT_EQ(std::ranges::adjacent_find(secrets), secrets.end());
    ASSERT_TRUE(owner->decap(ciphertext));
    EXPECT_EQ(bytesOf(owner->sharedSecret), secret);
    ASSERT_TRUE(owner->decap(Bytes(ciphertextSize)));
    EXPECT_NE(bytesOf(owner->sharedSecret), secret);
}

TEST(Mlkem, TheSecretOfARejectedCiphertextHangsOnTheKeysLastBytes) {
    auto const owner = knownKey(), twin = knownKey();
    twin->secretKey[secretKeySize - 1] ^= 1;
    MLKEMEncap sender;
    Bytes ciphertext = sender.encap(owner->publicKey);
    ASSERT_TRUE(twin->decap(ciphertext));
    EXPECT_EQ(bytesOf(twin->sharedSecret), bytesOf(sender.sharedSecret));
    ciphertext[100] ^= 1;
    ASSERT_TRUE(owner->decap(ciphertext));
    ASSERT_TRUE(twin->decap(ciphertext));
    EXPECT_NE(bytesOf(twin->sharedSecret), bytesOf(owner->sharedSecret));
}

TEST(Mlkem, SecretKeysThatDoNotFitTheirHashAreRefused) {
    auto const owner = knownKey();
    MLKEMEncap sender;
    Bytes const ciphertext = sender.encap(owner->publicKey);
    owner->secretKey[2336] ^= 1;
    EXPECT_FALSE(owner->decap(ciphertext));
    EXPECT_FALSE(std::make_unique<MLKEMDecap>()->decap(ciphertext)) << "without a key";
}

TEST(Mlkem, CiphertextsForAnotherKeyGiveAnotherSecret) {
    auto const owner = knownKey(1), other = knownKey(2);
    MLKEMEncap sender;
    ASSERT_TRUE(other->decap(sender.encap(owner->publicKey)));
    EXPECT_NE(bytesOf(other->sharedSecret), bytesOf(sender.sharedSecret));
}

TEST(Mlkem, InputsMayLieAnywhere) {
    auto const owner = knownKey();
    for (size_t shift = 1; shift < 8; ++shift) {
        Bytes buffer(shift), ciphertext(shift);
        buffer.insert(buffer.end(), owner->publicKey, owner->publicKey + publicKeySize);
        MLKEMEncap sender;
        Bytes const made = sender.encap(asn1::blob(&buffer[shift], publicKeySize));
        ciphertext.insert(ciphertext.end(), made.begin(), made.end());
        ASSERT_TRUE(owner->decap(asn1::blob(&ciphertext[shift], ciphertextSize)));
        EXPECT_EQ(bytesOf(owner->sharedSecret), bytesOf(sender.sharedSecret));
    }
}

TEST(Mlkem, CopiesAreWholeAndTheirOwn) {
    auto const owner = knownKey();
    MLKEMEncap sender;
    Bytes const ciphertext = sender.encap(owner->publicKey), secretKey = bytesOf(owner->secretKey);
    auto copy = std::make_unique<MLKEMDecap>(*owner);
    MLKEMEncap const senderCopy = sender;
    fill(owner->secretKey, 0);
    fill(sender.sharedSecret, 0);
    EXPECT_EQ(bytesOf(copy->secretKey), secretKey);
    ASSERT_TRUE(copy->decap(ciphertext));
    EXPECT_EQ(bytesOf(copy->sharedSecret), bytesOf(senderCopy.sharedSecret));
    *owner = *copy;
    copy.reset();
    fill(owner->sharedSecret, 0);
    ASSERT_TRUE(owner->decap(ciphertext));
    EXPECT_EQ(bytesOf(owner->sharedSecret), bytesOf(senderCopy.sharedSecret));
}

TEST(MlkemLoad, TakesStoredKeys) {
    auto const owner = knownKey(), loaded = std::make_unique<MLKEMDecap>();
    ASSERT_TRUE(loaded->load(owner->secretKey));
    EXPECT_EQ(bytesOf(loaded->secretKey), bytesOf(owner->secretKey));
    EXPECT_EQ(bytesOf(loaded->publicKey), bytesOf(owner->publicKey));
    EXPECT_TRUE(loaded->load(loaded->secretKey)) << "of its own";
    EXPECT_EQ(bytesOf(loaded->secretKey), bytesOf(owner->secretKey));
}

TEST(MlkemLoad, ComputesKeysFromTheirSeed) {
    Bytes const seed = test::Random(3).bytes(64);
    auto const generated = std::make_unique<MLKEMDecap>(), loaded = std::make_unique<MLKEMDecap>();
    test::KernelBytes const kernel(seed);
    ASSERT_TRUE(generated->generate());
    ASSERT_TRUE(loaded->load(seed));
    EXPECT_EQ(bytesOf(loaded->secretKey), bytesOf(generated->secretKey));
    EXPECT_EQ(bytesOf(loaded->publicKey), bytesOf(generated->publicKey));
}

TEST(MlkemLoad, RefusesWhatIsNoKeyAndStaysAsItWas) {
    auto const owner = knownKey(1), key = knownKey(2);
    Bytes const before(reinterpret_cast<unsigned char*>(key.get()),
                       reinterpret_cast<unsigned char*>(key.get() + 1));
    Bytes longer = bytesOf(owner->secretKey);
    longer.resize(secretKeySize + 1);
    for (size_t size :
         {size_t(0), size_t(1), size_t(63), size_t(65), publicKeySize, secretKeySize - 1, secretKeySize + 1})
        EXPECT_FALSE(key->load(asn1::blob(longer.data(), size))) << size;
    EXPECT_FALSE(key->load({}));
    // The public key, and its hash behind it.
    for (size_t at : {size_t(1152), size_t(2000), size_t(2335), size_t(2336), size_t(2367)}) {
        Bytes changed = bytesOf(owner->secretKey);
        changed[at] ^= 1;
        EXPECT_FALSE(key->load(changed)) << at;
    }
    EXPECT_FALSE(key->load(Bytes(secretKeySize)));
    EXPECT_EQ(std::memcmp(key.get(), before.data(), before.size()), 0);
}

TEST(MlkemLoad, DoesNotSeeOtherChanges) {
    auto const owner = knownKey(1), key = std::make_unique<MLKEMDecap>();
    for (size_t at : {size_t(0), size_t(1151), size_t(2368), size_t(2399)}) {
        Bytes changed = bytesOf(owner->secretKey);
        changed[at] ^= 1;
        EXPECT_TRUE(key->load(changed)) << at;
    }
}

} // namespace TEST_FILE

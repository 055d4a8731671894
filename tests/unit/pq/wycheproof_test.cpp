// Project Wycheproof's cases. What they compute from given bytes in place of random ones, the library
// computes from what the kernel's generator gives.
#include "sealkit/mlkem.h"

#include "support/kernel_bytes.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <memory>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

template <size_t size>
Bytes bytesOf(unsigned char const (&array)[size]) {
    return Bytes(array, array + size);
}

/// Empty when the field is not there.
Bytes bytesOrNone(test::Case const& c, std::string_view name) {
    return c.has(name) ? c.bytes(name) : Bytes();
}

bool isValid(test::Case const& c) {
    c.ignore({"flags", "parameterSet"});
    return c.text("result") == "valid";
}

TEST_CASES(WycheproofMlkem, KeysAreGeneratedAsPublished, "wycheproof/mlkem_768_keygen_seed.txt")
(test::Case const& c) {
    ASSERT_TRUE(isValid(c));
    Bytes const seed = c.bytes("seed"), secretKey = c.bytes("dk");
    auto const generated = std::make_unique<MLKEMDecap>(), loaded = std::make_unique<MLKEMDecap>();
    {
        test::KernelBytes const kernel(seed);
        ASSERT_TRUE(generated->generate()) << c.id();
        EXPECT_EQ(kernel.asked(), std::vector<size_t>{64});
    }
    ASSERT_TRUE(loaded->load(seed)) << c.id();
    for (auto const* key : {generated.get(), loaded.get()}) {
        EXPECT_EQ(bytesOf(key->secretKey), secretKey) << c.id();
        EXPECT_EQ(bytesOf(key->publicKey), Bytes(&secretKey[1152], &secretKey[1152] + 1184)) << c.id();
    }
}

TEST_CASES(WycheproofMlkem, SecretsAreEncapsulatedAsPublished, "wycheproof/mlkem_768_encaps.txt")
(test::Case const& c) {
    bool const valid = isValid(c);
    Bytes const publicKey = c.bytes("ek"), ciphertext = bytesOrNone(c, "c"), secret = bytesOrNone(c, "K");
    test::KernelBytes const kernel(c.bytes("m"));
    MLKEMEncap sender;
    EXPECT_EQ(sender.encap(publicKey), ciphertext) << c.id();
    EXPECT_EQ(kernel.asked(), valid ? std::vector<size_t>{32} : std::vector<size_t>()) << c.id();
    if (valid) {
        EXPECT_EQ(bytesOf(sender.sharedSecret), secret) << c.id();
    }
}

/// Loads the key and decapsulates.
void expectDecapsulation(test::Case const& c, char const* keyField) {
    bool const valid = isValid(c);
    Bytes const key = c.bytes(keyField), ciphertext = c.bytes("c"), secret = bytesOrNone(c, "K");
    auto const owner = std::make_unique<MLKEMDecap>();
    EXPECT_EQ(owner->load(key) && owner->decap(ciphertext), valid) << c.id();
    if (valid) {
        EXPECT_EQ(bytesOf(owner->sharedSecret), secret) << c.id();
    }
}

TEST_CASES(WycheproofMlkem, SecretsAreDecapsulatedAsPublished, "wycheproof/mlkem_768.txt")
(test::Case const& c) { expectDecapsulation(c, "seed"); }

TEST_CASES(WycheproofMlkem, StoredKeysAreCheckedAndDecapsulateAsPublished,
           "wycheproof/mlkem_768_semi_expanded_decaps.txt")
(test::Case const& c) { expectDecapsulation(c, "dk"); }

} // namespace TEST_FILE

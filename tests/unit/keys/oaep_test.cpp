#include "sealkit/oaep.h"

#include "sealkit/pkcs8.h"

#include "support/rngs.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

RsaPrivateKey const& key() {
    static std::unique_ptr<PrivateKey> const read = [] {
        std::ifstream file(SEALKIT_TEST_DATA "/vectors/pkcs/recipient-key.der", std::ios::binary);
        return parseOneAssimetricKey(Bytes{std::istreambuf_iterator<char>(file), {}});
    }();
    return *dynamic_cast<RsaPrivateKey const*>(read.get());
}

Bytes const message = [] {
    std::string const text = "a content key";
    return Bytes(text.begin(), text.end());
}();

HashID hashOf(std::string const& name) {
    return name == "SHA1"     ? HashID::SHA1
           : name == "SHA256" ? HashID::SHA256
           : name == "SHA384" ? HashID::SHA384
                              : HashID::SHA512;
}

/// Whether it is refused, and what stood in the result stays.
bool isRefused(OaepParameters const& parameters, Bytes const& encrypted) {
    Bytes out = {1, 2};
    return !decryptOaep(key(), parameters, encrypted, out) && out == Bytes{1, 2};
}

TEST_CASES(Oaep, OfAnother, "keys/oaep.txt")(test::Case const& c) {
    OaepParameters const parameters{hashOf(c.text("hash")), hashOf(c.text("maskHash"))};
    Bytes const encrypted = c.bytes("encrypted");
    Bytes out;
    EXPECT_TRUE(decryptOaep(key(), parameters, encrypted, out));
    EXPECT_EQ(out, message);
    for (size_t i = 0; i < encrypted.size(); i += 13) {
        Bytes changed = encrypted;
        changed[i] ^= 1;
        EXPECT_TRUE(isRefused(parameters, changed)) << i;
    }
    EXPECT_TRUE(isRefused({parameters.hash, HashID::SHA512}, encrypted));
    EXPECT_TRUE(isRefused(
        {parameters.hash == HashID::SHA1 ? HashID::SHA256 : HashID::SHA1, parameters.maskHash}, encrypted));
    EXPECT_TRUE(isRefused(parameters, Bytes(encrypted.begin() + 1, encrypted.end())));
    EXPECT_TRUE(isRefused(parameters, Bytes()));
    EXPECT_TRUE(isRefused(parameters, Bytes(encrypted.size(), 0xFF))); // Not below the modulus.
    EXPECT_TRUE(isRefused(parameters, Bytes(encrypted.size())));
}

TEST(Oaep, DecryptsWhatItEncrypts) {
    test::SeededRng const rng(1);
    for (HashID const hash : {HashID::SHA1, HashID::SHA256, HashID::SHA384})
        for (HashID const maskHash : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
            OaepParameters const parameters{hash, maskHash};
            size_t const longest = maxOaepMessage(key(), parameters);
            for (size_t const size : {size_t{0}, size_t{1}, longest}) {
                Bytes const plain(size, 0x01); // What separates is one, too.
                Bytes const encrypted = encryptOaep(key(), parameters, plain, rng);
                Bytes out = {1, 2};
                ASSERT_EQ(encrypted.size(), 128u);
                EXPECT_TRUE(decryptOaep(key(), parameters, encrypted, out));
                EXPECT_EQ(out, plain);
            }
            EXPECT_TRUE(encryptOaep(key(), parameters, Bytes(longest + 1), rng).empty());
        }
}

TEST(Oaep, RefusesWhatItHasNoRoomFor) {
    test::SeededRng const rng(1);
    EXPECT_EQ(maxOaepMessage(key(), {HashID::SHA1, HashID::SHA1}), 128u - 42);
    // Two digests of 64 bytes are more than the modulus has.
    EXPECT_EQ(maxOaepMessage(key(), {HashID::SHA512, HashID::SHA512}), 0u);
    EXPECT_TRUE(encryptOaep(key(), {HashID::SHA512, HashID::SHA512}, Bytes(), rng).empty());
    EXPECT_TRUE(isRefused({HashID::SHA512, HashID::SHA512}, Bytes(128, 1)));
    for (HashID const unknown : {HashID::none, HashID::MD5, HashID::MD5SHA1}) {
        EXPECT_TRUE(encryptOaep(key(), {unknown, HashID::SHA1}, message, rng).empty());
        EXPECT_TRUE(encryptOaep(key(), {HashID::SHA1, unknown}, message, rng).empty());
        EXPECT_TRUE(isRefused({unknown, HashID::SHA1}, Bytes(128, 1)));
    }
    EXPECT_TRUE(encryptOaep(key(), {}, message, test::SeededRng(1, 0)).empty());
}

TEST(Oaep, RefusesALabel) {
    // python3-cryptography 48, with the label "x".
    EXPECT_TRUE(isRefused(
        {},
        test::hex("258691a6264bb3456d6d33b73f4b5305f77ae874c9980047e7b82f10a8cf632caea5262e4e603e5dedbe783824"
                  "362b772ffd515fa138abc4f7a9b4f3f27e04eed091f2a5bb9e9e417162e4bec42db4035cdb53ef1f888c097ec4"
                  "628e016fb7b29eddb354fc461a88a99c99eeb3a70a359b9ccb874bf79cd39aee1004ce8c9c39")));
}

} // namespace TEST_FILE

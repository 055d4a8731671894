#include "sealkit/hash.h"
#include "sealkit/password_schemes.h"
#include "sealkit/pbe1.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace TEST_FILE {

using test::CapturedErrors;
using test::CapturedOutput;
using Bytes = std::vector<unsigned char>;

std::string const password = "correct horse";

std::string textOf(std::string const& name) {
    std::ifstream file(std::string(SEALKIT_TEST_DATA) + "/vectors/keys/" + name + ".pem", std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

Bytes const plain = encodePkcs8PrivateKey(*readPrivateKey(textOf("private/openssl-pkcs8-prime256v1"), ""));

/// The key as OpenSSL encrypted it: without what is said twice.
Bytes const padded = [] {
    std::string const text = textOf("private/openssl-pkcs8-prime256v1");
    std::string_view rest = text, label, body;
    Bytes der;
    EXPECT_TRUE(parsePem(rest, &label, &body) && pemDecode(body, &der));
    der.insert(der.end(), 8 - der.size() % 8, static_cast<unsigned char>(8 - der.size() % 8));
    return der;
}();

/// What stands in for RC2: it keeps what it is asked, and answers with the padded key.
struct AskedRc2 {
    Bytes key, iv;
    unsigned bits = 0;
} asked;

void answerRc2(asn1::blob key, unsigned effectiveBits, asn1::blob iv, asn1::blob data, unsigned char* out) {
    asked = {Bytes(key.begin(), key.end()), Bytes(iv.begin(), iv.end()), effectiveBits};
    ASSERT_EQ(data.size(), padded.size());
    std::copy(padded.begin(), padded.end(), out);
}

KeyFileOptions wide(Rc2Decryptor rc2 = nullptr) {
    KeyFileOptions options;
    options.schemes = {true, rc2};
    return options;
}

std::unique_ptr<PrivateKey> readWide(std::string const& text, std::string const& withPassword,
                                     Refusal* refusal, Rc2Decryptor rc2 = nullptr) {
    CapturedOutput const output;
    CapturedErrors const errors;
    auto key = readPrivateKey(text, withPassword, refusal, wide(rc2));
    EXPECT_EQ(output.text() + errors.text(), "");
    return key;
}

KeyEncryption described(std::string const& text, Rc2Decryptor rc2 = nullptr) {
    KeyEncryption found;
    EXPECT_TRUE(findKeyEncryption(text, &found, {true, rc2}));
    return found;
}

struct Description {
    char const* file;
    char const* scheme;
    char const* cipher;
    char const* derivation;
    unsigned iterations;
    bool isWeak;
};

TEST(PasswordSchemes, OfOtherProgramsAreReadOnRequestAlone) {
    for (auto const& [file, scheme, cipher, derivation, iterations, isWeak] : {
             Description{"PBE-MD5-DES", "PBE-MD5-DES", "DES-CBC", "PBKDF1 with MD5", 2048, true},
             {"PBE-SHA1-DES", "PBE-SHA1-DES", "DES-CBC", "PBKDF1 with SHA1", 2048, true},
             {"PBE-SHA1-RC4-128", "PBE-SHA1-RC4", "RC4", "PKCS#12 with SHA1", 2048, false},
             {"PBE-SHA1-RC4-40", "PBE-SHA1-RC4-40", "RC4 with 40 bits", "PKCS#12 with SHA1", 2048, true},
             {"PBE-SHA1-3DES", "PBE-SHA1-3DES", "DES-EDE3-CBC", "PKCS#12 with SHA1", 2048, false},
             {"PBE-SHA1-2DES", "PBE-SHA1-2DES", "DES-EDE2-CBC", "PKCS#12 with SHA1", 2048, false},
             {"PBES2-des-cbc", "PBES2", "DES-CBC", "PBKDF2 with HMAC-SHA256", 2048, true},
             {"PBES2-hmacWithSHA224", "PBES2", "AES-128-CBC", "PBKDF2 with HMAC-SHA224", 2048, false},
             {"PBES2-hmacWithSHA384", "PBES2", "AES-128-CBC", "PBKDF2 with HMAC-SHA384", 2048, false},
             {"PBES2-hmacWithSHA512", "PBES2", "AES-128-CBC", "PBKDF2 with HMAC-SHA512", 2048, false},
             {"PBES2-hmacWithSHA512-256", "PBES2", "AES-128-CBC", "PBKDF2 with HMAC-SHA512-256", 2048, false},
             {"scrypt", "PBES2", "AES-256-CBC", "scrypt with N 16384, r 8, p 1", 0, false},
             {"scrypt-p3", "PBES2", "AES-256-CBC", "scrypt with N 64, r 3, p 3", 0, false},
         }) {
        SCOPED_TRACE(file);
        std::string const text = textOf(std::string("legacy/") + file);
        Refusal refusal;
        auto const key = readWide(text, password, &refusal);
        ASSERT_NE(key, nullptr) << refusal.str();
        EXPECT_EQ(encodePkcs8PrivateKey(*key), plain);
        EXPECT_EQ(readWide(text, "wrong", &refusal), nullptr);
        EXPECT_EQ(refusal.id, RefusalId::wrongPassword);
        EXPECT_EQ(readPrivateKey(text, password, &refusal), nullptr);
        EXPECT_NE(refusal.id, RefusalId::wrongPassword);

        EXPECT_EQ(readPrivateKey(text, &refusal, wide()), nullptr);
        EXPECT_EQ(refusal.id, RefusalId::passwordRequired);
        KeyEncryption const found = described(text);
        EXPECT_EQ(found.scheme, scheme);
        EXPECT_EQ(found.cipher, cipher);
        EXPECT_EQ(found.keyDerivation, derivation);
        EXPECT_EQ(found.iterations, iterations);
        EXPECT_EQ(found.isWeak, isWeak);
        EXPECT_FALSE(found.problem) << found.problem.str();
    }
}

struct Rc2Case {
    char const* file;
    char const* scheme;
    size_t keySize;
    unsigned bits;
    RefusalId without;
};

TEST(PasswordSchemes, Rc2IsTheCallers) {
    for (auto const& [file, scheme, keySize, bits, without] :
         {Rc2Case{"PBE-MD5-RC2-64", "PBE-MD5-RC2", 8, 64, RefusalId::unknownEncryption},
          {"PBE-SHA1-RC2-64", "PBE-SHA1-RC2-64", 8, 64, RefusalId::unknownEncryption},
          {"PBE-SHA1-RC2-128", "PBE-SHA1-RC2-128", 16, 128, RefusalId::unknownEncryption},
          {"PBE-SHA1-RC2-40", "PBE-SHA1-RC2-40", 5, 40, RefusalId::unknownEncryption},
          {"PBES2-rc2-cbc", "RC2-CBC", 16, 128, RefusalId::unsupportedCipher},
          {"PBES2-rc2-64-cbc", "RC2-CBC", 8, 64, RefusalId::unsupportedCipher},
          {"PBES2-rc2-40-cbc", "RC2-CBC", 5, 40, RefusalId::unsupportedCipher}}) {
        SCOPED_TRACE(file);
        std::string const text = textOf(std::string("legacy/") + file);
        Refusal refusal;
        asked = {};
        auto const key = readWide(text, password, &refusal, answerRc2);
        ASSERT_NE(key, nullptr) << refusal.str();
        EXPECT_EQ(encodePkcs8PrivateKey(*key), plain);
        EXPECT_EQ(asked.key.size(), keySize);
        EXPECT_EQ(asked.bits, bits);
        EXPECT_EQ(asked.iv.size(), 8u);
        EXPECT_EQ(described(text, answerRc2).isWeak, bits <= 64);

        EXPECT_EQ(readWide(text, password, &refusal), nullptr);
        EXPECT_EQ(refusal.id, without);
        EXPECT_EQ(refusal.facts.at(0).value, scheme);
        EXPECT_EQ(described(text).problem.id, without);
    }
}

/// PBES1 by the primitives alone (RFC 8018, section 5.1): key and IV are the first 16 bytes.
Bytes pbkdf1(HashID hash, asn1::blob salt, unsigned iterations) {
    Bytes input(password.begin(), password.end());
    input.insert(input.end(), salt.begin(), salt.end());
    for (unsigned i = 0; i < iterations; i++)
        input = calcDigest(hash, input);
    input.resize(16);
    return input;
}

TEST(PasswordSchemes, KeysAndIvsAreThoseOfTheirDerivations) {
    for (char const* name : {"PBE-MD5-RC2-64", "PBE-SHA1-RC2-64", "PBE-SHA1-RC2-40"}) {
        SCOPED_TRACE(name);
        std::string const text = textOf(std::string("legacy/") + name);
        std::string_view rest = text, label, body;
        Bytes der;
        ASSERT_TRUE(parsePem(rest, &label, &body) && pemDecode(body, &der));
        asn1::parser info(asn1::parser(asn1::blob(der)).value());
        asn1::parser algorithm(info.value());
        algorithm.next();
        asn1::parser params(algorithm.value());
        asn1::blob const salt = params.take();
        unsigned const count = params.readUInt();
        Refusal refusal;
        ASSERT_NE(readWide(text, password, &refusal, answerRc2), nullptr);
        Bytes expected = asked.key;
        expected.insert(expected.end(), asked.iv.begin(), asked.iv.end());
        if (std::string_view(name).ends_with("64")) {
            EXPECT_EQ(pbkdf1(name[4] == 'M' ? HashID::MD5 : HashID::SHA1, salt, count), expected);
            continue;
        }
        Bytes key(5), iv(8);
        pkcs12_kdf(HashID::SHA1, pkcs12_password(password), salt, count, PKCS12Purpose::key, std::span(key));
        pkcs12_kdf(HashID::SHA1, pkcs12_password(password), salt, count, PKCS12Purpose::iv, std::span(iv));
        EXPECT_EQ(asked.key, key);
        EXPECT_EQ(asked.iv, iv);
    }
}

/// The PBES2 identifier of scrypt over AES-128 with these costs, around data of one block.
Bytes scryptFile(Bytes const& n, Bytes const& r, Bytes const& p) {
    using test::element;
    using test::integer;
    using test::sequence;
    Bytes const pbes2 = test::hex("06092a864886f70d01050d"), id = test::hex("06092b06010401da47040b"),
                aes = test::hex("0609608648016503040102");
    return sequence({sequence({pbes2, sequence({sequence({id, sequence({element(0x04, Bytes(8)), integer(n),
                                                                        integer(r), integer(p)})}),
                                                sequence({aes, element(0x04, Bytes(16))})})}),
                     element(0x04, Bytes(16))});
}

TEST(PasswordSchemes, ScryptIsBounded) {
    for (Bytes const& file :
         {scryptFile({0x04, 0, 0}, {8}, {1}), scryptFile({0x02, 0, 0}, {8}, {9}), scryptFile({3}, {8}, {1}),
          scryptFile({16}, {0}, {1}), scryptFile({16}, {8}, {0}), scryptFile({0}, {8}, {1}),
          scryptFile({0x7F, 0, 0, 0}, {0x7F, 0, 0, 0}, {0x7F, 0, 0, 0})}) {
        Refusal refusal;
        EXPECT_EQ(parsePkcs8EncryptedPrivateKey(file, password, &refusal, {true, nullptr}), nullptr);
        EXPECT_EQ(refusal.id, RefusalId::scryptCost) << refusal.str();
    }
    Refusal refusal;
    EXPECT_EQ(parsePkcs8EncryptedPrivateKey(scryptFile({0x01, 0, 0, 0, 0}, {8}, {1}), password, &refusal,
                                            {true, nullptr}),
              nullptr);
    EXPECT_TRUE(refusal);
    EXPECT_EQ(parsePkcs8EncryptedPrivateKey(scryptFile({16}, {1}, {1}), password, &refusal, {true, nullptr}),
              nullptr);
    EXPECT_EQ(refusal.id, RefusalId::wrongPassword) << refusal.str();
}

} // namespace TEST_FILE

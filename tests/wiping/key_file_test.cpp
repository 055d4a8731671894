// Keys on their way between text, DER, files and objects.
#include "sealkit/openssh.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "wiping/secrets.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace {

using test::Bytes;
using test::Watch;

std::string const password = "correct horse";

std::string pathOf(std::string const& name) { return SEALKIT_TEST_DATA "/vectors/keys/" + name + ".pem"; }

std::string textOf(std::string const& name) {
    std::ifstream file(pathOf(name), std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

std::string_view viewOf(Bytes const& bytes) {
    return {reinterpret_cast<char const*>(bytes.data()), bytes.size()};
}

Bytes derOf(std::string const& text) {
    std::string_view rest = text, label, body;
    Bytes der;
    EXPECT_TRUE(parsePem(rest, &label, &body) && pemDecode(body, &der));
    return der;
}

/// The secrets of the key in `text`, and the text but for its first line, which says what it is.
void addKeyOf(Watch& watch, std::string const& text) {
    Watch::Pause const pause;
    std::unique_ptr<PrivateKey> const key = readPrivateKey(text, "");
    ASSERT_NE(key, nullptr);
    test::addKey(watch, *key);
    std::string_view rest = text, label, body;
    parsePem(rest, &label, &body);
    watch.addSecret("PEM", test::bytesOf(body.substr(std::min<size_t>(40, body.size()))));
}

class WipingKeyFile : public testing::TestWithParam<char const*> {};
INSTANTIATE_TEST_SUITE_P(Of, WipingKeyFile,
                         testing::Values("openssl-pkcs8-rsa", "openssl-traditional-rsa",
                                         "openssl-pkcs8-secp384r1", "openssl-traditional-prime256v1",
                                         "openssl-ed25519", "openssl-x25519"));

TEST_P(WipingKeyFile, LeavesNothingWhetherItIsReadOrRefused) {
    std::string const name = std::string("private/") + GetParam(), path = pathOf(name), text = textOf(name);
    Bytes const der = derOf(text);
    Bytes extended = der, wrongVersion = der;
    extended.push_back(0);
    wrongVersion[std::find(der.begin(), der.end(), 2) - der.begin() + 2] ^= 4;
    std::string const refused = std::string(viewOf(encodePemType("PRIVATE KEY", extended))) + text;
    Bytes const mislabelled = encodePemType("ENCRYPTED PRIVATE KEY", der);
    std::string broken = text;
    broken[broken.size() - 40] = '*';

    Watch watch;
    addKeyOf(watch, text);
    test::runSearched(watch, [&] {
        EXPECT_NE(readPrivateKey(text, ""), nullptr);
        EXPECT_NE(readPrivateKeyFromFile(path, ""), nullptr);
        readOneAssimetricKey(text);
        readPrivateKey(viewOf(der), "");
        EXPECT_EQ(readPrivateKey(broken, ""), nullptr);
        EXPECT_EQ(readPrivateKey(refused, ""), nullptr);
        EXPECT_EQ(readPrivateKey(viewOf(mislabelled), ""), nullptr);
        EXPECT_EQ(parseOneAssimetricKey(extended), nullptr);
        EXPECT_EQ(parseOneAssimetricKey(wrongVersion), nullptr);
        EXPECT_EQ(readCertFromFile(path), nullptr);
        EXPECT_EQ(readPublicKeyFromFile(path), nullptr);
    });
    test::expectNothingFound(watch);
}

TEST_P(WipingKeyFile, LeavesNeitherKeyNorPasswordWhenItIsEncrypted) {
    std::string const text = textOf(std::string("private/") + GetParam());
    std::unique_ptr<PrivateKey> const key = readPrivateKey(text, "");
    ASSERT_NE(key, nullptr);
    std::string const word(viewOf(test::Random(1).bytes(100)));
    Watch watch;
    addKeyOf(watch, text);
    watch.addSecret("password", test::bytesOf(word));
    {
        Watch::Pause const pause;
        watch.addSecret("PKCS #8", encodePkcs8PrivateKey(*key));
        watch.addPublic(encodePkcs8PublicKey(*key));
    }
    test::runSearched(watch, [&] {
        Bytes der = encodePkcs8EncryptedPrivateKey(*key, word, 2);
        EXPECT_NE(parsePkcs8EncryptedPrivateKey(der, word), nullptr);
        EXPECT_NE(readPrivateKey(viewOf(der), word), nullptr);
        EXPECT_EQ(parsePkcs8EncryptedPrivateKey(der, "wrong"), nullptr);
        EXPECT_TRUE(encodePkcs8EncryptedPrivateKey(*key, word, 0).empty());
        der.back() ^= 1;
        parsePkcs8EncryptedPrivateKey(der, word);
        Bytes const pem = encodePemPkcs8EncryptedPrivateKey(*key, word);
        EXPECT_NE(readPrivateKey(viewOf(pem), word), nullptr);
        EXPECT_EQ(readPrivateKey(viewOf(pem), "wrong"), nullptr);
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, TraditionalEncryptedKeysLeaveNothing) {
    for (auto const& [locked, plain] :
         {std::pair("openssl-traditional-rsa-aes256", "openssl-pkcs8-rsa"),
          std::pair("openssl-traditional-ec-aes128", "openssl-pkcs8-prime256v1")}) {
        std::string const path = pathOf(std::string("encrypted/") + locked),
                          text = textOf(std::string("private/") + plain);
        Watch watch;
        addKeyOf(watch, text);
        watch.addSecret("password", test::bytesOf(password));
        test::runSearched(watch, [&] {
            EXPECT_NE(readPrivateKeyFromFile(path, password), nullptr);
            EXPECT_EQ(readPrivateKeyFromFile(path, "wrong"), nullptr);
        });
        test::expectNothingFound(watch);
    }
}

TEST(Wiping, OpensshKeysLeaveNothing) {
    for (char const* type : {"rsa", "ecdsa-521", "ed25519"}) {
        std::string const text = textOf(std::string("openssh/") + type);
        std::ifstream file(SEALKIT_TEST_DATA "/vectors/keys/openssh/" + std::string(type) + ".key");
        std::string const ssh{std::istreambuf_iterator<char>(file), {}};
        std::string broken = ssh;
        broken[broken.size() - 60] = broken[broken.size() - 60] == 'A' ? 'B' : 'A';
        std::unique_ptr<PrivateKey> const key = readPrivateKey(text, "");
        Watch watch;
        addKeyOf(watch, text);
        test::runSearched(watch, [&] {
            EXPECT_NE(readOpensshPrivateKey(ssh, nullptr), nullptr);
            EXPECT_NE(readOpensshPublicKey(ssh, nullptr), nullptr);
            readOpensshPrivateKey(broken, nullptr);
            Bytes written = encodeOpensshPrivateKey(*key, "comment");
            EXPECT_FALSE(written.empty());
            secureMemset(written.data(), 0, written.size());
        });
        test::expectNothingFound(watch);
    }
}

TEST(Wiping, KeysUnderOldSchemesLeaveNothing) {
    std::string const plain = textOf("private/openssl-pkcs8-prime256v1");
    for (char const* scheme :
         {"PBE-MD5-DES", "PBE-SHA1-RC4-128", "PBE-SHA1-2DES", "scrypt-p3", "PBES2-hmacWithSHA224"}) {
        std::string const text = textOf(std::string("legacy/") + scheme);
        KeyFileOptions options;
        options.schemes.all = true;
        Watch watch;
        addKeyOf(watch, plain);
        watch.addSecret("password", test::bytesOf(password));
        test::runSearched(watch, [&] {
            EXPECT_NE(readPrivateKey(text, password, nullptr, options), nullptr);
            EXPECT_EQ(readPrivateKey(text, "wrong", nullptr, options), nullptr);
        });
        test::expectNothingFound(watch);
    }
}

} // namespace

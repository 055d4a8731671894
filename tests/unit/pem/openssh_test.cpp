#include "sealkit/openssh.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

std::string textOf(std::string const& name) {
    std::ifstream file(std::string(SEALKIT_TEST_DATA) + "/vectors/keys/" + name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

std::string stringOf(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

constexpr char const* types[] = {"rsa", "ecdsa-256", "ecdsa-384", "ecdsa-521", "ed25519"};

TEST(Openssh, KeysOfSshKeygenAreReadAndWrittenBack) {
    for (std::string const type : types) {
        SCOPED_TRACE(type);
        std::string const text = textOf("openssh/" + type + ".key"),
                          line = textOf("openssh/" + type + ".pub");
        Refusal refusal;
        std::string comment;
        auto const key = readOpensshPrivateKey(text, &refusal, &comment);
        ASSERT_NE(key, nullptr) << refusal.str();
        EXPECT_EQ(comment, type + " of Ada");
        EXPECT_EQ(encodePkcs8PrivateKey(*key),
                  encodePkcs8PrivateKey(*readPrivateKey(textOf("openssh/" + type + ".pem"), "")));

        comment.clear();
        auto const half = readOpensshPublicKey(line, &refusal, &comment);
        ASSERT_NE(half, nullptr) << refusal.str();
        EXPECT_EQ(comment, type + " of Ada");
        EXPECT_TRUE(half->equals(*key));
        EXPECT_TRUE(readOpensshPublicKey(text, &refusal)->equals(*key));
        EXPECT_EQ(stringOf(encodeOpensshPublicKey(*half, comment)), line);
        EXPECT_EQ(stringOf(encodeOpensshPublicKey(*key, comment)), line);

        std::string const written = stringOf(encodeOpensshPrivateKey(*key, "again"));
        auto const again = readOpensshPrivateKey(written, &refusal, &comment);
        ASSERT_NE(again, nullptr) << refusal.str();
        EXPECT_EQ(comment, "again");
        EXPECT_EQ(encodePkcs8PrivateKey(*again), encodePkcs8PrivateKey(*key));
    }
}

TEST(Openssh, LoadersReadThemOnRequestAlone) {
    for (std::string const type : types) {
        std::string const text = textOf("openssh/" + type + ".key"),
                          line = textOf("openssh/" + type + ".pub");
        KeyFileOptions options;
        Refusal refusal;
        EXPECT_EQ(readPrivateKey(text, &refusal, options), nullptr);
        EXPECT_EQ(readPublicKey(line, &refusal, options), nullptr);
        options.openssh = true;
        EXPECT_NE(readPrivateKey(text, &refusal, options), nullptr);
        EXPECT_NE(readPublicKey(text, &refusal, options), nullptr);
        EXPECT_NE(readPublicKey(line, &refusal, options), nullptr);
    }
}

TEST(Openssh, WhatIsNotSupportedIsNamed) {
    Refusal refusal;
    EXPECT_EQ(readOpensshPrivateKey(textOf("openssh/encrypted.key"), &refusal), nullptr);
    EXPECT_EQ(refusal.id, RefusalId::encryptedOpensshKey);
    EXPECT_EQ(refusal.facts.at(0).value, "aes256-ctr");
    auto const half = readOpensshPublicKey(textOf("openssh/encrypted.key"), &refusal);
    ASSERT_NE(half, nullptr);
    EXPECT_TRUE(half->equals(*readOpensshPublicKey(textOf("openssh/encrypted.pub"), &refusal)));
    for (char const* name : {"dsa.key", "dsa.pub"}) {
        std::string const text = textOf(std::string("openssh/") + name);
        EXPECT_EQ(readOpensshPublicKey(text, &refusal), nullptr);
        EXPECT_EQ(refusal.id, RefusalId::unknownKeyAlgorithm);
        EXPECT_EQ(refusal.facts.at(0).value, "ssh-dss");
    }
    EXPECT_EQ(readOpensshPrivateKey(textOf("openssh/dsa.key"), &refusal), nullptr);
    EXPECT_EQ(refusal.id, RefusalId::unknownKeyAlgorithm);
    EXPECT_EQ(readOpensshPrivateKey(textOf("openssh/rsa.pem"), &refusal), nullptr);
    EXPECT_EQ(refusal.id, RefusalId::pemWithoutBlock);
}

TEST(Openssh, KeysThatItDoesNotHaveAreNotWritten) {
    for (char const* name : {"openssl-x25519", "openssl-pkcs8-prime192v1", "openssl-pkcs8-secp224r1"}) {
        auto const key = readPrivateKey(textOf(std::string("private/") + name + ".pem"), "");
        ASSERT_NE(key, nullptr);
        EXPECT_TRUE(encodeOpensshPrivateKey(*key, "").empty());
        EXPECT_TRUE(encodeOpensshPublicKey(*key, "").empty());
    }
    auto const key = readPrivateKey(textOf("openssh/ed25519.pem"), "");
    EXPECT_TRUE(encodeOpensshPublicKey(*key, "two\nlines").empty());
    EXPECT_TRUE(encodeOpensshPrivateKey(*key, std::string(5000, 'x')).empty());
    auto const rsa = readPrivateKey(textOf("openssh/rsa.pem"), "");
    dynamic_cast<RsaPrivateKey&>(*rsa).p = BigNum();
    EXPECT_TRUE(encodeOpensshPrivateKey(*rsa, "").empty());
}

/// The bytes of a file, and the file that other bytes make.
Bytes bytesOf(std::string const& type) {
    std::string const text = textOf("openssh/" + type + ".key");
    std::string_view rest = text, label, body;
    Bytes bytes;
    EXPECT_TRUE(parsePem(rest, &label, &body) && pemDecode(body, &bytes));
    return bytes;
}

std::string fileOf(Bytes const& bytes) { return stringOf(encodePemType("OPENSSH PRIVATE KEY", bytes)); }

TEST(Openssh, EveryTruncationIsRefusedWithAReason) {
    for (std::string const type : {"ecdsa-521", "ed25519", "rsa"}) {
        Bytes const whole = bytesOf(type);
        for (size_t size = 0; size < whole.size(); size += type == "rsa" ? 7 : 1) {
            Refusal refusal;
            EXPECT_EQ(
                readOpensshPrivateKey(
                    fileOf(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))), &refusal),
                nullptr);
            EXPECT_TRUE(refusal) << size;
        }
        Bytes longer = whole;
        longer.push_back(0);
        Refusal refusal;
        EXPECT_EQ(readOpensshPrivateKey(fileOf(longer), &refusal), nullptr);
        EXPECT_EQ(refusal.id, RefusalId::trailingBytes);
    }
}

TEST(Openssh, EveryChangedByteIsRefused) {
    Bytes const whole = bytesOf("ed25519");
    size_t accepted = 0;
    for (size_t i = 0; i < whole.size(); i++) {
        Bytes changed = whole;
        changed[i] ^= 1;
        Refusal refusal;
        if (readOpensshPrivateKey(fileOf(changed), &refusal) != nullptr)
            accepted++;
        else
            EXPECT_TRUE(refusal) << i;
    }
    // The comment, and the options and the name of a derivation that is not used.
    EXPECT_EQ(accepted, std::string("ed25519 of Ada").size() + 4);
}

TEST(Openssh, LinesMayHaveBlanksCommentsAndNoText) {
    std::string const line = textOf("openssh/ed25519.pub");
    std::string const bare = line.substr(0, line.find(' ', line.find(' ') + 1));
    Refusal refusal;
    std::string comment = "unchanged";
    EXPECT_NE(readOpensshPublicKey("# of Ada\n\n  " + bare + "\t\r\n", &refusal, &comment), nullptr);
    EXPECT_EQ(comment, "");
    for (std::string const& bad : {std::string(), std::string("ssh-ed25519"), std::string("ssh-ed25519 !"),
                                   "ssh-rsa" + bare.substr(11), "no-pty " + bare,
                                   bare.substr(0, bare.size() - 4), bare.substr(0, 40)}) {
        EXPECT_EQ(readOpensshPublicKey(bad, &refusal), nullptr) << bad;
        EXPECT_TRUE(refusal);
    }
}

} // namespace TEST_FILE

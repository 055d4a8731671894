#include "sealkit/pbes2.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"
#include "support/slow.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace TEST_FILE {

using test::CapturedOutput;
using test::concat;
using test::element;
using test::hex;
using test::sequence;
using Bytes = std::vector<unsigned char>;

std::filesystem::path const folder = SEALKIT_TEST_DATA "/vectors/keys";
std::string const password = "correct horse";
Bytes const pbes2Algorithm = hex("06092a864886f70d01050d");

std::string textOf(std::filesystem::path const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << path;
    return text;
}

struct Block {
    std::string label;
    Bytes der;
};

/// The block of a file; its label, and the body if that has no headers.
Block blockOf(std::filesystem::path const& path) {
    std::string const text = textOf(path);
    std::string_view rest = text, label, body;
    EXPECT_TRUE(parsePem(rest, &label, &body));
    Block block{std::string(label), {}};
    pemDecode(body, &block.der);
    return block;
}

std::unique_ptr<PrivateKey> plainKey(std::string const& name) {
    return parseOneAssimetricKey(blockOf(folder / ("private/" + name + ".pem")).der);
}

struct Answer {
    std::unique_ptr<PrivateKey> key;
    std::string said;
};

Answer parseEncrypted(asn1::blob der, std::string_view withPassword = password) {
    CapturedOutput const output;
    std::unique_ptr<PrivateKey> key = parsePkcs8EncryptedPrivateKey(der, withPassword);
    return {std::move(key), output.text()};
}

/// A file of few iterations, so that it can be read thousands of times.
Bytes smallFile() {
    PBES2Params const p{hex("2a864886f70d01050c"),
                        hex("2a864886f70d0209"),
                        Bytes(8, 1),
                        2,
                        hex("608648016503040102"),
                        Bytes(16, 2)};
    Bytes const encrypted = pbes2_encrypt(encodePkcs8PrivateKey(*plainKey("openssl-ed25519")), password, p);
    return sequence({sequence({pbes2Algorithm, encode(p)}), element(0x04, encrypted)});
}

TEST(EncryptedKeys, OfOtherProgramsAreRead) {
    // GnuTLS does 600,000 iterations.
    std::set<std::string> leftOut;
    if (test::isSlow())
        leftOut = {"certtool-pbes2-aes-128.pem", "certtool-pbes2-aes-192.pem", "certtool-pbes2-aes-256.pem"};
    Bytes const ec = encodePkcs8PrivateKey(*plainKey("openssl-pkcs8-prime256v1")),
                rsa = encodePkcs8PrivateKey(*plainKey("openssl-pkcs8-rsa"));
    size_t read = 0;
    for (auto const& entry : std::filesystem::directory_iterator(folder / "encrypted")) {
        std::string const name = entry.path().filename();
        if (entry.path().extension() != ".pem" || name.find("refused") != name.npos || leftOut.count(name))
            continue;
        SCOPED_TRACE(name);
        Block const block = blockOf(entry.path());
        if (block.label != "ENCRYPTED PRIVATE KEY")
            continue;
        Answer const answer = parseEncrypted(block.der);
        ASSERT_NE(answer.key, nullptr);
        EXPECT_EQ(encodePkcs8PrivateKey(*answer.key), name.ends_with("rsa.pem") ? rsa : ec);
        EXPECT_EQ(answer.said, "");
        if (!name.starts_with("certtool")) {
            EXPECT_EQ(parseEncrypted(block.der, "wrong").key, nullptr);
        }
        ++read;
    }
    EXPECT_EQ(read + leftOut.size(), 14u);
}

TEST(EncryptedKeys, WhatIsNotUnderstoodIsNamed) {
    std::map<std::string, std::string> const expected{
        {"certtool-refused-3des-pkcs12", "PKCS8: unsupported PBE: <1.2.840.113549.1.12.1.3>\n"},
        {"openssl-refused-PBE-SHA1-3DES", "PKCS8: unsupported PBE: <1.2.840.113549.1.12.1.3>\n"},
        {"openssl-refused-aria-256-cbc", "PBES2: unimplemented cipher: <1.2.410.200046.1.1.12>\n"},
        {"openssl-refused-camellia-128-cbc", "PBES2: unimplemented cipher: <1.2.392.200011.61.1.1.1.2>\n"},
        {"openssl-refused-prf-SHA224", "unsupported PBES2 KDF: <1.2.840.113549.2.8>\n"},
        {"openssl-refused-prf-SHA512", "unsupported PBES2 KDF: <1.2.840.113549.2.11>\n"},
        {"openssl-refused-scrypt", ""},
    };
    for (auto const& [name, words] : expected) {
        Answer const answer = parseEncrypted(blockOf(folder / ("encrypted/" + name + ".pem")).der);
        EXPECT_EQ(answer.key, nullptr) << name;
        EXPECT_EQ(answer.said, words) << name;
    }
}

TEST(EncryptedKeys, AreReadBack) {
    for (char const* name :
         {"openssl-pkcs8-rsa", "openssl-pkcs8-prime256v1", "openssl-ed25519", "openssl-x25519"})
        for (std::string_view secret :
             {std::string_view(password), std::string_view(""), std::string_view("a\0b", 3)}) {
            std::unique_ptr<PrivateKey> const key = plainKey(name);
            Bytes const der = encodePkcs8EncryptedPrivateKey(*key, secret, 3);
            Answer const answer = parseEncrypted(der, secret);
            ASSERT_NE(answer.key, nullptr) << name;
            EXPECT_EQ(encodePkcs8PrivateKey(*answer.key), encodePkcs8PrivateKey(*key));
        }
}

TEST(EncryptedKeys, AreWrittenInOneForm) {
    std::unique_ptr<PrivateKey> const key = plainKey("openssl-ed25519");
    size_t const plainSize = encodePkcs8PrivateKey(*key).size();
    Bytes const kdf = hex("06092a864886f70d01050c"),
                prf = sequence({hex("06082a864886f70d0209"), hex("0500")}),
                cipher = hex("060960864801650304012a");
    std::set<Bytes> drawn;
    for (auto const& [iterations, number] : {std::pair(1u, hex("020101")), std::pair(200u, hex("020200c8")),
                                             std::pair(2048u, hex("02020800"))}) {
        Bytes const der = encodePkcs8EncryptedPrivateKey(*key, password, iterations);
        asn1::parser outer(der);
        ASSERT_TRUE(outer.enter(0x30));
        asn1::parser identifier(outer.take());
        asn1::blob const encrypted = outer.take();
        identifier.take();
        PBES2Params p;
        ASSERT_TRUE(parse(p, identifier.takeWhole()));
        EXPECT_EQ(p.salt.size(), 16u);
        EXPECT_EQ(p.iv.size(), 16u);
        EXPECT_TRUE(drawn.insert(p.salt).second);
        EXPECT_TRUE(drawn.insert(p.iv).second);
        EXPECT_EQ(encrypted.size(), plainSize - plainSize % 16 + 16);
        Bytes const params = sequence({sequence({kdf, sequence({element(0x04, p.salt), number, prf})}),
                                       sequence({cipher, element(0x04, p.iv)})});
        Bytes const expected = sequence(
            {sequence({pbes2Algorithm, params}), element(0x04, Bytes(encrypted.begin(), encrypted.end()))});
        EXPECT_EQ(test::toHex(der), test::toHex(expected));
    }
}

TEST(EncryptedKeys, AreNotWrittenWithACountThatIsNotRead) {
    std::unique_ptr<PrivateKey> const key = plainKey("openssl-ed25519");
    for (unsigned count : {0u, pbes2MaxIterations + 1, 0x80000000u})
        EXPECT_TRUE(encodePkcs8EncryptedPrivateKey(*key, password, count).empty());
}

TEST(EncryptedKeys, OfMembersThatMakeNoKeyAreEmpty) {
    EXPECT_TRUE(encodePkcs8EncryptedPrivateKey(EcPrivateKey(), password, 1).empty());
}

TEST(EncryptedKeys, HaveExactlyTheirShape) {
    PBES2Params const p{hex("2a864886f70d01050c"), {}, {}, 1, hex("608648016503040102"), Bytes(16, 2)};
    Bytes const plain = encodePkcs8PrivateKey(*plainKey("openssl-ed25519"));
    Bytes const params = encode(p), data = element(0x04, pbes2_encrypt(plain, password, p)),
                null = hex("0500");
    EXPECT_NE(parseEncrypted(sequence({sequence({pbes2Algorithm, params}), data})).key, nullptr);
    Bytes constructed = data;
    constructed[0] = 0x24;
    for (Bytes const& der : {
             Bytes(),
             concat({sequence({sequence({pbes2Algorithm, params}), data}), null}),
             sequence({sequence({pbes2Algorithm, params}), data, null}),
             sequence({sequence({pbes2Algorithm, params, null}), data}),
             sequence({sequence({pbes2Algorithm}), data}),
             sequence({sequence({pbes2Algorithm, null}), data}),
             sequence({sequence({null, params}), data}),
             sequence({sequence({pbes2Algorithm, params})}),
             sequence({sequence({pbes2Algorithm, params}), constructed}),
             sequence({sequence({pbes2Algorithm, params}), element(0x04, {})}),
             element(0x31, concat({sequence({pbes2Algorithm, params}), data})),
             sequence({data, sequence({pbes2Algorithm, params})}),
         }) {
        Answer const answer = parseEncrypted(der);
        EXPECT_EQ(answer.key, nullptr) << test::toHex(der);
        EXPECT_EQ(answer.said, "");
    }
    // The shape comes before the scheme.
    EXPECT_EQ(parseEncrypted(sequence({sequence({hex("06012a"), params}), data, null})).said, "");
    EXPECT_EQ(parseEncrypted(sequence({sequence({hex("06012a")}), data})).said,
              "PKCS8: unsupported PBE: <1.2>\n");
}

TEST(EncryptedKeys, APlaintextThatIsNoKeyIsNone) {
    PBES2Params const p{hex("2a864886f70d01050c"), {}, {}, 1, hex("608648016503040102"), Bytes(16, 2)};
    Bytes trailing = encodePkcs8PrivateKey(*plainKey("openssl-ed25519"));
    trailing.push_back(0);
    for (Bytes const& plain : {Bytes(), Bytes(5), trailing}) {
        Bytes const data = element(0x04, pbes2_encrypt(plain, password, p));
        Answer const answer = parseEncrypted(sequence({sequence({pbes2Algorithm, encode(p)}), data}));
        EXPECT_EQ(answer.key, nullptr);
        EXPECT_EQ(answer.said, "");
    }
}

TEST(EncryptedKeys, CutAnywhereAreRefused) {
    Bytes const der = smallFile();
    EXPECT_NE(parseEncrypted(der).key, nullptr);
    for (size_t size = 0; size < der.size(); ++size)
        EXPECT_EQ(parseEncrypted(asn1::blob(der.data(), size)).key, nullptr);
}

TEST(EncryptedKeys, WithAnyBitFlippedAreNeverTakenForAnother) {
    Bytes const der = smallFile(), plain = encodePkcs8PrivateKey(*plainKey("openssl-ed25519"));
    for (size_t bit = 0; bit < 8 * der.size(); bit += test::lessWhenSlow(1, 5)) {
        Bytes flipped = der;
        flipped[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
        CapturedOutput const output;
        PBES2Params p;
        asn1::parser outer(flipped);
        outer.enter(0x30);
        asn1::parser identifier(outer.take());
        identifier.take();
        // Some flips make it millions of iterations.
        if (parse(p, identifier.takeWhole()) && p.iterations > 1000)
            continue;
        std::unique_ptr<PrivateKey> const key = parsePkcs8EncryptedPrivateKey(flipped, password);
        // CBC passes flips of the IV and of a block on: another secret, well formed.
        if (key != nullptr) {
            EXPECT_EQ(encodePkcs8PrivateKey(*key).size(), plain.size());
        }
    }
}

} // namespace TEST_FILE

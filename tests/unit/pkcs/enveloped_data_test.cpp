#include "sealkit/pkcs7.h"

#include "sealkit/pkcs8.h"

#include "support/captured_output.h"
#include "support/der.h"
#include "support/random.h"
#include "support/rngs.h"
#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <iterator>

namespace TEST_FILE {

namespace der = test::der;
using der::Bytes;
using test::CapturedOutput;

constexpr char data[] = "1.2.840.113549.1.7.1";
constexpr char envelopedData[] = "1.2.840.113549.1.7.3";
constexpr char rsaEncryption[] = "1.2.840.113549.1.1.1";
constexpr char aes256[] = "2.16.840.1.101.3.4.1.42";
Bytes const text = der::bytes("enveloped content");

Bytes readFile(std::string const& name) {
    std::ifstream file(SEALKIT_TEST_DATA "/vectors/pkcs/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

X509Certificate const& recipient() {
    static X509Certificate const certificate = [] {
        X509Certificate read;
        CapturedOutput const ignored;
        Bytes const file = readFile("recipient.der");
        EXPECT_TRUE(read.parse(file.data(), static_cast<unsigned>(file.size())));
        return read;
    }();
    return certificate;
}

RsaPrivateKey const& recipientKey() {
    static std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(readFile("recipient-key.der"));
    return *dynamic_cast<RsaPrivateKey const*>(key.get());
}

bool parses(PKCS7EnvelopedData& to, Bytes const& message, std::string* said = nullptr) {
    CapturedOutput const output;
    bool const result = to.parse(message);
    if (said != nullptr)
        *said = output.text();
    return result;
}

struct Decrypted {
    bool done = false;
    Bytes content = {1, 2, 3};
    std::string said;
};

Decrypted decrypt(PKCS7EnvelopedData const& message, PrivateKey const& key = recipientKey(),
                  X509Certificate const& cert = recipient()) {
    Decrypted result;
    CapturedOutput const output;
    result.done = message.decrypt(cert, key, result.content);
    result.said = output.text();
    return result;
}

void expectRefused(PKCS7EnvelopedData const& message, std::string const& said) {
    Decrypted const result = decrypt(message);
    EXPECT_FALSE(result.done);
    EXPECT_TRUE(result.content.empty());
    EXPECT_EQ(result.said, said);
}

PKCS7EnvelopedData read(std::string const& name) {
    PKCS7EnvelopedData message;
    EXPECT_TRUE(parses(message, readFile(name))) << name;
    return message;
}

/// The text, encrypted to the recipient.
PKCS7EnvelopedData makeMessage(PKCS7Encryption const& how = {}) {
    PKCS7EnvelopedData message;
    X509Certificate const* const recipients[] = {&recipient()};
    Bytes const type = der::oid(data);
    EXPECT_TRUE(message.encrypt(recipients, asn1::blob(type.data() + 2, type.size() - 2), text, how,
                                test::SeededRng(1)));
    return message;
}

/// A message in parts.
struct Parts {
    Bytes type = der::oid(envelopedData);
    Bytes version = der::integer(0);
    Bytes originator;
    std::vector<Bytes> recipients = {good()};
    Bytes content = der::sequence(der::oid(data), der::algorithm(aes256, der::octetString(Bytes(16))),
                                  der::implicit(0, Bytes(16)));
    Bytes attributes;
    Bytes afterData;
    Bytes afterMessage;

    static Bytes good(unsigned char version = 0) {
        Bytes const id = version == 0 ? der::sequence(der::name({{"2.5.4.3", "someone"}}), der::integer(7))
                                      : der::implicit(0, Bytes{1, 2, 3});
        return der::sequence(der::integer(version), id, der::algorithm(rsaEncryption, der::null()),
                             der::octetString(Bytes(20)));
    }
    Bytes set() const { return der::element(0x31, der::join(recipients)); }
    Bytes envelope() const {
        return der::sequence(version, originator, set(), content, attributes, afterData);
    }
    Bytes der() const { return der::join({der::sequence(type, der::context(0, envelope())), afterMessage}); }
};

void expectMalformed(Parts const& parts, std::string const& said = "") {
    PKCS7EnvelopedData message;
    std::string output;
    EXPECT_FALSE(parses(message, parts.der(), &output));
    EXPECT_EQ(output, said);
}

Parts withRecipient(Bytes const& element) {
    Parts parts;
    parts.recipients.push_back(element);
    return parts;
}

TEST(EnvelopedData, MessagesOfOpenSslAreDecrypted) {
    for (char const* cipher : {"des3", "aes128", "aes192", "aes256"})
        for (std::string const& form : {std::string("smime-"), std::string("cms-keyid-")}) {
            std::string const name = form + cipher + ".der";
            PKCS7EnvelopedData const message = read(name);
            EXPECT_EQ(message.version, form == "smime-" ? 0u : 2u);
            ASSERT_EQ(message.recipientInfos.size(), 1u);
            EXPECT_EQ(message.recipientInfos[0].version, message.version);
            Decrypted const result = decrypt(message);
            EXPECT_TRUE(result.done) << name << ": " << result.said;
            EXPECT_EQ(result.content, text) << name;
            EXPECT_EQ(result.said, "");
            EXPECT_EQ(message.encode(), readFile(name)) << "written again";
        }
    EXPECT_EQ(decrypt(read("cms-two-recipients.der")).content, text);
}

TEST(EnvelopedData, Rc2IsNamed) {
    expectRefused(read("smime-rc2.der"),
                  "EncryptedContentInfo: unimplemented algorithm: <1.2.840.113549.3.2>\n");
}

TEST(EnvelopedData, OtherKindsOfRecipientsOfOpenSslAreRefused) {
    PKCS7EnvelopedData message;
    std::string said;
    EXPECT_FALSE(parses(message, readFile("cms-key-agreement.der"), &said));
    EXPECT_EQ(said, "KeyAgreeRecipientInfo not supported\n");
    EXPECT_FALSE(parses(message, readFile("cms-kek.der"), &said));
    EXPECT_EQ(said, "KEKRecipientInfo not supported\n");
    EXPECT_FALSE(parses(message, readFile("cms-password.der"), &said));
    EXPECT_EQ(said, "EnvelopedData: invalid version: 3\n");
    EXPECT_FALSE(parses(message, readFile("recipient.der"), &said));
    EXPECT_EQ(said, "");
    EXPECT_FALSE(parses(message, readFile("encrypted-data.der"), &said));
    EXPECT_EQ(said, "blob is not enveloped data\n");
    expectRefused(read("cms-oaep.der"),
                  "ktri: only rsa supported, not 1.2.840.113549.1.1.7\nktri: key decrypt failed\n");
}

TEST(EnvelopedData, OutlineIsExact) {
    PKCS7EnvelopedData message;
    EXPECT_TRUE(parses(message, Parts().der()));
    Parts parts;
    parts.afterMessage = der::null();
    expectMalformed(parts);
    parts = Parts();
    parts.afterData = der::null();
    expectMalformed(parts);
    parts = Parts();
    parts.type = der::oid(data);
    expectMalformed(parts, "blob is not enveloped data\n");
    parts = Parts();
    parts.type = der::null();
    expectMalformed(parts);
    parts = Parts();
    parts.content = {};
    expectMalformed(parts);
    parts = Parts();
    Bytes const whole = der::sequence(parts.type, der::context(0, parts.envelope()), der::null());
    EXPECT_FALSE(parses(message, whole)) << "something behind the content";
    EXPECT_FALSE(parses(message, der::sequence(parts.type, der::context(0, parts.envelope(), der::null()))));
    EXPECT_FALSE(parses(message, der::sequence(parts.type)));
    EXPECT_FALSE(parses(message, {}));
    EXPECT_FALSE(message.parseData(der::sequence(parts.version, parts.content))) << "no recipients' SET";
}

TEST(EnvelopedData, OnlyVersions0And2AreRead) {
    for (auto [content, number] :
         {std::pair(Bytes{1}, "1"), std::pair(Bytes{3}, "3"), std::pair(Bytes{0xFF}, "-1"),
          std::pair(Bytes{1, 0}, "256"), std::pair(Bytes{1, 0, 0, 0, 0}, "4294967296"),
          std::pair(Bytes(9, 0x11), "(9 octets)")}) {
        Parts parts;
        parts.version = der::integer(content);
        expectMalformed(parts, "EnvelopedData: invalid version: " + std::string(number) + "\n");
    }
    Parts parts;
    parts.version = der::integer(Bytes());
    expectMalformed(parts);
    parts.version = der::integer(2);
    PKCS7EnvelopedData message;
    EXPECT_TRUE(parses(message, parts.der()));
    EXPECT_EQ(message.version, 2u);
}

TEST(EnvelopedData, Version0HasNeitherOriginatorNorAttributes) {
    Parts parts;
    parts.originator = der::context(0, der::context(0, der::null()));
    expectMalformed(parts);
    parts.version = der::integer(2);
    PKCS7EnvelopedData message;
    ASSERT_TRUE(parses(message, parts.der()));
    EXPECT_EQ(message.originatorInfo, parts.originator);
    EXPECT_TRUE(message.unprotectedAttrs.empty());

    parts.attributes = der::context(1, der::sequence(der::oid(data), der::set()));
    ASSERT_TRUE(parses(message, parts.der()));
    EXPECT_EQ(message.unprotectedAttrs, parts.attributes);
    EXPECT_EQ(message.encode(), parts.der());
    parts.version = der::integer(0);
    parts.originator = {};
    expectMalformed(parts);
    ASSERT_TRUE(parses(message, Parts().der()));
    EXPECT_TRUE(message.originatorInfo.empty() && message.unprotectedAttrs.empty()) << "left over";

    EXPECT_FALSE(message.parseOriginatorInfo(der::context(1)));
    EXPECT_FALSE(message.parseUnprotectedAttrs(der::context(0)));
    EXPECT_FALSE(message.parseUnprotectedAttrs(der::join({der::context(1), der::null()})));
}

TEST(EnvelopedData, RecipientsOfOtherVersionsRefuseTheMessage) {
    for (auto [content, said] :
         {std::pair(Bytes{3}, "KeyAgreeRecipientInfo not supported\n"),
          std::pair(Bytes{4}, "KEKRecipientInfo not supported\n"),
          std::pair(Bytes{1}, "Unknown RecipientInfo version - 1\n"),
          std::pair(Bytes{5}, "Unknown RecipientInfo version - 5\n"),
          std::pair(Bytes{0xFE}, "Unknown RecipientInfo version - -2\n"),
          std::pair(Bytes{0x7F, 0xFF, 0xFF, 0xFF, 0xFF}, "Unknown RecipientInfo version - 549755813887\n"),
          std::pair(Bytes(), "")})
        expectMalformed(withRecipient(der::sequence(der::integer(content), der::null())), said);
}

TEST(EnvelopedData, OtherRecipientsRefuseTheMessage) {
    expectMalformed(withRecipient(der::sequence(der::oid("1.2.3.4"), der::null())),
                    "OtherRecipientInfo <1.2.3.4> not supported\n");
    expectMalformed(withRecipient(der::sequence(der::oid("1.2.840.113549.1.1.11"))),
                    "OtherRecipientInfo <SHA256+RSA> not supported\n");
    expectMalformed(withRecipient(der::sequence(der::null())));
    expectMalformed(withRecipient(der::sequence()));
    expectMalformed(withRecipient(der::context(1, der::integer(3))), "KeyAgreeRecipientInfo not supported\n");
    expectMalformed(withRecipient(der::context(2, der::integer(4))), "KEKRecipientInfo not supported\n");
    expectMalformed(withRecipient(der::context(3, der::integer(0))));
    expectMalformed(withRecipient(der::context(4, der::oid("1.2.3.4"))),
                    "OtherRecipientInfo <1.2.3.4> not supported\n");
    expectMalformed(withRecipient(der::context(4, der::null())));
    expectMalformed(withRecipient(der::octetString({})));
    expectMalformed(withRecipient({0x30, 0x7F}));
}

TEST(EnvelopedData, MalformedRecipientsAreLeftOut) {
    Bytes const algorithm = der::algorithm(rsaEncryption, der::null());
    Bytes const key = der::octetString(Bytes(20));
    Bytes const name = der::name({{"2.5.4.3", "someone"}});
    Parts parts;
    parts.recipients = {
        der::sequence(der::integer(0), der::implicit(0, Bytes{1}), algorithm, key),
        der::sequence(der::integer(2), der::sequence(name, der::integer(1)), algorithm, key),
        der::sequence(der::integer(0), der::sequence(name, der::integer(Bytes())), algorithm, key),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1), der::null()), algorithm, key),
        der::sequence(der::integer(0), der::sequence(name), algorithm, key),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1)), algorithm),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1)), key),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1)), der::sequence(), key),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1)), algorithm, key, der::null()),
        der::sequence(der::integer(0), der::sequence(name, der::integer(1)), algorithm, der::bitString({})),
        der::sequence(der::integer(0), Bytes{0x30, 0x7F}),
        Parts::good(2),
        der::sequence(der::integer(0)),
    };
    PKCS7EnvelopedData message;
    message.recipientInfos.resize(3);
    std::string said;
    ASSERT_TRUE(parses(message, parts.der(), &said));
    EXPECT_EQ(said, "");
    ASSERT_EQ(message.recipientInfos.size(), 1u);
    EXPECT_EQ(message.recipientInfos[0].subjectKeyId, (Bytes{1, 2, 3}));
}

TEST(EnvelopedData, FirstRecipientOfTheCertificateIsUsed) {
    PKCS7EnvelopedData message = makeMessage();
    PKCS7KeyTransRecipientInfo const own = message.recipientInfos[0];
    PKCS7KeyTransRecipientInfo broken = own;
    broken.encryptedKey.pop_back();
    message.recipientInfos = {own, broken};
    EXPECT_TRUE(decrypt(message).done);
    message.recipientInfos = {broken, own};
    expectRefused(message, "ktri: key decrypt failed\n");

    message.recipientInfos = {own};
    message.recipientInfos[0].serialNumber.back() ^= 1;
    expectRefused(message, "ktri: no key matches\n");
    message.recipientInfos = {own};
    message.recipientInfos[0].issuer.commonName = "another";
    expectRefused(message, "ktri: no key matches\n");
    message.recipientInfos = {own};
    message.recipientInfos[0].issuer.other.clear();
    EXPECT_TRUE(decrypt(message).done) << "unknown attributes do not count";
    message.recipientInfos.clear();
    expectRefused(message, "ktri: no key matches\n");

    message = makeMessage({CipherID::AesCbc, 16, true});
    EXPECT_TRUE(decrypt(message).done);
    X509Certificate nameless = recipient();
    nameless.subjectKeyId.clear();
    message.recipientInfos[0].subjectKeyId.clear();
    EXPECT_EQ(decrypt(message, recipientKey(), nameless).said, "ktri: no key matches\n")
        << "no identifier is none, not an empty one";
}

TEST(EnvelopedData, OnlyRsaKeysOpen) {
    PKCS7EnvelopedData const message = makeMessage();
    Ed25519PrivateKey other;
    ASSERT_TRUE(other.initPrivate(Bytes(32, 7)));
    Decrypted const result = decrypt(message, other);
    EXPECT_FALSE(result.done);
    EXPECT_EQ(result.said, "ktri: only rsa supported, not 1.2.840.113549.1.1.1\nktri: key decrypt failed\n");
}

/// `message` with `block` as what stands under the recipient's key.
PKCS7EnvelopedData withBlock(PKCS7EnvelopedData message, Bytes const& block) {
    message.recipientInfos[0].encryptedKey =
        expByMod(BigNum(asn1::blob(block)), recipientKey().e, recipientKey().n).bin(128);
    return message;
}

/// 00, 02, `padding` bytes, 00, and a key that takes the rest.
Bytes blockOf(size_t padding) {
    Bytes block(128, 0xAB);
    block[0] = 0;
    block[1] = 2;
    block[2 + padding] = 0;
    return block;
}

TEST(EnvelopedData, BlocksOfOtherFormsAreAllRefusedAlike) {
    PKCS7EnvelopedData const message = makeMessage();
    std::string const refusal = "ktri: key decrypt failed\n";
    expectRefused(withBlock(message, blockOf(93)), "");
    Decrypted const lengthOfKey = decrypt(withBlock(message, blockOf(8)));
    EXPECT_FALSE(lengthOfKey.done);
    EXPECT_EQ(lengthOfKey.said, "") << "a key of another length is no bad block";
    for (size_t padding = 0; padding < 8; padding++)
        expectRefused(withBlock(message, blockOf(padding)), refusal);
    Bytes block = blockOf(93);
    block[1] = 1;
    expectRefused(withBlock(message, block), refusal);
    block[1] = 0;
    expectRefused(withBlock(message, block), refusal);
    block = blockOf(93);
    block[0] = 1;
    expectRefused(withBlock(message, block), refusal);
    block = blockOf(93);
    block[95] = 1;
    expectRefused(withBlock(message, block), refusal);
    expectRefused(withBlock(message, blockOf(125)), "");
}

TEST(EnvelopedData, HowLongItTakesDoesNotTellAGoodBlock) {
    PKCS7EnvelopedData message = makeMessage();
    message.encryptedContentInfo.encryptedContent.resize(test::lessWhenSlow(8u << 20, 1u << 20));
    auto const secondsFor = [&](Bytes const& block) {
        PKCS7EnvelopedData const with = withBlock(message, block);
        std::clock_t const start = std::clock();
        decrypt(with);
        return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    };
    double const good = secondsFor(blockOf(93));
    Bytes otherForm = blockOf(93);
    otherForm[1] = 1;
    EXPECT_GT(secondsFor(otherForm), good / 4);
    EXPECT_GT(secondsFor(blockOf(100)), good / 4) << "a key of another length";
}

TEST(EnvelopedData, ABadBlockIsAllThatIsTold) {
    PKCS7EnvelopedData message = makeMessage();
    message.encryptedContentInfo.contentEncryptionAlgorithm.oid = {0x2A, 3};
    expectRefused(withBlock(message, blockOf(93)),
                  "EncryptedContentInfo: unimplemented algorithm: <1.2.3>\n");
    expectRefused(withBlock(message, blockOf(125)),
                  "EncryptedContentInfo: unimplemented algorithm: <1.2.3>\n");
    expectRefused(withBlock(message, blockOf(7)), "ktri: key decrypt failed\n");
}

TEST(EnvelopedData, EncryptedKeysOfAnotherLengthAreRefused) {
    std::string const refusal = "ktri: key decrypt failed\n";
    PKCS7EnvelopedData message = makeMessage();
    Bytes const key = message.recipientInfos[0].encryptedKey;
    for (Bytes const& other : {Bytes(), Bytes(key.begin(), key.end() - 1), der::join({key, {0}}),
                               der::join({{0}, key}), Bytes(128, 0xFF)}) {
        message.recipientInfos[0].encryptedKey = other;
        expectRefused(message, refusal);
    }
}

TEST(EnvelopedData, TinyModuliOpenNothing) {
    PKCS7EnvelopedData message = makeMessage();
    for (auto [n, d] : {std::pair(15u, 3u), std::pair(33u, 7u), std::pair(0u, 0u), std::pair(1u, 1u)}) {
        RsaPrivateKey tiny;
        tiny.n = bn64(n);
        tiny.e = bn64(3);
        tiny.d = bn64(d);
        for (size_t length : {0u, 1u, 2u, 10u, 11u}) {
            message.recipientInfos[0].encryptedKey = Bytes(length, 1);
            EXPECT_EQ(decrypt(message, tiny).said, "ktri: key decrypt failed\n");
        }
    }
}

TEST(EnvelopedData, CipherTable) {
    struct Row {
        CipherID id;
        unsigned keySize, blockSize;
        char const* oid;
    };
    for (Row const& row : {Row{CipherID::TripleDesCbc, 24, 8, "1.2.840.113549.3.7"},
                           Row{CipherID::AesCbc, 16, 16, "2.16.840.1.101.3.4.1.2"},
                           Row{CipherID::AesCbc, 24, 16, "2.16.840.1.101.3.4.1.22"},
                           Row{CipherID::AesCbc, 32, 16, "2.16.840.1.101.3.4.1.42"}}) {
        PKCS7EnvelopedData const message = makeMessage({row.id, row.keySize, false});
        AlgorithmIdentifier const& algorithm = message.encryptedContentInfo.contentEncryptionAlgorithm;
        EXPECT_EQ(oidStr(asn1::blob(algorithm.oid)), row.oid);
        EXPECT_EQ(algorithm.params.size(), 2 + row.blockSize);
        EXPECT_EQ(decrypt(message).content, text);

        for (Bytes const& params :
             {der::octetString(Bytes(row.blockSize - 1)), der::octetString(Bytes(row.blockSize + 1)),
              der::octetString({}), der::bitString(Bytes(row.blockSize - 1)), Bytes(),
              der::join({algorithm.params, der::null()})}) {
            PKCS7EnvelopedData other = message;
            other.encryptedContentInfo.contentEncryptionAlgorithm.params = params;
            expectRefused(other, "");
        }
        // Keys of 16, 24 and 32 bytes, of which one fits.
        for (unsigned keySize : {15u, 16u, 24u, 32u, 33u}) {
            PKCS7EnvelopedData const other = withBlock(message, blockOf(125 - keySize));
            Decrypted const result = decrypt(other);
            EXPECT_EQ(result.said, "");
            EXPECT_TRUE(keySize == row.keySize || !result.done) << keySize;
        }
    }
}

TEST(EnvelopedData, ContentIsWholeBlocks) {
    PKCS7EnvelopedData message = makeMessage();
    Bytes const content = message.encryptedContentInfo.encryptedContent;
    ASSERT_EQ(content.size(), 32u);
    for (size_t size : {0u, 1u, 15u, 17u, 31u}) {
        message.encryptedContentInfo.encryptedContent =
            Bytes(content.begin(), content.begin() + static_cast<long>(size));
        expectRefused(message, "");
    }
}

/// The text in two blocks with a last byte of `last`, which the IV or the block before turns into it.
PKCS7EnvelopedData withLastByte(unsigned char last) {
    PKCS7EnvelopedData message = makeMessage();
    // 17 bytes of text leave 15 bytes of 15.
    message.encryptedContentInfo.encryptedContent[15] ^= static_cast<unsigned char>(15 ^ last);
    return message;
}

TEST(EnvelopedData, OnlyTheLastByteOfThePaddingCounts) {
    for (unsigned last = 1; last <= 16; last++) {
        Decrypted const result = decrypt(withLastByte(static_cast<unsigned char>(last)));
        EXPECT_TRUE(result.done) << last;
        EXPECT_EQ(result.content.size(), 32 - last);
    }
    for (unsigned char last : {0, 17, 32, 128, 255})
        expectRefused(withLastByte(last), "");
}

TEST(EnvelopedData, EncryptingNamesRecipientsAndDrawsEverythingAnew) {
    Bytes const type = der::oid(data);
    asn1::blob const contentType(type.data() + 2, type.size() - 2);
    PKCS7EnvelopedData first, second;
    test::SeededRng const rng(5);
    ASSERT_TRUE(first.encrypt(recipient(), contentType, text, CipherID::AesCbc, rng));
    ASSERT_TRUE(second.encrypt(recipient(), contentType, text, CipherID::AesCbc, rng));
    EXPECT_EQ(first.version, 0u);
    EXPECT_EQ(oidStr(asn1::blob(first.encryptedContentInfo.contentEncryptionAlgorithm.oid)), aes256);
    EXPECT_TRUE(asn1::blob(first.recipientInfos[0].issuerElement) == recipient().issuerBytes());
    EXPECT_NE(first.recipientInfos[0].encryptedKey, second.recipientInfos[0].encryptedKey);
    EXPECT_NE(first.encryptedContentInfo.encryptedContent, second.encryptedContentInfo.encryptedContent);
    EXPECT_NE(first.encryptedContentInfo.contentEncryptionAlgorithm.params,
              second.encryptedContentInfo.contentEncryptionAlgorithm.params);

    PKCS7EnvelopedData again;
    ASSERT_TRUE(parses(again, first.encode()));
    EXPECT_EQ(decrypt(again).content, text);
    EXPECT_EQ(again.encode(), first.encode());
    EXPECT_EQ(makeMessage({CipherID::AesCbc, 0, true}).version, 2u);

    // The block under the key: eight bytes at least, none of them zero.
    Bytes const block =
        expByMod(BigNum(asn1::blob(first.recipientInfos[0].encryptedKey)), recipientKey().d, recipientKey().n)
            .bin(128);
    EXPECT_EQ(std::find(block.begin() + 2, block.end(), 0) - block.begin(), 128 - 32 - 1);
    Bytes empty;
    ASSERT_TRUE(first.encrypt(recipient(), contentType, empty, CipherID::TripleDesCbc, rng));
    EXPECT_EQ(first.encryptedContentInfo.encryptedContent.size(), 8u);
    EXPECT_EQ(decrypt(first).content, empty);
    EXPECT_TRUE(decrypt(first).done);
}

/// Nothing but zeros, which are no padding.
struct ZeroRng : Rng {
    bool fill(unsigned char* buf, unsigned len) const override {
        std::fill(buf, buf + len, static_cast<unsigned char>(0));
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }
};

TEST(EnvelopedData, EncryptingThatFailsChangesNothing) {
    PKCS7EnvelopedData message = makeMessage();
    Bytes const before = message.encode();
    test::SeededRng const rng(5);
    auto const expectFailure = [&](X509Certificate const& certificate, PKCS7Encryption const& how,
                                   Rng const& source) {
        X509Certificate const* const recipients[] = {&recipient(), &certificate};
        EXPECT_FALSE(message.encrypt(recipients, {}, text, how, source));
        EXPECT_EQ(message.encode(), before);
    };
    expectFailure(recipient(), {CipherID::AesCtr, 0, false}, rng);
    expectFailure(recipient(), {CipherID::AesCbc, 20, false}, rng);
    expectFailure(recipient(), {}, ZeroRng());
    for (size_t draws : {0u, 1u, 2u})
        expectFailure(recipient(), {}, test::SeededRng(1, draws));
    X509Certificate other = recipient();
    other.subjectKeyId.clear();
    expectFailure(other, {CipherID::AesCbc, 0, true}, rng);
    Ed25519PrivateKey edwards;
    ASSERT_TRUE(edwards.initPrivate(Bytes(32, 7)));
    other.setPublicKey(edwards);
    expectFailure(other, {}, rng);
    RsaPublicKey tooShort;
    tooShort.n = (bn64(1) << 335) + bn64(1); // 42 bytes, and 43 are needed
    tooShort.e = bn64(3);
    other.setPublicKey(tooShort);
    expectFailure(other, {}, rng);
    EXPECT_FALSE(message.encrypt({}, {}, text, {}, rng)) << "to nobody";
}

TEST(EnvelopedData, ManyRecipientsAreRead) {
    size_t const many = test::lessWhenSlow<size_t>(100'000, 3'000);
    Parts parts;
    parts.recipients = {der::repeat(Parts::good(2), many)};
    PKCS7EnvelopedData message;
    ASSERT_TRUE(parses(message, parts.der()));
    EXPECT_EQ(message.recipientInfos.size(), many);
    expectRefused(message, "ktri: no key matches\n");
}

TEST(EnvelopedData, DamagedMessagesDoNoHarm) {
    Bytes const whole = readFile("cms-keyid-aes128.der");
    PKCS7EnvelopedData message;
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_FALSE(parses(message, Bytes(whole.begin(), whole.begin() + static_cast<long>(size)))) << size;
    // Where the bits of the RSA ciphertext stand does not matter: one of its bytes is enough.
    for (size_t bit = 0; bit < whole.size() * 8; bit++) {
        Bytes damaged = whole;
        damaged[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
        if (!parses(message, damaged))
            continue;
        Bytes const encoded = message.encode();
        PKCS7EnvelopedData again;
        EXPECT_TRUE(parses(again, encoded)) << bit;
        EXPECT_EQ(again.encode(), encoded) << bit;
        if (bit % 64 == 0)
            decrypt(message);
    }
}

TEST(EnvelopedData, IndefiniteLengthsAreRefused) {
    auto const streamed = [](Bytes const& head, Bytes const& content) {
        return der::join({head, content, Bytes(2)});
    };
    Parts const parts;
    Bytes const openSequence = {0x30, 0x80}, openContext = {0xA0, 0x80};
    PKCS7EnvelopedData message;
    EXPECT_FALSE(
        parses(message, streamed(openSequence, der::join({parts.type, der::context(0, parts.envelope())}))));
    EXPECT_FALSE(parses(message, der::sequence(parts.type, streamed(openContext, parts.envelope()))));
    Parts inner;
    Bytes const pieces = streamed(openContext, der::octetString(Bytes(16)));
    inner.content =
        der::sequence(der::oid(data), der::algorithm(aes256, der::octetString(Bytes(16))), pieces);
    expectMalformed(inner);
}

template <typename Record>
void expectRecordSurvivesDamage(Bytes const& whole) {
    CapturedOutput const output;
    Record record, again;
    EXPECT_TRUE(parse(record, whole));
    for (size_t size = 0; size < whole.size(); size++) {
        std::unique_ptr<unsigned char[]> exact(new unsigned char[size]);
        std::copy_n(whole.begin(), size, exact.get());
        EXPECT_FALSE(parse(record, asn1::blob(exact.get(), size))) << size;
    }
    Bytes damaged = whole;
    for (size_t bit = 0; bit < whole.size() * 8; bit++) {
        unsigned char const mask = static_cast<unsigned char>(1u << bit % 8);
        damaged[bit / 8] ^= mask;
        if (parse(record, damaged)) {
            Bytes const encoded = encode(record);
            EXPECT_TRUE(parse(again, encoded) && encode(again) == encoded) << bit;
        }
        damaged[bit / 8] ^= mask;
    }
}

TEST(EnvelopedData, DamagedRecordsDoNoHarm) {
    Bytes const info = der::sequence(der::oid(data), der::algorithm(aes256, der::octetString(Bytes(16))),
                                     der::implicit(0, Bytes(32)));
    expectRecordSurvivesDamage<PKCS7KeyTransRecipientInfo>(Parts::good(0));
    expectRecordSurvivesDamage<PKCS7KeyTransRecipientInfo>(Parts::good(2));
    expectRecordSurvivesDamage<PKCS7EncryptedContentInfo>(info);
    expectRecordSurvivesDamage<PKCS7EncryptedData>(der::sequence(der::integer(0), info));
}

TEST(EncryptedContentInfo, FormIsExactAndWrittenAgain) {
    Bytes const type = der::oid(data), algorithm = der::algorithm(aes256, der::octetString(Bytes(16)));
    PKCS7EncryptedContentInfo info;
    for (Bytes const& good : {der::sequence(type, algorithm, der::implicit(0, "encrypted")),
                              der::sequence(type, algorithm), der::sequence(type, der::algorithm("1.2.3"))}) {
        ASSERT_TRUE(parse(info, good));
        EXPECT_EQ(encode(info), good);
    }
    for (Bytes const& bad :
         {der::sequence(type), der::sequence(algorithm), der::sequence(type, der::sequence()), Bytes(),
          der::sequence(type, algorithm, der::context(0, der::octetString({1}))),
          der::sequence(type, algorithm, der::octetString({1})),
          der::sequence(type, algorithm, der::implicit(0, "x"), der::null()),
          der::join({der::sequence(type, algorithm), der::null()})})
        EXPECT_FALSE(parse(info, bad));
}

TEST(EncryptedData, OnlyVersion0IsRead) {
    Bytes const whole = readFile("encrypted-data.der");
    asn1::parser message(whole);
    ASSERT_TRUE(message.enter(0x30));
    message.next();
    ASSERT_TRUE(message.enter(0xA0));
    asn1::blob const element = message.takeWhole();
    PKCS7EncryptedData encrypted;
    ASSERT_TRUE(parse(encrypted, element));
    EXPECT_EQ(encrypted.version, 0u);
    EXPECT_EQ(oidStr(asn1::blob(encrypted.encryptedContentInfo.contentType)), data);
    EXPECT_EQ(encrypted.encryptedContentInfo.encryptedContent.size(), 32u);
    EXPECT_TRUE(asn1::blob(encode(encrypted)) == element);

    Bytes const info = encode(encrypted.encryptedContentInfo);
    for (auto [content, said] :
         {std::pair(Bytes{2}, "EncryptedData: invalid version: 2\n"),
          std::pair(Bytes{0x80}, "EncryptedData: invalid version: -128\n"), std::pair(Bytes(), "")}) {
        CapturedOutput const output;
        EXPECT_FALSE(parse(encrypted, der::sequence(der::integer(content), info)));
        EXPECT_EQ(output.text(), said);
    }
    EXPECT_FALSE(parse(encrypted, der::sequence(der::integer(0), info, der::context(1)))) << "attributes";
    EXPECT_FALSE(parse(encrypted, der::sequence(der::integer(0))));
}

TEST(KeyTransRecipientInfo, IsWrittenAsItWasRead) {
    PKCS7KeyTransRecipientInfo info;
    for (unsigned char version : {0, 2}) {
        ASSERT_TRUE(parse(info, Parts::good(version)));
        EXPECT_EQ(info.version, version);
        EXPECT_EQ(encode(info), Parts::good(version));
    }
    EXPECT_TRUE(info.serialNumber.empty()) << "left over";
    ASSERT_TRUE(parse(info, Parts::good(0)));
    info.issuer.commonName = "another";
    Bytes const changed = encode(info);
    ASSERT_TRUE(parse(info, changed));
    EXPECT_EQ(info.issuer.commonName, "another");
    EXPECT_FALSE(parse(info, der::sequence(der::integer(1)))) << "no such version";
}

} // namespace TEST_FILE

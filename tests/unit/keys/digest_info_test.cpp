#include "sealkit/der.h"
#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "support/captured_output.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

namespace TEST_FILE {

using test::hex;
using Bytes = std::vector<unsigned char>;

/// The digest that comes out, and what is said about it.
std::pair<std::string, std::string> check(HashID expected, asn1::blob block) {
    test::CapturedOutput const output;
    asn1::blob const digest = RsaPublicKey::parseHashFromDerEncoded(expected, block);
    return {test::toHex(digest), output.text()};
}

std::string complaint(std::string_view digits, HashID expected = HashID::SHA1) {
    Bytes const block = hex(digits);
    auto const [digest, said] = check(expected, asn1::blob(block));
    EXPECT_EQ(digest, "") << digits;
    return said;
}

constexpr char const* sha1Digest = "2fd4e1c67a2d28fced849ee1bb76e7391b93eb12";

Bytes digestInfo(HashID id, size_t length) {
    DerEncoder encoder;
    saveDigest(encoder, id, asn1::blob(Bytes(length, 0xD1)));
    return encoder.take();
}

TEST(DigestInfo, GivesTheDigestOfEveryHash) {
    for (auto const& [id, length] : {std::pair{HashID::MD5, 16},
                                     {HashID::SHA1, 20},
                                     {HashID::SHA256, 32},
                                     {HashID::SHA384, 48},
                                     {HashID::SHA512, 64}}) {
        Bytes const block = digestInfo(id, length);
        auto const [digest, said] = check(id, asn1::blob(block));
        EXPECT_EQ(digest, test::toHex(Bytes(length, 0xD1)));
        EXPECT_EQ(said, "");
    }
}

TEST(DigestInfo, TheDigestIsAViewOfTheBlock) {
    Bytes const block = digestInfo(HashID::SHA256, 32);
    asn1::blob const digest = RsaPublicKey::parseHashFromDerEncoded(HashID::SHA256, asn1::blob(block));
    EXPECT_EQ(digest.finish, block.data() + block.size());
}

TEST(DigestInfo, DoesNotExamineTheParameters) {
    for (char const* algorithm :
         {"3009 06052B0E03021A 0500", "3007 06052B0E03021A", "300A 06052B0E03021A 040107",
          "3009 06052B0E03021A FFFF", "300C 06052B0E03021A 0500 040107"}) {
        Bytes const identifier = hex(algorithm);
        Bytes const block =
            DerEncoder().begin(0x30).addEncoded(identifier).addOctetString(hex(sha1Digest)).end().take();
        auto const [digest, said] = check(HashID::SHA1, asn1::blob(block));
        EXPECT_EQ(digest, sha1Digest) << algorithm;
        EXPECT_EQ(said, "");
    }
}

TEST(DigestInfo, SaysWhatIsWrong) {
    EXPECT_EQ(complaint(""), "empty digest info\n");

    char const* const notWhole = "digest info does not span whole block\n";
    EXPECT_EQ(complaint("30"), notWhole);
    EXPECT_EQ(complaint("3002 05"), notWhole);
    EXPECT_EQ(complaint("3000 00"), notWhole);
    EXPECT_EQ(complaint("0500 0500"), notWhole);
    EXPECT_EQ(complaint("3080 0000"), notWhole);

    EXPECT_EQ(complaint("3100"), "bad digest info prefix\n");
    EXPECT_EQ(complaint("0414 2fd4e1c67a2d28fced849ee1bb76e7391b93eb12"), "bad digest info prefix\n");

    EXPECT_EQ(complaint("3000"), "missing algo id seq\n");
    EXPECT_EQ(complaint("3002 0500"), "missing algo id seq\n");
    EXPECT_EQ(complaint("3001 30"), "missing algo id seq\n");

    EXPECT_EQ(complaint("3002 3000"), "missing alog id\n");
    EXPECT_EQ(complaint("3004 3002 0500"), "missing alog id\n");
    EXPECT_EQ(complaint("3003 3001 06"), "missing alog id\n");

    char const* const notExpected = "not correct signature hash\n";
    EXPECT_EQ(complaint("3009 3007 06052B0E03021A", HashID::SHA256), notExpected);
    EXPECT_EQ(complaint("3004 3002 0600"), notExpected);
    EXPECT_EQ(complaint("3009 3007 06052B0E03021B"), notExpected);

    char const* const noDigest = "missing hash\n";
    EXPECT_EQ(complaint("3009 3007 06052B0E03021A"), noDigest);
    EXPECT_EQ(complaint("300B 3007 06052B0E03021A 0500"), noDigest);
    EXPECT_EQ(complaint("300B 3007 06052B0E03021A 0401"), noDigest);
}

TEST(DigestInfo, RefusesWhatFollowsTheDigest) {
    for (char const* trailing : {"00", "0500", "30"}) {
        Bytes const block = DerEncoder()
                                .begin(0x30)
                                .addEncoded(hex("3009 06052B0E03021A 0500"))
                                .addOctetString(hex(sha1Digest))
                                .addEncoded(hex(trailing))
                                .end()
                                .take();
        EXPECT_EQ(check(HashID::SHA1, asn1::blob(block)).second, "trailing bytes after digest\n");
    }
    // That is found before a wrong length is.
    EXPECT_EQ(complaint("300E 3007 06052B0E03021A 040107 0500").substr(0, 8), "trailing");
}

TEST(DigestInfo, RefusesDigestsOfAnotherLength) {
    for (HashID id : {HashID::MD5, HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
        size_t const right = createHash(id)->digestLength();
        for (size_t length : {size_t{0}, size_t{16}, size_t{20}, right - 1, right, right + 1, size_t{200}}) {
            Bytes const block = digestInfo(id, length);
            auto const [digest, said] = check(id, asn1::blob(block));
            EXPECT_EQ(digest.size() / 2, length == right ? length : 0);
            EXPECT_EQ(said, length == right ? "" : "bad digest length\n");
        }
    }
    // An unknown hash that was expected to be unknown.
    EXPECT_EQ(complaint("3009 3002 0600 04030102 03", HashID::none), "bad digest length\n");
}

TEST(DigestInfo, ExpectsNoHashThatHasNoIdentifier) {
    Bytes const block = digestInfo(HashID::SHA1, 20);
    for (HashID id : {HashID::none, HashID::MD5SHA1, HashID::MD4, static_cast<HashID>(8)})
        EXPECT_EQ(check(id, asn1::blob(block)).second, "not correct signature hash\n");
}

TEST(DigestInfo, RefusesTruncatedAndDamagedBlocks) {
    Bytes const block = digestInfo(HashID::SHA256, 32);
    for (size_t size = 0; size < block.size(); ++size) {
        auto const cut = std::make_unique<unsigned char[]>(size);
        std::copy_n(block.begin(), size, cut.get());
        auto const [digest, said] = check(HashID::SHA256, asn1::blob(cut.get(), size));
        EXPECT_EQ(digest, "");
        EXPECT_NE(said, "");
    }
    std::mt19937 random(11);
    for (int round = 0; round < 5000; ++round) {
        Bytes damaged = block;
        damaged[random() % 19] = static_cast<unsigned char>(random());
        auto const [digest, said] = check(HashID::SHA256, asn1::blob(damaged));
        EXPECT_NE(digest.empty(), said.empty());
        EXPECT_TRUE(digest.empty() || digest == test::toHex(Bytes(32, 0xD1)));
    }
}

} // namespace TEST_FILE

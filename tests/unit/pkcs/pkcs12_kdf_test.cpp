#include "sealkit/pkcs12.h"

#include "support/der.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>

namespace TEST_FILE {

namespace der = test::der;
using der::Bytes;

HashID hashOf(std::string const& name) {
    static std::map<std::string, HashID> const hashes = {{"MD5", HashID::MD5},
                                                         {"SHA1", HashID::SHA1},
                                                         {"SHA256", HashID::SHA256},
                                                         {"SHA384", HashID::SHA384},
                                                         {"SHA512", HashID::SHA512}};
    return hashes.at(name);
}

Bytes derive(HashID hash, Bytes const& password, Bytes const& salt, unsigned iterations, unsigned purpose,
             size_t size) {
    Bytes out(size);
    EXPECT_TRUE(
        pkcs12_kdf(hash, password, salt, iterations, static_cast<PKCS12Purpose>(purpose), std::span(out)));
    return out;
}

TEST_CASES(Pkcs12Kdf, GivesWhatOpenSslDerives, "pkcs/p12-kdf.txt")(test::Case const& c) {
    Bytes const expected = c.bytes("out");
    EXPECT_EQ(derive(hashOf(c.text("hash")), c.bytes("password"), c.bytes("salt"),
                     static_cast<unsigned>(c.number("iterations")), static_cast<unsigned>(c.number("id")),
                     expected.size()),
              expected)
        << c.id();
}

// Computed with Python's hashlib after RFC 7292, appendix B.2.
TEST(Pkcs12Kdf, TakesNoPasswordAndNoSalt) {
    EXPECT_EQ(derive(HashID::SHA1, {}, test::hex("0a58cf64530d823f"), 3, 1, 24),
              test::hex("c67efd08eb768c19c7f340c2604e4428c2f765b288fafe88"));
    EXPECT_EQ(derive(HashID::SHA256, {}, {}, 3, 3, 40),
              test::hex("2ba36fd772b28ea494f14281555d8d7413c5a015ca41c4ae7e1e768a6994af042ba36fd772b28ea4"));
    EXPECT_EQ(
        derive(HashID::SHA512, {0, 'a', 0, 0}, {}, 1, 3, 70),
        test::hex("72a9ef051f4c97f7028c835317de6a8f3bd43192ee9799ca7b0e7b2debada9a542d69a57eb509ceba663117"
                  "d3d080da5104240645d931016b52781c29079f978157388a8ed31"));
    EXPECT_EQ(derive(HashID::SHA1, {}, {1}, 1, 1, 0), Bytes());
}

TEST(Pkcs12Kdf, RefusesOtherHashesAndNoIterations) {
    Bytes out = {1, 2, 3};
    for (HashID hash : {HashID::none, HashID::MD4, HashID::MD5SHA1, HashID(99)})
        EXPECT_FALSE(pkcs12_kdf(hash, {}, {}, 1, PKCS12Purpose::key, std::span(out)));
    EXPECT_FALSE(pkcs12_kdf(HashID::SHA1, {}, {}, 0, PKCS12Purpose::key, std::span(out)));
    EXPECT_EQ(out, (Bytes{1, 2, 3}));
}

TEST(Pkcs12Password, IsBigEndianUtf16WithATerminator) {
    EXPECT_EQ(pkcs12_password("smeg"), test::hex("0073006d006500670000"));
    EXPECT_EQ(pkcs12_password(""), test::hex("0000"));
    EXPECT_EQ(pkcs12_password("\xC3\xA9\xE2\x82\xAC"), test::hex("00e920ac0000")) << "two and three bytes";
    EXPECT_EQ(pkcs12_password("\xF0\x9F\x98\x80"), test::hex("d83dde000000")) << "a surrogate pair";
    EXPECT_EQ(pkcs12_password("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), test::hex("d800dc00dbffdfff0000"));
    EXPECT_EQ(pkcs12_password(std::string_view("a\0b", 3)), test::hex("0061000000620000"));
}

TEST(Pkcs12Password, IsLatin1WhereItIsNoUtf8) {
    EXPECT_EQ(pkcs12_password("\xE9"), test::hex("00e90000"));
    EXPECT_EQ(pkcs12_password("\xC3\xA9\xE9"), test::hex("00c300a900e90000")) << "all of it, not a part";
    EXPECT_EQ(pkcs12_password("\xED\xA0\x80"), test::hex("00ed00a000800000")) << "a surrogate";
    EXPECT_EQ(pkcs12_password("\xC0\x80"), test::hex("00c000800000")) << "too long a form";
    EXPECT_EQ(pkcs12_password("\xF4\x90\x80\x80"), test::hex("00f4009000800080"
                                                             "0000"));
}

// pbe1_crypt

Bytes params(unsigned iterations = 1, Bytes const& salt = {1, 2, 3, 4, 5, 6, 7, 8}) {
    return encode(PBEParams{salt, iterations});
}

struct Crypted {
    bool done = false;
    Bytes out = {9, 9, 9};
};

Crypted crypt(Bytes const& parameters, asn1::blob data, bool encrypt, std::string_view password = "smeg") {
    Crypted result;
    result.done = pbe1_crypt({{}, parameters}, password, data, result.out, encrypt);
    return result;
}

TEST(PBEParams, AreASequenceOfSaltAndCount) {
    PBEParams read;
    ASSERT_TRUE(parse(read, der::sequence(der::octetString({1, 2}), der::integer({0x08, 0x00}))));
    EXPECT_EQ(read.salt, (Bytes{1, 2}));
    EXPECT_EQ(read.iterations, 2048u);
    EXPECT_EQ(encode(read), der::sequence(der::octetString({1, 2}), der::integer({0x08, 0x00})));
    read.iterations = 200;
    EXPECT_EQ(encode(read), der::sequence(der::octetString({1, 2}), der::integer(200))) << "a valid INTEGER";
}

TEST(PBEParams, OfAnotherShapeAreRefused) {
    PBEParams read;
    Bytes const salt = der::octetString({1}), count = der::integer(1);
    EXPECT_TRUE(parse(read, der::sequence(salt, count)));
    EXPECT_FALSE(parse(read, Bytes()));
    EXPECT_FALSE(parse(read, der::sequence(salt)));
    EXPECT_FALSE(parse(read, der::sequence(count, salt)));
    EXPECT_FALSE(parse(read, der::sequence(salt, count, count)));
    EXPECT_FALSE(parse(read, der::join({der::sequence(salt, count), count})));
    EXPECT_FALSE(parse(read, der::element(0x31, der::join({salt, count}))));
}

TEST(PBEParams, CountOneToTenMillion) {
    PBEParams read;
    auto const takes = [&](Bytes const& count) {
        return parse(read, der::sequence(der::octetString({1}), der::integer(count)));
    };
    EXPECT_TRUE(takes({1}));
    EXPECT_TRUE(takes({0x00, 0x98, 0x96, 0x80}));
    EXPECT_EQ(read.iterations, pkcs12MaxIterations);
    EXPECT_FALSE(takes({0x00, 0x98, 0x96, 0x81}));
    EXPECT_FALSE(takes({0x7F, 0xFF, 0xFF, 0xFF}));
    EXPECT_FALSE(takes({0}));
    EXPECT_FALSE(takes({}));
    EXPECT_FALSE(takes({0, 0, 0, 0, 1})) << "five bytes";
}

TEST(Pbe1Crypt, OpensAKeyOfOpenSsl) {
    std::ifstream file(SEALKIT_TEST_DATA "/vectors/pkcs/p12-pkcs8-3des.der", std::ios::binary);
    Bytes const locked{std::istreambuf_iterator<char>(file), {}};
    std::ifstream plainFile(SEALKIT_TEST_DATA "/vectors/pkcs/p12-alice-key.der", std::ios::binary);
    Bytes const plain{std::istreambuf_iterator<char>(plainFile), {}};
    ASSERT_EQ(locked.size(), 180u);
    Bytes const parameters(locked.begin() + 17, locked.begin() + 33);
    Crypted const opened = crypt(parameters, asn1::blob(locked.data() + 36, size_t{144}), false, "secret1");
    EXPECT_TRUE(opened.done);
    EXPECT_EQ(opened.out, plain);
    Crypted const closed = crypt(parameters, plain, true, "secret1");
    EXPECT_TRUE(closed.done);
    EXPECT_EQ(closed.out, Bytes(locked.begin() + 36, locked.end()));
}

TEST(Pbe1Crypt, PadsOneToEightBytes) {
    for (size_t size = 0; size <= 17; size++) {
        Bytes const plain(size, 0x55);
        Crypted const closed = crypt(params(), plain, true);
        EXPECT_TRUE(closed.done);
        EXPECT_EQ(closed.out.size(), size / 8 * 8 + 8);
        Crypted const opened = crypt(params(), closed.out, false);
        EXPECT_TRUE(opened.done);
        EXPECT_EQ(opened.out, plain);
    }
}

/// Encrypts whole blocks and takes the block of padding off.
Bytes unpadded(Bytes const& blocks) {
    Bytes closed = crypt(params(), blocks, true).out;
    closed.resize(closed.size() - 8);
    return closed;
}

TEST(Pbe1Crypt, LooksAtTheLastByteOfThePaddingAlone) {
    for (unsigned char padding = 0; padding < 12; padding++) {
        Bytes const plain = {1, 2, 3, 4, 5, 6, 7, padding};
        Crypted const opened = crypt(params(), unpadded(plain), false);
        EXPECT_EQ(opened.done, padding <= 8) << int{padding};
        EXPECT_EQ(opened.out, padding <= 8 ? Bytes(plain.begin(), plain.end() - padding) : Bytes());
    }
}

TEST(Pbe1Crypt, NeedsWholeBlocksAndSoundParameters) {
    for (size_t size : {0, 1, 7, 9, 15}) {
        Crypted const opened = crypt(params(), Bytes(size), false);
        EXPECT_FALSE(opened.done) << size;
        EXPECT_TRUE(opened.out.empty());
    }
    for (Bytes const& parameters : {Bytes(), params(0), params(pkcs12MaxIterations + 1), der::null()})
        for (bool encrypt : {false, true}) {
            Crypted const result = crypt(parameters, Bytes(8), encrypt);
            EXPECT_FALSE(result.done);
            EXPECT_TRUE(result.out.empty());
        }
}

TEST(Pbe1Crypt, WorksInPlace) {
    Bytes data = der::bytes("some bytes that are here");
    Bytes const plain = data;
    ASSERT_TRUE(pbe1_crypt({{}, params()}, "smeg", data, data, true));
    ASSERT_EQ(data.size(), 32u);
    ASSERT_TRUE(pbe1_crypt({{}, params()}, "smeg", data, data, false));
    EXPECT_EQ(data, plain);
}

TEST(Pbe1Crypt, DependsOnPasswordSaltAndCount) {
    Bytes const plain = der::bytes("some bytes that are here"), closed = crypt(params(), plain, true).out;
    EXPECT_NE(crypt(params(), plain, true, "smeh").out, closed);
    EXPECT_NE(crypt(params(2), plain, true).out, closed);
    EXPECT_NE(crypt(params(1, {1}), plain, true).out, closed);
    EXPECT_NE(crypt(params(), plain, true, "").out, closed);
}

} // namespace TEST_FILE

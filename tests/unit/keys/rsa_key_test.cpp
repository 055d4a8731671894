#include "sealkit/der.h"
#include "sealkit/keys.h"
#include "sealkit/pkcs8.h"
#include "sealkit/prime.h"

#include "support/allocation_count.h"
#include "support/random.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::CapturedOutput;
using test::concat;
using test::element;
using test::hex;
using test::integer;
using test::number;
using test::sequence;
using Bytes = std::vector<unsigned char>;

RsaPrivateKey keyOfOpenSslCase(test::Case const& c) {
    c.ignore({"key", "spki", "message", "hash", "sig"});
    return test::rsaKey(c);
}

/// The first key of the file with that name.
RsaPrivateKey openSslKey(std::string const& name) {
    RsaPrivateKey found;
    test::forEachCase("keys/openssl-rsa.txt", [&](test::Case const& c) {
        RsaPrivateKey const key = keyOfOpenSslCase(c);
        if (c.text("key") == name && found.n.bits() == 0)
            found = key;
    });
    return found;
}

RsaPrivateKey shortKey(std::string const& name) {
    RsaPrivateKey found;
    test::forEachCase("keys/short-rsa.txt", [&](test::Case const& c) {
        RsaPrivateKey const key = test::rsaKey(c);
        if (c.id() == name)
            found = key;
    });
    return found;
}

HashID hashOf(test::Case const& c) { return static_cast<HashID>(c.number("hash")); }

/// What opens to `block` under the public key.
Bytes signBlock(RsaPrivateKey const& key, Bytes const& block) {
    return expByMod(BigNum(asn1::blob(block)), key.d, key.n).bin((key.n.bits() + 7) / 8);
}

Bytes open(RsaPublicKey const& key, Bytes const& sig) {
    return expByMod(BigNum(asn1::blob(sig)), key.e, key.n).bin((key.n.bits() + 7) / 8);
}

/// 00 01 FF ... 00 payload, as long as the modulus.
Bytes block(RsaPublicKey const& key, Bytes const& payload) {
    size_t const length = (key.n.bits() + 7) / 8;
    return concat({{0x00, 0x01}, Bytes(length - 3 - payload.size(), 0xFF), {0x00}, payload});
}

Bytes const message = {'a', 'b', 'c'};
Bytes const sha256Oid = hex("0609608648016503040201");

Bytes abcDigest() { return calcDigest(HashID::SHA256, message); }

/// A DigestInfo for SHA-256 over "abc" whose algorithm has these bytes behind its identifier.
Bytes digestInfo(Bytes const& params) {
    return sequence({sequence({sha256Oid, params}), element(0x04, abcDigest())});
}

Bytes rsaPublicKey(Bytes const& n, Bytes const& e) { return sequence({integer(n), integer(e)}); }

/// A modulus of `bits` bits, as INTEGER content.
Bytes odd(unsigned bits) {
    BigNum n = bn64(1) << (bits - 1);
    n.setBit(0, true);
    return concat({{0}, n.bin(0)});
}

// --- Signatures ---

TEST_CASES(RsaPublicKey, VerifiesWhatOpenSslSigned, "keys/openssl-rsa.txt")(test::Case const& c) {
    RsaPrivateKey const key = keyOfOpenSslCase(c);
    Bytes const digest = calcDigest(hashOf(c), c.bytes("message"));
    Bytes sig = c.bytes("sig");
    EXPECT_TRUE(key.verifyHashed(hashOf(c), digest, sig)) << c.id();
    sig.back() ^= 1;
    EXPECT_FALSE(key.verifyHashed(hashOf(c), digest, sig)) << c.id();
}

TEST(RsaPublicKey, RefusesAnotherDigestOrHash) {
    CapturedOutput const output;
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const digest = abcDigest();
    Bytes const sig = key.signHashed(HashID::SHA256, digest);
    ASSERT_TRUE(key.verifyHashed(HashID::SHA256, digest, sig));
    Bytes other = digest;
    other[0] ^= 0x80;
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, other, sig));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, asn1::blob(digest.data(), 31), sig));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, {}, sig));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA384, digest, sig));
    EXPECT_FALSE(key.verifyHashed(HashID::MD5SHA1, digest, sig));
    EXPECT_FALSE(key.verifyHashed(HashID::none, digest, sig));
    EXPECT_FALSE(key.verifyHashed(HashID::MD4, digest, sig));
    EXPECT_FALSE(key.verifyHashed(static_cast<HashID>(99), digest, sig));
    EXPECT_FALSE(openSslKey("rsa2048").verifyHashed(HashID::SHA256, digest, sig));
}

TEST(RsaPublicKey, SaysWhatIsWrongWithADigestInfo) {
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const sig = key.signHashed(HashID::SHA256, abcDigest());
    CapturedOutput const output;
    EXPECT_FALSE(key.verifyHashed(HashID::SHA384, calcDigest(HashID::SHA384, message), sig));
    EXPECT_EQ(output.text(), "not correct signature hash\n");
}

TEST(RsaPublicKey, ReadsTheSignatureAsANumberBelowTheModulus) {
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const digest = abcDigest();
    Bytes const sig = key.signHashed(HashID::SHA256, digest);
    EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, concat({{0, 0, 0}, sig})));
    BigNum const s{asn1::blob(sig)};
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, (s + key.n).bin(0)));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, key.n.bin(0)));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, Bytes(1 << 20, 0xFF)));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, {}));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, Bytes{1}));
}

TEST(RsaPublicKey, TheBlockIsExactlyThatOfTheStandard) {
    CapturedOutput const output;
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const digest = abcDigest();
    Bytes const payload = digestInfo(hex("0500"));
    Bytes const good = block(key, payload);
    auto const verifies = [&](Bytes const& b) {
        return key.verifyHashed(HashID::SHA256, digest, signBlock(key, b));
    };
    ASSERT_TRUE(verifies(good));
    for (size_t at = 0; at < good.size() - payload.size(); ++at) {
        Bytes bad = good;
        bad[at] ^= 1; // the modulus begins with 01: the first byte may become 1 only in smaller numbers
        if (BigNum(asn1::blob(bad)) < key.n) {
            EXPECT_FALSE(verifies(bad)) << at;
        }
    }
    Bytes type2 = good;
    type2[1] = 0x02;
    EXPECT_FALSE(verifies(type2));
    EXPECT_FALSE(verifies(Bytes(good.size(), 0x00)));
    Bytes allPadding(good.size(), 0xFF);
    allPadding[0] = 0x00;
    allPadding[1] = 0x01;
    EXPECT_FALSE(verifies(allPadding));
    allPadding.back() = 0x00;
    EXPECT_FALSE(verifies(allPadding));
    // The digest further to the left, and the rest behind it.
    Bytes shifted = concat({{0x00, 0x01}, Bytes(8, 0xFF), {0x00}, payload});
    shifted.resize(good.size(), 0x00);
    EXPECT_FALSE(verifies(shifted));
}

TEST(RsaPublicKey, TheBlockHasAtLeastEightBytesOfPadding) {
    Bytes const digest = calcDigest(HashID::MD5SHA1, message);
    ASSERT_EQ(digest.size(), 36u);
    RsaPrivateKey const eight = shortKey("rsa376"), seven = shortKey("rsa368");
    Bytes const withEight = eight.signHashed(HashID::MD5SHA1, digest);
    Bytes const withSeven = seven.signHashed(HashID::MD5SHA1, digest);
    ASSERT_EQ(open(eight, withEight), concat({{0x00, 0x01}, Bytes(8, 0xFF), {0x00}, digest}));
    ASSERT_EQ(open(seven, withSeven), concat({{0x00, 0x01}, Bytes(7, 0xFF), {0x00}, digest}));
    EXPECT_TRUE(eight.verifyHashed(HashID::MD5SHA1, digest, withEight));
    EXPECT_FALSE(seven.verifyHashed(HashID::MD5SHA1, digest, withSeven));
}

TEST(RsaPublicKey, TheDigestOfMd5AndSha1StandsBare) {
    CapturedOutput const output;
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const digest = calcDigest(HashID::MD5SHA1, message);
    EXPECT_EQ(open(key, key.signHashed(HashID::MD5SHA1, digest)), block(key, digest));
    EXPECT_TRUE(key.verifyHashed(HashID::MD5SHA1, digest, signBlock(key, block(key, digest))));
    EXPECT_FALSE(key.verifyHashed(HashID::MD5SHA1, digest, signBlock(key, block(key, sequence({digest})))));
    EXPECT_FALSE(key.verifyHashed(HashID::MD5SHA1, {}, signBlock(key, block(key, {}))));
    EXPECT_EQ(output.text(), "");
}

TEST(RsaPublicKey, ADigestOfNoHashIsNeverSigned) {
    // An unknown identifier reads as no hash, whose digest has no bytes.
    CapturedOutput const output;
    RsaPrivateKey const key = openSslKey("rsa1025");
    Bytes const nothing = sequence({sequence({hex("06032a0304")}), element(0x04, {})});
    EXPECT_FALSE(key.verifyHashed(HashID::none, {}, signBlock(key, block(key, nothing))));
}

TEST(RsaPublicKey, DoesNotExamineTheParametersUnderAnExponentFrom65537) {
    RsaPrivateKey const key = openSslKey("rsa2048");
    for (char const* params : {"0500", "", "0400", "04050102030405", "05000500"}) {
        Bytes const sig = signBlock(key, block(key, digestInfo(hex(params))));
        EXPECT_TRUE(key.verifyHashed(HashID::SHA256, abcDigest(), sig)) << params;
    }
    Bytes const longLengths = concat({hex("3081 31 300d"), sha256Oid, hex("0500 0420"), abcDigest()});
    EXPECT_TRUE(key.verifyHashed(HashID::SHA256, abcDigest(), signBlock(key, block(key, longLengths))));
}

TEST(RsaPublicKey, TakesOnlyTheExactDigestInfoUnderASmallExponent) {
    CapturedOutput const output;
    RsaPrivateKey const key = openSslKey("rsa2048e3");
    ASSERT_EQ(key.e.str(), "3");
    auto const verifies = [&](Bytes const& payload) {
        return key.verifyHashed(HashID::SHA256, abcDigest(), signBlock(key, block(key, payload)));
    };
    EXPECT_TRUE(verifies(digestInfo(hex("0500"))));
    EXPECT_TRUE(verifies(digestInfo({})));
    EXPECT_FALSE(verifies(digestInfo(hex("0400"))));
    EXPECT_FALSE(verifies(digestInfo(hex("05000500"))));
    EXPECT_FALSE(verifies(digestInfo(hex("050100"))));
    EXPECT_FALSE(verifies(concat({hex("3081 31 300d"), sha256Oid, hex("0500 0420"), abcDigest()})));
}

TEST_CASES(RsaPublicKey, RefusesForgeriesUnderASmallExponent, "keys/low-exponent-forgeries.txt")
(test::Case const& c) {
    RsaPrivateKey const key = openSslKey("rsa2048e3");
    Bytes const digest = calcDigest(HashID::SHA256, c.bytes("message"));
    Bytes const sig = c.bytes("sig");
    // Without a private key the block has a proper beginning.
    ASSERT_EQ(test::toHex(open(key, sig)).substr(0, 22), "0001ffffffffffffffff00");
    CapturedOutput const output;
    if (c.id() == "garbage-in-the-parameters") {
        Bytes const opened = open(key, sig);
        asn1::blob const info(opened.data() + 11, opened.size() - 11);
        ASSERT_TRUE(RsaPublicKey::parseHashFromDerEncoded(HashID::SHA256, info) == asn1::blob(digest));
    }
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, sig)) << c.id();
}

TEST(RsaPublicKey, ChecksTheDigestInfoOfABlock) {
    Bytes const info = digestInfo(hex("0500"));
    EXPECT_TRUE(RsaPublicKey::parseHashFromDerEncoded(HashID::SHA256, info) == asn1::blob(abcDigest()));
    CapturedOutput const output;
    EXPECT_TRUE(RsaPublicKey::parseHashFromDerEncoded(HashID::SHA256, {}).empty());
    EXPECT_TRUE(RsaPublicKey::parseHashFromDerEncoded(HashID::SHA256, concat({info, {0}})).empty());
    EXPECT_EQ(output.text(), "empty digest info\ndigest info does not span whole block\n");
}

TEST_CASES(RsaPrivateKey, SignsWhatOpenSslSigned, "keys/openssl-rsa.txt")(test::Case const& c) {
    RsaPrivateKey const key = keyOfOpenSslCase(c);
    Bytes const digest = calcDigest(hashOf(c), c.bytes("message"));
    EXPECT_EQ(test::toHex(key.signHashed(hashOf(c), digest)), c.text("sig")) << c.id();
}

TEST(RsaPrivateKey, SignsTheSameWithoutThePrimes) {
    RsaPrivateKey key = openSslKey("rsa1025");
    Bytes const digest = abcDigest();
    Bytes const sig = key.signHashed(HashID::SHA256, digest);
    ASSERT_EQ(sig.size(), 129u);
    key.p = key.q = key.exp1 = key.exp2 = key.coeff = BigNum();
    EXPECT_EQ(key.signHashed(HashID::SHA256, digest), sig);
}

TEST(RsaPrivateKey, AWrongNumberNeverMakesAWrongSignature) {
    RsaPrivateKey const good = openSslKey("rsa1025");
    Bytes const digest = abcDigest();
    Bytes const sig = good.signHashed(HashID::SHA256, digest);
    for (BigNum RsaPrivateKey::*member : {&RsaPrivateKey::p, &RsaPrivateKey::q, &RsaPrivateKey::exp1,
                                          &RsaPrivateKey::exp2, &RsaPrivateKey::coeff})
        for (BigNum const& wrong : {BigNum(), bn64(1), bn64(4), good.*member + 2u, good.n, good.n << 2000}) {
            RsaPrivateKey key = good;
            key.*member = wrong;
            EXPECT_EQ(key.signHashed(HashID::SHA256, digest), sig);
            // With the private exponent wrong too, nothing is left to sign with.
            key.d = bn64(3);
            EXPECT_TRUE(key.signHashed(HashID::SHA256, digest).empty());
        }
}

TEST(RsaPrivateKey, NumbersThatCannotBeComputedWithSignNothing) {
    RsaPrivateKey const good = shortKey("rsa416");
    Bytes const digest = abcDigest();
    ASSERT_FALSE(good.signHashed(HashID::SHA256, digest).empty());
    EXPECT_TRUE(RsaPrivateKey().signHashed(HashID::SHA256, digest).empty());
    for (BigNum const& n : {BigNum(), bn64(1), bn64(3), good.n + 1u, bn64(1) << 20000}) {
        RsaPrivateKey key = good;
        key.n = n;
        EXPECT_TRUE(key.signHashed(HashID::SHA256, digest).empty()) << n.bits();
    }
    for (BigNum const& e : {BigNum(), bn64(1), bn64(2), bn64(3), bn64(1) << 64}) {
        RsaPrivateKey key = good;
        key.e = e;
        EXPECT_TRUE(key.signHashed(HashID::SHA256, digest).empty()) << e.str();
    }
    RsaPrivateKey key = good;
    key.p = BigNum();
    for (BigNum const& d : {BigNum(), bn64(1), good.n, good.d << 100000}) {
        key.d = d;
        EXPECT_TRUE(key.signHashed(HashID::SHA256, digest).empty()) << d.bits();
    }
}

TEST(RsaPrivateKey, SignsWhateverFitsWithOneByteInFront) {
    RsaPrivateKey const key = shortKey("rsa416"); // 52 bytes
    auto const info = [](size_t digestLength) {
        DerEncoder encoder;
        saveDigest(encoder, HashID::SHA256, Bytes(digestLength, 0xA5));
        return encoder.take();
    };
    ASSERT_EQ(info(32).size(), 51u);
    auto const opened = [&](size_t digestLength) {
        return open(key, key.signHashed(HashID::SHA256, Bytes(digestLength, 0xA5)));
    };
    EXPECT_TRUE(key.signHashed(HashID::SHA256, Bytes(33, 0xA5)).empty());
    EXPECT_EQ(opened(32), concat({{0x00}, info(32)}));
    EXPECT_EQ(opened(31), concat({{0x00, 0x00}, info(31)}));
    EXPECT_EQ(opened(30), concat({{0x00, 0x01, 0x00}, info(30)}));
    EXPECT_EQ(opened(29), concat({{0x00, 0x01, 0xFF, 0x00}, info(29)}));
    // One byte less of modulus is too short.
    EXPECT_TRUE(shortKey("rsa408").signHashed(HashID::SHA256, abcDigest()).empty());
}

TEST(RsaPrivateKey, SignsForNoUnknownHash) {
    RsaPrivateKey const key = openSslKey("rsa1025");
    for (HashID const id :
         {HashID::none, HashID::MD4, static_cast<HashID>(8), static_cast<HashID>(0xFFFFFFFF)})
        EXPECT_TRUE(key.signHashed(id, abcDigest()).empty());
}

// --- DER ---

TEST_CASES(RsaPublicKey, IsReadAndWrittenAsOpenSslDoes, "keys/openssl-rsa.txt")(test::Case const& c) {
    RsaPrivateKey const key = keyOfOpenSslCase(c);
    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(c.bytes("spki"));
    ASSERT_NE(parsed, nullptr);
    EXPECT_EQ(parsed->keyType(), KeyType::RSA);
    EXPECT_TRUE(parsed->equals(key));
    EXPECT_EQ(encodePkcs8PublicKey(*parsed), c.bytes("spki"));
    EXPECT_EQ(encodePkcs8PublicKey(*key.publicKey()), c.bytes("spki"));
}

TEST(RsaPublicKey, ReadsPkcs1) {
    RsaPublicKey key;
    ASSERT_TRUE(key.parseFromDerEncoded({}, rsaPublicKey({0x0F}, {0x03})));
    EXPECT_EQ(key.n.str(), "f");
    EXPECT_EQ(key.e.str(), "3");
    EXPECT_EQ(key.encodeToDerEncoded(), hex("3006 02010f 020103"));
    Bytes const largest = rsaPublicKey(odd(16384), odd(64));
    ASSERT_TRUE(key.parseFromDerEncoded(hex("0500"), largest));
    EXPECT_EQ(key.n.bits(), 16384u);
    EXPECT_EQ(key.e.bits(), 64u);
}

TEST(RsaPublicKey, TheParametersAreNullOrAbsent) {
    Bytes const der = rsaPublicKey({0x0F}, {0x03});
    for (char const* params : {"", "0500", "058100"})
        EXPECT_TRUE(RsaPublicKey().parseFromDerEncoded(hex(params), der)) << params;
    for (char const* params : {"050100", "05000500", "05", "3000", "0400", "06092a864886f70d010101"})
        EXPECT_FALSE(RsaPublicKey().parseFromDerEncoded(hex(params), der)) << params;
    EXPECT_TRUE(RsaPublicKey().algorithmParams() == asn1::blob(hex("0500")));
}

TEST(RsaPublicKey, RefusesNumbersThatMakeNoKey) {
    Bytes const n = {0x0F}, e = {0x03};
    Bytes const megabyte(1 << 20, 0x7F);
    struct {
        char const* what;
        Bytes n, e;
    } const cases[] = {
        {"modulus 0", {0}, e},
        {"modulus 1", {1}, e},
        {"even modulus", {0x10}, e},
        {"negative modulus", {0x8F}, e},
        {"modulus without a byte", {}, e},
        {"modulus of 16385 bits", odd(16385), e},
        {"modulus of a megabyte", megabyte, e},
        {"exponent 0", n, {0}},
        {"exponent 1", n, {1}},
        {"even exponent", n, {2}},
        {"even exponent 65536", n, {1, 0, 0}},
        {"negative exponent", n, {0xFF}},
        {"exponent without a byte", n, {}},
        {"exponent of 65 bits", n, odd(65)},
        {"exponent of a megabyte", n, megabyte},
    };
    for (auto const& c : cases) {
        RsaPublicKey key;
        ASSERT_TRUE(key.parseFromDerEncoded({}, rsaPublicKey(n, e)));
        EXPECT_FALSE(key.parseFromDerEncoded({}, rsaPublicKey(c.n, c.e))) << c.what;
        EXPECT_EQ(key.n.str(), "f") << c.what;
        EXPECT_EQ(key.e.str(), "3") << c.what;
    }
}

TEST(RsaPublicKey, RefusesAnyOtherForm) {
    Bytes const good = rsaPublicKey({0x0F}, {0x03});
    RsaPublicKey key;
    ASSERT_TRUE(key.parseFromDerEncoded({}, good));
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_FALSE(key.parseFromDerEncoded({}, asn1::blob(good.data(), length))) << length;
    EXPECT_FALSE(key.parseFromDerEncoded({}, concat({good, {0x00}})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, concat({good, {0x05, 0x00}})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, sequence({integer({0x0F}), integer({3}), integer({3})})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, sequence({integer({0x0F})})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, sequence({integer({0x0F}), element(0x04, {3})})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, sequence({})));
    EXPECT_FALSE(key.parseFromDerEncoded({}, element(0x31, concat({integer({0x0F}), integer({3})}))));
}

TEST(RsaPublicKey, NumbersFilledInByHandDoNotCrash) {
    CapturedOutput const output;
    Bytes const digest = abcDigest();
    for (BigNum const& n : {BigNum(), bn64(1), bn64(2), bn64(3), bn64(1) << 2047, bn64(1) << 20000})
        for (BigNum const& e : {BigNum(), bn64(1), bn64(2), bn64(3), bn64(1) << 70000}) {
            RsaPublicKey key;
            key.n = n;
            key.e = e;
            EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, Bytes{}));
            EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, Bytes{1}));
            EXPECT_FALSE(key.verifyHashed(HashID::MD5SHA1, calcDigest(HashID::MD5SHA1, message), Bytes{1}));
            EXPECT_FALSE(key.encodeToDerEncoded().empty());
            EXPECT_FALSE(test::dumpOf(key).empty());
        }
}

TEST(RsaPublicKey, HostileSizesAreRefused) {
    Bytes const huge(8 << 20, 0x7F);
    EXPECT_FALSE(RsaPublicKey().parseFromDerEncoded({}, rsaPublicKey(huge, {3})));
    EXPECT_FALSE(
        RsaPublicKey().parseFromDerEncoded({}, rsaPublicKey(concat({Bytes(8 << 20, 0), {0x10}}), {3})));
    RsaPublicKey key;
    ASSERT_TRUE(key.parseFromDerEncoded({}, rsaPublicKey(odd(16384), odd(64))));
    EXPECT_FALSE(key.verifyHashed(HashID::SHA256, abcDigest(), Bytes(2047, 0x5A)));
}

// --- Any shape of key ---

/// A random prime of exactly that length.
BigNum randomPrime(test::Random& random, unsigned bits) {
    for (;;) {
        BigNum candidate(asn1::blob(random.bytes((bits + 7) / 8)));
        candidate.modBy2Pow(bits);
        candidate.setBit(bits - 1, true);
        candidate.setBit(0, true);
        if (candidate > bn64(2) && isProbablePrime(candidate, getDefaultRng(), 20))
            return candidate;
    }
}

TEST(RsaPrivateKey, RaisesByPrimesOfAnyLength) {
    test::Random random(7);
    constexpr unsigned lengths[][2] = {{192, 192}, {193, 191}, {224, 160}, {160, 224}, {256, 128},
                                       {64, 320},  {320, 64},  {33, 352},  {31, 355},  {17, 400}};
    for (auto const& [pBits, qBits] : lengths) {
        RsaPrivateKey key;
        BigNum const one = bn64(1);
        do {
            key.p = randomPrime(random, pBits);
            key.q = randomPrime(random, qBits);
            key.n = key.p * key.q;
            key.e = bn64(pBits % 2 != 0 ? 65537 : 0x1234567890ABCDEF);
            key.d = invByMod(key.e, lcm(key.p - one, key.q - one));
        } while (gcd(key.e, lcm(key.p - one, key.q - one)) != one);
        div(key.d, key.p - one, nullptr, &key.exp1);
        div(key.d, key.q - one, nullptr, &key.exp2);
        key.coeff = invByMod(key.q, key.p);

        Bytes const digest = random.bytes(36);
        Bytes const expected = signBlock(key, block(key, digest));
        EXPECT_EQ(key.signHashed(HashID::MD5SHA1, digest), expected) << pBits << ' ' << qBits;
        EXPECT_TRUE(key.verifyHashed(HashID::MD5SHA1, digest, expected)) << pBits << ' ' << qBits;
        std::swap(key.exp1, key.exp2);
        EXPECT_EQ(key.signHashed(HashID::MD5SHA1, digest), expected) << "by d alone";
    }
}

TEST(RsaPublicKey, VerifiesWithFewAllocations) {
    RsaPrivateKey const key = openSslKey("rsa2048");
    Bytes const digest(32, 7), sig = key.signHashed(HashID::SHA256, digest);
    EXPECT_LE(test::allocationsOf([&] { EXPECT_TRUE(key.verifyHashed(HashID::SHA256, digest, sig)); }), 6u);
}

// --- Text ---

TEST(RsaPublicKey, DumpsItsNumbers) {
    RsaPrivateKey key;
    key.n = number("0123456789abcdef00");
    key.e = number("010001");
    EXPECT_EQ(test::dumpOf(*key.publicKey()),
              "[RSA-PUBLIC]\nmodulus: 123456789abcdef00\npublicExponent: 10001\n");
}

TEST(RsaPrivateKey, DumpsItsNumbers) {
    RsaPrivateKey key;
    BigNum* const members[] = {&key.n, &key.e, &key.d, &key.p, &key.q, &key.exp1, &key.exp2, &key.coeff};
    for (unsigned i = 0; i < 8; ++i)
        *members[i] = bn64(0xA0 + i);
    EXPECT_EQ(test::dumpOf(key), "[RSA-PRIVATE]\nmodulus: a0\npublicExponent: a1\nprivateExponent: a2\n"
                                 "prime1: a3\nprime2: a4\nexp1: a5\nexp2: a6\ncoeff: a7\n");
}

} // namespace TEST_FILE

#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::concat;
using test::element;
using test::hex;
using test::sequence;
using Bytes = std::vector<unsigned char>;

Bytes const rsa = hex("06092a864886f70d010101");
Bytes const ec = hex("06072a8648ce3d0201");
Bytes const ed25519 = hex("06032b6570");
Bytes const x25519 = hex("06032b656e");
Bytes const null = hex("0500");
Bytes const smallRsaKey = hex("3006 02010f 020103");

/// SubjectPublicKeyInfo of an algorithm, its parameters, and key bytes.
Bytes info(Bytes const& oid, Bytes const& params, Bytes const& key) {
    return sequence({sequence({oid, params}), element(0x03, concat({{0}, key}))});
}

TEST(Pkcs8PublicKey, TheAlgorithmSaysWhichKeyItIs) {
    struct {
        Bytes der;
        KeyType type;
    } const cases[] = {
        {info(rsa, null, smallRsaKey), KeyType::RSA},
        {info(rsa, {}, smallRsaKey), KeyType::RSA},
        {info(ed25519, {}, Bytes(32, 5)), KeyType::Ed25519},
        {info(x25519, {}, Bytes(32, 5)), KeyType::X25519},
    };
    for (auto const& c : cases) {
        std::unique_ptr<PublicKey> const key = parsePkcs8PublicKey(c.der);
        ASSERT_NE(key, nullptr) << test::toHex(c.der);
        EXPECT_EQ(key->keyType(), c.type);
    }
}

TEST(Pkcs8PublicKey, AnUnknownAlgorithmIsNeverTakenForRsa) {
    ASSERT_NE(parsePkcs8PublicKey(info(rsa, null, smallRsaKey)), nullptr);
    for (char const* oid : {"06032b6571", "06092a864886f70d01010a", "0600", "06092a864886f70d01010b",
                            "06082a864886f70d0101", "060a2a864886f70d01010100"})
        EXPECT_EQ(parsePkcs8PublicKey(info(hex(oid), null, smallRsaKey)), nullptr) << oid;
}

TEST(Pkcs8PublicKey, IsWrittenWithTheParametersOfItsAlgorithm) {
    RsaPrivateKey key;
    key.n = bn64(15);
    key.e = bn64(3);
    EXPECT_EQ(encodePkcs8PublicKey(key), info(rsa, null, smallRsaKey));
    Ed25519PublicKey signer;
    signer.pub = Bytes(32, 5);
    EXPECT_EQ(encodePkcs8PublicKey(signer), info(ed25519, {}, Bytes(32, 5)));
    X25519PublicKey agreement;
    agreement.pub = Bytes(32, 6);
    EXPECT_EQ(encodePkcs8PublicKey(agreement), info(x25519, {}, Bytes(32, 6)));
    EcPublicKey point;
    ECPoint base;
    BigNum p, n;
    getECParamsForP256(p, n, base);
    point.curve = Curve::p256;
    point.point = base;
    Bytes const der = info(ec, hex("06082a8648ce3d030107"), base.toBin(32, false));
    EXPECT_EQ(encodePkcs8PublicKey(point), der);
    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(der);
    ASSERT_NE(parsed, nullptr);
    EXPECT_TRUE(parsed->equals(point));
}

TEST(Pkcs8PublicKey, OfMembersThatMakeNoKeyIsEmpty) {
    EXPECT_TRUE(encodePkcs8PublicKey(EcPublicKey()).empty());
    EXPECT_TRUE(encodePkcs8PublicKey(EcPrivateKey()).empty());
    EXPECT_TRUE(encodePkcs8PublicKey(Ed25519PublicKey()).empty());
    EXPECT_TRUE(encodePkcs8PublicKey(X25519PrivateKey()).empty());
    EcPublicKey wide;
    wide.curve = Curve::p256;
    wide.point.x = bn64(1) << 256;
    EXPECT_TRUE(encodePkcs8PublicKey(wide).empty());
    EXPECT_TRUE(encodePemPkcs8PublicKey(wide).empty());
}

TEST(Pkcs8PublicKey, ParametersOfTheOthersAreRefused) {
    test::CapturedOutput const output;
    EXPECT_EQ(parsePkcs8PublicKey(info(ed25519, null, Bytes(32, 5))), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(x25519, null, Bytes(32, 5))), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(x25519, x25519, Bytes(32, 5))), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(rsa, rsa, smallRsaKey)), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(rsa, concat({null, null}), smallRsaKey)), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(rsa, hex("0501"), smallRsaKey)), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(ec, {}, Bytes(65, 4))), nullptr);
}

TEST(Pkcs8PublicKey, Curve25519KeysHave32Bytes) {
    for (Bytes const& oid : {ed25519, x25519})
        for (size_t size : {0u, 1u, 31u, 33u, 64u})
            EXPECT_EQ(parsePkcs8PublicKey(info(oid, {}, Bytes(size, 5))), nullptr) << size;
}

TEST(Pkcs8PublicKey, TheBitStringHoldsWholeBytes) {
    Bytes const algorithm = sequence({ed25519});
    ASSERT_NE(parsePkcs8PublicKey(sequence({algorithm, element(0x03, Bytes(33, 0))})), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(sequence({algorithm, element(0x03, {})})), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(sequence({algorithm, element(0x03, {0})})), nullptr);
    for (unsigned char const unused : {1, 7, 8, 0xFF}) {
        Bytes bits(33, 0);
        bits[0] = unused;
        EXPECT_EQ(parsePkcs8PublicKey(sequence({algorithm, element(0x03, bits)})), nullptr) << int(unused);
    }
    EXPECT_EQ(parsePkcs8PublicKey(sequence({algorithm, element(0x04, Bytes(33, 0))})), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(sequence({algorithm})), nullptr);
}

TEST(Pkcs8PublicKey, NothingStandsBehind) {
    Bytes const good = info(rsa, null, smallRsaKey);
    EXPECT_EQ(parsePkcs8PublicKey(concat({good, {0}})), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(concat({good, good})), nullptr);
    Bytes const bits = element(0x03, concat({{0}, smallRsaKey}));
    EXPECT_EQ(parsePkcs8PublicKey(sequence({sequence({rsa, null}), bits, null})), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(info(rsa, null, concat({smallRsaKey, {0}}))), nullptr);
}

TEST(Pkcs8PublicKey, BrokenOffAnywhereItIsRefused) {
    Bytes const good = info(rsa, null, smallRsaKey);
    for (size_t length = 0; length < good.size(); ++length)
        EXPECT_EQ(parsePkcs8PublicKey(asn1::blob(good.data(), length)), nullptr) << length;
}

TEST(Pkcs8PublicKey, AByteChangedAnywhereDoesNoHarm) {
    test::CapturedOutput const output;
    Bytes const good = info(ec, hex("06082a8648ce3d030107"),
                            hex("04"
                                "6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296"
                                "4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5"));
    ASSERT_NE(parsePkcs8PublicKey(good), nullptr);
    for (size_t at = 0; at < good.size(); ++at)
        for (unsigned char const change : {0x01, 0x80, 0xFF}) {
            Bytes bad = good;
            bad[at] = static_cast<unsigned char>(bad[at] ^ change);
            EXPECT_EQ(parsePkcs8PublicKey(bad), nullptr) << at;
        }
}

TEST(Pkcs8PublicKey, HostileNestingAndSizesAreRefused) {
    Bytes nested;
    for (unsigned i = 0; i < 100000; ++i)
        nested.insert(nested.end(), {0x30, 0x80});
    EXPECT_EQ(parsePkcs8PublicKey(nested), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(hex("3084ffffffff")), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey(hex("3084fffffffa0000")), nullptr);
    EXPECT_EQ(parsePkcs8PublicKey({}), nullptr);
}

} // namespace TEST_FILE

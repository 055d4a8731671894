#include "sealkit/curve25519.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

Bytes const nine{9};

TEST_CASES(X25519, ReproducesRfc7748, "ec/rfc7748.txt")(test::Case const& v) {
    Bytes const shared = x25519::kex(v.bytes("private"), v.bytes("public"));
    v.expectAgreement(shared == v.bytes("shared"));
    EXPECT_EQ(shared.empty(), v.differsOnPurpose());
}

TEST(X25519, ReproducesTheIterationOfRfc7748) {
    Bytes k(32);
    k[0] = 9;
    Bytes u = k;
    for (unsigned i = 1; i <= 100; ++i) {
        Bytes next = x25519::kex(k, u);
        u = std::move(k);
        k = std::move(next);
        if (i == 1) {
            ASSERT_EQ(test::toHex(k), "422c8e7a6227d7bca1350b3e2bb7279f7897b87bb6854b783c60e80311ae3079");
        }
    }
    // Beyond the first, section 5.2 gives the 1000th and 1000000th result: this is OpenSSL's 100th.
    EXPECT_EQ(test::toHex(k), "b1a5a73158904c020866c13939dd7e1aa26852ee1d2609c92e5a8f1debe2150a");
}

TEST(X25519, PublicKeyIsTheMultipleOfNine) {
    Bytes const priv = test::hex("77076d0a7318a57d3c16c17251b26645df4c2f87ebc0992ab177fba51db92c2a");
    EXPECT_EQ(test::toHex(x25519::get_public_key(priv)),
              "8520f0098930a754748b7ddcb43ef75a0dbf3a0d26381af4eba4a98eaa9b4e6a");
    EXPECT_EQ(x25519::get_public_key(priv), x25519::kex(priv, nine));
}

TEST(X25519, TwistCoordinatesGiveNothing) {
    Bytes const priv(32, 0x77);
    for (unsigned char u : {2, 3, 5}) {
        Bytes peer(32);
        peer[0] = u;
        Curve25519 const curve;
        bool const onCurve = !curve.isInfinity(curve.fromNum(bn64(u), 0));
        EXPECT_EQ(x25519::kex(priv, peer).empty(), !onCurve) << unsigned{u};
    }
    EXPECT_EQ(x25519::kex(priv, Bytes{2}), Bytes{});
}

TEST(X25519, CoordinatesOfSmallOrderGiveNothing) {
    // Every u of small order below 2^256, on the curve and on its twist: 0, 1, both of order 8, p − 1,
    // p and p + 1, with and without bit 255.
    char const* const lowOrder[] = {"0000000000000000000000000000000000000000000000000000000000000000",
                                    "0100000000000000000000000000000000000000000000000000000000000000",
                                    "e0eb7a7c3b41b8ae1656e3faf19fc46ada098deb9c32b1fd866205165f49b800",
                                    "5f9c95bca3508c24b1d0b1559c83ef5b04445cc4581c8e86d8224eddd09f1157",
                                    "ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
                                    "edffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f",
                                    "eeffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f"};
    for (char const* u : lowOrder) {
        Bytes peer = test::hex(u);
        EXPECT_EQ(x25519::kex(Bytes(32, 0x5a), peer), Bytes{}) << u;
        peer[31] |= 0x80;
        EXPECT_EQ(x25519::kex(Bytes(32, 0x5a), peer), Bytes{}) << u;
    }
    EXPECT_EQ(x25519::kex(Bytes(32, 0x5a), {}), Bytes{});
}

TEST(X25519, CoordinateIgnoresBit255) {
    EXPECT_EQ(x25519::coordToNum({}), BigNum());
    EXPECT_EQ(x25519::coordToNum(nine), bn64(9));
    Bytes bytes(32);
    bytes[31] = 0x80;
    EXPECT_EQ(x25519::coordToNum(bytes), BigNum());
    EXPECT_EQ(x25519::coordToNum(bytes).size(), 1U); // nothing but digits that count
    bytes[0] = 3;
    EXPECT_EQ(x25519::coordToNum(bytes), bn64(3));
    EXPECT_EQ(x25519::coordToNum(Bytes(32, 0xff)), (bn64(1) << 255) - bn64(1));
}

TEST(X25519, CoordinatesAbovePAreReduced) {
    Bytes const priv(32, 0x42);
    BigNum peer = Curve25519::getMod() + 9U;
    EXPECT_EQ(x25519::kex(priv, peer.bin(little_endian{})), x25519::get_public_key(priv));
}

TEST(X25519, ScalarIsClamped) {
    BigNum const k = x25519::privToNum(Bytes(32, 0xff));
    for (unsigned bit = 0; bit < 260; ++bit)
        EXPECT_EQ(k.getBit(bit), bit >= 3 && bit < 255) << bit;
    EXPECT_EQ(k.size(), 8U);
    EXPECT_EQ(x25519::privToNum(Bytes(32)), bn64(1) << 254);
    EXPECT_EQ(x25519::privToNum({}), bn64(1) << 254);
    EXPECT_EQ(x25519::privToNum(Bytes{0xff}), (bn64(1) << 254) + bn64(0xf8));
}

TEST(X25519, NumbersAreWrittenIn32Bytes) {
    Bytes one(32);
    one[0] = 1;
    EXPECT_EQ(x25519::numToBlob(bn64(1)), one);
    Bytes const top = x25519::numToBlob(bn64(1) << 255);
    ASSERT_EQ(top.size(), 32U);
    EXPECT_EQ(top[31], 0x80);
    EXPECT_EQ(x25519::numToBlob(bn64(0x0102)).size(), 32U);
    EXPECT_EQ(x25519::numToBlob(bn64(0x0102))[0], 0x02);
    EXPECT_EQ(x25519::numToBlob(bn64(0x0102))[1], 0x01);
}

TEST(X25519, ZeroIsWrittenAsNothing) { EXPECT_EQ(x25519::numToBlob(BigNum()), Bytes{}); }

TEST(X25519, LongerNumbersAreWrittenWhole) {
    Bytes const bytes = x25519::numToBlob(bn64(1) << 256);
    ASSERT_EQ(bytes.size(), 33U);
    EXPECT_EQ(bytes[32], 1);
    EXPECT_EQ(BigNum(asn1::blob(bytes), little_endian{}), bn64(1) << 256);
}

TEST(X25519, InputsOfAnyLengthAreHarmless) {
    Bytes const huge(1'000'000, 0xff);
    Bytes const priv(32, 0x42);
    BigNum const u = x25519::coordToNum(huge);
    EXPECT_EQ(u.bits(), 8'000'000U);
    EXPECT_FALSE(u.getBit(255));
    Bytes const shared = x25519::kex(priv, huge);
    EXPECT_TRUE(shared.empty() || shared.size() == 32);
    // A scalar beyond 256 bits counts modulo the order of the group, 8·L.
    BigNum const k = x25519::privToNum(huge);
    BigNum rest;
    div(k, Curve25519::getOrder() << 3, nullptr, &rest);
    Curve25519 const curve;
    EXPECT_EQ(x25519::get_public_key(huge),
              x25519::numToBlob(curve.toNum(curve.mul(rest, curve.getG()), nullptr)));
    for (size_t size : {0, 1, 31, 33, 64})
        EXPECT_EQ(x25519::get_public_key(Bytes(size, 0x11)).size(), 32U) << size;
}

} // namespace TEST_FILE

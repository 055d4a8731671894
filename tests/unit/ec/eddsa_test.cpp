#include "sealkit/curve25519.h"
#include "sealkit/hash.h"
#include "sealkit/wipe.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

Bytes const secret = test::hex("9d61b19deffd5a60ba844af492ec2cc44449c5697b326919703bac031cae7f60");
Bytes const message{'m', 'e', 's', 's', 'a', 'g', 'e'};

/// The same signature with another S.
Bytes withS(Bytes signature, BigNum const& S) {
    Bytes encoded = S.bin(little_endian{});
    encoded.resize(32);
    std::copy(encoded.begin(), encoded.end(), signature.begin() + 32);
    return signature;
}

BigNum readS(Bytes const& signature) {
    return BigNum(asn1::blob(signature.data() + 32, 32), little_endian{});
}

TEST_CASES(EdDsa, ReproducesRfc8032, "ec/rfc8032.txt")(test::Case const& v) {
    Bytes const key = v.bytes("secret");
    Bytes const pub = eddsa::get_public_key(key);
    Bytes const text = v.bytes("message");
    EXPECT_EQ(pub, v.bytes("public"));
    EXPECT_EQ(eddsa::sign(key, text), v.bytes("signature"));
    EXPECT_TRUE(eddsa::verify(pub, text, v.bytes("signature")));
}

TEST(EdDsa, SecretIsHashedAndClamped) {
    Bytes prefix(5, 0xee); // what it holds is replaced
    BigNum const s = eddsa::expand_secret(secret, &prefix);
    // SHA-512 of the secret, by sha512sum
    EXPECT_EQ(test::toHex(prefix), "9b4f0afe280b746a778684e75442502057b7473a03f08f96f5a38e9287e01f8f");
    EXPECT_EQ(s.str(), "4fe94d9006f020a5a3c080d96827fffd3c010ac0f12e7a42cb33284f86837c30");
    EXPECT_EQ(eddsa::expand_secret(secret, nullptr), s);
}

TEST(EdDsa, PublicKeyIsTheMultipleOfTheBasePoint) {
    BigNum const s = eddsa::expand_secret(secret, nullptr);
    EXPECT_EQ(eddsa::secret_to_public(s), eddsa::get_public_key(secret));
    Edwards25519 const curve;
    EXPECT_EQ(eddsa::secret_to_public(bn64(1)), curve.toBin(curve.getG()));
    EXPECT_EQ(eddsa::secret_to_public(Curve25519::getOrder() + 1U), curve.toBin(curve.getG()));
    Bytes neutral(32);
    neutral[0] = 1;
    EXPECT_EQ(eddsa::secret_to_public(BigNum()), neutral);
}

TEST(EdDsa, SignsAndVerifiesMessagesOfManyLengths) {
    Bytes const pub = eddsa::get_public_key(secret);
    for (size_t size : {0, 1, 31, 32, 63, 64, 127, 128, 1000, 100'000}) {
        Bytes const text(size, 0x61);
        Bytes const signature = eddsa::sign(secret, text);
        ASSERT_EQ(signature.size(), 64U);
        EXPECT_TRUE(eddsa::verify(pub, text, signature)) << size;
        EXPECT_LT(readS(signature), Curve25519::getOrder());
    }
}

TEST(EdDsa, ChangedBitsAreNoticed) {
    Bytes const pub = eddsa::get_public_key(secret);
    Bytes const signature = eddsa::sign(secret, message);
    ASSERT_TRUE(eddsa::verify(pub, message, signature));
    for (unsigned bit = 0; bit < 512; bit += 19) {
        Bytes changed = signature;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
        EXPECT_FALSE(eddsa::verify(pub, message, changed)) << bit;
    }
    for (unsigned bit = 0; bit < 256; bit += 37) {
        Bytes changed = pub;
        changed[bit / 8] ^= static_cast<unsigned char>(1U << bit % 8);
        EXPECT_FALSE(eddsa::verify(changed, message, signature)) << bit;
    }
    Bytes changed = message;
    changed[0] ^= 1;
    EXPECT_FALSE(eddsa::verify(pub, changed, signature));
    EXPECT_FALSE(eddsa::verify(pub, {}, signature));
}

TEST(EdDsa, OtherLengthsAreRefused) {
    Bytes const pub = eddsa::get_public_key(secret);
    Bytes const signature = eddsa::sign(secret, message);
    for (size_t size : {0, 1, 32, 63, 65, 128, 1'000'000}) {
        Bytes changed = signature;
        changed.resize(size);
        EXPECT_FALSE(eddsa::verify(pub, message, changed)) << size;
    }
    for (size_t size : {0, 1, 31, 33, 64, 1'000'000}) {
        Bytes changed = pub;
        changed.resize(size);
        EXPECT_FALSE(eddsa::verify(changed, message, signature)) << size;
    }
}

TEST(EdDsa, SNotBelowTheOrderIsRefused) {
    Bytes const pub = eddsa::get_public_key(secret);
    Bytes const signature = eddsa::sign(secret, message);
    BigNum const S = readS(signature);
    EXPECT_TRUE(eddsa::verify(pub, message, withS(signature, S)));
    for (unsigned multiple = 1; multiple < 14; ++multiple)
        EXPECT_FALSE(eddsa::verify(pub, message, withS(signature, S + Curve25519::getOrder() * multiple)));
    EXPECT_FALSE(eddsa::verify(pub, message, withS(signature, Curve25519::getOrder())));
    EXPECT_FALSE(eddsa::verify(pub, message, withS(signature, (bn64(1) << 256) - bn64(1))));
}

TEST(EdDsa, PointsThatDoNotDecodeAreRefused) {
    Bytes const pub = eddsa::get_public_key(secret);
    Bytes const signature = eddsa::sign(secret, message);
    Edwards25519 const curve;
    Bytes bad(32);
    bad[0] = 2; // no x belongs to this y
    ASSERT_TRUE(curve.isInfinity(curve.fromBin(bad)));
    EXPECT_FALSE(eddsa::verify(bad, message, signature));
    // Nor does a key that is no point count as the neutral one, under which R = S·G is enough.
    Bytes forged = eddsa::secret_to_public(bn64(5));
    forged.resize(64);
    EXPECT_FALSE(eddsa::verify(bad, message, withS(forged, bn64(5))));
    Bytes changed = signature;
    std::copy(bad.begin(), bad.end(), changed.begin());
    EXPECT_FALSE(eddsa::verify(pub, message, changed));
}

TEST(EdDsa, NeutralElementIsRefused) {
    Bytes neutral(32);
    neutral[0] = 1;
    Bytes signature(64);
    signature[0] = 1; // R neutral and S = 0: right for every message under a neutral key
    EXPECT_FALSE(eddsa::verify(neutral, message, signature));
    Bytes forged = eddsa::secret_to_public(bn64(5));
    forged.resize(64);
    EXPECT_FALSE(eddsa::verify(neutral, message, withS(forged, bn64(5))));
    // … and, for one message in two, under a key of order two.
    Bytes orderTwo(32, 0xff);
    orderTwo[0] = 0xec;
    orderTwo[31] = 0x7f;
    for (unsigned char i = 0; i < 16; ++i)
        EXPECT_FALSE(eddsa::verify(orderTwo, Bytes{i}, signature));
}

BigNum hashToScalar(std::initializer_list<Bytes> parts) {
    auto const hash = createHash(HashID::SHA512);
    for (Bytes const& part : parts)
        hash->update(part.data(), static_cast<unsigned>(part.size()));
    std::string const digest = hash->digest();
    BigNum k(asn1::blob(digest), little_endian{});
    div(k, Curve25519::getOrder(), nullptr, &k);
    return k;
}

TEST(EdDsa, VerifiesWithoutTheCofactor) {
    // Signatures by the scalar of A under the key A + T, with T of order eight. Multiplied by the
    // cofactor the equation holds for every message; as it stands, only where k·T vanishes.
    Edwards25519 const curve;
    RedNum scratch[WCurve::addScratch];
    BigNum const s = eddsa::expand_secret(secret, nullptr);
    BigNum const r = bn64(123456789);
    WCurve::Point key = curve.mul(s, curve.getG());
    curve.add(key,
              curve.fromBin(test::hex("26e8958fc2b227b045c3f489f2ef98f0d5dfac05d3c63339b13802886d53fc05")),
              scratch);
    Bytes const pub = curve.toBin(std::move(key));
    Bytes const R = eddsa::secret_to_public(r);
    unsigned accepted = 0;
    for (unsigned char i = 0; i < 32; ++i) {
        BigNum const k = hashToScalar({R, pub, {i}});
        BigNum S = r + k * s;
        div(S, Curve25519::getOrder(), nullptr, &S);
        Bytes signature = R;
        signature.resize(64);
        bool const verified = eddsa::verify(pub, Bytes{i}, withS(signature, S));
        EXPECT_EQ(verified, k.digits[0] % 8 == 0) << k.str();
        accepted += verified;
    }
    EXPECT_GT(accepted, 0U);
}

TEST(EdDsa, KeysAndCommitmentsOfSmallOrderFollowTheEquation) {
    // With S = 0 and both points of order two, −R = k·A where k is odd.
    Bytes orderTwo(32, 0xff);
    orderTwo[0] = 0xec;
    orderTwo[31] = 0x7f;
    Bytes signature = orderTwo;
    signature.resize(64);
    for (unsigned char i = 0; i < 16; ++i) {
        BigNum const k = hashToScalar({orderTwo, orderTwo, {i}});
        EXPECT_EQ(eddsa::verify(orderTwo, Bytes{i}, signature), k.getBit(0)) << k.str();
        // The equation holds for S = L as well.
        EXPECT_FALSE(eddsa::verify(orderTwo, Bytes{i}, withS(signature, Curve25519::getOrder())));
    }
}

std::vector<Bytes> wipedBuffers;

void* recordAndWipe(void* data, int value, size_t size) {
    auto const* bytes = static_cast<unsigned char const*>(data);
    wipedBuffers.emplace_back(bytes, bytes + size);
    return std::memset(data, value, size);
}

TEST(EdDsa, WipesWhatItDerivesFromTheSecret) {
    auto const wiped = [](Bytes const& buffer) {
        return std::find(wipedBuffers.begin(), wipedBuffers.end(), buffer) != wipedBuffers.end();
    };
    Bytes prefix;
    Bytes halves = eddsa::expand_secret(secret, &prefix).bin(little_endian{}); // clamped
    halves.insert(halves.end(), prefix.begin(), prefix.end());
    ASSERT_EQ(halves.size(), 64U);
    auto const hash = createHash(HashID::SHA512); // of prefix and message: what blinds the key
    hash->update(prefix.data(), 32);
    hash->update(message.data(), static_cast<unsigned>(message.size()));
    Bytes nonce(64);
    hash->digest(nonce.data());

    auto* const before = secureMemset;
    secureMemset = recordAndWipe;
    eddsa::sign(secret, message);
    secureMemset = before;
    EXPECT_TRUE(wiped(halves));
    EXPECT_TRUE(wiped(prefix));
    EXPECT_TRUE(wiped(nonce));
    wipedBuffers.clear();
}

TEST(EdDsa, SecretsOfAnyLengthSign) {
    for (size_t size : {0, 1, 31, 33, 1000}) {
        Bytes const key(size, 0x33);
        EXPECT_TRUE(eddsa::verify(eddsa::get_public_key(key), message, eddsa::sign(key, message))) << size;
    }
}

} // namespace TEST_FILE

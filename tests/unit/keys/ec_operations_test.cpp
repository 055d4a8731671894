// Making EC keys, signing and agreeing with them.
#include "sealkit/asn1.h"
#include "sealkit/der.h"
#include "sealkit/keys.h"

#include "support/kernel_bytes.h"
#include "support/rngs.h"
#include "support/slow.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::number;
using test::ScriptedRng;
using test::SeededRng;
using Bytes = std::vector<unsigned char>;

constexpr Curve curves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};
constexpr HashID hashes[] = {HashID::MD5SHA1, HashID::MD4,    HashID::MD5,   HashID::SHA1,
                             HashID::SHA256,  HashID::SHA384, HashID::SHA512};

EcPrivateKey newKey(Curve curve, unsigned seed) {
    EcPrivateKey key;
    key.curve = curve;
    SeededRng rng(seed);
    EXPECT_TRUE(key.generatePrivKey(rng));
    return key;
}

Bytes digestOf(HashID hash) { return calcDigest(hash, asn1::blob("abc")); }

Bytes signatureOf(BigNum const& r, BigNum const& s) {
    DerEncoder encoder;
    encoder.begin(0x30).addInteger(r).addInteger(s).end();
    return encoder.take();
}

// --- Signatures ---

TEST_CASES(EcPrivateKey, SignsAsRfc6979, "keys/rfc6979.txt")(test::Case const& c) {
    EcPrivateKey key;
    key.curve = static_cast<Curve>(c.number("curve"));
    key.secret = number(c, "secret");
    HashID const hash = static_cast<HashID>(c.number("hash"));
    Bytes const digest = calcDigest(hash, c.bytes("message"));
    Bytes const expected = signatureOf(number(c, "r"), number(c, "s"));
    ECPoint const point = {number(c, "x"), number(c, "y")};
    if (hash == HashID::SHA256) {
        EXPECT_EQ(key.signHashed(hash, digest), expected) << c.id() << " without the point";
    }
    key.point = point;
    EXPECT_EQ(key.signHashed(hash, digest), expected) << c.id();
    EXPECT_TRUE(key.verifyHashed(hash, digest, expected)) << c.id();
}

TEST(EcPrivateKey, SignsDigestsOfEveryHashOnEveryCurve) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = newKey(curve, 1);
        for (HashID const hash : hashes) {
            Bytes const digest = digestOf(hash), sig = key.signHashed(hash, digest);
            EXPECT_TRUE(key.verifyHashed(hash, digest, sig)) << getCurveName(curve) << unsigned(hash);
            EXPECT_TRUE(key.publicKey()->equals(key));
            Bytes changed = digest;
            changed[0] ^= 1;
            EXPECT_FALSE(key.verifyHashed(hash, changed, sig));
        }
    }
}

TEST(EcPrivateKey, SignsExtremeDigestsAndSecrets) {
    // A digest of ones is above the order of P-256, one of zeros is the number 0.
    for (Curve const curve : curves) {
        EcPrivateKey key;
        key.curve = curve;
        BigNum const order = getOrderForECCurve(curve);
        BigNum p, n;
        ECPoint base;
        getECParams(curve, p, n, base);
        WCurve const group(p, getAForECCurve(curve), new MontgomeryReducer(p));
        for (BigNum const& secret : {bn64(1), order - bn64(1)}) {
            key.secret = secret;
            key.point = group.toEC(group.mul(secret, group.fromEC(base)));
            for (unsigned char byte : {0x00, 0xFF}) {
                Bytes const longer(64, byte), shorter(20, byte);
                EXPECT_TRUE(key.verifyHashed(HashID::SHA512, longer, key.signHashed(HashID::SHA512, longer)));
                EXPECT_TRUE(key.verifyHashed(HashID::SHA1, shorter, key.signHashed(HashID::SHA1, shorter)));
            }
        }
    }
}

TEST(EcPrivateKey, SignsNothingButADigestOfTheHash) {
    EcPrivateKey const key = newKey(Curve::p256, 1);
    EXPECT_FALSE(key.signHashed(HashID::SHA256, Bytes(32)).empty());
    for (size_t size : {0, 1, 20, 31, 33, 64, 100'000})
        EXPECT_TRUE(key.signHashed(HashID::SHA256, Bytes(size)).empty()) << size;
    for (HashID const id : {HashID::none, static_cast<HashID>(8), static_cast<HashID>(0xFFFFFFFF)}) {
        EXPECT_TRUE(key.signHashed(id, {}).empty());
        EXPECT_TRUE(key.signHashed(id, Bytes(32)).empty());
    }
}

TEST(EcPrivateKey, SecretsOutOfRangeSignNothingAndAgreeOnNothing) {
    for (Curve const curve : curves) {
        EcPrivateKey key = newKey(curve, 1);
        Bytes const peer = newKey(curve, 2).EcPublicKey::encodeToDerEncoded();
        ASSERT_FALSE(key.exchangeKeys(peer).empty());
        BigNum const order = getOrderForECCurve(curve);
        for (BigNum const& secret : {BigNum(), order, order + bn64(1), order << 1, bn64(1) << 100'000}) {
            key.secret = secret;
            EXPECT_TRUE(key.signHashed(HashID::SHA256, digestOf(HashID::SHA256)).empty());
            EXPECT_TRUE(key.exchangeKeys(peer).empty());
        }
    }
}

TEST(EcPrivateKey, WithoutACurveNothingIsDone) {
    EcPrivateKey const whole = newKey(Curve::p256, 1);
    for (unsigned curve : {0U, 6U, 0xFFFFFFFFU}) {
        EcPrivateKey key = whole;
        key.curve = static_cast<Curve>(curve);
        SeededRng rng(1);
        EXPECT_FALSE(key.generatePrivKey(rng));
        EXPECT_EQ(rng.draws(), 0u);
        EXPECT_EQ(key.secret, whole.secret);
        EXPECT_EQ(key.point, whole.point);
        EXPECT_TRUE(key.signHashed(HashID::SHA256, digestOf(HashID::SHA256)).empty());
        EXPECT_TRUE(key.exchangeKeys(whole.EcPublicKey::encodeToDerEncoded()).empty());
    }
}

TEST(EcPrivateKey, SigningIgnoresThePoint) {
    EcPrivateKey const good = newKey(Curve::p256, 1);
    Bytes const digest = digestOf(HashID::SHA256);
    Bytes const signature = good.signHashed(HashID::SHA256, digest);
    for (ECPoint const& point : {ECPoint(), newKey(Curve::p256, 2).point, ECPoint{good.point.x, bn64(1)},
                                 ECPoint{bn64(1) << 10'000, good.point.y}}) {
        EcPrivateKey key = good;
        key.point = point;
        EXPECT_EQ(key.signHashed(HashID::SHA256, digest), signature);
    }
}

// --- Generation ---

TEST(EcPrivateKey, MakesKeysOnEveryCurve) {
    for (Curve const curve : curves) {
        EcPrivateKey const first = newKey(curve, 1), second = newKey(curve, 2);
        EXPECT_EQ(newKey(curve, 1).secret, first.secret);
        EXPECT_NE(first.secret, second.secret);
        for (EcPrivateKey const& key : {first, second}) {
            EXPECT_GT(key.secret, BigNum());
            EXPECT_LT(key.secret, getOrderForECCurve(curve));
            // Reading compares the point with the secret's own.
            EcPrivateKey read;
            ASSERT_TRUE(read.parseFromDerEncoded(key.algorithmParams(), key.encodeToDerEncoded()));
            EXPECT_EQ(read.secret, key.secret);
            EXPECT_TRUE(read.equals(key));
        }
        EcPrivateKey fresh;
        fresh.curve = curve;
        EXPECT_TRUE(fresh.generatePrivKey(getDefaultRng()));
        EXPECT_NE(fresh.secret, first.secret);
    }
}

TEST(EcPrivateKey, MakesEveryScalarAndNoOther) {
    for (Curve const curve : {Curve::p192, Curve::p256, Curve::p384}) {
        BigNum const order = getOrderForECCurve(curve);
        unsigned const width = (order.bits() + 7) / 8;
        BigNum p, n;
        ECPoint base;
        getECParams(curve, p, n, base);
        EcPrivateKey key;
        key.curve = curve;
        ScriptedRng least({Bytes(width, 0), bn64(1).bin(width)});
        ASSERT_TRUE(key.generatePrivKey(least));
        EXPECT_EQ(key.secret, bn64(1));
        EXPECT_EQ(key.point, base);
        ScriptedRng greatest({Bytes(width, 0xFF), order.bin(width), (order - bn64(1)).bin(width)});
        ASSERT_TRUE(key.generatePrivKey(greatest));
        EXPECT_EQ(key.secret, order - bn64(1));
        EXPECT_EQ(key.point.x, base.x);
        EXPECT_EQ(key.point.y, p - base.y);
    }
}

/// The public point of every kind of scalar, which comes out of a table, is what the general multiplication
/// gives.
TEST(EcPrivateKey, PointsAreTheMultiplesOfTheBasePoint) {
    for (Curve const curve : curves) {
        BigNum p, order;
        ECPoint base;
        getECParams(curve, p, order, base);
        WCurve const group(p, getAForECCurve(curve), new MontgomeryReducer(p));
        std::vector<BigNum> scalars;
        for (unsigned i = 1; i <= test::lessWhenSlow(40U, 8U); ++i) {
            scalars.push_back(bn64(i));
            scalars.push_back(order - bn64(i));
        }
        for (unsigned i = 6; i < order.bits() - 1; i += test::lessWhenSlow(3U, 29U)) {
            scalars.push_back(bn64(1) << i);
            scalars.push_back((bn64(1) << (i + 1)) - bn64(1));
        }
        scalars.push_back(order >> 1);
        scalars.push_back((order >> 1) + 1u);
        for (unsigned seed = 1; seed <= test::lessWhenSlow(20U, 4U); ++seed)
            scalars.push_back(newKey(curve, seed).secret);
        EcPrivateKey key;
        key.curve = curve;
        for (BigNum const& scalar : scalars) {
            ScriptedRng rng({scalar.bin((order.bits() + 7) / 8)});
            ASSERT_TRUE(key.generatePrivKey(rng));
            ASSERT_EQ(key.secret, scalar);
            ASSERT_EQ(key.point, group.toEC(group.mul(scalar, group.fromEC(base))))
                << getCurveName(curve) << ' ' << scalar.str();
        }
    }
}

TEST(EcPrivateKey, AGeneratorThatFailsMakesNoKey) {
    EcPrivateKey const before = newKey(Curve::p256, 1);
    EcPrivateKey key = before;
    ScriptedRng none({}), late({Bytes(32, 0)});
    EXPECT_FALSE(key.generatePrivKey(none));
    EXPECT_FALSE(key.generatePrivKey(late));
    test::StuckRng zeros(0x00), ones(0xFF);
    EXPECT_FALSE(key.generatePrivKey(zeros));
    EXPECT_FALSE(key.generatePrivKey(ones));
    EXPECT_EQ(key.secret, before.secret);
    EXPECT_EQ(key.point, before.point);
}

// --- Agreement ---

/// What coordinates are multiplied by is never zero, and no source of zeros keeps its caller for ever.
TEST(EcPrivateKey, AgreementDrawsANumberThatIsNotZeroSomeTimesAtMost) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = newKey(curve, 1);
        Bytes const peer = newKey(curve, 2).EcPublicKey::encodeToDerEncoded();
        Bytes const agreed = key.exchangeKeys(peer);
        size_t size = 0;
        {
            test::KernelBytes const zeros({0});
            EXPECT_TRUE(key.exchangeKeys(peer).empty());
            ASSERT_EQ(zeros.asked().size(), 128U);
            size = zeros.asked()[0];
        }
        Bytes zerosFirst(2 * size, 0);
        zerosFirst[size] = 1;
        test::KernelBytes const kernel(zerosFirst);
        EXPECT_EQ(key.exchangeKeys(peer), agreed);
        EXPECT_EQ(kernel.asked().size(), 2U);
    }
}

TEST(EcPrivateKey, BothSidesAgree) {
    for (Curve const curve : curves) {
        EcPrivateKey const a = newKey(curve, 1), b = newKey(curve, 2);
        unsigned const width = getModLen(curve);
        Bytes const shared = a.exchangeKeys(b.point.toBin(width, false));
        EXPECT_EQ(shared.size(), width);
        EXPECT_EQ(b.exchangeKeys(a.point.toBin(width, false)), shared);
        Bytes const compressed = a.exchangeKeys(b.point.toBin(width, true));
        EXPECT_EQ(compressed, curve == Curve::p224 ? Bytes() : shared);
        // The point of the key itself plays no part.
        EcPrivateKey bare = a;
        bare.point = {};
        EXPECT_EQ(bare.exchangeKeys(b.point.toBin(width, false)), shared);
    }
}

TEST(EcPrivateKey, SharedSecretsKeepTheWidthOfTheField) {
    // secret * G has a short x about once in 256 times.
    EcPrivateKey key;
    key.curve = Curve::p256;
    BigNum p, n;
    ECPoint base;
    getECParams(Curve::p256, p, n, base);
    Bytes const G = base.toBin(32, false);
    unsigned narrow = 0;
    for (unsigned i = 1; narrow == 0 && i < 5000; ++i) {
        key.secret = bn64(i);
        Bytes const shared = key.exchangeKeys(G);
        ASSERT_EQ(shared.size(), 32u);
        narrow += shared[0] == 0;
    }
    EXPECT_EQ(narrow, 1u);
}

TEST(EcPrivateKey, BadPointsGiveNothing) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = newKey(curve, 1);
        ECPoint const peer = newKey(curve, 2).point;
        unsigned const width = getModLen(curve);
        Bytes const good = peer.toBin(width, false);
        ASSERT_FALSE(key.exchangeKeys(good).empty());
        for (size_t size = 0; size <= good.size() + 2; ++size) {
            Bytes other = good;
            other.resize(size);
            if (size != good.size()) {
                EXPECT_TRUE(key.exchangeKeys(other).empty()) << size;
            }
        }
        EXPECT_TRUE(key.exchangeKeys(Bytes{0x00}).empty()); // infinity (SEC 1, section 2.3.3)
        EXPECT_TRUE(key.exchangeKeys(Bytes(good.size(), 0x00)).empty());
        Bytes zero(good.size(), 0x00);
        zero[0] = 0x04;
        EXPECT_TRUE(key.exchangeKeys(zero).empty());
        for (unsigned char first : {0x00, 0x02, 0x03, 0x05, 0x06, 0x07, 0xFF}) {
            Bytes other = good;
            other[0] = first;
            EXPECT_TRUE(key.exchangeKeys(other).empty()) << unsigned{first};
        }
        for (size_t at = 1; at < good.size(); at += 7) {
            Bytes other = good;
            other[at] ^= 1;
            EXPECT_TRUE(key.exchangeKeys(other).empty()) << at;
        }
        EXPECT_TRUE(key.exchangeKeys(Bytes(1'000'000, 0x04)).empty());
        for (Curve const otherCurve : curves)
            if (otherCurve != curve) {
                EXPECT_TRUE(
                    key.exchangeKeys(newKey(otherCurve, 2).EcPublicKey::encodeToDerEncoded()).empty());
            }
    }
}

} // namespace TEST_FILE

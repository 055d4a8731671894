#include "sealkit/keys.h"
#include "sealkit/pkcs8.h"
#include "sealkit/wipe.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace TEST_FILE {

using test::hex;
using Bytes = std::vector<unsigned char>;

/// Gives 0, 1, 2 and so on, or fails.
struct CountingRng : Rng {
    bool works = true;
    mutable unsigned calls = 0;

    bool fill(unsigned char* buf, unsigned len) const override {
        ++calls;
        for (unsigned i = 0; i < len; ++i)
            buf[i] = static_cast<unsigned char>(i);
        return works;
    }
    bool fillInsecure(unsigned char*, unsigned) const override {
        ADD_FAILURE() << "a key was drawn from the insecure source";
        return false;
    }
};

TEST_CASES(Ed25519PrivateKey, SignsAsOpenSslDoes, "keys/openssl-ed25519.txt")(test::Case const& c) {
    Ed25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(c.bytes("secret")));
    EXPECT_EQ(key.secret, c.bytes("secret"));
    EXPECT_EQ(key.pub, c.bytes("pub"));
    Bytes const message = c.bytes("message");
    EXPECT_EQ(key.sign(message), c.bytes("sig"));
    Bytes sig = c.bytes("sig");
    EXPECT_TRUE(key.verify(message, sig));
    EXPECT_FALSE(key.verify(asn1::blob(message.data(), message.size() - 1), sig));
    EXPECT_FALSE(key.verify(message, asn1::blob(sig.data(), 63)));
    sig[5] ^= 1;
    EXPECT_FALSE(key.verify(message, sig));

    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(c.bytes("spki"));
    ASSERT_NE(parsed, nullptr);
    EXPECT_EQ(parsed->keyType(), KeyType::Ed25519);
    EXPECT_TRUE(parsed->equals(key));
    EXPECT_EQ(encodePkcs8PublicKey(*parsed), c.bytes("spki"));
    EXPECT_EQ(encodePkcs8PublicKey(key), c.bytes("spki"));
    c.ignore({"u", "scalar"});
}

TEST_CASES(Ed25519PrivateKey, BecomesAKeyForKeyAgreement, "keys/openssl-ed25519.txt")(test::Case const& c) {
    Ed25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(c.bytes("secret")));
    X25519PrivateKey const agreement = key.toX25519PrivateKey();
    EXPECT_EQ(agreement.secret, c.bytes("scalar"));
    EXPECT_EQ(agreement.pub, c.bytes("u"));
    EXPECT_EQ(key.toX25519PublicKey().pub, c.bytes("u"));
    c.ignore({"pub", "spki", "message", "sig"});
}

TEST(Ed25519PublicKey, NoPointBecomesNoKeyForKeyAgreement) {
    Ed25519PublicKey key;
    EXPECT_TRUE(key.toX25519PublicKey().pub.empty());
    key.pub = Bytes(32, 0xFF); // y is not below p
    EXPECT_TRUE(key.toX25519PublicKey().pub.empty());
    key.pub = Bytes(32, 0);
    key.pub[0] = 2; // no x belongs to y = 2
    EXPECT_TRUE(key.toX25519PublicKey().pub.empty());
    key.pub[0] = 1; // the neutral element
    EXPECT_TRUE(key.toX25519PublicKey().pub.empty());
    // y = -1, of order 2: u = 0
    key.pub = hex("ecffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff7f");
    EXPECT_TRUE(key.toX25519PublicKey().pub.empty());
    // y = 0, of order 4: u = 1
    key.pub = Bytes(32, 0);
    Bytes one(32, 0);
    one[0] = 1;
    EXPECT_EQ(key.toX25519PublicKey().pub, one);
}

TEST_CASES(X25519PrivateKey, AgreesAsOpenSslDoes, "keys/openssl-x25519.txt")(test::Case const& c) {
    X25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(c.bytes("secret")));
    EXPECT_EQ(key.secret, c.bytes("secret"));
    EXPECT_EQ(key.pub, c.bytes("pub"));
    EXPECT_EQ(key.exchangeKeys(c.bytes("peer")), c.bytes("shared"));

    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(c.bytes("spki"));
    ASSERT_NE(parsed, nullptr);
    EXPECT_EQ(parsed->keyType(), KeyType::X25519);
    EXPECT_TRUE(parsed->equals(key));
    EXPECT_EQ(encodePkcs8PublicKey(key), c.bytes("spki"));
}

TEST(X25519PrivateKey, PeersWithoutAPointOrOfSmallOrderGiveNothing) {
    X25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(Bytes(32, 0x42)));
    EXPECT_TRUE(key.exchangeKeys(Bytes(32, 0)).empty());
    Bytes peer(32, 0);
    peer[0] = 1;
    EXPECT_TRUE(key.exchangeKeys(peer).empty());
    peer[0] = 2; // on the twist
    EXPECT_TRUE(key.exchangeKeys(peer).empty());
    peer[0] = 9;
    EXPECT_EQ(key.exchangeKeys(peer), key.pub);
}

struct Ed25519 {
    using Public = Ed25519PublicKey;
    using Private = Ed25519PrivateKey;
};

struct X25519 {
    using Public = X25519PublicKey;
    using Private = X25519PrivateKey;
};

template <typename Algorithm>
struct BothAlgorithms : testing::Test {};
using Algorithms = testing::Types<Ed25519, X25519>;
TYPED_TEST_SUITE(BothAlgorithms, Algorithms);

TYPED_TEST(BothAlgorithms, PrivateKeysAreMadeOf32BytesOfTheGenerator) {
    CountingRng rng;
    typename TypeParam::Private key;
    ASSERT_TRUE(key.generatePrivKey(rng));
    EXPECT_EQ(rng.calls, 1u);
    EXPECT_EQ(test::toHex(key.secret), "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    typename TypeParam::Private same;
    ASSERT_TRUE(same.initPrivate(key.secret));
    EXPECT_EQ(key.pub, same.pub);
    EXPECT_EQ(key.pub.size(), 32u);
    ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
    EXPECT_NE(key.secret, same.secret);
    EXPECT_FALSE(key.equals(same));
}

TYPED_TEST(BothAlgorithms, AFailingGeneratorMakesNoKey) {
    CountingRng rng;
    typename TypeParam::Private key;
    rng.works = false;
    EXPECT_FALSE(key.generatePrivKey(rng));
    EXPECT_TRUE(key.pub.empty());
}

TYPED_TEST(BothAlgorithms, PrivateKeysTakeExactly32Bytes) {
    typename TypeParam::Private key;
    ASSERT_TRUE(key.initPrivate(Bytes(32, 7)));
    typename TypeParam::Private const before = key;
    for (size_t size : {0u, 1u, 31u, 33u, 64u}) {
        EXPECT_FALSE(key.initPrivate(Bytes(size, 9))) << size;
        EXPECT_EQ(key.secret, before.secret);
        EXPECT_EQ(key.pub, before.pub);
    }
}

TEST(Curve25519Keys, AnEmptyPrivateKeyDoesNothing) {
    Ed25519PrivateKey const signer;
    EXPECT_TRUE(signer.sign(Bytes{1, 2, 3}).empty());
    EXPECT_FALSE(signer.verify(Bytes{1, 2, 3}, Bytes(64, 0)));
    EXPECT_TRUE(signer.toX25519PrivateKey().secret.empty());
    EXPECT_TRUE(signer.encodeToDerEncoded().empty());
    X25519PrivateKey const agreement;
    Bytes base(32, 0);
    base[0] = 9;
    EXPECT_TRUE(agreement.exchangeKeys(base).empty());
    X25519PrivateKey tooLong;
    tooLong.secret = Bytes(33, 1);
    EXPECT_TRUE(tooLong.exchangeKeys(base).empty());
}

TYPED_TEST(BothAlgorithms, PublicKeysAreTheir32Bytes) {
    typename TypeParam::Public key;
    Bytes const bytes(32, 0x5A);
    ASSERT_TRUE(key.parseFromDerEncoded({}, bytes));
    EXPECT_EQ(key.pub, bytes);
    EXPECT_EQ(key.encodeToDerEncoded(), bytes);
    EXPECT_TRUE(key.algorithmParams().empty());
    for (size_t size : {0u, 31u, 33u, 34u})
        EXPECT_FALSE(key.parseFromDerEncoded({}, Bytes(size, 1))) << size;
    EXPECT_FALSE(key.parseFromDerEncoded(hex("0500"), Bytes(32, 1)));
    EXPECT_EQ(key.pub, bytes);
}

TEST(Curve25519Keys, DumpTheirBytesAsOneNumber) {
    Ed25519PrivateKey signer;
    signer.pub = hex("00ab00000000000000000000000000000000000000000000000000000000cdef");
    signer.secret = hex("0000000000000000000000000000000000000000000000000000000000000102");
    std::string const pub = "ab00000000000000000000000000000000000000000000000000000000cdef";
    EXPECT_EQ(test::dumpOf(*signer.publicKey()), "[Ed25519-PUBLIC]\npub: " + pub + "\n");
    EXPECT_EQ(test::dumpOf(signer), "[Ed25519-PRIVATE]\npub: " + pub + "\nsecret: 102\n");
    X25519PrivateKey agreement;
    agreement.pub = signer.pub;
    agreement.secret = signer.secret;
    EXPECT_EQ(test::dumpOf(*agreement.publicKey()), "[X25519-PUBLIC]\npub: " + pub + "\n");
    EXPECT_EQ(test::dumpOf(agreement), "[X25519-PRIVATE]\npub: " + pub + "\nsecret: 102\n");
}

/// Records what is wiped while it lives.
class WipeRecorder {
public:
    WipeRecorder() : original(secureMemset) {
        wiped.clear();
        secureMemset = record;
    }
    ~WipeRecorder() { secureMemset = original; }
    WipeRecorder(WipeRecorder const&) = delete;

    bool saw(void const* data, size_t size) const {
        return std::any_of(wiped.begin(), wiped.end(),
                           [&](auto const& w) { return w.first == data && w.second >= size; });
    }

private:
    static void* record(void* data, int value, size_t size) {
        if (value == 0)
            wiped.emplace_back(data, size);
        return std::memset(data, value, size);
    }

    static inline std::vector<std::pair<void const*, size_t>> wiped;
    void* (*original)(void*, int, size_t);
};

TYPED_TEST(BothAlgorithms, PrivateKeysWipeTheirSecretWhenTheyEnd) {
    WipeRecorder const recorder;
    void const* secret;
    {
        typename TypeParam::Private key;
        ASSERT_TRUE(key.initPrivate(Bytes(32, 7)));
        secret = key.secret.data();
        EXPECT_FALSE(recorder.saw(secret, 32));
    }
    EXPECT_TRUE(recorder.saw(secret, 32));
}

TYPED_TEST(BothAlgorithms, PrivateKeysWipeTheSecretTheyReplace) {
    typename TypeParam::Private key;
    ASSERT_TRUE(key.initPrivate(Bytes(32, 7)));
    void const* const old = key.secret.data();
    WipeRecorder const recorder;
    ASSERT_TRUE(key.initPrivate(Bytes(32, 8)));
    EXPECT_TRUE(recorder.saw(old, 32));
    Bytes refused(31, 9);
    void const* const bytes = refused.data();
    ASSERT_FALSE(key.initPrivate(std::move(refused)));
    EXPECT_TRUE(recorder.saw(bytes, 31));
}

} // namespace TEST_FILE

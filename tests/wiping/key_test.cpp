#include "sealkit/asn1.h"
#include "sealkit/curve25519.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"

#include "support/vectors.h"
#include "wiping/secrets.h"

#include <functional>
#include <ostream>
#include <streambuf>

namespace {

using test::addKey;
using test::addNumber;
using test::addPublic;
using test::Bytes;
using test::Watch;

Bytes const digest = test::Random(1).bytes(32);

/// Forgets what is written to it.
struct NoBuffer : std::streambuf {
    int overflow(int written) override { return written; }
};

/// Copies a key and writes it in every form. What is written is the writer's to wipe.
template <typename Key>
void copyAndWrite(Key const& key) {
    Key const copy = key;
    Key assigned;
    assigned = copy;
    for (bool pem : {false, true}) {
        Bytes own = assigned.encodeToDerEncoded();
        Bytes whole = pem ? encodePemPkcs8PrivateKey(assigned) : encodePkcs8PrivateKey(assigned);
        EXPECT_FALSE(own.empty());
        EXPECT_FALSE(whole.empty());
        test::wipe(own);
        test::wipe(whole);
    }
    NoBuffer buffer;
    std::ostream out(&buffer);
    assigned.dump(out);
    EXPECT_TRUE(key.publicKey()->equals(key));
    assigned = Key();
}

/// Reads a key from DER and from PEM under the watch, uses it as `use` says, copies, writes and destroys it.
template <typename Key, typename Use>
void expectKeyWiped(Watch& watch, Key const& key, Use const& use) {
    Bytes der, pem;
    {
        Watch::Pause const pause;
        der = encodePkcs8PrivateKey(key);
        pem = encodePemPkcs8PrivateKey(key);
        std::string_view text(reinterpret_cast<char const*>(pem.data()), pem.size()), label, body;
        ASSERT_TRUE(parsePem(text, &label, &body));
        watch.addSecret("PEM", {reinterpret_cast<unsigned char const*>(body.data()), body.size()});
    }
    std::string_view const text(reinterpret_cast<char const*>(pem.data()), pem.size());
    for (bool fromText : {false, true})
        test::expectHeapWiped(
            watch,
            [&] {
                std::unique_ptr<PrivateKey> read =
                    fromText ? readOneAssimetricKey(text) : parseOneAssimetricKey(der);
                EXPECT_NE(read, nullptr);
                return read;
            },
            [&](PrivateKey const& read) {
                Key const& same = *dynamic_cast<Key const*>(&read);
                copyAndWrite(same);
                use(same);
            });
    Watch::Pause const pause;
    der.clear();
}

TEST(Wiping, RsaKeysLeaveNoSecretNumbers) {
    std::unique_ptr<RsaPrivateKey> key;
    test::forEachCase("keys/openssl-rsa.txt", [&](test::Case const& c) {
        c.ignore({"key", "spki", "message", "hash", "sig"});
        RsaPrivateKey read;
        for (auto [name, member] : {std::pair("n", &RsaPrivateKey::n), std::pair("e", &RsaPrivateKey::e)})
            read.*member = BigNum(asn1::blob(c.bytes(name)));
        for (auto [name, member] :
             {std::pair("d", &RsaPrivateKey::d), std::pair("p", &RsaPrivateKey::p),
              std::pair("q", &RsaPrivateKey::q), std::pair("exp1", &RsaPrivateKey::exp1),
              std::pair("exp2", &RsaPrivateKey::exp2), std::pair("coeff", &RsaPrivateKey::coeff)})
            read.*member = BigNum(asn1::blob(c.bytes(name)));
        if (key == nullptr)
            key = std::make_unique<RsaPrivateKey>(read);
    });
    Watch watch;
    addKey(watch, *key);
    expectKeyWiped(watch, *key, [](RsaPrivateKey const& read) {
        EXPECT_FALSE(read.signHashed(HashID::SHA256, digest).empty());
        RsaPrivateKey withoutPrimes = read;
        withoutPrimes.p = BigNum();
        EXPECT_FALSE(withoutPrimes.signHashed(HashID::SHA256, digest).empty());
    });
}

/// The nonce of an ECDSA signature, from the signature and the private key (SEC 1, section 4.1.3).
BigNum nonceOf(EcPrivateKey const& key, asn1::blob signature) {
    asn1::parser numbers(asn1::parser(signature).value());
    BigNum const r(numbers.take()), s(numbers.take()), order = getOrderForECCurve(key.curve);
    BigNum e{asn1::blob(digest)};
    if (unsigned const bits = 8 * test::size(digest); bits > order.bits())
        e >>= bits - order.bits();
    BigNum nonce = (e + r * key.secret) * invByMod(s, order);
    div(nonce, order, nullptr, &nonce);

    BigNum p, n;
    ECPoint base;
    getECParams(key.curve, p, n, base);
    WCurve const group(p, getAForECCurve(key.curve), new MontgomeryReducer(p));
    BigNum x = group.toEC(group.mul(nonce, group.fromEC(base))).x;
    div(x, order, nullptr, &x);
    EXPECT_TRUE(x == r) << "not the nonce";
    return nonce;
}

BigNum inMontgomeryForm(Curve curve, BigNum const& x) {
    BigNum p, n;
    ECPoint base;
    getECParams(curve, p, n, base);
    MontgomeryReducer const reducer(p);
    return reducer.fromBigNum(x).value;
}

TEST(Wiping, EcKeysLeaveNoScalarsNoncesOrAgreedSecrets) {
    for (Curve curve : {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521}) {
        EcPrivateKey key, other;
        key.curve = other.curve = curve;
        ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
        ASSERT_TRUE(other.generatePrivKey(getDefaultRng()));
        Bytes const peer = other.EcPublicKey::encodeToDerEncoded();
        Watch watch;
        addKey(watch, key);
        {
            Watch::Pause const pause;
            Bytes const agreed = key.exchangeKeys(peer);
            watch.addSecret("agreed secret", agreed);
            addNumber(watch, "agreed secret in Montgomery's form",
                      inMontgomeryForm(curve, BigNum(asn1::blob(agreed))));
            BigNum const nonce =
                nonceOf(key, key.signHashed(HashID::SHA256, digest)); // It is always the same.
            addNumber(watch, "nonce", nonce);
            addNumber(watch, "inverse of the nonce", invByMod(nonce, getOrderForECCurve(curve)));
        }
        expectKeyWiped(watch, key, [&](EcPrivateKey const& read) {
            EXPECT_FALSE(read.signHashed(HashID::SHA256, digest).empty());
            Bytes agreed = read.exchangeKeys(peer);
            EXPECT_FALSE(agreed.empty());
            test::wipe(agreed);
        });
    }
}

TEST(Wiping, MultiplesOnNamedCurvesLeaveNoCoordinates) {
    for (Curve curve : {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521}) {
        SCOPED_TRACE(getCurveName(curve));
        BigNum p, n;
        ECPoint base;
        getECParams(curve, p, n, base);
        WCurve const group(p, getAForECCurve(curve), new MontgomeryReducer(p));
        WCurve::Point const G = group.fromEC(base);
        BigNum const k = n - bn64(987654321), l = n - bn64(123456789);
        WCurve::Point const Q = group.mul(bn64(5), G);
        auto const multiple = [&] { return group.mul(k, G); };
        auto const jointMultiple = [&] { return group.mul2add(k, G, l, Q); };
        for (std::function<WCurve::Point()> const& compute :
             {std::function<WCurve::Point()>(multiple), std::function<WCurve::Point()>(jointMultiple)}) {
            Watch watch;
            {
                Watch::Pause const pause;
                WCurve::Point const product = compute();
                addNumber(watch, "X", product.X.value);
                addNumber(watch, "Y", product.Y.value);
                addNumber(watch, "Z", product.Z.value);
            }
            test::runSearched(watch, [&] { WCurve::Point const product = compute(); });
            test::expectNothingFound(watch);
        }
    }
}

/// A scalar in the forms in which it multiplies the base point: its residue, and the signs of its powers of
/// two.
void addBaseScalar(Watch& watch, std::string_view name, BigNum const& scalar) {
    addNumber(watch, name, scalar);
    Watch::Pause const pause;
    BigNum residue;
    div(scalar, Curve25519::getOrder(), nullptr, &residue);
    addNumber(watch, name, residue);
    for (BigNum const& k : {scalar, residue}) {
        BigNum signs = k.getBit(0) ? k : k + Curve25519::getOrder();
        signs >>= 1;
        signs.setBit(255, true);
        addNumber(watch, name, signs);
    }
}

TEST(Wiping, Ed25519KeysLeaveNoSeedScalarOrPrefix) {
    Ed25519PrivateKey key;
    ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
    Watch watch;
    addKey(watch, key);
    {
        Watch::Pause const pause;
        Bytes prefix;
        BigNum const scalar = eddsa::expand_secret(key.secret, &prefix);
        addBaseScalar(watch, "scalar", scalar);
        watch.addSecret("prefix", prefix);
        Bytes nonce(64);
        auto const hash = createHash(HashID::SHA512);
        hash->update(prefix.data(), test::size(prefix));
        hash->update(digest.data(), test::size(digest));
        hash->digest(nonce.data());
        watch.addSecret("nonce", nonce);
        BigNum number(asn1::blob(nonce), little_endian{});
        div(number, Curve25519::getOrder(), nullptr, &number);
        addBaseScalar(watch, "nonce", number);
        watch.addPublic(key.toX25519PrivateKey().pub);
    }
    expectKeyWiped(watch, key, [](Ed25519PrivateKey const& read) {
        EXPECT_FALSE(read.sign(digest).empty());
        BigNum const expanded = eddsa::expand_secret(read.secret, nullptr);
        EXPECT_EQ(eddsa::secret_to_public(expanded), read.pub);
        EXPECT_FALSE(read.toX25519PrivateKey().pub.empty());
        Ed25519PrivateKey again;
        EXPECT_TRUE(again.initPrivate(read.secret));
        EXPECT_TRUE(again.initPrivate(read.secret));
    });
}

TEST(Wiping, X25519KeysLeaveNoScalarsOrAgreedSecrets) {
    X25519PrivateKey key, other;
    ASSERT_TRUE(key.generatePrivKey(getDefaultRng()));
    ASSERT_TRUE(other.generatePrivKey(getDefaultRng()));
    Watch watch;
    addKey(watch, key);
    addBaseScalar(watch, "clamped scalar", x25519::privToNum(key.secret));
    {
        Watch::Pause const pause;
        Bytes const agreed = key.exchangeKeys(other.pub);
        watch.addSecret("agreed secret", agreed);
        addNumber(watch, "agreed secret", BigNum(asn1::blob(agreed)));
    }
    expectKeyWiped(watch, key, [&](X25519PrivateKey const& read) {
        Bytes agreed = read.exchangeKeys(other.pub);
        EXPECT_FALSE(agreed.empty());
        test::wipe(agreed);
        X25519PrivateKey again;
        EXPECT_TRUE(again.initPrivate(read.secret));
        EXPECT_TRUE(again.initPrivate(read.secret));
    });
}

/// The same bytes for every object.
struct SeededRng : Rng {
    mutable test::Random random{2};

    bool fill(unsigned char* buf, unsigned len) const override {
        for (unsigned i = 0; i < len; i++)
            buf[i] = static_cast<unsigned char>(random.below(256));
        return true;
    }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return fill(buf, len); }
};

/// Generates the same key twice: what it is made of is known the second time.
template <typename Key, typename... Size>
void expectGenerationWiped(void (*prepare)(Key&), void (*addPublicMembers)(Watch&, Key const&),
                           Size... bits) {
    Watch watch;
    test::expectHeapWiped(
        watch, [] { return std::make_unique<Key>(); },
        [&](Key& key) {
            prepare(key);
            SeededRng rng;
            EXPECT_TRUE(key.generatePrivKey(rng, bits...));
            addPublicMembers(watch, key);
        });
}

TEST(Wiping, GeneratingKeysLeavesNothing) {
    expectGenerationWiped<RsaPrivateKey>(
        [](RsaPrivateKey&) {}, [](Watch& watch, RsaPrivateKey const& key) { addPublic(watch, key.n); },
        2048U);
    expectGenerationWiped<EcPrivateKey>([](EcPrivateKey& key) { key.curve = Curve::p256; },
                                        [](Watch& watch, EcPrivateKey const& key) {
                                            addPublic(watch, key.point.x);
                                            addPublic(watch, key.point.y);
                                        });
    expectGenerationWiped<Ed25519PrivateKey>(
        [](Ed25519PrivateKey&) {},
        [](Watch& watch, Ed25519PrivateKey const& key) { watch.addPublic(key.pub); });
    expectGenerationWiped<X25519PrivateKey>(
        [](X25519PrivateKey&) {},
        [](Watch& watch, X25519PrivateKey const& key) { watch.addPublic(key.pub); });
}

} // namespace

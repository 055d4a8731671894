#include "sealkit/keys.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"
#include "support/slow.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace TEST_FILE {

using test::CapturedOutput;
using test::concat;
using test::element;
using test::hex;
using test::integer;
using test::number;
using test::sequence;
using Bytes = std::vector<unsigned char>;

std::string textOf(std::string const& name) {
    std::ifstream file(std::string(SEALKIT_TEST_DATA) + "/vectors/keys/private/" + name + ".pem",
                       std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_FALSE(text.empty()) << name;
    return text;
}

/// The bytes of the last block, which is the key where parameters stand in front.
Bytes derOf(std::string const& name) {
    std::string const text = textOf(name);
    std::string_view rest = text, label, body;
    Bytes der;
    while (parsePem(rest, &label, &body))
        EXPECT_TRUE(pemDecode(body, &der)) << name;
    return der;
}

template <typename K>
K keyOf(std::string const& name) {
    std::unique_ptr<PrivateKey> const key = readPrivateKey(textOf(name), "");
    K const* const found = key == nullptr ? nullptr : dynamic_cast<K const*>(key.get());
    EXPECT_NE(found, nullptr) << name;
    return found == nullptr ? K() : *found;
}

/// What holds for every key that was read from anywhere: it is written and read to the same key, secrets
/// included; what it signs verifies under its own public key.
void expectSound(PrivateKey const& key) {
    Bytes const der = encodePkcs8PrivateKey(key);
    ASSERT_FALSE(der.empty());
    std::unique_ptr<PrivateKey> const again = parseOneAssimetricKey(der);
    ASSERT_NE(again, nullptr) << test::toHex(der);
    EXPECT_TRUE(again->equals(key));
    EXPECT_EQ(encodePkcs8PrivateKey(*again), der);
    Bytes const message{'m'}, digest = calcDigest(HashID::SHA1, message);
    if (auto const* rsa = dynamic_cast<RsaPrivateKey const*>(&key)) {
        Bytes const sig = rsa->signHashed(HashID::SHA1, digest);
        EXPECT_TRUE(sig.empty() || rsa->verifyHashed(HashID::SHA1, digest, sig));
    }
    if (auto const* ec = dynamic_cast<EcPrivateKey const*>(&key)) {
        Bytes const sig = ec->signHashed(HashID::SHA1, digest);
        EXPECT_TRUE(ec->verifyHashed(HashID::SHA1, digest, sig));
    }
    if (auto const* ed = dynamic_cast<Ed25519PrivateKey const*>(&key)) {
        EXPECT_TRUE(ed->verify(message, ed->sign(message)));
    }
}

// --- Files of other programs ---

TEST_CASES(PrivateKeyFiles, OfOtherProgramsHaveTheNumbersThatOpenSslShows, "keys/private-keys.txt")
(test::Case const& c) {
    std::unique_ptr<PrivateKey> const key = readPrivateKey(textOf(c.id()), "");
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(static_cast<unsigned>(key->keyType()), c.number("type"));
    switch (key->keyType()) {
    case KeyType::RSA:
        EXPECT_EQ(key->encodeToDerEncoded(), test::rsaKey(c).encodeToDerEncoded());
        EXPECT_EQ(test::dumpOf(*key), test::dumpOf(test::rsaKey(c)));
        break;
    case KeyType::EC: {
        auto const* ec = dynamic_cast<EcPrivateKey const*>(key.get());
        EXPECT_EQ(static_cast<unsigned>(ec->curve), c.number("curve"));
        EXPECT_EQ(ec->secret, number(c, "secret"));
        Bytes const point = c.bytes("pub");
        EXPECT_EQ(ec->point.toBin(getModLen(ec->curve), point[0] != 4), point);
        break;
    }
    case KeyType::Ed25519:
        EXPECT_EQ(dynamic_cast<Ed25519PrivateKey const*>(key.get())->secret, c.bytes("secret"));
        EXPECT_EQ(dynamic_cast<Ed25519PrivateKey const*>(key.get())->pub, c.bytes("pub"));
        break;
    case KeyType::X25519:
        EXPECT_EQ(dynamic_cast<X25519PrivateKey const*>(key.get())->secret, c.bytes("secret"));
        EXPECT_EQ(dynamic_cast<X25519PrivateKey const*>(key.get())->pub, c.bytes("pub"));
        break;
    }
    expectSound(*key);
}

TEST(PrivateKeyFiles, AreWrittenAsOpenSslWritesThem) {
    for (char const* name : {"openssl-pkcs8-rsa", "openssl-pkcs8-rsa512", "ssh-keygen-PKCS8-rsa",
                             "openssl-ed25519", "openssl-x25519"}) {
        std::unique_ptr<PrivateKey> const key = readPrivateKey(textOf(name), "");
        ASSERT_NE(key, nullptr) << name;
        Bytes const pem = encodePemPkcs8PrivateKey(*key);
        EXPECT_EQ(std::string(pem.begin(), pem.end()), textOf(name)) << name;
    }
    for (char const* name :
         {"openssl-traditional-rsa", "ssh-keygen-PEM-rsa", "certtool-rsa", "openssl-traditional-prime256v1",
          "openssl-behind-its-parameters", "ssh-keygen-PEM-secp521r1", "certtool-secp384r1"}) {
        std::unique_ptr<PrivateKey> const key = readPrivateKey(textOf(name), "");
        ASSERT_NE(key, nullptr) << name;
        EXPECT_EQ(key->encodeToDerEncoded(), derOf(name)) << name;
    }
}

TEST(PrivateKeyFiles, WithDescribedCurvesAreRefusedInOneLine) {
    for (char const* name : {"openssl-explicit-prime256v1", "openssl-explicit-pkcs8-prime256v1"}) {
        CapturedOutput const output;
        EXPECT_EQ(readPrivateKey(textOf(name), ""), nullptr) << name;
        EXPECT_EQ(output.text(), "[ERR] explicit curve params not yet supported\n") << name;
    }
}

// --- RSA ---

using RsaNumbers = std::vector<Bytes>;

/// The contents of the nine INTEGERs.
RsaNumbers numbersOf(RsaPrivateKey const& key) {
    RsaNumbers numbers{{0}};
    for (BigNum const* x : {&key.n, &key.e, &key.d, &key.p, &key.q, &key.exp1, &key.exp2, &key.coeff})
        numbers.push_back(x->bin(x->bits() / 8 + 1));
    return numbers;
}

Bytes rsaDer(RsaNumbers const& numbers) {
    Bytes content;
    for (Bytes const& x : numbers)
        content = concat({content, integer(x)});
    return element(0x30, content);
}

Bytes const null = hex("0500");

bool parsesRsa(Bytes const& der, Bytes const& params = {}) {
    return RsaPrivateKey().parseFromDerEncoded(params, der);
}

RsaPrivateKey smallRsa() { return keyOf<RsaPrivateKey>("openssl-pkcs8-rsa512"); }

TEST(RsaPrivateKeyDer, IsTheSequenceOfVersionAndEightNumbers) {
    RsaPrivateKey key;
    key.n = bn64(3233);
    key.e = bn64(17);
    key.d = bn64(2753);
    key.p = bn64(61);
    key.q = bn64(53);
    key.exp1 = bn64(53);
    key.exp2 = bn64(49);
    key.coeff = bn64(38);
    Bytes const der = hex("301d 020100 02020ca1 020111 02020ac1 02013d 020135 020135 020131 020126");
    EXPECT_EQ(key.encodeToDerEncoded(), der);
    RsaPrivateKey parsed;
    ASSERT_TRUE(parsed.parseFromDerEncoded({}, der));
    EXPECT_EQ(test::dumpOf(parsed), test::dumpOf(key));
    EXPECT_EQ(numbersOf(parsed), numbersOf(key));
}

TEST(RsaPrivateKeyDer, ParametersAreNullOrAbsent) {
    Bytes const der = rsaDer(numbersOf(smallRsa()));
    EXPECT_TRUE(parsesRsa(der));
    EXPECT_TRUE(parsesRsa(der, null));
    for (char const* params : {"0501", "050000", "0600", "3000", "05", "05000500"})
        EXPECT_FALSE(parsesRsa(der, hex(params))) << params;
}

TEST(RsaPrivateKeyDer, HasTwoPrimes) {
    RsaNumbers numbers = numbersOf(smallRsa());
    ASSERT_TRUE(parsesRsa(rsaDer(numbers)));
    for (Bytes const& version : {Bytes{1}, Bytes{2}, Bytes{0xFF}, Bytes{0, 0}, Bytes{}}) {
        numbers[0] = version;
        EXPECT_FALSE(parsesRsa(rsaDer(numbers))) << test::toHex(version);
    }
    // otherPrimeInfos of a key with three.
    numbers[0] = {1};
    Bytes const three = sequence({integer({3}), integer({1}), integer({1})});
    Bytes content;
    for (Bytes const& x : numbers)
        content = concat({content, integer(x)});
    EXPECT_FALSE(parsesRsa(sequence({content, sequence({three})})));
}

TEST(RsaPrivateKeyDer, RefusesNumbersThatMakeNoKey) {
    RsaPrivateKey const key = smallRsa();
    RsaNumbers const good = numbersOf(key);
    auto const parsesWith = [&](size_t index, Bytes const& content) {
        RsaNumbers numbers = good;
        numbers[index] = content;
        return parsesRsa(rsaDer(numbers));
    };
    for (size_t i = 1; i < good.size(); ++i) {
        EXPECT_FALSE(parsesWith(i, {})) << i;
        EXPECT_FALSE(parsesWith(i, {0})) << "zero " << i;
        EXPECT_FALSE(parsesWith(i, Bytes(40, 0))) << "long zero " << i;
        Bytes negative = good[i];
        negative[0] |= 0x80;
        EXPECT_FALSE(parsesWith(i, negative)) << i;
        EXPECT_TRUE(parsesWith(i, concat({{0, 0, 0}, good[i]}))) << "zeros in front " << i;
    }
    for (size_t even : {1u, 2u, 4u, 5u}) { // n, e, p, q
        Bytes content = good[even];
        content.back() &= 0xFE;
        EXPECT_FALSE(parsesWith(even, content)) << even;
        EXPECT_FALSE(parsesWith(even, {1})) << even;
    }
    for (size_t i = 3; i < good.size(); ++i)
        EXPECT_FALSE(parsesWith(i, good[1])) << "the modulus " << i;
}

TEST(RsaPrivateKeyDer, RefusesHugeNumbersAtOnce) {
    RsaNumbers const good = numbersOf(smallRsa());
    // Arithmetic with the larger ones would outlast every test run.
    for (size_t i = 0; i < good.size(); ++i)
        for (size_t size : {size_t(2049), test::lessWhenSlow<size_t>(4 << 20, 1 << 18)}) {
            RsaNumbers numbers = good;
            numbers[i] = Bytes(size, 0x7F);
            EXPECT_FALSE(parsesRsa(rsaDer(numbers))) << i;
        }
    RsaNumbers zeros = good;
    zeros[3] = concat({Bytes(size_t(4) << 20, 0), good[3]});
    EXPECT_TRUE(parsesRsa(rsaDer(zeros)));
}

TEST(RsaPrivateKeyDer, NothingIsMissingOrBehind) {
    RsaNumbers const good = numbersOf(smallRsa());
    Bytes const der = rsaDer(good);
    for (size_t length = 0; length < der.size(); ++length)
        EXPECT_FALSE(RsaPrivateKey().parseFromDerEncoded({}, asn1::blob(der.data(), length))) << length;
    EXPECT_FALSE(parsesRsa(concat({der, {0}})));
    for (size_t count = 0; count < good.size(); ++count)
        EXPECT_FALSE(parsesRsa(rsaDer(RsaNumbers(good.begin(), good.begin() + ptrdiff_t(count))))) << count;
    RsaNumbers more = good;
    more.push_back({1});
    EXPECT_FALSE(parsesRsa(rsaDer(more)));
    Bytes set = der;
    set[0] = 0x31;
    EXPECT_FALSE(parsesRsa(set));
}

TEST(RsaPrivateKeyDer, AFailedParseChangesNothing) {
    RsaPrivateKey key = smallRsa();
    std::string const before = test::dumpOf(key);
    RsaNumbers other = numbersOf(keyOf<RsaPrivateKey>("openssl-pkcs8-rsa"));
    other.back() = {0};
    EXPECT_FALSE(key.parseFromDerEncoded({}, rsaDer(other)));
    EXPECT_EQ(test::dumpOf(key), before);
}

TEST(RsaPrivateKeyDer, ANumberThatDoesNotBelongToTheOthersDoesNoHarm) {
    RsaPrivateKey const key = smallRsa();
    Bytes const digest = calcDigest(HashID::SHA1, Bytes{1});
    Bytes const sig = key.signHashed(HashID::SHA1, digest);
    ASSERT_TRUE(key.verifyHashed(HashID::SHA1, digest, sig));
    for (size_t i = 3; i < 9; ++i) {
        RsaNumbers numbers = numbersOf(key);
        numbers[i].back() ^= 2;
        RsaPrivateKey odd;
        ASSERT_TRUE(odd.parseFromDerEncoded({}, rsaDer(numbers))) << i;
        Bytes const given = odd.signHashed(HashID::SHA1, digest);
        EXPECT_EQ(given, sig) << "the others suffice " << i;
    }
}

// --- EC ---

constexpr Curve curves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};

struct EcParts {
    Bytes version{1};
    Bytes secret;
    Bytes parameters; ///< The content of [0], which is left out when it is empty.
    Bytes bits;       ///< The content of the BIT STRING in [1], which is left out when it is empty.
    Bytes behind;

    Bytes der() const {
        return sequence({integer(version), element(0x04, secret),
                         parameters.empty() ? Bytes() : element(0xA0, parameters),
                         bits.empty() ? Bytes() : element(0xA1, element(0x03, bits)), behind});
    }
};

Bytes paramsOf(Curve curve) {
    EcPublicKey key;
    key.curve = curve;
    return {key.algorithmParams().begin(), key.algorithmParams().end()};
}

EcPrivateKey baseKey(Curve curve) {
    EcPrivateKey key;
    BigNum p, n;
    key.curve = curve;
    getECParams(curve, p, n, key.point);
    key.secret = bn64(1);
    return key;
}

/// The key with the secret 1, whose point is the base point.
EcParts baseParts(Curve curve) {
    unsigned const width = getModLen(curve);
    EcParts parts;
    parts.secret = bn64(1).bin(width);
    parts.parameters = paramsOf(curve);
    parts.bits = concat({{0}, baseKey(curve).point.toBin(width, false)});
    return parts;
}

bool parsesEc(EcParts const& parts, Bytes const& params = {}) {
    CapturedOutput const output;
    return EcPrivateKey().parseFromDerEncoded(params, parts.der());
}

TEST(EcPrivateKeyDer, HasSecretCurveAndPoint) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = baseKey(curve);
        EXPECT_EQ(key.encodeToDerEncoded(), baseParts(curve).der());
        EcPrivateKey parsed;
        ASSERT_TRUE(parsed.parseFromDerEncoded({}, key.encodeToDerEncoded()));
        EXPECT_EQ(test::dumpOf(parsed), test::dumpOf(key));
    }
}

TEST(EcPrivateKeyDer, MembersThatMakeNoKeyAreNotWritten) {
    for (Curve const curve : curves) {
        EcPrivateKey key = baseKey(curve);
        BigNum const n = getOrderForECCurve(curve);
        for (BigNum const& secret : {BigNum(), n, n + 1, n << 64}) {
            key.secret = secret;
            EXPECT_TRUE(key.encodeToDerEncoded().empty());
            EXPECT_TRUE(encodePkcs8PrivateKey(key).empty());
            EXPECT_TRUE(encodePemPkcs8PrivateKey(key).empty());
        }
        key = baseKey(curve);
        key.point.x <<= 64;
        EXPECT_TRUE(key.encodeToDerEncoded().empty());
        key = baseKey(curve);
        key.curve = static_cast<Curve>(6);
        EXPECT_TRUE(key.encodeToDerEncoded().empty());
    }
}

TEST(EcPrivateKeyDer, TheSecretLiesBelowTheOrder) {
    for (Curve const curve : curves) {
        unsigned const width = getModLen(curve);
        BigNum const n = getOrderForECCurve(curve);
        EcParts parts = baseParts(curve);
        parts.bits.clear();
        for (BigNum const& secret : {bn64(1), bn64(2), n - bn64(2), n - bn64(1)}) {
            parts.secret = secret.bin(width);
            EXPECT_TRUE(parsesEc(parts)) << secret.str();
        }
        for (BigNum const& secret :
             {BigNum(), n, n + 1, n + n, (bn64(1) << 8 * width) + bn64(1), n << 4096}) {
            parts.secret = secret.bin(width);
            EXPECT_FALSE(parsesEc(parts)) << secret.str();
        }
        parts.secret.clear();
        EXPECT_FALSE(parsesEc(parts));
    }
}

TEST(EcPrivateKeyDer, TheSecretMayHaveMoreOrFewerZerosInFront) {
    for (Curve const curve : curves) {
        EcParts parts = baseParts(curve);
        for (unsigned width : {1u, 2u, getModLen(curve) - 1, getModLen(curve) + 1, 1u << 20}) {
            parts.secret = bn64(1).bin(width);
            EcPrivateKey key;
            ASSERT_TRUE(key.parseFromDerEncoded({}, parts.der())) << width;
            EXPECT_EQ(key.encodeToDerEncoded(), baseParts(curve).der());
        }
    }
}

TEST(EcPrivateKeyDer, ThePublicPointIsDerivedWhenItIsAbsent) {
    for (Curve const curve : curves) {
        EcParts parts = baseParts(curve);
        parts.bits.clear();
        EcPrivateKey key;
        ASSERT_TRUE(key.parseFromDerEncoded({}, parts.der()));
        EXPECT_EQ(key.encodeToDerEncoded(), baseParts(curve).der());
    }
}

TEST(EcPrivateKeyDer, APublicPointBelongsToTheSecret) {
    for (Curve const curve : curves) {
        unsigned const width = getModLen(curve);
        EcParts const good = baseParts(curve);
        EcParts parts = good;
        EXPECT_TRUE(parsesEc(parts));
        parts.secret = bn64(2).bin(width);
        EXPECT_FALSE(parsesEc(parts));
        // The inverse of the point has the same x.
        ECPoint inverse = baseKey(curve).point;
        inverse.y = getModForECCurve(curve) - inverse.y;
        parts = good;
        for (bool const compressed : {false, true}) {
            parts.bits = concat({{0}, baseKey(curve).point.toBin(width, compressed)});
            EXPECT_TRUE(parsesEc(parts)) << compressed;
            parts.bits = concat({{0}, inverse.toBin(width, compressed)});
            EXPECT_FALSE(parsesEc(parts)) << compressed;
        }
        for (size_t length = 1; length < good.bits.size(); ++length) {
            parts.bits = Bytes(good.bits.begin(), good.bits.begin() + ptrdiff_t(length));
            EXPECT_FALSE(parsesEc(parts)) << length;
        }
        parts.bits = concat({good.bits, {0}});
        EXPECT_FALSE(parsesEc(parts));
        for (unsigned char const unused : {1, 7, 8, 255}) {
            parts.bits = good.bits;
            parts.bits[0] = unused;
            EXPECT_FALSE(parsesEc(parts)) << unsigned(unused);
        }
    }
}

TEST(EcPrivateKeyDer, TheCurveStandsInTheKeyOrBesideIt) {
    EcParts parts = baseParts(Curve::p256);
    Bytes const p256 = paramsOf(Curve::p256), p384 = paramsOf(Curve::p384);
    EXPECT_TRUE(parsesEc(parts));
    EXPECT_TRUE(parsesEc(parts, p256));
    EXPECT_FALSE(parsesEc(parts, p384));
    parts.parameters.clear();
    EXPECT_TRUE(parsesEc(parts, p256));
    EXPECT_FALSE(parsesEc(parts, p384));
    EXPECT_FALSE(parsesEc(parts));
    parts.parameters = p384;
    EXPECT_FALSE(parsesEc(parts, p256));
    parts.parameters = concat({p256, null});
    EXPECT_FALSE(parsesEc(parts));
    EXPECT_FALSE(parsesEc(parts, p256));
    parts.parameters = p256;
    EXPECT_FALSE(parsesEc(parts, null));
    EXPECT_FALSE(parsesEc(parts, concat({p256, null})));
}

TEST(EcPrivateKeyDer, SaysWhyACurveIsRefused) {
    EcParts parts = baseParts(Curve::p256);
    auto const said = [&](Bytes const& params) {
        CapturedOutput const output;
        EXPECT_FALSE(EcPrivateKey().parseFromDerEncoded(params, parts.der()));
        return output.text();
    };
    std::string const described = "[ERR] explicit curve params not yet supported\n",
                      unknown = "[ERR] unknown ec id\n";
    Bytes const secp256k1 = hex("06052b8104000a");
    EXPECT_EQ(said(hex("3000")), described);
    EXPECT_EQ(said(secp256k1), unknown);
    parts.parameters = hex("3003020101");
    EXPECT_EQ(said({}), described);
    EXPECT_EQ(said(paramsOf(Curve::p256)), described);
    parts.parameters = secp256k1;
    EXPECT_EQ(said({}), unknown);
    parts.parameters.clear();
    EXPECT_EQ(said({}), unknown);
}

TEST(EcPrivateKeyDer, HasVersion1AndNothingBehind) {
    EcParts const good = baseParts(Curve::p192);
    for (Bytes const& version : {Bytes{0}, Bytes{2}, Bytes{0, 1}, Bytes{}, Bytes{0x81}}) {
        EcParts parts = good;
        parts.version = version;
        EXPECT_FALSE(parsesEc(parts)) << test::toHex(version);
    }
    for (char const* behind : {"00", "0500", "a000", "a200", "a103030100"}) {
        EcParts parts = good;
        parts.behind = hex(behind);
        EXPECT_FALSE(parsesEc(parts)) << behind;
    }
    CapturedOutput const output;
    Bytes const der = good.der();
    EXPECT_FALSE(EcPrivateKey().parseFromDerEncoded({}, concat({der, {0}})));
    for (size_t length = 0; length < der.size(); ++length)
        EXPECT_FALSE(EcPrivateKey().parseFromDerEncoded({}, asn1::blob(der.data(), length))) << length;
}

TEST(EcPrivateKeyDer, AFailedParseChangesNothing) {
    EcPrivateKey key = baseKey(Curve::p256);
    EcParts parts = baseParts(Curve::p384);
    parts.secret = bn64(2).bin(48);
    EXPECT_FALSE(key.parseFromDerEncoded({}, parts.der()));
    EXPECT_EQ(test::dumpOf(key), test::dumpOf(baseKey(Curve::p256)));
}

// --- Ed25519 and X25519 ---

template <typename K>
void expectCurvePrivateKey() {
    K made;
    ASSERT_TRUE(made.initPrivate(Bytes(32, 7)));
    Bytes const der = element(0x04, Bytes(32, 7));
    EXPECT_EQ(made.encodeToDerEncoded(), der);
    K key;
    ASSERT_TRUE(key.parseFromDerEncoded({}, der));
    EXPECT_EQ(key.secret, made.secret);
    EXPECT_EQ(key.pub, made.pub);

    EXPECT_FALSE(key.parseFromDerEncoded(null, element(0x04, Bytes(32, 8))));
    EXPECT_FALSE(key.parseFromDerEncoded({}, Bytes(32, 8)));
    EXPECT_FALSE(key.parseFromDerEncoded({}, Bytes(34, 4)));
    EXPECT_FALSE(key.parseFromDerEncoded({}, element(0x03, Bytes(32, 8))));
    EXPECT_FALSE(key.parseFromDerEncoded({}, concat({element(0x04, Bytes(32, 8)), {0}})));
    for (size_t size : {0u, 1u, 31u, 33u, 64u})
        EXPECT_FALSE(key.parseFromDerEncoded({}, element(0x04, Bytes(size, 8)))) << size;
    for (size_t length = 0; length < der.size(); ++length)
        EXPECT_FALSE(key.parseFromDerEncoded({}, asn1::blob(der.data(), length))) << length;
    EXPECT_EQ(key.secret, made.secret);
    EXPECT_EQ(key.pub, made.pub);

    for (size_t size : {0u, 31u, 33u}) {
        key.secret = Bytes(size, 7);
        EXPECT_TRUE(key.encodeToDerEncoded().empty()) << size;
        EXPECT_TRUE(encodePkcs8PrivateKey(key).empty()) << size;
    }
}

TEST(CurvePrivateKeyDer, IsAnOctetStringOf32Bytes) {
    expectCurvePrivateKey<Ed25519PrivateKey>();
    expectCurvePrivateKey<X25519PrivateKey>();
}

// --- OneAsymmetricKey ---

TEST_CASES(OneAsymmetricKey, ReadsTheExamplesOfRfc8410, "keys/rfc8410.txt")(test::Case const& c) {
    std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(c.bytes("der"));
    Bytes const secret = c.bytes("secret"), pub = c.bytes("pub");
    ASSERT_EQ(key != nullptr, c.number("valid") == 1) << c.id();
    if (key == nullptr)
        return;
    auto const* ed = dynamic_cast<Ed25519PrivateKey const*>(key.get());
    ASSERT_NE(ed, nullptr);
    EXPECT_EQ(ed->secret, secret);
    EXPECT_EQ(ed->pub, pub);
}

Bytes const rsaOid = hex("06092a864886f70d010101"), ecOid = hex("06072a8648ce3d0201"),
            ed25519Oid = hex("06032b6570"), x25519Oid = hex("06032b656e");

struct InfoParts {
    Bytes version{0};
    Bytes oid;
    Bytes params;
    Bytes key;
    Bytes behind;

    Bytes der() const {
        return sequence({integer(version), sequence({oid, params}), element(0x04, key), behind});
    }
};

InfoParts ed25519Info() {
    InfoParts parts;
    parts.oid = ed25519Oid;
    parts.key = element(0x04, Bytes(32, 7));
    return parts;
}

bool parses(InfoParts const& parts) {
    CapturedOutput const output;
    return parseOneAssimetricKey(parts.der()) != nullptr;
}

TEST(OneAsymmetricKey, IsWrittenAsVersion1) {
    Ed25519PrivateKey ed;
    ed.initPrivate(Bytes(32, 7));
    EXPECT_EQ(encodePkcs8PrivateKey(ed), ed25519Info().der());
    InfoParts parts = ed25519Info();
    X25519PrivateKey x;
    x.initPrivate(Bytes(32, 7));
    parts.oid = x25519Oid;
    EXPECT_EQ(encodePkcs8PrivateKey(x), parts.der());
    RsaPrivateKey const rsa = smallRsa();
    parts = {{0}, rsaOid, null, rsa.encodeToDerEncoded(), {}};
    EXPECT_EQ(encodePkcs8PrivateKey(rsa), parts.der());
    for (Curve const curve : curves) {
        parts = {{0}, ecOid, paramsOf(curve), baseParts(curve).der(), {}};
        EXPECT_EQ(encodePkcs8PrivateKey(baseKey(curve)), parts.der());
        EXPECT_TRUE(parses(parts));
    }
}

TEST(OneAsymmetricKey, AnUnknownAlgorithmIsNeverTakenForRsa) {
    InfoParts parts{{0}, rsaOid, null, smallRsa().encodeToDerEncoded(), {}};
    ASSERT_TRUE(parses(parts));
    for (char const* oid : {"06032b6571", "06092a864886f70d01010a", "0600", "06092a864886f70d01010b",
                            "06082a864886f70d0101", "060a2a864886f70d01010100", "04092a864886f70d010101"}) {
        parts.oid = hex(oid);
        EXPECT_FALSE(parses(parts)) << oid;
    }
}

TEST(OneAsymmetricKey, HasTheParametersOfItsAlgorithm) {
    Bytes const p256 = paramsOf(Curve::p256);
    InfoParts parts{{0}, rsaOid, {}, smallRsa().encodeToDerEncoded(), {}};
    EXPECT_TRUE(parses(parts));
    parts.params = p256;
    EXPECT_FALSE(parses(parts));
    parts.params = concat({null, null});
    EXPECT_FALSE(parses(parts));
    parts = ed25519Info();
    parts.params = null;
    EXPECT_FALSE(parses(parts));
    parts = {{0}, ecOid, {}, baseParts(Curve::p256).der(), {}};
    EXPECT_TRUE(parses(parts)) << "the curve stands in the key";
    parts.params = paramsOf(Curve::p384);
    EXPECT_FALSE(parses(parts));
    parts.params = null;
    EXPECT_FALSE(parses(parts));
}

TEST(OneAsymmetricKey, Version2MayHaveItsPublicKey) {
    Ed25519PrivateKey ed;
    ed.initPrivate(Bytes(32, 7));
    InfoParts parts = ed25519Info();
    Bytes const pub = element(0x81, concat({{0}, ed.pub})), attributes = element(0xA0, sequence({null}));
    parts.behind = pub;
    EXPECT_FALSE(parses(parts));
    parts.version = {1};
    EXPECT_TRUE(parses(parts));
    parts.behind = {};
    EXPECT_TRUE(parses(parts));
    parts.behind = attributes;
    EXPECT_TRUE(parses(parts));
    parts.behind = concat({attributes, pub});
    EXPECT_TRUE(parses(parts));
    for (Bytes const& behind :
         {concat({pub, attributes}), concat({pub, pub}), concat({attributes, attributes}),
          concat({pub, null}), element(0x81, concat({{1}, ed.pub})), element(0x81, {}), element(0x81, {0}),
          element(0x81, concat({{0}, ed.pub, {0}})), element(0x81, concat({{0}, Bytes(32, 7)})),
          element(0xA1, element(0x03, concat({{0}, ed.pub}))), element(0x03, concat({{0}, ed.pub}))}) {
        parts.behind = behind;
        EXPECT_FALSE(parses(parts)) << test::toHex(behind);
    }
    for (Bytes const& version : {Bytes{2}, Bytes{0xFF}, Bytes{0, 0}, Bytes{}, Bytes{1, 0}}) {
        parts = ed25519Info();
        parts.version = version;
        EXPECT_FALSE(parses(parts)) << test::toHex(version);
    }
}

TEST(OneAsymmetricKey, Version1MayHaveAttributes) {
    InfoParts parts = ed25519Info();
    parts.behind = hex("a000");
    EXPECT_TRUE(parses(parts));
    parts.behind = hex("a0021234");
    EXPECT_TRUE(parses(parts)) << "attributes are not looked at";
    for (char const* behind : {"a0", "a001", "8000", "a00000", "3000", "a200"}) {
        parts.behind = hex(behind);
        EXPECT_FALSE(parses(parts)) << behind;
    }
}

TEST(OneAsymmetricKey, ThePublicKeyBelongsToTheKeyOfAnyAlgorithm) {
    RsaPrivateKey const rsa = smallRsa(), otherRsa = keyOf<RsaPrivateKey>("openssl-pkcs8-rsa");
    InfoParts parts{{1}, rsaOid, null, rsa.encodeToDerEncoded(), {}};
    parts.behind = element(0x81, concat({{0}, rsa.publicKey()->encodeToDerEncoded()}));
    EXPECT_TRUE(parses(parts));
    parts.behind = element(0x81, concat({{0}, otherRsa.publicKey()->encodeToDerEncoded()}));
    EXPECT_FALSE(parses(parts));
    EcPrivateKey const ec = baseKey(Curve::p256);
    ECPoint inverse = ec.point;
    inverse.y = getModForECCurve(Curve::p256) - inverse.y;
    for (Bytes const& params : {paramsOf(Curve::p256), Bytes()}) {
        parts = {{1}, ecOid, params, ec.encodeToDerEncoded(), {}};
        for (bool const compressed : {false, true}) {
            parts.behind = element(0x81, concat({{0}, ec.point.toBin(32, compressed)}));
            EXPECT_TRUE(parses(parts));
            parts.behind = element(0x81, concat({{0}, inverse.toBin(32, compressed)}));
            EXPECT_FALSE(parses(parts));
        }
    }
}

TEST(OneAsymmetricKey, NothingStandsBehind) {
    Bytes const der = ed25519Info().der();
    ASSERT_NE(parseOneAssimetricKey(der), nullptr);
    EXPECT_EQ(parseOneAssimetricKey(concat({der, {0}})), nullptr);
    EXPECT_EQ(parseOneAssimetricKey(concat({der, der})), nullptr);
    InfoParts parts = ed25519Info();
    parts.key.push_back(0);
    EXPECT_FALSE(parses(parts));
    EXPECT_EQ(parseOneAssimetricKey({}), nullptr);
    EXPECT_EQ(parseOneAssimetricKey(hex("3000")), nullptr);
    EXPECT_EQ(parseOneAssimetricKey(hex("3084ffffffff")), nullptr);
}

TEST(OneAsymmetricKey, APublicKeyIsWrittenWithoutSecrets) {
    Ed25519PrivateKey ed;
    ed.initPrivate(Bytes(32, 7));
    RsaPrivateKey const rsa = smallRsa();
    EcPrivateKey const ec = baseKey(Curve::p521);
    for (PrivateKey const* key : std::initializer_list<PrivateKey const*>{&ed, &rsa, &ec}) {
        EXPECT_EQ(encodePkcs8PublicKey(*key), encodePkcs8PublicKey(*key->publicKey()));
        EXPECT_NE(parsePkcs8PublicKey(encodePkcs8PublicKey(*key)), nullptr);
    }
}

// --- Hostile input ---

constexpr char const* smallKeys[] = {"openssl-pkcs8-rsa512", "openssl-pkcs8-prime192v1", "openssl-ed25519",
                                     "openssl-x25519"};

TEST(HostileKeys, BrokenOffAnywhereTheyAreRefused) {
    CapturedOutput const output;
    for (char const* name : smallKeys) {
        Bytes const der = derOf(name);
        ASSERT_NE(parseOneAssimetricKey(der), nullptr) << name;
        for (size_t length = 0; length < der.size(); ++length) {
            // Memory that ends where the key does, so that reading on is noticed.
            Bytes const part(der.begin(), der.begin() + ptrdiff_t(length));
            EXPECT_EQ(parseOneAssimetricKey(part), nullptr) << name << " " << length;
        }
    }
}

TEST(HostileKeys, WithABitFlippedTheyAreRefusedOrSound) {
    CapturedOutput const output;
    for (char const* name : smallKeys) {
        Bytes const der = derOf(name);
        size_t refused = 0;
        for (size_t bit = 0; bit < 8 * der.size(); bit += test::lessWhenSlow(1, 23)) {
            Bytes flipped = der;
            flipped[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
            std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(flipped);
            refused += key == nullptr;
            SCOPED_TRACE(std::string(name) + " " + std::to_string(bit));
            if (key != nullptr)
                expectSound(*key);
            if (testing::Test::HasFailure())
                return;
        }
        EXPECT_GT(refused, 0u) << name;
    }
}

TEST(HostileKeys, NestingDoesNotRecurse) {
    Bytes nested;
    for (unsigned i = 0; i < 100000; ++i)
        nested.insert(nested.end(), {0x30, 0x80});
    EXPECT_EQ(parseOneAssimetricKey(nested), nullptr);
    EXPECT_EQ(readPrivateKey({reinterpret_cast<char const*>(nested.data()), nested.size()}, ""), nullptr);
}

} // namespace TEST_FILE

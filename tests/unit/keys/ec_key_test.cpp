#include "sealkit/der.h"
#include "sealkit/keys.h"
#include "sealkit/pkcs8.h"

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

constexpr Curve curves[] = {Curve::p192, Curve::p224, Curve::p256, Curve::p384, Curve::p521};

struct OpenSslCase {
    EcPrivateKey key;
    HashID hash;
    Bytes digest;
    Bytes sig;
};

OpenSslCase readOpenSslCase(test::Case const& c) {
    OpenSslCase given;
    given.key.curve = static_cast<Curve>(c.number("curve"));
    given.key.point = {number(c, "x"), number(c, "y")};
    given.key.secret = number(c, "secret");
    given.hash = static_cast<HashID>(c.number("hash"));
    given.digest = calcDigest(given.hash, c.bytes("message"));
    given.sig = c.bytes("sig");
    c.ignore({"name", "spki", "compressedSpki", "explicitSpki"});
    return given;
}

void forEachOpenSslCase(std::function<void(OpenSslCase const&, test::Case const&)> const& body) {
    test::forEachCase("keys/openssl-ec.txt", [&](test::Case const& c) { body(readOpenSslCase(c), c); });
}

/// The case of that curve with SHA-256.
OpenSslCase openSslCase(Curve curve) {
    OpenSslCase found;
    forEachOpenSslCase([&](OpenSslCase const& given, test::Case const&) {
        if (given.key.curve == curve && given.hash == HashID::SHA256)
            found = given;
    });
    return found;
}

Bytes paramsOf(Curve curve) {
    DerEncoder encoder;
    encoder.addOid(getCurveOid(curve));
    return encoder.take();
}

bool parses(Curve curve, Bytes const& point) {
    EcPublicKey key;
    bool const parsed = key.parseFromDerEncoded(paramsOf(curve), point);
    EXPECT_EQ(key.curve == Curve{}, !parsed);
    return parsed;
}

// --- Signatures ---

TEST_CASES(EcPublicKey, VerifiesWhatOpenSslSigned, "keys/openssl-ec.txt")(test::Case const& c) {
    OpenSslCase const given = readOpenSslCase(c);
    EXPECT_TRUE(given.key.verifyHashed(given.hash, given.digest, given.sig)) << c.id();
    Bytes other = given.digest;
    other[0] ^= 1;
    EXPECT_FALSE(given.key.verifyHashed(given.hash, other, given.sig)) << c.id();
}

TEST(EcPublicKey, RefusesADigestThatIsNotOfTheHash) {
    OpenSslCase const given = openSslCase(Curve::p256);
    Bytes longer = given.digest;
    longer.push_back(0);
    EXPECT_FALSE(given.key.verifyHashed(HashID::SHA256, longer, given.sig));
    EXPECT_FALSE(given.key.verifyHashed(HashID::SHA384, given.digest, given.sig));
    EXPECT_FALSE(given.key.verifyHashed(HashID::none, given.digest, given.sig));
    EXPECT_FALSE(given.key.verifyHashed(static_cast<HashID>(8), given.digest, given.sig));
}

TEST(EcPublicKey, AnEmptyDigestIsNoDigest) {
    // For the number 0, r = x(u * Q) and s = r / u are a signature that anyone can make: here u = 1.
    OpenSslCase const given = openSslCase(Curve::p256);
    DerEncoder forged;
    forged.begin(0x30).addInteger(given.key.point.x).addInteger(given.key.point.x).end();
    Bytes const sig = forged.take();
    ASSERT_TRUE(given.key.verifyHashed(HashID::SHA256, Bytes(32), sig));
    EXPECT_FALSE(given.key.verifyHashed(HashID::SHA256, {}, sig));
    EXPECT_FALSE(given.key.verifyHashed(HashID::none, {}, sig));
}

TEST(EcPublicKey, NoPointVerifiesNothing) {
    // (0, 0) lies on y^2 = x^3 + a*x, where it has order 2: for an even r / s it adds nothing, and anyone can
    // choose k, r = x(k * G) and s = e / k.
    BigNum p, n;
    ECPoint base;
    getECParamsForP256(p, n, base);
    WCurve const group(p, getAForECCurve(Curve::p256), new MontgomeryReducer(p));
    Bytes const digest = calcDigest(HashID::SHA256, Bytes{'a', 'b', 'c'});
    BigNum const e{asn1::blob(digest)};
    auto const times = [&](BigNum const& x, BigNum const& y) {
        BigNum product = x * y;
        div(product, n, nullptr, &product);
        return product;
    };
    EcPublicKey key;
    key.curve = Curve::p256;
    unsigned forged = 0;
    for (unsigned k = 1; k <= 16; ++k) {
        BigNum const r = group.toEC(group.mul(bn64(k), group.fromEC(base))).x;
        BigNum const s = times(e, invByMod(bn64(k), n));
        BigNum const u2 = times(r, invByMod(s, n));
        if (!(r < n) || u2.getBit(0))
            continue;
        ECPoint const sum =
            group.toEC(group.mul2add(bn64(k), group.fromEC(base), u2, group.fromEC(key.point)));
        forged += sum.x == r;
        DerEncoder sig;
        sig.begin(0x30).addInteger(r).addInteger(s).end();
        EXPECT_FALSE(key.verifyHashed(HashID::SHA256, digest, sig.take())) << k;
    }
    EXPECT_GT(forged, 0u);
}

TEST(EcPublicKey, RefusesNumbersOutOfRange) {
    OpenSslCase const given = openSslCase(Curve::p256);
    asn1::blob const numbers(given.sig.data() + 2, given.sig.size() - 2);
    size_t const rSize = 2u + numbers[1];
    Bytes const r(numbers.begin(), numbers.begin() + rSize), s(numbers.begin() + rSize, numbers.end());
    auto const verifies = [&](Bytes const& first, Bytes const& second) {
        return given.key.verifyHashed(given.hash, given.digest, sequence({first, second}));
    };
    ASSERT_TRUE(verifies(r, s));
    BigNum const order = getOrderForECCurve(Curve::p256);
    auto const encoded = [](BigNum const& value) {
        DerEncoder encoder;
        return encoder.addInteger(value).take();
    };
    auto const valueOf = [](Bytes const& tlv) { return BigNum(asn1::blob(tlv.data() + 2, tlv.size() - 2)); };
    for (BigNum const& bad : {BigNum(), order, order + order}) {
        EXPECT_FALSE(verifies(encoded(bad), s));
        EXPECT_FALSE(verifies(r, encoded(bad)));
        EXPECT_FALSE(verifies(encoded(bad), encoded(bad)));
    }
    EXPECT_FALSE(verifies(encoded(valueOf(r) + order), s));
    EXPECT_FALSE(verifies(r, encoded(valueOf(s) + order)));
    EXPECT_FALSE(verifies(integer(Bytes(1 << 20, 0x7F)), s));
    EXPECT_FALSE(verifies(r, integer(Bytes(1 << 20, 0x7F))));
}

TEST(EcPublicKey, TakesTheOneEncodingOfASignature) {
    // Numbers with and without a leading 00.
    unsigned withZero = 0, withoutZero = 0;
    forEachOpenSslCase([&](OpenSslCase const& given, test::Case const& c) {
        Bytes const& sig = given.sig;
        auto const verifies = [&](Bytes const& changed) {
            return given.key.verifyHashed(given.hash, given.digest, changed);
        };
        size_t const header = sig[1] < 0x80 ? 2 : 3;
        Bytes const content(sig.begin() + static_cast<ptrdiff_t>(header), sig.end());
        Bytes const rContent(content.begin() + 2, content.begin() + 2 + content[1]);
        Bytes const sTlv(content.begin() + 2 + content[1], content.end());
        ASSERT_TRUE(verifies(sig)) << c.id();
        ASSERT_TRUE(verifies(sequence({integer(rContent), sTlv}))) << c.id();
        if (header == 3)
            return;
        if (rContent[0] == 0) { // without it the number is negative
            ++withZero;
            EXPECT_FALSE(verifies(sequence({integer(Bytes(rContent.begin() + 1, rContent.end())), sTlv})));
        } else {
            ++withoutZero;
        }
        EXPECT_FALSE(verifies(sequence({integer(concat({{0}, rContent})), sTlv})));
        EXPECT_FALSE(verifies(concat({sig, {0}})));
        EXPECT_FALSE(verifies(concat({sig, {0x05, 0x00}})));
        EXPECT_FALSE(verifies(element(0x30, concat({content, {0x05, 0x00}}))));
        EXPECT_FALSE(verifies(element(0x30, concat({content, {0x00}}))));
        EXPECT_FALSE(verifies(element(0x31, content)));
        EXPECT_FALSE(verifies(concat({{0x30, 0x81, sig[1]}, content})));
        EXPECT_FALSE(verifies(concat({{0x30, 0x80}, content, {0, 0}})));
        EXPECT_FALSE(verifies(sequence({element(0x04, rContent), sTlv})));
        EXPECT_FALSE(verifies(sequence({integer(rContent)})));
        for (size_t length = 0; length < sig.size(); ++length)
            EXPECT_FALSE(verifies(Bytes(sig.begin(), sig.begin() + static_cast<ptrdiff_t>(length))));
    });
    EXPECT_GT(withZero, 0u);
    EXPECT_GT(withoutZero, 0u);
}

TEST(EcPublicKey, MembersFilledInByHandDoNotCrash) {
    OpenSslCase const given = openSslCase(Curve::p256);
    BigNum const p = getModForECCurve(Curve::p256);
    ECPoint const offCurve{given.key.point.x, given.key.point.y + 1u};
    ECPoint const tooWide{given.key.point.x + p, given.key.point.y};
    ECPoint const veryWide{bn64(5) << 100000, bn64(7) << 100000};
    for (unsigned curve = 0; curve < 7; ++curve)
        for (ECPoint const& point : {ECPoint(), offCurve, tooWide, veryWide}) {
            EcPublicKey key;
            key.curve = static_cast<Curve>(curve);
            key.point = point;
            EXPECT_FALSE(key.verifyHashed(given.hash, given.digest, given.sig));
            EXPECT_FALSE(test::dumpOf(key).empty());
            EXPECT_EQ(key.algorithmParams().empty(), curve == 0 || curve == 6);
            EXPECT_TRUE(key.equals(key));
            EXPECT_LE(key.encodeToDerEncoded().size(), 133u);
        }
    EcPublicKey key;
    EXPECT_TRUE(key.encodeToDerEncoded().empty());
    key.curve = Curve::p256;
    key.point = veryWide;
    EXPECT_TRUE(key.encodeToDerEncoded().empty());
    key.point = {bn64(1), bn64(1) << 256};
    EXPECT_TRUE(key.encodeToDerEncoded().empty());
}

// --- Octets ---

TEST_CASES(EcPublicKey, IsReadAndWrittenAsOpenSslDoes, "keys/openssl-ec.txt")(test::Case const& c) {
    CapturedOutput const output;
    OpenSslCase const given = readOpenSslCase(c);
    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(c.bytes("spki"));
    ASSERT_NE(parsed, nullptr) << c.id();
    EXPECT_EQ(parsed->keyType(), KeyType::EC);
    EXPECT_TRUE(parsed->equals(given.key));
    EXPECT_EQ(encodePkcs8PublicKey(*parsed), c.bytes("spki"));
    EXPECT_EQ(encodePkcs8PublicKey(given.key), c.bytes("spki"));
}

TEST_CASES(EcPublicKey, ReadsCompressedPointsButThoseOfP224, "keys/openssl-ec.txt")(test::Case const& c) {
    CapturedOutput const output;
    OpenSslCase const given = readOpenSslCase(c);
    std::unique_ptr<PublicKey> const parsed = parsePkcs8PublicKey(c.bytes("compressedSpki"));
    if (given.key.curve == Curve::p224) {
        EXPECT_EQ(parsed, nullptr);
        return;
    }
    ASSERT_NE(parsed, nullptr) << c.id();
    EXPECT_TRUE(parsed->equals(given.key));
    EXPECT_EQ(encodePkcs8PublicKey(*parsed), c.bytes("spki"));
}

TEST_CASES(EcPublicKey, RefusesDescribedCurves, "keys/openssl-ec.txt")(test::Case const& c) {
    readOpenSslCase(c);
    CapturedOutput const output;
    EXPECT_EQ(parsePkcs8PublicKey(c.bytes("explicitSpki")), nullptr);
    EXPECT_EQ(output.text(), "[ERR] explicit curve params not yet supported\n");
}

TEST(EcPublicKey, RefusesUnknownCurves) {
    OpenSslCase const given = openSslCase(Curve::p256);
    Bytes const point = given.key.publicKey()->encodeToDerEncoded();
    Bytes const good = paramsOf(Curve::p256);
    for (Bytes const& params :
         {hex("06052b8104000a") /* secp256k1 */, hex("0600"), hex("0500"), Bytes{}, hex("06"),
          concat({good, {0x05, 0x00}}), concat({good, {0x00}}), Bytes(good.begin(), good.end() - 1)}) {
        CapturedOutput const output;
        EcPublicKey key;
        EXPECT_FALSE(key.parseFromDerEncoded(params, point)) << test::toHex(params);
        EXPECT_EQ(output.text(), "[ERR] unknown ec id\n") << test::toHex(params);
    }
    EXPECT_TRUE(EcPublicKey().parseFromDerEncoded(good, point));
}

TEST(EcPublicKey, TheParametersAreTheNameOfTheCurve) {
    for (Curve const curve : curves) {
        EcPublicKey key;
        key.curve = curve;
        EXPECT_TRUE(key.algorithmParams() == asn1::blob(paramsOf(curve)));
    }
}

TEST(EcPublicKey, APointHasTheWidthOfItsField) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = openSslCase(curve).key;
        unsigned const width = getModLen(curve);
        Bytes const x = key.point.x.bin(width), y = key.point.y.bin(width);
        ASSERT_TRUE(parses(curve, concat({{4}, x, y})));
        EXPECT_FALSE(parses(curve, {}));
        EXPECT_FALSE(parses(curve, {0x00}));
        EXPECT_FALSE(parses(curve, {0x04}));
        EXPECT_FALSE(parses(curve, concat({{4}, x})));
        EXPECT_FALSE(parses(curve, concat({{4}, x, y, {0}})));
        EXPECT_FALSE(parses(curve, concat({{4, 0}, x, {0}, y})));
        EXPECT_FALSE(parses(curve, concat({{4}, x, Bytes(y.begin(), y.end() - 1)})));
        EXPECT_FALSE(parses(curve, concat({{2}, x, {0}})));
        EXPECT_FALSE(parses(curve, concat({{2, 0}, x})));
        EXPECT_FALSE(parses(curve, concat({{2}, x, y})));
        EXPECT_FALSE(parses(curve, concat({{4}, Bytes(1 << 20, 0x55)})));
        // Neither of SEC 1's hybrid form, nor of any other.
        for (unsigned char const first : {0x00, 0x01, 0x02, 0x03, 0x05, 0x06, 0x07, 0x84, 0xFF})
            EXPECT_FALSE(parses(curve, concat({{first}, x, y}))) << int(first);
        for (unsigned char const first : {0x00, 0x01, 0x04, 0x06, 0x07, 0x82})
            EXPECT_FALSE(parses(curve, concat({{first}, x}))) << int(first);
    }
}

TEST(EcPublicKey, APointLiesOnItsCurve) {
    for (Curve const curve : curves) {
        EcPrivateKey const key = openSslCase(curve).key;
        unsigned const width = getModLen(curve);
        BigNum const p = getModForECCurve(curve);
        Bytes const x = key.point.x.bin(width), y = key.point.y.bin(width);
        Bytes otherY = y;
        otherY.back() ^= 1;
        EXPECT_FALSE(parses(curve, concat({{4}, x, otherY})));
        EXPECT_FALSE(parses(curve, concat({{4}, y, x})));
        EXPECT_FALSE(parses(curve, concat({{4}, Bytes(2 * width, 0)})));
        EXPECT_FALSE(parses(curve, concat({{4}, Bytes(2 * width, 0xFF)})));
        EXPECT_FALSE(parses(curve, concat({{4}, p.bin(width), y})));
        EXPECT_TRUE(parses(curve, concat({{4}, x, (p - key.point.y).bin(width)})));
        // A point of another curve of the same width.
        if (curve == Curve::p256) {
            EXPECT_FALSE(
                parses(curve, hex("0479be667ef9dcbbac55a06295ce870b07029bfcdb2dce28d959f2815b16f81798"
                                  "483ada7726a3c4655da4fbfc0e1108a8fd17b448a68554199c47d08ffb10d4b8")));
        }
    }
}

TEST(EcPublicKey, CoordinatesAreBelowTheModulus) {
    // 66 bytes have room for coordinates above the modulus of P-521.
    EcPrivateKey const key = openSslCase(Curve::p521).key;
    BigNum const p = getModForECCurve(Curve::p521);
    Bytes const x = key.point.x.bin(66), y = key.point.y.bin(66);
    Bytes const xAndP = (key.point.x + p).bin(66), yAndP = (key.point.y + p).bin(66);
    ASSERT_EQ(xAndP.size(), 66u);
    ASSERT_EQ(yAndP.size(), 66u);
    unsigned char const compressed = key.point.y.getBit(0) ? 3 : 2;
    ASSERT_TRUE(parses(Curve::p521, concat({{compressed}, x})));
    EXPECT_FALSE(parses(Curve::p521, concat({{4}, xAndP, y})));
    EXPECT_FALSE(parses(Curve::p521, concat({{4}, x, yAndP})));
    EXPECT_FALSE(parses(Curve::p521, concat({{compressed}, xAndP})));
}

TEST(EcPublicKey, ACompressedPointNeedsARoot) {
    // Half of all x have none.
    unsigned refused = 0, accepted = 0;
    for (unsigned char i = 1; i <= 16; ++i) {
        Bytes point(33, 0);
        point[0] = 0x02;
        point[32] = i;
        ++(parses(Curve::p256, point) ? accepted : refused);
    }
    EXPECT_GT(refused, 0u);
    EXPECT_GT(accepted, 0u);
}

TEST(EcPublicKey, AFailedParseChangesNothing) {
    CapturedOutput const output;
    EcPublicKey key = openSslCase(Curve::p256).key;
    EcPublicKey const before = key;
    EXPECT_FALSE(key.parseFromDerEncoded(paramsOf(Curve::p384), key.encodeToDerEncoded()));
    EXPECT_FALSE(key.parseFromDerEncoded({}, key.encodeToDerEncoded()));
    EXPECT_TRUE(key.equals(before));
}

// --- Text ---

TEST(EcPublicKey, DumpsItsPoint) {
    constexpr char const* orders[] = {
        "ffffffffffffffffffffffff99def836146bc9b1b4d22831",
        "ffffffffffffffffffffffffffff16a2e0b8f03e13dd29455c5c2a3d",
        "ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551",
        "ffffffffffffffffffffffffffffffffffffffffffffffffc7634d81f4372ddf581a0db248b0a77aecec196accc52973",
        ("1fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffa"
         "51868783bf2f966b7fcc0148f709a5d03bb5c9b8899c47aebb6fb71e91386409"),
    };
    constexpr char const* names[] = {"p192", "p224", "p256", "p384", "p521"};
    for (unsigned i = 0; i < 5; ++i) {
        EcPrivateKey key;
        key.curve = curves[i];
        key.point = {bn64(0x1A2), bn64(0x0B3)};
        key.secret = bn64(0xC4);
        std::string const lines =
            std::string("\ncurve: ") + names[i] + "\npub.x: 1a2\npub.y: b3\norder: " + orders[i];
        EXPECT_EQ(test::dumpOf(*key.publicKey()), "[EC-PUBLIC]" + lines + "\n");
        EXPECT_EQ(test::dumpOf(key), "[EC-PRIVATE]" + lines + "\nsecret: c4\n");
    }
}

TEST(EcPublicKey, DumpsTheNumberOfAnUnknownCurve) {
    EXPECT_EQ(test::dumpOf(EcPublicKey()), "[EC-PUBLIC]\ncurve: 0\npub.x: 0\npub.y: 0\norder: 0\n");
}

} // namespace TEST_FILE

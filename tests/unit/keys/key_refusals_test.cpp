// Why keys are refused: the id, the place and the facts.
#include "sealkit/pbes2.h"
#include "sealkit/pkcs8.h"
#include "sealkit/signature.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;
using test::concat;
using test::element;
using test::integer;
using test::sequence;

Bytes hex(char const* digits) { return test::hex(digits); }

Bytes oid(char const* digits) { return element(0x06, hex(digits)); }
Bytes octets(Bytes const& content) { return element(0x04, content); }
Bytes bits(Bytes content) {
    content.insert(content.begin(), 0);
    return element(0x03, content);
}

Bytes const rsa = oid("2a864886f70d010101"), ec = oid("2a8648ce3d0201"), p256 = oid("2a8648ce3d030107"),
            brainpool = oid("2b2403030208010107"), x448 = oid("2b656f"), x25519 = oid("2b656e"),
            null = hex("0500");

Refusal refusalOfPublic(Bytes const& der) {
    test::CapturedOutput const output;
    Refusal refusal;
    EXPECT_EQ(parsePkcs8PublicKey(der, &refusal), nullptr);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(parsePkcs8PublicKey(der, nullptr), nullptr);
    return refusal;
}

Refusal refusalOfPrivate(Bytes const& der) {
    test::CapturedOutput const output;
    Refusal refusal;
    EXPECT_EQ(parseOneAssimetricKey(der, &refusal), nullptr);
    EXPECT_EQ(output.text(), "");
    return refusal;
}

Bytes publicInfo(Bytes const& algorithm, Bytes const& key) { return sequence({algorithm, bits(key)}); }
Bytes privateInfo(Bytes const& algorithm, Bytes const& key) {
    return sequence({integer({0}), algorithm, octets(key)});
}

std::string found(Refusal const& refusal) { return refusal.facts.empty() ? "" : refusal.facts.back().value; }

TEST(KeyRefusal, NamesTheAlgorithmThatIsNotSupported) {
    Refusal const refusal = refusalOfPublic(publicInfo(sequence({x448}), Bytes(56)));
    EXPECT_EQ(refusal.id, RefusalId::unknownKeyAlgorithm);
    EXPECT_EQ(found(refusal), "X448");
    EXPECT_EQ(refusal.offset, 6u);
    EXPECT_EQ(found(refusalOfPrivate(privateInfo(sequence({oid("2a03")}), Bytes(3)))), "1.2.3");
}

TEST(KeyRefusal, NamesTheCurveThatIsNotSupported) {
    Refusal const refusal = refusalOfPublic(publicInfo(sequence({ec, brainpool}), Bytes(65, 4)));
    EXPECT_EQ(refusal.id, RefusalId::unknownCurve);
    EXPECT_EQ(found(refusal), "brainpoolP256r1");
    EXPECT_EQ(refusal.path, "parameters");
    EXPECT_EQ(refusalOfPublic(publicInfo(sequence({ec, sequence({integer({1})})}), Bytes(65, 4))).id,
              RefusalId::explicitCurve);
    EXPECT_EQ(refusalOfPublic(publicInfo(sequence({ec}), Bytes(65, 4))).id,
              RefusalId::malformedKeyParameters);
    EXPECT_EQ(refusalOfPublic(publicInfo(sequence({ec, null}), Bytes(65, 4))).id,
              RefusalId::malformedKeyParameters);
}

TEST(KeyRefusal, TellsAMalformedPointFromOneThatIsNotOnTheCurve) {
    Bytes const algorithm = sequence({ec, p256});
    EXPECT_EQ(refusalOfPublic(publicInfo(algorithm, Bytes(64, 4))).id, RefusalId::malformedPoint);
    EXPECT_EQ(refusalOfPublic(publicInfo(algorithm, Bytes(65, 5))).id, RefusalId::malformedPoint);
    Refusal const refusal = refusalOfPublic(publicInfo(algorithm, Bytes(65, 4)));
    EXPECT_EQ(refusal.id, RefusalId::pointNotOnCurve);
    EXPECT_EQ(refusal.offset, 26u);
}

TEST(KeyRefusal, SaysWhichRsaNumberIsWrong) {
    Bytes const algorithm = sequence({rsa, null});
    Bytes const modulus = integer(concat({{0}, Bytes(64, 0xFF)}));
    auto const refusalOf = [&](Bytes const& n, Bytes const& e) {
        return refusalOfPublic(publicInfo(algorithm, sequence({n, e})));
    };
    Refusal const large = refusalOf(integer(concat({{0}, Bytes(2049, 0xFF)})), integer({3}));
    EXPECT_EQ(large.id, RefusalId::rsaKeyTooLarge);
    EXPECT_EQ(large.path, "modulus");
    EXPECT_EQ(large.facts[0].value, "16384 bits");
    EXPECT_EQ(large.facts[1].value, "16392 bits");
    EXPECT_EQ(refusalOf(integer({0x80}), integer({3})).id, RefusalId::rsaKeyUnusable);
    Refusal const even = refusalOf(modulus, integer({4}));
    EXPECT_EQ(even.id, RefusalId::rsaKeyUnusable);
    EXPECT_EQ(even.path, "publicExponent");
    EXPECT_EQ(refusalOf(integer({16}), integer({3})).path, "modulus");
    Refusal const text = refusalOf(modulus, octets({3}));
    EXPECT_EQ(text.id, RefusalId::unexpectedElement);
    EXPECT_EQ(text.path, "publicExponent");
    EXPECT_EQ(
        refusalOfPublic(publicInfo(sequence({rsa, integer({1})}), sequence({modulus, integer({3})}))).path,
        "parameters");

    // More than two primes.
    EXPECT_EQ(refusalOfPrivate(privateInfo(algorithm, sequence({integer({1})}))).id, RefusalId::keyVersion);
}

TEST(KeyRefusal, TellsTheFieldsOfAnEcPrivateKeyApart) {
    Bytes const algorithm = sequence({ec, p256});
    auto const refusalOf = [&](Bytes const& secret, Bytes const& rest) {
        return refusalOfPrivate(privateInfo(algorithm, sequence({integer({1}), octets(secret), rest})));
    };
    Refusal const zero = refusalOf(Bytes(32), {});
    EXPECT_EQ(zero.id, RefusalId::privateKeyOutOfRange);
    EXPECT_EQ(zero.path, "privateKey");
    EXPECT_EQ(refusalOf(Bytes(32, 0xFF), {}).id, RefusalId::privateKeyOutOfRange);
    EXPECT_EQ(refusalOf(Bytes(32, 1), element(0xA1, bits(Bytes(65, 4)))).id, RefusalId::publicKeyMismatch);
    Refusal const other = refusalOf(Bytes(32, 1), element(0xA0, oid("2b81040022")));
    EXPECT_EQ(other.id, RefusalId::inconsistentKey);
    EXPECT_EQ(found(other), getCurveName(Curve::p384));
}

TEST(KeyRefusal, ChecksTheLengthOfCurve25519Keys) {
    Refusal const refusal = refusalOfPublic(publicInfo(sequence({x25519}), Bytes(31)));
    EXPECT_EQ(refusal.id, RefusalId::keyLength);
    EXPECT_EQ(refusal.str(),
              "byte 12: The key has the wrong number of bytes. (expected: 32 bytes; found: 31 bytes)");
    EXPECT_EQ(refusalOfPublic(publicInfo(sequence({x25519, null}), Bytes(32))).id,
              RefusalId::malformedKeyParameters);
    EXPECT_EQ(refusalOfPublic(sequence({sequence({x25519}), element(0x03, concat({{1}, Bytes(32)}))})).id,
              RefusalId::malformedBitString);
}

TEST(KeyRefusal, SaysWhatIsWrongWithTheContainer) {
    EXPECT_EQ(refusalOfPublic({}).id, RefusalId::emptyInput);
    EXPECT_EQ(refusalOfPublic(concat({publicInfo(sequence({x25519}), Bytes(32)), {0}})).id,
              RefusalId::trailingBytes);
    EXPECT_EQ(refusalOfPrivate(sequence({integer({2}), sequence({x25519}), octets(octets(Bytes(32)))})).id,
              RefusalId::keyVersion);
    Bytes const other = sequence(
        {integer({1}), sequence({x25519}), octets(octets(Bytes(32, 1))), element(0x81, Bytes(33, 0))});
    Refusal const refusal = refusalOfPrivate(other);
    EXPECT_EQ(refusal.id, RefusalId::publicKeyMismatch);
    EXPECT_EQ(refusal.path, "publicKey");
}

TEST(KeyRefusal, OfAClassCountsInTheKeyData) {
    Refusal refusal;
    EcPublicKey key;
    EXPECT_FALSE(parseFromDerEncoded(key, brainpool, Bytes(65, 4), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::unknownCurve);
    EXPECT_EQ(refusal.offset, Refusal::nowhere);
    EXPECT_FALSE(parseFromDerEncoded(key, p256, Bytes(65, 4), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::pointNotOnCurve);
    EXPECT_EQ(refusal.offset, 0u);
    X25519PrivateKey secret;
    EXPECT_FALSE(parseFromDerEncoded(secret, {}, Bytes(32), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_TRUE(parseFromDerEncoded(secret, {}, octets(Bytes(32)), &refusal));
    EXPECT_EQ(secret.secret, Bytes(32));
}

TEST(KeyRefusal, LeavesTheRefusalAloneOnSuccess) {
    Refusal refusal;
    refusal.id = RefusalId::emptyInput;
    EXPECT_NE(parsePkcs8PublicKey(publicInfo(sequence({x25519}), Bytes(32)), &refusal), nullptr);
    EXPECT_EQ(refusal.id, RefusalId::emptyInput);
}

// --- Encrypted keys ---

Bytes const pbes2 = oid("2a864886f70d01050d"), pbkdf2 = oid("2a864886f70d01050c"),
            scrypt = oid("2b06010401da47040b"), aes128 = oid("608648016503040102"),
            camellia = oid("2a83088c9a4b3d01010102"), hmacSha512 = oid("2a864886f70d020b");

struct Encrypted {
    Bytes kdf = pbkdf2;
    Bytes count = integer({16});
    Bytes prf = {};
    Bytes cipher = aes128;
    Bytes iv = Bytes(16);
    Bytes data = Bytes(32);

    Bytes der() const {
        Bytes const derivation = sequence({kdf, sequence({octets(Bytes(8)), count, prf})});
        Bytes const scheme = sequence({cipher, octets(iv)});
        return sequence({sequence({pbes2, sequence({derivation, scheme})}), octets(data)});
    }
};

/// Where `part` begins in `whole`, where it stands once.
size_t offsetOf(Bytes const& part, Bytes const& whole) {
    return static_cast<size_t>(std::search(whole.begin(), whole.end(), part.begin(), part.end()) -
                               whole.begin());
}

Refusal refusalOf(Bytes const& der, std::string_view password = "password") {
    test::CapturedOutput const output;
    Refusal refusal;
    EXPECT_EQ(parsePkcs8EncryptedPrivateKey(der, password, &refusal), nullptr);
    EXPECT_EQ(output.text(), "");
    return refusal;
}

TEST(EncryptedKeyRefusal, TellsTheReasonsApart) {
    EXPECT_EQ(refusalOf(Encrypted{}.der()).id, RefusalId::wrongPassword);

    Refusal const kdf = refusalOf(Encrypted{.kdf = scrypt}.der());
    EXPECT_EQ(kdf.id, RefusalId::unsupportedKdf);
    EXPECT_EQ(found(kdf), "scrypt");
    EXPECT_EQ(kdf.path, "keyDerivationFunc");

    Refusal const count = refusalOf(Encrypted{.count = integer({0x7F, 0xFF, 0xFF, 0xFF})}.der());
    EXPECT_EQ(count.id, RefusalId::iterationCount);
    EXPECT_EQ(found(count), "2147483647");
    EXPECT_EQ(refusalOf(Encrypted{.count = integer({0})}.der()).id, RefusalId::iterationCount);
    EXPECT_EQ(found(refusalOf(Encrypted{.count = integer({1, 0, 0, 0, 0})}.der())), "5 bytes");

    Refusal const prf = refusalOf(Encrypted{.prf = sequence({hmacSha512, null})}.der());
    EXPECT_EQ(prf.id, RefusalId::unsupportedPrf);
    EXPECT_EQ(found(prf), "HMAC-SHA512");
    EXPECT_EQ(prf.offset, offsetOf(hmacSha512, Encrypted{.prf = sequence({hmacSha512, null})}.der()) + 2);

    Refusal const cipher = refusalOf(Encrypted{.cipher = camellia}.der());
    EXPECT_EQ(cipher.id, RefusalId::unsupportedCipher);
    EXPECT_EQ(found(cipher), "Camellia-128-CBC");
    EXPECT_EQ(cipher.offset, offsetOf(camellia, Encrypted{.cipher = camellia}.der()) + 2);

    Refusal const iv = refusalOf(Encrypted{.iv = Bytes(8, 7)}.der());
    EXPECT_EQ(iv.id, RefusalId::malformedEncryptionParameters);
    EXPECT_EQ(iv.offset, offsetOf(Bytes(8, 7), Encrypted{.iv = Bytes(8, 7)}.der()));
    EXPECT_EQ(refusalOf(Encrypted{.data = Bytes(31)}.der()).id, RefusalId::malformedCiphertext);
    EXPECT_EQ(refusalOf(Encrypted{.data = {}}.der()).id, RefusalId::malformedCiphertext);

    Bytes const pbe = sequence({oid("2a864886f70d01050a"), sequence({octets(Bytes(8)), integer({1})})});
    Refusal const scheme = refusalOf(sequence({pbe, octets(Bytes(8))}));
    EXPECT_EQ(scheme.id, RefusalId::unknownEncryption);
    EXPECT_EQ(found(scheme), "PBE-SHA1-DES");
}

TEST(EncryptedKeyRefusal, OfAKeyBehindTheRightPasswordIsTheKeys) {
    Bytes const plain = privateInfo(sequence({x448}), octets(Bytes(56)));
    PBES2Params params;
    params.kdf = hex("2a864886f70d01050c");
    params.salt = Bytes(8);
    params.iterations = 2;
    params.cipher = hex("60864801650304012a");
    params.iv = Bytes(16);
    Bytes const der =
        sequence({sequence({pbes2, encode(params)}), octets(pbes2_encrypt(plain, "right", params))});
    Refusal const refusal = refusalOf(der, "right");
    EXPECT_EQ(refusal.id, RefusalId::unknownKeyAlgorithm);
    EXPECT_EQ(refusal.path, "byte 9 of the decrypted key");
    EXPECT_EQ(refusal.offset, der.size() - (plain.size() + 16) / 16 * 16);
    EXPECT_EQ(refusalOf(der, "wrong").id, RefusalId::wrongPassword);
}

TEST(EncryptedKeyRefusal, OfCryptSaysWhy) {
    Refusal refusal;
    Bytes out{1};
    EXPECT_FALSE(pbes2_crypt({}, "", Bytes(16), out, false, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::emptyInput);
    EXPECT_TRUE(out.empty());
    EXPECT_TRUE(pbes2_encrypt(Bytes(3), "", {}, &refusal).empty());
    EXPECT_EQ(refusal.id, RefusalId::unsupportedKdf);
}

// --- Signatures ---

TEST(SignatureRefusal, TellsTheReasonsApart) {
    EcPrivateKey key;
    key.curve = Curve::p256;
    key.secret = bn64(7);
    auto const whole = parseOneAssimetricKey(encodePkcs8PrivateKey(key));
    ASSERT_NE(whole, nullptr);
    Bytes const message{1, 2, 3};
    Bytes const sig = signMessage(*whole, HashID::SHA256, message);
    Refusal refusal;
    EXPECT_TRUE(verifyMessage(*whole, HashID::SHA256, message, sig, &refusal));
    EXPECT_FALSE(refusal);
    EXPECT_FALSE(verifyMessage(*whole, HashID::SHA384, message, sig, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::signatureMismatch);
    EXPECT_FALSE(verifyMessage(*whole, HashID::SHA256, message, concat({sig, {0}}), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::trailingBytes);
    EXPECT_FALSE(
        verifyMessage(*whole, HashID::SHA256, message, sequence({integer({0}), integer({1})}), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::malformedSignature);
    EXPECT_FALSE(verifyHashed(*whole, HashID::SHA256, Bytes(20), sig, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::unsupportedDigest);
    EXPECT_FALSE(verifyHashed(X25519PublicKey(), HashID::SHA256, Bytes(32), sig, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::keyCannotVerify);
}

TEST(SignatureRefusal, OfAnRsaKeyWritesNothing) {
    RsaPrivateKey numbers;
    ASSERT_TRUE(numbers.generatePrivKey(getDefaultRng(), 2048));
    Bytes const message{1, 2, 3};
    Bytes const sig = signMessage(numbers, HashID::SHA256, message);
    test::CapturedOutput const output;
    Refusal refusal;
    EXPECT_FALSE(verifyMessage(numbers, HashID::SHA1, message, sig, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::otherDigest);
    EXPECT_FALSE(verifyMessage(numbers, HashID::SHA256, Bytes(3), sig, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::signatureMismatch);
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(verifyMessage(numbers, HashID::SHA1, message, sig));
    EXPECT_EQ(output.text(), "not correct signature hash\n");
}

// --- Writing ---

TEST(WrittenKey, OfAnEcKeyWithoutItsPointHasIt) {
    EcPrivateKey key;
    key.curve = Curve::p256;
    key.secret = bn64(7);
    Bytes const priv = encodePkcs8PrivateKey(key), pub = encodePkcs8PublicKey(key);
    auto const again = parseOneAssimetricKey(priv);
    ASSERT_NE(again, nullptr);
    auto const published = parsePkcs8PublicKey(pub);
    ASSERT_NE(published, nullptr);
    EXPECT_TRUE(published->equals(*again));
    EXPECT_TRUE(key.point == ECPoint());
}

TEST(WrittenKey, IsEmptyForNumbersThatMakeNoKey) {
    EXPECT_TRUE(encodePkcs8PrivateKey(RsaPrivateKey()).empty());
    EXPECT_TRUE(encodePkcs8PublicKey(RsaPublicKey()).empty());
    EcPublicKey point;
    point.curve = Curve::p256;
    EXPECT_TRUE(encodePkcs8PublicKey(point).empty());
    point.point = ECPoint{BigNum(asn1::blob(hex("01"))), BigNum(asn1::blob(hex("02")))};
    EXPECT_TRUE(encodePkcs8PublicKey(point).empty());
    EcPrivateKey foreign;
    foreign.curve = Curve::p256;
    foreign.secret = bn64(7);
    foreign.point = point.point; // of another secret
    EXPECT_TRUE(encodePkcs8PrivateKey(foreign).empty());
    Ed25519PublicKey ed;
    ed.pub = Bytes(31);
    EXPECT_TRUE(encodePkcs8PublicKey(ed).empty());
    EXPECT_TRUE(encodePkcs8PrivateKey(X25519PrivateKey()).empty());
}

} // namespace TEST_FILE

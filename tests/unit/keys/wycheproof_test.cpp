// Project Wycheproof's signatures, valid and not, and key agreements, through the keys.
#include "sealkit/pkcs8.h"
#include "support/slow.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <map>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

HashID hashOf(std::string const& name) {
    return name == "SHA-1"     ? HashID::SHA1
           : name == "SHA-256" ? HashID::SHA256
           : name == "SHA-384" ? HashID::SHA384
           : name == "SHA-512" ? HashID::SHA512
                               : HashID::none;
}

/// Parses each group's key once.
class KeyOfGroup {
public:
    template <typename K>
    K const* get(std::vector<unsigned char> const& der) {
        if (der != parsedFrom) {
            parsedFrom = der;
            key = parsePkcs8PublicKey(der);
        }
        return key ? dynamic_cast<K const*>(key.get()) : nullptr;
    }

private:
    std::vector<unsigned char> parsedFrom;
    std::unique_ptr<PublicKey> key;
};

// Of the cases, which would take minutes.
unsigned const everySignature = test::lessWhenSlow(1u, 4u);
unsigned const everyAgreement = test::lessWhenSlow(1u, 16u);

template <typename K>
void verify(test::Case const& c) {
    static KeyOfGroup keys;
    test::CapturedOutput const output;
    c.ignore({"flags", "curve", "uncompressed"});
    if (!c.differsOnPurpose() && c.index() % everySignature != 0)
        GTEST_SKIP() << "one of " << everySignature << " is enough here";
    K const* const key = keys.get<K>(c.bytes("publicKeyDer"));
    ASSERT_NE(key, nullptr);
    HashID const hash = hashOf(c.text("sha"));
    ASSERT_NE(hash, HashID::none) << c.text("sha");
    Bytes const message = c.bytes("msg"), signature = c.bytes("sig");
    // "acceptable" is a DigestInfo without the NULL, which is accepted.
    bool const isGood = c.text("result") != "invalid";
    c.expectAgreement(key->verifyHashed(hash, calcDigest(hash, message), signature) == isGood);
}

TEST_CASES(WycheproofRsa, IsVerifiedAsPublished, "wycheproof/rsa_signature_2048_sha256.txt",
           "wycheproof/rsa_signature_2048_sha384.txt", "wycheproof/rsa_signature_2048_sha512.txt",
           "wycheproof/rsa_signature_3072_sha256.txt", "wycheproof/rsa_signature_3072_sha384.txt",
           "wycheproof/rsa_signature_3072_sha512.txt", "wycheproof/rsa_signature_4096_sha256.txt",
           "wycheproof/rsa_signature_4096_sha384.txt", "wycheproof/rsa_signature_4096_sha512.txt",
           "wycheproof/rsa_signature_8192_sha256.txt")
(test::Case const& c) { verify<RsaPublicKey>(c); }

TEST_CASES(WycheproofEcdsa, IsVerifiedAsPublished, "wycheproof/ecdsa_secp192r1_sha256.txt",
           "wycheproof/ecdsa_secp224r1_sha256.txt", "wycheproof/ecdsa_secp224r1_sha512.txt",
           "wycheproof/ecdsa_secp256r1_sha256.txt", "wycheproof/ecdsa_secp256r1_sha512.txt",
           "wycheproof/ecdsa_secp384r1_sha256.txt", "wycheproof/ecdsa_secp384r1_sha384.txt",
           "wycheproof/ecdsa_secp384r1_sha512.txt", "wycheproof/ecdsa_secp521r1_sha512.txt")
(test::Case const& c) { verify<EcPublicKey>(c); }

TEST_CASES(WycheproofRsaSigning, SignsAsPublished, "wycheproof/rsa_pkcs1_1024_sig_gen.txt",
           "wycheproof/rsa_pkcs1_1536_sig_gen.txt", "wycheproof/rsa_pkcs1_2048_sig_gen.txt",
           "wycheproof/rsa_pkcs1_3072_sig_gen.txt", "wycheproof/rsa_pkcs1_4096_sig_gen.txt")
(test::Case const& c) {
    static Bytes parsedFrom;
    static std::unique_ptr<PrivateKey> parsed;
    test::CapturedOutput const output;
    // "acceptable" is a short modulus or a weak hash.
    c.ignore({"flags", "keyDer", "result"});
    Bytes const pkcs8 = c.bytes("privateKeyPkcs8"), message = c.bytes("msg"), published = c.bytes("sig");
    HashID const hash = hashOf(c.text("sha"));
    if (parsedFrom != pkcs8) {
        parsedFrom = pkcs8;
        parsed = parseOneAssimetricKey(pkcs8);
    }
    RsaPrivateKey const* const key = parsed ? dynamic_cast<RsaPrivateKey const*>(parsed.get()) : nullptr;
    ASSERT_NE(key, nullptr) << c.id();
    if (c.text("sha") == "SHA-224") { // there is no such hash here
        EXPECT_TRUE(key->signHashed(hash, Bytes(28)).empty()) << c.id();
        return;
    }
    ASSERT_NE(hash, HashID::none) << c.text("sha");
    EXPECT_EQ(key->signHashed(hash, calcDigest(hash, message)), published) << c.id();
}

/// `pointOf` gives the peer's point, or nothing for a key that cannot be read.
void agree(test::Case const& c, Bytes (*pointOf)(Bytes const& peer)) {
    static std::map<std::string, Curve> const curves = {
        {"224", Curve::p224}, {"256", Curve::p256}, {"384", Curve::p384}, {"521", Curve::p521}};
    test::CapturedOutput const output;
    c.ignore({"flags", "curve"});
    EcPrivateKey key;
    key.curve = curves.at(c.file().substr(std::string("ecdh_secp").size(), 3));
    key.secret = test::number(c, "private");
    Bytes const published = c.bytes("shared"), peer = c.bytes("public");
    std::string const& result = c.text("result");
    if (result == "valid" && c.index() % everyAgreement != 0)
        GTEST_SKIP() << "one of " << everyAgreement << " is enough here";
    Bytes const shared = key.exchangeKeys(pointOf(peer));
    if (result == "invalid")
        EXPECT_TRUE(shared.empty()) << c.id();
    else if (result == "valid")
        EXPECT_EQ(shared, published) << c.id();
    else // encodings that may be refused or read
        EXPECT_TRUE(shared.empty() || shared == published) << c.id();
}

TEST_CASES(WycheproofEcdh, AgreesAsPublished, "wycheproof/ecdh_secp224r1.txt",
           "wycheproof/ecdh_secp256r1.txt", "wycheproof/ecdh_secp384r1.txt", "wycheproof/ecdh_secp521r1.txt")
(test::Case const& c) {
    agree(c, [](Bytes const& peer) {
        std::unique_ptr<PublicKey> const key = parsePkcs8PublicKey(peer);
        EcPublicKey const* const ec = key ? dynamic_cast<EcPublicKey const*>(key.get()) : nullptr;
        // That of a key on another curve has another width.
        return ec ? ec->encodeToDerEncoded() : Bytes();
    });
}

TEST_CASES(WycheproofEcdhPoint, AgreesAsPublished, "wycheproof/ecdh_secp256r1_ecpoint.txt",
           "wycheproof/ecdh_secp384r1_ecpoint.txt", "wycheproof/ecdh_secp521r1_ecpoint.txt")
(test::Case const& c) {
    agree(c, [](Bytes const& peer) { return peer; });
}

} // namespace TEST_FILE

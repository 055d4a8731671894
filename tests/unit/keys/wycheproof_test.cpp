// Project Wycheproof's signatures, valid and not, and key agreements, through the keys.
#include "sealkit/pkcs8.h"
#include "support/slow.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

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
constexpr unsigned everySignature = test::lessWhenSlow(1u, 4u);
constexpr unsigned everyAgreement = test::lessWhenSlow(1u, 16u);

template <typename K>
void verifyAll(std::string const& file) {
    test::CapturedOutput const output;
    KeyOfGroup keys;
    unsigned number = 0;
    test::forEachCase("wycheproof/" + file + ".txt", [&](test::Case const& c) {
        c.ignore({"flags", "curve", "uncompressed"});
        K const* const key = keys.get<K>(c.bytes("publicKeyDer"));
        ASSERT_NE(key, nullptr) << c.id();
        HashID const hash = hashOf(c.text("sha"));
        ASSERT_NE(hash, HashID::none) << c.text("sha");
        Bytes const message = c.bytes("msg"), signature = c.bytes("sig");
        // "acceptable" is a DigestInfo without the NULL, which is accepted.
        bool const isGood = c.text("result") != "invalid";
        if (c.differsOnPurpose() || number++ % everySignature == 0)
            c.expectAgreement(key->verifyHashed(hash, calcDigest(hash, message), signature) == isGood);
    });
}

std::string nameOfFile(testing::TestParamInfo<char const*> const& file) { return file.param; }

class WycheproofRsa : public testing::TestWithParam<char const*> {};
TEST_P(WycheproofRsa, IsVerifiedAsPublished) { verifyAll<RsaPublicKey>(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Files, WycheproofRsa,
                         testing::Values("rsa_signature_2048_sha256", "rsa_signature_2048_sha384",
                                         "rsa_signature_2048_sha512", "rsa_signature_3072_sha256",
                                         "rsa_signature_3072_sha384", "rsa_signature_3072_sha512",
                                         "rsa_signature_4096_sha256", "rsa_signature_4096_sha384",
                                         "rsa_signature_4096_sha512", "rsa_signature_8192_sha256"),
                         nameOfFile);

class WycheproofEcdsa : public testing::TestWithParam<char const*> {};
TEST_P(WycheproofEcdsa, IsVerifiedAsPublished) { verifyAll<EcPublicKey>(GetParam()); }
INSTANTIATE_TEST_SUITE_P(Files, WycheproofEcdsa,
                         testing::Values("ecdsa_secp192r1_sha256", "ecdsa_secp224r1_sha256",
                                         "ecdsa_secp224r1_sha512", "ecdsa_secp256r1_sha256",
                                         "ecdsa_secp256r1_sha512", "ecdsa_secp384r1_sha256",
                                         "ecdsa_secp384r1_sha384", "ecdsa_secp384r1_sha512",
                                         "ecdsa_secp521r1_sha512"),
                         nameOfFile);

class WycheproofRsaSigning : public testing::TestWithParam<char const*> {};
TEST_P(WycheproofRsaSigning, SignsAsPublished) {
    test::CapturedOutput const output;
    Bytes parsedFrom;
    std::unique_ptr<PrivateKey> parsed;
    test::forEachCase(std::string("wycheproof/") + GetParam() + ".txt", [&](test::Case const& c) {
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
    });
}
INSTANTIATE_TEST_SUITE_P(Files, WycheproofRsaSigning,
                         testing::Values("rsa_pkcs1_1024_sig_gen", "rsa_pkcs1_1536_sig_gen",
                                         "rsa_pkcs1_2048_sig_gen", "rsa_pkcs1_3072_sig_gen",
                                         "rsa_pkcs1_4096_sig_gen"),
                         nameOfFile);

/// `pointOf` gives the peer's point, or nothing for a key that cannot be read.
void agreeOnAll(std::string const& file, Curve curve,
                std::function<Bytes(Bytes const& peer)> const& pointOf) {
    test::CapturedOutput const output;
    unsigned number = 0;
    test::forEachCase("wycheproof/" + file + ".txt", [&](test::Case const& c) {
        c.ignore({"flags", "curve"});
        EcPrivateKey key;
        key.curve = curve;
        key.secret = test::number(c, "private");
        Bytes const published = c.bytes("shared"), peer = c.bytes("public");
        std::string const& result = c.text("result");
        if (result == "valid" && number++ % everyAgreement != 0)
            return;
        Bytes const shared = key.exchangeKeys(pointOf(peer));
        if (result == "invalid")
            EXPECT_TRUE(shared.empty()) << c.id();
        else if (result == "valid")
            EXPECT_EQ(shared, published) << c.id();
        else // encodings that may be refused or read
            EXPECT_TRUE(shared.empty() || shared == published) << c.id();
    });
}

struct AgreementFile {
    char const* name;
    Curve curve;
};
std::string nameOfAgreement(testing::TestParamInfo<AgreementFile> const& file) { return file.param.name; }

class WycheproofEcdh : public testing::TestWithParam<AgreementFile> {};
TEST_P(WycheproofEcdh, AgreesAsPublished) {
    agreeOnAll(GetParam().name, GetParam().curve, [](Bytes const& peer) {
        std::unique_ptr<PublicKey> const key = parsePkcs8PublicKey(peer);
        EcPublicKey const* const ec = key ? dynamic_cast<EcPublicKey const*>(key.get()) : nullptr;
        // That of a key on another curve has another width.
        return ec ? ec->encodeToDerEncoded() : Bytes();
    });
}
INSTANTIATE_TEST_SUITE_P(Files, WycheproofEcdh,
                         testing::Values(AgreementFile{"ecdh_secp224r1", Curve::p224},
                                         AgreementFile{"ecdh_secp256r1", Curve::p256},
                                         AgreementFile{"ecdh_secp384r1", Curve::p384},
                                         AgreementFile{"ecdh_secp521r1", Curve::p521}),
                         nameOfAgreement);

class WycheproofEcdhPoint : public testing::TestWithParam<AgreementFile> {};
TEST_P(WycheproofEcdhPoint, AgreesAsPublished) {
    agreeOnAll(GetParam().name, GetParam().curve, [](Bytes const& peer) { return peer; });
}
INSTANTIATE_TEST_SUITE_P(Files, WycheproofEcdhPoint,
                         testing::Values(AgreementFile{"ecdh_secp256r1_ecpoint", Curve::p256},
                                         AgreementFile{"ecdh_secp384r1_ecpoint", Curve::p384},
                                         AgreementFile{"ecdh_secp521r1_ecpoint", Curve::p521}),
                         nameOfAgreement);

} // namespace

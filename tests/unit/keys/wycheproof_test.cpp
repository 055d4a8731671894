// Project Wycheproof's signatures, valid and not, through the keys' own check.
#include "sealkit/pkcs8.h"

#include "keys/key_cast.h"
#include "unit/keys/support.h"

#include <gtest/gtest.h>

namespace {

HashID hashOf(std::string const& name) {
    return name == "SHA-256"   ? HashID::SHA256
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
        return key ? detail::keyCast<K>(*key) : nullptr;
    }

private:
    std::vector<unsigned char> parsedFrom;
    std::unique_ptr<PublicKey> key;
};

template <typename K>
void verifyAll(std::string const& file) {
    test::CapturedOutput const output;
    KeyOfGroup keys;
    test::forEachCase("wycheproof/" + file + ".txt", [&](test::Case const& c) {
        c.ignore({"flags", "curve", "uncompressed"});
        K const* const key = keys.get<K>(c.bytes("publicKeyDer"));
        ASSERT_NE(key, nullptr) << c.id();
        HashID const hash = hashOf(c.text("sha"));
        ASSERT_NE(hash, HashID::none) << c.text("sha");
        bool const verified = key->verifyHashed(hash, calcDigest(hash, c.bytes("msg")), c.bytes("sig"));
        // "acceptable" is a DigestInfo without the NULL, which is accepted.
        c.expectAgreement(verified == (c.text("result") != "invalid"));
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

} // namespace

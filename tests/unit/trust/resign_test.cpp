// What `sign` makes, and what others made and `sign` signs anew, under `verifySignature`.

#include "chains.h"
#include "sealkit/ec.h"
#include "sealkit/pkcs8.h"
#include "sealkit/req.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

using test::CapturedOutput;

std::shared_ptr<PrivateKey> readKey(std::string const& name) {
    return readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/keys/private/" + name + ".pem", "");
}

bool verifies(X509Base const& object, PublicKey const& key) {
    PathRes result;
    return verifySignature(&object, encodePkcs8PublicKey(key), &result);
}

template <typename Object>
Object parsed(std::vector<unsigned char> const& encoded) {
    CapturedOutput quiet;
    Object object;
    EXPECT_TRUE(object.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    return object;
}

constexpr char const* keys[] = {"openssl-pkcs8-rsa",       "openssl-pkcs8-prime192v1",
                                "openssl-pkcs8-secp224r1", "openssl-pkcs8-prime256v1",
                                "openssl-pkcs8-secp384r1", "openssl-pkcs8-secp521r1",
                                "openssl-ed25519"};

TEST(Resign, WhatIsMadeVerifiesWithEachKeyUnderEachHash) {
    auto const other = readKey("ssh-keygen-PKCS8-rsa");
    for (char const* name : keys) {
        auto const key = readKey(name);
        ASSERT_NE(key, nullptr) << name;
        for (HashID hash : {HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512}) {
            X509Certificate certificate;
            certificate.serialNumber = {0x80};
            certificate.setPublicKey(*key);
            X509Crl crl;
            crl.revoked = {{{0x80}, {}, 1}};
            X509Req request;
            request.setPublicKey(*key);
            for (X509Base* object : {static_cast<X509Base*>(&certificate), static_cast<X509Base*>(&crl),
                                     static_cast<X509Base*>(&request)}) {
                ASSERT_TRUE(object->sign(*key, hash)) << name;
                EXPECT_TRUE(verifies(*object, *key)) << name;
                EXPECT_FALSE(verifies(*object, *other)) << name;
            }
            EXPECT_TRUE(verifies(parsed<X509Certificate>(certificate.serialize()), *key));
            EXPECT_TRUE(verifies(parsed<X509Crl>(crl.serialize()), *key));
            EXPECT_TRUE(verifies(parsed<X509Req>(request.serialize()), *key));
            certificate.tbs.back() ^= 1;
            EXPECT_FALSE(verifies(certificate, *key)) << name;
        }
    }
}

/// The extensions with their bytes, whatever their order.
template <typename Object>
std::vector<std::vector<unsigned char>> extensionsOf(Object const& object) {
    std::vector<std::vector<unsigned char>> list;
    for (X509Extension const& extension : object.extensions()) {
        std::vector<unsigned char>& one = list.emplace_back(extension.oid.begin(), extension.oid.end());
        one.push_back(extension.critical);
        one.insert(one.end(), extension.value.begin(), extension.value.end());
    }
    std::sort(list.begin(), list.end());
    return list;
}

std::string dumpOf(X509Certificate const& certificate) {
    std::ostringstream out;
    X509Certificate copy = certificate;
    copy.signatureAlgorithm = {};
    copy.dump(out);
    return out.str();
}

void expectSameUnder(PrivateKey const& key, X509Certificate const& before) {
    X509Certificate certificate = before;
    ASSERT_TRUE(certificate.sign(key)) << before.subject.str();
    EXPECT_TRUE(verifies(certificate, key));
    X509Certificate const after = parsed<X509Certificate>(certificate.serialize());
    EXPECT_EQ(dumpOf(after), dumpOf(before));
    EXPECT_TRUE(after.subjectBytes() == before.subjectBytes());
    EXPECT_TRUE(after.issuerBytes() == before.issuerBytes());
    EXPECT_EQ(after.subjectPublicKeyInfo, before.subjectPublicKeyInfo);
    EXPECT_EQ(after.serialNumber, before.serialNumber);
    EXPECT_EQ(after.notBefore, before.notBefore);
    EXPECT_EQ(after.notAfter, before.notAfter);
    EXPECT_EQ(extensionsOf(after), extensionsOf(before));
}

TEST(Resign, TheRootsOfThisMachineKeepAllTheySay) {
    CertificateChain roots;
    {
        CapturedOutput quiet;
        roots = readCertChainFromFile("/etc/ssl/certs/ca-certificates.crt");
    }
    if (roots.empty())
        GTEST_SKIP() << "no ca-certificates here";
    std::shared_ptr<PrivateKey> const signers[] = {
        readKey("openssl-pkcs8-rsa"), readKey("openssl-pkcs8-prime256v1"), readKey("openssl-ed25519")};
    size_t turn = 0;
    for (auto const& root : roots)
        expectSameUnder(*signers[turn++ % std::size(signers)], *root);
    std::cout << roots.size() << " roots signed anew" << std::endl;
}

TEST(Resign, WhatAPeerMadeKeepsAllItSays) {
    auto const key = readKey("openssl-ed25519");
    for (char const* name : {"root", "intermediate", "leaf", "plain"}) {
        CapturedOutput quiet;
        for (auto const& certificate :
             readCertChainFromFile(SEALKIT_TEST_DATA "/vectors/x509/" + std::string(name) + ".pem"))
            expectSameUnder(*key, *certificate);
    }
    for (char const* name : {"empty", "revoked"}) {
        CapturedOutput quiet;
        auto const before = readCrlFromFile(SEALKIT_TEST_DATA "/vectors/x509/" + std::string(name) + ".crl");
        ASSERT_NE(before, nullptr);
        X509Crl crl = *before;
        ASSERT_TRUE(crl.sign(*key));
        EXPECT_TRUE(verifies(crl, *key));
        X509Crl const after = parsed<X509Crl>(crl.serialize());
        EXPECT_TRUE(after.issuerBytes() == before->issuerBytes());
        EXPECT_EQ(after.thisUpdate, before->thisUpdate);
        EXPECT_EQ(after.nextUpdate, before->nextUpdate);
        EXPECT_EQ(extensionsOf(after), extensionsOf(*before));
        EXPECT_EQ(crl.serializeRevokedCerts(), X509Crl(*before).serializeRevokedCerts());
    }
}

} // namespace TEST_FILE

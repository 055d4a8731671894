#include "messages.h"

#include "sealkit/keys.h"

#include <gmock/gmock.h>

namespace {

using namespace test;
using namespace test::der;
using testing::HasSubstr;

Bytes const dataType = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};

PKCS7SignedData read(std::string const& name) {
    PKCS7SignedData message;
    EXPECT_TRUE(parseInto(message, readMessage(name)).isGood);
    return message;
}

/// Empty when the message verifies.
std::string verdict(PKCS7SignedData const& message, CertificateMemoryStore const& store,
                    asn1::blob detached = {}, TimePoint now = whenValid) {
    CapturedOutput quiet;
    std::string reason = "untouched";
    if (message.verify(store, detached, now, &reason)) {
        EXPECT_EQ(reason, "untouched");
        return "";
    }
    EXPECT_FALSE(message.verify(store, detached, now, nullptr));
    return reason;
}

TEST(SignedDataVerify, TrustsWhatOpenSslSigned) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    EXPECT_EQ(verdict(read("attached.der"), store), "");
    EXPECT_EQ(verdict(read("two-signers.der"), store), "");
    EXPECT_EQ(verdict(read("detached.der"), store, readMessage("content.txt")), "");
    EXPECT_EQ(verdict(read("attached.der"), store, readMessage("content.txt")), "");
}

TEST(SignedDataVerify, TrustsWhatTheLibrarySigned) {
    PKCS7SignedData message;
    ASSERT_TRUE(
        message.create(*messageCertificate("alice.pem"), *aliceKey(), dataType, "letter", HashID::SHA512));
    CertificateMemoryStore store = storeOf("ca.pem");
    EXPECT_THAT(verdict(message, store), HasSubstr("not trusted"));
    message.certificates.push_back(messageCertificate("sub.pem"));
    EXPECT_EQ(verdict(message, store), "");
    EXPECT_EQ(verdict(message, storeOf("sub.pem")), "");
    message.content.clear();
    EXPECT_EQ(verdict(message, store, "letter"), "");
    EXPECT_THAT(verdict(message, store, "lettre"), HasSubstr("it signed another content"));
}

TEST(SignedDataVerify, RefusesAMessageWithoutSigners) {
    EXPECT_EQ(verdict(read("certs-and-crl.der"), storeOf("ca.pem")), "the message has no signers");
}

TEST(SignedDataVerify, ComparesContentWithinAndWithout) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    EXPECT_EQ(verdict(read("attached.der"), store, "other"), "the message holds another content");
    EXPECT_THAT(verdict(read("detached.der"), store), HasSubstr("it signed another content"));
    PKCS7SignedData message = read("attached.der");
    message.content.back() ^= 1;
    EXPECT_THAT(verdict(message, store), HasSubstr("it signed another content"));
    message = read("attached.der");
    message.content.push_back(0);
    EXPECT_EQ(verdict(message, store), "the message's content is malformed");
}

TEST(SignedDataVerify, ComparesTheContentType) {
    PKCS7SignedData message = read("attached.der");
    message.contentType.back() ^= 1;
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("it signed a content of another type"));
}

TEST(SignedDataVerify, ChecksEverySignatureAndNamesTheSigner) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    for (size_t index : {0u, 1u}) {
        PKCS7SignedData message = read("two-signers.der");
        PKCS7SignerInfo& signer = *message.signerInfos[index];
        signer.encryptedDigest.back() ^= 1;
        std::string const serial = signer.serialNumber.back() == 1 ? "20:01" : "20:02";
        EXPECT_EQ(verdict(message, store),
                  "signer " + std::to_string(index + 1) + " (serial number " + serial +
                      " of \"C=UY, O=Acme, CN=Acme mail authority\"): its signature does not verify");
    }
    PKCS7SignedData message = read("attached.der");
    message.signerInfos[0]->authAttributes.back() ^= 1;
    EXPECT_THAT(verdict(message, store), HasSubstr("its signature does not verify"));
}

TEST(SignedDataVerify, FindsTheCertificateByIssuerAndSerial) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    PKCS7SignedData message = read("attached.der");
    message.signerInfos[0]->serialNumber.back() ^= 1;
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not at hand"));
    message = read("attached.der");
    message.signerInfos[0]->issuer = messageCertificate("alice.pem")->subject.serialize();
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not at hand"));
    message = read("attached.der");
    message.certificates.clear();
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not at hand"));
}

TEST(SignedDataVerify, FindsASelfSignedSignerInTheStore) {
    X509Certificate own;
    auto const key = aliceKey();
    own.serialNumber = {5};
    own.issuer.commonName = own.subject.commonName = "own";
    own.notBefore = TimePoint::fromSeconds(whenValid.seconds - 1000);
    own.notAfter = TimePoint::fromSeconds(whenValid.seconds + 1000);
    own.setPublicKey(*key);
    ASSERT_TRUE(own.sign(*key, HashID::SHA256));
    PKCS7SignedData message;
    ASSERT_TRUE(message.create(own, *key, dataType, "letter", HashID::SHA256));
    CertificateMemoryStore store;
    EXPECT_THAT(verdict(message, store), HasSubstr("not trusted"));
    message.certificates.clear();
    EXPECT_THAT(verdict(message, store), HasSubstr("not at hand"));
    store.certs.push_back(std::make_shared<X509Certificate>(own));
    EXPECT_EQ(verdict(message, store), "");
    own.serialNumber = {6};
    store.certs[0] = std::make_shared<X509Certificate>(own);
    EXPECT_THAT(verdict(message, store), HasSubstr("not at hand"));
}

TEST(SignedDataVerify, FindsASignerByTheIssuerAsItIsWritten) {
    // The issuer's attributes stand in an order of their own, which is not the one that is written.
    Bytes const issuer = name({{"2.5.4.3", "ca"}, {"2.5.4.6", "UY"}});
    auto const key = aliceKey();
    auto const issue = [&](Bytes const& subject, unsigned char serial) {
        auto made = std::make_shared<X509Certificate>();
        made->serialNumber = {serial};
        EXPECT_TRUE(made->setIssuer(issuer) && made->setSubject(subject));
        made->notBefore = TimePoint::fromSeconds(whenValid.seconds - 1000);
        made->notAfter = TimePoint::fromSeconds(whenValid.seconds + 1000);
        made->basicConstraints = 1;
        made->setPublicKey(*key);
        EXPECT_TRUE(made->sign(*key, HashID::SHA256));
        return made;
    };
    CertificateMemoryStore store;
    store.certs.push_back(issue(issuer, 1));
    PKCS7SignedData message;
    ASSERT_TRUE(
        message.create(*issue(name({{"2.5.4.3", "leaf"}}), 2), *key, dataType, "letter", HashID::SHA256));
    EXPECT_NE(message.signerInfos[0]->issuer, issuer);
    EXPECT_EQ(verdict(message, store), "");
    message.signerInfos[0]->issuer = issuer;
    EXPECT_EQ(verdict(message, store), "");
}

TEST(SignedDataVerify, ChecksTheKeysKind) {
    PKCS7SignedData message = read("attached.der");
    auto const certificate = std::make_shared<X509Certificate>(*messageCertificate("alice.pem"));
    Ed25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(Bytes(32, 7)));
    certificate->setPublicKey(key);
    message.certificates.insert(message.certificates.begin(), certificate);
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("its certificate has no RSA key"));
    certificate->subjectPublicKeyInfo = {1};
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("its certificate has no RSA key"));
}

TEST(SignedDataVerify, AsksTheStore) {
    PKCS7SignedData const message = read("attached.der");
    EXPECT_THAT(verdict(message, CertificateMemoryStore()), HasSubstr("its certificate is not trusted: "));
    EXPECT_THAT(verdict(message, storeOf("tsa.pem")), HasSubstr("its certificate is not trusted: "));
    EXPECT_EQ(verdict(message, storeOf("sub.pem")), "");
    TimePoint const early = TimePoint::fromSeconds(0);
    EXPECT_THAT(verdict(message, storeOf("ca.pem"), {}, early), HasSubstr("cert not valid (before: "));
}

TEST(SignedDataVerify, RefusesAChainThatAnotherKeySigned) {
    PKCS7SignedData message = read("attached.der");
    for (auto& certificate : message.certificates) {
        auto copy = std::make_shared<X509Certificate>(*certificate);
        if (copy->serialNumber == Bytes{0x20, 0x01})
            copy->signature.back() ^= 1;
        certificate = copy;
    }
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("not trusted"));
    EXPECT_THAT(verdict(message, storeOf("sub.pem")), HasSubstr("not trusted"));
}

TEST(SignedDataVerify, TriesIssuersOfTheSameNameUpToSixteen) {
    for (size_t decoys : {15u, 16u}) {
        PKCS7SignedData message = read("attached.der");
        auto decoy = std::make_shared<X509Certificate>(*messageCertificate("sub.pem"));
        decoy->subjectPublicKeyInfo = messageCertificate("tsa.pem")->subjectPublicKeyInfo;
        message.certificates.insert(message.certificates.begin(), decoys, decoy);
        EXPECT_EQ(verdict(message, storeOf("ca.pem")).empty(), decoys == 15) << decoys;
    }
}

TEST(SignedDataVerify, GoesOnWhereTheStoresIssuerHasAnotherKey) {
    CertificateMemoryStore store = storeOf("ca.pem");
    auto decoy = std::make_shared<X509Certificate>(*messageCertificate("sub.pem"));
    decoy->subjectPublicKeyInfo = messageCertificate("tsa.pem")->subjectPublicKeyInfo;
    decoy->subjectKeyId = {1};
    store.certs.insert(store.certs.begin(), decoy);
    EXPECT_EQ(verdict(read("attached.der"), store), "");
}

} // namespace

#include "messages.h"

#include "sealkit/bignum.h"
#include "sealkit/keys.h"
#include "sealkit/path.h"
#include "sealkit/signature.h"
#include "support/slow.h"

#include <gmock/gmock.h>

namespace TEST_FILE {

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

TEST(SignedDataVerify, AsksOfTheChainsWhatTheOptionsSay) {
    PKCS7SignedData const message = read("attached.der");
    CertificateMemoryStore const store = storeOf("ca.pem");
    std::string reason;
    PathOptions options;
    options.now = TimePoint::fromSeconds(0);
    EXPECT_FALSE(message.verify(store, {}, options, &reason));
    EXPECT_THAT(reason, HasSubstr("not trusted"));
    options.now = messageCertificate("alice.pem")->notBefore;
    EXPECT_TRUE(message.verify(store, {}, options, &reason));
    options.hostName = "nobody.test";
    EXPECT_FALSE(message.verify(store, {}, options, &reason));
    EXPECT_THAT(reason, HasSubstr("name verification failed"));
    options.hostName = {};
    options.rules = PathRules::platform | PathRules::rfc5280;
    EXPECT_TRUE(message.verify(store, {}, options, &reason)) << reason;
    options.checkCrls = true;
    EXPECT_FALSE(message.verify(store, {}, options, &reason));
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

/// A message of alice's with these signed attributes over "letter", signed as they are.
PKCS7SignedData signedWith(Bytes const& attributes, HashID hash = HashID::SHA256) {
    PKCS7SignedData message;
    EXPECT_TRUE(message.create(*messageCertificate("alice.pem"), *aliceKey(), dataType, "letter", hash));
    message.certificates.push_back(messageCertificate("sub.pem"));
    PKCS7SignerInfo& signer = *message.signerInfos[0];
    signer.authAttributes = attributes;
    signer.encryptedDigest = signHashed(*aliceKey(), hash, signer.messageDigest(hash));
    PKCS7SignedData again;
    Outcome const outcome = parseInto(again, saved(message));
    EXPECT_TRUE(outcome.isGood);
    return again;
}

Bytes digestAttribute(std::string const& content) {
    return attribute("1.2.840.113549.1.9.4", octetString(calcDigest(HashID::SHA256, content)));
}

TEST(SignedDataVerify, WantsTypeAndDigestOnceEach) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    Bytes const type = contentTypeAttribute(), digest = digestAttribute("letter");
    Bytes const otherType = attribute("1.2.840.113549.1.9.3", oid("1.2.3")),
                unknown = attribute("1.2.3", null());
    EXPECT_EQ(verdict(signedWith(join({type, digest})), store), "");
    EXPECT_EQ(verdict(signedWith(join({digest, unknown, type, unknown})), store), "") << "in any order";
    char const* const noType = "it does not name one type of content";
    EXPECT_THAT(verdict(signedWith(digest), store), HasSubstr(noType));
    EXPECT_THAT(verdict(signedWith(join({type, type, digest})), store), HasSubstr(noType));
    EXPECT_THAT(verdict(signedWith(join({otherType, digest, type})), store), HasSubstr(noType));
    PKCS7SignedData empty = signedWith(type);
    empty.signerInfos[0]->authAttributes.clear();
    EXPECT_THAT(verdict(empty, store), HasSubstr(noType));
    EXPECT_THAT(verdict(signedWith(join({otherType, digest})), store),
                HasSubstr("it signed a content of another type"));
    char const* const noDigest = "it does not hold one digest of the content";
    EXPECT_THAT(verdict(signedWith(type), store), HasSubstr(noDigest));
    EXPECT_THAT(verdict(signedWith(join({type, digest, digest})), store), HasSubstr(noDigest));
    EXPECT_THAT(verdict(signedWith(join({type, digestAttribute("other"), digest})), store),
                HasSubstr(noDigest));
    EXPECT_THAT(verdict(signedWith(join({type, attribute("1.2.840.113549.1.9.4", octetString({}))})), store),
                HasSubstr(noDigest));
    EXPECT_THAT(verdict(signedWith(join({type, digestAttribute("other")})), store),
                HasSubstr("it signed another content"));
}

TEST(SignedDataVerify, BelievesWhatIsSignedAndNotWhatIsRemembered) {
    PKCS7SignedData message = read("detached.der");
    PKCS7SignerInfo& signer = *message.signerInfos[0];
    signer.addContentDigest(dataType, "another content", signer.digestAlgorithm);
    ASSERT_TRUE(signer.verifyContentDigest(dataType, "another content", signer.digestAlgorithm));
    EXPECT_THAT(verdict(message, storeOf("ca.pem"), "another content"),
                HasSubstr("it signed another content"));
    message.contentType = signer.contentType = {0x2a, 3};
    EXPECT_THAT(verdict(message, storeOf("ca.pem"), readMessage("content.txt")),
                HasSubstr("it signed a content of another type"));
}

TEST(SignedDataVerify, WantsTheSignatureOverASet) {
    PKCS7SignedData message = signedWith(join({contentTypeAttribute(), digestAttribute("letter")}));
    PKCS7SignerInfo& signer = *message.signerInfos[0];
    Bytes const attributes = signer.authAttributes;
    ASSERT_EQ(verdict(message, storeOf("ca.pem")), "");
    for (Bytes const& other : {context(0, attributes), sequence(attributes), attributes}) {
        signer.encryptedDigest = signHashed(*aliceKey(), HashID::SHA256, calcDigest(HashID::SHA256, other));
        EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("its signature does not verify"));
    }
}

TEST(SignedDataVerify, DoesNotAskForTheListOfDigestAlgorithms) {
    PKCS7SignedData message = read("attached.der");
    message.digestAlgorithms.clear();
    EXPECT_EQ(verdict(message, storeOf("ca.pem")), "");
    message.signerInfos[0]->digestAlgorithm = HashID::SHA512;
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("it signed another content"));
    message.signerInfos[0]->digestAlgorithm = HashID::none;
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("it signed another content"));
}

TEST(SignedDataVerify, DigestsTheContentsOfASequence) {
    PKCS7SignedData message = signedWith(join({contentTypeAttribute(), digestAttribute("letter")}));
    message.content = element(0x30, bytes("letter"));
    EXPECT_EQ(verdict(message, storeOf("ca.pem")), "") << "RFC 5652, section 5.2.1";
    message.content = element(0x30, octetString(bytes("letter")));
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("it signed another content"));
}

TEST(SignedDataVerify, RefusesASignatureMadeWithoutTheKeyUnderASmallExponent) {
    auto const certificate = std::make_shared<X509Certificate>(*messageCertificate("alice.pem"));
    RsaPublicKey key = dynamic_cast<RsaPublicKey const&>(*certificate->parsePublicKey());
    key.e = bn64(3);
    certificate->setPublicKey(key);
    PKCS7SignedData message = signedWith(join({contentTypeAttribute(), digestAttribute("letter")}));
    message.certificates[0] = certificate;
    PKCS7SignerInfo& signer = *message.signerInfos[0];

    // 00 01 FF.. 00 DigestInfo, with parameters that make the block a cube: its root is put together of the
    // bits that the front of the block asks for and those that its end does (D. Bleichenbacher, CRYPTO 2006,
    // rump session).
    unsigned char variant = 0;
    while (!(signer.messageDigest(HashID::SHA256).back() & 1))
        signer.authAttributes =
            join({contentTypeAttribute(), digestAttribute("letter"), attribute("1.2.3", integer(++variant))});
    Bytes const end = octetString(signer.messageDigest(HashID::SHA256));
    Bytes const sha256 = oid("2.16.840.1.101.3.4.2.1");
    size_t const parametersSize = 256 - 11 - 3 - 3 - sha256.size() - 3 - end.size();
    Bytes const parameters = octetString(Bytes(parametersSize));
    Bytes const block = join({{0, 1}, Bytes(8, 0xFF), {0}, sequence(sequence(sha256, parameters), end)});
    ASSERT_EQ(block.size(), 256u);
    BigNum const wanted{asn1::blob(block)};
    BigNum low = bn64(0), high = bn64(0);
    for (unsigned bit = 0; bit < 8 * end.size(); bit++) {
        BigNum cube = low * low * low, same = wanted;
        cube.modBy2Pow(bit + 1);
        same.modBy2Pow(bit + 1);
        if (cube != same)
            low.setBit(bit, true);
    }
    for (unsigned bit = 700; bit-- > 8 * end.size();) {
        BigNum more = high;
        more.setBit(bit, true);
        // Rounded up, the parameters being zeros so far.
        if (more * more * more <= wanted + (bn64(1) << 1700))
            high = more;
    }
    BigNum const root = high + low;
    Bytes const forged = (root * root * root).bin(256);
    ASSERT_TRUE(std::equal(forged.begin(), forged.begin() + 40, block.begin()) &&
                std::equal(end.rbegin(), end.rend(), forged.rbegin()))
        << "the forgery is none";
    signer.encryptedDigest = root.bin(256);
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("its signature does not verify"));
    key.e = bn64(1);
    certificate->setPublicKey(key);
    signer.encryptedDigest = block;
    EXPECT_THAT(verdict(message, storeOf("ca.pem")), HasSubstr("its certificate has no RSA key"));
}

TEST(SignedDataVerify, PrefersTheExactIssuerToOneThatIsWrittenAlike) {
    PKCS7SignedData message = read("attached.der");
    // Of the same serial number, and an issuer that becomes the right one when it is written anew.
    auto const decoy = std::make_shared<X509Certificate>(*messageCertificate("alice.pem"));
    ASSERT_TRUE(decoy->setIssuer(
        name({{"2.5.4.3", "Acme mail authority"}, {"2.5.4.10", "Acme"}, {"2.5.4.6", "UY"}})));
    decoy->setPublicKey(*messageCertificate("tsa.pem")->parsePublicKey());
    ASSERT_TRUE(decoy->sign(*aliceKey(), HashID::SHA256));
    message.signerInfos[0]->issuer = decoy->issuer.serialize();
    auto const exact = std::make_shared<X509Certificate>(*messageCertificate("alice.pem"));
    ASSERT_TRUE(exact->setIssuer(message.signerInfos[0]->issuer));
    ASSERT_TRUE(exact->sign(*aliceKey(), HashID::SHA256));
    message.certificates = {decoy, exact};
    EXPECT_EQ(message.findCertificate(*message.signerInfos[0]), exact);
    EXPECT_THAT(verdict(message, CertificateMemoryStore()), HasSubstr("not trusted"));
    message.certificates = {decoy};
    EXPECT_EQ(message.findCertificate(*message.signerInfos[0]), decoy);
    EXPECT_THAT(verdict(message, CertificateMemoryStore()), HasSubstr("its signature does not verify"));
}

/// A CA certificate or, with `isCa` false, another, under the key of alice unless the key is given.
std::shared_ptr<X509Certificate> issue(std::string const& issuer, std::string const& subject,
                                       unsigned char serial, bool isCa = true, int daysLeft = 1) {
    auto made = std::make_shared<X509Certificate>();
    made->serialNumber = {serial};
    made->issuer.commonName = issuer;
    made->subject.commonName = subject;
    made->notBefore = TimePoint::fromSeconds(whenValid.seconds - 10 * 86400);
    made->notAfter = TimePoint::fromSeconds(whenValid.seconds + daysLeft * 86400);
    made->basicConstraints = isCa ? 1 : 0;
    made->setPublicKey(*aliceKey());
    EXPECT_TRUE(made->sign(*aliceKey(), HashID::SHA256));
    return made;
}

PKCS7SignedData signedBy(std::shared_ptr<X509Certificate> const& certificate) {
    PKCS7SignedData message;
    EXPECT_TRUE(message.create(*certificate, *aliceKey(), dataType, "letter", HashID::SHA256));
    return message;
}

TEST(SignedDataVerify, TriesOtherChainsWhereOneIsNotTrusted) {
    auto const leaf = issue("sub", "leaf", 1, false);
    auto const expired = issue("root", "sub", 2, true, -1), elsewhere = issue("stranger", "sub", 3),
               good = issue("root", "sub", 4), noCa = issue("root", "sub", 5, false);
    CertificateMemoryStore store;
    store.certs = {issue("root", "root", 6)};
    PKCS7SignedData message = signedBy(leaf);
    message.certificates.insert(message.certificates.end(), {expired, elsewhere, noCa});
    EXPECT_THAT(verdict(message, store), HasSubstr("cert not valid (after: ")) << "what the first one lacks";
    message.certificates.push_back(good);
    EXPECT_EQ(verdict(message, store), "");
}

TEST(SignedDataVerify, DoesNotTakeAnImpostorForTheStoresIssuer) {
    Ed25519PrivateKey impostorKey;
    ASSERT_TRUE(impostorKey.initPrivate(Bytes(32, 7)));
    for (bool const hasKeyId : {false, true}) {
        auto const root = issue("root", "root", 1), impostor = issue("root", "root", 1),
                   leaf = issue("root", "leaf", 2, false);
        if (hasKeyId)
            root->subjectKeyId = impostor->subjectKeyId = leaf->authorityKeyId = {1, 2, 3};
        ASSERT_TRUE(root->sign(*aliceKey(), HashID::SHA256));
        impostor->setPublicKey(impostorKey);
        ASSERT_TRUE(impostor->sign(impostorKey, HashID::SHA256));
        ASSERT_TRUE(leaf->sign(impostorKey, HashID::SHA256));
        PKCS7SignedData message = signedBy(leaf);
        message.certificates.push_back(impostor);
        CertificateMemoryStore store;
        store.certs = {impostor};
        EXPECT_EQ(verdict(message, store), "");
        store.certs = {root};
        EXPECT_THAT(verdict(message, store), HasSubstr("cert signature is invalid"));
    }
}

TEST(SignedDataVerify, EndsWhereIssuersIssueEachOther) {
    PKCS7SignedData message = signedBy(issue("a", "leaf", 1, false));
    for (unsigned char serial = 0; serial < 40; serial++) {
        message.certificates.push_back(issue("a", "b", serial));
        message.certificates.push_back(issue("b", "a", serial));
    }
    CertificateMemoryStore store;
    store.certs = {issue("root", "root", 6)};
    EXPECT_THAT(verdict(message, store), HasSubstr("not trusted"));
    message.certificates.push_back(issue("root", "a", 99));
    EXPECT_THAT(verdict(message, store), HasSubstr("not trusted")) << "behind more than are tried";
}

TEST(SignedDataVerify, FollowsChainsOfSixteenCertificates) {
    for (unsigned char above : {14, 15}) {
        PKCS7SignedData message = signedBy(issue("1", "leaf", 1, false));
        for (unsigned char number = 1; number <= above; number++)
            message.certificates.push_back(issue(std::to_string(number + 1), std::to_string(number), number));
        CertificateMemoryStore store;
        std::string const root = std::to_string(above + 1);
        store.certs = {issue(root, root, 1)};
        EXPECT_EQ(verdict(message, store).empty(), above == 14) << int{above};
    }
}

TEST(SignedDataVerify, SaysNothingOnStandardOutputAboutUnknownAttributesOfIssuers) {
    PKCS7SignedData message = read("attached.der");
    message.signerInfos[0]->issuer = name({{"2.5.4.3", "ca"}, {"1.2.3", "unknown"}});
    CapturedOutput output;
    std::string reason;
    EXPECT_FALSE(message.verify(storeOf("ca.pem"), {}, whenValid, &reason));
    EXPECT_EQ(output.text(), "");
    message.signerInfos[0]->issuer = {0x30, 0x7F};
    EXPECT_FALSE(message.verify(storeOf("ca.pem"), {}, whenValid, &reason));
    EXPECT_THAT(reason, HasSubstr("its certificate is not available"));
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
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not available"));
    message = read("attached.der");
    message.signerInfos[0]->issuer = messageCertificate("alice.pem")->subject.serialize();
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not available"));
    EXPECT_EQ(message.findCertificate(*message.signerInfos[0]), nullptr);
    message = read("attached.der");
    message.certificates.clear();
    EXPECT_THAT(verdict(message, store), HasSubstr("its certificate is not available"));
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
    EXPECT_THAT(verdict(message, store), HasSubstr("not available"));
    store.certs.push_back(std::make_shared<X509Certificate>(own));
    EXPECT_EQ(verdict(message, store), "");
    own.serialNumber = {6};
    store.certs[0] = std::make_shared<X509Certificate>(own);
    EXPECT_THAT(verdict(message, store), HasSubstr("not available"));
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

/// A certificate with the name of the signer's issuer and another key.
std::shared_ptr<X509Certificate> decoy(unsigned number) {
    auto made = std::make_shared<X509Certificate>(*messageCertificate("sub.pem"));
    made->subjectPublicKeyInfo = messageCertificate("tsa.pem")->subjectPublicKeyInfo;
    constexpr size_t inModulus = 60; // Of the key, which is another one for each number.
    made->subjectPublicKeyInfo[inModulus] = static_cast<unsigned char>(number >> 8);
    made->subjectPublicKeyInfo[inModulus + 1] = static_cast<unsigned char>(number);
    made->serialNumber = {1, static_cast<unsigned char>(number >> 8), static_cast<unsigned char>(number)};
    EXPECT_TRUE(made->sign(*aliceKey(), HashID::SHA256));
    return made;
}

TEST(SignedDataVerify, TriesIssuersOfTheSameNameWithinABound) {
    CertificateChain made;
    for (unsigned number = 0; number < lessWhenSlow(500u, 65u); number++)
        made.push_back(decoy(number));
    for (size_t decoys : {size_t{60}, size_t{64}, made.size()}) {
        PKCS7SignedData message = read("attached.der");
        message.certificates.insert(message.certificates.begin(), made.begin(),
                                    made.begin() + static_cast<std::ptrdiff_t>(decoys));
        EXPECT_EQ(verdict(message, storeOf("ca.pem")).empty(), decoys == 60) << decoys;
    }
}

TEST(SignedDataVerify, GoesOnWhereTheStoresIssuerHasAnotherKey) {
    CertificateMemoryStore store = storeOf("ca.pem");
    auto const other = decoy(1);
    other->subjectKeyId = {1};
    store.certs.insert(store.certs.begin(), other);
    EXPECT_EQ(verdict(read("attached.der"), store), "");
}

} // namespace TEST_FILE

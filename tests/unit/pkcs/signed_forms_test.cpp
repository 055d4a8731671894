// Messages with signers of every kind: read for the standard rules, made and checked.
#include "sealkit/ber.h"
#include "sealkit/message.h"
#include "sealkit/message_check.h"
#include "sealkit/oid.h"
#include "sealkit/rng.h"
#include "sealkit/signature.h"

#include "findings.h"
#include "messages.h"
#include "support/rngs.h"

#include <gmock/gmock.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr char content[] = "Pay the bearer 100 pesos.\n";
constexpr HashID sha256 = HashID::SHA256, sha384 = HashID::SHA384, sha512 = HashID::SHA512;

/// A self-signed certificate with its key.
struct Holder {
    std::unique_ptr<PrivateKey> key;
    X509Certificate certificate;
};

Holder holderOf(std::unique_ptr<PrivateKey> key, std::string const& name, unsigned char serial = 1) {
    Holder holder{std::move(key), {}};
    X509Certificate& made = holder.certificate;
    made.serialNumber = {serial};
    made.issuer.commonName = made.subject.commonName = name;
    made.notBefore = TimePoint::fromSeconds(1577836800);
    made.notAfter = TimePoint::fromSeconds(2208988800);
    made.basicConstraints = 1;
    made.setPublicKey(*holder.key);
    made.subjectKeyId = calcKeyId(made.subjectPublicKeyInfo);
    EXPECT_TRUE(made.sign(*holder.key, sha256));
    EXPECT_TRUE(made.parse(asn1::blob(made.serialize()), nullptr));
    return holder;
}

std::unique_ptr<PrivateKey> ecKey(Curve curve, unsigned seed = 1) {
    SeededRng rng(seed);
    auto key = std::make_unique<EcPrivateKey>();
    key->curve = curve;
    EXPECT_TRUE(key->generatePrivKey(rng));
    return key;
}

std::unique_ptr<PrivateKey> ed25519Key(unsigned seed = 1) {
    SeededRng rng(seed);
    auto key = std::make_unique<Ed25519PrivateKey>();
    EXPECT_TRUE(key->generatePrivKey(rng));
    return key;
}

PKCS7SignedData newMessage() {
    PKCS7SignedData message;
    message.setContent(getDataOid(), content);
    return message;
}

PKCS7SignedData readAgain(Bytes const& der) {
    PKCS7SignedData message;
    Refusal refusal;
    EXPECT_TRUE(message.parse(asn1::blob(der), &refusal, FormRules::standard)) << refusal.str();
    return message;
}

MessageVerdict checked(PKCS7SignedData const& message, asn1::blob detached = {}) {
    CertificateMemoryStore store;
    store.certs = message.certificates;
    MessageCheckOptions options;
    options.path.now = whenValid;
    options.detachedContent = detached;
    return checkMessage(message, store, options);
}

/// Made, read again and checked, whole and detached; damaged it fails.
void expectRoundTrip(std::vector<Holder> const& holders, PKCS7SignerOptions const& options) {
    PKCS7SignedData made = newMessage();
    for (Holder const& holder : holders)
        ASSERT_TRUE(made.addSigner(holder.certificate, *holder.key, options));
    PKCS7SignedData message = readAgain(made.encode());
    EXPECT_EQ(message.contentOctets(), asn1::blob(content));
    EXPECT_THAT(failuresOf(checked(message)), IsEmpty()) << checked(message).reason();
    EXPECT_EQ(readAgain(message.encode()).encode(), made.encode());
    ASSERT_EQ(message.signerInfos.size(), holders.size());
    PKCS7SignerForm const* const form = message.signerInfos.front()->form();
    ASSERT_NE(form, nullptr);
    EXPECT_EQ(form->subjectKeyId.empty(), !options.byKeyId);
    EXPECT_EQ(form->hasAttributes, options.hasAttributes);
    EXPECT_EQ(message.signerInfos.front()->hasSigningTime != 0, options.signingTime.has_value());

    made.content.clear();
    message = readAgain(made.encode());
    EXPECT_THAT(failuresOf(checked(message, content)), IsEmpty());
    auto const expected =
        options.hasAttributes ? MessageFindingId::otherDigest : MessageFindingId::badSignature;
    EXPECT_THAT(failuresOf(checked(message, "another")), Contains(expected));
    message.signerInfos.front()->encryptedDigest.back() ^= 1;
    EXPECT_THAT(failuresOf(checked(message, content)), ElementsAre(MessageFindingId::badSignature));
}

std::vector<PKCS7SignerOptions> everyForm(HashID hash) {
    return {{hash, false, true, std::nullopt},
            {hash, true, true, TimePoint::fromSeconds(1800000000)},
            {hash, false, false, std::nullopt},
            {hash, true, false, std::nullopt}};
}

TEST(SignedForms, EcKeysOnEveryCurve) {
    HashID const hashes[] = {HashID::SHA1, sha256, sha256, sha384, sha512};
    for (unsigned curve = 1; curve <= 5; ++curve)
        for (PKCS7SignerOptions const& options : everyForm(hashes[curve - 1])) {
            SCOPED_TRACE(curve);
            std::vector<Holder> holders;
            holders.push_back(holderOf(ecKey(static_cast<Curve>(curve)), "ec"));
            expectRoundTrip(holders, options);
        }
}

TEST(SignedForms, Ed25519AndRsaAndAllTogether) {
    for (PKCS7SignerOptions const& options : everyForm(sha256)) {
        std::vector<Holder> holders;
        holders.push_back(holderOf(ed25519Key(), "ed"));
        expectRoundTrip(holders, options);
        holders.push_back(holderOf(aliceKey(), "rsa"));
        holders.push_back(holderOf(ecKey(Curve::p256), "ec"));
        expectRoundTrip(holders, options);
    }
}

TEST(SignedForms, Ed25519SignsWithSha512) {
    Holder const holder = holderOf(ed25519Key(), "ed");
    PKCS7SignerInfo signer;
    ASSERT_TRUE(signer.sign(holder.certificate, *holder.key, getDataOid(), content, PKCS7SignerOptions()));
    EXPECT_EQ(signer.digestAlgorithm, sha512);
    Bytes const encoded = saved(signer);
    // The parameters of both algorithms are absent (RFC 8419, sections 2 and 3).
    for (char const* const algorithm : {"2.16.840.1.101.3.4.2.3", "1.3.101.112"}) {
        Bytes const expected = sequence(oid(algorithm));
        EXPECT_NE(std::search(encoded.begin(), encoded.end(), expected.begin(), expected.end()),
                  encoded.end());
    }
}

TEST(SignedForms, WhatCannotBeSigned) {
    Holder holder = holderOf(ecKey(Curve::p256), "ec");
    PKCS7SignedData message = newMessage();
    PKCS7SignerOptions options;
    EXPECT_FALSE(message.addSigner(holder.certificate, X25519PrivateKey(), options));
    options.hash = HashID::MD5SHA1;
    EXPECT_FALSE(message.addSigner(holder.certificate, *holder.key, options));
    options = {};
    options.hasAttributes = false;
    options.signingTime = whenValid;
    EXPECT_FALSE(message.addSigner(holder.certificate, *holder.key, options));
    options.signingTime.reset();
    message.setContent(getTimeStampInfoOid(), content);
    EXPECT_FALSE(message.addSigner(holder.certificate, *holder.key, options));
    options = {};
    options.signingTime = TimePoint::fromSeconds(4102444800); // 2100
    EXPECT_FALSE(message.addSigner(holder.certificate, *holder.key, options));
    options = {};
    options.byKeyId = true;
    holder.certificate.subjectKeyId.clear();
    EXPECT_FALSE(message.addSigner(holder.certificate, *holder.key, options));
    EXPECT_THAT(message.signerInfos, IsEmpty());
    EXPECT_THAT(message.certificates, IsEmpty());
}

TEST(SignedForms, VersionsFollowTheStandard) {
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    auto const versionOf = [&](bool byKeyId, asn1::blob type) {
        PKCS7SignedData message;
        message.setContent(type, content);
        EXPECT_TRUE(
            message.addSigner(holder.certificate, *holder.key, {sha256, byKeyId, true, std::nullopt}));
        Bytes const der = message.encode();
        asn1::parser level{asn1::blob(der)};
        level.enter(0x30);
        level.next();
        level.enter(0xA0);
        level.enter(0x30);
        return level.readUInt();
    };
    EXPECT_EQ(versionOf(false, getDataOid()), 1u);
    EXPECT_EQ(versionOf(true, getDataOid()), 3u);
    EXPECT_EQ(versionOf(false, getTimeStampInfoOid()), 3u);
}

TEST(SignedForms, SetsAreSorted) {
    PKCS7SignedData bundle;
    for (unsigned char serial : {3, 1, 2})
        bundle.certificates.push_back(
            std::make_shared<X509Certificate>(holderOf(ecKey(Curve::p256, serial), "x", serial).certificate));
    PKCS7SignedData const message = readAgain(bundle.encode());
    ASSERT_EQ(message.certificates.size(), 3u);
    for (size_t i = 0; i < 2; ++i)
        EXPECT_LT(message.certificates[i]->serialize(), message.certificates[i + 1]->serialize());
    EXPECT_THAT(message.signerInfos, IsEmpty());
    EXPECT_THAT(message.content, IsEmpty());
    CapturedErrors quiet;
    PKCS7SignedData narrow;
    EXPECT_TRUE(narrow.parse(bundle.encode())) << "a bundle is of the stated form";
}

TEST(SignedForms, BundlesCarryCrls) {
    PKCS7SignedData const given = readAgain(readMessage("certs-and-crl.der"));
    PKCS7SignedData bundle;
    bundle.certificates = given.certificates;
    bundle.crls = given.crls;
    EXPECT_EQ(readAgain(bundle.encode()).crls.size(), 1u);
}

TEST(SignedForms, OpenSslsAreRead) {
    for (char const* name : {"absent-null.der", "key-identifier.der", "no-attributes.der", "ecdsa.der"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(parses<PKCS7SignedData>(readMessage(name)));
        PKCS7SignedData message = readAgain(readMessage(name));
        EXPECT_EQ(saved(message), readMessage(name));
        MessageCheckOptions options;
        options.path.now = whenValid;
        CertificateMemoryStore store = storeOf("ca.pem");
        store.certs.push_back(messageCertificate("sub.pem"));
        if (std::string(name) == "ecdsa.der")
            store.certs = message.certificates;
        MessageVerdict const verdict = checkMessage(message, store, options);
        EXPECT_TRUE(verdict.isValid()) << verdict.reason();
    }
}

TEST(SignedForms, BerIsConverted) {
    Bytes const der = readMessage("attached.der");
    asn1::parser whole{asn1::blob(der)};
    asn1::blob const fields = whole.take();
    Bytes const ber = join({Bytes{0x30, 0x80}, Bytes(fields.begin(), fields.end()), Bytes{0, 0}});
    Refusal refusal;
    PKCS7SignedData message;
    EXPECT_FALSE(message.parse(asn1::blob(ber), &refusal, FormRules::platform));
    EXPECT_EQ(refusal.id, RefusalId::indefiniteLength);
    message = readAgain(ber);
    EXPECT_EQ(message.raw, der);
    EXPECT_FALSE(message.parse(asn1::blob(ber.data(), ber.size() - 2), &refusal, FormRules::standard));
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
}

TEST(SignedForms, TheRightOneOfSeveralCertificatesIsFound) {
    Holder const one = holderOf(ecKey(Curve::p256, 1), "twin", 7),
                 other = holderOf(ecKey(Curve::p256, 2), "twin", 7);
    for (bool byKeyId : {false, true}) {
        PKCS7SignedData message = newMessage();
        ASSERT_TRUE(message.addSigner(other.certificate, *other.key, {sha256, byKeyId, true, std::nullopt}));
        auto twin = std::make_shared<X509Certificate>(one.certificate);
        twin->subjectKeyId = other.certificate.subjectKeyId;
        message.certificates.insert(message.certificates.begin(), twin);
        MessageVerdict const verdict = checked(message);
        EXPECT_THAT(failuresOf(verdict), IsEmpty()) << verdict.reason();
        EXPECT_EQ(verdict.signers.front().certificate, message.certificates.back());
        message.certificates.pop_back();
        EXPECT_THAT(failuresOf(checked(message)), Contains(MessageFindingId::badSignature));
    }
}

TEST(SignedForms, SignersOfUnknownAlgorithmsFail) {
    auto const failuresWith = [](SignerParts const& parts) {
        MessageParts message;
        message.signers = set(parts.der());
        message.certificates = context(0, messageCertificate("alice.pem")->serialize());
        PKCS7SignedData read = readAgain(message.der());
        read.signerInfos.front()->issuer.assign(read.certificates.front()->issuerBytes().begin(),
                                                read.certificates.front()->issuerBytes().end());
        read.signerInfos.front()->serialNumber = read.certificates.front()->serialNumber;
        return failuresOf(checked(read));
    };
    Bytes const digest = calcDigest(sha256, asn1::blob(Bytes{5, 6}));
    SignerParts parts;
    parts.attributes =
        context(0, contentTypeAttribute(), attribute("1.2.840.113549.1.9.4", octetString(digest)));
    EXPECT_THAT(failuresWith(parts), Contains(MessageFindingId::badSignature));
    parts.signatureAlgorithm = algorithm("1.2.840.10040.4.3");
    EXPECT_THAT(failuresWith(parts), Contains(MessageFindingId::unsupportedAlgorithm));
    parts.signatureAlgorithm = algorithm("1.2.840.10045.4.3.2");
    EXPECT_THAT(failuresWith(parts), Contains(MessageFindingId::otherKey));
    parts.digestAlgorithm = algorithm("2.16.840.1.101.3.4.2.8");
    EXPECT_THAT(failuresWith(parts), Contains(MessageFindingId::unsupportedDigest));
    parts.attributes = Bytes();
    parts.signatureAlgorithm = SignerParts().signatureAlgorithm;
    EXPECT_THAT(failuresWith(parts), Contains(MessageFindingId::unsupportedDigest));
}

TEST(SignedForms, VersionsOfSignersMayBeMixedUp) {
    auto const keyIdOf = [](unsigned char version, Bytes const& name) {
        SignerParts signer;
        signer.version = integer(version);
        signer.issuerAndSerial = name;
        MessageParts message;
        message.signers = set(signer.der());
        return Bytes(readAgain(message.der()).signerInfos.front()->form()->subjectKeyId);
    };
    EXPECT_EQ(keyIdOf(1, implicit(0, Bytes{1, 2})), (Bytes{1, 2}));
    EXPECT_EQ(keyIdOf(3, implicit(0, Bytes{1, 2})), (Bytes{1, 2}));
    EXPECT_THAT(keyIdOf(3, SignerParts().issuerAndSerial), IsEmpty());
    SignerParts signer;
    signer.version = integer(2);
    MessageParts message;
    message.signers = set(signer.der());
    PKCS7SignedData read;
    Refusal refusal;
    EXPECT_FALSE(read.parse(asn1::blob(message.der()), &refusal, FormRules::standard));
    EXPECT_EQ(refusal.id, RefusalId::messageVersion);
}

TEST(SignedForms, AttributesAreSignedInEitherOrder) {
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    for (bool isSignedSorted : {true, false}) {
        PKCS7SignedData message = newMessage();
        ASSERT_TRUE(message.addSigner(holder.certificate, *holder.key, PKCS7SignerOptions()));
        PKCS7SignerInfo& signer = *message.signerInfos.front();
        // Type and digest the other way round.
        asn1::parser level{asn1::blob(signer.authAttributes)};
        asn1::blob const first = level.takeWhole(), second = level.takeWhole();
        Bytes const swapped = join({Bytes(second.begin(), second.end()), Bytes(first.begin(), first.end())});
        signer.authAttributes = swapped;
        if (!isSignedSorted)
            signer.encryptedDigest = signMessage(*holder.key, sha256, set(swapped));
        EXPECT_THAT(failuresOf(checked(message)), IsEmpty());
    }
}

TEST(SignedForms, AttributesAsContentFail) {
    // What a signer signed in one message, presented as the content of another.
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    PKCS7SignedData message = newMessage();
    ASSERT_TRUE(message.addSigner(holder.certificate, *holder.key, PKCS7SignerOptions()));
    Bytes const attributes = set(message.signerInfos.front()->authAttributes);
    PKCS7SignedData forged;
    forged.setContent(getDataOid(), attributes);
    ASSERT_TRUE(forged.addSigner(holder.certificate, *holder.key, {sha256, false, false, std::nullopt}));
    EXPECT_THAT(failuresOf(checked(forged)), ElementsAre(MessageFindingId::contentIsAttributes));
}

TEST(SignedForms, ContentsOfATypeThatNobodySignedFail) {
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    PKCS7SignedData message = newMessage();
    ASSERT_TRUE(message.addSigner(holder.certificate, *holder.key, {sha256, false, false, std::nullopt}));
    EXPECT_THAT(failuresOf(checked(message)), IsEmpty());
    message.contentType = Bytes(getTimeStampInfoOid().begin(), getTimeStampInfoOid().end());
    EXPECT_THAT(failuresOf(checked(message)), ElementsAre(MessageFindingId::noContentType));

    // A counter-signature as a signature of the signature that it signs: its attributes name no type.
    message = newMessage();
    ASSERT_TRUE(message.addSigner(holder.certificate, *holder.key, PKCS7SignerOptions()));
    PKCS7SignerInfo& signer = *message.signerInfos.front();
    signer.authAttributes = attribute("1.2.840.113549.1.9.4", octetString(calcDigest(sha256, content)));
    signer.encryptedDigest = signMessage(*holder.key, sha256, set(signer.authAttributes));
    for (asn1::blob type : {getDataOid(), asn1::blob()}) {
        message.contentType = Bytes(type.begin(), type.end());
        EXPECT_THAT(failuresOf(checked(message)), ElementsAre(MessageFindingId::noContentType));
    }
}

TEST(SignedForms, DataIsAnOctetString) {
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    for (bool hasAttributes : {true, false}) {
        PKCS7SignedData message = newMessage();
        ASSERT_TRUE(
            message.addSigner(holder.certificate, *holder.key, {sha256, false, hasAttributes, std::nullopt}));
        message.content[0] = 0x30; // The tag is not signed.
        EXPECT_THAT(failuresOf(checked(message)), ElementsAre(MessageFindingId::malformedContent));
    }
}

TEST(SignedForms, TheHashOfASignatureMayBeWeakAlone) {
    Holder const holder = holderOf(aliceKey(), "rsa");
    X509Certificate const& certificate = holder.certificate;
    Bytes const text = {5, 6};
    SignerParts parts;
    parts.issuerAndSerial =
        sequence(Bytes(certificate.issuerBytes().begin(), certificate.issuerBytes().end()),
                 element(0x02, certificate.serialNumber));
    Bytes const attributes = join(
        {contentTypeAttribute(), attribute("1.2.840.113549.1.9.4", octetString(calcDigest(sha256, text)))});
    auto const expectWarning = [&](Bytes const& signedAttributes, Bytes const& signedBytes) {
        parts.attributes = signedAttributes;
        parts.signatureAlgorithm = algorithm("1.2.840.113549.1.1.5", null());
        parts.signature = octetString(signMessage(*holder.key, HashID::SHA1, signedBytes));
        MessageParts message;
        message.certificates = context(0, certificate.serialize());
        message.signers = set(parts.der());
        MessageVerdict const verdict = checked(readAgain(message.der()));
        EXPECT_THAT(idsOf(verdict), ElementsAre(MessageFindingId::weakDigest)) << verdict.reason();
        EXPECT_EQ(verdict.findings.front().facts.front().value, "SHA1");
        EXPECT_EQ(verdict.signers.front().signatureHash, HashID::SHA1);
    };
    expectWarning(context(0, attributes), set(attributes));
    expectWarning({}, text);
}

TEST(SignedForms, OtherCertificatesAreLeftOutAndNamed) {
    Holder const holder = holderOf(ecKey(Curve::p256), "ec");
    MessageParts parts;
    Bytes const good = holder.certificate.serialize();
    parts.certificates = context(0, element(0xA1, null()), sequence(null()), good);
    parts.crls = context(1, element(0xA1, null()));
    parts.signers = set();
    parts.version = integer(5);
    EXPECT_FALSE(parses<PKCS7SignedData>(parts.der()));
    PKCS7SignedData const message = readAgain(parts.der());
    EXPECT_EQ(message.certificates.size(), 1u);
    ASSERT_EQ(message.ignored().size(), 3u);
    EXPECT_EQ(message.ignored()[0].id, RefusalId::unsupportedCertificateKind);
    EXPECT_EQ(message.ignored()[0].path, "certificate 1");
    EXPECT_TRUE(message.ignored()[1].path.starts_with("certificate 2"));
    EXPECT_EQ(message.ignored()[2].path, "CRL 1");
    EXPECT_THAT(idsOf(checked(message)), Contains(MessageFindingId::ignoredObjects));

    parts.certificates = context(0, repeat(element(0xA1, null()), 10000));
    EXPECT_EQ(readAgain(parts.der()).ignored().size(), PKCS7SignedData::maxIgnored);
}

/// The signer's signature counter-signed by `holder`, over `signature`.
std::unique_ptr<PKCS7SignerInfo> counterSigned(Holder const& holder, asn1::blob signature,
                                               bool hasAttributes) {
    auto counter = std::make_unique<PKCS7SignerInfo>();
    PKCS7SignerOptions options;
    options.hasAttributes = hasAttributes;
    EXPECT_TRUE(counter->sign(holder.certificate, *holder.key, getDataOid(), signature, options));
    return counter;
}

TEST(SignedForms, CounterSignaturesAreChecked) {
    Holder const signer = holderOf(ecKey(Curve::p256), "ec"), notary = holderOf(ed25519Key(), "notary");
    for (bool hasAttributes : {true, false}) {
        PKCS7SignedData made = newMessage();
        ASSERT_TRUE(made.addSigner(signer.certificate, *signer.key, PKCS7SignerOptions()));
        PKCS7SignerInfo& info = *made.signerInfos.front();
        info.counterSignature = counterSigned(notary, info.encryptedDigest, hasAttributes);
        made.certificates.push_back(std::make_shared<X509Certificate>(notary.certificate));
        PKCS7SignedData message = readAgain(made.encode());
        MessageVerdict verdict = checked(message);
        EXPECT_TRUE(verdict.isValid()) << verdict.reason();
        EXPECT_THAT(idsOf(verdict), Contains(MessageFindingId::counterSigned));
        ASSERT_EQ(verdict.signers.front().counterSigners.size(), 1u);
        EXPECT_EQ(verdict.signers.front().counterSigners.front().certificate->subject.commonName, "notary");

        CertificateMemoryStore store;
        store.certs.push_back(std::make_shared<X509Certificate>(signer.certificate));
        MessageCheckOptions options;
        options.path.now = whenValid;
        verdict = checkMessage(message, store, options);
        EXPECT_TRUE(verdict.isValid());
        EXPECT_THAT(idsOf(verdict), Contains(MessageFindingId::untrustedCounterSignature));

        info.counterSignature = counterSigned(notary, "another signature", hasAttributes);
        verdict = checked(readAgain(made.encode()));
        EXPECT_TRUE(verdict.isValid()) << "it says nothing about the content";
        EXPECT_THAT(idsOf(verdict), Contains(MessageFindingId::falseCounterSignature));
        EXPECT_THAT(idsOf(verdict), Not(Contains(MessageFindingId::counterSigned)));
        EXPECT_THAT(verdict.signers.front().counterSigners, IsEmpty());

        info.counterSignature = counterSigned(notary, info.encryptedDigest, hasAttributes);
        made.certificates.pop_back();
        EXPECT_THAT(idsOf(checked(readAgain(made.encode()))),
                    Contains(MessageFindingId::uncheckedCounterSignature));
    }
}

TEST(SignedForms, SeveralCounterSignaturesAreKept) {
    Bytes const counter = SignerParts().der();
    SignerParts parts;
    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", repeat(counter, 3)));
    MessageParts message;
    message.signers = set(parts.der());
    PKCS7SignedData const read = readAgain(message.der());
    PKCS7SignerInfo const& signer = *read.signerInfos.front();
    EXPECT_NE(signer.counterSignature, nullptr);
    EXPECT_EQ(signer.form()->furtherCounterSignatures.size(), 2u);

    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", repeat(counter, 1000)));
    message.signers = set(parts.der());
    auto const ids = idsOf(checked(readAgain(message.der())));
    EXPECT_EQ(static_cast<size_t>(std::ranges::count(ids, MessageFindingId::falseCounterSignature)),
              maxCounterSignatures);
    EXPECT_EQ(std::ranges::count(ids, MessageFindingId::uncheckedCounterSignature), 1) << "and then no more";
}

TEST(SignedForms, SignaturesAreNotReadForEveryCounterSignature) {
    SignerParts parts;
    parts.signature = octetString(Bytes(maxCounterSignedSize + 1));
    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", repeat(SignerParts().der(), 3)));
    MessageParts message;
    message.signers = set(parts.der());
    auto const ids = idsOf(checked(readAgain(message.der())));
    EXPECT_EQ(std::ranges::count(ids, MessageFindingId::uncheckedCounterSignature), 1);
    EXPECT_THAT(ids, Not(Contains(MessageFindingId::falseCounterSignature)));
}

TEST(SignedForms, ContentsAreNotReadForEverySignature) {
    Holder const holder = holderOf(ed25519Key(), "ed");
    PKCS7SignedData message = newMessage();
    for (unsigned i = 0; i < 6; ++i)
        ASSERT_TRUE(message.addSigner(holder.certificate, *holder.key, {sha512, false, false, std::nullopt}));
    EXPECT_THAT(failuresOf(checked(message)),
                ElementsAre(MessageFindingId::notTried, MessageFindingId::notTried));
}

} // namespace TEST_FILE

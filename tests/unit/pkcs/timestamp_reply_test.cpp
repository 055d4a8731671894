#include "sealkit/timestamp_reply.h"

#include "findings.h"
#include "messages.h"

#include "sealkit/extend.h"
#include "sealkit/message.h"
#include "sealkit/message_check.h"
#include "sealkit/oid_names.h"
#include "sealkit/rng.h"
#include "support/slow.h"

#include <gmock/gmock.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr TimePoint now = TimePoint::fromSeconds(1750000000); // 2025-06-15 15:06:40

/// A certificate that signs itself, for time-stamps.
X509Certificate authority(PrivateKey const& key, bool critical = true,
                          std::vector<std::vector<unsigned char>> const& others = {}) {
    X509Certificate certificate;
    certificate.serialNumber = {0x12, 0x34};
    certificate.subject.commonName = certificate.issuer.commonName = "tsa";
    certificate.notBefore = TimePoint::fromSeconds(now.seconds - 1000);
    certificate.notAfter = TimePoint::fromSeconds(now.seconds + 1000);
    certificate.setPublicKey(key);
    certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    certificate.keyUsage = KeyUsage::digitalSignature;
    setExtendedKeyUsage(certificate, ExtKeyUsage::timeStamping, others, critical);
    EXPECT_TRUE(certificate.sign(key));
    X509Certificate read;
    EXPECT_TRUE(read.parse(certificate.serialize(), nullptr));
    return read;
}

TimeStampRequest request() {
    TimeStampRequest made;
    made.hashAlgorithm = HashID::SHA256;
    made.hashedMessage = calcDigest(HashID::SHA256, "letter");
    made.nonce = {0x00, 0xF1};
    made.certReq = 1;
    return made;
}

TimeStampReplyOptions options() {
    TimeStampReplyOptions made;
    made.time = now;
    made.policy = parseOid("1.2.3.4");
    made.otherPolicies = {parseOid("1.2.3.5")};
    made.serialNumber = {0x55};
    made.accuracy = TimeStampAccuracy{1, 500, 999};
    return made;
}

/// What a reply says, which must be made.
struct Answer {
    Answer(Bytes const& asked, X509Certificate const& certificate, PrivateKey const& key,
           TimeStampReplyOptions const& how = options()) {
        EXPECT_EQ(replyToTimeStamp(asked, certificate, key, how, &reply), TimeStampReplyProblem::none);
        Refusal refusal;
        EXPECT_TRUE(response.parse(reply.encoding, &refusal, FormRules::standard)) << refusal.str();
        EXPECT_TRUE(status.parse(reply.encoding, &refusal));
        EXPECT_EQ(status.status, reply.status.status);
        EXPECT_EQ(status.failures, reply.status.failures);
        if (response.token) {
            EXPECT_TRUE(info.parse(*response.token, &refusal)) << refusal.str();
        }
    }

    TimeStampReply reply;
    TimeStampResponse response;
    TimeStampStatus status;
    TimeStampInfo info;
};

MessageVerdict check(Answer const& answer, TimeStampRequest const& asked,
                     X509Certificate const& certificate) {
    CertificateMemoryStore store;
    store.certs = {std::make_shared<X509Certificate>(certificate)};
    MessageCheckOptions how;
    how.path.now = now;
    how.path.rules = PathRules::platform | PathRules::rfc5280;
    return checkTimeStamp(*answer.response.token, TimeStampExpectation::of(asked), store, how);
}

TEST(TimeStampReply, GrantsWhatItsOwnCheckAccepts) {
    auto const key = aliceKey();
    X509Certificate const certificate = authority(*key);
    TimeStampRequest asked = request();
    Answer const answer(saved(asked), certificate, *key);
    EXPECT_TRUE(answer.reply.isGranted());
    ASSERT_TRUE(answer.response.token);
    EXPECT_EQ(answer.info.policy, parseOid("1.2.3.4"));
    EXPECT_EQ(answer.info.serialNumber, (Bytes{0x55}));
    EXPECT_EQ(answer.info.time, now);
    EXPECT_EQ(answer.info.nonce, asked.nonce);
    EXPECT_EQ(answer.info.hashedMessage, asked.hashedMessage);
    EXPECT_FALSE(answer.info.isOrdered);
    ASSERT_TRUE(answer.info.accuracy);
    EXPECT_EQ(answer.info.accuracy->seconds, 1u);
    EXPECT_EQ(answer.info.accuracy->milliseconds, 500u);
    EXPECT_EQ(answer.info.accuracy->microseconds, 999u);
    ASSERT_EQ(answer.response.token->certificates.size(), 1u);
    MessageVerdict const verdict = check(answer, asked, certificate);
    EXPECT_TRUE(verdict.isValid()) << verdict.reason();
    EXPECT_TRUE(verdict.findings.empty()) << verdict.findings.front().str();
}

TEST(TimeStampReply, SignsWithKeysOfEveryKind) {
    EcPrivateKey ec;
    Ed25519PrivateKey ed25519;
    ASSERT_TRUE(ed25519.initPrivate(Bytes(32, 7)));
    auto const expectValid = [](PrivateKey const& key) {
        X509Certificate const certificate = authority(key);
        TimeStampRequest asked = request();
        Answer const answer(saved(asked), certificate, key);
        ASSERT_TRUE(answer.response.token);
        MessageVerdict const verdict = check(answer, asked, certificate);
        EXPECT_TRUE(verdict.isValid()) << verdict.reason();
    };
    expectValid(ed25519);
    for (Curve const curve : {Curve::p256, Curve::p384, Curve::p521}) {
        ec.curve = curve;
        ASSERT_TRUE(ec.generatePrivKey(getDefaultRng()));
        expectValid(ec);
    }
}

TEST(TimeStampReply, IsOfTheNarrowFormForRsaKeys) {
    auto const key = aliceKey();
    TimeStampRequest asked = request();
    Answer const answer(saved(asked), authority(*key), *key);
    EXPECT_TRUE(TimeStampResponse().parse(answer.reply.encoding, nullptr));
}

TEST(TimeStampReply, DoesAsTheRequestSays) {
    auto const key = aliceKey();
    X509Certificate const certificate = authority(*key);
    TimeStampRequest asked = request();
    asked.nonce.clear();
    asked.certReq = 0;
    asked.policy = parseOid("1.2.3.5");
    asked.hashAlgorithm = HashID::SHA512;
    asked.hashedMessage = calcDigest(HashID::SHA512, "letter");
    TimeStampReplyOptions how = options();
    how.isOrdered = true;
    how.accuracy.reset();
    how.chain = {std::make_shared<X509Certificate>(certificate)};
    how.hash = HashID::SHA384;
    Answer const answer(saved(asked), certificate, *key, how);
    ASSERT_TRUE(answer.response.token);
    EXPECT_EQ(answer.info.policy, asked.policy);
    EXPECT_TRUE(answer.info.nonce.empty());
    EXPECT_TRUE(answer.info.isOrdered);
    EXPECT_FALSE(answer.info.accuracy);
    EXPECT_EQ(answer.info.hash(), HashID::SHA512);
    EXPECT_TRUE(answer.response.token->certificates.empty());
    EXPECT_EQ(answer.response.token->signerInfos.at(0)->digestAlgorithm, HashID::SHA384);
    asked.certReq = 1;
    Answer const withChain(saved(asked), certificate, *key, how);
    EXPECT_EQ(withChain.response.token->certificates.size(), 2u);
}

TEST(TimeStampReply, RepeatsAnImprintWithoutParameters) {
    auto const key = aliceKey();
    X509Certificate const certificate = authority(*key);
    Bytes const imprint =
        sequence(sequence(oid("2.16.840.1.101.3.4.2.1")), octetString(calcDigest(HashID::SHA256, "letter")));
    Bytes const fields = join({integer(1), imprint, element(0x01, {0xFF})});
    Bytes const ber = join({Bytes{0x30, 0x80}, fields, Bytes{0, 0}});
    for (Bytes const& asked : {sequence(fields), ber}) {
        TimeStampRequest wanted;
        EXPECT_FALSE(wanted.parse(asked, nullptr));
        ASSERT_TRUE(wanted.parse(asked, nullptr, FormRules::standard));
        Answer const answer(asked, certificate, *key);
        ASSERT_TRUE(answer.response.token);
        asn1::blob const stated = answer.response.token->contentOctets();
        EXPECT_NE(std::search(stated.begin(), stated.end(), imprint.begin(), imprint.end()), stated.end());
        EXPECT_TRUE(check(answer, wanted, certificate).isValid());
    }
    TimeStampRequest wanted;
    Bytes const other = sequence(sequence(oid("2.16.840.1.101.3.4.2.1"), integer(1)), octetString(Bytes(32)));
    EXPECT_FALSE(wanted.parse(sequence(integer(1), other), nullptr, FormRules::standard));
}

/// A letter that the TSA's key signs, with time-stamps of that signature.
struct StampedLetter {
    std::unique_ptr<PrivateKey> key = aliceKey();
    X509Certificate certificate = authority(*key);
    PKCS7SignedData message;

    StampedLetter() {
        message.setContent(getDataOid(), "letter");
        EXPECT_TRUE(message.addSigner(certificate, *key, PKCS7SignerOptions()));
    }

    PKCS7SignerInfo& signer() { return *message.signerInfos.front(); }

    Answer stamp(asn1::blob signature) const {
        TimeStampRequest asked = request();
        asked.hashedMessage = calcDigest(HashID::SHA256, signature);
        return Answer(saved(asked), certificate, *key);
    }

    /// With these values of the attribute of RFC 3161, appendix A.
    void readWith(Bytes const& tokens) {
        SignerParts parts;
        parts.issuerAndSerial = sequence(signer().issuer, element(0x02, signer().serialNumber));
        parts.attributes = context(0, signer().authAttributes);
        parts.signature = octetString(signer().encryptedDigest);
        parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.16.2.14", tokens));
        MessageParts whole;
        whole.content = sequence(oid(dataOid), context(0, message.content));
        whole.certificates = context(0, certificate.serialize());
        whole.signers = set(parts.der());
        Refusal refusal;
        EXPECT_TRUE(message.parse(whole.der(), &refusal, FormRules::standard)) << refusal.str();
    }

    std::vector<MessageFindingId> findings() const {
        CertificateMemoryStore store;
        store.certs = {std::make_shared<X509Certificate>(certificate)};
        MessageCheckOptions how;
        how.path.now = now;
        return idsOf(checkMessage(message, store, how));
    }
};

TEST(TimeStampReply, StampsSignatures) {
    StampedLetter letter;
    EXPECT_THAT(letter.findings(), IsEmpty());
    Answer answer = letter.stamp(letter.signer().encryptedDigest);
    letter.readWith(saved(*answer.response.token));
    EXPECT_THAT(letter.findings(), ElementsAre(MessageFindingId::timeStamped));
    letter.readWith(saved(*letter.stamp("another signature").response.token));
    EXPECT_THAT(letter.findings(), ElementsAre(MessageFindingId::falseTimeStamp));
    for (Bytes const& malformed : {null(), sequence(), MessageParts().der()}) {
        letter.readWith(malformed);
        EXPECT_THAT(letter.findings(), ElementsAre(MessageFindingId::falseTimeStamp));
    }
    letter.signer().msCounterSignature = std::move(answer.response.token);
    EXPECT_THAT(letter.findings(),
                ElementsAre(MessageFindingId::timeStamped, MessageFindingId::falseTimeStamp));
}

TEST(TimeStampReply, BoundsTheTimeStampsOfSignatures) {
    StampedLetter letter;
    Bytes const token = saved(*letter.stamp(letter.signer().encryptedDigest).response.token);
    letter.readWith(repeat(token, 10));
    std::vector<MessageFindingId> expected(maxSignatureTimeStamps, MessageFindingId::timeStamped);
    expected.push_back(MessageFindingId::uncheckedTimeStamp);
    EXPECT_EQ(letter.findings(), expected);
    // One within the other, deeper than any stack.
    Bytes nested = token;
    for (unsigned depth = test::lessWhenSlow(1000U, 200U); depth > 0; --depth) {
        SignerParts signer;
        signer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.16.2.14", nested));
        MessageParts message;
        message.signers = set(signer.der());
        nested = message.der();
    }
    letter.readWith(nested);
    EXPECT_THAT(letter.findings(), ElementsAre(MessageFindingId::falseTimeStamp));
}

TEST(TimeStampReply, RejectsWithAReason) {
    auto const key = aliceKey();
    X509Certificate const certificate = authority(*key);
    auto const expectRejected = [&](Bytes const& asked, TimeStampFailure failure) {
        Answer const answer(asked, certificate, *key);
        EXPECT_FALSE(answer.reply.isGranted());
        EXPECT_EQ(answer.status.status, static_cast<unsigned>(TimeStampStatusId::rejection));
        ASSERT_EQ(answer.status.failures.size(), 1u);
        EXPECT_EQ(answer.status.failures[0], failure) << static_cast<unsigned>(answer.status.failures[0]);
        EXPECT_EQ(answer.status.texts.size(), 1u);
        EXPECT_FALSE(answer.response.token);
    };
    TimeStampRequest asked = request();
    asked.policy = parseOid("1.2.3.6");
    expectRejected(saved(asked), TimeStampFailure::unacceptedPolicy);
    asked = request();
    asked.hashedMessage.pop_back();
    expectRejected(saved(asked), TimeStampFailure::badDataFormat);
    for (HashID const hash : {HashID::MD5, HashID::SHA1}) {
        asked = request();
        asked.hashAlgorithm = hash;
        asked.hashedMessage = calcDigest(hash, "letter");
        expectRejected(saved(asked), TimeStampFailure::badAlgorithm);
    }
    asked = request();
    asked.version = 2;
    expectRejected(saved(asked), TimeStampFailure::badRequest);
    Bytes const imprint = sequence(sha256Algorithm(), octetString(Bytes(32)));
    expectRejected(sequence(integer(1), imprint, context(0, Bytes{0x30, 0x00})),
                   TimeStampFailure::unacceptedExtension);
    expectRejected(sequence(integer(1), sequence(sequence(oid("1.2.3")), octetString(Bytes(32)))),
                   TimeStampFailure::badAlgorithm);
    for (Bytes const& garbage : {Bytes{}, Bytes{0x30}, Bytes{0x30, 0x80}, Bytes{0x04, 0x00}})
        expectRejected(garbage, TimeStampFailure::badDataFormat);
}

TEST(TimeStampReply, StampsSha1WhereItIsAccepted) {
    auto const key = aliceKey();
    X509Certificate const certificate = authority(*key);
    TimeStampRequest asked = request();
    asked.hashAlgorithm = HashID::SHA1;
    asked.hashedMessage = calcDigest(HashID::SHA1, "letter");
    TimeStampReplyOptions how = options();
    how.acceptSha1 = true;
    EXPECT_TRUE(Answer(saved(asked), certificate, *key, how).reply.isGranted());
}

TEST(TimeStampReply, NeedsAnAuthorityForTimeStampsAlone) {
    auto const key = aliceKey();
    TimeStampRequest wanted = request();
    Bytes const asked = saved(wanted);
    auto const expectProblem = [&](X509Certificate const& certificate, PrivateKey const& signer,
                                   TimeStampReplyOptions const& how, TimeStampReplyProblem problem) {
        TimeStampReply reply;
        EXPECT_EQ(replyToTimeStamp(asked, certificate, signer, how, &reply), problem);
        EXPECT_TRUE(reply.encoding.empty());
        EXPECT_STRNE(getReasonText(problem).sentence, "");
    };
    X509Certificate const certificate = authority(*key);
    EXPECT_TRUE(isForTimeStamps(certificate));
    EcPrivateKey other;
    other.curve = Curve::p256;
    ASSERT_TRUE(other.generatePrivKey(getDefaultRng()));
    expectProblem(certificate, other, options(), TimeStampReplyProblem::otherKey);
    expectProblem(authority(*key, false), *key, options(), TimeStampReplyProblem::notForTimeStamps);
    expectProblem(authority(*key, true, {parseOid("1.2.3.4")}), *key, options(),
                  TimeStampReplyProblem::notForTimeStamps);
    TimeStampReplyOptions how = options();
    how.time = TimePoint::fromSeconds(now.seconds - 1001);
    expectProblem(certificate, *key, how, TimeStampReplyProblem::notValidYet);
    how.time = TimePoint::fromSeconds(now.seconds + 1001);
    expectProblem(certificate, *key, how, TimeStampReplyProblem::expired);
    for (auto const spoil : {+[](TimeStampReplyOptions& o) { o.policy.clear(); },
                             +[](TimeStampReplyOptions& o) { o.serialNumber.clear(); },
                             +[](TimeStampReplyOptions& o) { o.accuracy->milliseconds = 1000; },
                             +[](TimeStampReplyOptions& o) { o.accuracy->seconds = 0x80000000; }}) {
        how = options();
        spoil(how);
        expectProblem(certificate, *key, how, TimeStampReplyProblem::unusableOptions);
    }
    how = options();
    how.hash = HashID::MD4;
    expectProblem(certificate, *key, how, TimeStampReplyProblem::keyCannotSign);
}

} // namespace TEST_FILE

#include "sealkit/timestamp_reply.h"

#include "messages.h"

#include "sealkit/extend.h"
#include "sealkit/message_check.h"
#include "sealkit/oid_names.h"
#include "sealkit/rng.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

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

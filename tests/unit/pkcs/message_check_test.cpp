/// What the check of a message finds.
#include "sealkit/message_check.h"

#include "findings.h"
#include "messages.h"

#include <gmock/gmock.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

MessageCheckOptions at(TimePoint now = whenValid) {
    MessageCheckOptions options;
    options.path.now = now;
    return options;
}

PKCS7SignedData read(std::string const& name) {
    PKCS7SignedData message;
    EXPECT_TRUE(parseInto(message, readMessage(name)).isGood);
    return message;
}

MessageVerdict checked(PKCS7SignedData const& message, CertificateStore const& store,
                       MessageCheckOptions const& options = at()) {
    CapturedOutput output;
    CapturedErrors errors;
    MessageVerdict verdict = checkMessage(message, store, options);
    EXPECT_EQ(output.text() + errors.text(), "");
    EXPECT_EQ(verdict.isValid(), verdict.reason().empty());
    return verdict;
}

TEST(MessageFindings, HaveNamesAndSentences) {
    std::vector<std::string> names;
    for (auto const& row : messageFindings()) {
        std::string const name = row.name, sentence = row.sentence;
        EXPECT_TRUE(std::ranges::all_of(name, [](char c) { return c == '-' || (c >= 'a' && c <= 'z'); }))
            << name;
        EXPECT_TRUE(sentence.ends_with('.') && sentence.front() >= 'A' && sentence.front() <= 'Z')
            << sentence;
        EXPECT_EQ(&getReasonText(row.id), &row);
        EXPECT_EQ(std::ranges::count(names, name), 0) << name;
        names.push_back(name);
    }
    EXPECT_EQ(getWeight(MessageFindingId::certificateNotIncluded), FindingWeight::failure);
    EXPECT_EQ(getWeight(MessageFindingId::weakDigest), FindingWeight::warning);
    EXPECT_EQ(getWeight(MessageFindingId::issuerDoesNotRoundTrip), FindingWeight::note);
}

TEST(CheckMessage, FindsSignersAndTheirChains) {
    PKCS7SignedData const message = read("two-signers.der");
    MessageVerdict const verdict = checked(message, storeOf("ca.pem"));
    EXPECT_TRUE(verdict.isValid());
    ASSERT_EQ(verdict.signers.size(), message.signerInfos.size());
    for (SignerVerdict const& signer : verdict.signers) {
        ASSERT_TRUE(signer.certificate && signer.path);
        EXPECT_TRUE(signer.path->isValid());
        EXPECT_EQ(signer.path->chain.front(), signer.certificate);
    }
}

TEST(CheckMessage, NamesTheSignerThatFailsAndWhatItsChainLacks) {
    PKCS7SignedData message = read("attached.der");
    MessageVerdict verdict = checked(message, CertificateMemoryStore());
    EXPECT_THAT(failuresOf(verdict), ElementsAre(MessageFindingId::untrusted));
    EXPECT_EQ(verdict.failure()->signer, 1u);
    EXPECT_THAT(verdict.reason(),
                HasSubstr("signer 1: its certificate is not trusted: No certificate of the chain"));
    message.content = octetString({1});
    EXPECT_THAT(failuresOf(checked(message, storeOf("ca.pem"))), ElementsAre(MessageFindingId::otherDigest));
    message.certificates.clear();
    MessageCheckOptions options = at();
    message = read("attached.der");
    options.certificates = std::exchange(message.certificates, {});
    EXPECT_TRUE(checked(message, storeOf("ca.pem"), options).isValid());
    EXPECT_THAT(failuresOf(checked(message, storeOf("ca.pem"))),
                ElementsAre(MessageFindingId::noCertificate));
}

TEST(CheckMessage, ChecksTheMessageAsAWhole) {
    CertificateMemoryStore const store = storeOf("ca.pem");
    EXPECT_THAT(failuresOf(checked(read("certs-and-crl.der"), store)),
                ElementsAre(MessageFindingId::noSigners));
    EXPECT_EQ(idsOf(checked(read("certs-and-crl.der"), store)).back(), MessageFindingId::uncheckedCrls);
    PKCS7SignedData message = read("attached.der");
    MessageCheckOptions options = at();
    options.detachedContent = "other";
    EXPECT_THAT(failuresOf(checked(message, store, options)),
                ElementsAre(MessageFindingId::otherContentGiven));
    message.certificates.resize(maxMessageCertificates + 1, message.certificates.front());
    MessageVerdict const verdict = checked(message, store);
    EXPECT_THAT(failuresOf(verdict), ElementsAre(MessageFindingId::tooManyCertificates));
    EXPECT_THAT(verdict.signers, IsEmpty());
    EXPECT_EQ(verdict.reason(),
              "the message has more certificates than the limit (limit: 1000, found: 1001)");
}

/// A signer as `one`, named by another serial number: none of that is signed.
std::unique_ptr<PKCS7SignerInfo> signerLike(PKCS7SignerInfo const& one, unsigned char serialNumber) {
    auto signer = std::make_unique<PKCS7SignerInfo>();
    signer->issuer = one.issuer;
    signer->serialNumber = {serialNumber};
    signer->digestAlgorithm = one.digestAlgorithm;
    signer->authAttributes = one.authAttributes;
    signer->encryptedDigest = one.encryptedDigest;
    return signer;
}

/// attached.der with `count` signers of a certificate each.
PKCS7SignedData withSigners(unsigned char count) {
    PKCS7SignedData message = read("attached.der");
    auto const signer = std::move(message.signerInfos.front());
    auto const original = message.findCertificate(*signer);
    message.signerInfos.clear();
    for (unsigned char number = 1; number <= count; number++) {
        auto certificate = std::make_shared<X509Certificate>(*original);
        certificate->serialNumber = {number};
        message.certificates.push_back(std::move(certificate));
        message.signerInfos.push_back(signerLike(*signer, number));
    }
    return message;
}

TEST(CheckMessage, BoundsTheNumberOfSigners) {
    PKCS7SignedData message = withSigners(maxMessageSigners);
    MessageVerdict verdict = checked(message, storeOf("ca.pem"));
    EXPECT_TRUE(verdict.isValid()) << verdict.reason();
    EXPECT_EQ(verdict.signers.size(), maxMessageSigners);
    message = withSigners(maxMessageSigners + 1);
    verdict = checked(message, storeOf("ca.pem"));
    EXPECT_THAT(failuresOf(verdict), ElementsAre(MessageFindingId::tooManySigners));
    EXPECT_THAT(verdict.signers, IsEmpty());
    EXPECT_EQ(verdict.reason(), "the message has more signers than the limit (limit: 100, found: 101)");
}

TEST(CheckMessage, CountsTheCertificatesBesideTheMessage) {
    PKCS7SignedData const message = read("attached.der");
    MessageCheckOptions options = at();
    options.certificates.assign(maxMessageCertificates - message.certificates.size(),
                                message.certificates.front());
    EXPECT_TRUE(checked(message, storeOf("ca.pem"), options).isValid());
    options.certificates.push_back(message.certificates.front());
    EXPECT_THAT(failuresOf(checked(message, storeOf("ca.pem"), options)),
                ElementsAre(MessageFindingId::tooManyCertificates));
}

TEST(CheckMessage, SearchesNoMoreChainsOnceSeveralFailed) {
    constexpr unsigned char more = 2;
    PKCS7SignedData message = withSigners(maxUntrustedSigners + more);
    message.signerInfos.push_back(signerLike(*message.signerInfos.front(), 1)); // Its chain is known.
    MessageVerdict const verdict = checked(message, CertificateMemoryStore());
    EXPECT_EQ(failuresOf(verdict),
              std::vector<MessageFindingId>(message.signerInfos.size(), MessageFindingId::untrusted));
    std::vector<size_t> notSearched;
    for (MessageFinding const& finding : verdict.findings)
        if (finding.id == MessageFindingId::chainNotSearched)
            notSearched.push_back(finding.signer);
    EXPECT_THAT(notSearched, ElementsAre(maxUntrustedSigners + 1, maxUntrustedSigners + 2));
    for (size_t i = 0; i < verdict.signers.size(); i++)
        EXPECT_EQ(verdict.signers[i].path == nullptr,
                  i == maxUntrustedSigners || i == maxUntrustedSigners + 1);
    EXPECT_EQ(verdict.signers.back().path, verdict.signers.front().path);
    EXPECT_TRUE(checked(message, storeOf("ca.pem")).isValid());
}

TEST(CheckMessage, WarnsOfWhatIsStrange) {
    PKCS7SignedData message = read("attached.der");
    PKCS7SignerInfo& signer = *message.signerInfos.front();
    signer.hasSigningTime = 1;
    signer.signingTime = TimePoint::fromSeconds(whenValid.seconds + maxClockSkew + 1);
    signer.counterSignature = std::make_unique<PKCS7SignerInfo>();
    signer.msCounterSignature = std::make_unique<PKCS7SignedData>();
    auto ids = idsOf(checked(message, storeOf("ca.pem")));
    for (MessageFindingId const id : {MessageFindingId::futureSigningTime, MessageFindingId::falseTimeStamp,
                                      MessageFindingId::falseCounterSignature})
        EXPECT_EQ(std::ranges::count(ids, id), 1) << getReasonText(id).name;
    signer.signingTime = TimePoint::fromSeconds(0);
    ids = idsOf(checked(message, storeOf("ca.pem")));
    EXPECT_EQ(std::ranges::count(ids, MessageFindingId::signingTimeOutsideValidity), 1);
    EXPECT_EQ(std::ranges::count(ids, MessageFindingId::futureSigningTime), 0);
}

/// The token of OpenSSL's response and what its request expects.
struct Stamp {
    PKCS7SignedData token;
    TimeStampExpectation expected;
    TimeStampInfo info;

    Stamp() {
        TimeStampResponse response;
        EXPECT_TRUE(parseInto(response, readMessage("response.der")).isGood);
        token = std::move(*response.token);
        TimeStampRequest request;
        EXPECT_TRUE(parseInto(request, readMessage("request-cert.der")).isGood);
        expected = TimeStampExpectation::of(request);
        EXPECT_TRUE(info.parse(token, nullptr));
    }

    std::vector<MessageFindingId> failures(MessageCheckOptions const& options = at()) const {
        CapturedOutput output;
        MessageVerdict const verdict = checkTimeStamp(token, expected, storeOf("ca.pem"), options);
        EXPECT_EQ(output.text(), "");
        return failuresOf(verdict);
    }
};

TEST(CheckTimeStamp, AcceptsTheAnswerToTheRequest) {
    Stamp stamp;
    EXPECT_THAT(stamp.failures(), IsEmpty());
    stamp.expected.nonce.clear();
    stamp.expected.policy = stamp.info.policy;
    EXPECT_THAT(stamp.failures(), IsEmpty());
}

TEST(CheckTimeStamp, TellsWhatIsNotTheAnswer) {
    Stamp stamp;
    stamp.expected.nonce = {7};
    EXPECT_THAT(stamp.failures(), ElementsAre(stamp.info.nonce.empty() ? MessageFindingId::missingNonce
                                                                       : MessageFindingId::otherNonce));
    stamp = {};
    stamp.expected.policy = {0x2A};
    EXPECT_THAT(stamp.failures(), ElementsAre(MessageFindingId::otherPolicy));
    stamp = {};
    stamp.expected.digest.back() ^= 1;
    EXPECT_THAT(stamp.failures(), ElementsAre(MessageFindingId::otherImprint));
    stamp = {};
    stamp.expected.hash = HashID::SHA1;
    EXPECT_THAT(stamp.failures(), ElementsAre(MessageFindingId::otherImprint));
    auto const before = TimePoint::fromSeconds(stamp.info.time.seconds - maxClockSkew - 1);
    EXPECT_THAT(Stamp().failures(at(before)), testing::Contains(MessageFindingId::futureTime));
}

/// The token with extensions, the content of [1], in what it states: its signature is of other bytes then.
Stamp withExtensions(Bytes const& extensions) {
    Stamp stamp;
    asn1::parser const content{asn1::blob(stamp.token.content)};
    asn1::parser const fields(content.value());
    Bytes body(fields.value().begin(), fields.value().end());
    Bytes const tagged = context(1, extensions);
    body.insert(body.end(), tagged.begin(), tagged.end());
    stamp.token.content = octetString(sequence(body));
    EXPECT_TRUE(stamp.info.parse(stamp.token, nullptr));
    EXPECT_EQ(stamp.info.extensions, extensions);
    return stamp;
}

Bytes extension(std::string const& id, Bytes const& critical) {
    return sequence(oid(id), critical, octetString(null()));
}

TEST(CheckTimeStamp, RefusesCriticalExtensions) {
    Bytes const plain = extension("1.2.3", {}), isCritical = element(0x01, {0xFF});
    auto const otherContent = MessageFindingId::otherDigest;
    EXPECT_THAT(withExtensions(plain).failures(), ElementsAre(otherContent));
    Stamp const stamp = withExtensions(join({plain, extension("1.2.4", isCritical)}));
    EXPECT_THAT(stamp.failures(), ElementsAre(otherContent, MessageFindingId::unknownCriticalExtension));
    MessageVerdict const verdict = checkTimeStamp(stamp.token, stamp.expected, storeOf("ca.pem"), at());
    EXPECT_EQ(verdict.findings.back().str(),
              "an extension of the time-stamp is critical and not supported (extension: 1.2.4)");
}

TEST(CheckTimeStamp, RefusesMalformedExtensions) {
    for (Bytes const& malformed : {sequence(oid("1.2.3")), null(), Bytes{0x30, 0x05, 0x06},
                                   join({extension("1.2.3", {}), extension("1.2.3", {})})})
        EXPECT_THAT(withExtensions(malformed).failures(),
                    ElementsAre(MessageFindingId::otherDigest, MessageFindingId::malformedExtensions));
}

TEST(CheckTimeStamp, NeedsADigestToExpect) {
    Stamp stamp;
    stamp.token.content =
        octetString(sequence(integer(1), oid("1.2.3"), sequence(sequence(oid("1.2.3.4")), octetString({})),
                             integer(5), generalizedTime("20260101000000Z")));
    ASSERT_TRUE(stamp.info.parse(stamp.token, nullptr));
    ASSERT_EQ(stamp.info.hash(), HashID::none);
    stamp.expected = {};
    EXPECT_THAT(stamp.failures(), testing::Contains(MessageFindingId::otherImprint));
}

TEST(CheckTimeStamp, AsksForOneAuthorityOfTimeStamps) {
    Stamp stamp;
    stamp.token.signerInfos.push_back(std::make_unique<PKCS7SignerInfo>());
    EXPECT_THAT(stamp.failures(), testing::Contains(MessageFindingId::severalAuthorities));
    stamp = {};
    MessageCheckOptions options = at();
    options.certificates = std::exchange(stamp.token.certificates, {});
    EXPECT_THAT(stamp.failures(options), stamp.expected.needsCertificate
                                             ? ElementsAre(MessageFindingId::certificateNotIncluded)
                                             : testing::Matcher<std::vector<MessageFindingId>>(IsEmpty()));
    EXPECT_THAT(stamp.failures(), testing::Contains(MessageFindingId::noCertificate));
    PKCS7SignedData const other = read("attached.der");
    CapturedOutput quiet;
    EXPECT_THAT(failuresOf(checkTimeStamp(other, stamp.expected, storeOf("ca.pem"), at())),
                ElementsAre(MessageFindingId::noTimeStamp));
}

} // namespace TEST_FILE

#include "chains.h"

#include "support/slow.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

using test::CapturedOutput;
using test::dns;
using test::unsignedCa;
using test::unsignedLeaf;

/// The certificates here have no keys: a chain that passes everything up to the signatures ends with
/// code 7. Chains that are valid are among the stories.
constexpr int reachedSignatures = 7;

struct Result {
    int code;
    std::string error = "untouched";
};

Result validate(CertificateChain const& chain, CertificateStore const& store, TimePoint now = test::inDate,
                bool checkCrls = false, std::string_view host = {}) {
    Result result{};
    result.code = x509ValidatePath(chain, store, now, host, {}, {}, checkCrls, &result.error);
    return result;
}

/// Notes what is asked and passes it on to a memory store.
class AskedStore : public CertificateStore {
public:
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob keyId) const override {
        asked.push_back("certificate " + subject.str() + " " + std::string(keyId.begin(), keyId.end()));
        return memory.findCertificate(subject, keyId);
    }
    std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override {
        asked.push_back("CRL for " + certificate.subject.str());
        return memory.findCrl(certificate);
    }

    CertificateMemoryStore memory;
    mutable std::vector<std::string> asked;
};

struct Chain {
    std::shared_ptr<X509Certificate> leaf = unsignedLeaf("Leaf", "Middle");
    std::shared_ptr<X509Certificate> middle = unsignedCa("Middle", "Root");
    std::shared_ptr<X509Certificate> root = unsignedCa("Root", "Root");
    AskedStore store;

    CertificateChain all() const { return {leaf, middle, root}; }

    std::shared_ptr<X509Crl> addCrl(std::string const& issuer) {
        auto crl = std::make_shared<X509Crl>();
        crl->issuer = test::commonName(issuer);
        store.memory.crls.push_back(crl);
        return crl;
    }
};

TEST(ValidatePath, EmptyChainIsCodeOne) {
    Result const result = validate({}, CertificateMemoryStore());
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.error, "untouched");
}

TEST(ValidatePath, ErrorStringMayBeLeftOut) {
    Chain chain;
    EXPECT_EQ(x509ValidatePath(chain.all(), chain.store, test::inDate, "x.test", {}, {}, false, nullptr), 2);
}

TEST(ValidatePath, CertificateAboveTheLeafMustBeACa) {
    for (unsigned char constraints : {0, 2, 255}) {
        Chain chain;
        chain.store.memory.certs = {chain.root};
        chain.middle->basicConstraints = constraints;
        Result const result = validate(chain.all(), chain.store);
        EXPECT_EQ(result.code, 3);
        EXPECT_EQ(result.error, "untouched");
    }
}

TEST(ValidatePath, LeafNeedNotBeACa) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    EXPECT_EQ(validate(chain.all(), chain.store).code, reachedSignatures);
}

TEST(ValidatePath, BoundsOfValidityAreValid) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    auto const at = [&](std::int64_t seconds) {
        return validate(chain.all(), chain.store, TimePoint::fromSeconds(seconds));
    };
    EXPECT_EQ(at(1000).code, reachedSignatures);
    EXPECT_EQ(at(2000).code, reachedSignatures);
    Result const early = at(999);
    EXPECT_EQ(early.code, 4);
    EXPECT_EQ(
        early.error,
        "cert not valid (before: Thu Jan  1 00:16:40 1970 > now: Thu Jan  1 00:16:39 1970) - \"CN=Leaf\"");
    Result const late = at(2001);
    EXPECT_EQ(late.code, 5);
    EXPECT_EQ(
        late.error,
        "cert not valid (after: Thu Jan  1 00:33:20 1970 < now: Thu Jan  1 00:33:21 1970) - \"CN=Leaf\"");
}

TEST(ValidatePath, CertificateThatEndsBeforeItBeginsIsEarlyFirst) {
    Chain chain;
    std::swap(chain.leaf->notBefore, chain.leaf->notAfter);
    EXPECT_EQ(validate(chain.all(), chain.store).code, 4);
}

TEST(ValidatePath, NoAnchorIsCodeSix) {
    Chain chain;
    Result const result = validate(chain.all(), chain.store);
    EXPECT_EQ(result.code, 6);
    EXPECT_EQ(result.error, "untouched");
    EXPECT_EQ(chain.store.asked,
              (std::vector<std::string>{"certificate CN=Middle Middle-key", "certificate CN=Root Root-key"}));
}

TEST(ValidatePath, WalkEndsAtTheFirstAnchor) {
    Chain chain;
    chain.store.memory.certs = {chain.root, chain.middle};
    chain.root->basicConstraints = 0;
    chain.root->notAfter = TimePoint::fromSeconds(1100);
    EXPECT_EQ(validate(chain.all(), chain.store).code, reachedSignatures);
    EXPECT_EQ(chain.store.asked, std::vector<std::string>{"certificate CN=Middle Middle-key"});
}

TEST(ValidatePath, LeafIsNotItsOwnAnchorUnlessSelfSigned) {
    Chain chain;
    chain.store.memory.certs = {chain.leaf};
    EXPECT_EQ(validate({chain.leaf}, chain.store).code, 6);
    EXPECT_TRUE(chain.store.asked.empty());
    chain.leaf->selfSigned = true;
    EXPECT_EQ(validate({chain.leaf}, chain.store).code, reachedSignatures);
}

TEST(ValidatePath, AnchorNeedsTheNameAndTheKeyIdentifier) {
    Chain chain;
    auto const other = unsignedCa("Root", "Root");
    other->subjectKeyId = test::bytes("another");
    chain.store.memory.certs = {other};
    EXPECT_EQ(validate(chain.all(), chain.store).code, 6);
    chain.root->subjectKeyId.clear();
    EXPECT_EQ(validate(chain.all(), chain.store).code, reachedSignatures);
}

TEST(ValidatePath, CrlsAreAskedForOnlyWhenTheyAreToBeChecked) {
    Chain chain;
    chain.leaf->serialNumber = {0x2a};
    chain.addCrl("Middle")->revoked = {{{0x2a}, {}, 255}};
    validate(chain.all(), chain.store, test::inDate, false);
    EXPECT_TRUE(
        std::ranges::none_of(chain.store.asked, [](auto const& each) { return each.starts_with("CRL"); }));
    Result const result = validate(chain.all(), chain.store, test::inDate, true);
    EXPECT_EQ(result.code, 10);
    EXPECT_EQ(result.error, "cert is revoked by crl - \"CN=Leaf\"");
}

TEST(ValidatePath, RevocationIsByTheWholeSerialNumber) {
    Chain chain;
    auto const crl = chain.addCrl("Middle");
    chain.leaf->serialNumber = {0x2a, 0x17};
    chain.middle->serialNumber = {0x01};
    crl->revoked = {
        {{0x2a}, {}, 255}, {{0x2a, 0x17, 0x00}, {}, 255}, {{0x00, 0x2a, 0x17}, {}, 255}, {{0x01}, {}, 255}};
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, 6);
    crl->revoked.push_back({{0x2a, 0x17}, {}, 255});
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, 10);
}

TEST(ValidatePath, EntryRevokesWhateverItsDateAndReason) {
    Chain chain;
    chain.leaf->serialNumber = {0x2a};
    auto const crl = chain.addCrl("Middle");
    crl->thisUpdate = TimePoint::fromSeconds(1800);
    for (unsigned char reason : {0, 6, 7, 8, 255}) {
        crl->revoked = {{{0x2a}, TimePoint::fromSeconds(1900), reason}};
        EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, 10) << int(reason);
    }
}

TEST(ValidatePath, EveryCertificateOfTheWalkIsLookedUpInItsIssuersCrl) {
    Chain chain;
    chain.root->serialNumber = chain.middle->serialNumber = {0x01};
    chain.addCrl("Root")->revoked = {{{0x01}, {}, 255}};
    Result const result = validate(chain.all(), chain.store, test::inDate, true);
    EXPECT_EQ(result.code, 10);
    EXPECT_EQ(result.error, "cert is revoked by crl - \"CN=Middle\"");
}

TEST(ValidatePath, CrlThatIsAskedTwiceAnswersAlike) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    chain.middle->serialNumber = {0x01};
    chain.root->serialNumber = {0x02};
    auto const crl = chain.addCrl("Root");
    crl->revoked = {{{0x03}, {}, 255}};
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, reachedSignatures);
    crl->revoked = {{{0x03}, {}, 255}, {{0x02}, {}, 255}};
    Result const result = validate(chain.all(), chain.store, test::inDate, true);
    EXPECT_EQ(result.code, 10);
    EXPECT_EQ(result.error, "cert is revoked by crl - \"CN=Root\"");
}

TEST(ValidatePath, MissingCrlMattersWhereThereAreDistributionPoints) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, reachedSignatures);

    chain.leaf->crlDistributionPoints = {test::generalName(6, "http://a.test/1"),
                                         test::generalName(6, "http://a.test/2")};
    chain.root->crlDistributionPoints = {dns("b.test")};
    CapturedOutput output;
    Result const result = validate(chain.all(), chain.store, test::inDate, true);
    EXPECT_EQ(result.code, 11);
    EXPECT_EQ(result.error, "crl not found for: \"CN=Leaf\"");
    EXPECT_EQ(output.text(), "\tpossible crl: URI: http://a.test/1\n"
                             "\tpossible crl: URI: http://a.test/2\n"
                             "\tpossible crl: DNS: b.test\n");
}

TEST(ValidatePath, DistributionPointsAreNotPrintedOtherwise) {
    Chain chain;
    chain.leaf->crlDistributionPoints = {dns("a.test")};
    CapturedOutput output;
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, false).code, 6);
    chain.addCrl("Middle");
    EXPECT_EQ(validate(chain.all(), chain.store, test::inDate, true).code, 6);
    EXPECT_EQ(output.text(), "");
}

/// Takes away the first thing that is wrong, one after the other.
TEST(ValidatePath, ChecksRunInTheirOrder) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    chain.root->nameConstraintExcluded = dns("a.test");
    chain.leaf->subjectAltNames = {dns("a.test")};
    chain.leaf->serialNumber = {0x2a};
    chain.leaf->crlDistributionPoints = {dns("crl.test")};
    chain.leaf->notBefore = TimePoint::fromSeconds(1600);
    chain.leaf->notAfter = TimePoint::fromSeconds(1400);
    chain.middle->basicConstraints = 0;
    chain.middle->notBefore = TimePoint::fromSeconds(1600);
    auto const crl = chain.addCrl("Middle");
    crl->revoked = {{{0x2a}, {}, 255}};
    auto const ask = [&] {
        CapturedOutput quiet;
        return validate(chain.all(), chain.store, test::inDate, true, "b.test").code;
    };
    EXPECT_EQ(ask(), 2);
    chain.leaf->subject = test::commonName("b.test");
    EXPECT_EQ(ask(), 12);
    chain.root->nameConstraintExcluded = GeneralName();
    EXPECT_EQ(ask(), 4) << "the leaf, before the certificate above it";
    chain.leaf->notBefore = TimePoint::fromSeconds(1000);
    EXPECT_EQ(ask(), 5);
    chain.leaf->notAfter = TimePoint::fromSeconds(2000);
    EXPECT_EQ(ask(), 10);
    chain.store.memory.crls.clear();
    EXPECT_EQ(ask(), 11);
    chain.leaf->crlDistributionPoints.clear();
    EXPECT_EQ(ask(), 3) << "before that certificate's dates";
    chain.middle->basicConstraints = 1;
    EXPECT_EQ(ask(), 4);
    chain.middle->notBefore = TimePoint::fromSeconds(1000);
    chain.store.memory.certs.clear();
    EXPECT_EQ(ask(), 6);
    chain.store.memory.certs = {chain.root};
    EXPECT_EQ(ask(), reachedSignatures);
}

TEST(ValidatePath, AnchorIsLookedUpAfterTheChecksOfItsCertificate) {
    Chain chain;
    chain.store.memory.certs = {chain.middle};
    chain.middle->notAfter = TimePoint::fromSeconds(1100);
    EXPECT_EQ(validate(chain.all(), chain.store).code, 5);
    EXPECT_TRUE(chain.store.asked.empty());
}

TEST(ValidatePath, SignatureFailuresNameTheLeaf) {
    Chain chain;
    chain.store.memory.certs = {chain.root};
    Result const result = validate(chain.all(), chain.store);
    EXPECT_EQ(result.code, 7);
    EXPECT_EQ(result.error, "cert signature is invalid for: \"CN=Leaf\"");
}

TEST(DisplayName, IsTheSubjectOrElseTheAlternativeNames) {
    X509Certificate certificate;
    EXPECT_EQ(getDisplayName(certificate), "");
    certificate.subjectAltNames = {dns("a.test"), test::generalName(7, std::string("\xc0\x00\x02\x07", 4)),
                                   test::generalName(0x24, "x")};
    EXPECT_EQ(getDisplayName(certificate), "DNS: a.test, IP: 192.0.2.7, : x");
    certificate.subject.country = "UY";
    certificate.subject.commonName = "Leaf";
    EXPECT_EQ(getDisplayName(certificate), "C=UY, CN=Leaf");
}

TEST(ExplainPath, ValidateIsExplainWithoutTheFacts) {
    Chain chain;
    chain.leaf->crlDistributionPoints = {dns("crl.test")};
    PathOptions question;
    question.now = test::inDate;
    question.checkCrls = true;
    CapturedOutput output;
    PathExplanation const why = x509ExplainPath(chain.all(), chain.store, question);
    EXPECT_EQ(output.text(), "") << "explaining prints nothing";
    Result const result = validate(chain.all(), chain.store, test::inDate, true);
    EXPECT_EQ(why.code, result.code);
    EXPECT_EQ(why.error, result.error);
}

std::string factsOf(std::vector<Fact> const& facts) {
    std::string text;
    for (Fact const& fact : facts)
        text += fact.label + "=" + fact.value + "\n";
    return text;
}

PathExplanation explain(Chain const& chain, PathOptions question) {
    question.now = test::inDate;
    return x509ExplainPath(chain.all(), chain.store, question);
}

TEST(ExplainPath, EmptyChainHasNothingToTell) {
    PathExplanation const why = x509ExplainPath({}, CertificateMemoryStore(), {});
    EXPECT_EQ(why.code, 1);
    EXPECT_EQ(why.error + why.subject + factsOf(why.facts), "");
}

TEST(ExplainPath, IdentityTellsWhatWasAskedAndWhatWasFound) {
    Chain chain;
    chain.leaf->subjectAltNames = {dns("a.test"), test::mailbox("ann@a.test")};
    PathOptions question;
    question.hostName = "B.test";
    question.address = test::address("192.0.2.7");
    question.email = "bob@a.test";
    PathExplanation const why = explain(chain, question);
    EXPECT_EQ(why.code, 2);
    EXPECT_EQ(why.depth, 0u);
    EXPECT_EQ(why.subject, "CN=Leaf");
    EXPECT_EQ(factsOf(why.facts),
              "host asked for=B.test\naddress asked for=192.0.2.7\ne-mail asked for=bob@a.test\n"
              "name found=DNS: a.test\nname found=rfc822: ann@a.test\n"
              "common name found=Leaf\n");
}

TEST(ExplainPath, DatesTellTheBoundAndTheTime) {
    Chain chain;
    chain.middle->notAfter = TimePoint::fromSeconds(1499);
    PathExplanation const late = explain(chain, {});
    EXPECT_EQ(late.code, 5);
    EXPECT_EQ(late.depth, 1u);
    EXPECT_EQ(late.subject, "CN=Middle");
    EXPECT_EQ(factsOf(late.facts), "now=1970-01-01T00:25:00Z\nnotAfter=1970-01-01T00:24:59Z\n");
    chain.middle->notBefore = TimePoint::fromSeconds(1501);
    EXPECT_EQ(factsOf(explain(chain, {}).facts),
              "now=1970-01-01T00:25:00Z\nnotBefore=1970-01-01T00:25:01Z\n");
}

TEST(ExplainPath, MissingCaTellsTheBasicConstraints) {
    Chain chain;
    chain.root->basicConstraints = 0;
    EXPECT_EQ(explain(chain, {}).depth, 2u);
    EXPECT_EQ(factsOf(explain(chain, {}).facts), "basic constraints=absent\n");
    chain.root->basicConstraints = 2;
    EXPECT_EQ(factsOf(explain(chain, {}).facts), "basic constraints=cA FALSE\n");
}

TEST(ExplainPath, MissingAnchorTellsWhoseCertificateWouldBeNext) {
    Chain chain;
    chain.root->issuer = test::commonName("Above");
    chain.root->authorityKeyId = {0x0a, 0xff};
    PathExplanation const why = explain(chain, {});
    EXPECT_EQ(why.code, 6);
    EXPECT_EQ(why.depth, 2u);
    EXPECT_EQ(factsOf(why.facts), "issuer=CN=Above\nauthority key identifier=0a:ff\n");
}

TEST(ExplainPath, RevocationTellsSerialNumberAndList) {
    Chain chain;
    chain.leaf->serialNumber = {0x0a, 0xff};
    auto const crl = chain.addCrl("Middle");
    crl->thisUpdate = TimePoint::fromSeconds(60);
    crl->revoked = {{{0x0a, 0xff}, TimePoint::fromSeconds(30), 1}};
    PathOptions question;
    question.checkCrls = true;
    EXPECT_EQ(factsOf(explain(chain, question).facts),
              "serial number=0a:ff\nCRL issuer=CN=Middle\nCRL issued=1970-01-01T00:01:00Z\n"
              "revoked=1970-01-01T00:00:30Z\nreason=key compromise\n");
    crl->revoked[0].reasonCode = 255;
    EXPECT_EQ(explain(chain, question).facts.size(), 4u);
}

TEST(ExplainPath, MissingCrlTellsTheIssuerAndItsPoints) {
    Chain chain;
    chain.leaf->crlDistributionPoints = {test::generalName(6, "http://a.test/1"), dns("b.test")};
    chain.middle->crlDistributionPoints = {dns("c.test")};
    PathOptions question;
    question.checkCrls = true;
    EXPECT_EQ(factsOf(explain(chain, question).facts),
              "issuer=CN=Middle\ndistribution point=URI: http://a.test/1\n"
              "distribution point=DNS: b.test\n");
}

PathExplanation explain(test::Story const& story) {
    PathOptions question;
    question.now = test::storyTime;
    return x509ExplainPath(story.chain, story.store, question);
}

TEST(ExplainPath, SignatureTellsTheCertificateThatFailed) {
    PathExplanation const why = explain(test::Story("tampered-intermediate"));
    EXPECT_EQ(why.code, 9);
    EXPECT_EQ(why.depth, 1u);
    EXPECT_EQ(why.subject, "CN=Intermediate");
    EXPECT_EQ(why.error, "cert signature is invalid for: \"CN=Leaf\"")
        << "the text names the leaf all the same";
    EXPECT_EQ(factsOf(why.facts), "signature algorithm=ED25519\nissuer's key=Ed25519\nissuer=CN=Root\n");
}

TEST(ExplainPath, WrongKeyTypeTellsBothTypes) {
    PathExplanation const why = explain(test::Story("signature-of-the-wrong-key-type"));
    EXPECT_EQ(why.code, 8);
    EXPECT_EQ(factsOf(why.facts), "signature algorithm=SHA256+RSA\nissuer's key=EC\nissuer=CN=Root\n");
}

TEST(ExplainPath, UnreadableKeyTellsItsAlgorithm) {
    test::Story const story("unreadable-issuer-key");
    PathExplanation why = explain(story);
    EXPECT_EQ(why.code, 7);
    EXPECT_EQ(factsOf(why.facts), "signature algorithm=ED448\nissuer's key=1.3.101.113\nissuer=CN=Root\n");
    story.store.certs[0]->subjectPublicKeyInfo = {0x04, 0x00};
    why = explain(story);
    EXPECT_EQ(why.code, 7);
    EXPECT_EQ(why.facts[1].value, "unreadable");
}

TEST(ValidatePath, LongChainAgainstALongListTakesTimeInProportion) {
    int const count = test::lessWhenSlow(3000, 600);
    Chain chain;
    auto const crl = chain.addCrl("CA");
    for (int i = 0; i < test::lessWhenSlow(20000, 4000); ++i)
        crl->revoked.push_back({test::bytes("serial " + std::to_string(i)), {}, 255});
    CertificateChain certificates;
    for (int i = 0; i < count; ++i) {
        certificates.push_back(unsignedCa(std::to_string(i), "CA"));
        certificates.back()->serialNumber = test::bytes("other " + std::to_string(i));
    }
    EXPECT_EQ(validate(certificates, chain.store, test::inDate, true).code, 6);
}

} // namespace TEST_FILE

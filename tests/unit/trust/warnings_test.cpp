#include "chains.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace TEST_FILE {

using test::storyTime;

struct Story : test::Story {
    using test::Story::Story;

    std::vector<PathWarning> ask(PathOptions question) const {
        question.now = storyTime;
        return x509PathWarnings(chain, store, question);
    }
};

/// "name@depth subject label=value label=value", one line each.
std::string show(std::vector<PathWarning> const& warnings) {
    std::string text;
    for (PathWarning const& warning : warnings) {
        text += std::string(getReasonText(warning.id).name) + "@" + std::to_string(warning.depth) + " " +
                warning.subject;
        for (Fact const& fact : warning.facts)
            text += " " + fact.label + "=" + fact.value;
        text += "\n";
    }
    return text;
}

PathOptions hostQuestion() {
    PathOptions question;
    question.hostName = "www.a.test";
    return question;
}

PathOptions crlQuestion() {
    PathOptions question;
    question.checkCrls = true;
    return question;
}

PathOptions purposeQuestion(PathPurpose purpose) {
    PathOptions question;
    question.purpose = purpose;
    return question;
}

TEST(PathWarnings, GoodChainHasNone) {
    EXPECT_EQ(show(Story("rsa-chain").ask(hostQuestion())), "");
    EXPECT_EQ(show(Story("ed25519-chain").ask(hostQuestion())), "");
    EXPECT_EQ(show(Story("not-revoked").ask(crlQuestion())), "");
    EXPECT_EQ(show(Story("path-length-kept").ask(hostQuestion())), "");
}

TEST(PathWarnings, EmptyChainHasNone) {
    EXPECT_TRUE(x509PathWarnings({}, CertificateMemoryStore(), hostQuestion()).empty());
}

TEST(PathWarnings, PathLengthTellsLimitAndCount) {
    EXPECT_EQ(show(Story("path-length-exceeded").ask({})),
              "path-length@2 CN=Upper path length allowed=0 CA certificates below=1\n");
}

TEST(PathWarnings, SelfIssuedCertificatesDoNotCountForThePathLength) {
    EXPECT_EQ(show(Story("path-length-with-self-issued").ask({})), "");
}

TEST(PathWarnings, CaWithoutKeyCertSign) {
    EXPECT_EQ(show(Story("ca-without-key-cert-sign").ask({})), "no-key-cert-sign@1 CN=Intermediate\n");
}

TEST(PathWarnings, CaWithoutKeyUsageAtAllIsFree) {
    EXPECT_EQ(show(Story("ca-without-key-usage").ask({})), "");
}

TEST(PathWarnings, PurposeFollowsFromWhatIsAsked) {
    Story const story("leaf-for-another-purpose");
    std::string const forServers = "extended-key-usage@0 CN=Leaf purpose asked for=tls-server "
                                   "purpose found=1.3.6.1.5.5.7.3.2 purpose found=1.3.6.1.5.5.7.3.4\n";
    EXPECT_EQ(show(story.ask(hostQuestion())), forServers);
    PathOptions question;
    question.address = test::address("192.0.2.7");
    EXPECT_EQ(show(story.ask(question)), forServers);
    question = {};
    question.email = "ann@a.test";
    EXPECT_EQ(show(story.ask(question)), "");
    EXPECT_EQ(show(story.ask({})), "");
    question = hostQuestion();
    question.purpose = PathPurpose::any;
    EXPECT_EQ(show(story.ask(question)), "");
}

TEST(PathWarnings, EveryPurposeHasItsIdentifier) {
    using enum PathPurpose;
    std::vector<std::pair<PathPurpose, std::string>> const purposes = {
        {tlsServer, "tls-server"},       {tlsClient, "tls-client"},
        {codeSigning, "code-signing"},   {emailProtection, "email-protection"},
        {timeStamping, "time-stamping"}, {ocspSigning, "ocsp-signing"}};
    Story const clientAndMail("leaf-for-another-purpose");
    Story const theOthers("leaf-for-other-purposes");
    Story const anyUse("leaf-for-any-purpose");
    for (auto const& [purpose, name] : purposes) {
        bool const isClientOrMail = purpose == tlsClient || purpose == emailProtection;
        std::string const found = show(clientAndMail.ask(purposeQuestion(purpose)));
        EXPECT_EQ(found.empty(), isClientOrMail) << name;
        EXPECT_EQ(found.find("purpose asked for=" + name + " ") == std::string::npos, isClientOrMail)
            << found;
        EXPECT_EQ(theOthers.ask(purposeQuestion(purpose)).empty(), !isClientOrMail) << name;
        EXPECT_TRUE(anyUse.ask(purposeQuestion(purpose)).empty()) << name;
    }
}

TEST(PathWarnings, LeafWithoutExtendedKeyUsageIsFree) {
    EXPECT_EQ(show(Story("leaf-without-purpose").ask(hostQuestion())), "");
}

TEST(PathWarnings, NamesThatDoNotLink) {
    EXPECT_EQ(show(Story("names-do-not-link").ask({})),
              "names-do-not-link@0 CN=Leaf issuer named=CN=Root subject above=CN=Renamed\n");
}

TEST(PathWarnings, SmallExponentIsThatOfTheKeyThatCounts) {
    Story story("small-exponent");
    EXPECT_EQ(show(story.ask({})), "small-rsa-exponent@1 CN=Root public exponent=3\n");
    story.chain[1] = std::make_shared<X509Certificate>(*story.chain[1]);
    story.chain[1]->subjectPublicKeyInfo.clear();
    EXPECT_EQ(show(story.ask({})), "small-rsa-exponent@1 CN=Root public exponent=3\n");
}

TEST(PathWarnings, CriticalPolicies) {
    EXPECT_EQ(show(Story("critical-policies").ask({})),
              "critical-policies@1 CN=Intermediate extension=2.5.29.32\n");
}

TEST(PathWarnings, ForgedCrl) {
    EXPECT_EQ(show(Story("forged-crl").ask(crlQuestion())),
              "crl-signature@0 CN=Leaf CRL issuer=CN=Root CRL issued=2024-01-01T00:00:00Z "
              "verification=bad-signature\n");
}

TEST(PathWarnings, CrlDates) {
    EXPECT_EQ(show(Story("stale-crl").ask(crlQuestion())),
              "crl-out-of-date@0 CN=Leaf now=2025-06-01T12:00:00Z CRL issuer=CN=Root "
              "next CRL due=2024-02-01T00:00:00Z\n");
    EXPECT_EQ(show(Story("crl-from-the-future").ask(crlQuestion())),
              "crl-not-yet-valid@0 CN=Leaf now=2025-06-01T12:00:00Z CRL issuer=CN=Root "
              "CRL issued=2025-06-01T12:00:01Z\n");
}

TEST(PathWarnings, BoundsOfACrlAreInDate) {
    Story const story("not-revoked");
    story.store.crls[0]->thisUpdate = storyTime;
    story.store.crls[0]->nextUpdate = storyTime;
    EXPECT_EQ(show(story.ask(crlQuestion())), "");
    story.store.crls[0]->nextUpdate = TimePoint();
    EXPECT_EQ(show(story.ask(crlQuestion())), "") << "no next update was announced";
}

TEST(PathWarnings, CrlOfLimitedScope) {
    EXPECT_EQ(show(Story("crl-for-ca-certificates-only").ask(crlQuestion())),
              "crl-scope@0 CN=Leaf CRL issuer=CN=Root CRL issued=2024-01-01T00:00:00Z "
              "issuing distribution point=30:03:82:01:ff\n");
}

TEST(PathWarnings, CrlOfAnIssuerWithoutCrlSign) {
    EXPECT_EQ(show(Story("ca-without-crl-sign").ask(crlQuestion())),
              "crl-issuer-no-crl-sign@0 CN=Leaf CRL issuer=CN=Root CRL issued=2024-01-01T00:00:00Z\n");
}

TEST(PathWarnings, CrlsAreLookedAtOnlyWhenTheyAreChecked) {
    EXPECT_EQ(show(Story("forged-crl").ask({})), "");
    EXPECT_EQ(show(Story("stale-crl").ask(hostQuestion())), "");
}

TEST(PathWarnings, EachCrlIsToldOnce) {
    // The root's list is asked for the intermediate and for the root itself.
    Story story("revoked-intermediate");
    story.store.crls = test::readCrls("stale-crl/crls.pem");
    std::string const warnings = show(story.ask(crlQuestion()));
    EXPECT_EQ(std::count(warnings.begin(), warnings.end(), '\n'), 1) << warnings;
    EXPECT_TRUE(warnings.starts_with("crl-out-of-date@1 CN=Intermediate ")) << warnings;
}

TEST(PathWarnings, CrlOfAnUnknownIssuerCannotBeVerified) {
    Story story("not-revoked");
    story.chain.pop_back();
    story.store.certs.clear();
    EXPECT_EQ(show(story.ask(crlQuestion())),
              "crl-signature@0 CN=Leaf CRL issuer=CN=Root CRL issued=2024-01-01T00:00:00Z "
              "issuer's certificate=not found\n");
    story.store.certs = test::readChain("not-revoked/store.pem");
    EXPECT_EQ(show(story.ask(crlQuestion())), "") << "an issuer that only the store has";
}

TEST(PathWarnings, NothingAboveTheAnchorIsLookedAt) {
    Story story("path-length-exceeded");
    story.store.certs = {story.chain[1]};
    EXPECT_EQ(show(story.ask({})), "");
}

TEST(PathWarnings, WithoutAnchorTheWholeChainIsLookedAt) {
    Story story("path-length-exceeded");
    story.store.certs.clear();
    EXPECT_EQ(show(story.ask({})), "path-length@2 CN=Upper path length allowed=0 CA certificates below=1\n");
}

TEST(PathWarnings, CertificatesWithoutBytesDoNoHarm) {
    auto const leaf = test::unsignedLeaf("Leaf", "Root");
    EXPECT_EQ(show(x509PathWarnings({leaf, test::unsignedCa("Root", "Root")}, CertificateMemoryStore(),
                                    hostQuestion())),
              "");
}

TEST(CrlWarnings, JudgeOneCrlByItsIssuer) {
    Story const good("not-revoked");
    X509Certificate const& issuer = *good.store.certs[0];
    EXPECT_EQ(show(x509CrlWarnings(*good.store.crls[0], issuer, storyTime)), "");
    EXPECT_EQ(show(x509CrlWarnings(*Story("forged-crl").store.crls[0], issuer, storyTime)),
              "crl-signature@0 CN=Root CRL issuer=CN=Root CRL issued=2024-01-01T00:00:00Z "
              "verification=bad-signature\n");
    EXPECT_TRUE(show(x509CrlWarnings(*Story("stale-crl").store.crls[0], issuer, storyTime))
                    .starts_with("crl-out-of-date@0"));
}

} // namespace TEST_FILE

// One piece of advice for a chain that is refused.
#include "sealkit/advice.h"

#include "chains.h"

#include <gtest/gtest.h>
#include <set>

namespace TEST_FILE {

using test::storyTime;

PathVerdict verdictOf(CertificateChain chain, PathCode code, unsigned depth = 0) {
    PathVerdict verdict;
    verdict.chain = std::move(chain);
    verdict.explanation.code = static_cast<int>(code);
    verdict.explanation.depth = depth;
    return verdict;
}

std::shared_ptr<X509Certificate> make(std::string const& subject, std::string const& issuer) {
    auto certificate = std::make_shared<X509Certificate>();
    certificate->subject = test::commonName(subject);
    certificate->issuer = test::commonName(issuer);
    certificate->selfSigned = subject == issuer;
    certificate->subjectKeyId = test::bytes(subject);
    certificate->authorityKeyId = test::bytes(issuer);
    certificate->subjectPublicKeyInfo = test::bytes("key of " + subject);
    certificate->notBefore = TimePoint::fromSeconds(storyTime.seconds - 100);
    certificate->notAfter = TimePoint::fromSeconds(storyTime.seconds + 100);
    return certificate;
}

struct AdviceTest : testing::Test {
    std::shared_ptr<X509Certificate> leaf = make("leaf", "root"), root = make("root", "root");
    CertificateMemoryStore store, other;
    PathOptions options;

    AdviceTest() { options.now = storyTime; }

    /// The advice as its line; empty without one.
    std::string advise(PathVerdict const& verdict, CertificateStore const* another = nullptr) {
        auto const advice = x509AdvisePath(verdict, options, store, another);
        return advice ? advice->str() : "";
    }
};

TEST(PathAdvices, EveryIdHasANameAndASentence) {
    std::set<std::string> names;
    for (auto const& row : pathAdvices()) {
        EXPECT_EQ(&getReasonText(row.id), &row);
        EXPECT_TRUE(names.insert(row.name).second);
        EXPECT_EQ(std::string(row.name).find_first_not_of("abcdefghijklmnopqrstuvwxyz-"), std::string::npos);
        EXPECT_EQ(std::string(row.sentence).back(), '.');
    }
    EXPECT_EQ(names.size(), 9U);
}

TEST_F(AdviceTest, NoneForAValidChainOrNoChain) {
    EXPECT_EQ(advise(verdictOf({leaf, root}, PathCode::valid)), "");
    EXPECT_EQ(advise(verdictOf({}, PathCode::emptyChain)), "");
    EXPECT_EQ(advise(verdictOf({leaf, root}, PathCode::badSignature)), "");
}

TEST_F(AdviceTest, NamesTheHostOfAUrlAndOfAPort) {
    auto const verdict = verdictOf({leaf, root}, PathCode::identityMismatch);
    options.hostName = "https://example.org:8443/path";
    EXPECT_EQ(advise(verdict), "The host name is written as a URL; ask for only the host "
                               "(host asked for: https://example.org:8443/path; host: example.org).");
    options.hostName = "example.org/";
    EXPECT_NE(advise(verdict).find("host: example.org)"), std::string::npos);
    options.hostName = "example.org:443";
    EXPECT_EQ(advise(verdict), "The host name includes a port; ask for only the host "
                               "(host asked for: example.org:443; host: example.org).");
    for (char const* const name : {"example.org", "", "://", ":443", "/"}) {
        options.hostName = name;
        EXPECT_EQ(advise(verdict), "") << name;
    }
}

TEST_F(AdviceTest, SuspectsTheClockIfNoCertificateIsValid) {
    options.now = TimePoint::fromSeconds(storyTime.seconds - 1000);
    EXPECT_NE(advise(verdictOf({leaf, root}, PathCode::notYetValid)).find("clock may be behind"),
              std::string::npos);
    options.now = TimePoint::fromSeconds(storyTime.seconds + 1000);
    EXPECT_NE(advise(verdictOf({leaf, root}, PathCode::expired)).find("clock may be ahead"),
              std::string::npos);
    leaf->notAfter = TimePoint::fromSeconds(storyTime.seconds + 2000);
    EXPECT_EQ(advise(verdictOf({leaf, root}, PathCode::expired, 1)), "");
}

TEST_F(AdviceTest, NamesTheMissingIssuerAndTheUntrustedRoot) {
    EXPECT_EQ(advise(verdictOf({leaf}, PathCode::noAnchor)),
              "The certificate of an issuer is missing; add it to the given certificates "
              "(certificate: CN=leaf; issuer: CN=root).");
    EXPECT_EQ(advise(verdictOf({leaf, root}, PathCode::noAnchor, 1)),
              "The chain ends with a root that is not trusted; trust it only if you got it in a secure way "
              "(certificate: CN=root).");
    auto limited = verdictOf({leaf}, PathCode::noAnchor);
    limited.limit = SearchLimit::work;
    EXPECT_EQ(advise(limited), "");
}

TEST_F(AdviceTest, NamesAnotherStoreThatTrustsTheRoot) {
    other.certs = {root};
    for (auto const& chain : {CertificateChain{leaf, root}, CertificateChain{leaf}})
        EXPECT_EQ(
            advise(verdictOf(chain, PathCode::noAnchor), &other),
            "The chain leads to a certificate that the certificate manager trusts (certificate: CN=root).");
}

TEST_F(AdviceTest, NamesATrustedCertificateOfTheSameKey) {
    auto twin = std::make_shared<X509Certificate>(*root);
    twin->subjectKeyId = test::bytes("another");
    store.certs = {twin};
    EXPECT_NE(advise(verdictOf({leaf, root}, PathCode::noAnchor, 1)).find("another key identifier"),
              std::string::npos);
}

TEST_F(AdviceTest, NamesWhereTheCrlIs) {
    leaf->crlDistributionPoints = {test::generalName(GeneralName::uri, "http://example.org/ca.crl")};
    for (PathCode const code : {PathCode::crlMissing, PathCode::revocationUndetermined})
        EXPECT_EQ(advise(verdictOf({leaf, root}, code)),
                  "A current CRL is missing; add it to the given CRLs "
                  "(certificate: CN=leaf; published at: http://example.org/ca.crl).");
}

} // namespace TEST_FILE

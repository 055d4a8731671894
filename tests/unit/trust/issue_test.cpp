// What the standard rules would refuse under a CA is refused before it is issued.
#include "sealkit/issue.h"

#include "made_chain.h"

namespace TEST_FILE {

using namespace test;

PathExplanation explain(std::vector<MadeCertificate> const& made) {
    MadeChain const chain(made);
    CertificateChain others(chain.chain.begin() + 1, chain.chain.end());
    auto const issuer = others.empty() ? nullptr : others.front();
    std::ranges::reverse(others); // In any order, and the issuer may be among them.
    return x509CheckIssue(chain.chain.front(), issuer, others);
}

void expectRefused(std::vector<MadeCertificate> const& made, PathCode code, unsigned depth,
                   std::vector<std::pair<std::string, std::string>> const& facts = {}) {
    PathExplanation const found = explain(made);
    EXPECT_EQ(found.code, static_cast<int>(code)) << found.reason();
    EXPECT_EQ(found.depth, depth);
    for (auto const& expected : facts)
        EXPECT_TRUE(std::ranges::any_of(found.facts,
                                        [&expected](Fact const& fact) {
                                            return fact.label == expected.first &&
                                                   fact.value == expected.second;
                                        }))
            << expected.first << ": " << expected.second;
}

void expectAccepted(std::vector<MadeCertificate> const& made) {
    PathExplanation const found = explain(made);
    EXPECT_EQ(found.code, 0) << found.reason();
}

TEST(Issue, AcceptsWhatTheRulesAccept) {
    expectAccepted({madeLeaf({dnsName("a.example")}), madeCa("Root")});
    expectAccepted({madeCa("Intermediate"), madeCa("Root")});
    expectAccepted({madeCa("Root")});
}

TEST(Issue, CountsANewCaWithinThePathLength) {
    expectAccepted({madeLeaf({dnsName("a.example")}), madeCa("Root").withPathLength(0)});
    expectRefused({madeCa("Intermediate"), madeCa("Root").withPathLength(0)}, PathCode::pathTooLong, 1,
                  {{"path length allowed", "0"}, {"CA certificates below", "1"}});
    expectAccepted({madeCa("Intermediate"), madeCa("Root").withPathLength(1)});
    expectRefused({madeCa("Lower"), madeCa("Intermediate"), madeCa("Root").withPathLength(1)},
                  PathCode::pathTooLong, 2);
    // A CA that changes its key counts for nothing.
    expectAccepted({madeCa("Root"), madeCa("Root").withPathLength(0)});
}

TEST(Issue, KeepsToTheConstraints) {
    MadeCertificate const root = madeCa("Root").withConstraints({dnsName("a.example")}, {});
    expectAccepted({madeLeaf({dnsName("www.a.example")}), root});
    expectRefused({madeLeaf({dnsName("www.b.example")}), root}, PathCode::nameConstraintViolated, 0,
                  {{"name", "DNS: www.b.example"}});
    expectRefused({madeLeaf({dnsName("www.b.example")}), madeCa("Intermediate"), root},
                  PathCode::nameConstraintViolated, 0);
}

TEST(Issue, KeepsCommonNamesToTheConstraints) {
    der::Bytes const address = der::implicit(7, der::Bytes{10, 0, 0, 0, 255, 0, 0, 0});
    der::Bytes const mailboxes = der::implicit(1, "a.example");
    MadeCertificate const root = madeCa("Root").withConstraints({dnsName("a.example"), address, mailboxes},
                                                                {dnsName("bad.a.example")});
    auto const leaf = [](std::string const& commonName) {
        MadeCertificate made = madeLeaf({dnsName("www.a.example")});
        made.subject = named(commonName);
        return made;
    };
    for (char const* const name :
         {"www.a.example", "Ada Lovelace", "localhost", "b.example, Inc.", "10.1.2.3", "ada@a.example"})
        expectAccepted({leaf(name), root});
    expectRefused({leaf("www.b.example"), root}, PathCode::nameConstraintViolated, 0,
                  {{"common name", "www.b.example"},
                   {"name", "DNS: www.b.example"},
                   {"permitted", "DNS: a.example"},
                   {"constrained by", "CN=Root"}});
    for (char const* const name :
         {"*.b.example", "x.bad.a.example", "WWW.B.EXAMPLE", "11.1.2.3", "ada@b.example"})
        expectRefused({leaf(name), madeCa("Intermediate"), root}, PathCode::nameConstraintViolated, 0);
    // Every one of several counts; the name of a CA is that of nobody else.
    MadeCertificate several = leaf("");
    several.subject = der::name({{"2.5.4.3", "www.a.example"}, {"2.5.4.3", "www.b.example"}});
    expectRefused({several, root}, PathCode::nameConstraintViolated, 0);
    expectAccepted({madeCa("www.b.example"), root});
}

TEST(Issue, AsksForThePoliciesOfACaWithoutItsRoot) {
    der::Bytes const required = der::sequence(der::implicit(0, der::Bytes{0}));
    MadeCertificate const intermediate =
        madeCa("Intermediate").withPolicies({"1.2.3"}).with("2.5.29.36", required, true);
    MadeCertificate const plain = madeLeaf({dnsName("a.example")});
    MadeCertificate good = plain, wrong = plain;
    good.withPolicies({"1.2.3"});
    wrong.withPolicies({"1.2.4"});
    for (auto const& [leaf, code] :
         {std::pair(plain, PathCode::policyRequired), std::pair(good, PathCode::valid),
          std::pair(wrong, PathCode::policyRequired)}) {
        MadeChain const made({leaf, intermediate, madeCa("Root")});
        EXPECT_EQ(x509CheckIssue(made.chain[0], made.chain[1]).code, static_cast<int>(code));
        EXPECT_EQ(x509CheckIssue(made.chain[0], made.chain[1], made.chain).code, static_cast<int>(code));
    }
}

TEST(Issue, GivesNoPurposeThatAnIssuerLacks) {
    constexpr char const* server = "1.3.6.1.5.5.7.3.1";
    constexpr char const* client = "1.3.6.1.5.5.7.3.2";
    constexpr char const* other = "1.2.3.4";
    constexpr char const* any = "2.5.29.37.0";
    MadeCertificate const leaf = madeLeaf({dnsName("a.example")}).withPurposes({server, other});
    expectAccepted({leaf, madeCa("Root").withPurposes({server, other})});
    expectAccepted({leaf, madeCa("Root").withPurposes({client, any})});
    expectRefused({leaf, madeCa("Root").withPurposes({server, client})}, PathCode::purposeMismatch, 1,
                  {{"purpose given", "1.2.3.4"}});
    expectRefused({leaf, madeCa("Intermediate"), madeCa("Root").withPurposes({server})},
                  PathCode::purposeMismatch, 2);
    expectRefused({madeCa("Intermediate").withPurposes({client}), madeCa("Root").withPurposes({server})},
                  PathCode::purposeMismatch, 1);
}

TEST(Issue, KeepsTimeStampingAlone) {
    constexpr char const* timeStamping = "1.3.6.1.5.5.7.3.8";
    der::Bytes const alone = der::sequence(der::oid(timeStamping));
    MadeCertificate leaf = madeLeaf({dnsName("a.example")});
    expectAccepted({leaf.with("2.5.29.37", alone, true), madeCa("Root")});
    expectRefused({leaf.with("2.5.29.37", alone, false), madeCa("Root")}, PathCode::purposeMismatch, 0);
    der::Bytes const both = der::sequence(der::oid(timeStamping), der::oid("1.2.3.4"));
    expectRefused({leaf.with("2.5.29.37", both, true), madeCa("Root")}, PathCode::purposeMismatch, 0);
    expectAccepted({madeCa("Intermediate").with("2.5.29.37", both), madeCa("Root")});
}

TEST(Issue, NeedsACaThatMaySign) {
    expectRefused({madeLeaf({dnsName("a.example")}), madeLeaf({dnsName("b.example")})}, PathCode::notCa, 1);
    expectRefused(
        {madeLeaf({dnsName("a.example")}), madeCa("Root").with("2.5.29.15", der::bitString({0x02}, 1), true)},
        PathCode::keyCertSignMissing, 1);
}

TEST(Issue, KnowsOfTheCasAboveWhatItIsTold) {
    MadeChain const made({madeLeaf({dnsName("a.example")}), madeCa("Intermediate"),
                          madeCa("Root").withConstraints({}, {dnsName("a.example")})});
    EXPECT_EQ(x509CheckIssue(made.chain[0], made.chain[1]).code, 0);
    // Another of the same name is no issuer.
    MadeChain const other({madeLeaf({}), madeCa("Root").withConstraints({}, {dnsName("a.example")})},
                          KeyType::EC);
    EXPECT_EQ(x509CheckIssue(made.chain[0], made.chain[1], other.chain).code, 0);
    EXPECT_EQ(x509CheckIssue(made.chain[0], made.chain[1], {other.chain[1], made.chain[2]}).code,
              static_cast<int>(PathCode::nameConstraintViolated));
}

TEST(Issue, EndsWithTheCaAtTheLatest) {
    Ed25519PrivateKey key;
    ASSERT_TRUE(key.initPrivate(der::Bytes(32, 7)));
    auto const make = [&](int64_t from, int64_t to) {
        auto made = std::make_shared<X509Certificate>();
        made->serialNumber = {1};
        made->subject.commonName = made->issuer.commonName = "Root";
        made->notBefore = TimePoint::fromSeconds(from);
        made->notAfter = TimePoint::fromSeconds(to);
        made->setPublicKey(key);
        made->basicConstraints = 1;
        EXPECT_TRUE(made->sign(key));
        return made;
    };
    auto const root = make(1000, 2000);
    EXPECT_EQ(x509CheckIssue(make(1000, 2000), root).code, 0);
    PathExplanation const early = x509CheckIssue(make(999, 2000), root);
    EXPECT_EQ(early.code, static_cast<int>(PathCode::notYetValid));
    EXPECT_EQ(early.depth, 1u);
    PathExplanation const late = x509CheckIssue(make(1000, 2001), root);
    EXPECT_EQ(late.code, static_cast<int>(PathCode::expired));
    EXPECT_EQ(late.depth, 1u);
    ASSERT_EQ(late.facts.size(), 2u);
    EXPECT_EQ(late.facts[0].label, "certificate ends");
    EXPECT_EQ(late.facts[1].label, "notAfter");
}

} // namespace TEST_FILE

#include "chains.h"
#include "support/slow.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::CapturedOutput;
using test::unsignedCa;
using test::unsignedLeaf;

CertificateMemoryStore storeOf(std::vector<std::shared_ptr<X509Certificate>> certificates) {
    CertificateMemoryStore store;
    store.certs = std::move(certificates);
    return store;
}

TEST(BuildPath, AppendsIssuersUpToTheSelfSignedOne) {
    auto const root = unsignedCa("Root", "Root");
    auto const middle = unsignedCa("Middle", "Root");
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    CapturedOutput output;
    CertificateChain chain = {leaf};
    EXPECT_TRUE(x509BuildPath(storeOf({root, middle}), chain, leaf));
    EXPECT_EQ(chain, (CertificateChain{leaf, middle, root}));
    EXPECT_EQ(output.text(), "");
}

TEST(BuildPath, StartsFromTheLastOfTheChainWhenNoStartIsGiven) {
    auto const root = unsignedCa("Root", "Root");
    auto const middle = unsignedCa("Middle", "Root");
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    CertificateChain chain = {leaf, middle};
    EXPECT_TRUE(x509BuildPath(storeOf({root}), chain, nullptr));
    EXPECT_EQ(chain, (CertificateChain{leaf, middle, root}));
}

TEST(BuildPath, WithNeitherStartNorChainThereIsNothingToBuild) {
    CertificateChain chain;
    EXPECT_FALSE(x509BuildPath(storeOf({unsignedCa("Root", "Root")}), chain, nullptr));
    EXPECT_TRUE(chain.empty());
}

TEST(BuildPath, NeverAppendsTheStartItself) {
    auto const root = unsignedCa("Root", "Root");
    CertificateChain chain;
    EXPECT_TRUE(x509BuildPath(storeOf({root}), chain, unsignedLeaf("Leaf", "Root")));
    EXPECT_EQ(chain, CertificateChain{root});
}

TEST(BuildPath, SelfSignedStartGivesTrueOnlyWhenTheChainHoldsSomething) {
    auto const root = unsignedCa("Root", "Root");
    CertificateChain chain;
    EXPECT_FALSE(x509BuildPath(storeOf({root}), chain, root));
    EXPECT_TRUE(chain.empty());
    chain = {root};
    EXPECT_TRUE(x509BuildPath(storeOf({root}), chain, root));
    EXPECT_EQ(chain.size(), 1u);
}

TEST(BuildPath, MissingIssuerIsNamedByItsKeyIdentifier) {
    auto const leaf = unsignedLeaf("Leaf", "Missing");
    leaf->authorityKeyId = {0x0a, 0xff};
    CapturedOutput output;
    CertificateChain chain;
    EXPECT_FALSE(x509BuildPath(storeOf({}), chain, leaf));
    EXPECT_EQ(output.text(), "trust path: next certificate not found for akid: 0a:ff\n");
    chain = {leaf};
    EXPECT_TRUE(x509BuildPath(storeOf({}), chain, leaf));
    EXPECT_EQ(chain, CertificateChain{leaf});
}

TEST(BuildPath, IssuerWithoutCaConstraintIsNamedAndNotAppended) {
    for (unsigned char constraints : {0, 2, 255}) {
        auto const middle = unsignedCa("Middle", "Root");
        middle->basicConstraints = constraints;
        middle->subjectKeyId = {0x0a, 0xff};
        auto const leaf = unsignedLeaf("Leaf", "Middle");
        leaf->authorityKeyId = middle->subjectKeyId;
        CapturedOutput output;
        CertificateChain chain;
        EXPECT_FALSE(x509BuildPath(storeOf({middle}), chain, leaf));
        EXPECT_TRUE(chain.empty());
        EXPECT_EQ(output.text(), "trust path: certificate without CA constraint with skid: 0a:ff\n");
        chain = {leaf};
        EXPECT_TRUE(x509BuildPath(storeOf({middle}), chain, leaf));
        EXPECT_EQ(chain, CertificateChain{leaf});
    }
}

TEST(BuildPath, LoopEndsBuildingWithSuccess) {
    auto const a = unsignedCa("A", "B");
    auto const b = unsignedCa("B", "A");
    a->subjectKeyId = b->authorityKeyId = {0x0a, 0xff};
    auto const leaf = unsignedLeaf("Leaf", "A");
    leaf->authorityKeyId = a->subjectKeyId;
    CapturedOutput output;
    CertificateChain chain;
    EXPECT_TRUE(x509BuildPath(storeOf({a, b}), chain, leaf));
    EXPECT_EQ(chain, (CertificateChain{a, b}));
    EXPECT_EQ(output.text(), "trust path: loop skid: 0a:ff\n");
}

TEST(BuildPath, LoopIsAboutNameAndKeyIdentifierTogether) {
    auto const root = unsignedCa("Root", "Root");
    auto const crossed = unsignedCa("Root", "Other");
    crossed->subjectKeyId = test::bytes("another key");
    auto const leaf = unsignedLeaf("Leaf", "Root");
    CertificateChain chain = {leaf, crossed};
    CapturedOutput output;
    EXPECT_TRUE(x509BuildPath(storeOf({root}), chain, leaf));
    EXPECT_EQ(chain, (CertificateChain{leaf, crossed, root}));
    EXPECT_EQ(output.text(), "");
}

TEST(BuildPath, CertificatesAlreadyInTheChainCountForTheLoop) {
    auto const middle = unsignedCa("Middle", "Root");
    auto const leaf = unsignedLeaf("Leaf", "Middle");
    CertificateChain chain = {leaf, middle};
    CapturedOutput output;
    EXPECT_TRUE(x509BuildPath(storeOf({middle}), chain, leaf));
    EXPECT_EQ(chain.size(), 2u);
    EXPECT_TRUE(output.text().starts_with("trust path: loop skid: ")) << output.text();
}

TEST(BuildPath, AsksForTheIssuerByNameAndAuthorityKeyIdentifier) {
    auto const oldRoot = unsignedCa("Root", "Root");
    auto const newRoot = unsignedCa("Root", "Root");
    oldRoot->subjectKeyId = test::bytes("old");
    newRoot->subjectKeyId = test::bytes("new");
    auto const leaf = unsignedLeaf("Leaf", "Root");
    leaf->authorityKeyId = test::bytes("new");
    CertificateChain chain;
    EXPECT_TRUE(x509BuildPath(storeOf({oldRoot, newRoot}), chain, leaf));
    EXPECT_EQ(chain, CertificateChain{newRoot});

    leaf->authorityKeyId.clear();
    chain.clear();
    EXPECT_TRUE(x509BuildPath(storeOf({oldRoot, newRoot}), chain, leaf));
    EXPECT_EQ(chain, CertificateChain{oldRoot});
}

/// Certificate n is issued by certificate n + 1, without end and without repetition for `steps` of them.
class LadderStore : public CertificateStore {
public:
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                     asn1::blob) const override {
        questions++;
        unsigned long const step = std::stoul(subject.commonName);
        return unsignedCa(std::to_string(step), std::to_string((step + 1) % steps));
    }
    std::shared_ptr<X509Crl> findCrl(X509Certificate const&) const override { return nullptr; }

    static inline unsigned const steps = test::lessWhenSlow(20'000U, 4'000U);
    mutable unsigned questions = 0;
};

TEST(BuildPath, LongChainTakesAQuestionForEachIssuer) {
    LadderStore const store;
    CapturedOutput output;
    CertificateChain chain = {unsignedLeaf("Leaf", "0")};
    EXPECT_TRUE(x509BuildPath(store, chain, nullptr));
    EXPECT_EQ(chain.size(), LadderStore::steps + 1);
    EXPECT_LE(store.questions, LadderStore::steps + 1);
    EXPECT_TRUE(output.text().starts_with("trust path: loop skid: ")) << output.text();
}

TEST(BuildPath, MemoryStoreOfThousandsThatIssueEachOtherEnds) {
    constexpr int count = 2000;
    CertificateMemoryStore store;
    for (int i = 0; i < count; ++i)
        store.certs.push_back(unsignedCa(std::to_string(i), std::to_string((i * 7 + 1) % count)));
    CapturedOutput output;
    CertificateChain chain = {unsignedLeaf("Leaf", "0")};
    EXPECT_TRUE(x509BuildPath(store, chain, nullptr));
    EXPECT_LE(chain.size(), count + 1u);
}

} // namespace TEST_FILE

// Certificates that only the standard rules support, before the platform's rules.
#include "chains.h"
#include "support/der.h"
#include "support/temporary_root.h"

#include "sealkit/der.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs7.h"
#include "sealkit/search.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using test::commonName;
namespace der = test::der;

/// A certificate with an unknown critical extension.
der::Bytes makeDer(std::string const& subject, std::string const& issuer, bool isCa) {
    auto const name = [](std::string const& text) { return der::name({{"2.5.4.3", text}}); };
    der::Bytes key(32, 1);
    std::vector<der::Bytes> extensions = {der::extension("1.3.6.1.4.1.55555.1", der::null(), true)};
    if (isCa)
        extensions.push_back(der::extension("2.5.29.19", der::sequence(der::boolean(true)), true));
    der::Bytes const algorithm = der::algorithm("1.3.101.112");
    der::Bytes const tbs = der::sequence(
        der::context(0, der::integer(2)), der::integer(1), algorithm, name(issuer),
        der::sequence(der::utcTime("240101000000Z"), der::utcTime("340101000000Z")), name(subject),
        der::sequence(algorithm, der::bitString(key)), der::context(3, der::sequence(der::join(extensions))));
    return der::sequence(tbs, algorithm, der::bitString(der::Bytes(64, 2)));
}

std::shared_ptr<X509Certificate> makeForStandard(std::string const& subject, std::string const& issuer,
                                                 bool isCa = true) {
    auto certificate = std::make_shared<X509Certificate>();
    EXPECT_TRUE(certificate->parse(asn1::blob(makeDer(subject, issuer, isCa)), nullptr, FormRules::standard));
    EXPECT_NE(certificate->platformRefusal(), nullptr);
    return certificate;
}

std::string refusalText(X509Certificate const& certificate) { return certificate.platformRefusal()->str(); }

TEST(PlatformForms, AChainWithOneThatIsNotSupportedHasItsOwnCode) {
    auto const leaf = makeForStandard("Leaf", "CA", false);
    CertificateMemoryStore store;
    std::string error;
    EXPECT_EQ(x509ValidatePath({leaf}, store, test::storyTime, "host.test", {}, "", false, &error), 13);
    EXPECT_EQ(error, refusalText(*leaf));
    EXPECT_NE(error.find("1.3.6.1.4.1.55555.1"), std::string::npos);

    auto const supported = test::unsignedLeaf("Leaf", "CA");
    auto const ca = makeForStandard("CA", "Root");
    PathOptions options;
    options.now = test::inDate;
    PathExplanation const explanation = x509ExplainPath({supported, ca}, store, options);
    EXPECT_EQ(explanation.code, 13);
    EXPECT_EQ(explanation.depth, 1u);
    EXPECT_EQ(explanation.subject, "CN=CA");
    EXPECT_EQ(explanation.error, refusalText(*ca));
    EXPECT_EQ(x509ExplainPath({}, store, options).code, 1);
}

TEST(PlatformForms, AStoreDoesNotFindThem) {
    CertificateMemoryStore store;
    store.certs = {makeForStandard("CA", "CA")};
    EXPECT_EQ(store.findCertificate(commonName("CA"), {}), nullptr);
    store.certs.push_back(test::unsignedCa("CA", "CA"));
    EXPECT_EQ(store.findCertificate(commonName("CA"), {}), store.certs[1]);
    for (size_t number = 0; number < 100; number++)
        store.certs.push_back(makeForStandard("CA " + std::to_string(number), "CA"));
    EXPECT_EQ(store.findCertificate(commonName("CA"), {}), store.certs[1]);
    EXPECT_EQ(store.findCertificate(commonName("CA 5"), {}), nullptr);
}

/// A store that a program made, which gives what it has.
class OneCertificate : public CertificateStore {
public:
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const&, asn1::blob) const override {
        return certificate;
    }
    std::shared_ptr<X509Crl> findCrl(X509Certificate const&) const override { return nullptr; }

    std::shared_ptr<X509Certificate> certificate;
};

TEST(PlatformForms, OneThatIsNotSupportedIsNoAnchor) {
    OneCertificate store;
    store.certificate = makeForStandard("CA", "CA");
    auto const self = test::unsignedCa("CA", "CA");
    PathOptions options;
    options.now = test::inDate;
    EXPECT_EQ(x509ExplainPath({self}, store, options).code, static_cast<int>(PathCode::noAnchor));
}

TEST(PlatformForms, ASearchTellsThatOfTheLeafAndDoesNotSeeOthers) {
    CertificateMemoryStore store;
    store.certs = {makeForStandard("CA", "CA")};
    PathOptions options;
    options.now = test::storyTime;
    options.hostName = "host.test";
    PathSearch search(store);
    auto const leaf = makeForStandard("Leaf", "CA", false);
    PathVerdict const verdict = search.find(leaf, options);
    EXPECT_EQ(verdict.explanation.code, 13);
    EXPECT_EQ(verdict.explanation.error, refusalText(*leaf));
    EXPECT_EQ(verdict.chain.size(), 1u);

    test::Story const story("p256-chain");
    PathSearch another(store);
    another.addCertificates({makeForStandard(story.chain[1]->subject.commonName, "CA")});
    options.hostName = {};
    EXPECT_EQ(another.find(story.chain[0], options).chain.size(), 1u);
}

TEST(FormRulesOfLoaders, TakeWhatTheyAreAskedFor) {
    der::Bytes const encoded = makeDer("CA", "CA", true);
    std::vector<unsigned char> const block = encodePemType("CERTIFICATE", encoded);
    std::string const pem(block.begin(), block.end());
    std::vector<Refusal> refusals;
    EXPECT_TRUE(readCertificates(pem, &refusals).empty());
    EXPECT_EQ(refusals.size(), 1u);
    refusals.clear();
    auto const read = readCertificates(pem, &refusals, FormRules::standard);
    ASSERT_EQ(read.size(), 1u);
    EXPECT_TRUE(refusals.empty());
    EXPECT_EQ(read[0]->platformRefusal()->block, 0u);

    CertificateMemoryStore store;
    EXPECT_EQ(store.loadCertificates(pem, nullptr), 0u);
    EXPECT_EQ(store.loadCertificates(pem, nullptr, FormRules::standard), 1u);
    test::TemporaryFolder const folder;
    folder.write("ca.pem", pem);
    CertificateMemoryStore fromFolder;
    EXPECT_EQ(fromFolder.loadCertificatesFrom(folder.path().string(), nullptr), 0u);
    EXPECT_EQ(fromFolder.loadCertificatesFrom(folder.path().string(), nullptr, FormRules::standard), 1u);
}

TEST(FormRulesOfLoaders, ReachTheCertificatesOfMessages) {
    der::Bytes const encoded = makeDer("CA", "CA", true);
    der::Bytes const data = der::sequence(der::oid("1.2.840.113549.1.7.1"));
    der::Bytes const message =
        der::sequence(der::oid("1.2.840.113549.1.7.2"),
                      der::context(0, der::sequence(der::integer(1), der::element(0x31, {}), data,
                                                    der::context(0, encoded), der::element(0x31, {}))));
    PKCS7SignedData signedData;
    Refusal refusal;
    EXPECT_FALSE(signedData.parse(asn1::blob(message), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::unknownCriticalExtension);
    EXPECT_EQ(refusal.path.find("certificate 1"), 0u) << refusal.path;
    ASSERT_TRUE(signedData.parse(asn1::blob(message), nullptr, FormRules::standard));
    ASSERT_EQ(signedData.certificates.size(), 1u);
    // As `parse` of the certificate alone tells it.
    EXPECT_EQ(signedData.certificates[0]->platformRefusal()->path, "extension 1 (1.3.6.1.4.1.55555.1)");
}

} // namespace TEST_FILE

#include "chains.h"
#include "support/temporary_root.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <map>

namespace TEST_FILE {

using test::CapturedOutput;
using test::commonName;
using test::unsignedCa;

namespace fs = std::filesystem;

/// A folder of its own for each test.
class LoadFromDir : public testing::Test {
protected:
    void put(std::string const& name, std::string const& content) const { scratch.write(name, content); }
    void putCertificate(std::string const& name) const {
        put(name, test::readStoryFile("revoked/store.pem"));
    }
    void putCrl(std::string const& name) const { put(name, test::readStoryFile("revoked/crls.pem")); }

    test::TemporaryFolder const scratch;
    fs::path const folder = scratch.path();
};

TEST_F(LoadFromDir, LoadsCertificatesAndCrlsAndPassesOverTheRest) {
    putCertificate("ca.pem");
    putCrl("ca.crl");
    put("README", "Nothing of use.");
    CapturedOutput output;
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), true));
    EXPECT_EQ(store.certs.size(), 1u);
    EXPECT_EQ(store.crls.size(), 1u);
    EXPECT_EQ(output.text(), "");
}

TEST_F(LoadFromDir, LoadsCrlsOnlyWhenTheyAreWanted) {
    putCertificate("ca.pem");
    putCrl("ca.crl");
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), false));
    EXPECT_EQ(store.certs.size(), 1u);
    EXPECT_TRUE(store.crls.empty());
}

TEST_F(LoadFromDir, TakesTheFirstCertificateOfAFile) {
    put("chain.pem", test::readStoryFile("p256-chain/chain.pem"));
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), false));
    ASSERT_EQ(store.certs.size(), 1u);
    EXPECT_EQ(store.certs[0]->subject.commonName, "Leaf");
}

TEST_F(LoadFromDir, ReadsDer) {
    auto const certificate = test::readChain("revoked/store.pem").at(0);
    auto const der = certificate->serialize();
    put("ca.der", std::string(der.begin(), der.end()));
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), false));
    ASSERT_EQ(store.certs.size(), 1u);
    EXPECT_EQ(store.certs[0]->subject, certificate->subject);
}

TEST_F(LoadFromDir, AppendsAndKeepsDuplicates) {
    putCertificate("ca.pem");
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), false));
    EXPECT_TRUE(store.loadFromDir(folder.string(), false));
    EXPECT_EQ(store.certs.size(), 2u);
}

TEST_F(LoadFromDir, PathIsUsedAsGivenAndASlashIsInserted) {
    putCertificate("ca.pem");
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string() + "/", false));
    EXPECT_EQ(store.certs.size(), 1u);
    test::EnvironmentVariable const root("KP_ROOT", folder.c_str());
    CapturedOutput output;
    EXPECT_FALSE(store.loadFromDir("/no-such-folder-of-sealkit", false)) << "the platform root takes no part";
    fs::create_directory(folder / "no-such-folder-of-sealkit");
    EXPECT_FALSE(store.loadFromDir("/no-such-folder-of-sealkit", false));
}

TEST_F(LoadFromDir, OnlyAnUnopenableFolderIsAFailure) {
    CapturedOutput output;
    CertificateMemoryStore store;
    EXPECT_FALSE(store.loadFromDir((folder / "missing").string(), true));
    EXPECT_EQ(output.text(), std::string("[ERR] opendir: ") + strerror(ENOENT) + "\n");
    EXPECT_TRUE(store.certs.empty());
}

TEST_F(LoadFromDir, TheReasonIsThatOfTheFolderAlsoWhenTheStreamChangesErrno) {
    struct Meddler : std::streambuf {
        std::string text;
        std::streamsize xsputn(char const* bytes, std::streamsize count) override {
            text.append(bytes, static_cast<size_t>(count));
            errno = EAGAIN;
            return count;
        }
        int_type overflow(int_type c) override {
            text += static_cast<char>(c);
            errno = EAGAIN;
            return c;
        }
    } meddler;
    std::streambuf* const before = std::cout.rdbuf(&meddler);
    CertificateMemoryStore store;
    EXPECT_FALSE(store.loadFromDir((folder / "missing").string(), true));
    std::cout.rdbuf(before);
    EXPECT_EQ(meddler.text, std::string("[ERR] opendir: ") + strerror(ENOENT) + "\n");
}

TEST_F(LoadFromDir, AFileIsNoFolder) {
    putCertificate("ca.pem");
    CapturedOutput output;
    CertificateMemoryStore store;
    EXPECT_FALSE(store.loadFromDir((folder / "ca.pem").string(), true));
    EXPECT_EQ(output.text(), std::string("[ERR] opendir: ") + strerror(ENOTDIR) + "\n");
}

TEST_F(LoadFromDir, AnEmptyFolderIsASuccess) {
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromDir(folder.string(), true));
    EXPECT_TRUE(store.certs.empty());
}

TEST_F(LoadFromDir, ReportsWhatBecameOfEachEntry) {
    putCertificate("ca.pem");
    putCrl("ca.crl");
    put("bad.pem", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
    put("empty", "");
    fs::create_directory(folder / "more");
    fs::create_symlink("ca.pem", folder / "link");
    fs::create_symlink("nowhere", folder / "dangling");

    auto const outcomes = [&](bool withCrls) {
        CertificateMemoryStore store;
        std::vector<LoadedFile> files;
        EXPECT_TRUE(store.loadFromDir(folder.string(), withCrls, &files));
        EXPECT_EQ(store.certs.size(), 2u);
        std::map<std::string, LoadedAs> byName;
        for (LoadedFile const& file : files)
            EXPECT_TRUE(byName.emplace(file.name, file.as).second);
        return byName;
    };
    std::map<std::string, LoadedAs> expected = {
        {"ca.pem", LoadedAs::certificate}, {"link", LoadedAs::certificate}, {"ca.crl", LoadedAs::crl},
        {"bad.pem", LoadedAs::nothing},    {"empty", LoadedAs::empty},      {"dangling", LoadedAs::empty},
        {"more", LoadedAs::folder},
    };
    EXPECT_EQ(outcomes(true), expected);
    expected["ca.crl"] = LoadedAs::nothing;
    EXPECT_EQ(outcomes(false), expected);
}

TEST(LoadFromStr, AppendsEveryCertificateOfAChain) {
    CapturedOutput quiet;
    CertificateMemoryStore store;
    EXPECT_TRUE(store.loadFromStr(test::readStoryFile("p256-chain/chain.pem")));
    ASSERT_EQ(store.certs.size(), 3u);
    EXPECT_EQ(store.certs[0]->subject.commonName, "Leaf");
    EXPECT_EQ(store.certs[2]->subject.commonName, "Root");
    EXPECT_TRUE(store.loadFromStr(test::readStoryFile("p384-chain/chain.pem")));
    EXPECT_EQ(store.certs.size(), 6u);
}

TEST(LoadFromStr, FailsWhenThereIsNoCertificate) {
    CapturedOutput quiet;
    CertificateMemoryStore store;
    EXPECT_FALSE(store.loadFromStr(""));
    EXPECT_FALSE(store.loadFromStr("Nothing of use."));
    EXPECT_FALSE(store.loadFromStr(test::readStoryFile("revoked/crls.pem")));
    EXPECT_TRUE(store.certs.empty());
}

TEST(LoadFromStr, OneBrokenCertificateKeepsAllOut) {
    CapturedOutput quiet;
    CertificateMemoryStore store;
    EXPECT_FALSE(store.loadFromStr(test::readStoryFile("p256-chain/chain.pem") +
                                   "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n"));
    EXPECT_TRUE(store.certs.empty());
}

TEST(FindCertificate, NeedsTheNameAndTheKeyIdentifier) {
    CertificateMemoryStore store;
    store.certs = {unsignedCa("A", "A"), unsignedCa("B", "B")};
    EXPECT_EQ(store.findCertificate(commonName("B"), test::bytes("B-key")), store.certs[1]);
    EXPECT_EQ(store.findCertificate(commonName("B"), test::bytes("A-key")), nullptr);
    EXPECT_EQ(store.findCertificate(commonName("C"), test::bytes("B-key")), nullptr);
    EXPECT_EQ(store.findCertificate(commonName("B"), test::bytes("B-ke")), nullptr);
}

TEST(FindCertificate, EmptyKeyIdentifierLetsTheNameDecide) {
    CertificateMemoryStore store;
    store.certs = {unsignedCa("A", "A"), unsignedCa("B", "B")};
    EXPECT_EQ(store.findCertificate(commonName("B"), {}), store.certs[1]);
    EXPECT_EQ(store.findCertificate(commonName("C"), {}), nullptr);
}

TEST(FindCertificate, CertificateWithoutKeyIdentifierIsFoundByNameAlone) {
    CertificateMemoryStore store;
    store.certs = {unsignedCa("A", "A")};
    store.certs[0]->subjectKeyId.clear();
    EXPECT_EQ(store.findCertificate(commonName("A"), {}), store.certs[0]);
    EXPECT_EQ(store.findCertificate(commonName("A"), test::bytes("A-key")), nullptr);
}

TEST(FindCertificate, FirstMatchInLoadOrderAnswers) {
    CertificateMemoryStore store;
    store.certs = {unsignedCa("B", "B"), unsignedCa("A", "A"), unsignedCa("A", "A")};
    EXPECT_EQ(store.findCertificate(commonName("A"), test::bytes("A-key")), store.certs[1]);
}

TEST(FindCrl, FirstOfTheIssuerAnswers) {
    CertificateMemoryStore store;
    for (auto const* issuer : {"A", "B", "B"}) {
        store.crls.push_back(std::make_shared<X509Crl>());
        store.crls.back()->issuer = commonName(issuer);
    }
    EXPECT_EQ(store.findCrl(*unsignedCa("Leaf", "B")), store.crls[1]);
    EXPECT_EQ(store.findCrl(*unsignedCa("B", "C")), nullptr);
}

TEST(FindCrl, EmptyStoreHasNone) {
    EXPECT_EQ(CertificateMemoryStore().findCrl(*unsignedCa("A", "A")), nullptr);
    EXPECT_EQ(CertificateMemoryStore().findCertificate(commonName("A"), {}), nullptr);
}

} // namespace TEST_FILE

// Loading certificates and CRLs with a reason for each one that is left out.

#include "chains.h"
#include "sealkit/der.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <kp/base64.h>

namespace TEST_FILE {

using test::CapturedOutput;
namespace fs = std::filesystem;

/// A new folder, removed with the object.
class Folder {
public:
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "sealkit-bundle-XXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~Folder() { fs::remove_all(path); }
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;

    std::string write(std::string const& name, std::string_view text) const {
        std::ofstream(path / name, std::ios::binary) << text;
        return (path / name).string();
    }

    fs::path path;
};

std::string const certificates = test::readStoryFile("rsa-chain/chain.pem");
std::string const brokenBlock = "-----BEGIN CERTIFICATE-----\nMAA=\n-----END CERTIFICATE-----\n";
std::string const brokenBase64 = "-----BEGIN CERTIFICATE-----\n****\n-----END CERTIFICATE-----\n";
std::string const otherBlock = "-----BEGIN NOTE-----\nMAA=\n-----END NOTE-----\n";

std::string inPem(std::string const& label, std::vector<unsigned char> const& der) {
    return "-----BEGIN " + label + "-----\n" + kp::base64Encode(der) + "\n-----END " + label + "-----\n";
}

RefusalId refusalOf(std::string_view text) {
    std::vector<Refusal> refusals;
    EXPECT_TRUE(readCertificates(text, &refusals).empty());
    EXPECT_EQ(refusals.size(), 1U);
    return refusals.empty() ? RefusalId::none : refusals.front().id;
}

TEST(ReadCertificates, EachBlockThatIsLeftOutIsNamed) {
    CapturedOutput output;
    std::vector<Refusal> refusals;
    size_t const whole = readCertificates(certificates, &refusals).size();
    EXPECT_GE(whole, 2U);
    EXPECT_TRUE(refusals.empty());
    auto const read = readCertificates(otherBlock + brokenBlock + certificates + brokenBase64, &refusals);
    EXPECT_EQ(read.size(), whole);
    ASSERT_EQ(refusals.size(), 2U);
    EXPECT_EQ(refusals[0].block, 2U);
    EXPECT_EQ(refusals[0].offset, 2U);
    EXPECT_EQ(refusals[0].id, RefusalId::missingElement);
    EXPECT_EQ(refusals[1].block, 3 + whole);
    EXPECT_EQ(refusals[1].id, RefusalId::pemMalformedBase64);
    std::string const before = otherBlock + brokenBlock + certificates;
    EXPECT_EQ(refusals[1].line, 2U + static_cast<size_t>(std::ranges::count(before, '\n')));
    EXPECT_EQ(readCertificates(brokenBlock + certificates, nullptr).size(), whole);
    EXPECT_EQ(readCertificates("\xEF\xBB\xBF" + certificates, nullptr).size(), whole);
    EXPECT_EQ(output.text(), "");
}

TEST(ReadCertificates, AnEmptyAForeignAndADamagedTextDiffer) {
    EXPECT_EQ(refusalOf(""), RefusalId::emptyInput);
    EXPECT_EQ(refusalOf("hello"), RefusalId::unknownForm);
    EXPECT_EQ(refusalOf(otherBlock), RefusalId::pemOtherLabel);
    EXPECT_EQ(refusalOf(std::string_view("\xFF\xFE-\0-\0", 6)), RefusalId::otherKind);
    EXPECT_EQ(refusalOf("-----BEGIN CERTIFICATE-----\nMAA=\n"), RefusalId::pemWithoutEnd);
    EXPECT_EQ(refusalOf(std::string_view("0\x82\x10\x00", 4)), RefusalId::truncatedElement);
    EXPECT_EQ(refusalOf(test::readStoryFile("revoked/crls.pem")), RefusalId::pemOtherLabel);
}

TEST(ReadCertificates, ABlockWithoutEndBehindOthersIsNamed) {
    std::vector<Refusal> refusals;
    EXPECT_FALSE(readCertificates(certificates + "-----BEGIN CERTIFICATE-----\nMAA=\n", &refusals).empty());
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0].id, RefusalId::pemWithoutEnd);
    EXPECT_EQ(refusals[0].line, 1U + static_cast<size_t>(std::ranges::count(certificates, '\n')));
}

TEST(ReadCrls, TakesTheBlocksOfCrls) {
    std::vector<Refusal> refusals;
    EXPECT_FALSE(readCrls(certificates + test::readStoryFile("revoked/crls.pem"), &refusals).empty());
    EXPECT_TRUE(refusals.empty());
    EXPECT_TRUE(readCrls(certificates, &refusals).empty());
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0].id, RefusalId::pemOtherLabel);
}

TEST(LoadCertificates, CopiesAreLeftOutAndCounted) {
    CertificateMemoryStore store;
    size_t const count = store.loadCertificates(certificates, nullptr);
    EXPECT_EQ(store.certs.size(), count);
    EXPECT_EQ(store.loadCertificates(certificates, nullptr), count);
    EXPECT_EQ(store.certs.size(), count);
}

TEST(LoadCertificatesFrom, OneBadFileDoesNotLoseTheRest) {
    CapturedOutput output;
    Folder const folder;
    std::string const bad = folder.write("1-bad.pem", brokenBlock);
    std::string const empty = folder.write("2-empty.pem", "");
    folder.write("3-good.pem", certificates);
    std::string const text = folder.write("4-readme", "hello");
    folder.write("5-good-again.pem", certificates);
    fs::create_directory(folder.path / "6-folder");

    CertificateMemoryStore store;
    std::vector<LoadRefusal> refusals;
    size_t const found = store.loadCertificatesFrom(folder.path.string(), &refusals);
    EXPECT_EQ(found, 2 * store.certs.size());
    ASSERT_EQ(refusals.size(), 3U);
    EXPECT_EQ(refusals[0].path, bad);
    EXPECT_EQ(refusals[0].refusal.block, 1U);
    EXPECT_EQ(refusals[1].path, empty);
    EXPECT_EQ(refusals[1].refusal.id, RefusalId::emptyInput);
    EXPECT_EQ(refusals[2].path, text);
    EXPECT_EQ(refusals[2].refusal.id, RefusalId::unknownForm);
    EXPECT_EQ(output.text(), "");
}

TEST(LoadCertificatesFrom, AMissingFileIsNamed) {
    Folder const folder;
    CertificateMemoryStore store;
    std::vector<LoadRefusal> refusals;
    std::string const missing = (folder.path / "missing").string();
    EXPECT_EQ(store.loadCertificatesFrom(missing, &refusals), 0U);
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0].path, missing);
    EXPECT_EQ(refusals[0].refusal.id, RefusalId::missingFile);
    EXPECT_EQ(store.loadCertificatesFrom(folder.path.string(), &refusals), 0U);
    EXPECT_EQ(refusals.size(), 1U) << "an empty folder refuses nothing";
    EXPECT_EQ(store.loadCrlsFrom(folder.write("x.crl", test::readStoryFile("revoked/crls.pem")), nullptr),
              1U);
    EXPECT_EQ(store.crls.size(), 1U);
}

TEST(ReadCertificateBundle, ReadsWhatAMessageCarries) {
    CapturedOutput output;
    std::vector<Refusal> refusals;
    std::vector<unsigned char> const signedData = test::bytes("\x2a\x86\x48\x86\xf7\x0d\x01\x07\x02");
    std::vector<unsigned char> const data = test::bytes("\x2a\x86\x48\x86\xf7\x0d\x01\x07\x01");
    DerEncoder encoder;
    encoder.begin(0x30).addOid(signedData).begin(0xa0).begin(0x30).addInteger(1).add(0x31, {});
    encoder.begin(0x30).addOid(data).end().begin(0xa0);
    auto const carried = readCertificates(certificates, &refusals);
    for (auto const& certificate : carried)
        encoder.addEncoded(certificate->serialize());
    std::vector<unsigned char> const der = encoder.end().add(0x31, {}).end().end().end().take();
    size_t const count = carried.size();
    std::string const binary(der.begin(), der.end());
    EXPECT_EQ(readCertificateBundle(binary, &refusals).size(), count);
    for (char const* const label : {"PKCS7", "CMS", "PKCS #7 SIGNED DATA"})
        EXPECT_EQ(readCertificateBundle(otherBlock + inPem(label, der), &refusals).size(), count) << label;
    EXPECT_EQ(readCertificateBundle(certificates + inPem("PKCS7", der), &refusals).size(), count);
    EXPECT_TRUE(refusals.empty());
    EXPECT_TRUE(readCertificateBundle(binary.substr(0, binary.size() - 1), &refusals).empty());
    EXPECT_TRUE(readCertificateBundle(otherBlock, &refusals).empty());
    EXPECT_TRUE(readCertificateBundle("", &refusals).empty());
    EXPECT_EQ(refusals.size(), 3U);
    EXPECT_EQ(output.text(), "");
}

TEST(ReadCertificates, ManyMalformedOnesEndTheText) {
    std::string text;
    for (int i = 0; i < 10'100; i++)
        text += brokenBase64;
    std::vector<Refusal> refusals;
    EXPECT_TRUE(readCertificates(text + certificates, &refusals).empty());
    ASSERT_EQ(refusals.size(), 10'002U);
    EXPECT_EQ(refusals.back().id, RefusalId::inputTooLarge);
}

TEST(LoadCertificates, TrustSettingsThatLimitACertificateKeepItOut) {
    std::string_view rest = certificates, label, body;
    std::vector<unsigned char> der;
    ASSERT_TRUE(parsePem(rest, &label, &body) && pemDecode(body, &der));
    std::vector<unsigned char> const alias = test::bytes(std::string_view("\x30\x03\x0c\x01x", 5));
    std::vector<unsigned char> const rejected =
        test::bytes(std::string_view("\x30\x06\xa0\x04\x06\x02\x2a\x03", 8));
    std::vector<unsigned char> named = der, limited = der;
    named.insert(named.end(), alias.begin(), alias.end());
    limited.insert(limited.end(), rejected.begin(), rejected.end());

    CertificateMemoryStore store;
    std::vector<Refusal> refusals;
    EXPECT_EQ(store.loadCertificates(inPem("TRUSTED CERTIFICATE", limited), &refusals), 0U);
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0].id, RefusalId::limitedTrust);
    EXPECT_EQ(refusals[0].block, 1U);
    EXPECT_EQ(store.loadCertificates(inPem("TRUSTED CERTIFICATE", named), nullptr), 1U);
    EXPECT_EQ(store.certs.size(), 1U);
    std::vector<InputNote> notes;
    EXPECT_EQ(
        readCertificateBundle(inPem("TRUSTED CERTIFICATE", limited), nullptr, FormRules::platform, &notes)
            .size(),
        1U);
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_EQ(notes[0].id, InputNoteId::trustSettings);
}

std::string readMessage(std::string const& name) {
    std::ifstream file(SEALKIT_TEST_DATA "/vectors/pkcs/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(LoadCertificates, NobodyTrustsWhatTheSenderOfAMessagePutThere) {
    std::string const message = readMessage("attached.der");
    EXPECT_FALSE(readCertificateBundle(message, nullptr, FormRules::standard).empty());
    CertificateMemoryStore store;
    std::vector<Refusal> refusals;
    EXPECT_EQ(store.loadCertificates(message, &refusals, FormRules::standard), 0U);
    EXPECT_TRUE(store.certs.empty());
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_EQ(refusals[0].id, RefusalId::otherKind);
    EXPECT_EQ(refusals[0].facts.back().value, "message (PKCS#7, CMS)");
}

TEST(LoadCertificates, Pkcs12IsNamed) {
    for (char const* const name : {"p12-openssl-3des.p12", "p12-pk12util.p12"}) {
        CertificateMemoryStore store;
        std::vector<Refusal> refusals;
        EXPECT_EQ(store.loadCertificates(readMessage(name), &refusals), 0U);
        ASSERT_EQ(refusals.size(), 1U) << name;
        EXPECT_EQ(refusals[0].id, RefusalId::otherKind);
        EXPECT_EQ(refusals[0].facts.back().value, "PKCS#12 file");
    }
}

} // namespace TEST_FILE

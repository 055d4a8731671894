// Extensions that are set for signing, and what remains of them when a certificate is signed again.
#include "sealkit/extend.h"

#include "objects.h"

#include "sealkit/extensions.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;

Ed25519PrivateKey const& signingKey() {
    static Ed25519PrivateKey const key = [] {
        Ed25519PrivateKey made;
        EXPECT_TRUE(made.initPrivate(std::vector<unsigned char>(32, 7)));
        return made;
    }();
    return key;
}

X509Certificate newCertificate() {
    X509Certificate certificate;
    certificate.serialNumber = {1};
    certificate.issuer.commonName = certificate.subject.commonName = "a";
    certificate.notBefore = TimePoint::fromSeconds(1704067200);
    certificate.notAfter = TimePoint::fromSeconds(1735689600);
    certificate.setPublicKey(signingKey());
    return certificate;
}

X509Certificate signedAndRead(X509Certificate& certificate) {
    EXPECT_TRUE(certificate.sign(signingKey()));
    X509Certificate read;
    Refusal refusal;
    EXPECT_TRUE(read.parse(certificate.serialize(), &refusal, FormRules::standard)) << refusal.str();
    return read;
}

GeneralName subtree(char const* text) {
    GeneralName name;
    EXPECT_TRUE(parseSubtreeText(text, &name)) << text;
    return name;
}

std::vector<std::string> textsOf(std::vector<GeneralName> const& names) {
    std::vector<std::string> texts;
    for (GeneralName const& name : names)
        texts.push_back(generalNameText(name));
    return texts;
}

std::optional<X509Extension> find(std::vector<X509Extension> const& extensions, char const* oid) {
    std::vector<unsigned char> const wanted = parseOid(oid);
    for (X509Extension const& extension : extensions)
        if (extension.oid == asn1::blob(wanted))
            return extension;
    return std::nullopt;
}

constexpr char const* nameConstraints = "2.5.29.30";
constexpr char const* extKeyUsage = "2.5.29.37";
constexpr char const* policies = "2.5.29.32";
constexpr char const* infoAccess = "1.3.6.1.5.5.7.1.1";
constexpr char const* noCheck = "1.3.6.1.5.5.7.48.1.5";

TEST(Extend, SetsConstraintsOfEveryKind) {
    X509Certificate certificate = newCertificate();
    NameSubtrees const subtrees = {
        {subtree("DNS:a.example"), subtree("IP:10.0.0.0/8"), subtree("email:.a.example")},
        {subtree("URI:b.example"), subtree("dirName:/O=Acme"), subtree("IP:2001:db8::/32")}};
    setNameConstraints(certificate, subtrees);
    X509Certificate read = signedAndRead(certificate);
    for (int round = 0; round < 2; round++) { // Signed again, it says the same.
        auto const extensions = read.extensions();
        auto const found = find(extensions, nameConstraints);
        ASSERT_TRUE(found);
        EXPECT_TRUE(found->critical);
        NameSubtrees said;
        ASSERT_TRUE(parseNameConstraints(found->value, &said));
        EXPECT_EQ(textsOf(said.permitted), textsOf(subtrees.permitted));
        EXPECT_EQ(textsOf(said.excluded), textsOf(subtrees.excluded));
        EXPECT_EQ(read.nameConstraintPermitted.data, "a.example");
        read = signedAndRead(read);
    }
    EXPECT_NE(read.platformRefusal(), nullptr);
    // A member that is changed afterwards counts.
    certificate.nameConstraintExcluded = GeneralName();
    read = signedAndRead(certificate);
    NameSubtrees said;
    ASSERT_TRUE(parseNameConstraints(find(read.extensions(), nameConstraints)->value, &said));
    EXPECT_EQ(said.permitted.size(), 1u);
    EXPECT_TRUE(said.excluded.empty());
}

TEST(Extend, SetsAnyExtendedKeyUsage) {
    X509Certificate certificate = newCertificate();
    std::vector<std::vector<unsigned char>> const others = {parseOid("1.3.6.1.4.1.311.20.2.2"),
                                                            parseOid("1.3.6.1.5.5.7.3.2")};
    ASSERT_TRUE(
        setExtendedKeyUsage(certificate, ExtKeyUsage::tlsServer | ExtKeyUsage::tlsClient, others, true));
    X509Certificate read = signedAndRead(certificate);
    auto const found = find(read.extensions(), extKeyUsage);
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->critical);
    ObjectIdentifiers said;
    ASSERT_TRUE(parseExtendedKeyUsage(found->value, &said));
    ASSERT_EQ(said.oids.size(), 3u);
    EXPECT_EQ(said.oids[2], asn1::blob(others[0]));
    EXPECT_EQ(read.extKeyUsage, ExtKeyUsage::tlsServer | ExtKeyUsage::tlsClient);
    ASSERT_TRUE(setExtendedKeyUsage(certificate, 0, others, false));
    EXPECT_EQ(certificate.extKeyUsage, ExtKeyUsage::tlsClient);
    EXPECT_TRUE(find(signedAndRead(certificate).extensions(), extKeyUsage));
    ASSERT_TRUE(setExtendedKeyUsage(certificate, 0, {}, false));
    EXPECT_FALSE(find(signedAndRead(certificate).extensions(), extKeyUsage));
    EXPECT_FALSE(setExtendedKeyUsage(certificate, 1u << 20, {}, false));
}

TEST(Extend, SetsPoliciesAddressesAndNoCheck) {
    X509Certificate certificate = newCertificate();
    std::vector<CertificatePolicy> const wanted = {{parseOid("1.2.3.4"), {"http://a.example/cps"}},
                                                   {parseOid("2.23.140.1.2.1"), {}}};
    setCertificatePolicies(certificate, wanted);
    setAuthorityInfoAccess(certificate, {{"http://ocsp.example/"}, {"http://a.example/ca.cer"}});
    setOcspNoCheck(certificate);
    X509Certificate read = signedAndRead(certificate);
    ObjectIdentifiers said;
    auto const extensions = read.extensions();
    ASSERT_TRUE(parseCertificatePolicies(find(extensions, policies)->value, &said));
    ASSERT_EQ(said.oids.size(), 2u);
    EXPECT_EQ(oidName(said.oids[0]), "1.2.3.4");
    EXPECT_NE(toHex(find(extensions, policies)->value).find(toHex(asn1::blob("http://a.example/cps"))),
              std::string::npos);
    std::vector<AccessDescription> access;
    ASSERT_TRUE(parseAccessDescriptions(find(extensions, infoAccess)->value, &access));
    ASSERT_EQ(access.size(), 2u);
    EXPECT_EQ(oidName(access[0].method) + " " + access[0].location.data, "ocsp http://ocsp.example/");
    EXPECT_EQ(oidName(access[1].method) + " " + access[1].location.data,
              "ca-issuers http://a.example/ca.cer");
    EXPECT_EQ(toHex(find(extensions, noCheck)->value), "0500");
    // What was parsed goes when it is set to nothing.
    setCertificatePolicies(read, {});
    setAuthorityInfoAccess(read, {});
    setOcspNoCheck(read, false);
    auto const rest = signedAndRead(read);
    for (char const* oid : {policies, infoAccess, noCheck})
        EXPECT_FALSE(find(rest.extensions(), oid)) << oid;
}

TEST(Extend, LeavesTimestampsOut) {
    constexpr char const* timestamps = "1.3.6.1.4.1.11129.2.4.2";
    X509Certificate certificate = newCertificate();
    EXPECT_TRUE(
        certificate.setExtension(parseOid(timestamps), false, std::vector<unsigned char>{0x04, 0x00}));
    X509Certificate read = signedAndRead(certificate);
    EXPECT_TRUE(find(read.extensions(), timestamps));
    dropTimestamps(read);
    EXPECT_FALSE(find(signedAndRead(read).extensions(), timestamps));
}

TEST(Extend, RefusesWhatMembersSay) {
    X509Certificate certificate = newCertificate();
    std::vector<unsigned char> const null = {0x05, 0x00};
    for (char const* oid : {"2.5.29.19", "2.5.29.15", "2.5.29.14", "2.5.29.35", "2.5.29.17", "2.5.29.31"})
        EXPECT_FALSE(certificate.setExtension(parseOid(oid), false, null)) << oid;
    certificate.extKeyUsage = ExtKeyUsage::tlsServer;
    for (char const* oid : {nameConstraints, extKeyUsage})
        EXPECT_FALSE(certificate.setExtension(parseOid(oid), false, null)) << oid;
    EXPECT_EQ(certificate.extKeyUsage, ExtKeyUsage::tlsServer);
    EXPECT_TRUE(certificate.setExtension(parseOid("1.2.3.4"), true, null));
    auto const read = signedAndRead(certificate);
    auto const found = find(read.extensions(), "1.2.3.4");
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->critical);
    // Parsing forgets what was set.
    X509Certificate other = newCertificate();
    ASSERT_TRUE(other.sign(signingKey()));
    ASSERT_TRUE(certificate.parse(other.serialize(), nullptr));
    EXPECT_FALSE(find(signedAndRead(certificate).extensions(), "1.2.3.4"));
}

} // namespace TEST_FILE

// Certificates that are read for the standard rules, and what the platform's rules have against them.
#include "objects.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char const* constraintsId = "2.5.29.30";

/// A certificate that only the standard rules support: read for them it tells what `parse` says.
X509Certificate readForStandard(Bytes const& der) {
    X509Certificate certificate;
    Refusal expected, refusal;
    CapturedOutput output;
    EXPECT_FALSE(certificate.parse(asn1::blob(der), &expected));
    EXPECT_FALSE(certificate.parse(asn1::blob(der), nullptr, FormRules::platform));
    EXPECT_TRUE(certificate.parse(asn1::blob(der), &refusal, FormRules::standard)) << refusal.str();
    EXPECT_EQ(refusal.id, RefusalId::none);
    EXPECT_EQ(output.text(), "");
    Refusal const* const told = certificate.platformRefusal();
    EXPECT_NE(told, nullptr);
    if (told != nullptr) {
        EXPECT_EQ(told->str(), expected.str());
        EXPECT_EQ(told->offset, expected.offset);
    }
    EXPECT_EQ(certificate.serialize(), der);
    EXPECT_FALSE(certificate.subjectBytes().empty());
    return certificate;
}

X509Certificate readForStandard(CertificateParts const& parts) { return readForStandard(parts.der()); }

X509Certificate readWith(std::vector<Bytes> const& extensions) {
    CertificateParts parts;
    parts.extensions = extensions;
    return readForStandard(parts);
}

/// What reading for the standard rules refuses.
RefusalId refusalOf(CertificateParts const& parts) {
    X509Certificate certificate;
    Refusal refusal;
    EXPECT_FALSE(certificate.parse(asn1::blob(parts.der()), &refusal, FormRules::standard));
    EXPECT_EQ(certificate.platformRefusal(), nullptr);
    return refusal.id;
}

TEST(FormRules, OfTheStandardTakeWhatThePlatformTakesAsItIs) {
    CertificateParts parts;
    parts.extensions = {extension("2.5.29.14", octetString({1, 2})),
                        extension("1.3.6.1.4.1.55555.1", null())};
    X509Certificate certificate;
    ASSERT_TRUE(certificate.parse(asn1::blob(parts.der()), nullptr, FormRules::standard));
    EXPECT_EQ(certificate.platformRefusal(), nullptr);
    EXPECT_EQ(certificate.subjectKeyId, (Bytes{1, 2}));
}

TEST(FormRules, OfTheStandardTakeOlderVersions) {
    CertificateParts parts;
    parts.version.clear();
    X509Certificate certificate = readForStandard(parts);
    EXPECT_EQ(certificate.platformRefusal()->id, RefusalId::certificateVersion);
    EXPECT_EQ(certificate.subject.commonName, "leaf");
    EXPECT_TRUE(certificate.extensions().empty());

    parts.version = context(0, integer(0));
    EXPECT_EQ(readForStandard(parts).platformRefusal()->facts[1].value, "1");
    parts.version = context(0, integer(1));
    EXPECT_EQ(readForStandard(parts).platformRefusal()->facts[1].value, "2");
    parts.version = context(0, integer(3));
    EXPECT_EQ(refusalOf(parts), RefusalId::certificateVersion);
}

TEST(FormRules, OfTheStandardTakeUniqueIdentifiersFromVersionTwo) {
    Bytes const issuerId{0x81, 0x02, 0x00, 0xFF};
    Bytes const subjectId{0x82, 0x02, 0x00, 0xFE};
    CertificateParts parts;
    parts.beforeExtensions = join(std::vector<Bytes>{issuerId, subjectId});
    parts.extensions = {extension("2.5.29.14", octetString({7}))};
    X509Certificate const certificate = readForStandard(parts);
    EXPECT_EQ(certificate.platformRefusal()->id, RefusalId::uniqueIdentifiers);
    EXPECT_EQ(certificate.subjectKeyId, Bytes{7});
    EXPECT_EQ(certificate.extensions().size(), 1u);

    parts.extensions.clear();
    parts.version = context(0, integer(1));
    parts.beforeExtensions = subjectId;
    readForStandard(parts);
    parts.version.clear();
    EXPECT_EQ(refusalOf(parts), RefusalId::certificateVersion);
    parts = {};
    parts.beforeExtensions = join(std::vector<Bytes>{subjectId, issuerId});
    EXPECT_EQ(refusalOf(parts), RefusalId::unexpectedElement);
}

TEST(FormRules, OfTheStandardRefuseExtensionsOfOlderVersions) {
    CertificateParts parts;
    parts.version.clear();
    parts.extensions = {extension("2.5.29.14", octetString({7}))};
    EXPECT_EQ(refusalOf(parts), RefusalId::certificateVersion);
    parts.version = context(0, integer(1));
    EXPECT_EQ(refusalOf(parts), RefusalId::certificateVersion);
}

TEST(FormRules, OfTheStandardTakeCriticalExtensionsThatThePlatformDoesNot) {
    Bytes const dns = sequence(implicit(2, "a.test"));
    Bytes const email = sequence(implicit(1, "a@b.test"));
    X509Certificate certificate =
        readWith({extension(constraintsId, sequence(context(0, dns, email), context(1, email, dns)), true)});
    EXPECT_EQ(certificate.platformRefusal()->id, RefusalId::severalSubtrees);
    EXPECT_EQ(certificate.nameConstraintPermitted.data, "a.test");
    EXPECT_EQ(certificate.nameConstraintExcluded.data, "a@b.test");

    certificate = readWith({extension(constraintsId, sequence(context(1, email)), true)});
    EXPECT_EQ(certificate.platformRefusal()->id, RefusalId::unsupportedCriticalConstraint);

    for (char const* id : {"2.5.29.36", "2.5.29.54"}) {
        certificate = readWith({extension(id, sequence(), true), extension("2.5.29.14", octetString({7}))});
        EXPECT_EQ(certificate.platformRefusal()->id, RefusalId::unsupportedCriticalConstraint);
        EXPECT_EQ(certificate.subjectKeyId, Bytes{7});
    }
    certificate = readWith({extension("1.3.6.1.4.1.55555.1", null(), true)});
    EXPECT_EQ(certificate.platformRefusal()->path, "extension 1 (1.3.6.1.4.1.55555.1)");
}

TEST(FormRules, OfTheStandardRefuseWhatIsMalformed) {
    CertificateParts parts;
    Bytes const unknown = extension("1.3.6.1.4.1.55555.1", null(), true);
    parts.extensions = {unknown, extension("2.5.29.15", octetString({1}))};
    EXPECT_EQ(refusalOf(parts), RefusalId::unexpectedElement);
    parts.extensions = {unknown, unknown};
    EXPECT_EQ(refusalOf(parts), RefusalId::repeatedExtension);
    parts.extensions = {extension(constraintsId, sequence(context(0)), true)};
    EXPECT_EQ(refusalOf(parts), RefusalId::missingElement);
}

TEST(FormRules, RefusalIsThatOfTheLastParse) {
    CertificateParts parts;
    parts.version.clear();
    X509Certificate certificate = readForStandard(parts);
    X509Certificate const copy = certificate;
    ASSERT_TRUE(certificate.parse(asn1::blob(CertificateParts().der()), nullptr, FormRules::standard));
    EXPECT_EQ(certificate.platformRefusal(), nullptr);
    EXPECT_NE(copy.platformRefusal(), nullptr);
}

TEST(FormRules, KeepExtensionsThatWereNotChanged) {
    Bytes const dns = sequence(implicit(2, "a.test"));
    Bytes const constraints = extension(constraintsId, sequence(context(0, dns, dns)), true);
    Bytes const unknown = extension("1.3.6.1.4.1.55555.1", null(), true);
    X509Certificate const certificate = readWith({constraints, unknown});
    EXPECT_EQ(certificate.serializeExtensions(), sequence(constraints, unknown));
}

/// The object with an indefinite length around it.
Bytes inBer(Bytes const& der) {
    asn1::parser whole{asn1::blob(der)};
    asn1::blob const content = whole.take();
    return join({Bytes{0x30, 0x80}, Bytes(content.begin(), content.end()), Bytes{0, 0}});
}

template <typename Object>
void expectReadFromBer(Bytes const& der) {
    Bytes const ber = inBer(der);
    Object object;
    Refusal refusal;
    EXPECT_FALSE(object.parse(asn1::blob(ber), &refusal));
    EXPECT_EQ(refusal.id, RefusalId::indefiniteLength);
    EXPECT_TRUE(object.parse(asn1::blob(ber), nullptr, FormRules::standard));
    EXPECT_EQ(object.serialize(), der);
    EXPECT_EQ(object.platformRefusal(), nullptr);
    EXPECT_FALSE(object.parse(asn1::blob(ber.data(), ber.size() - 1), &refusal, FormRules::standard));
    EXPECT_EQ(refusal.id, RefusalId::truncatedElement);
}

TEST(FormRules, ObjectsInBerAreConverted) {
    expectReadFromBer<X509Certificate>(CertificateParts().der());
    expectReadFromBer<X509Crl>(CrlParts().der());
}

} // namespace TEST_FILE

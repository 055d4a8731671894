// CRLs that are read for the standard rules, and what the platform's rules have against them.
#include "objects.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char const* reasonCode = "2.5.29.21";
constexpr char const* deltaIndicator = "2.5.29.27";
constexpr char const* issuingDistributionPoint = "2.5.29.28";
constexpr char const* certificateIssuer = "2.5.29.29";
constexpr char const* unknown = "1.3.6.1.4.1.55555.1";

Bytes const date = utcTime("231224180000Z");

Bytes issuerValue(std::string_view commonName) {
    return sequence(context(4, name({{"2.5.4.3", commonName}})));
}

Bytes entry(unsigned char serial, std::vector<Bytes> const& extensions = {}) {
    return sequence(integer(serial), date, extensions.empty() ? Bytes() : sequence(join(extensions)));
}

/// A CRL that only the standard rules support: read for them it tells what `parse` says.
X509Crl readForStandard(CrlParts const& parts) {
    Bytes const der = parts.der();
    X509Crl crl;
    Refusal expected, refusal;
    CapturedOutput output;
    EXPECT_FALSE(crl.parse(asn1::blob(der), &expected));
    EXPECT_FALSE(crl.parse(asn1::blob(der), nullptr, FormRules::platform));
    EXPECT_EQ(crl.platformRefusal(), nullptr);
    EXPECT_TRUE(crl.parse(asn1::blob(der), &refusal, FormRules::standard)) << refusal.str();
    EXPECT_EQ(refusal.id, RefusalId::none);
    EXPECT_EQ(output.text(), "");
    Refusal const* const told = crl.platformRefusal();
    EXPECT_NE(told, nullptr);
    if (told != nullptr) {
        EXPECT_EQ(told->str(), expected.str());
        EXPECT_EQ(told->offset, expected.offset);
    }
    EXPECT_EQ(crl.serialize(), der);
    return crl;
}

TEST(CrlForms, OfTheStandardTakeWhatThePlatformTakesAsItIs) {
    CrlParts parts;
    parts.revoked = sequence(entry(1, {extension(reasonCode, enumerated({8})), extension(unknown, null())}));
    parts.extensions = {extension(issuingDistributionPoint, sequence(implicit(1, Bytes{0xFF})), true),
                        extension(unknown, null())};
    X509Crl crl;
    ASSERT_TRUE(crl.parse(asn1::blob(parts.der()), nullptr, FormRules::standard));
    EXPECT_EQ(crl.platformRefusal(), nullptr);
    EXPECT_FALSE(crl.hasUnknownCriticalExtension());
    EXPECT_FALSE(crl.namesCertificateIssuers());
    EXPECT_EQ(crl.revoked[0].reasonCode, 8);
    EXPECT_TRUE(crl.certificateIssuer(0).empty());
}

TEST(CrlForms, DeltaCrlsAreReadForTheStandardRules) {
    CrlParts parts;
    parts.extensions = {extension("2.5.29.20", integer(7)), extension(deltaIndicator, integer(5), true)};
    X509Crl const crl = readForStandard(parts);
    EXPECT_FALSE(crl.hasUnknownCriticalExtension());
    EXPECT_EQ(crl.platformRefusal()->id, RefusalId::unknownCriticalExtension);
    EXPECT_EQ(crl.crlNumber, Bytes{7});
}

TEST(CrlForms, IssuersOfEntriesHoldForTheEntriesBelow) {
    CrlParts parts;
    Bytes const a = issuerValue("a"), b = issuerValue("another name");
    parts.revoked = sequence(
        entry(1), entry(1, {extension(certificateIssuer, a, true), extension(reasonCode, enumerated({1}))}),
        entry(2), entry(1, {extension(certificateIssuer, b, true)}), entry(3),
        entry(4, {extension(certificateIssuer, a, true)}));
    X509Crl const crl = readForStandard(parts);
    EXPECT_FALSE(crl.hasUnknownCriticalExtension());
    EXPECT_TRUE(crl.namesCertificateIssuers());
    std::vector<Bytes> const expected = {{}, a, a, b, b, a};
    for (size_t position = 0; position < expected.size(); position++)
        EXPECT_EQ(crl.certificateIssuer(position), asn1::blob(expected[position])) << position;
    EXPECT_EQ(crl.findAllRevoked(Bytes{1}), (std::vector<size_t>{0, 1, 3}));
    EXPECT_EQ(crl.revoked[1].reasonCode, 1);
    X509Crl const copy = crl;
    EXPECT_EQ(copy.certificateIssuer(4), asn1::blob(b));
    EXPECT_EQ(copy.platformRefusal(), crl.platformRefusal());
}

TEST(CrlForms, IssuersOfEntriesThatAreNotCriticalAreKeptAsWell) {
    CrlParts parts;
    parts.revoked = sequence(entry(1, {extension(certificateIssuer, issuerValue("a"))}));
    Parsed<X509Crl> const parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unknown crlEntry ext id=2.5.29.29, critical: 0\n");
    EXPECT_EQ(parsed.object.certificateIssuer(0), asn1::blob(issuerValue("a")));
}

TEST(CrlForms, UnknownCriticalExtensionsMarkTheCrl) {
    CrlParts parts;
    parts.extensions = {extension(unknown, null(), true)};
    EXPECT_TRUE(readForStandard(parts).hasUnknownCriticalExtension());
    CrlParts inEntry;
    inEntry.revoked = sequence(entry(1), entry(2, {extension(unknown, null(), true)}), entry(3));
    X509Crl crl = readForStandard(inEntry);
    EXPECT_TRUE(crl.hasUnknownCriticalExtension());
    EXPECT_EQ(crl.revoked.size(), 3u);

    // The next one that is read into the same object is judged on its own.
    ASSERT_TRUE(crl.parse(asn1::blob(CrlParts().der()), nullptr, FormRules::standard));
    EXPECT_FALSE(crl.hasUnknownCriticalExtension());
    EXPECT_EQ(crl.platformRefusal(), nullptr);
}

TEST(CrlForms, WhatIsMalformedIsRefusedUnderAllRules) {
    auto const refusalOf = [](CrlParts const& parts) {
        X509Crl crl;
        Refusal refusal;
        EXPECT_FALSE(crl.parse(asn1::blob(parts.der()), &refusal, FormRules::standard));
        EXPECT_EQ(crl.platformRefusal(), nullptr);
        return refusal.id;
    };
    CrlParts parts;
    parts.extensions = {extension(unknown, null(), true), extension(unknown, null(), true)};
    EXPECT_EQ(refusalOf(parts), RefusalId::repeatedExtension);
    CrlParts withReason;
    withReason.revoked =
        sequence(entry(1, {extension(unknown, null(), true), extension(reasonCode, enumerated({1, 2}))}));
    EXPECT_EQ(refusalOf(withReason), RefusalId::malformedExtension);
}

} // namespace TEST_FILE

#include "objects.h"

#include <gtest/gtest.h>

#include <functional>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

using Change = std::function<void(CrlParts&)>;

constexpr char const* crlNumber = "2.5.29.20";
constexpr char const* reasonCode = "2.5.29.21";
constexpr char const* issuingDistributionPoint = "2.5.29.28";
constexpr char const* authorityKeyId = "2.5.29.35";

Bytes const date = utcTime("231224180000Z");

Parsed<X509Crl> parseChanged(Change const& change) {
    CrlParts parts;
    change(parts);
    return Parsed<X509Crl>(parts);
}

void expectRefused(char const* what, Change const& change) {
    EXPECT_FALSE(parseChanged(change).accepted) << what;
}

Parsed<X509Crl> parseWithEntry(Bytes const& entry) {
    return parseChanged([&](CrlParts& parts) { parts.revoked = sequence(entry); });
}

Parsed<X509Crl> parseWithExtension(Bytes const& crlExtension) {
    return parseChanged([&](CrlParts& parts) { parts.extensions = {crlExtension}; });
}

TEST(Crl, FieldsAreRead) {
    CrlParts parts;
    parts.revoked = sequence(sequence(integer({0x01, 0xAB}), date),
                             sequence(integer(5), generalizedTime("20240101000000Z"),
                                      sequence(extension(reasonCode, enumerated({1})))));
    parts.extensions = {extension(authorityKeyId, sequence(implicit(0, Bytes{1, 2}))),
                        extension(crlNumber, integer({0x10, 0x00}))};
    Parsed<X509Crl> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    X509Crl const& crl = parsed.object;
    EXPECT_EQ(crl.tbs, parts.tbs());
    EXPECT_EQ(crl.issuer.str(), "C=UY, CN=ca");
    EXPECT_EQ(crl.thisUpdate.seconds, 1704067200);
    EXPECT_EQ(crl.nextUpdate.seconds, 1706745600);
    ASSERT_EQ(crl.revoked.size(), 2u);
    EXPECT_EQ(crl.revoked[0].serialNumber, (Bytes{0x01, 0xAB}));
    EXPECT_EQ(crl.revoked[0].revocationDate.toString(), "Sun Dec 24 18:00:00 2023");
    EXPECT_EQ(crl.revoked[0].reasonCode, 255);
    EXPECT_EQ(crl.revoked[1].serialNumber, Bytes{5});
    EXPECT_EQ(crl.revoked[1].revocationDate.seconds, 1704067200);
    EXPECT_EQ(crl.revoked[1].reasonCode, 1);
    EXPECT_EQ(crl.authorityKeyId, (Bytes{1, 2}));
    EXPECT_EQ(crl.crlNumber, (Bytes{0x10, 0x00}));
    EXPECT_EQ(crl.signature, (Bytes{0xDE, 0xAD}));
    EXPECT_EQ(crl.serialize(), parts.der());
    EXPECT_EQ(crl.issuerBytes(), asn1::blob(parts.issuer));
    std::vector<X509Extension> extensions = crl.extensions();
    ASSERT_EQ(extensions.size(), 2u);
    EXPECT_EQ(oidStr(extensions[0].oid), authorityKeyId);
    EXPECT_EQ(extensions[1].value, asn1::blob(integer({0x10, 0x00})));
}

TEST(Crl, VersionMayBeAbsentAndIsNotCompared) {
    EXPECT_TRUE(parseChanged([](CrlParts& parts) { parts.version = {}; }).accepted);
    EXPECT_TRUE(parseChanged([](CrlParts& parts) { parts.version = integer(0); }).accepted);
    expectRefused("two", [](CrlParts& parts) { parts.version = join({integer(1), integer(1)}); });
    expectRefused("empty", [](CrlParts& parts) { parts.version = integer(Bytes{}); });
    expectRefused("wrapped", [](CrlParts& parts) { parts.version = context(0, integer(1)); });
}

TEST(Crl, UpdateTimesAreOfEitherType) {
    Parsed<X509Crl> parsed = parseChanged([](CrlParts& parts) {
        parts.thisUpdate = generalizedTime("20240101000000Z");
        parts.nextUpdate = generalizedTime("20500101000000Z");
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.thisUpdate.seconds, 1704067200);
    EXPECT_EQ(parsed.object.nextUpdate.toString(), "Sat Jan  1 00:00:00 2050");
}

TEST(Crl, NextUpdateMayBeAbsent) {
    Parsed<X509Crl> parsed = parseChanged([](CrlParts& parts) { parts.nextUpdate = {}; });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.nextUpdate.seconds, 0);
    EXPECT_EQ(dumpOf(parsed.object).find("nextUpdate"), std::string::npos);
}

TEST(Crl, EveryFieldMustHaveItsType) {
    expectRefused("algorithm", [](CrlParts& parts) {
        parts.outerAlgorithm = parts.algorithm;
        parts.algorithm = {};
    });
    expectRefused("issuer", [](CrlParts& parts) { parts.issuer = set(); });
    expectRefused("issuer's attribute", [](CrlParts& parts) { parts.issuer = sequence(set(null())); });
    expectRefused("no thisUpdate", [](CrlParts& parts) {
        parts.thisUpdate = {};
        parts.nextUpdate = {};
    });
    expectRefused("thisUpdate", [](CrlParts& parts) { parts.thisUpdate = utcTime("2401010000Z"); });
    expectRefused("nextUpdate", [](CrlParts& parts) { parts.nextUpdate = utcTime("2401010000Z"); });
    expectRefused("three times", [](CrlParts& parts) { parts.nextUpdate = join({date, date}); });
    expectRefused("revoked as a set", [](CrlParts& parts) { parts.revoked = set(); });
    expectRefused("two lists", [](CrlParts& parts) { parts.revoked = join({sequence(), sequence()}); });
    expectRefused("extensions as a set", [](CrlParts& parts) { parts.afterExtensions = context(0, set()); });
    expectRefused("an empty wrapper", [](CrlParts& parts) { parts.afterExtensions = context(0); });
    expectRefused("[3] as in a certificate", [](CrlParts& parts) {
        parts.afterExtensions = context(3, sequence(extension("1.2.3", {})));
    });
    expectRefused("something behind", [](CrlParts& parts) { parts.afterExtensions = null(); });
}

TEST(Crl, NothingMayFollow) {
    CrlParts parts;
    EXPECT_TRUE(Parsed<X509Crl>(parts).accepted);
    EXPECT_FALSE(Parsed<X509Crl>(join({parts.der(), {0x00}})).accepted);
}

TEST(Crl, InnerAndOuterAlgorithmMustBeTheSame) {
    expectRefused("another", [](CrlParts& parts) { parts.outerAlgorithm = ecdsaWithSha256; });
    EXPECT_TRUE(parseChanged([](CrlParts& parts) { parts.algorithm = ecdsaWithSha256; }).accepted);
}

TEST(Crl, EntriesAreRefusedWhenMalformed) {
    for (Bytes const& entry : {
             sequence(),
             sequence(integer(1)),
             sequence(date),
             sequence(octetString({1}), date),
             sequence(integer(Bytes{}), date),
             sequence(integer(1), utcTime("2401010000Z")),
             sequence(integer(1), date, null()),
             sequence(integer(1), date, sequence(), null()),
             sequence(integer(1), date, sequence(null())),
             sequence(integer(1), date, context(0, sequence())),
             set(integer(1), date),
             null(),
         })
        EXPECT_FALSE(parseWithEntry(entry).accepted);
    EXPECT_TRUE(parseWithEntry(sequence(integer(1), date, sequence())).accepted);
}

TEST(Crl, AnEmptyListOfEntriesIsNoEntry) {
    Parsed<X509Crl> parsed = parseChanged([](CrlParts& parts) { parts.revoked = sequence(); });
    EXPECT_TRUE(parsed.accepted);
    EXPECT_TRUE(parsed.object.revoked.empty());
}

TEST(Crl, SerialNumbersOfEntriesAreKeptAsTheyStand) {
    for (Bytes const& serial : {Bytes{0x00}, Bytes{0xFF}, Bytes{0x00, 0x80}, Bytes(300, 1)})
        EXPECT_EQ(parseWithEntry(sequence(integer(serial), date)).object.revoked.at(0).serialNumber, serial);
}

std::string reasonLines(unsigned char code) {
    Parsed<X509Crl> parsed =
        parseWithEntry(sequence(integer(1), date, sequence(extension(reasonCode, enumerated({code})))));
    EXPECT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    EXPECT_EQ(parsed.object.revoked.at(0).reasonCode, code);
    std::string dump = dumpOf(parsed.object);
    size_t from = dump.find("      revocationData: ");
    size_t to = dump.find("  signed with: ");
    return dump.substr(from, to - from);
}

TEST(Crl, EachReasonHasItsText) {
    struct {
        unsigned char code;
        char const* text;
    } const rows[] = {
        {0, "unspecified"},
        {1, "key compromise"},
        {2, "ca compromise"},
        {3, "affiliation changed"},
        {4, "superseded"},
        {5, "cessation of operation"},
        {6, "certificate hold"},
        {7, "remove from crl"},
        {8, ""},
        {9, "privilge withdrawn"},
        {10, "aa compromise"},
        {11, ""},
        {127, ""},
        {254, ""},
    };
    for (auto const& row : rows) {
        EXPECT_STREQ(getCrlReasonText(row.code), row.text);
        EXPECT_EQ(reasonLines(row.code), "      revocationData: Sun Dec 24 18:00:00 2023\n"
                                         "      extensions:\n"
                                         "        reasonCode: " +
                                             std::string(row.text) + "\n");
    }
    EXPECT_STREQ(getCrlReasonText(255), "");
}

TEST(Crl, AReasonIsOneOctet) {
    for (Bytes const& value :
         {Bytes{}, enumerated({}), enumerated({0, 1}), integer(1), join({enumerated({1}), null()})})
        EXPECT_FALSE(
            parseWithEntry(sequence(integer(1), date, sequence(extension(reasonCode, value)))).accepted);
}

TEST(Crl, OtherEntryExtensionsAreNamed) {
    for (char const* id : {"2.5.29.24", "2.5.29.29", "1.2.3.4", "2.5.29.20"}) {
        Bytes other = extension(id, generalizedTime("20240101000000Z"));
        Bytes reason = extension(reasonCode, enumerated({4}));
        Parsed<X509Crl> parsed = parseWithEntry(sequence(integer(1), date, sequence(other, reason)));
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unknown crlEntry ext id=") + id + ", critical: 0\n");
        EXPECT_EQ(parsed.object.revoked.at(0).reasonCode, 4);

        parsed = parseWithEntry(sequence(integer(1), date, sequence(extension(id, null(), true))));
        EXPECT_FALSE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unknown crlEntry ext id=") + id + ", critical: 1\n");
    }
}

TEST(Crl, ExtensionsThatAreNotStoredAreNamed) {
    for (char const* id : {"2.5.29.27", "2.5.29.46", "2.5.29.18", "1.2.3.4"}) {
        Parsed<X509Crl> parsed = parseWithExtension(extension(id, null()));
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unknown crl ext id=") + id + "\n");
        parsed = parseWithExtension(extension(id, null(), true));
        EXPECT_FALSE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unknown crl ext id=") + id + "\n");
    }
}

TEST(Crl, IssuingDistributionPointIsPassedOverEvenWhenCritical) {
    for (bool critical : {false, true}) {
        Parsed<X509Crl> parsed = parseWithExtension(
            extension(issuingDistributionPoint, sequence(implicit(1, Bytes{0xFF})), critical));
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said, "ignoring crl ext issuingDistributionPoint\n");
    }
}

TEST(Crl, StoredExtensionsAreRefusedWhenMalformed) {
    for (Bytes const& value : {Bytes{}, integer(Bytes{}), octetString({1}), join({integer(1), null()})})
        EXPECT_FALSE(parseWithExtension(extension(crlNumber, value)).accepted);
    for (Bytes const& value : {Bytes{}, octetString({1}), sequence(null()), join({sequence(), null()})})
        EXPECT_FALSE(parseWithExtension(extension(authorityKeyId, value)).accepted);
    Parsed<X509Crl> parsed = parseWithExtension(extension(authorityKeyId, sequence()));
    EXPECT_TRUE(parsed.accepted);
    EXPECT_TRUE(parsed.object.authorityKeyId.empty());
}

TEST(Crl, RepeatedExtensionsAreRefused) {
    Bytes unknown = extension("1.2.3.4", null());
    expectRefused("of the list", [&](CrlParts& parts) { parts.extensions = {unknown, unknown}; });
    Parsed<X509Crl> parsed = parseWithEntry(sequence(integer(1), date, sequence(unknown, unknown)));
    EXPECT_FALSE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    // Each entry and the list itself have extensions of their own.
    parsed = parseChanged([&](CrlParts& parts) {
        Bytes entry = sequence(integer(1), date, sequence(unknown));
        parts.revoked = sequence(entry, entry);
        parts.extensions = {unknown};
    });
    EXPECT_TRUE(parsed.accepted);
}

TEST(Crl, ParsingReplacesWhatTheObjectHeld) {
    CrlParts full;
    full.revoked = sequence(sequence(integer(1), date));
    full.extensions = {extension(crlNumber, integer(1)),
                       extension(authorityKeyId, sequence(implicit(0, Bytes{1})))};
    Parsed<X509Crl> parsed(full);
    CrlParts plain;
    plain.nextUpdate = {};
    Bytes encoded = plain.der();
    ASSERT_TRUE(parsed.object.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    EXPECT_EQ(dumpOf(parsed.object), dumpOf(Parsed<X509Crl>(plain).object));
    EXPECT_FALSE(parsed.object.parse(nullptr, 0));
}

TEST(Crl, RawViewsAreEmptyWithoutASignedPart) {
    X509Crl crl;
    EXPECT_TRUE(crl.issuerBytes().empty());
    EXPECT_TRUE(crl.extensions().empty());
}

TEST(Crl, DumpOfAnEmptyOne) {
    Parsed<X509Crl> parsed = parseChanged([](CrlParts& parts) { parts.nextUpdate = {}; });
    EXPECT_EQ(dumpOf(parsed.object), "CRL\n"
                                     "  issuer: <C=UY, CN=ca>\n"
                                     "  lastUpdate: Mon Jan  1 00:00:00 2024\n"
                                     "  CRL extensions:\n"
                                     "  revoked certs: (empty)\n"
                                     "  signed with: SHA256+RSA\n");
}

TEST(Crl, DumpOfEveryField) {
    CrlParts parts;
    parts.revoked = sequence(sequence(integer({0x01, 0xAB}), date),
                             sequence(integer(5), date, sequence(extension(reasonCode, enumerated({9})))));
    parts.extensions = {extension(crlNumber, integer({0x10, 0x0F})),
                        extension(authorityKeyId, sequence(implicit(0, Bytes{0x0A, 0xFF})))};
    parts.algorithm = ecdsaWithSha256;
    EXPECT_EQ(dumpOf(Parsed<X509Crl>(parts).object), "CRL\n"
                                                     "  issuer: <C=UY, CN=ca>\n"
                                                     "  lastUpdate: Mon Jan  1 00:00:00 2024\n"
                                                     "  nextUpdate: Thu Feb  1 00:00:00 2024\n"
                                                     "  CRL extensions:\n"
                                                     "    authority key id: 0a:ff\n"
                                                     "    CRL number HEX: 10:0f\n"
                                                     "  revoked certs:\n"
                                                     "    serialNr: 01:ab\n"
                                                     "      revocationData: Sun Dec 24 18:00:00 2023\n"
                                                     "    serialNr: 05\n"
                                                     "      revocationData: Sun Dec 24 18:00:00 2023\n"
                                                     "      extensions:\n"
                                                     "        reasonCode: privilge withdrawn\n"
                                                     "  signed with: SHA256+ECDSA\n");
}

} // namespace TEST_FILE

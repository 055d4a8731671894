#include "objects.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char const* basicConstraints = "2.5.29.19";
constexpr char const* subjectKeyId = "2.5.29.14";
constexpr char const* authorityKeyId = "2.5.29.35";
constexpr char const* subjectAltName = "2.5.29.17";
constexpr char const* distributionPoints = "2.5.29.31";
constexpr char const* nameConstraints = "2.5.29.30";

Parsed<X509Certificate> parseWith(std::vector<Bytes> const& extensions) {
    CertificateParts parts;
    parts.extensions = extensions;
    return Parsed<X509Certificate>(parts);
}

Parsed<X509Certificate> parseWith(std::string_view id, Bytes const& value, bool critical = false) {
    return parseWith({extension(id, value, critical)});
}

void expectRefused(std::string_view id, std::vector<Bytes> const& values) {
    for (Bytes const& value : values) {
        Parsed<X509Certificate> parsed = parseWith(id, value);
        EXPECT_FALSE(parsed.accepted) << &value - values.data();
        EXPECT_EQ(parsed.said, "");
    }
}

// The list as such.

TEST(Extensions, AnUnknownOneIsNamed) {
    Parsed<X509Certificate> parsed = parseWith("1.3.6.1.4.1.55555.1", null());
    EXPECT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unknown ext id=1.3.6.1.4.1.55555.1\n");
}

TEST(Extensions, AnUnknownCriticalOneIsNamedAndRefused) {
    Parsed<X509Certificate> parsed = parseWith("1.3.6.1.4.1.55555.1", null(), true);
    EXPECT_FALSE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unknown ext id=1.3.6.1.4.1.55555.1\n");
}

TEST(Extensions, TheValueOfAnUnknownOneMayBeAnything) {
    for (Bytes const& value : {Bytes{}, Bytes{0xFF, 0xFF}, Bytes{0x30, 0x80}}) {
        EXPECT_TRUE(parseWith("1.3.6.1.4.1.55555.1", value).accepted);
        EXPECT_TRUE(parseWith("1.3.6.1.5.5.7.1.1", value).accepted);
    }
}

TEST(Extensions, SomeAreKnownAndPassedOverInSilence) {
    for (char const* id : {
             "1.3.6.1.5.5.7.1.1",       // authorityInfoAccess
             "1.3.6.1.5.5.7.1.11",      // subjectInfoAccess
             "2.5.29.32",               // certificatePolicies
             "2.5.29.33",               // policyMappings
             "2.5.29.18",               // issuerAltName
             "2.5.29.46",               // freshestCRL
             "2.5.29.9",                // subjectDirectoryAttributes
             "1.3.6.1.4.1.11129.2.4.2", // signed certificate timestamps
             "2.16.840.1.113730.1.1",   // the family of Netscape's extensions
             "2.16.840.1.113730.1.13",
             "2.16.840.1.113730.1.13.1",
         })
        for (bool critical : {false, true}) {
            Parsed<X509Certificate> parsed = parseWith(id, null(), critical);
            EXPECT_TRUE(parsed.accepted) << id;
            EXPECT_EQ(parsed.said, "") << id;
        }
}

TEST(Extensions, NeighboursOfKnownOnesAreUnknown) {
    for (char const* id : {
             "1.3.6.1.5.5.7.1.2", "2.5.29.34",
             "1.3.6.1.4.1.11129.2.4.3", // The poison of a precertificate.
             "2.16.840.1.113730.1", "2.16.840.1.113730.2.1",
             "2.5.29.20", // CRL number
             "2.5.29.21", // reason code
             "2.5.29.28", // issuingDistributionPoint
         }) {
        Parsed<X509Certificate> parsed = parseWith(id, null());
        EXPECT_TRUE(parsed.accepted) << id;
        EXPECT_EQ(parsed.said, std::string("unknown ext id=") + id + "\n");
        EXPECT_FALSE(parseWith(id, null(), true).accepted) << id;
    }
}

TEST(Extensions, ARepeatedOneIsRefusedBeforeAnythingIsSaid) {
    Bytes unknown = extension("1.2.3.4", null());
    Bytes other = extension("1.2.3.5", null());
    EXPECT_TRUE(parseWith({unknown, other}).accepted);
    EXPECT_FALSE(parseWith({unknown, unknown}).accepted);
    EXPECT_FALSE(parseWith({unknown, other, unknown}).accepted);
    Parsed<X509Certificate> parsed = parseWith({unknown, extension("1.2.3.4", null(), true), other});
    EXPECT_FALSE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    EXPECT_FALSE(
        parseWith({extension(subjectKeyId, octetString({1})), extension(subjectKeyId, octetString({2}))})
            .accepted);
}

TEST(Extensions, OneExtensionHasTwoOrThreeFields) {
    Bytes id = oid("1.2.3.4");
    Bytes value = octetString({});
    EXPECT_TRUE(parseWith({sequence(id, value)}).accepted);
    EXPECT_TRUE(parseWith({sequence(id, boolean(false), value)}).accepted);
    EXPECT_FALSE(parseWith({sequence(id, boolean(true), value)}).accepted);
    for (Bytes const& malformed : {
             sequence(),
             sequence(id),
             sequence(value),
             sequence(boolean(false), id, value),
             sequence(id, value, value),
             sequence(id, value, boolean(false)),
             sequence(id, boolean(false), boolean(false), value),
             sequence(id, integer(0), value),
             sequence(id, element(0x01, {}), value),
             sequence(id, element(0x01, {0, 0}), value),
             sequence(id, null()),
             set(id, value),
             null(),
         })
        EXPECT_FALSE(parseWith({malformed}).accepted);
}

TEST(Extensions, AnyOctetButZeroIsTrue) {
    EXPECT_FALSE(parseWith({sequence(oid("1.2.3.4"), element(0x01, {0x01}), octetString({}))}).accepted);
    EXPECT_EQ(parseWith(basicConstraints, sequence(element(0x01, {0x01}))).object.basicConstraints, 1);
}

// Basic constraints.

TEST(Extensions, BasicConstraintsHaveThreeStates) {
    struct {
        Bytes value;
        char const* text;
    } const rows[] = {
        {sequence(boolean(true)), "TRUE"},
        {sequence(boolean(true), integer(0)), "TRUE"},
        {sequence(boolean(true), integer(3)), "TRUE"},
        {sequence(boolean(false)), "FALSE"},
        {sequence(), "FALSE"},
        {sequence(integer(3)), "FALSE"},
    };
    for (auto const& row : rows) {
        Parsed<X509Certificate> parsed = parseWith(basicConstraints, row.value);
        ASSERT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.object.basicConstraints == 1, std::string(row.text) == "TRUE");
        EXPECT_NE(parsed.object.basicConstraints, 0);
        EXPECT_NE(dumpOf(parsed.object).find(std::string("    basic constraints: isCa: ") + row.text + "\n"),
                  std::string::npos);
    }
    Parsed<X509Certificate> absent = parseWith(std::vector<Bytes>{});
    EXPECT_EQ(absent.object.basicConstraints, 0);
    EXPECT_EQ(dumpOf(absent.object).find("basic constraints"), std::string::npos);
}

TEST(Extensions, BasicConstraintsAreRefusedWhenMalformed) {
    expectRefused(basicConstraints, {
                                        {},
                                        boolean(true),
                                        sequence(null()),
                                        sequence(boolean(true), boolean(true)),
                                        sequence(integer(1), boolean(true)),
                                        sequence(boolean(true), integer(1), integer(1)),
                                        sequence(element(0x01, {})),
                                        join({sequence(), sequence()}),
                                    });
}

// Key identifiers.

TEST(Extensions, SubjectKeyIdIsStored) {
    Parsed<X509Certificate> parsed = parseWith(subjectKeyId, octetString({1, 2, 3}));
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.subjectKeyId, (Bytes{1, 2, 3}));
    EXPECT_NE(dumpOf(parsed.object).find("    subject key id:  01:02:03\n"), std::string::npos);
    EXPECT_EQ(dumpOf(parseWith(std::vector<Bytes>{}).object).find("key id"), std::string::npos);
    expectRefused(subjectKeyId,
                  {{}, bitString({1}), join({octetString({1}), null()}), sequence(octetString({1}))});
}

TEST(Extensions, OfAnAuthorityKeyIdTheKeyIdentifierIsStored) {
    Bytes keyId = implicit(0, Bytes{1, 2, 3});
    Bytes issuer = context(1, context(4, name({{"2.5.4.3", "ca"}})));
    Bytes serial = implicit(2, Bytes{7});
    for (Bytes const& value : {sequence(keyId), sequence(keyId, issuer, serial)})
        EXPECT_EQ(parseWith(authorityKeyId, value).object.authorityKeyId, (Bytes{1, 2, 3}));
    for (Bytes const& value : {sequence(), sequence(issuer, serial)}) {
        Parsed<X509Certificate> parsed = parseWith(authorityKeyId, value);
        EXPECT_TRUE(parsed.accepted);
        EXPECT_TRUE(parsed.object.authorityKeyId.empty());
    }
    expectRefused(authorityKeyId, {
                                      {},
                                      octetString({1}),
                                      sequence(octetString({1})),
                                      sequence(keyId, keyId),
                                      sequence(serial, keyId),
                                      sequence(keyId, null()),
                                      join({sequence(keyId), null()}),
                                      element(0x30, {0x80, 0x05, 0x01}),
                                      element(0x30, {0x80, 0x01, 0x01, 0x82, 0x05}),
                                  });
}

// Subject alternative names.

TEST(Extensions, NamesOfEveryTypeAreStoredInOrder) {
    Bytes address4 = {192, 0, 2, 1};
    Bytes address6 = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    Bytes directory = name({{"2.5.4.3", "x"}});
    Parsed<X509Certificate> parsed =
        parseWith(subjectAltName,
                  sequence(context(0, oid("1.2.3"), context(0, utf8String("u"))), implicit(1, "a@b.test"),
                           implicit(2, "b.test"), context(3), context(4, directory), context(5),
                           implicit(6, "http://b.test/"), implicit(7, address4), implicit(7, address6),
                           implicit(8, Bytes{0x2A, 0x03})));
    ASSERT_TRUE(parsed.accepted);
    std::vector<GeneralName> const& names = parsed.object.subjectAltNames;
    ASSERT_EQ(names.size(), 10u);
    unsigned char const types[] = {0x20, 1, 2, 0x23, 0x24, 0x25, 6, 7, 7, 8};
    for (size_t i = 0; i < names.size(); i++)
        EXPECT_EQ(names[i].type, types[i]);
    EXPECT_EQ(names[1].data, "a@b.test");
    EXPECT_EQ(asn1::blob(names[4].data), asn1::blob(directory));
    std::string dump = dumpOf(parsed.object);
    EXPECT_NE(dump.find("    subject alternative name: \n      : "), std::string::npos);
    EXPECT_NE(dump.find("\n      rfc822: a@b.test\n      DNS: b.test\n      : \n"), std::string::npos);
    EXPECT_NE(
        dump.find(
            "\n      URI: http://b.test/\n      IP: 192.0.2.1\n      IP: 2001:db8::1\n      REG ID: *\x03\n"),
        std::string::npos);
}

TEST(Extensions, AnAddressHas4Or16Octets) {
    for (size_t size = 0; size <= 33; size++) {
        Bytes value = sequence(implicit(2, "a.test"), implicit(7, Bytes(size)));
        EXPECT_EQ(parseWith(subjectAltName, value).accepted, size == 4 || size == 16) << size;
    }
}

TEST(Extensions, SubjectAltNamesAreRefusedWhenMalformed) {
    expectRefused(subjectAltName, {
                                      {},
                                      implicit(2, "a.test"),
                                      set(implicit(2, "a.test")),
                                      join({sequence(implicit(2, "a.test")), null()}),
                                      sequence(implicit(9, "a.test")),
                                      sequence(implicit(2, "a.test"), context(9)),
                                      element(0x30, {0x82, 0x05, 'a'}),
                                      element(0x30, {0x82, 0x01, 'a', 0x82}),
                                  });
}

TEST(Extensions, AnElementOfAnotherClassIsNoName) {
    // Without its class an INTEGER would be a host name and a UTF8String a name of type 12.
    expectRefused(subjectAltName, {
                                      sequence(integer(bytes("a.test"))),
                                      sequence(utf8String("a.test")),
                                      sequence(element(0x42, bytes("a.test"))),
                                      sequence(element(0xC2, bytes("a.test"))),
                                      sequence(boolean(true)),
                                      sequence(implicit(2, "a.test"), null()),
                                  });
    // [2] written with more identifier octets than it needs.
    expectRefused(subjectAltName, {element(0x30, {0x9F, 0x02, 0x01, 'a'})});
}

TEST(Extensions, AnEmptyListOfNamesIsNone) {
    Parsed<X509Certificate> parsed = parseWith(subjectAltName, sequence());
    EXPECT_TRUE(parsed.accepted);
    EXPECT_EQ(dumpOf(parsed.object).find("alternative"), std::string::npos);
}

// CRL distribution points.

TEST(Extensions, OfDistributionPointsTheFullNamesAreStored) {
    Bytes first = implicit(6, "http://a.test/1");
    Bytes second = implicit(6, "http://a.test/2");
    Bytes third = implicit(6, "ldap://a.test/3");
    Parsed<X509Certificate> parsed =
        parseWith(distributionPoints, sequence(sequence(context(0, context(0, first, second))),
                                               sequence(context(0, context(0, third)))));
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    std::vector<GeneralName> const& points = parsed.object.crlDistributionPoints;
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(points[0].dataStr(), "http://a.test/1");
    EXPECT_EQ(points[1].dataStr(), "http://a.test/2");
    EXPECT_EQ(points[2].dataStr(), "ldap://a.test/3");
    EXPECT_EQ(points[2].type, 6);
}

TEST(Extensions, AnotherChoiceOfDistributionPointIsNamed) {
    Bytes relative = context(1, sequence(oid("2.5.4.3"), utf8String("x")));
    Parsed<X509Certificate> parsed =
        parseWith(distributionPoints,
                  sequence(sequence(context(0, relative)),
                           sequence(context(0, context(0, implicit(6, "http://a.test/")))),
                           sequence(context(0, implicit(5, "?")))),
                  true);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unsupported attribute: 161 in CRL DistributionPoint\n"
                           "unsupported attribute: 133 in CRL DistributionPoint\n");
    EXPECT_EQ(parsed.object.crlDistributionPoints.size(), 1u);
}

TEST(Extensions, ReasonsAndIssuerOfADistributionPointArePassedOver) {
    Bytes reasons = implicit(1, Bytes{0x01, 0x80});
    Bytes issuer = context(2, context(4, name({{"2.5.4.3", "x"}})));
    Bytes fullName = context(0, context(0, implicit(6, "http://a.test/")));
    for (Bytes const& point : {sequence(fullName, reasons, issuer), sequence(fullName, issuer)}) {
        Parsed<X509Certificate> parsed = parseWith(distributionPoints, sequence(point));
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said, "");
        EXPECT_EQ(parsed.object.crlDistributionPoints.size(), 1u);
    }
    for (Bytes const& point : {sequence(issuer), sequence(reasons), sequence()}) {
        Parsed<X509Certificate> parsed = parseWith(distributionPoints, sequence(point));
        EXPECT_TRUE(parsed.accepted);
        EXPECT_TRUE(parsed.object.crlDistributionPoints.empty());
    }
}

TEST(Extensions, DistributionPointsAreRefusedWhenMalformed) {
    Bytes fullName = context(0, context(0, implicit(6, "http://a.test/")));
    expectRefused(distributionPoints, {
                                          {},
                                          sequence(fullName),
                                          sequence(sequence(fullName), null()),
                                          sequence(sequence(fullName, null())),
                                          sequence(sequence(fullName, fullName)),
                                          sequence(sequence(context(0))),
                                          sequence(sequence(context(0, context(0), context(0)))),
                                          sequence(sequence(context(0, context(1), context(0)))),
                                          sequence(sequence(context(0, context(0, null())))),
                                          sequence(sequence(context(0, context(0, implicit(7, Bytes(5)))))),
                                          sequence(sequence(implicit(0, context(0)))),
                                          sequence(sequence(context(0, Bytes{0xA1, 0x05}))),
                                      });
}

// Name constraints.

Bytes subtree(Bytes const& base) { return sequence(base); }

TEST(Extensions, OnePermittedAndOneExcludedSubtreeAreStored) {
    Parsed<X509Certificate> parsed = parseWith(
        nameConstraints,
        sequence(context(0, subtree(implicit(2, "in.test"))), context(1, subtree(implicit(2, "out.test")))),
        true);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    EXPECT_EQ(parsed.object.nameConstraintPermitted.type, 2);
    EXPECT_EQ(parsed.object.nameConstraintPermitted.data, "in.test");
    EXPECT_EQ(parsed.object.nameConstraintExcluded.type, 2);
    EXPECT_EQ(parsed.object.nameConstraintExcluded.data, "out.test");

    parsed = parseWith(nameConstraints, sequence(context(1, subtree(implicit(2, "out.test")))));
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.nameConstraintPermitted.type, 255);
    EXPECT_EQ(parsed.object.nameConstraintExcluded.data, "out.test");
    EXPECT_TRUE(parseWith(nameConstraints, sequence(), true).accepted);
}

TEST(Extensions, OfSeveralSubtreesTheFirstIsKept) {
    Bytes value = sequence(context(0, subtree(implicit(2, "a.test")), subtree(implicit(2, "b.test")),
                                   subtree(implicit(1, "c.test"))),
                           context(1, subtree(implicit(2, "d.test")), subtree(implicit(2, "e.test"))));
    Parsed<X509Certificate> parsed = parseWith(nameConstraints, value);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said,
              "multiple name contraints not supported\nmultiple name contraints not supported\n");
    EXPECT_EQ(parsed.object.nameConstraintPermitted.data, "a.test");
    EXPECT_EQ(parsed.object.nameConstraintExcluded.data, "d.test");

    parsed = parseWith(nameConstraints, value, true);
    EXPECT_FALSE(parsed.accepted);
    EXPECT_EQ(parsed.said, "multiple name contraints not supported\n");
}

TEST(Extensions, ConstraintsOfOtherTypesAreNamedAndKept) {
    Bytes const bases[] = {
        implicit(1, "b.test"),
        context(4, name({{"2.5.4.3", "x"}})),
        implicit(6, "b.test"),
        implicit(7, Bytes(8)),
        implicit(7, Bytes(32)),
        implicit(7, Bytes(4)), // Neither form of an address with its mask.
        context(2, implicit(2, "b.test")),
    };
    for (Bytes const& base : bases)
        for (unsigned field : {0, 1}) {
            Parsed<X509Certificate> parsed =
                parseWith(nameConstraints, sequence(context(field, subtree(base))));
            EXPECT_TRUE(parsed.accepted);
            EXPECT_EQ(parsed.said, "unsupported ext: name constraints, critical: 0\n");
            GeneralName const& kept =
                field == 0 ? parsed.object.nameConstraintPermitted : parsed.object.nameConstraintExcluded;
            EXPECT_EQ(kept.type, base[0] & 0x7F);
            EXPECT_EQ(asn1::blob(kept.data), asn1::blob(Bytes(base.begin() + 2, base.end())));

            parsed = parseWith(nameConstraints, sequence(context(field, subtree(base))), true);
            EXPECT_FALSE(parsed.accepted);
            EXPECT_EQ(parsed.said, "unsupported ext: name constraints, critical: 1\n");
        }
    Parsed<X509Certificate> both =
        parseWith(nameConstraints,
                  sequence(context(0, subtree(bases[0]), subtree(bases[1])), context(1, subtree(bases[2]))));
    EXPECT_TRUE(both.accepted);
    EXPECT_EQ(both.said, "multiple name contraints not supported\n"
                         "unsupported ext: name constraints, critical: 0\n"
                         "unsupported ext: name constraints, critical: 0\n");
}

TEST(Extensions, BoundsOfASubtreeArePassedOver) {
    Bytes bounded = sequence(implicit(2, "a.test"), implicit(0, Bytes{0}), implicit(1, Bytes{5}));
    EXPECT_TRUE(parseWith(nameConstraints, sequence(context(0, bounded)), true).accepted);
}

TEST(Extensions, NameConstraintsAreRefusedWhenMalformed) {
    Bytes good = subtree(implicit(2, "a.test"));
    expectRefused(nameConstraints, {
                                       {},
                                       context(0, good),
                                       sequence(good),
                                       sequence(context(0)),
                                       sequence(context(1)),
                                       sequence(context(0, null())),
                                       sequence(context(0, sequence())),
                                       sequence(context(0, subtree(integer(bytes("a.test"))))),
                                       sequence(context(0, sequence(implicit(2, "a.test"), null()))),
                                       sequence(context(0, good, null())),
                                       sequence(context(1, good), context(0, good)),
                                       sequence(context(0, good), context(0, good)),
                                       sequence(context(0, good), null()),
                                       sequence(context(0, Bytes{0x30, 0x04, 0x82, 0x05, 'a', 'b'})),
                                       join({sequence(context(0, good)), null()}),
                                   });
}

// Policies.

TEST(Extensions, PolicyRestrictionsAreNamedAndRefusedWhenCritical) {
    struct {
        char const* id;
        Bytes value;
        char const* text;
    } const rows[] = {
        {"2.5.29.36", sequence(implicit(0, Bytes{0})), "policy constraints"},
        {"2.5.29.54", integer(0), "inhibit any policy"},
    };
    for (auto const& row : rows) {
        Parsed<X509Certificate> parsed = parseWith(row.id, row.value);
        EXPECT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unsupported ext: ") + row.text + ", critical: 0\n");
        parsed = parseWith(row.id, row.value, true);
        EXPECT_FALSE(parsed.accepted);
        EXPECT_EQ(parsed.said, std::string("unsupported ext: ") + row.text + ", critical: 1\n");
    }
}

TEST(Extensions, DiagnosticsDoNotDependOnTheFlagsOfStandardOutput) {
    std::cout << std::boolalpha << std::hex;
    std::string said = parseWith("2.5.29.54", integer(0)).said;
    std::string choice = parseWith(distributionPoints, sequence(sequence(context(0, context(1))))).said;
    std::cout << std::noboolalpha << std::dec;
    EXPECT_EQ(said, "unsupported ext: inhibit any policy, critical: 0\n");
    EXPECT_EQ(choice, "unsupported attribute: 161 in CRL DistributionPoint\n");
}

} // namespace TEST_FILE

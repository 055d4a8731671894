#include "objects.h"

#include <gtest/gtest.h>

#include <functional>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

using Change = std::function<void(CertificateParts&)>;

Parsed<X509Certificate> parseChanged(Change const& change) {
    CertificateParts parts;
    change(parts);
    return Parsed<X509Certificate>(parts);
}

void expectRefused(char const* what, Change const& change) {
    Parsed<X509Certificate> parsed = parseChanged(change);
    EXPECT_FALSE(parsed.accepted) << what;
}

TEST(Certificate, FieldsAreRead) {
    CertificateParts parts;
    Parsed<X509Certificate> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    X509Certificate const& certificate = parsed.object;
    EXPECT_EQ(certificate.tbs, parts.tbs());
    EXPECT_EQ(certificate.serialNumber, (Bytes{0x01, 0xAB}));
    EXPECT_EQ(certificate.issuer.str(), "C=UY, CN=ca");
    EXPECT_EQ(certificate.subject.str(), "CN=leaf");
    EXPECT_EQ(certificate.notBefore.seconds, 1704067200);
    EXPECT_EQ(certificate.notAfter.seconds, 1735689600);
    EXPECT_FALSE(certificate.selfSigned);
    EXPECT_EQ(certificate.subjectPublicKeyInfo, parts.keyInfo);
    EXPECT_EQ(oidStr(certificate.signatureAlgorithm.oid), "1.2.840.113549.1.1.11");
    EXPECT_EQ(certificate.signature, (Bytes{0xDE, 0xAD}));
    EXPECT_EQ(certificate.serialize(), parts.der());
    // What is absent.
    EXPECT_EQ(certificate.keyUsage, 0u);
    EXPECT_EQ(certificate.extKeyUsage, 0u);
    EXPECT_EQ(certificate.basicConstraints, 0);
    EXPECT_TRUE(certificate.subjectKeyId.empty());
    EXPECT_TRUE(certificate.authorityKeyId.empty());
    EXPECT_TRUE(certificate.subjectAltNames.empty());
    EXPECT_TRUE(certificate.crlDistributionPoints.empty());
    EXPECT_EQ(certificate.nameConstraintPermitted.type, 255);
    EXPECT_EQ(certificate.nameConstraintExcluded.type, 255);
}

TEST(Certificate, VersionMustBe3) {
    for (unsigned char version : {0, 1, 3, 4, 255})
        expectRefused("version",
                      [&](CertificateParts& parts) { parts.version = context(0, integer(version)); });
    expectRefused("absent", [](CertificateParts& parts) { parts.version = {}; });
    expectRefused("not wrapped", [](CertificateParts& parts) { parts.version = integer(2); });
    expectRefused("empty", [](CertificateParts& parts) { parts.version = context(0); });
    expectRefused("no number", [](CertificateParts& parts) { parts.version = context(0, octetString({2})); });
    expectRefused("two numbers",
                  [](CertificateParts& parts) { parts.version = context(0, integer(2), integer(2)); });
    expectRefused("primitive", [](CertificateParts& parts) { parts.version = implicit(0, Bytes{2}); });
    expectRefused("empty number",
                  [](CertificateParts& parts) { parts.version = context(0, integer(Bytes{})); });
    expectRefused("2 in the low octet of a long number", [](CertificateParts& parts) {
        parts.version = context(0, integer({1, 0, 0, 0, 2}));
    });
}

TEST(Certificate, EveryFieldMustHaveItsType) {
    expectRefused("serial", [](CertificateParts& parts) { parts.serialNumber = octetString({1}); });
    expectRefused("empty serial", [](CertificateParts& parts) { parts.serialNumber = integer(Bytes{}); });
    expectRefused("no serial", [](CertificateParts& parts) { parts.serialNumber = {}; });
    expectRefused("algorithm", [](CertificateParts& parts) {
        parts.outerAlgorithm = parts.algorithm;
        parts.algorithm = set(oid("1.2.840.113549.1.1.11"));
    });
    expectRefused("no algorithm", [](CertificateParts& parts) {
        parts.outerAlgorithm = parts.algorithm;
        parts.algorithm = {};
    });
    expectRefused("issuer", [](CertificateParts& parts) { parts.issuer = set(); });
    expectRefused("issuer's attribute",
                  [](CertificateParts& parts) { parts.issuer = sequence(set(null())); });
    expectRefused("validity", [](CertificateParts& parts) { parts.validity = set(); });
    expectRefused("subject", [](CertificateParts& parts) { parts.subject = null(); });
    expectRefused("subject's attribute",
                  [](CertificateParts& parts) { parts.subject = sequence(set(null())); });
    expectRefused("key", [](CertificateParts& parts) { parts.keyInfo = octetString({1}); });
    expectRefused("no key", [](CertificateParts& parts) { parts.keyInfo = {}; });
    expectRefused("extensions not wrapped",
                  [](CertificateParts& parts) { parts.beforeExtensions = sequence(extension("1.2.3", {})); });
    expectRefused("extensions as a set", [](CertificateParts& parts) {
        parts.beforeExtensions = context(3, set(extension("1.2.3", {})));
    });
    expectRefused("two lists of extensions", [](CertificateParts& parts) {
        parts.beforeExtensions = context(3, sequence(extension("2.5.29.14", octetString({1}))));
        parts.extensions = {extension("2.5.29.35", sequence())};
    });
    expectRefused("an empty wrapper", [](CertificateParts& parts) { parts.beforeExtensions = context(3); });
    expectRefused("something beside the list",
                  [](CertificateParts& parts) { parts.beforeExtensions = context(3, sequence(), null()); });
}

TEST(Certificate, UniqueIdentifiersAreRefused) {
    for (unsigned number : {1, 2}) {
        expectRefused("primitive", [&](CertificateParts& parts) {
            parts.beforeExtensions = implicit(number, Bytes{0, 1});
        });
        expectRefused("constructed", [&](CertificateParts& parts) {
            parts.beforeExtensions = context(number, bitString({1}));
        });
    }
}

TEST(Certificate, NothingMayFollow) {
    expectRefused("within the signed part", [](CertificateParts& parts) { parts.afterExtensions = null(); });
    expectRefused("within the object", [](CertificateParts& parts) { parts.afterSignature = null(); });
    CertificateParts parts;
    EXPECT_FALSE(Parsed<X509Certificate>(join({parts.der(), {0x00}})).accepted);
    EXPECT_FALSE(Parsed<X509Certificate>(join({parts.der(), parts.der()})).accepted);
}

TEST(Certificate, InnerAndOuterAlgorithmMustBeTheSame) {
    expectRefused("another", [](CertificateParts& parts) { parts.outerAlgorithm = ecdsaWithSha256; });
    expectRefused("other parameters",
                  [](CertificateParts& parts) { parts.outerAlgorithm = algorithm("1.2.840.113549.1.1.11"); });
    expectRefused("more parameters", [](CertificateParts& parts) {
        parts.algorithm = ecdsaWithSha256;
        parts.outerAlgorithm = algorithm("1.2.840.10045.4.3.2", oid("1.2.840.10045.4.3.2"));
    });
    EXPECT_TRUE(parseChanged([](CertificateParts& parts) { parts.algorithm = ecdsaWithSha256; }).accepted);
}

TEST(Certificate, TimesAreOfEitherType) {
    Parsed<X509Certificate> parsed = parseChanged([](CertificateParts& parts) {
        parts.validity = sequence(utcTime("500101000000Z"), generalizedTime("20500101000000Z"));
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.notBefore.toString(), "Sun Jan  1 00:00:00 1950");
    EXPECT_EQ(parsed.object.notAfter.toString(), "Sat Jan  1 00:00:00 2050");

    parsed = parseChanged([](CertificateParts& parts) {
        parts.validity = sequence(utcTime("240101000000Z"), generalizedTime("99991231235959Z"));
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.notAfter.seconds, TimePoint::noExpiration);
}

TEST(Certificate, TimesMustBeTwoAndWellFormed) {
    Bytes good = utcTime("240101000000Z");
    Bytes const refused[] = {
        sequence(),
        sequence(good),
        sequence(good, good, good),
        sequence(utcTime("2401010000Z"), good),
        sequence(good, utcTime("240101000000+0100")),
        sequence(good, printableString("240101000000Z")),
        sequence(good, null()),
        sequence(good, utcTime("")),
    };
    for (Bytes const& validity : refused)
        expectRefused("validity", [&](CertificateParts& parts) { parts.validity = validity; });
}

TEST(Certificate, SerialNumbersOfAnySizeAndSignAreKeptAsTheyStand) {
    for (Bytes const& content :
         {Bytes{0x00}, Bytes{0xFF}, Bytes{0x00, 0x80}, Bytes{0x00, 0x00, 0x01}, Bytes(1000, 0x7F)}) {
        Parsed<X509Certificate> parsed =
            parseChanged([&](CertificateParts& parts) { parts.serialNumber = integer(content); });
        ASSERT_TRUE(parsed.accepted);
        EXPECT_EQ(parsed.object.serialNumber, content);
    }
}

TEST(Certificate, SelfSignedMeansTheSameNamesAndNoOtherAuthority) {
    Bytes name = der::name({{"2.5.4.3", "self"}});
    Bytes keyId = extension("2.5.29.14", octetString({1, 2}));
    Bytes sameAuthority = extension("2.5.29.35", sequence(implicit(0, Bytes{1, 2})));
    Bytes otherAuthority = extension("2.5.29.35", sequence(implicit(0, Bytes{1, 3})));
    Bytes noAuthority = extension("2.5.29.35", sequence());
    auto isSelfSigned = [&](Bytes const& issuer, Bytes const& subject, std::vector<Bytes> const& extensions) {
        Parsed<X509Certificate> parsed = parseChanged([&](CertificateParts& parts) {
            parts.issuer = issuer;
            parts.subject = subject;
            parts.extensions = extensions;
        });
        EXPECT_TRUE(parsed.accepted);
        return parsed.object.selfSigned;
    };
    EXPECT_TRUE(isSelfSigned(name, name, {}));
    EXPECT_TRUE(isSelfSigned(name, name, {keyId}));
    EXPECT_TRUE(isSelfSigned(name, name, {keyId, sameAuthority}));
    EXPECT_TRUE(isSelfSigned(name, name, {sameAuthority, keyId}));
    EXPECT_TRUE(isSelfSigned(name, name, {keyId, noAuthority}));
    EXPECT_FALSE(isSelfSigned(name, name, {keyId, otherAuthority}));
    EXPECT_FALSE(isSelfSigned(name, name, {otherAuthority}));
    EXPECT_FALSE(isSelfSigned(name, der::name({{"2.5.4.3", "other"}}), {keyId, sameAuthority}));
    // The same text in another string type is another name.
    EXPECT_FALSE(isSelfSigned(name, sequence(set(sequence(oid("2.5.4.3"), printableString("self")))), {}));
}

TEST(Certificate, ParsingReplacesWhatTheObjectHeld) {
    CertificateParts full;
    full.issuer = full.subject;
    full.extensions = {
        extension("2.5.29.15", bitString({0x80})),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"))),
        extension("2.5.29.19", sequence(boolean(true))),
        extension("2.5.29.14", octetString({1})),
        extension("2.5.29.17", sequence(implicit(2, "a.test"))),
        extension("2.5.29.30", sequence(context(0, sequence(implicit(2, "a.test"))))),
    };
    Parsed<X509Certificate> parsed(full);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_TRUE(parsed.object.selfSigned);
    CertificateParts plain;
    plain.subject = sequence();
    Bytes encoded = plain.der();
    ASSERT_TRUE(parsed.object.parse(encoded.data(), static_cast<unsigned>(encoded.size())));
    EXPECT_EQ(dumpOf(parsed.object), dumpOf(Parsed<X509Certificate>(plain).object));
    EXPECT_FALSE(parsed.object.parse(nullptr, 0));
    EXPECT_TRUE(parsed.object.tbs.empty());
}

TEST(Certificate, UnknownNameAttributesAreNamed) {
    Parsed<X509Certificate> parsed = parseChanged([](CertificateParts& parts) {
        parts.subject = name({{"0.9.2342.19200300.100.1.25", "x"}, {"2.5.4.3", "y"}});
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "unknown name attr: 0.9.2342.19200300.100.1.25\n");
    EXPECT_EQ(parsed.object.subject.str(), "CN=y");
}

TEST(Certificate, RawNamesAndExtensionsAreViewsOfTheSignedPart) {
    CertificateParts parts;
    parts.extensions = {
        extension("2.5.29.32", sequence(sequence(oid("1.2.3"))), true),
        extension("2.5.29.19", sequence(boolean(true), integer(3))),
        sequence(oid("2.5.29.14"), boolean(false), octetString(octetString({7}))),
    };
    Parsed<X509Certificate> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    X509Certificate const& certificate = parsed.object;
    EXPECT_EQ(certificate.issuerBytes(), asn1::blob(parts.issuer));
    EXPECT_EQ(certificate.subjectBytes(), asn1::blob(parts.subject));
    asn1::blob tbs = certificate.tbs;
    EXPECT_GT(certificate.issuerBytes().start, tbs.start);
    EXPECT_LT(certificate.issuerBytes().finish, tbs.finish);

    std::vector<X509Extension> extensions = certificate.extensions();
    ASSERT_EQ(extensions.size(), 3u);
    EXPECT_EQ(oidStr(extensions[0].oid), "2.5.29.32");
    EXPECT_TRUE(extensions[0].critical);
    EXPECT_EQ(extensions[0].value, asn1::blob(sequence(sequence(oid("1.2.3")))));
    EXPECT_EQ(oidStr(extensions[1].oid), "2.5.29.19");
    EXPECT_FALSE(extensions[1].critical);
    EXPECT_EQ(extensions[1].value, asn1::blob(sequence(boolean(true), integer(3))));
    EXPECT_FALSE(extensions[2].critical);
    EXPECT_GT(extensions[2].value.start, tbs.start);
    EXPECT_LE(extensions[2].value.finish, tbs.finish);
}

TEST(Certificate, RawViewsAreEmptyWithoutASignedPart) {
    X509Certificate certificate;
    EXPECT_TRUE(certificate.issuerBytes().empty());
    EXPECT_TRUE(certificate.subjectBytes().empty());
    EXPECT_TRUE(certificate.extensions().empty());
    certificate.tbs = sequence(integer(1));
    EXPECT_TRUE(certificate.issuerBytes().empty());
    EXPECT_TRUE(certificate.extensions().empty());
}

TEST(Certificate, PublicKeyIsParsedFromTheStoredInfo) {
    Parsed<X509Certificate> parsed = parseChanged([](CertificateParts&) {});
    std::unique_ptr<PublicKey> key = parsed.object.parsePublicKey();
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->keyType(), KeyType::Ed25519);
    EXPECT_EQ(X509Certificate().parsePublicKey(), nullptr);

    // A key that the library does not know does not keep a certificate from being read.
    parsed = parseChanged([](CertificateParts& parts) {
        parts.keyInfo = sequence(algorithm("1.2.3.4"), bitString({1, 2, 3}));
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.object.parsePublicKey(), nullptr);
}

TEST(Certificate, DumpOfAPlainOne) {
    Parsed<X509Certificate> parsed = parseChanged([](CertificateParts& parts) {
        parts.keyInfo = sequence(algorithm("1.2.3.4"), bitString({1, 2, 3}));
        parts.algorithm = algorithm("1.2.3.5");
    });
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(dumpOf(parsed.object), "Certificate:\n"
                                     "  serialNr:  01:ab\n"
                                     "  issuer:    <C=UY, CN=ca>\n"
                                     "  subject:   <CN=leaf>\n"
                                     "  notBefore: Mon Jan  1 00:00:00 2024\n"
                                     "  notAfter:  Wed Jan  1 00:00:00 2025\n"
                                     "  selfSigned:0\n"
                                     "  extensions:\n"
                                     "  signed with: 1.2.3.5\n");
}

TEST(Certificate, DumpOfEveryField) {
    CertificateParts parts;
    parts.issuer = parts.subject;
    Bytes address = {0xC0, 0x00, 0x02, 0x01};
    parts.extensions = {
        extension("2.5.29.15", bitString({0x06})),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"))),
        extension("2.5.29.19", sequence(boolean(true))),
        extension("2.5.29.14", octetString({0x0A, 0xFF})),
        extension("2.5.29.35", sequence(implicit(0, Bytes{0x0A, 0xFF}))),
        extension("2.5.29.17",
                  sequence(implicit(2, "a.test"), implicit(7, address), implicit(1, "me@a.test"))),
        extension("2.5.29.31", sequence(sequence(context(0, context(0, implicit(6, "http://a.test/crl")))),
                                        sequence(context(0, context(0, implicit(6, "http://b.test/crl")))))),
        extension("2.5.29.30", sequence(context(0, sequence(implicit(2, "in.test"))),
                                        context(1, sequence(implicit(2, "out.test"))))),
    };
    Parsed<X509Certificate> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, "");
    std::ostringstream key;
    parsed.object.parsePublicKey()->dump(key);
    EXPECT_NE(key.str(), "");
    EXPECT_EQ(dumpOf(parsed.object), "Certificate:\n"
                                     "  serialNr:  01:ab\n"
                                     "  issuer:    <CN=leaf>\n"
                                     "  subject:   <CN=leaf>\n"
                                     "  notBefore: Mon Jan  1 00:00:00 2024\n"
                                     "  notAfter:  Wed Jan  1 00:00:00 2025\n"
                                     "  selfSigned:1\n"
                                     "  extensions:\n"
                                     "    key usage: key-cert-sign, crl-sign\n"
                                     "    extended key usage: tls-server\n"
                                     "    basic constraints: isCa: TRUE\n"
                                     "    subject key id:  0a:ff\n"
                                     "    authority key id:0a:ff\n"
                                     "    subject alternative name: \n"
                                     "      DNS: a.test\n"
                                     "      IP: 192.0.2.1\n"
                                     "      rfc822: me@a.test\n"
                                     "    CRL distribution points: \n"
                                     "       URI: http://a.test/crl\n"
                                     "       URI: http://b.test/crl\n"
                                     "    name constraints permitted: \n"
                                     "      DNS: in.test\n"
                                     "    name constraints excluded: \n"
                                     "      DNS: out.test\n"
                                     "  signed with: SHA256+RSA\n" +
                                         key.str());
}

TEST(Certificate, DumpDoesNotDependOnTheStreamsFlags) {
    Parsed<X509Certificate> parsed =
        parseChanged([](CertificateParts& parts) { parts.issuer = parts.subject; });
    std::ostringstream out;
    out << std::boolalpha << std::hex;
    parsed.object.dump(out);
    EXPECT_NE(out.str().find("  selfSigned:1\n"), std::string::npos);
}

} // namespace TEST_FILE

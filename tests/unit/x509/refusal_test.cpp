// Why certificates, CRLs and requests are refused, and where.
#include "objects.h"

#include "sealkit/extensions.h"
#include "sealkit/keys.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

constexpr char const* constraintsId = "2.5.29.30";

/// The refusal of `der`, which the stated entry point must refuse as well.
template <typename Object>
Refusal refusalOf(Bytes const& der) {
    Refusal refusal;
    Object object;
    {
        CapturedOutput output;
        EXPECT_FALSE(object.parse(asn1::blob(der), &refusal));
        EXPECT_EQ(output.text(), "");
    }
    CapturedOutput output;
    EXPECT_FALSE(object.parse(der.data(), static_cast<unsigned>(der.size())));
    return refusal;
}

Refusal refusalOf(CertificateParts const& parts) { return refusalOf<X509Certificate>(parts.der()); }

Refusal refusalWith(std::vector<Bytes> const& extensions) {
    CertificateParts parts;
    parts.extensions = extensions;
    return refusalOf(parts);
}

/// Where `part` begins in `whole`, where it stands once.
size_t offsetOf(Bytes const& part, Bytes const& whole) {
    return static_cast<size_t>(std::search(whole.begin(), whole.end(), part.begin(), part.end()) -
                               whole.begin());
}

Bytes subtree(Bytes const& base) { return sequence(base); }

TEST(CertificateRefusal, OfVersionOneTellsBothVersions) {
    CertificateParts parts;
    parts.version.clear();
    Refusal refusal = refusalOf(parts);
    EXPECT_EQ(refusal.id, RefusalId::certificateVersion);
    EXPECT_EQ(refusal.offset, offsetOf(parts.serialNumber, parts.der()));
    EXPECT_EQ(refusal.str().substr(refusal.str().find(": ")),
              ": The certificate is not of version 3. (expected: 3; found: 1)");
    parts.version = context(0, integer(1));
    EXPECT_EQ(refusalOf(parts).facts[1].value, "2");
}

TEST(CertificateRefusal, OfTheFormTellsEachApart) {
    CertificateParts const good;
    Bytes der = good.der();
    EXPECT_EQ(refusalOf<X509Certificate>({}).id, RefusalId::emptyInput);
    EXPECT_EQ(refusalOf<X509Certificate>({0x30, 0x80, 0, 0}).id, RefusalId::indefiniteLength);
    EXPECT_EQ(refusalOf<X509Certificate>(Bytes(der.begin(), der.end() - 1)).id, RefusalId::truncatedElement);

    size_t const end = der.size();
    der.push_back(0x0A);
    der.push_back(0x00);
    Refusal const trailing = refusalOf<X509Certificate>(der);
    EXPECT_EQ(trailing.id, RefusalId::trailingBytes);
    EXPECT_EQ(trailing.offset, end);

    CertificateParts parts;
    parts.beforeExtensions = Bytes{0x81, 0x02, 0x00, 0xFF};
    EXPECT_EQ(refusalOf(parts).id, RefusalId::uniqueIdentifiers);
    parts = {};
    parts.serialNumber = Bytes{0x02, 0x00};
    Refusal const serial = refusalOf(parts);
    EXPECT_EQ(serial.id, RefusalId::emptyInteger);
    EXPECT_EQ(serial.path, "serialNumber");
}

TEST(CertificateRefusal, OfAlgorithmsThatDifferNamesBoth) {
    CertificateParts parts;
    parts.outerAlgorithm = ecdsaWithSha256;
    Refusal const refusal = refusalOf(parts);
    EXPECT_EQ(refusal.id, RefusalId::algorithmMismatch);
    EXPECT_EQ(refusal.offset, offsetOf(parts.algorithm, parts.der()));
    ASSERT_EQ(refusal.facts.size(), 2u);
    EXPECT_EQ(refusal.facts[0].value, "SHA256+ECDSA");
    EXPECT_EQ(refusal.facts[1].value, "SHA256+RSA");
    parts.outerAlgorithm = algorithm("1.2.840.113549.1.1.11");
    EXPECT_EQ(refusalOf(parts).facts[0].value, "the parameters");
}

TEST(CertificateRefusal, OfATimeShowsIt) {
    CertificateParts parts;
    parts.validity = sequence(utcTime("240101000000Z"), utcTime("2501010000Z"));
    Refusal const refusal = refusalOf(parts);
    EXPECT_EQ(refusal.id, RefusalId::malformedTime);
    EXPECT_EQ(refusal.path, "notAfter");
    EXPECT_EQ(refusal.facts[0].value, "2501010000Z");
    EXPECT_EQ(refusal.offset, offsetOf(utcTime("2501010000Z"), parts.der()));
    parts.validity = sequence(utcTime("240101000000Z"));
    EXPECT_EQ(refusalOf(parts).path, "validity, notAfter");
    EXPECT_EQ(refusalOf(parts).id, RefusalId::missingElement);
}

TEST(CertificateRefusal, OfANameTellsTheAttribute) {
    CertificateParts parts;
    parts.subject = sequence(set(sequence(integer(1), utf8String("x"))));
    Refusal const refusal = refusalOf(parts);
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "subject, attribute 1, type");
}

TEST(CertificateRefusal, OfExtensionsNamesTheOne) {
    Bytes const usage = extension("2.5.29.15", bitString({0x80}));
    Bytes const unknown = extension("1.3.6.1.4.1.55555.1", null(), true);
    Refusal refusal = refusalWith({usage, extension("2.5.29.14", octetString({1})), usage});
    EXPECT_EQ(refusal.id, RefusalId::repeatedExtension);
    EXPECT_EQ(refusal.path, "extension 3 (keyUsage)");

    refusal = refusalWith({usage, unknown});
    EXPECT_EQ(refusal.id, RefusalId::unknownCriticalExtension);
    EXPECT_EQ(refusal.path, "extension 2 (1.3.6.1.4.1.55555.1)");

    refusal = refusalWith({extension("2.5.29.36", sequence(), true)});
    EXPECT_EQ(refusal.id, RefusalId::unsupportedCriticalConstraint);
    EXPECT_EQ(refusal.path, "extension 1 (policyConstraints)");

    refusal = refusalWith({extension("2.5.29.15", octetString({1}))});
    EXPECT_EQ(refusal.id, RefusalId::unexpectedElement);
    EXPECT_EQ(refusal.path, "extension 1 (keyUsage)");
    EXPECT_EQ(refusal.facts[0].value, "BIT STRING");
}

TEST(CertificateRefusal, OfConstraintsNamesTheSubtree) {
    Bytes const dns = subtree(implicit(2, "a.test"));
    Refusal refusal = refusalWith({extension(constraintsId, sequence(context(0, dns, dns)), true)});
    EXPECT_EQ(refusal.id, RefusalId::severalSubtrees);
    EXPECT_EQ(refusal.path, "extension 1 (nameConstraints), permitted subtree 2");

    refusal =
        refusalWith({extension(constraintsId, sequence(context(1, subtree(implicit(1, "a@b.test")))), true)});
    EXPECT_EQ(refusal.id, RefusalId::unsupportedCriticalConstraint);
    EXPECT_EQ(refusal.path, "extension 1 (nameConstraints), excluded subtree 1");
    EXPECT_EQ(refusal.facts[1].value, "rfc822");

    refusal = refusalWith({extension(constraintsId, sequence(context(0, dns, sequence(integer(1)))))});
    EXPECT_EQ(refusal.id, RefusalId::malformedGeneralName);
    EXPECT_EQ(refusal.path, "extension 1 (nameConstraints), permitted subtree 2");
    EXPECT_EQ(refusal.facts[0].value, "INTEGER");
}

TEST(CrlRefusal, NamesTheEntry) {
    CrlParts parts;
    Bytes const good = sequence(integer(1), utcTime("240101000000Z"));
    Bytes const bad = sequence(integer(2), utcTime("24010100000Z"));
    parts.revoked = sequence(good, bad);
    Refusal refusal = refusalOf<X509Crl>(parts.der());
    EXPECT_EQ(refusal.id, RefusalId::malformedTime);
    EXPECT_EQ(refusal.path, "entry 2, revocationDate");

    parts.revoked = sequence(
        good, good,
        sequence(integer(3), utcTime("240101000000Z"), sequence(extension("2.5.29.29", null(), true))));
    refusal = refusalOf<X509Crl>(parts.der());
    EXPECT_EQ(refusal.id, RefusalId::unknownCriticalExtension);
    EXPECT_EQ(refusal.path, "entry 3, extension 1 (certificateIssuer)");

    parts.revoked.clear();
    parts.extensions = {extension("2.5.29.27", integer(1), true)};
    refusal = refusalOf<X509Crl>(parts.der());
    EXPECT_EQ(refusal.path, "extension 1 (deltaCrlIndicator)");
    parts.extensions.clear();
    parts.outerAlgorithm = ecdsaWithSha256;
    EXPECT_EQ(refusalOf<X509Crl>(parts.der()).id, RefusalId::algorithmMismatch);
}

TEST(RequestRefusal, NamesTheAttribute) {
    ReqParts parts;
    Bytes const password = sequence(oid("1.2.840.113549.1.9.7"), set(utf8String("x")));
    parts.attributes = {password, password};
    Refusal const refusal = refusalOf<X509Req>(parts.der());
    EXPECT_EQ(refusal.id, RefusalId::repeatedAttribute);
    EXPECT_EQ(refusal.path, "attribute 2 (challengePassword)");
}

TEST(ExtensionValues, GiveEverySubtree) {
    Bytes const value = sequence(
        context(0, subtree(implicit(2, "a.test")), subtree(implicit(7, Bytes{10, 0, 0, 0, 255, 0, 0, 0}))),
        context(1, subtree(implicit(2, "c.test"))));
    NameSubtrees subtrees;
    ASSERT_TRUE(parseNameConstraints(value, &subtrees));
    ASSERT_EQ(subtrees.permitted.size(), 2u);
    EXPECT_EQ(subtrees.permitted[1].data.size(), 8u);
    ASSERT_EQ(subtrees.excluded.size(), 1u);
    EXPECT_EQ(subtrees.excluded[0].data, "c.test");
    Refusal refusal;
    EXPECT_FALSE(parseNameConstraints(sequence(context(0)), &subtrees, &refusal));
    EXPECT_EQ(refusal.id, RefusalId::missingElement);
}

TEST(ExtensionValues, AreReadLikeThis) {
    BasicConstraints constraints;
    ASSERT_TRUE(parseBasicConstraints(sequence(boolean(true), integer(3)), &constraints));
    EXPECT_TRUE(constraints.isCa);
    EXPECT_EQ(constraints.pathLength, Bytes{3});

    ObjectIdentifiers identifiers;
    Bytes const usages = sequence(oid("1.3.6.1.5.5.7.3.1"), oid("1.2.3"));
    ASSERT_TRUE(parseExtendedKeyUsage(usages, &identifiers));
    ASSERT_EQ(identifiers.oids.size(), 2u);
    EXPECT_EQ(oidStr(identifiers.oids[1]), "1.2.3");
    Bytes const policies = sequence(sequence(oid("1.2.4")), sequence(oid("1.2.5"), sequence()));
    ASSERT_TRUE(parseCertificatePolicies(policies, &identifiers));
    ASSERT_EQ(identifiers.oids.size(), 2u);
    EXPECT_EQ(oidStr(identifiers.oids[1]), "1.2.5");

    std::vector<AccessDescription> access;
    ASSERT_TRUE(parseAccessDescriptions(
        sequence(sequence(oid("1.3.6.1.5.5.7.48.1"), implicit(6, "http://a"))), &access));
    ASSERT_EQ(access.size(), 1u);
    EXPECT_EQ(access[0].location.data, "http://a");
    Refusal refusal;
    EXPECT_FALSE(parseAccessDescriptions(sequence(sequence(oid("1.2.3"))), &access, &refusal));
    EXPECT_EQ(refusal.path, "access description 1, accessLocation");

    EXPECT_EQ(keyUsageNames(0x21), (std::vector<std::string>{"digital-signature", "key-cert-sign"}));
    EXPECT_EQ(extKeyUsageNames(0x12), (std::vector<std::string>{"tls-client", "time-stamping"}));
}

TEST(PathLength, IsReadAndWritten) {
    CertificateParts parts;
    parts.extensions = {extension("2.5.29.19", sequence(boolean(true), integer(3)), true)};
    Parsed<X509Certificate> parsed(parts);
    EXPECT_EQ(parsed.object.pathLength(), 3u);
    parsed.object.setPathLength(0);
    EXPECT_EQ(parsed.object.serializeExtensions(),
              sequence(extension("2.5.29.19", sequence(boolean(true), integer(0)), true)));
    parsed.object.setPathLength({});
    EXPECT_EQ(parsed.object.serializeExtensions(),
              sequence(extension("2.5.29.19", sequence(boolean(true)), true)));
    parts.extensions = {
        extension("2.5.29.19", sequence(boolean(true), Bytes{0x02, 0x05, 1, 0, 0, 0, 0}), true)};
    EXPECT_EQ(Parsed<X509Certificate>(parts).object.pathLength(), 0xFFFFFFFFu);
    EXPECT_EQ(Parsed<X509Certificate>(CertificateParts()).object.pathLength(), std::nullopt);
}

TEST(CrlReason, HasTheNumberingOfTheStandard) {
    EXPECT_EQ(crlReasonName(0), "unspecified");
    EXPECT_EQ(crlReasonName(7), "");
    EXPECT_EQ(crlReasonName(8), "removeFromCRL");
    EXPECT_EQ(crlReasonName(10), "aaCompromise");
    EXPECT_EQ(crlReasonName(11), "");
    for (unsigned char code : {0, 1, 2, 3, 4, 5, 6, 8, 9, 10})
        EXPECT_EQ(parseCrlReason(crlReasonName(code)), code);
    EXPECT_EQ(parseCrlReason("KEYCOMPROMISE"), 1);
    EXPECT_EQ(parseCrlReason(""), std::nullopt);
    EXPECT_EQ(parseCrlReason("lost"), std::nullopt);
}

TEST(KeyAlgorithm, IsToldOfKeysThatAreUnknown) {
    EXPECT_EQ(oidStr(getKeyAlgorithm(sequence(algorithm("1.2.3.4"), bitString({0})))), "1.2.3.4");
    EXPECT_TRUE(getKeyAlgorithm(sequence(sequence(integer(1)))).empty());
    EXPECT_TRUE(getKeyAlgorithm({}).empty());
}

} // namespace TEST_FILE

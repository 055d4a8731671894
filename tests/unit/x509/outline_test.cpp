#include "sealkit/asn1_tree.h"
#include "sealkit/certificate_outline.h"
#include "sealkit/key_outline.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"

#include "support/der.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test::der;

Bytes ed25519() { return sequence(oid("1.3.101.112")); }
Bytes nameOf(char const* text) {
    return sequence(element(0x31, sequence(join({oid("2.5.4.3"), element(0x0C, bytes(text))}))));
}
Bytes keyInfo() { return sequence(join({ed25519(), element(0x03, Bytes(33, 0))})); }

struct Parts {
    Bytes version = element(0xA0, element(0x02, {2}));
    Bytes serial = element(0x02, {1});
    Bytes notAfter = element(0x17, bytes("400101000000Z"));
    Bytes rest =
        element(0xA3, sequence(sequence(join({oid("2.5.29.15"), element(0x04, element(0x03, {7, 0x80}))}))));

    Bytes der() const {
        Bytes const validity = sequence(join({element(0x17, bytes("200101000000Z")), notAfter}));
        Bytes const tbs = sequence(join(
            {version, serial, ed25519(), nameOf("issuer"), validity, nameOf("subject"), keyInfo(), rest}));
        return sequence(join({tbs, ed25519(), element(0x03, Bytes(65, 0))}));
    }
};

CertificateOutline outlineOf(Bytes const& der) {
    static Bytes kept;
    kept = der;
    CertificateOutline outline;
    EXPECT_TRUE(parseCertificateOutline(kept, &outline));
    return outline;
}

TEST(CertificateOutline, HasWhatTheCertificateHas) {
    Bytes const der = Parts().der();
    X509Certificate certificate;
    ASSERT_TRUE(certificate.parse(der, nullptr));
    CertificateOutline outline;
    ASSERT_TRUE(parseCertificateOutline(der, &outline));
    EXPECT_EQ(outline.version, 3u);
    EXPECT_EQ(outline.serialNumber, asn1::blob(certificate.serialNumber));
    EXPECT_EQ(outline.issuer, certificate.issuerBytes());
    EXPECT_EQ(outline.subject, certificate.subjectBytes());
    EXPECT_EQ(outline.subjectPublicKeyInfo, asn1::blob(certificate.subjectPublicKeyInfo));
    EXPECT_EQ(outline.signature, asn1::blob(certificate.signature));
    EXPECT_EQ(outline.signatureAlgorithm, outline.innerSignatureAlgorithm);
    ASSERT_EQ(outline.extensions.size(), 1u);
    EXPECT_EQ(outline.extensions[0].value, certificate.extensions()[0].value);
    EXPECT_FALSE(outline.isExtensionListBroken);
}

TEST(CertificateOutline, GoesOnWhereTheCertificateIsRefused) {
    Bytes const usage = sequence(join({oid("2.5.29.15"), element(0x04, element(0x03, {7, 0x80}))}));
    for (auto const& [change, version, extensions] : std::vector<std::tuple<Parts, unsigned, size_t>>{
             {{.version = {}}, 1, 1},
             {{.version = element(0xA0, element(0x02, {9}))}, 10, 1},
             {{.serial = element(0x02, {})}, 3, 1},
             {{.notAfter = element(0x17, bytes("no time"))}, 3, 1},
             {{.notAfter = element(0x30, {})}, 3, 1},
             {{.rest = element(0xA3, sequence(join({usage, usage})))}, 3, 2},
             {{.rest = join({element(0x81, {0, 5}), element(0xA3, sequence(usage))})}, 3, 1},
             {{.version = {}, .rest = join({element(0x81, {0, 5}), element(0xA3, sequence(usage))})}, 1, 1},
             {{.rest = {}}, 3, 0}}) {
        Bytes const der = change.der();
        CertificateOutline outline;
        ASSERT_TRUE(parseCertificateOutline(der, &outline));
        EXPECT_EQ(outline.version, version);
        EXPECT_EQ(outline.extensions.size(), extensions);
        EXPECT_EQ(nameText(outline.subject), "CN=subject");
        EXPECT_EQ(nameText(outline.issuer), "CN=issuer");
        EXPECT_EQ(outline.subjectPublicKeyInfo, asn1::blob(keyInfo()));
    }
    Bytes const broken = sequence(join({element(0x0C, bytes("x")), element(0x04, {})}));
    CertificateOutline const outline =
        outlineOf(Parts{.rest = element(0xA3, sequence(join({usage, broken, usage})))}.der());
    EXPECT_EQ(outline.extensions.size(), 2u);
    EXPECT_TRUE(outline.isExtensionListBroken);
}

TEST(CertificateOutline, ReadsATruncatedCertificateAsFarAsItIsThere) {
    Bytes const der = Parts().der();
    bool hadIssuer = false, hadSubject = false;
    for (size_t size = 0; size < der.size(); size++) {
        Bytes const cut(der.begin(), der.begin() + static_cast<ptrdiff_t>(size));
        CertificateOutline outline;
        bool const isRead = parseCertificateOutline(cut, &outline);
        EXPECT_TRUE(isRead || !hadIssuer) << size;
        hadIssuer = isRead;
        // No field is read twice from the same bytes.
        if (!outline.subject.empty()) {
            EXPECT_GT(outline.subject.start, outline.issuer.start);
            hadSubject = nameText(outline.subject) == "CN=subject";
        }
        EXPECT_TRUE(outline.subject.empty() || outline.subject.finish <= cut.data() + cut.size());
    }
    EXPECT_TRUE(hadIssuer);
    EXPECT_TRUE(hadSubject);
}

TEST(CertificateOutline, NeedsAnIssuer) {
    CertificateOutline outline;
    for (Bytes const& der :
         {Bytes{}, Bytes{0x30, 0}, sequence(element(0x30, {})), element(0x04, {}), Bytes{0x30, 0x80, 0, 0}})
        EXPECT_FALSE(parseCertificateOutline(der, &outline));
}

TEST(CrlOutline, HasEveryEntryWithItsExtensions) {
    Bytes const time = element(0x17, bytes("200101000000Z"));
    Bytes const reason = sequence(join({oid("2.5.29.21"), element(0x04, element(0x0A, {1}))}));
    Bytes const entries = join({sequence(join({element(0x02, {5}), time, sequence(join({reason, reason}))})),
                                sequence(join({element(0x02, {6}), time})), element(0x30, {})});
    Bytes const list =
        element(0xA0, sequence(sequence(join({oid("2.5.29.20"), element(0x04, element(0x02, {9}))}))));
    Bytes const tbs =
        sequence(join({element(0x02, {1}), ed25519(), nameOf("issuer"), time, sequence(entries), list}));
    Bytes const der = sequence(join({tbs, ed25519(), element(0x03, Bytes(65, 0))}));
    CrlOutline outline;
    ASSERT_TRUE(parseCrlOutline(der, &outline));
    EXPECT_EQ(outline.version, 2u);
    EXPECT_EQ(nameText(outline.issuer), "CN=issuer");
    EXPECT_TRUE(outline.nextUpdate.empty());
    ASSERT_EQ(outline.extensions.size(), 1u);
    asn1::blob rest = outline.revoked;
    CrlEntryOutline entry;
    ASSERT_TRUE(nextCrlEntry(&rest, &entry));
    EXPECT_EQ(entry.serialNumber, asn1::blob(Bytes{5}));
    EXPECT_EQ(entry.extensions.size(), 2u);
    ASSERT_TRUE(nextCrlEntry(&rest, &entry));
    EXPECT_TRUE(entry.extensions.empty());
    ASSERT_TRUE(nextCrlEntry(&rest, &entry));
    EXPECT_TRUE(entry.serialNumber.empty());
    EXPECT_FALSE(nextCrlEntry(&rest, &entry));
    EXPECT_TRUE(rest.empty());
}

TEST(RequestOutline, HasEveryAttribute) {
    Bytes const extension = sequence(join({oid("2.5.29.15"), element(0x04, element(0x03, {7, 0x80}))}));
    Bytes const attributes =
        join({sequence(join({oid("1.2.3"), element(0x31, element(0x0C, bytes("x")))})),
              sequence(join({oid("1.2.840.113549.1.9.14"), element(0x31, sequence(extension))}))});
    Bytes const tbs =
        sequence(join({element(0x02, {0}), nameOf("subject"), keyInfo(), element(0xA0, attributes)}));
    Bytes const der = sequence(join({tbs, ed25519(), element(0x03, Bytes(65, 0))}));
    RequestOutline outline;
    ASSERT_TRUE(parseRequestOutline(der, &outline));
    EXPECT_EQ(nameText(outline.subject), "CN=subject");
    ASSERT_EQ(outline.attributes.size(), 2u);
    EXPECT_EQ(asn1::derText(outline.attributes[0].values), "\"x\"");
    ASSERT_EQ(outline.extensions.size(), 1u);
    EXPECT_EQ(oidName(outline.extensions[0].oid), "keyUsage");
}

Bytes infoOf(Bytes const& algorithm, Bytes const& key) {
    return sequence(join({sequence(algorithm), element(0x03, join({Bytes{0}, key}))}));
}

TEST(KeyOutline, TellsSizeAndCurve) {
    KeyOutline key;
    auto const parse = [&](Bytes const& info) {
        static Bytes kept;
        kept = info;
        return parseKeyOutline(kept, &key);
    };
    Bytes modulus(65, 0xFF);
    modulus[0] = 0;
    ASSERT_TRUE(parse(infoOf(join({oid("1.2.840.113549.1.1.1"), element(0x05, {})}),
                             sequence(join({element(0x02, modulus), element(0x02, {3})})))));
    EXPECT_EQ(key.bits, 512u);
    EXPECT_EQ(key.exponent, asn1::blob(Bytes{3}));
    ASSERT_TRUE(parse(infoOf(join({oid("1.2.840.10045.2.1"), oid("1.3.36.3.3.2.8.1.1.7")}), Bytes(65, 4))));
    EXPECT_EQ(key.curve, "brainpoolP256r1");
    EXPECT_EQ(key.bits, 256u);
    ASSERT_TRUE(parse(infoOf(join({oid("1.2.840.10045.2.1"), oid("1.3.132.0.33")}), Bytes(57, 4))));
    EXPECT_EQ(key.curve, "p224");
    EXPECT_EQ(key.bits, 224u);
    Bytes const field = sequence(join({oid("1.2.840.10045.1.1"), element(0x02, modulus)}));
    ASSERT_TRUE(parse(
        infoOf(join({oid("1.2.840.10045.2.1"), sequence(join({element(0x02, {1}), field}))}), Bytes(65, 4))));
    EXPECT_EQ(key.curve, "explicit parameters");
    EXPECT_EQ(key.bits, 512u);
    ASSERT_TRUE(parse(
        infoOf(join({oid("1.2.840.10040.4.1"), sequence(element(0x02, modulus))}), element(0x02, {5}))));
    EXPECT_EQ(key.bits, 512u);
    ASSERT_TRUE(parse(infoOf(oid("1.3.101.113"), Bytes(57, 4))));
    EXPECT_EQ(key.bits, 448u);
    EXPECT_FALSE(parse(element(0x30, {})));
    EXPECT_FALSE(parse({}));
}

TEST(AlgorithmText, ShowsTheParametersOfPss) {
    auto const hash = [](char const* id) { return sequence(oid(id)); };
    Bytes const pss = oid("1.2.840.113549.1.1.10");
    Bytes const mask = sequence(join({oid("1.2.840.113549.1.1.8"), hash("2.16.840.1.101.3.4.2.2")}));
    EXPECT_EQ(algorithmText(sequence(join({pss, element(0x30, {})}))),
              "RSASSA-PSS (SHA1, MGF1 with SHA1, salt of 20 bytes)");
    EXPECT_EQ(
        algorithmText(sequence(join(
            {pss, sequence(join({element(0xA0, hash("2.16.840.1.101.3.4.2.1")), element(0xA1, mask),
                                 element(0xA2, element(0x02, {32})), element(0xA3, element(0x02, {2}))}))}))),
        "RSASSA-PSS (SHA256, MGF1 with SHA384, salt of 32 bytes, trailer field 2)");
    EXPECT_EQ(algorithmText(sequence(pss)), "RSASSA-PSS");
    EXPECT_EQ(algorithmText(sequence(join({pss, element(0x02, {1})}))), "RSASSA-PSS 1");
    EXPECT_EQ(algorithmText(ed25519()), "ED25519");
    EXPECT_EQ(algorithmText({}), "(malformed)");
}

} // namespace TEST_FILE

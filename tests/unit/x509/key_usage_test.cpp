#include "objects.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

std::string dumpKeyUsage(unsigned bits) {
    std::ostringstream out;
    X509Certificate::dumpKeyUsage(bits, out);
    return out.str();
}

X509Certificate withExtension(std::string_view id, Bytes const& value, std::string const& said = "") {
    CertificateParts parts;
    parts.extensions = {extension(id, value)};
    Parsed<X509Certificate> parsed(parts);
    EXPECT_TRUE(parsed.accepted);
    EXPECT_EQ(parsed.said, said);
    return parsed.object;
}

void expectRefused(std::string_view id, Bytes const& value) {
    CertificateParts parts;
    parts.extensions = {extension(id, value)};
    EXPECT_FALSE(Parsed<X509Certificate>(parts).accepted);
}

char const* const keyUsage = "2.5.29.15";
char const* const extKeyUsage = "2.5.29.37";

struct KeyUsageRow {
    unsigned bit;
    unsigned named;
    char const* name;
};

constexpr KeyUsageRow keyUsageRows[] = {
    {0, KeyUsage::digitalSignature, "digital-signature"},
    {1, KeyUsage::contentCommitment, "content-commitment"},
    {2, KeyUsage::keyEncipherment, "key-encipherment"},
    {3, KeyUsage::dataEncipherment, "data-encipherment"},
    {4, KeyUsage::keyAgreement, "key-agreement"},
    {5, KeyUsage::keyCertSign, "key-cert-sign"},
    {6, KeyUsage::crlSign, "crl-sign"},
    {7, KeyUsage::encipherOnly, "encipher-only"},
    {8, KeyUsage::decipherOnly, "decipher-only"},
};

TEST(KeyUsage, EachNamedBitIsReadAndNamed) {
    for (KeyUsageRow const& row : keyUsageRows) {
        Bytes bits(2);
        bits[row.bit / 8] = static_cast<unsigned char>(0x80 >> row.bit % 8);
        unsigned read = withExtension(keyUsage, bitString(bits)).keyUsage;
        EXPECT_EQ(read, 1u << row.bit);
        EXPECT_EQ(read, row.named);
        EXPECT_EQ(dumpKeyUsage(read), std::string("    key usage: ") + row.name + "\n");
    }
}

TEST(KeyUsage, SeveralBitsAreJoinedInTheirOrder) {
    X509Certificate certificate = withExtension(keyUsage, bitString({0x06}, 1));
    EXPECT_EQ(certificate.keyUsage, KeyUsage::keyCertSign | KeyUsage::crlSign);
    EXPECT_EQ(dumpKeyUsage(certificate.keyUsage), "    key usage: key-cert-sign, crl-sign\n");
    EXPECT_EQ(withExtension(keyUsage, bitString({0xFF, 0x80}, 7)).keyUsage, 0x1FFu);
}

TEST(KeyUsage, BitsWithoutANameAreDropped) {
    EXPECT_EQ(withExtension(keyUsage, bitString({0x80, 0x7F, 0xFF})).keyUsage, KeyUsage::digitalSignature);
    EXPECT_EQ(dumpKeyUsage(0xFE00), "");
    EXPECT_EQ(dumpKeyUsage(0xFF800000), "");
}

TEST(KeyUsage, AnEmptyBitStringHasNoBits) {
    EXPECT_EQ(withExtension(keyUsage, {0x03, 0x00}).keyUsage, 0u);
    EXPECT_EQ(withExtension(keyUsage, {0x03, 0x01, 0x00}).keyUsage, 0u);
}

TEST(KeyUsage, TheCountOfUnusedBitsIsNotLookedAt) {
    EXPECT_EQ(withExtension(keyUsage, bitString({0x80}, 200)).keyUsage, KeyUsage::digitalSignature);
}

TEST(KeyUsage, IsRefusedWhenMalformed) {
    expectRefused(keyUsage, {});
    expectRefused(keyUsage, octetString({0x00, 0x80}));
    expectRefused(keyUsage, join({bitString({0x80}), null()}));
    expectRefused(keyUsage, {0x03, 0x03, 0x00, 0x80});
}

struct ExtKeyUsageRow {
    char const* oid;
    unsigned bit;
    char const* name;
};

// RFC 5280, section 4.2.1.12; RFC 3029, section 9, for the last.
constexpr ExtKeyUsageRow extKeyUsageRows[] = {
    {"1.3.6.1.5.5.7.3.1", ExtKeyUsage::tlsServer, "tls-server"},
    {"1.3.6.1.5.5.7.3.2", ExtKeyUsage::tlsClient, "tls-client"},
    {"1.3.6.1.5.5.7.3.3", ExtKeyUsage::codeSigning, "code-signing"},
    {"1.3.6.1.5.5.7.3.4", ExtKeyUsage::emailProtection, "email-protection"},
    {"1.3.6.1.5.5.7.3.8", ExtKeyUsage::timeStamping, "time-stamping"},
    {"1.3.6.1.5.5.7.3.9", ExtKeyUsage::ocspSigning, "ocsp-signing"},
    {"1.3.6.1.5.5.7.3.10", ExtKeyUsage::dvcs, "dvcs"},
};

TEST(ExtKeyUsage, EachUsageIsReadAndNamed) {
    unsigned bit = 1;
    for (ExtKeyUsageRow const& row : extKeyUsageRows) {
        unsigned read = withExtension(extKeyUsage, sequence(oid(row.oid))).extKeyUsage;
        EXPECT_EQ(read, bit);
        EXPECT_EQ(read, row.bit);
        EXPECT_EQ(dumpKeyUsage(read << 16), std::string("    extended key usage: ") + row.name + "\n");
        bit <<= 1;
    }
}

TEST(ExtKeyUsage, SeveralAreJoinedInTheOrderOfTheBits) {
    X509Certificate certificate =
        withExtension(extKeyUsage, sequence(oid("1.3.6.1.5.5.7.3.10"), oid("1.3.6.1.5.5.7.3.1")));
    EXPECT_EQ(certificate.extKeyUsage, ExtKeyUsage::tlsServer | ExtKeyUsage::dvcs);
    EXPECT_EQ(dumpKeyUsage(certificate.extKeyUsage << 16), "    extended key usage: tls-server, dvcs\n");
}

TEST(ExtKeyUsage, AnUnknownOneIsNamedAndIgnored) {
    X509Certificate certificate = withExtension(
        extKeyUsage, sequence(oid("1.3.6.1.5.5.7.3.17"), oid("1.3.6.1.5.5.7.3.2"), oid("2.5.29.37.0")),
        "unknown extended key usage 1.3.6.1.5.5.7.3.17\nunknown extended key usage 2.5.29.37.0\n");
    EXPECT_EQ(certificate.extKeyUsage, ExtKeyUsage::tlsClient);
}

TEST(ExtKeyUsage, IsRefusedWhenMalformed) {
    expectRefused(extKeyUsage, {});
    expectRefused(extKeyUsage, oid("1.3.6.1.5.5.7.3.1"));
    expectRefused(extKeyUsage, sequence(null()));
    expectRefused(extKeyUsage, sequence(oid("1.3.6.1.5.5.7.3.1"), null()));
    expectRefused(extKeyUsage, join({sequence(oid("1.3.6.1.5.5.7.3.1")), null()}));
}

TEST(KeyUsage, BothLinesAppearOnlyWithSomethingToName) {
    EXPECT_EQ(dumpKeyUsage(0), "");
    EXPECT_EQ(dumpKeyUsage(0x00030003), "    key usage: digital-signature, content-commitment\n"
                                        "    extended key usage: tls-server, tls-client\n");
    EXPECT_EQ(
        dumpKeyUsage(0x007F01FF),
        "    key usage: digital-signature, content-commitment, key-encipherment, data-encipherment, "
        "key-agreement, key-cert-sign, crl-sign, encipher-only, decipher-only\n"
        "    extended key usage: tls-server, tls-client, code-signing, email-protection, time-stamping, "
        "ocsp-signing, dvcs\n");
}

} // namespace TEST_FILE

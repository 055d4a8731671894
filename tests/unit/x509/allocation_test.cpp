// What a certificate costs in blocks of memory.

#include "objects.h"
#include "support/allocation_count.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

/// A certificate with three names and six extensions.
Bytes makeCertificate() {
    CertificateParts parts;
    Bytes const keyId(20, 0x4B);
    parts.issuer = name({{"2.5.4.10", "Example Test Organisation"}, {"2.5.4.3", "Example Test Authority"}});
    parts.subject = name({{"2.5.4.10", "Example Test Organisation"}, {"2.5.4.3", "www.leaf.example.test"}});
    parts.extensions = {
        extension("2.5.29.19", sequence(), true),
        extension("2.5.29.15", bitString({0xA0}), true),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"))),
        extension("2.5.29.14", octetString(keyId)),
        extension("2.5.29.35", sequence(implicit(0, keyId))),
        extension("2.5.29.17", sequence(implicit(2, "a.example.test"), implicit(2, "b.example.test"),
                                        implicit(2, "c.example.test"))),
    };
    return parts.der();
}

TEST(Allocations, OfACertificate) {
    Bytes const der = makeCertificate();
    X509Certificate certificate;
    EXPECT_LE(allocationsOf([&] { ASSERT_TRUE(certificate.parse(der, nullptr)); }), 14u);
    EXPECT_EQ(certificate.subjectAltNames.size(), 3u);
    EXPECT_EQ(certificate.extensions().size(), 6u);
    EXPECT_EQ(certificate.serialize(), der);
}

TEST(Allocations, OfACertificateReadAgain) {
    Bytes const der = makeCertificate();
    X509Certificate certificate;
    ASSERT_TRUE(certificate.parse(der, nullptr));
    EXPECT_LE(allocationsOf([&] { ASSERT_TRUE(certificate.parse(der, nullptr)); }), 6u)
        << "what is there already is used again";
}

} // namespace TEST_FILE

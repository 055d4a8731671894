// Making objects from their members, and signing again what was parsed.

#include "objects.h"

#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"
#include "sealkit/signature.h"

#include "support/slow.h"

#include <gtest/gtest.h>

#include <functional>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

Ed25519PrivateKey const& ed25519Key() {
    static Ed25519PrivateKey const key = [] {
        Ed25519PrivateKey made;
        EXPECT_TRUE(made.initPrivate(Bytes(32, 7)));
        return made;
    }();
    return key;
}

EcPrivateKey const& ecKey() {
    static EcPrivateKey const key = [] {
        EcPrivateKey made;
        made.curve = Curve::p256;
        EXPECT_TRUE(made.generatePrivKey(getDefaultRng()));
        return made;
    }();
    return key;
}

RsaPrivateKey const& rsaKey() {
    static std::unique_ptr<PrivateKey> const key =
        readPrivateKeyFromFile(SEALKIT_TEST_DATA "/vectors/keys/private/openssl-pkcs8-rsa.pem", "");
    return *dynamic_cast<RsaPrivateKey const*>(key.get());
}

template <typename Object>
Object reparsed(Object const& object) {
    Parsed<Object> parsed(object.serialize());
    EXPECT_TRUE(parsed.accepted);
    return parsed.object;
}

bool isSignedBy(X509Base const& object, PublicKey const& key, HashID hash) {
    return verifyMessage(key, hash, object.tbs, object.signature);
}

GeneralName generalName(unsigned char type, std::string data) {
    GeneralName name;
    name.type = type;
    name.data = std::move(data);
    return name;
}

constexpr TimePoint january2024 = TimePoint::fromSeconds(1704067200);
constexpr TimePoint january2025 = TimePoint::fromSeconds(1735689600);

X509Certificate newCertificate() {
    X509Certificate certificate;
    certificate.serialNumber = {0x01, 0xAB};
    certificate.issuer.commonName = "ca";
    certificate.issuer.country = "UY";
    certificate.subject.commonName = "leaf";
    certificate.notBefore = january2024;
    certificate.notAfter = january2025;
    certificate.setPublicKey(ed25519Key());
    return certificate;
}

X509Crl newCrl() {
    X509Crl crl;
    crl.issuer.commonName = "ca";
    crl.thisUpdate = january2024;
    crl.nextUpdate = january2025;
    return crl;
}

X509Req newReq() {
    X509Req request;
    request.subject.commonName = "leaf";
    request.setPublicKey(ed25519Key());
    return request;
}

TEST(Sign, EveryFieldOfACertificateComesBack) {
    X509Certificate certificate = newCertificate();
    certificate.keyUsage = KeyUsage::keyCertSign | KeyUsage::crlSign;
    certificate.extKeyUsage = ExtKeyUsage::tlsServer | ExtKeyUsage::dvcs;
    certificate.basicConstraints = 1;
    certificate.subjectKeyId = {1, 2, 3};
    certificate.authorityKeyId = {4, 5};
    certificate.subjectAltNames = {generalName(GeneralName::dnsName, "a.example"),
                                   generalName(GeneralName::ipAddress, std::string("\x7F\0\0\1", 4)),
                                   generalName(GeneralName::rfc822Name, "a@example")};
    certificate.crlDistributionPoints = {generalName(GeneralName::uri, "http://a.example/1.crl"),
                                         generalName(GeneralName::uri, "http://a.example/2.crl")};
    certificate.nameConstraintPermitted = generalName(GeneralName::dnsName, "example");
    certificate.nameConstraintExcluded = generalName(GeneralName::dnsName, "bad.example");
    ASSERT_TRUE(certificate.sign(ed25519Key(), HashID::SHA256));
    EXPECT_TRUE(isSignedBy(certificate, ed25519Key(), HashID::none));

    X509Certificate const back = reparsed(certificate);
    EXPECT_EQ(dumpOf(back), dumpOf(certificate));
    EXPECT_EQ(back.serialNumber, certificate.serialNumber);
    EXPECT_EQ(back.keyUsage, certificate.keyUsage);
    EXPECT_EQ(back.extKeyUsage, certificate.extKeyUsage);
    EXPECT_EQ(back.basicConstraints, 1);
    EXPECT_EQ(back.subjectAltNames.size(), 3u);
    EXPECT_EQ(back.crlDistributionPoints.size(), 2u);
    EXPECT_EQ(back.nameConstraintPermitted.data, "example");
    EXPECT_EQ(back.nameConstraintExcluded.data, "bad.example");
    EXPECT_EQ(back.tbs, certificate.tbs);
    EXPECT_EQ(back.signature, certificate.signature);
}

TEST(Sign, ACertificateIsWrittenLikeThis) {
    X509Certificate certificate = newCertificate();
    certificate.basicConstraints = 1;
    certificate.keyUsage = KeyUsage::keyCertSign | KeyUsage::crlSign;
    certificate.extKeyUsage = ExtKeyUsage::tlsServer;
    certificate.subjectKeyId = {1, 2};
    certificate.authorityKeyId = {3};
    certificate.subjectAltNames = {generalName(GeneralName::dnsName, "a.example")};
    certificate.nameConstraintPermitted = generalName(GeneralName::dnsName, "example");
    certificate.crlDistributionPoints = {generalName(GeneralName::uri, "u:1"),
                                         generalName(GeneralName::uri, "u:2")};
    ASSERT_TRUE(certificate.sign(ed25519Key(), HashID::none));

    auto const point = [](char const* uri) { return sequence(context(0, context(0, implicit(6, uri)))); };
    CertificateParts expected;
    expected.algorithm = algorithm("1.3.101.112");
    expected.issuer = sequence(set(sequence(oid("2.5.4.6"), printableString("UY"))),
                               set(sequence(oid("2.5.4.3"), utf8String("ca"))));
    expected.keyInfo = sequence(algorithm("1.3.101.112"), bitString(ed25519Key().pub));
    expected.extensions = {
        extension("2.5.29.19", sequence(boolean(true)), true),
        extension("2.5.29.15", bitString({0x06}, 1), true),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"))),
        extension("2.5.29.14", octetString({1, 2})),
        extension("2.5.29.35", sequence(implicit(0, Bytes{3}))),
        extension("2.5.29.17", sequence(implicit(2, "a.example"))),
        extension("2.5.29.30", sequence(context(0, sequence(implicit(2, "example")))), true),
        extension("2.5.29.31", sequence(point("u:1"), point("u:2"))),
    };
    expected.signature = bitString(certificate.signature);
    EXPECT_EQ(certificate.serialize(), expected.der());
    EXPECT_EQ(certificate.serializeExtensions(), sequence(join(expected.extensions)));
}

TEST(Sign, AnExtensionThatSaysNothingIsLeftOut) {
    X509Certificate certificate = newCertificate();
    EXPECT_EQ(certificate.serializeExtensions(), Bytes());
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_EQ(reparsed(certificate).extensions().size(), 0u);
}

TEST(Sign, CaFalseIsWrittenAsAnEmptySequence) {
    X509Certificate certificate = newCertificate();
    certificate.basicConstraints = 2;
    EXPECT_EQ(certificate.serializeExtensions(), sequence(extension("2.5.29.19", sequence(), true)));
}

TEST(Sign, AlternativeNamesAreCriticalWhereTheyAreTheOnlyName) {
    X509Certificate certificate = newCertificate();
    certificate.subject = DistinguishedName();
    certificate.subjectAltNames = {generalName(GeneralName::dnsName, "a.example")};
    EXPECT_EQ(certificate.serializeExtensions(),
              sequence(extension("2.5.29.17", sequence(implicit(2, "a.example")), true)));
}

TEST(Sign, KeyUsageEndsWithItsLastNamedBit) {
    struct {
        unsigned bits;
        Bytes expected;
    } const cases[] = {
        {KeyUsage::digitalSignature, bitString({0x80}, 7)},
        {KeyUsage::digitalSignature | KeyUsage::keyEncipherment, bitString({0xA0}, 5)},
        {KeyUsage::encipherOnly, bitString({0x01}, 0)},
        {KeyUsage::decipherOnly, bitString({0x00, 0x80}, 7)},
        {KeyUsage::keyAgreement | KeyUsage::decipherOnly, bitString({0x08, 0x80}, 7)},
    };
    for (auto const& c : cases) {
        X509Certificate certificate = newCertificate();
        certificate.keyUsage = c.bits;
        EXPECT_EQ(certificate.serializeExtensions(), sequence(extension("2.5.29.15", c.expected, true)))
            << c.bits;
    }
}

TEST(Sign, NumbersAreNonNegativeAndMinimal) {
    struct {
        Bytes given, written;
    } const cases[] = {
        {{0x80}, {0x00, 0x80}}, {{0x00, 0x80}, {0x00, 0x80}}, {{0x00, 0x7F}, {0x7F}},
        {{0x00}, {0x00}},       {{0x00, 0x00, 0x00}, {0x00}}, {{0xFF, 0xFF, 0xFF}, {0x00, 0xFF, 0xFF, 0xFF}},
    };
    for (auto const& c : cases) {
        X509Certificate certificate = newCertificate();
        certificate.serialNumber = c.given;
        ASSERT_TRUE(certificate.sign(ed25519Key()));
        EXPECT_EQ(certificate.serialNumber, c.written);
        EXPECT_EQ(reparsed(certificate).serialNumber, c.written);
        X509Crl crl = newCrl();
        crl.crlNumber = c.given;
        crl.revoked = {{c.given, january2024, 255}};
        ASSERT_TRUE(crl.sign(ed25519Key()));
        EXPECT_EQ(reparsed(crl).crlNumber, c.written);
        EXPECT_EQ(crl.revoked[0].serialNumber, c.written);
        EXPECT_EQ(reparsed(crl).revoked[0].serialNumber, c.written);
    }
}

TEST(Sign, EachKeySignsUnderEachHashThatItHasAnAlgorithmFor) {
    struct {
        PrivateKey const& key;
        HashID hash;
        char const* algorithm; ///< Null when there is none.
        Bytes parameters;
    } const cases[] = {
        {rsaKey(), HashID::SHA1, "1.2.840.113549.1.1.5", null()},
        {rsaKey(), HashID::SHA256, "1.2.840.113549.1.1.11", null()},
        {rsaKey(), HashID::SHA384, "1.2.840.113549.1.1.12", null()},
        {rsaKey(), HashID::SHA512, "1.2.840.113549.1.1.13", null()},
        {rsaKey(), HashID::MD5, nullptr, {}},
        {rsaKey(), HashID::MD4, nullptr, {}},
        {rsaKey(), HashID::MD5SHA1, nullptr, {}},
        {rsaKey(), static_cast<HashID>(99), nullptr, {}},
        {ecKey(), HashID::SHA1, "1.2.840.10045.4.1", {}},
        {ecKey(), HashID::SHA256, "1.2.840.10045.4.3.2", {}},
        {ecKey(), HashID::SHA384, "1.2.840.10045.4.3.3", {}},
        {ecKey(), HashID::SHA512, "1.2.840.10045.4.3.4", {}},
        {ecKey(), HashID::MD5, nullptr, {}},
        {ed25519Key(), HashID::none, "1.3.101.112", {}},
        {ed25519Key(), HashID::SHA512, "1.3.101.112", {}},
    };
    for (auto const& c : cases) {
        X509Certificate certificate = newCertificate();
        X509Crl crl = newCrl();
        X509Req request = newReq();
        for (X509Base* object : {static_cast<X509Base*>(&certificate), static_cast<X509Base*>(&crl),
                                 static_cast<X509Base*>(&request)}) {
            ASSERT_EQ(object->sign(c.key, c.hash), c.algorithm != nullptr) << static_cast<unsigned>(c.hash);
            if (c.algorithm == nullptr)
                continue;
            Bytes const expected = algorithm(c.algorithm, c.parameters);
            EXPECT_EQ(object->serialize(), sequence(object->tbs, expected, bitString(object->signature)));
            EXPECT_TRUE(isSignedBy(*object, c.key, c.hash));
        }
        if (c.algorithm != nullptr) {
            reparsed(certificate); // Which compares the inner with the outer algorithm.
            reparsed(crl);
            reparsed(request);
        }
    }
}

TEST(Sign, TheHashThatIsNotNamedIsTheBasesOwn) {
    EXPECT_EQ(X509Base::digestAlgo, HashID::SHA256);
    X509Certificate certificate = newCertificate();
    ASSERT_TRUE(certificate.sign(ecKey()));
    EXPECT_EQ(oidStr(certificate.signatureAlgorithm.oid), "1.2.840.10045.4.3.2");
    X509Base::digestAlgo = HashID::SHA384;
    ASSERT_TRUE(certificate.sign(ecKey()));
    EXPECT_EQ(oidStr(certificate.signatureAlgorithm.oid), "1.2.840.10045.4.3.3");
    ASSERT_TRUE(certificate.sign(ecKey(), HashID::none));
    EXPECT_EQ(oidStr(certificate.signatureAlgorithm.oid), "1.2.840.10045.4.3.3");
    ASSERT_TRUE(certificate.sign(ecKey(), 7u));
    EXPECT_EQ(oidStr(certificate.signatureAlgorithm.oid), "1.2.840.10045.4.3.4");
    X509Base::digestAlgo = HashID::SHA256;
}

TEST(Sign, AFailureLeavesTheObjectAsItWas) {
    X25519PrivateKey agreementKey;
    ASSERT_TRUE(agreementKey.initPrivate(Bytes(32, 9)));
    RsaPrivateKey brokenKey = rsaKey();
    brokenKey.d = brokenKey.p = BigNum();
    X509Certificate certificate = newCertificate();
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    Bytes const before = certificate.serialize();
    certificate.subject.commonName = "changed";
    EXPECT_FALSE(certificate.sign(agreementKey));
    EXPECT_FALSE(certificate.sign(brokenKey));
    EXPECT_FALSE(certificate.sign(rsaKey(), HashID::MD5));
    EXPECT_EQ(certificate.serialize(), before);
}

TEST(Sign, WhatCannotBeWrittenIsRefused) {
    struct {
        char const* what;
        std::function<void(X509Certificate&)> change;
    } const changes[] = {
        {"no serial number", [](X509Certificate& c) { c.serialNumber.clear(); }},
        {"no key", [](X509Certificate& c) { c.subjectPublicKeyInfo.clear(); }},
        {"two keys",
         [](X509Certificate& c) {
             c.subjectPublicKeyInfo = join({makeKeyInfo(), makeKeyInfo()});
         }},
        {"half a key", [](X509Certificate& c) { c.subjectPublicKeyInfo.pop_back(); }},
        {"before 1950", [](X509Certificate& c) { c.notBefore = TimePoint::fromSeconds(-631152001); }},
        {"after 2049", [](X509Certificate& c) { c.notAfter = TimePoint::fromSeconds(2524608000); }},
        {"no end", [](X509Certificate& c) { c.notAfter.seconds = TimePoint::noExpiration; }},
        {"key usage without a name", [](X509Certificate& c) { c.keyUsage = 1u << 9; }},
        {"extended key usage without a name", [](X509Certificate& c) { c.extKeyUsage = 1u << 7; }},
        {"an empty name", [](X509Certificate& c) { c.subjectAltNames.resize(1); }},
        {"a name of type 9", [](X509Certificate& c) { c.subjectAltNames = {generalName(9, "x")}; }},
        {"a primitive directory name",
         [](X509Certificate& c) { c.subjectAltNames = {generalName(GeneralName::directoryName, "x")}; }},
        {"an address of 5 octets",
         [](X509Certificate& c) { c.subjectAltNames = {generalName(GeneralName::ipAddress, "12345")}; }},
        {"a constructed host name",
         [](X509Certificate& c) { c.subjectAltNames = {generalName(GeneralName::dnsName | 0x20, "x")}; }},
        {"an empty distribution point", [](X509Certificate& c) { c.crlDistributionPoints.resize(1); }},
        {"a constraint of type 9",
         [](X509Certificate& c) { c.nameConstraintExcluded = generalName(9, "x"); }},
    };
    for (auto const& c : changes) {
        X509Certificate certificate = newCertificate();
        c.change(certificate);
        EXPECT_FALSE(certificate.sign(ed25519Key())) << c.what;
    }
    X509Certificate certificate = newCertificate();
    certificate.notBefore = TimePoint::fromSeconds(-631152000);
    certificate.notAfter = TimePoint::fromSeconds(2524607999);
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_EQ(reparsed(certificate).notBefore.seconds, -631152000);
    EXPECT_EQ(reparsed(certificate).notAfter.seconds, 2524607999);
}

TEST(Sign, SelfSignedFollowsWhatWasWritten) {
    X509Certificate certificate = newCertificate();
    certificate.issuer = certificate.subject;
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_TRUE(certificate.selfSigned);
    certificate.authorityKeyId = {1};
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_FALSE(certificate.selfSigned);
    certificate.subjectKeyId = {1};
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_TRUE(certificate.selfSigned);
    certificate.subject.commonName = "other";
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_FALSE(certificate.selfSigned);
    EXPECT_FALSE(reparsed(certificate).selfSigned);
}

/// In no order and of no types that the library writes, and with a repeated attribute.
Bytes foreignName() {
    return sequence(
        set(sequence(oid("2.5.4.3"), element(0x14, bytes("first")))),
        set(sequence(oid("0.9.2342.19200300.100.1.25"), element(0x16, bytes("example")))),
        set(sequence(oid("2.5.4.3"), printableString("second"))),
        set(sequence(oid("2.5.4.6"), utf8String("uy")), sequence(oid("2.5.4.10"), utf8String("o"))));
}

TEST(Sign, ANameIsTakenByteForByte) {
    X509Certificate certificate = newCertificate();
    ASSERT_TRUE(certificate.setIssuer(foreignName()));
    ASSERT_TRUE(certificate.setSubject(foreignName()));
    EXPECT_EQ(certificate.issuer.commonName, "second");
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_TRUE(certificate.issuerBytes() == asn1::blob(foreignName()));
    EXPECT_TRUE(certificate.subjectBytes() == asn1::blob(foreignName()));
    EXPECT_TRUE(certificate.selfSigned);
    // A change counts.
    certificate.subject.commonName = "third";
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_TRUE(certificate.issuerBytes() == asn1::blob(foreignName()));
    EXPECT_TRUE(certificate.subjectBytes() == asn1::blob(certificate.subject.serialize()));
    // So does one of an attribute that has no member.
    certificate.issuer.other.clear();
    ASSERT_TRUE(certificate.sign(ed25519Key()));
    EXPECT_TRUE(certificate.issuerBytes() == asn1::blob(certificate.issuer.serialize()));

    X509Crl crl = newCrl();
    ASSERT_TRUE(crl.setIssuer(foreignName()));
    ASSERT_TRUE(crl.sign(ed25519Key()));
    EXPECT_TRUE(crl.issuerBytes() == asn1::blob(foreignName()));
    X509Req request = newReq();
    ASSERT_TRUE(request.setSubject(foreignName()));
    ASSERT_TRUE(request.sign(ed25519Key()));
    EXPECT_TRUE(request.subjectBytes() == asn1::blob(foreignName()));
}

TEST(Sign, WhatIsNoNameIsNotTaken) {
    X509Certificate certificate = newCertificate();
    for (Bytes const& bad :
         {Bytes(), null(), join({foreignName(), null()}), sequence(set(null())), set(sequence())}) {
        EXPECT_FALSE(certificate.setIssuer(bad));
        EXPECT_FALSE(certificate.setSubject(bad));
    }
    EXPECT_EQ(certificate.issuer.str(), "C=UY, CN=ca");
    EXPECT_EQ(certificate.subject.str(), "CN=leaf");
}

TEST(Sign, NothingThatWasParsedIsLost) {
    CertificateParts parts;
    parts.serialNumber = integer(Bytes{0xFF}); // Negative.
    parts.issuer = foreignName();
    parts.subject = foreignName();
    parts.validity = sequence(generalizedTime("20240101000000.5Z"), generalizedTime("99991231235959Z"));
    parts.extensions = {
        extension("1.2.3.4", octetString({1, 2, 3})),
        extension("2.5.29.32", sequence(sequence(oid("1.2.3"))), true),
        extension("2.5.29.19", sequence(boolean(true), integer(3)), true),
        extension("2.5.29.15", bitString({0x06, 0x00, 0x00}, 0)),
        extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"), oid("1.2.3.5")), true),
        extension("2.5.29.35", sequence(implicit(0, Bytes{3}), context(1, context(4, foreignName())),
                                        implicit(2, Bytes{5}))),
        extension("2.5.29.17",
                  sequence(implicit(2, "a.example"), context(0, oid("1.2.3"), context(0, null())))),
        extension("2.5.29.30", sequence(context(0, sequence(implicit(2, "a")), sequence(implicit(2, "b"))))),
        extension("2.5.29.31", sequence(sequence(context(0, context(0, implicit(6, "u:1"))),
                                                 implicit(1, Bytes{7, 0x80})))),
    };
    Parsed<X509Certificate> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    CapturedOutput capture;
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(capture.text(), "") << "what parsing said is not said again";

    // The same elements, those with a member first.
    CertificateParts expected = parts;
    auto const& e = parts.extensions;
    expected.extensions = {e[2], e[3], e[4], e[5], e[6], e[7], e[8], e[0], e[1]};
    expected.algorithm = algorithm("1.3.101.112");
    EXPECT_EQ(parsed.object.tbs, expected.tbs());
    // And again.
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(parsed.object.tbs, expected.tbs());
}

TEST(Sign, AChangedMemberIsWrittenAndTheOthersStay) {
    CertificateParts parts;
    parts.validity = sequence(utcTime("240101000000Z"), generalizedTime("20600101000000Z"));
    Bytes const unknown = extension("1.2.3.4", octetString({1, 2, 3}));
    Bytes const usage = extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1"), oid("1.2.3.5")));
    parts.extensions = {unknown, extension("2.5.29.14", octetString({1})), usage};
    Parsed<X509Certificate> parsed(parts);
    parsed.object.subjectKeyId = {2};
    parsed.object.basicConstraints = 1;
    parsed.object.notBefore = january2025;
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(parsed.object.serializeExtensions(),
              sequence(extension("2.5.29.19", sequence(boolean(true)), true), usage,
                       extension("2.5.29.14", octetString({2})), unknown));
    EXPECT_EQ(reparsed(parsed.object).notBefore, january2025);
    EXPECT_EQ(reparsed(parsed.object).notAfter.toString(), "Thu Jan  1 00:00:00 2060");
    // Emptied is gone.
    parsed.object.extKeyUsage = 0;
    parsed.object.subjectKeyId.clear();
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(parsed.object.serializeExtensions(),
              sequence(extension("2.5.29.19", sequence(boolean(true)), true), unknown));
}

TEST(Sign, APathLengthGoesWithTheFlag) {
    CertificateParts parts;
    parts.extensions = {extension("2.5.29.19", sequence(boolean(true), integer(3)), true)};
    Parsed<X509Certificate> parsed(parts);
    EXPECT_EQ(parsed.object.serializeExtensions(), sequence(parts.extensions[0]));
    parsed.object.basicConstraints = 2;
    EXPECT_EQ(parsed.object.serializeExtensions(), sequence(extension("2.5.29.19", sequence(), true)));
}

TEST(Sign, EveryFieldOfACrlComesBack) {
    X509Crl crl = newCrl();
    crl.authorityKeyId = {1, 2};
    crl.crlNumber = {0x10};
    for (unsigned char reason : {0, 1, 6, 9, 10, 255})
        crl.revoked.push_back({{reason, 1}, january2024, reason});
    ASSERT_TRUE(crl.sign(ed25519Key()));

    auto const entry = [](Bytes const& serial, Bytes const& extensions) {
        return sequence(integer(serial), utcTime("240101000000Z"), extensions);
    };
    auto const reason = [](unsigned char code) {
        return sequence(extension("2.5.29.21", enumerated({code})));
    };
    CrlParts expected;
    expected.algorithm = algorithm("1.3.101.112");
    expected.issuer = name({{"2.5.4.3", "ca"}});
    expected.nextUpdate = utcTime("250101000000Z");
    expected.revoked =
        sequence(entry({1}, reason(0)), entry({1, 1}, reason(1)), entry({6, 1}, reason(6)),
                 entry({9, 1}, reason(9)), entry({10, 1}, reason(10)), entry({0, 255, 1}, Bytes()));
    expected.extensions = {extension("2.5.29.35", sequence(implicit(0, Bytes{1, 2}))),
                           extension("2.5.29.20", integer(16))};
    expected.signature = bitString(crl.signature);
    EXPECT_EQ(crl.serialize(), expected.der());
    EXPECT_EQ(dumpOf(reparsed(crl)), dumpOf(crl));
    EXPECT_EQ(crl.serializeRevokedCerts(), expected.revoked);
}

TEST(Sign, AnyReasonCodeIsWritten) {
    for (unsigned code = 0; code < 255; code++) {
        X509Crl crl = newCrl();
        crl.revoked = {{{1}, january2024, static_cast<unsigned char>(code)}};
        Bytes const reason = extension("2.5.29.21", enumerated({static_cast<unsigned char>(code)}));
        EXPECT_EQ(crl.serializeRevokedCerts(),
                  sequence(sequence(integer(1), utcTime("240101000000Z"), sequence(reason))));
    }
}

TEST(Sign, ACrlMayBeEmptyAndHaveNoEnd) {
    X509Crl crl = newCrl();
    crl.nextUpdate = TimePoint();
    EXPECT_EQ(crl.serializeRevokedCerts(), Bytes());
    ASSERT_TRUE(crl.sign(ed25519Key()));
    EXPECT_EQ(crl.tbs, sequence(integer(1), algorithm("1.3.101.112"), name({{"2.5.4.3", "ca"}}),
                                utcTime("240101000000Z")));
    X509Crl const back = reparsed(crl);
    EXPECT_TRUE(back.revoked.empty());
    EXPECT_EQ(back.nextUpdate.seconds, 0);
}

TEST(Sign, ACrlThatCannotBeWrittenIsRefused) {
    X509Crl crl = newCrl();
    crl.thisUpdate = TimePoint::fromSeconds(2524608000);
    EXPECT_FALSE(crl.sign(ed25519Key()));
    crl = newCrl();
    crl.nextUpdate = TimePoint::fromSeconds(-631152001);
    EXPECT_FALSE(crl.sign(ed25519Key()));
    crl = newCrl();
    crl.revoked = {{{}, january2024, 255}};
    EXPECT_FALSE(crl.sign(ed25519Key()));
    EXPECT_EQ(crl.serializeRevokedCerts(), Bytes());
    crl.revoked = {{{1}, TimePoint::fromSeconds(2524608000), 255}};
    EXPECT_FALSE(crl.sign(ed25519Key()));
}

TEST(Sign, NothingOfAParsedCrlIsLost) {
    CrlParts parts;
    parts.version = {}; // Becomes version 2.
    parts.issuer = foreignName();
    parts.thisUpdate = generalizedTime("20240101000000Z");
    parts.nextUpdate = generalizedTime("20600101000000Z");
    Bytes const invalidityDate = extension("2.5.29.24", generalizedTime("20230101000000Z"));
    Bytes const withDate = sequence(integer(Bytes{0x80}), generalizedTime("20240101000000Z"),
                                    sequence(invalidityDate, extension("2.5.29.21", enumerated({1}))));
    Bytes const plain = sequence(integer(5), utcTime("240101000000Z"));
    parts.revoked = sequence(withDate, plain);
    parts.extensions = {extension("2.5.29.28", sequence(implicit(1, Bytes{0xFF})), true),
                        extension("1.2.3", null()), extension("2.5.29.20", integer({0x00, 0x01}))};
    Parsed<X509Crl> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    parsed.object.revoked.insert(parsed.object.revoked.begin(), {{0x07}, january2025, 4});
    parsed.object.revoked[1].reasonCode = 2;
    CapturedOutput capture;
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(capture.text(), "");

    CrlParts expected = parts;
    expected.version = integer(1);
    expected.algorithm = algorithm("1.3.101.112");
    expected.revoked = sequence(
        sequence(integer(7), utcTime("250101000000Z"), sequence(extension("2.5.29.21", enumerated({4})))),
        sequence(integer(Bytes{0x80}), generalizedTime("20240101000000Z"),
                 sequence(extension("2.5.29.21", enumerated({2})), invalidityDate)),
        plain);
    auto const& e = parts.extensions;
    expected.extensions = {e[2], e[0], e[1]};
    EXPECT_EQ(parsed.object.tbs, expected.tbs());
}

/// A serial number that stands in a list several times, as it does in those of several issuers.
TEST(Sign, EntriesWithTheSameNumberKeepTheirOwnExtensions) {
    CrlParts parts;
    auto const entry = [](unsigned char serial, unsigned char remark) {
        return sequence(integer(serial), utcTime("240101000000Z"),
                        sequence(extension("1.2.3", octetString({remark}))));
    };
    parts.revoked = sequence(entry(5, 1), entry(4, 2), entry(5, 3), entry(5, 4));
    Parsed<X509Crl> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    parsed.object.revoked.push_back({{5}, january2024, 255});
    Bytes const expected = sequence(entry(5, 1), entry(4, 2), entry(5, 3), entry(5, 4),
                                    sequence(integer(5), utcTime("240101000000Z")));
    EXPECT_EQ(parsed.object.serializeRevokedCerts(), expected);
    EXPECT_EQ(parsed.object.serializeRevokedCerts(), expected);
}

/// As long as linear work takes, and not what comparing the entries in pairs would.
TEST(Sign, AHugeListIsSignedAgain) {
    unsigned const count = test::lessWhenSlow(20000u, 4000u);
    for (bool const isOneNumber : {false, true}) {
        X509Crl crl = newCrl();
        for (unsigned i = 0; i < count; i++) {
            unsigned const number = isOneNumber ? 7 : i * 2654435761u;
            crl.revoked.push_back({bn64(number).bin(5), january2024, static_cast<unsigned char>(i % 7)});
        }
        ASSERT_TRUE(crl.sign(ed25519Key()));
        X509Crl again = reparsed(crl);
        ASSERT_EQ(again.revoked.size(), count);
        again.revoked.push_back({{1}, january2024, 255});
        ASSERT_TRUE(again.sign(ed25519Key()));
        EXPECT_EQ(again.tbs.size() > crl.tbs.size(), true);
        again.revoked.pop_back();
        ASSERT_TRUE(again.sign(ed25519Key()));
        EXPECT_EQ(again.tbs, crl.tbs);
    }
}

TEST(Sign, EveryFieldOfARequestComesBack) {
    X509Req request = newReq();
    request.challengePassword = "open sesame";
    request.keyUsage = KeyUsage::digitalSignature;
    request.extKeyUsage = ExtKeyUsage::tlsClient;
    request.subjectAltNames = {generalName(GeneralName::dnsName, "a.example")};
    ASSERT_TRUE(request.sign(ed25519Key()));

    Bytes const extensions = sequence(extension("2.5.29.15", bitString({0x80}, 7), true),
                                      extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.2"))),
                                      extension("2.5.29.17", sequence(implicit(2, "a.example"))));
    ReqParts expected;
    expected.keyInfo = sequence(algorithm("1.3.101.112"), bitString(ed25519Key().pub));
    expected.algorithm = algorithm("1.3.101.112");
    expected.attributes = {sequence(oid("1.2.840.113549.1.9.7"), set(printableString("open sesame"))),
                           sequence(oid("1.2.840.113549.1.9.14"), set(extensions))};
    expected.signature = bitString(request.signature);
    EXPECT_EQ(request.serialize(), expected.der());
    EXPECT_EQ(request.serializeExtensions(), extensions);
    EXPECT_EQ(dumpOf(reparsed(request)), dumpOf(request));
    EXPECT_TRUE(isSignedBy(request, *request.parsePublicKey(), HashID::none));
}

TEST(Sign, ARequestWithoutAttributesHasAnEmptySet) {
    X509Req request = newReq();
    ASSERT_TRUE(request.sign(ed25519Key()));
    EXPECT_EQ(request.tbs,
              sequence(integer(0), name({{"2.5.4.3", "leaf"}}),
                       sequence(algorithm("1.3.101.112"), bitString(ed25519Key().pub)), context(0)));
}

TEST(Sign, AChallengePasswordHasTheFirstStringTypeThatFits) {
    struct {
        std::string password;
        unsigned char type;
    } const cases[] = {
        {"Simple 1?", 0x13},          {"a*b", 0x0C},
        {"\xC3\xA9t\xC3\xA9", 0x0C},  {"\xF0\x9F\x94\x91", 0x0C},
        {"\xE9t\xE9", 0x14},          {"\xC3", 0x14},
        {"\xC0\x80", 0x14},           {"\xE0\x80\x80", 0x14},
        {"\xF0\x80\x80\x80", 0x14},   {"\xED\xA0\x80", 0x14},
        {"\xF4\x90\x80\x80", 0x14},   {"\xFF", 0x14},
        {"\xE2\x82", 0x14},           {"\xE2\x28\xA1", 0x14},
        {std::string("\0", 1), 0x0C},
    };
    for (auto const& c : cases) {
        X509Req request = newReq();
        request.challengePassword = c.password;
        ASSERT_TRUE(request.sign(ed25519Key()));
        Bytes const attribute =
            sequence(oid("1.2.840.113549.1.9.7"), set(element(c.type, bytes(c.password))));
        EXPECT_EQ(request.tbs, sequence(integer(0), name({{"2.5.4.3", "leaf"}}),
                                        sequence(algorithm("1.3.101.112"), bitString(ed25519Key().pub)),
                                        context(0, attribute)));
        EXPECT_EQ(reparsed(request).challengePassword, c.password);
    }
}

TEST(Sign, NothingOfAParsedRequestIsLost) {
    ReqParts parts;
    parts.subject = foreignName();
    Bytes const unknown = sequence(oid("1.2.3.4"), set(null(), integer(1)));
    Bytes const password = sequence(oid("1.2.840.113549.1.9.7"), set(element(0x16, bytes("word"))));
    Bytes const policies = extension("2.5.29.32", sequence(sequence(oid("1.2.3"))), true);
    Bytes const request = sequence(oid("1.2.840.113549.1.9.14"),
                                   set(sequence(policies, extension("2.5.29.15", bitString({0xA0, 0}, 0)))));
    parts.attributes = {request, password, unknown};
    Parsed<X509Req> parsed(parts);
    ASSERT_TRUE(parsed.accepted);
    CapturedOutput capture;
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    EXPECT_EQ(capture.text(), "");
    ReqParts expected = parts;
    expected.attributes = {
        unknown, password,
        sequence(oid("1.2.840.113549.1.9.14"),
                 set(sequence(extension("2.5.29.15", bitString({0xA0, 0}, 0)), policies)))};
    EXPECT_EQ(parsed.object.tbs, expected.tbs());
    parsed.object.challengePassword.clear();
    ASSERT_TRUE(parsed.object.sign(ed25519Key()));
    expected.attributes.erase(expected.attributes.begin() + 1);
    EXPECT_EQ(parsed.object.tbs, expected.tbs());
}

TEST(Sign, ARequestThatCannotBeWrittenIsRefused) {
    X509Req request = newReq();
    request.keyUsage = 1u << 9;
    EXPECT_FALSE(request.sign(ed25519Key()));
    request = newReq();
    request.extKeyUsage = 1u << 7;
    EXPECT_FALSE(request.sign(ed25519Key()));
    request = newReq();
    request.subjectAltNames.resize(1);
    EXPECT_FALSE(request.sign(ed25519Key()));
    request = newReq();
    request.subjectPublicKeyInfo.clear();
    EXPECT_FALSE(request.sign(ed25519Key()));
    request.subjectPublicKeyInfo = null();
    EXPECT_FALSE(request.sign(ed25519Key()));
}

TEST(Sign, AKeyIdIsTheDigestOfTheKeysOwnDer) {
    X509Certificate const certificate = newCertificate();
    EXPECT_EQ(calcKeyId(certificate.subjectPublicKeyInfo), calcDigest(HashID::SHA1, ed25519Key().pub));
    EXPECT_EQ(calcKeyId(Bytes()), Bytes());
    EXPECT_EQ(calcKeyId(sequence(null(), bitString({1}))), Bytes());
    EXPECT_EQ(calcKeyId(sequence(algorithm("1.2.3"), element(0x03, {}))), Bytes());
    EXPECT_EQ(calcKeyId(sequence(algorithm("1.2.3"), bitString({1}), null())), Bytes());
}

/// The virtual functions stand in the order of the interface: the destructor's two entries, `updateTbs`.
TEST(Sign, UpdateTbsStandsBehindTheDestructor) {
    struct Probe : X509Base {
        bool updateTbs(PrivateKey const&, HashID) override { return called = true; }
        bool called = false;
    } probe;
    using UpdateTbs = bool (*)(X509Base*, PrivateKey const&, HashID);
    auto const* const table = *reinterpret_cast<UpdateTbs const* const*>(static_cast<X509Base*>(&probe));
    EXPECT_TRUE(table[2](&probe, ed25519Key(), HashID::none));
    EXPECT_TRUE(probe.called);
}

} // namespace TEST_FILE

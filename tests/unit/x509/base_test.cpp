#include "objects.h"

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <utility>

namespace TEST_FILE {

using namespace test;
using namespace test::der;
using testing::MatchesRegex;

/// The base on its own: it is never made alone outside the library.
X509Certificate unpacked(Bytes const& object) {
    X509Certificate certificate;
    EXPECT_TRUE(certificate.unpackObj(object));
    return certificate;
}

TEST(X509Base, UnpackingSplitsIntoTbsAlgorithmAndSignature) {
    Bytes tbs = sequence(integer(7));
    X509Certificate object = unpacked(sequence(tbs, sha256WithRsa, bitString({0x12, 0x34})));
    EXPECT_EQ(object.tbs, tbs);
    EXPECT_EQ(oidStr(object.signatureAlgorithm.oid), "1.2.840.113549.1.1.11");
    EXPECT_EQ(object.signatureAlgorithm.params, null());
    EXPECT_EQ(object.signature, (Bytes{0x12, 0x34}));
}

TEST(X509Base, UnpackingRefusesWhatIsNotExactlyThreeElements) {
    Bytes tbs = sequence(integer(7));
    Bytes signature = bitString({1});
    Bytes const refused[] = {
        {},
        null(),
        sequence(),
        sequence(tbs),
        sequence(tbs, sha256WithRsa),
        sequence(tbs, sha256WithRsa, signature, null()),
        join({sequence(tbs, sha256WithRsa, signature), null()}),
        join({sequence(tbs, sha256WithRsa, signature), {0x00}}),
        element(0x31, join({tbs, sha256WithRsa, signature})),
        sequence(set(integer(7)), sha256WithRsa, signature),
        sequence(tbs, set(), signature),
        sequence(tbs, sequence(), signature),
        sequence(tbs, sequence(null()), signature),
        sequence(tbs, sequence(oid("1.2.3"), null(), null()), signature),
        sequence(tbs, sha256WithRsa, octetString({0, 1})),
        sequence(tbs, sha256WithRsa, element(0x23, signature)),
        element(0x30, join({tbs, sha256WithRsa, {0x03, 0x05, 0x00, 0x01}})),
    };
    for (Bytes const& object : refused) {
        X509Certificate untouched = unpacked(sequence(sequence(), ecdsaWithSha256, bitString({9})));
        EXPECT_FALSE(untouched.unpackObj(object));
        EXPECT_EQ(untouched.tbs, sequence());
        EXPECT_EQ(untouched.signature, Bytes{9});
        EXPECT_EQ(oidStr(untouched.signatureAlgorithm.oid), "1.2.840.10045.4.3.2");
    }
}

TEST(X509Base, AnEmptyBitStringIsAnEmptySignature) {
    for (Bytes const& empty : {Bytes{0x03, 0x00}, Bytes{0x03, 0x01, 0x00}}) {
        Bytes object = sequence(sequence(), sha256WithRsa, empty);
        EXPECT_TRUE(unpacked(object).signature.empty());
        EXPECT_EQ(unpacked(object).serialize(), object);
    }
}

TEST(X509Base, WhatWasUnpackedSerialisesToTheSameBytes) {
    Bytes tbs = sequence(integer(7));
    Bytes longTbs = sequence(octetString(Bytes(300)));
    Bytes const objects[] = {
        sequence(tbs, sha256WithRsa, bitString({1, 2, 3})),
        sequence(longTbs, sha256WithRsa, bitString({1, 2, 3})),
        // Absent parameters: nothing may be put in their place.
        sequence(tbs, ecdsaWithSha256, bitString({1, 2, 3})),
        // Unused bits.
        sequence(tbs, ecdsaWithSha256, bitString({1, 2, 0xF0}, 4)),
        sequence(tbs, ecdsaWithSha256, bitString({1, 2, 3}, 99)),
        // Lengths that could be shorter, in every place.
        join({{0x30, 0x84, 0x00, 0x00, 0x00, 0x17},
              tbs,
              ecdsaWithSha256,
              {0x03, 0x03, 0x00, 0xAA, 0xBB, 0x00}}),
        sequence(Bytes{0x30, 0x81, 0x03, 0x02, 0x01, 0x07}, ecdsaWithSha256, bitString({1})),
        sequence(tbs, join({{0x30, 0x81, 0x0A}, oid("1.2.840.10045.4.3.2")}), bitString({1})),
        sequence(tbs, ecdsaWithSha256, Bytes{0x03, 0x82, 0x00, 0x02, 0x00, 0x55}),
    };
    for (Bytes object : objects) {
        if (object[1] == 0x84) { // The fixed length above, corrected for what it encloses.
            object.pop_back();
            object[5] = static_cast<unsigned char>(object.size() - 6);
        }
        EXPECT_EQ(unpacked(object).serialize(), object);
    }
}

TEST(X509Base, AChangedMemberIsEncodedAnewAndTheOthersStay) {
    Bytes tbs = sequence(integer(7));
    Bytes unusedBits = bitString({1, 2, 0xF0}, 4);
    X509Certificate object = unpacked(sequence(tbs, ecdsaWithSha256, unusedBits));

    X509Certificate changed = object;
    changed.tbs = sequence(integer(8));
    EXPECT_EQ(changed.serialize(), sequence(sequence(integer(8)), ecdsaWithSha256, unusedBits));
    changed.tbs = sequence(octetString(Bytes(200)));
    EXPECT_EQ(changed.serialize(), sequence(sequence(octetString(Bytes(200))), ecdsaWithSha256, unusedBits));

    changed = object;
    changed.signature = {5, 6, 7};
    EXPECT_EQ(changed.serialize(), sequence(tbs, ecdsaWithSha256, bitString({5, 6, 7})));
    changed.signature.assign(130, 5);
    EXPECT_EQ(changed.serialize(), sequence(tbs, ecdsaWithSha256, bitString(Bytes(130, 5))));

    changed = object;
    changed.signatureAlgorithm = {{0x2A, 0x03}, {}};
    EXPECT_EQ(changed.serialize(), sequence(tbs, sequence(oid("1.2.3")), unusedBits));
    // A signer that leaves absent parameters empty does not meet the copy that reading made of them.
    changed.signatureAlgorithm = {object.signatureAlgorithm.oid, {}};
    EXPECT_EQ(changed.serialize(), sequence(tbs, ecdsaWithSha256, unusedBits));
}

TEST(X509Base, AnObjectThatWasFilledByHandIsEncoded) {
    X509Certificate object;
    object.tbs = sequence(integer(7));
    object.signatureAlgorithm = {{0x2A, 0x03}, null()};
    object.signature = {1, 2};
    EXPECT_EQ(object.serialize(),
              sequence(sequence(integer(7)), algorithm("1.2.3", null()), bitString({1, 2})));
}

TEST(X509Base, CopiesAndMovedObjectsSerialiseAlike) {
    Bytes encoded = sequence(sequence(integer(7)), ecdsaWithSha256, bitString({1}, 3));
    X509Certificate object = unpacked(encoded);
    X509Certificate copy = object;
    X509Certificate moved = std::move(object);
    EXPECT_EQ(copy.serialize(), encoded);
    EXPECT_EQ(moved.serialize(), encoded);
}

/// The name of the function in a slot of an object's virtual table (Itanium C++ ABI, section 2.5).
std::string functionInSlot(X509Base const& object, size_t slot) {
    void* const* table = *reinterpret_cast<void* const* const*>(&object);
    Dl_info info{};
    return dladdr(table[slot], &info) != 0 && info.dli_sname ? info.dli_sname : "";
}

TEST(X509Base, TheDestructorTakesTheFirstTwoSlots) {
    X509Certificate certificate;
    X509Crl crl;
    X509Req req;
    // D1 and D2, the complete and the base object's destructor, may be one function.
    EXPECT_THAT(functionInSlot(certificate, 0), MatchesRegex("_ZN15X509CertificateD[12]Ev"));
    EXPECT_EQ(functionInSlot(certificate, 1), "_ZN15X509CertificateD0Ev");
    EXPECT_THAT(functionInSlot(crl, 0), MatchesRegex("_ZN7X509CrlD[12]Ev"));
    EXPECT_EQ(functionInSlot(crl, 1), "_ZN7X509CrlD0Ev");
    EXPECT_THAT(functionInSlot(req, 0), MatchesRegex("_ZN7X509ReqD[12]Ev"));
    EXPECT_EQ(functionInSlot(req, 1), "_ZN7X509ReqD0Ev");
}

template <typename Object, typename Earlier, typename Later>
void expectBefore(Object const& object, Earlier const& earlier, Later const& later) {
    auto address = [](auto const& part) { return reinterpret_cast<char const*>(&part); };
    EXPECT_LT(address(object), address(earlier));
    EXPECT_LT(address(earlier), address(later));
}

TEST(X509Base, FieldsStandInTheirOrder) {
    X509Certificate c;
    expectBefore(c, c.tbs, c.signatureAlgorithm);
    expectBefore(c, c.signatureAlgorithm, c.signature);
    expectBefore(c, c.signature, c.serialNumber);
    expectBefore(c, c.serialNumber, c.issuer);
    expectBefore(c, c.issuer, c.subject);
    expectBefore(c, c.subject, c.notBefore);
    expectBefore(c, c.notBefore, c.notAfter);
    expectBefore(c, c.notAfter, c.selfSigned);
    expectBefore(c, c.selfSigned, c.subjectPublicKeyInfo);
    expectBefore(c, c.subjectPublicKeyInfo, c.keyUsage);
    expectBefore(c, c.keyUsage, c.extKeyUsage);
    expectBefore(c, c.extKeyUsage, c.basicConstraints);
    expectBefore(c, c.basicConstraints, c.subjectKeyId);
    expectBefore(c, c.subjectKeyId, c.authorityKeyId);
    expectBefore(c, c.authorityKeyId, c.subjectAltNames);
    expectBefore(c, c.subjectAltNames, c.crlDistributionPoints);
    expectBefore(c, c.crlDistributionPoints, c.nameConstraintPermitted);
    expectBefore(c, c.nameConstraintPermitted, c.nameConstraintExcluded);

    X509Crl l;
    expectBefore(l, l.signature, l.issuer);
    expectBefore(l, l.issuer, l.thisUpdate);
    expectBefore(l, l.thisUpdate, l.nextUpdate);
    expectBefore(l, l.nextUpdate, l.revoked);
    expectBefore(l, l.revoked, l.authorityKeyId);
    expectBefore(l, l.authorityKeyId, l.crlNumber);
    RevokedCertificate r;
    EXPECT_EQ(static_cast<void*>(&r), static_cast<void*>(&r.serialNumber));
    expectBefore(r.serialNumber, r.revocationDate, r.reasonCode);

    X509Req q;
    expectBefore(q, q.signature, q.subject);
    expectBefore(q, q.subject, q.subjectPublicKeyInfo);
    expectBefore(q, q.subjectPublicKeyInfo, q.challengePassword);
    expectBefore(q, q.challengePassword, q.subjectAltNames);
}

} // namespace TEST_FILE

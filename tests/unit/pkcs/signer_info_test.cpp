#include "messages.h"

#include "sealkit/keys.h"
#include "sealkit/oid.h"
#include "sealkit/signature.h"

#include <functional>
#include <type_traits>
#include <utility>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

asn1::blob contentOf(Bytes const& element) { return {element.data() + 2, element.size() - 2}; }

Bytes const dataType = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};

PKCS7SignerInfo parsed(SignerParts const& parts) {
    PKCS7SignerInfo signer;
    EXPECT_TRUE(parseInto(signer, parts.der()).isGood);
    return signer;
}

Outcome outcome(std::function<void(SignerParts&)> const& change) {
    SignerParts parts;
    change(parts);
    return outcomeOf<PKCS7SignerInfo>(parts.der());
}

TEST(SignerInfoParse, KeepsEveryField) {
    SignerParts parts;
    parts.attributes = context(0, contentTypeAttribute(), messageDigestAttribute(),
                               attribute("1.2.840.113549.1.9.5", utcTime("300101000000Z")));
    PKCS7SignerInfo const signer = parsed(parts);
    EXPECT_EQ(signer.authAttributes, join({contentTypeAttribute(), messageDigestAttribute(),
                                           attribute("1.2.840.113549.1.9.5", utcTime("300101000000Z"))}));
    EXPECT_EQ(signer.issuer, name({{"2.5.4.3", "ca"}}));
    EXPECT_EQ(signer.serialNumber, Bytes{7});
    EXPECT_EQ(signer.digestAlgorithm, HashID::SHA256);
    EXPECT_EQ(signer.contentType, dataType);
    EXPECT_EQ(signer.contentDigest, (Bytes{1, 2, 3}));
    EXPECT_EQ(signer.hasSigningTime, 1);
    EXPECT_EQ(signer.signingTime, whenValid);
    EXPECT_EQ(signer.encryptedDigest, (Bytes{9, 8}));
    EXPECT_EQ(signer.counterSignature, nullptr);
    EXPECT_EQ(signer.msCounterSignature, nullptr);
}

TEST(SignerInfoParse, ForgetsWhatItHeld) {
    SignerParts parts;
    parts.attributes = context(0, attribute("1.2.840.113549.1.9.5", utcTime("300101000000Z")));
    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", SignerParts().der()));
    PKCS7SignerInfo signer = parsed(parts);
    EXPECT_TRUE(parseInto(signer, SignerParts().der()).isGood);
    EXPECT_EQ(signer.hasSigningTime, 0);
    EXPECT_EQ(signer.counterSignature, nullptr);
}

TEST(SignerInfoParse, TakesVersion1Only) {
    for (unsigned char version : {0, 2, 3, 4}) {
        Outcome const result = outcome([&](auto& parts) { parts.version = integer(version); });
        EXPECT_FALSE(result.isGood);
        EXPECT_EQ(result.errors, "bad version\n");
        EXPECT_EQ(result.output, "");
    }
    EXPECT_EQ(outcome([](auto& parts) { parts.version = octetString({1}); }).errors, "");
}

TEST(SignerInfoParse, RefusesAKeyIdentifierInPlaceOfIssuerAndSerial) {
    EXPECT_FALSE(outcome([](auto& parts) { parts.issuerAndSerial = implicit(0, Bytes{1}); }).isGood);
}

TEST(SignerInfoParse, RefusesWhatDoesNotIdentifyACertificate) {
    Bytes const issuer = name({{"2.5.4.3", "ca"}});
    for (Bytes const& identity : {sequence(issuer), sequence(integer(1)), sequence(issuer, integer(Bytes())),
                                  sequence(issuer, integer(1), null())})
        EXPECT_FALSE(outcome([&](auto& parts) { parts.issuerAndSerial = identity; }).isGood);
}

TEST(SignerInfoParse, RefusesAnUnknownDigestAlgorithmAndOneWithoutItsNull) {
    EXPECT_FALSE(outcome([](auto& parts) { parts.digestAlgorithm = algorithm("1.2.3", null()); }).isGood);
    EXPECT_FALSE(
        outcome([](auto& parts) { parts.digestAlgorithm = algorithm("2.16.840.1.101.3.4.2.1"); }).isGood);
}

TEST(SignerInfoParse, NeedsSignedAttributes) {
    EXPECT_FALSE(outcome([](auto& parts) { parts.attributes = {}; }).isGood);
    EXPECT_TRUE(outcome([](auto& parts) { parts.attributes = context(0); }).isGood);
}

TEST(SignerInfoParse, ChecksTheTypesOfAttributeValues) {
    std::vector<Bytes> const refused = {
        attribute("1.2.840.113549.1.9.3", octetString({1})),
        attribute("1.2.840.113549.1.9.3", {}),
        attribute("1.2.840.113549.1.9.3", join({oid("1.2.3"), oid("1.2.4")})),
        attribute("1.2.840.113549.1.9.4", oid("1.2.3")),
        attribute("1.2.840.113549.1.9.4", join({octetString({1}), octetString({2})})),
        attribute("1.2.840.113549.1.9.5", octetString({1})),
        attribute("1.2.840.113549.1.9.5", utcTime("30010100Z")),
        attribute("1.2.840.113549.1.9.5", join({utcTime("300101000000Z"), utcTime("300101000000Z")})),
        sequence(oid("1.2.3")),
        sequence(oid("1.2.3"), set(), null()),
        sequence(integer(1), set()),
        null(),
    };
    for (Bytes const& one : refused)
        EXPECT_FALSE(outcome([&](auto& parts) { parts.attributes = context(0, one); }).isGood);
}

TEST(SignerInfoParse, KeepsTheLastOfARepeatedAttribute) {
    SignerParts parts;
    parts.attributes = context(0, attribute("1.2.840.113549.1.9.3", oid("1.2.3")), contentTypeAttribute(),
                               attribute("1.2.840.113549.1.9.4", octetString({7})), messageDigestAttribute(),
                               attribute("1.2.840.113549.1.9.5", utcTime("200101000000Z")),
                               attribute("1.2.840.113549.1.9.5", utcTime("300101000000Z")));
    PKCS7SignerInfo const signer = parsed(parts);
    EXPECT_EQ(signer.contentType, dataType);
    EXPECT_EQ(signer.contentDigest, (Bytes{1, 2, 3}));
    EXPECT_EQ(signer.signingTime, whenValid);
}

TEST(SignerInfoParse, LeavesWhatWasReadUntilItFailed) {
    SignerParts parts;
    parts.signature = null();
    PKCS7SignerInfo signer;
    EXPECT_FALSE(parseInto(signer, parts.der()).isGood);
    EXPECT_EQ(signer.serialNumber, Bytes{7});
    EXPECT_EQ(signer.contentDigest, (Bytes{1, 2, 3}));
    EXPECT_TRUE(signer.encryptedDigest.empty());
}

TEST(SignerInfoParse, NamesUnknownSignedAttributesAndGoesOn) {
    Outcome const result = outcome([](auto& parts) {
        parts.attributes =
            context(0, attribute("1.2.3", {}), contentTypeAttribute(), attribute("1.2.4", null()));
    });
    EXPECT_TRUE(result.isGood);
    EXPECT_EQ(result.output, "unknown auth attr 1.2.3\nunknown auth attr 1.2.4\n");
    EXPECT_EQ(result.errors, "");
}

TEST(SignerInfoParse, PassesOverOpusInfoInSilence) {
    Outcome const result = outcome(
        [](auto& parts) { parts.attributes = context(0, attribute("1.3.6.1.4.1.311.2.1.12", sequence())); });
    EXPECT_TRUE(result.isGood);
    EXPECT_EQ(result.output, "");
}

TEST(SignerInfoParse, TakesRsaAloneWithAnyParameters) {
    EXPECT_TRUE(
        outcome([](auto& parts) { parts.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1"); }).isGood);
    for (char const* other : {"1.2.840.113549.1.1.11", "1.2.840.10045.4.3.2", "1.3.101.112"})
        EXPECT_FALSE(
            outcome([&](auto& parts) { parts.signatureAlgorithm = algorithm(other, null()); }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.signatureAlgorithm = sequence(); }).isGood);
}

TEST(SignerInfoParse, NeedsTheSignatureAndNothingBehindTheEnd) {
    EXPECT_FALSE(outcome([](auto& parts) { parts.signature = bitString({1}); }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.more = null(); }).isGood);
    EXPECT_FALSE(parses<PKCS7SignerInfo>(join({SignerParts().der(), null()})));
}

TEST(SignerInfoParse, ReadsBothCounterSignatures) {
    SignerParts counter;
    counter.signature = octetString({42});
    SignerParts parts;
    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", counter.der()),
                                       attribute("1.3.6.1.4.1.311.3.3.1", MessageParts().der()));
    PKCS7SignerInfo const signer = parsed(parts);
    ASSERT_NE(signer.counterSignature, nullptr);
    EXPECT_EQ(signer.counterSignature->encryptedDigest, Bytes{42});
    ASSERT_NE(signer.msCounterSignature, nullptr);
    EXPECT_EQ(signer.msCounterSignature->raw, MessageParts().der());
}

TEST(SignerInfoParse, KeepsTheFirstOfSeveralCounterSignatures) {
    SignerParts first, second;
    first.signature = octetString({1});
    second.signature = octetString({2});
    std::string const type = "1.2.840.113549.1.9.6";
    for (Bytes const& attributes : {attribute(type, join({first.der(), second.der()})),
                                    join({attribute(type, first.der()), attribute(type, second.der())})}) {
        SignerParts parts;
        parts.unsignedAttributes = context(1, attributes);
        EXPECT_EQ(parsed(parts).counterSignature->encryptedDigest, Bytes{1});
    }
}

TEST(SignerInfoParse, RefusesACounterSignatureThatDoesNotParse) {
    SignerParts bad;
    bad.digestAlgorithm = algorithm("1.2.3", null());
    for (Bytes const& value : {bad.der(), Bytes(), null()})
        for (char const* type : {"1.2.840.113549.1.9.6", "1.3.6.1.4.1.311.3.3.1"})
            EXPECT_FALSE(outcome([&](auto& parts) {
                             parts.unsignedAttributes = context(1, attribute(type, value));
                         }).isGood);
}

TEST(SignerInfoParse, NamesUnknownUnsignedAttributesAndSkipsThem) {
    Outcome const result =
        outcome([](auto& parts) { parts.unsignedAttributes = context(1, attribute("1.2.5", null())); });
    EXPECT_TRUE(result.isGood);
    EXPECT_EQ(result.output, "unknown unauth attribute 1.2.5\n");
}

TEST(SignerInfoParse, FollowsSixteenCounterSignaturesAndNoMore) {
    EXPECT_TRUE(parses<PKCS7SignerInfo>(nestedSigner(16)));
    EXPECT_FALSE(parses<PKCS7SignerInfo>(nestedSigner(17)));
    EXPECT_FALSE(parses<PKCS7SignerInfo>(nestedSigner(100)));
}

TEST(SignerInfoSave, WritesWhatWasParsedButForTheUnknown) {
    SignerParts counter;
    counter.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1");
    SignerParts parts;
    parts.attributes =
        context(0, messageDigestAttribute(), contentTypeAttribute(), attribute("1.2.3", null()));
    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", counter.der()),
                                       attribute("1.3.6.1.4.1.311.3.3.1", MessageParts().der()));
    PKCS7SignerInfo signer = parsed(parts);
    parts.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1"); // Without parameters.
    EXPECT_EQ(saved(signer), parts.der());
}

TEST(SignerInfoSave, MakesTheAttributesWithoutTheSigningTimeAndKeepsThem) {
    PKCS7SignerInfo signer = parsed({});
    signer.authAttributes.clear();
    signer.hasSigningTime = 1;
    SignerParts expected;
    expected.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1");
    EXPECT_EQ(saved(signer), expected.der());
    EXPECT_EQ(signer.authAttributes, join({contentTypeAttribute(), messageDigestAttribute()}));
}

TEST(SignerInfoSave, LeavesTheAttributesOutWhereThereIsNothingToSay) {
    PKCS7SignerInfo signer = parsed({});
    signer.contentType.clear();
    signer.contentDigest.clear();
    SignerParts expected;
    expected.attributes = {};
    expected.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1");
    EXPECT_EQ(saved(signer), expected.der());
    signer.hasSigningTime = 1;
    expected.attributes = SignerParts().attributes;
    EXPECT_EQ(saved(signer), expected.der());
}

TEST(SignerInfoDigest, IsThatOfTheAttributesAsASet) {
    PKCS7SignerInfo signer = parsed({});
    Bytes const asSet = set(contentTypeAttribute(), messageDigestAttribute());
    EXPECT_EQ(signer.messageDigest(HashID::SHA1), calcDigest(HashID::SHA1, asSet));
    EXPECT_EQ(signer.messageDigest(7u), calcDigest(HashID::SHA512, asSet));
    EXPECT_TRUE(signer.messageDigest(HashID::none).empty());
    signer.authAttributes.clear();
    EXPECT_EQ(signer.messageDigest(HashID::SHA1), calcDigest(HashID::SHA1, set()));
    EXPECT_EQ(signer.encodeAndMessageDigest(4u), calcDigest(HashID::SHA1, asSet));
    EXPECT_EQ(signer.authAttributes, join({contentTypeAttribute(), messageDigestAttribute()}));
    signer.contentDigest = {4};
    EXPECT_EQ(signer.encodeAndMessageDigest(HashID::SHA1), calcDigest(HashID::SHA1, asSet));
}

TEST(SignerInfoContentDigest, IsStoredAndCompared) {
    PKCS7SignerInfo signer;
    signer.addContentDigest(dataType, "letter", 5u);
    EXPECT_EQ(signer.contentType, dataType);
    EXPECT_EQ(signer.contentDigest, calcDigest(HashID::SHA256, "letter"));
    EXPECT_TRUE(signer.authAttributes.empty());
    EXPECT_FALSE(signer.verifyContentDigest(dataType, "letter", HashID::SHA256)) << "no algorithm is kept";
    signer.digestAlgorithm = HashID::SHA256;
    EXPECT_TRUE(signer.verifyContentDigest(dataType, "letter", HashID::SHA256));
    EXPECT_TRUE(signer.verifyContentDigest(dataType, "letter", 5u));
    EXPECT_FALSE(signer.verifyContentDigest(dataType, "letter", HashID::SHA1));
    EXPECT_FALSE(signer.verifyContentDigest(contentOf(oid("1.2.3")), "letter", HashID::SHA256));
    EXPECT_FALSE(signer.verifyContentDigest(dataType, "lettre", HashID::SHA256));
    signer.contentDigest.clear();
    EXPECT_FALSE(signer.verifyContentDigest(dataType, "letter", HashID::SHA256));
    signer.digestAlgorithm = HashID::none;
    EXPECT_FALSE(signer.verifyContentDigest(dataType, "letter", HashID::none));
}

TEST(SignerInfoSign, FillsEverythingIn) {
    auto const certificate = messageCertificate("alice.pem");
    auto const key = aliceKey();
    PKCS7SignerInfo signer;
    ASSERT_TRUE(signer.sign(*certificate, *key, dataType, "letter", HashID::SHA384));
    EXPECT_EQ(signer.digestAlgorithm, HashID::SHA384);
    EXPECT_EQ(signer.issuer, certificate->issuer.serialize());
    EXPECT_EQ(signer.serialNumber, certificate->serialNumber);
    EXPECT_EQ(signer.contentDigest, calcDigest(HashID::SHA384, "letter"));
    Bytes const digest = calcDigest(HashID::SHA384, "letter");
    EXPECT_EQ(signer.authAttributes,
              join({contentTypeAttribute(), attribute("1.2.840.113549.1.9.4", octetString(digest))}));
    EXPECT_EQ(signer.hasSigningTime, 0);
    EXPECT_TRUE(
        verifyHashed(*key, HashID::SHA384, signer.messageDigest(HashID::SHA384), signer.encryptedDigest));
    EXPECT_TRUE(parses<PKCS7SignerInfo>(saved(signer)));
}

TEST(SignerInfoSign, ChangesNothingForAKeyThatIsNotRsa) {
    PKCS7SignerInfo signer = parsed({});
    Bytes const before = saved(signer);
    Ed25519PrivateKey ed;
    EcPrivateKey ec;
    auto const certificate = messageCertificate("alice.pem");
    EXPECT_FALSE(signer.sign(*certificate, ed, dataType, "letter", HashID::SHA256));
    EXPECT_FALSE(signer.sign(*certificate, ec, dataType, "letter", 5u));
    EXPECT_EQ(saved(signer), before);
}

TEST(SignerInfoSign, MakesNoSignatureWithoutAHashThatMessagesName) {
    PKCS7SignerInfo signer;
    for (unsigned hash : {0u, 1u, 2u, 8u}) {
        EXPECT_FALSE(signer.sign(*messageCertificate("alice.pem"), *aliceKey(), dataType, "letter", hash))
            << hash;
        EXPECT_TRUE(signer.encryptedDigest.empty());
    }
}

TEST(SignerInfoDump, WritesLineByLine) {
    SignerParts parts;
    PKCS7SignerInfo signer = parsed(parts);
    std::string const digest = str(asn1::blob(signer.messageDigest(HashID::SHA256)));
    std::string const plain = "SignerInfo:\n"
                              "  issuer: CN=ca\n"
                              "  serialNr: 07\n"
                              "  digestAlgo: SHA256\n"
                              "  digest: 01:02:03\n"
                              "  contentType: 1.2.840.113549.1.7.1\n"
                              "  encryptedDigest: 09:08\n"
                              "  message-digest: " +
                              digest + "\n";
    EXPECT_EQ(dumped(signer), plain);

    parts.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", SignerParts().der()),
                                       attribute("1.3.6.1.4.1.311.3.3.1", MessageParts().der()));
    EXPECT_EQ(dumped(parsed(parts)), plain + "CounterSignature " + plain +
                                         "MS CounterSignature digest-algos: SHA256\n"
                                         "content-type: 1.2.840.113549.1.7.1\n" +
                                         plain);

    CapturedOutput output;
    signer.issuer = name({{"2.5.4.3", "ca"}, {"1.2.3", "unknown"}});
    EXPECT_EQ(dumped(signer), plain);
    EXPECT_EQ(output.text(), "") << "nothing beside the dump";

    signer.hasSigningTime = 1;
    signer.signingTime = whenValid;
    EXPECT_NE(dumped(signer).find("  contentType: 1.2.840.113549.1.7.1\n"
                                  "  signingTime: Tue Jan  1 00:00:00 2030\n"
                                  "  encryptedDigest: "),
              std::string::npos);
}

TEST(SignerInfo, HasItsFieldsInOrderAndMovesOnly) {
    PKCS7SignerInfo const s;
    std::vector<void const*> const fields = {
        &s.authAttributes,  &s.issuer,           &s.serialNumber,      &s.digestAlgorithm,
        &s.contentType,     &s.contentDigest,    &s.hasSigningTime,    &s.signingTime,
        &s.encryptedDigest, &s.counterSignature, &s.msCounterSignature};
    EXPECT_EQ(fields.front(), static_cast<void const*>(&s));
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
    EXPECT_FALSE(std::is_polymorphic_v<PKCS7SignerInfo>);
    EXPECT_FALSE(std::is_copy_constructible_v<PKCS7SignerInfo>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<PKCS7SignerInfo>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<PKCS7SignerInfo>);
}

} // namespace TEST_FILE

#include "messages.h"

#include "sealkit/keys.h"
#include "sealkit/oid.h"

#include <functional>
#include <type_traits>
#include <utility>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

Bytes const dataType = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};

Bytes rsaSignerWithoutParameters() {
    SignerParts parts;
    parts.signatureAlgorithm = algorithm("1.2.840.113549.1.1.1");
    return parts.der();
}

Outcome outcome(std::function<void(MessageParts&)> const& change) {
    MessageParts parts;
    change(parts);
    return outcomeOf<PKCS7SignedData>(parts.der());
}

TEST(SignedDataParse, KeepsEveryField) {
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, MessageParts().der()).isGood);
    EXPECT_EQ(message.raw, MessageParts().der());
    EXPECT_EQ(message.digestAlgorithms, std::vector<HashID>{HashID::SHA256});
    EXPECT_EQ(message.contentType, dataType);
    EXPECT_EQ(message.content, octetString({5, 6}));
    ASSERT_EQ(message.signerInfos.size(), 1u);
    EXPECT_EQ(message.signerInfos[0]->serialNumber, Bytes{7});
}

TEST(SignedDataParse, TakesABareSignedDataAndKeepsNoEncoding) {
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, MessageParts().bare()).isGood);
    EXPECT_TRUE(message.raw.empty());
    EXPECT_EQ(message.content, octetString({5, 6}));
    MessageParts expected;
    expected.signers = set(rsaSignerWithoutParameters());
    EXPECT_EQ(saved(message), expected.der());
}

TEST(SignedDataParse, ParseContentInfoTakesTheSignedDataAlone) {
    PKCS7SignedData message;
    Bytes const bare = MessageParts().bare(), whole = MessageParts().der();
    EXPECT_TRUE(message.parse(whole));
    EXPECT_TRUE(message.parseContentInfo(bare));
    EXPECT_TRUE(message.raw.empty());
    EXPECT_EQ(message.signerInfos.size(), 1u);
    EXPECT_FALSE(message.parseContentInfo(whole));
}

TEST(SignedDataParse, SaysThatAnotherTypeIsNoSignedData) {
    Outcome const result = outcome([](auto& parts) { parts.type = oid(dataOid); });
    EXPECT_FALSE(result.isGood);
    EXPECT_EQ(result.errors, "not a signed data\n");
    EXPECT_EQ(result.output, "");
}

TEST(SignedDataParse, NeedsTheContentAndNothingBehindIt) {
    Bytes const bare = MessageParts().bare(), type = oid(signedDataOid);
    for (Bytes const& message :
         {sequence(type), sequence(type, bare), sequence(type, context(1, bare)), sequence(type, context(0)),
          sequence(type, context(0, bare, null())), sequence(type, context(0, bare), null()),
          join({sequence(type, context(0, bare)), null()}), set(type, context(0, bare)), sequence(), Bytes()})
        EXPECT_FALSE(parses<PKCS7SignedData>(message));
}

TEST(SignedDataParse, TakesVersions1And3) {
    EXPECT_TRUE(outcome([](auto& parts) { parts.version = integer(1); }).isGood);
    EXPECT_TRUE(outcome([](auto& parts) { parts.version = integer(3); }).isGood);
    for (unsigned char version : {0, 2, 4, 5, 200}) {
        Outcome const result = outcome([&](auto& parts) { parts.version = integer(version); });
        EXPECT_FALSE(result.isGood);
        EXPECT_EQ(result.errors, "bad version " + std::to_string(version) + "\n");
    }
}

TEST(SignedDataParse, ReadsEveryDigestAlgorithmOrFails) {
    PKCS7SignedData message;
    MessageParts parts;
    parts.digestAlgorithms = set(algorithm("1.3.14.3.2.26", null()), sha256Algorithm());
    ASSERT_TRUE(parseInto(message, parts.der()).isGood);
    EXPECT_EQ(message.digestAlgorithms, (std::vector<HashID>{HashID::SHA1, HashID::SHA256}));
    for (Bytes const& refused : {set(algorithm("1.2.3", null())), set(algorithm("2.16.840.1.101.3.4.2.1")),
                                 set(null()), sequence(sha256Algorithm())})
        EXPECT_FALSE(outcome([&](auto& p) { p.digestAlgorithms = refused; }).isGood);
    EXPECT_TRUE(outcome([](auto& p) { p.digestAlgorithms = set(); }).isGood);
}

TEST(SignedDataParse, KeepsAnOctetStringOrASequenceAsContent) {
    PKCS7SignedData message;
    MessageParts parts;
    parts.content = sequence(oid("1.2.3"), context(0, sequence(integer(1))));
    ASSERT_TRUE(parseInto(message, parts.der()).isGood);
    EXPECT_EQ(message.content, sequence(integer(1)));
    parts.content = sequence(oid("1.2.3"));
    ASSERT_TRUE(parseInto(message, parts.der()).isGood);
    EXPECT_TRUE(message.content.empty());
    for (Bytes const& refused :
         {sequence(), sequence(context(0, octetString({}))), sequence(oid("1.2.3"), context(0)),
          sequence(oid("1.2.3"), context(0, integer(1))), sequence(oid("1.2.3"), octetString({})),
          sequence(oid("1.2.3"), context(0, element(0x24, octetString({1})))),
          sequence(oid("1.2.3"), context(0, octetString({}), null())),
          sequence(oid("1.2.3"), context(0, octetString({})), null())})
        EXPECT_FALSE(outcome([&](auto& p) { p.content = refused; }).isGood);
}

TEST(SignedDataParse, FailsWhenOneCertificateCrlOrSignerDoes) {
    Bytes const good = messageCertificate("alice.pem")->serialize();
    EXPECT_TRUE(outcome([&](auto& parts) { parts.certificates = context(0, good, good); }).isGood);
    for (Bytes const& refused : {sequence(integer(1)), null(), context(1, good)})
        EXPECT_FALSE(outcome([&](auto& parts) { parts.certificates = context(0, good, refused); }).isGood);
    EXPECT_TRUE(outcome([](auto& parts) { parts.crls = context(1); }).isGood);
    EXPECT_FALSE(outcome([&](auto& parts) { parts.crls = context(1, good); }).isGood);
    EXPECT_TRUE(outcome([](auto& parts) { parts.signers = set(); }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.signers = {}; }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.signers = set(SignerParts().der(), sequence()); }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.signers = set(SignerParts().der(), null()); }).isGood);
    EXPECT_FALSE(outcome([](auto& parts) { parts.more = null(); }).isGood);
}

TEST(SignedDataParse, LeavesWhatWasReadUntilItFailed) {
    MessageParts parts;
    parts.signers = set(SignerParts().der(), sequence());
    PKCS7SignedData message;
    EXPECT_FALSE(parseInto(message, parts.der()).isGood);
    EXPECT_EQ(message.raw, parts.der());
    EXPECT_EQ(message.contentType, dataType);
    EXPECT_EQ(message.signerInfos.size(), 1u);
}

TEST(SignedDataParse, FollowsSixteenMessagesAndNoMore) {
    EXPECT_TRUE(parses<PKCS7SignedData>(nestedMessage(16)));
    EXPECT_FALSE(parses<PKCS7SignedData>(nestedMessage(17)));
    EXPECT_FALSE(parses<PKCS7SignedData>(nestedMessage(100)));
}

TEST(SignedDataParse, CountsBothKindsOfNestingTogether) {
    for (unsigned inner : {8u, 9u}) {
        SignerParts signer;
        signer.unsignedAttributes = context(1, attribute("1.3.6.1.4.1.311.3.3.1", nestedMessage(inner)));
        Bytes nested = signer.der();
        for (unsigned depth = 0; depth < 7; depth++) {
            SignerParts outer;
            outer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", nested));
            nested = outer.der();
        }
        EXPECT_EQ(parses<PKCS7SignerInfo>(nested), inner == 8);
    }
}

TEST(SignedDataParse, ReadsWhatOpenSslMakes) {
    for (char const* name : {"attached", "detached", "two-signers", "certs-and-crl"}) {
        PKCS7SignedData message;
        Bytes const encoding = readMessage(std::string(name) + ".der");
        EXPECT_TRUE(parseInto(message, encoding).isGood) << name;
        EXPECT_EQ(saved(message), encoding) << name;
    }
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, readMessage("two-signers.der")).isGood);
    ASSERT_EQ(message.signerInfos.size(), 2u);
    ASSERT_EQ(message.certificates.size(), 3u);
    std::vector<Bytes> serials = {message.signerInfos[0]->serialNumber, message.signerInfos[1]->serialNumber};
    std::sort(serials.begin(), serials.end());
    EXPECT_EQ(serials, (std::vector<Bytes>{{0x20, 0x01}, {0x20, 0x02}}));
    for (auto const& signer : message.signerInfos) {
        EXPECT_TRUE(signer->hasSigningTime);
        EXPECT_TRUE(signer->verifyContentDigest(dataType, readMessage("content.txt"), HashID::SHA256));
    }
    EXPECT_EQ(message.content, octetString(readMessage("content.txt")));
    ASSERT_TRUE(parseInto(message, readMessage("certs-and-crl.der")).isGood);
    EXPECT_EQ(message.certificates.size(), 2u);
    ASSERT_EQ(message.crls.size(), 1u);
    EXPECT_EQ(message.crls[0]->issuer.commonName, "Acme mail authority");
    EXPECT_TRUE(message.signerInfos.empty());
}

TEST(SignedDataParse, RefusesOpenSslsOtherForms) {
    EXPECT_FALSE(parses<PKCS7SignedData>(readMessage("no-attributes.der")));
    EXPECT_FALSE(parses<PKCS7SignedData>(readMessage("absent-null.der")));
    EXPECT_FALSE(parses<PKCS7SignedData>(readMessage("key-identifier.der")));
    EXPECT_FALSE(parses<PKCS7SignedData>(readMessage("ecdsa.der")));
}

TEST(SignedDataSave, WritesWhatWasParsedByteForByte) {
    MessageParts parts;
    parts.version = integer(3);
    // A length in two octets where one would do.
    Bytes const body = join({parts.type, context(0, parts.bare())});
    Bytes encoding = {0x30, 0x82, static_cast<unsigned char>(body.size() >> 8),
                      static_cast<unsigned char>(body.size())};
    encoding.insert(encoding.end(), body.begin(), body.end());
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, encoding).isGood);
    message.signerInfos.clear();
    EXPECT_EQ(saved(message), encoding);
}

TEST(SignedDataSave, AnewWritesVersion1AndNoCrls) {
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, readMessage("certs-and-crl.der")).isGood);
    ASSERT_EQ(message.crls.size(), 1u);
    message.raw.clear();
    MessageParts expected;
    expected.digestAlgorithms = set();
    expected.content = sequence(oid(dataOid));
    expected.certificates =
        context(0, message.certificates[0]->serialize(), message.certificates[1]->serialize());
    expected.signers = set();
    EXPECT_EQ(saved(message), expected.der());
    MessageParts third;
    third.version = integer(3);
    ASSERT_TRUE(parseInto(message, third.der()).isGood);
    message.raw.clear();
    third.version = integer(1);
    third.signers = set(rsaSignerWithoutParameters());
    EXPECT_EQ(saved(message), third.der());
}

TEST(SignedDataCreate, MakesAMessageThatParsesTheSame) {
    auto const certificate = messageCertificate("alice.pem");
    PKCS7SignedData message;
    ASSERT_TRUE(message.parse(MessageParts().der()));
    ASSERT_TRUE(message.create(*certificate, *aliceKey(), dataType, "letter", HashID::SHA256));
    EXPECT_TRUE(message.raw.empty());
    EXPECT_EQ(message.content, octetString(bytes("letter")));
    ASSERT_EQ(message.signerInfos.size(), 1u);
    EXPECT_NE(message.certificates.at(0), certificate) << "a copy";

    MessageParts expected;
    expected.content = sequence(oid(dataOid), context(0, octetString(bytes("letter"))));
    expected.certificates = context(0, certificate->serialize());
    expected.signers = set(saved(*message.signerInfos[0]));
    EXPECT_EQ(saved(message), expected.der());

    PKCS7SignedData again;
    ASSERT_TRUE(parseInto(again, saved(message)).isGood);
    EXPECT_EQ(dumped(again), dumped(message));
    again.raw.clear();
    EXPECT_EQ(saved(again), saved(message));
}

TEST(SignedDataCreate, TakesViewsOfItself) {
    PKCS7SignedData message;
    ASSERT_TRUE(message.parse(MessageParts().der()));
    ASSERT_TRUE(message.create(*messageCertificate("alice.pem"), *aliceKey(), message.contentType,
                               message.content, 4u));
    EXPECT_EQ(message.contentType, dataType);
    EXPECT_EQ(message.content, octetString(octetString({5, 6})));
    EXPECT_EQ(message.digestAlgorithms, std::vector<HashID>{HashID::SHA1});
}

TEST(SignedDataCreate, FailsAsSigningDoes) {
    PKCS7SignedData message;
    Ed25519PrivateKey const key;
    EXPECT_FALSE(message.create(*messageCertificate("alice.pem"), key, dataType, "letter", HashID::SHA256));
}

TEST(SignedDataDump, WritesAlgorithmsTypeCertificatesAndSigners) {
    MessageParts parts;
    parts.digestAlgorithms = set(algorithm("1.3.14.3.2.26", null()), sha256Algorithm());
    auto const certificate = messageCertificate("alice.pem");
    parts.certificates = context(0, certificate->serialize());
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, parts.der()).isGood);
    EXPECT_EQ(dumped(message), "digest-algos: SHA1 SHA256\n"
                               "content-type: 1.2.840.113549.1.7.1\n" +
                                   dumped(*certificate) + dumped(*message.signerInfos[0]));
}

TEST(SignedData, HasItsFieldsInOrderAndMovesOnly) {
    PKCS7SignedData const m;
    std::vector<void const*> const fields = {
        &m.raw, &m.digestAlgorithms, &m.contentType, &m.content, &m.certificates, &m.crls, &m.signerInfos};
    EXPECT_EQ(fields.front(), static_cast<void const*>(&m));
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
    EXPECT_FALSE(std::is_polymorphic_v<PKCS7SignedData>);
    EXPECT_FALSE(std::is_copy_constructible_v<PKCS7SignedData>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<PKCS7SignedData>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<PKCS7SignedData>);
}

} // namespace TEST_FILE

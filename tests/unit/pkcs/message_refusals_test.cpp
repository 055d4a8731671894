/// Why messages are refused.
#include "sealkit/message.h"
#include "sealkit/timestamp.h"

#include "messages.h"

#include "support/random.h"

namespace TEST_FILE {

using namespace test;
using namespace test::der;

template <typename Object>
bool parseWith(Object& object, asn1::blob input, Refusal* refusal) {
    if constexpr (requires { object.parse(input, refusal); })
        return object.parse(input, refusal);
    else
        return parse(object, input, refusal);
}

/// The refusal, after which nothing may have been written to any stream.
template <typename Object>
Refusal refusalOf(Bytes const& encoding) {
    CapturedOutput output;
    CapturedErrors errors;
    Object object;
    Refusal refusal;
    bool const isGood = parseWith(object, encoding, &refusal);
    EXPECT_EQ(isGood, refusal.id == RefusalId::none);
    EXPECT_EQ(output.text() + errors.text(), "");
    return refusal;
}

std::string factOf(Refusal const& refusal, std::string const& label) {
    for (Fact const& fact : refusal.facts)
        if (fact.label == label)
            return fact.value;
    return "(no such fact)";
}

Bytes messageOf(SignerParts const& signer) {
    MessageParts parts;
    parts.signers = set(signer.der());
    return parts.der();
}

struct Expected {
    RefusalId id;
    std::string path;
    std::string found; ///< The fact; "(no such fact)" where there is none.
};

void expectRefusal(Refusal const& refusal, Expected const& expected) {
    EXPECT_STREQ(refusal.name(), expected.id == RefusalId::none ? "none" : getReasonText(expected.id).name)
        << refusal.str();
    EXPECT_EQ(refusal.path, expected.path) << refusal.str();
    EXPECT_EQ(factOf(refusal, "found"), expected.found) << refusal.str();
}

std::string const noFact = "(no such fact)";

TEST(SignedDataRefusal, IsEmptyForAGoodMessage) {
    EXPECT_FALSE(refusalOf<PKCS7SignedData>(MessageParts().der()));
    EXPECT_FALSE(refusalOf<PKCS7SignedData>(MessageParts().bare()));
    EXPECT_FALSE(refusalOf<PKCS7SignedData>(readMessage("attached.der")));
}

TEST(SignedDataRefusal, NamesAnotherKindOfObject) {
    expectRefusal(refusalOf<PKCS7SignedData>(sequence(oid(dataOid), context(0, octetString({1})))),
                  {RefusalId::unsupportedContentType, "", "data"});
    expectRefusal(refusalOf<PKCS7SignedData>(sequence(oid("1.2.3"))),
                  {RefusalId::unsupportedContentType, "", "1.2.3"});
    expectRefusal(refusalOf<PKCS7EnvelopedData>(MessageParts().der()),
                  {RefusalId::unsupportedContentType, "", "signed message"});
    expectRefusal(refusalOf<TimeStampRequest>(MessageParts().bare()),
                  {RefusalId::otherKind, "", "signed message"});
    Bytes const response = sequence(sequence(integer(2)));
    expectRefusal(refusalOf<TimeStampRequest>(response), {RefusalId::otherKind, "", "time-stamp response"});
    expectRefusal(refusalOf<PKCS7SignedData>(sequence(octetString({1}))), {RefusalId::otherKind, "", noFact});
    expectRefusal(refusalOf<PKCS7SignedData>(readMessage("p12-alice.der")),
                  {RefusalId::otherKind, "", "certificate"});
    EXPECT_EQ(factOf(refusalOf<TimeStampRequest>(response), "expected"), "time-stamp request");
}

TEST(SignedDataRefusal, TellsBerFromDamage) {
    Bytes const streamed =
        join({Bytes{0x30, 0x80}, oid(signedDataOid), Bytes{0xA0, 0x80}, MessageParts().bare(), Bytes(4)});
    Refusal refusal = refusalOf<PKCS7SignedData>(streamed);
    expectRefusal(refusal, {RefusalId::indefiniteLength, "", noFact});
    EXPECT_EQ(refusal.offset, 0u);

    MessageParts parts;
    Bytes const pieces = element(0x24, octetString({5, 6}));
    parts.content = sequence(oid(dataOid), context(0, pieces));
    refusal = refusalOf<PKCS7SignedData>(parts.der());
    expectRefusal(refusal, {RefusalId::segmentedString, "content", noFact});
    Bytes const whole = parts.der();
    auto const place = std::search(whole.begin(), whole.end(), pieces.begin(), pieces.end());
    EXPECT_EQ(refusal.offset, static_cast<size_t>(place - whole.begin()));

    Bytes damaged = MessageParts().der();
    damaged.pop_back();
    expectRefusal(refusalOf<PKCS7SignedData>(damaged), {RefusalId::truncatedElement, "", noFact});
    damaged = MessageParts().der();
    damaged.push_back(0);
    EXPECT_EQ(refusalOf<PKCS7SignedData>(damaged).id, RefusalId::trailingBytes);
    EXPECT_EQ(refusalOf<PKCS7SignedData>(Bytes{'h', 'e', 'l', 'l', 'o'}).id, RefusalId::unexpectedElement);
    damaged = join({MessageParts().der(), null()});
    refusal = refusalOf<PKCS7SignedData>(damaged);
    EXPECT_EQ(refusal.id, RefusalId::trailingBytes);
    EXPECT_EQ(refusal.offset, damaged.size() - 2);
    EXPECT_EQ(refusalOf<PKCS7SignedData>({}).id, RefusalId::emptyInput);
}

TEST(SignedDataRefusal, NamesPartsOfTheMessage) {
    MessageParts parts;
    parts.version = integer(4);
    expectRefusal(refusalOf<PKCS7SignedData>(parts.der()), {RefusalId::messageVersion, "", "4"});
    parts = {};
    parts.digestAlgorithms = set(sha256Algorithm(), algorithm("2.16.840.1.101.3.4.2.4", null()));
    Refusal const refusal = refusalOf<PKCS7SignedData>(parts.der());
    expectRefusal(refusal, {RefusalId::unsupportedDigest, "digest algorithm 2", noFact});
    EXPECT_EQ(factOf(refusal, "algorithm"), "SHA224");
    parts = {};
    parts.digestAlgorithms = set(sequence(oid("2.16.840.1.101.3.4.2.1")));
    expectRefusal(refusalOf<PKCS7SignedData>(parts.der()),
                  {RefusalId::digestParameters, "digest algorithm 1", "the end"});
    parts = {};
    parts.certificates = context(0, element(0xA1, null()));
    expectRefusal(refusalOf<PKCS7SignedData>(parts.der()),
                  {RefusalId::unsupportedCertificateKind, "certificate 1", "[1]"});
    parts = {};
    parts.certificates = context(0, messageCertificate("alice.pem")->serialize(), sequence());
    EXPECT_TRUE(refusalOf<PKCS7SignedData>(parts.der()).path.starts_with("certificate 2"));
    parts = {};
    parts.crls = context(1, sequence());
    EXPECT_TRUE(refusalOf<PKCS7SignedData>(parts.der()).path.starts_with("CRL 1"));
    parts = {};
    parts.signers = {};
    EXPECT_EQ(refusalOf<PKCS7SignedData>(parts.der()).path, "signers");
}

TEST(SignedDataRefusal, NamesPartsOfASigner) {
    SignerParts signer;
    signer.version = integer(3);
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(signer)),
                  {RefusalId::unsupportedSigner, "signer 1", "subject key identifier (version 3)"});
    signer = {};
    signer.issuerAndSerial = element(0x80, Bytes{1, 2});
    EXPECT_EQ(refusalOf<PKCS7SignedData>(messageOf(signer)).id, RefusalId::unsupportedSigner);
    signer = {};
    signer.version = integer(5);
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(signer)),
                  {RefusalId::messageVersion, "signer 1", "5"});
    signer = {};
    signer.attributes = {};
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(signer)),
                  {RefusalId::noSignedAttributes, "signer 1", noFact});
    signer = {};
    signer.signatureAlgorithm = algorithm("1.2.840.113549.1.1.10", null());
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(signer)),
                  {RefusalId::unsupportedSignatureAlgorithm, "signer 1", "RSASSA-PSS"});
    signer = {};
    signer.attributes =
        context(0, contentTypeAttribute(),
                attribute("1.2.840.113549.1.9.4", join({octetString({1}), octetString({2})})));
    expectRefusal(
        refusalOf<PKCS7SignedData>(messageOf(signer)),
        {RefusalId::severalValues, "signer 1, signed attribute 2, type (1.2.840.113549.1.9.4)", noFact});
    signer = {};
    signer.attributes = context(0, attribute("1.2.840.113549.1.9.5", utcTime("never")));
    EXPECT_EQ(refusalOf<PKCS7SignedData>(messageOf(signer)).id, RefusalId::malformedTime);
}

TEST(SignedDataRefusal, FollowsCounterSignatures) {
    SignerParts inner;
    inner.signatureAlgorithm = algorithm("1.2.840.10045.4.3.2");
    SignerParts outer;
    outer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", inner.der()));
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(outer)),
                  {RefusalId::unsupportedSignatureAlgorithm,
                   "signer 1, unsigned attribute 1, type (1.2.840.113549.1.9.6), counter-signature",
                   "SHA256+ECDSA"});
    outer.unsignedAttributes = context(1, attribute("1.3.6.1.4.1.311.3.3.1", messageOf(inner)));
    expectRefusal(refusalOf<PKCS7SignedData>(messageOf(outer)),
                  {RefusalId::unsupportedSignatureAlgorithm,
                   "signer 1, unsigned attribute 1, type (1.3.6.1.4.1.311.3.3.1), time-stamp, signer 1",
                   "SHA256+ECDSA"});
    EXPECT_EQ(refusalOf<PKCS7SignerInfo>(nestedSigner(17)).id, RefusalId::nestedTooDeep);
    EXPECT_EQ(refusalOf<PKCS7SignedData>(nestedMessage(17)).id, RefusalId::nestedTooDeep);
}

TEST(TimeStampRefusal, NamesPartsOfRequestsAndResponses) {
    Bytes const imprint = sequence(sha256Algorithm(), octetString({1, 2}));
    EXPECT_FALSE(refusalOf<TimeStampRequest>(sequence(integer(1), imprint)));
    expectRefusal(refusalOf<TimeStampRequest>(
                      sequence(integer(1), sequence(algorithm("1.2.3.4", null()), octetString({1})))),
                  {RefusalId::unsupportedDigest, "imprint", noFact});
    expectRefusal(refusalOf<TimeStampRequest>(sequence(integer(1), imprint, context(0, sequence()))),
                  {RefusalId::unsupportedRequestExtensions, "", noFact});
    EXPECT_EQ(refusalOf<TimeStampRequest>(sequence(integer(1), imprint, element(1, Bytes(2)))).id,
              RefusalId::malformedBoolean);
    Bytes const granted = sequence(integer(0));
    EXPECT_FALSE(refusalOf<TimeStampResponse>(sequence(granted, MessageParts().der())));
    EXPECT_EQ(refusalOf<TimeStampResponse>(sequence(granted)).path, "token");
    EXPECT_EQ(refusalOf<TimeStampResponse>(sequence(sequence(element(2, Bytes(5))))).id,
              RefusalId::numberOutOfRange);
    SignerParts signer;
    signer.version = integer(5);
    expectRefusal(refusalOf<TimeStampResponse>(sequence(granted, messageOf(signer))),
                  {RefusalId::messageVersion, "token, signer 1", "5"});
    EXPECT_FALSE(refusalOf<TimeStampResponse>(sequence(sequence(integer(2)), sequence())));
}

struct EnvelopedParts {
    Bytes version = integer(0);
    Bytes recipient = sequence(integer(0), sequence(name({{"2.5.4.3", "ca"}}), integer(7)),
                               algorithm("1.2.840.113549.1.1.1", null()), octetString(Bytes(64)));
    Bytes content = element(0x80, Bytes(16));
    Bytes attributes;

    Bytes der() const {
        Bytes const info =
            sequence(oid(dataOid), algorithm("2.16.840.1.101.3.4.1.42", octetString(Bytes(16))), content);
        return sequence(oid("1.2.840.113549.1.7.3"),
                        context(0, sequence(version, set(recipient), info, attributes)));
    }
};

TEST(EnvelopedDataRefusal, NamesKindsOfRecipients) {
    EXPECT_FALSE(refusalOf<PKCS7EnvelopedData>(EnvelopedParts().der()));
    auto const found = [](Bytes const& recipient) {
        EnvelopedParts parts;
        parts.recipient = join({parts.recipient, recipient});
        Refusal const refusal = refusalOf<PKCS7EnvelopedData>(parts.der());
        EXPECT_EQ(refusal.path, "recipient 2");
        EXPECT_EQ(refusal.id, RefusalId::unsupportedRecipient) << refusal.str();
        return factOf(refusal, "found");
    };
    EXPECT_EQ(found(context(1, integer(3))), "key agreement, as with an EC key");
    EXPECT_EQ(found(context(2, integer(4))), "a shared key-encryption key");
    EXPECT_EQ(found(context(3, integer(0))), "a password");
    EXPECT_EQ(found(context(4, oid("1.2.3"))), "another kind, 1.2.3");
    EXPECT_EQ(found(sequence(oid("1.2.3"))), "another kind, 1.2.3");
    EXPECT_EQ(found(context(5)), "an element [5]");
}

TEST(EnvelopedDataRefusal, ForgetsRecipientsThatAreLeftOut) {
    EnvelopedParts parts;
    parts.recipient = join({sequence(integer(0), null()), parts.recipient});
    EXPECT_FALSE(refusalOf<PKCS7EnvelopedData>(parts.der()));
    Refusal earlier;
    earlier.id = RefusalId::otherKind;
    earlier.path = "of another input";
    EXPECT_TRUE(PKCS7EnvelopedData().parse(asn1::blob(parts.der()), &earlier));
    EXPECT_EQ(earlier.id, RefusalId::otherKind);
    EXPECT_EQ(earlier.path, "of another input");
    parts.content = context(0, octetString(Bytes(16)));
    expectRefusal(refusalOf<PKCS7EnvelopedData>(parts.der()),
                  {RefusalId::segmentedString, "encrypted content", noFact});
}

TEST(EnvelopedDataRefusal, NamesVersionsAndWhatTheyDoNotHave) {
    EnvelopedParts parts;
    parts.version = integer(3);
    expectRefusal(refusalOf<PKCS7EnvelopedData>(parts.der()), {RefusalId::messageVersion, "", "3"});
    parts.recipient = context(3, integer(0));
    expectRefusal(refusalOf<PKCS7EnvelopedData>(parts.der()),
                  {RefusalId::unsupportedRecipient, "recipient 1", "a password"});
    parts = {};
    parts.attributes = context(1, null());
    expectRefusal(refusalOf<PKCS7EnvelopedData>(parts.der()), {RefusalId::unexpectedElement, "", "[1]"});
    expectRefusal(refusalOf<PKCS7EncryptedData>(sequence(integer(2), sequence())),
                  {RefusalId::messageVersion, "", "2"});
    expectRefusal(refusalOf<PKCS7KeyTransRecipientInfo>(sequence(integer(1))),
                  {RefusalId::messageVersion, "", "1"});
    EXPECT_EQ(refusalOf<PKCS7EncryptedContentInfo>(sequence()).path, "content type");
}

TEST(DecryptRefusal, TellsWhatFollowsFromTheMessageAndNothingOfTheKey) {
    auto const alice = messageCertificate("alice.pem");
    auto const key = aliceKey();
    PKCS7EnvelopedData message;
    ASSERT_TRUE(
        message.encrypt(*alice, asn1::blob(getDataOid()), "letter", CipherID::AesCbc, getDefaultRng()));
    auto const refusalOf = [&](PKCS7EnvelopedData const& encrypted, PrivateKey const& by) {
        CapturedOutput output;
        Refusal refusal;
        Bytes out = {1};
        bool const isGood = encrypted.decrypt(*alice, by, out, &refusal);
        EXPECT_EQ(isGood, refusal.id == RefusalId::none);
        EXPECT_EQ(isGood, !out.empty());
        EXPECT_EQ(output.text(), "");
        return refusal;
    };
    EXPECT_FALSE(refusalOf(message, *key));
    EXPECT_EQ(message.findRecipient(*alice), message.recipientInfos.data());
    EXPECT_EQ(refusalOf(message, Ed25519PrivateKey()).id, RefusalId::noRsaKey);

    auto const change = [&](auto edit) {
        PKCS7EnvelopedData changed = message;
        edit(changed);
        return refusalOf(changed, *key);
    };
    EXPECT_EQ(change([](auto& m) { m.recipientInfos[0].serialNumber = {9}; }).id, RefusalId::notARecipient);
    EXPECT_EQ(change([](auto& m) { m.recipientInfos[0].keyEncryptionAlgorithm.oid = {0x2A}; }).id,
              RefusalId::unsupportedKeyEncryption);
    auto const unknownCipher = [](auto& m) {
        Bytes const camellia = oid("1.2.392.200011.61.1.1.1.4");
        m.encryptedContentInfo.contentEncryptionAlgorithm.oid.assign(camellia.begin() + 2, camellia.end());
    };
    Refusal const byGoodKey = change(unknownCipher);
    EXPECT_EQ(byGoodKey.id, RefusalId::unsupportedCipher);
    EXPECT_EQ(factOf(byGoodKey, "found"), "Camellia-256-CBC");
    auto const badBlock = [](auto& m) { m.recipientInfos[0].encryptedKey.back() ^= 1; };
    Refusal const byBadKey = change([&](auto& m) {
        unknownCipher(m);
        badBlock(m);
    });
    EXPECT_EQ(byBadKey.str(), byGoodKey.str());
    EXPECT_EQ(change([](auto& m) { m.encryptedContentInfo.encryptedContent.clear(); }).id,
              RefusalId::missingContent);
    EXPECT_EQ(change([](auto& m) { m.encryptedContentInfo.encryptedContent.pop_back(); }).id,
              RefusalId::malformedCiphertext);
    EXPECT_EQ(change([](auto& m) {
                  m.encryptedContentInfo.contentEncryptionAlgorithm.params = octetString({1});
              }).id,
              RefusalId::malformedEncryptionParameters);

    // A bad key block and a bad content are one refusal.
    Refusal const undecryptable = change(badBlock);
    EXPECT_EQ(undecryptable.id, RefusalId::undecryptable);
    auto const badContent = [](auto& m) {
        Bytes& content = m.encryptedContentInfo.encryptedContent;
        content.resize(content.size() + 16); // Zeros decrypt to a last byte that is seldom a padding.
        content.back() = 7;
    };
    Refusal const changed = change(badContent);
    if (changed) {
        EXPECT_EQ(changed.str(), undecryptable.str());
    }
    EXPECT_TRUE(undecryptable.facts.empty() && undecryptable.path.empty());
    EXPECT_EQ(undecryptable.offset, Refusal::nowhere);

    Bytes out;
    EXPECT_TRUE(message.decrypt(message.recipientInfos[0], *key, out, nullptr));
    EXPECT_EQ(out, Bytes({'l', 'e', 't', 't', 'e', 'r'}));
}

TEST(MessageKind, IsToldByTheFirstElements) {
    EXPECT_EQ(getMessageKind(MessageParts().der()), MessageKind::signedData);
    EXPECT_EQ(getMessageKind(MessageParts().bare()), MessageKind::signedData);
    EXPECT_EQ(getMessageKind(EnvelopedParts().der()), MessageKind::envelopedData);
    EXPECT_EQ(getMessageKind(sequence(oid(dataOid))), MessageKind::otherContent);
    EXPECT_EQ(getMessageKind(sequence(oid("1.2.3"))), MessageKind::none);
    EXPECT_EQ(getMessageKind(sequence(integer(1), sequence(sha256Algorithm()))),
              MessageKind::timeStampRequest);
    EXPECT_EQ(getMessageKind(sequence(sequence(integer(0)), MessageParts().der())),
              MessageKind::timeStampResponse);
    EXPECT_EQ(getMessageKind(messageCertificate("alice.pem")->serialize()), MessageKind::none);
    EXPECT_EQ(getMessageKind({}), MessageKind::none);
    EXPECT_EQ(getContentTypeName(getContentType(MessageParts().der())), "signed message");
    EXPECT_EQ(getContentTypeName(getTimeStampInfoOid()), "time-stamp");
    EXPECT_EQ(getContentTypeName(getDataOid()), "data");
}

struct InfoParts {
    Bytes version = integer(1);
    Bytes policy = oid("1.2.3.4");
    Bytes imprint = sequence(sequence(oid("2.16.840.1.101.3.4.2.1")), octetString({1, 2}));
    Bytes serialNumber = integer(9);
    Bytes time = generalizedTime("20300101000000.125Z");
    Bytes accuracy = sequence(integer(1), element(0x80, Bytes{1, 0xF4}), element(0x81, Bytes{3}));
    Bytes rest = join({boolean(true), integer(5), context(0, element(0xA4, sequence())), context(1, null())});

    Bytes der() const { return sequence(version, policy, imprint, serialNumber, time, accuracy, rest); }
};

TEST(TimeStampInfo, ReadsEveryField) {
    TimeStampInfo info;
    ASSERT_TRUE(info.parse(asn1::blob(InfoParts().der()), nullptr));
    EXPECT_EQ(oidStr(info.policy), "1.2.3.4");
    EXPECT_EQ(info.hash(), HashID::SHA256);
    EXPECT_EQ(info.hashedMessage, Bytes({1, 2}));
    EXPECT_EQ(info.serialNumber, Bytes({9}));
    EXPECT_EQ(info.time, whenValid);
    EXPECT_EQ(info.fraction, "125");
    ASSERT_TRUE(info.accuracy.has_value());
    EXPECT_EQ(info.accuracy->seconds, 1u);
    EXPECT_EQ(info.accuracy->milliseconds, 500u);
    EXPECT_EQ(info.accuracy->microseconds, 3u);
    EXPECT_TRUE(info.isOrdered);
    EXPECT_EQ(info.nonce, Bytes({5}));
    EXPECT_EQ(info.authority, element(0xA4, sequence()));
    EXPECT_EQ(info.extensions, null());
    InfoParts least;
    least.accuracy = least.rest = {};
    ASSERT_TRUE(info.parse(asn1::blob(least.der()), nullptr));
    EXPECT_FALSE(info.accuracy || info.isOrdered);
    EXPECT_TRUE(info.nonce.empty() && info.authority.empty() && info.extensions.empty());
}

TEST(TimeStampInfo, TellsWhatIsMalformed) {
    auto const refusal = [](auto edit) {
        InfoParts parts;
        edit(parts);
        return refusalOf<TimeStampInfo>(parts.der());
    };
    expectRefusal(refusal([](InfoParts& p) { p.version = integer(2); }),
                  {RefusalId::messageVersion, "", "2"});
    EXPECT_EQ(refusal([](InfoParts& p) { p.policy = {}; }).path, "policy");
    EXPECT_EQ(refusal([](InfoParts& p) { p.time = utcTime("300101000000Z"); }).path, "time");
    EXPECT_EQ(refusal([](InfoParts& p) { p.time = generalizedTime("20300101000000.xZ"); }).id,
              RefusalId::malformedTime);
    EXPECT_EQ(refusal([](InfoParts& p) {
                  p.accuracy = sequence(element(0x80, Bytes{4, 0}));
              }).id,
              RefusalId::numberOutOfRange);
    EXPECT_EQ(refusal([](InfoParts& p) { p.accuracy = sequence(element(2, Bytes{0xFF})); }).id,
              RefusalId::numberOutOfRange);
    EXPECT_EQ(refusal([](InfoParts& p) { p.rest = octetString({}); }).id, RefusalId::unexpectedElement);
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, MessageParts().der()).isGood);
    Refusal why;
    EXPECT_FALSE(TimeStampInfo().parse(message, &why));
    EXPECT_EQ(why.id, RefusalId::unsupportedContentType);
}

TEST(TimeStampStatus, ReadsTextsAndFailures) {
    TimeStampStatus status;
    Bytes const bits = element(3, Bytes{4, 0x20, 0x01, 0x00, 0x40});
    Bytes const texts = sequence(utf8String("no"), utf8String("never"));
    ASSERT_TRUE(status.parse(asn1::blob(sequence(sequence(integer(2), texts, bits))), nullptr));
    EXPECT_EQ(status.status, 2u);
    EXPECT_STREQ(status.text()->name, "rejection");
    EXPECT_EQ(status.texts, (std::vector<std::string>{"no", "never"}));
    EXPECT_EQ(status.failures,
              (std::vector<TimeStampFailure>{TimeStampFailure::badRequest, TimeStampFailure::unacceptedPolicy,
                                             TimeStampFailure::systemFailure}));
    ASSERT_TRUE(status.parse(asn1::blob(sequence(sequence(integer(77), null()))), nullptr));
    EXPECT_EQ(status.text(), nullptr);
    Refusal refusal;
    EXPECT_FALSE(status.parse(asn1::blob(sequence()), &refusal));
    EXPECT_EQ(refusal.path, "status");
}

TEST(TimeStampReasons, HaveNamesAndSentencesInOrder) {
    auto const expectOrder = [](auto rows) {
        for (size_t i = 1; i < rows.size(); i++)
            EXPECT_LT(rows[i - 1].id, rows[i].id);
        for (auto const& row : rows)
            EXPECT_TRUE(std::string(row.sentence).ends_with('.')) << row.name;
    };
    expectOrder(timeStampStatuses());
    expectOrder(timeStampFailures());
}

/// The reader that tells why and the stated one are one: each bit of a message may flip.
TEST(MessageRefusal, IsFilledInExactlyWhenTheStatedReaderFails) {
    auto const expectAgreement = [](auto object, Bytes whole) {
        for (size_t bit = 0; bit < whole.size() * 8; bit++) {
            whole[bit / 8] ^= static_cast<unsigned char>(1u << bit % 8);
            Refusal refusal;
            bool const isGood = object.parse(asn1::blob(whole), &refusal);
            ASSERT_EQ(isGood, parseInto(object, whole).isGood) << bit;
            ASSERT_EQ(isGood, !refusal) << bit;
            ASSERT_TRUE(refusal.offset == Refusal::nowhere || refusal.offset <= whole.size()) << bit;
            whole[bit / 8] ^= static_cast<unsigned char>(1u << bit % 8);
        }
    };
    SignerParts signer;
    signer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", SignerParts().der()));
    expectAgreement(PKCS7SignedData(), messageOf(signer));
    expectAgreement(PKCS7EnvelopedData(), EnvelopedParts().der());
    expectAgreement(TimeStampResponse(), sequence(sequence(integer(0)), MessageParts().der()));
    expectAgreement(TimeStampRequest(),
                    sequence(integer(1), sequence(sha256Algorithm(), octetString({1, 2})), boolean(true)));
}

} // namespace TEST_FILE

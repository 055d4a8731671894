/// Bytes that nobody meant well: whatever arrives, parsing ends soon and says yes or no.
#include "sealkit/timestamp.h"

#include "messages.h"

#include "support/random.h"
#include "support/slow.h"

#include <type_traits>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

/// A message of a few hundred bytes with everything but certificates and CRLs.
Bytes smallMessage() {
    SignerParts signer;
    signer.attributes =
        context(0, contentTypeAttribute(), messageDigestAttribute(),
                attribute("1.2.840.113549.1.9.5", utcTime("300101000000Z")), attribute("1.2.3", null()));
    signer.unsignedAttributes = context(1, attribute("1.2.840.113549.1.9.6", SignerParts().der()),
                                        attribute("1.3.6.1.4.1.311.3.3.1", MessageParts().der()));
    MessageParts parts;
    parts.signers = set(signer.der());
    return parts.der();
}

Bytes smallRequest() {
    return sequence(integer(1), sequence(sha256Algorithm(), octetString({1, 2})), oid("1.2.3"), integer(5),
                    boolean(true));
}

/// Parses, and uses what came of it, whether or not it is good.
template <typename Message>
bool survives(Bytes const& encoding) {
    CapturedOutput output;
    CapturedErrors errors;
    Message message;
    bool const isGood = parseInto(message, encoding).isGood;
    if constexpr (std::is_same_v<Message, PKCS7SignedData>) {
        dumped(message);
        EXPECT_FALSE(message.verify(CertificateMemoryStore(), {}, whenValid, nullptr));
        message.raw.clear();
        if (isGood) {
            PKCS7SignedData again;
            EXPECT_TRUE(parseInto(again, saved(message)).isGood);
        }
    } else {
        message.dump();
    }
    return isGood;
}

template <typename Message>
void expectNoTruncationToParse(Bytes const& whole) {
    EXPECT_TRUE(survives<Message>(whole));
    for (size_t size = 0; size < whole.size(); size++)
        EXPECT_FALSE(survives<Message>(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))))
            << size;
}

TEST(HostileMessage, NoTruncationParses) {
    expectNoTruncationToParse<PKCS7SignedData>(smallMessage());
    expectNoTruncationToParse<TimeStampRequest>(smallRequest());
    expectNoTruncationToParse<TimeStampResponse>(sequence(sequence(integer(0)), MessageParts().der()));
    expectNoTruncationToParse<TimeStampResponse>(readMessage("response-refused.der"));
}

template <typename Message>
void flipEveryBit(Bytes bytes) {
    for (size_t bit = 0; bit < bytes.size() * 8; bit += lessWhenSlow(1, 5)) {
        unsigned char const mask = static_cast<unsigned char>(1u << bit % 8);
        bytes[bit / 8] ^= mask;
        survives<Message>(bytes);
        bytes[bit / 8] ^= mask;
    }
}

TEST(HostileMessage, EveryBitMayFlip) {
    flipEveryBit<PKCS7SignedData>(smallMessage());
    flipEveryBit<TimeStampRequest>(smallRequest());
    flipEveryBit<TimeStampResponse>(sequence(sequence(integer(0)), MessageParts().der()));
}

TEST(HostileMessage, NoByteOfAnOpenSslMessageMayChangeAndVerify) {
    Bytes bytes = readMessage("attached.der");
    PKCS7SignedData message;
    ASSERT_TRUE(parseInto(message, bytes).isGood);
    CertificateMemoryStore const store = storeOf("ca.pem");
    Random random(81);
    std::string const content = readMessageText("content.txt");
    for (size_t index = 0; index < bytes.size(); index += 1 + random.below(lessWhenSlow(12u, 40u))) {
        unsigned char const mask = static_cast<unsigned char>(1u << random.below(8));
        bytes[index] ^= mask;
        if (parseInto(message, bytes).isGood) {
            CapturedOutput quiet;
            // What may change is what nobody signs: then the content is still the same.
            if (message.verify(store, {}, whenValid, nullptr)) {
                EXPECT_EQ(message.content, octetString(Bytes(content.begin(), content.end())));
            }
        }
        bytes[index] ^= mask;
    }
}

TEST(HostileMessage, ManySignersAndCertificatesTakeNoLongerThanTheirBytes) {
    MessageParts parts;
    parts.signers = element(0x31, repeat(SignerParts().der(), lessWhenSlow<size_t>(100000, 3000)));
    Bytes const signers = parts.der();
    EXPECT_TRUE(parses<PKCS7SignedData>(signers));

    parts = MessageParts();
    size_t const many = lessWhenSlow<size_t>(20000, 1000);
    parts.certificates = element(0xA0, repeat(messageCertificate("alice.pem")->serialize(), many));
    PKCS7SignedData message;
    EXPECT_TRUE(parseInto(message, parts.der()).isGood);
    EXPECT_EQ(message.certificates.size(), many);
}

TEST(HostileMessage, ManyAlgorithmsAndAttributesTakeNoLongerThanTheirBytes) {
    size_t const many = lessWhenSlow<size_t>(100000, 3000);
    MessageParts parts;
    parts.digestAlgorithms = element(0x31, repeat(sha256Algorithm(), many));
    SignerParts signer;
    signer.attributes =
        element(0xA0, join({repeat(contentTypeAttribute(), many), repeat(attribute("1.2.3", null()), many)}));
    signer.unsignedAttributes =
        element(0xA1, repeat(attribute("1.2.840.113549.1.9.6", SignerParts().der()), many));
    parts.signers = set(signer.der());
    PKCS7SignedData message;
    EXPECT_TRUE(parseInto(message, parts.der()).isGood);
    dumped(message);
    EXPECT_FALSE(message.verify(CertificateMemoryStore(), {}, whenValid, nullptr));
    message.raw.clear();
    saved(message);
}

TEST(HostileMessage, ManySignersOverMuchContentAreVerifiedWithOneDigest) {
    PKCS7SignedData message;
    std::string const content(1 << 20, 'x');
    Bytes const dataType = {0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01, 0x07, 0x01};
    ASSERT_TRUE(
        message.create(*messageCertificate("alice.pem"), *aliceKey(), dataType, content, HashID::SHA256));
    Bytes const signer = saved(*message.signerInfos[0]);
    for (int count = 0; count < lessWhenSlow(1000, 100); count++) {
        message.signerInfos.push_back(std::make_unique<PKCS7SignerInfo>());
        ASSERT_TRUE(message.signerInfos.back()->parse(signer));
    }
    message.certificates.insert(message.certificates.end(), 5000, messageCertificate("alice.pem"));
    CertificateMemoryStore const store = storeOf("sub.pem");
    std::string reason;
    EXPECT_TRUE(message.verify(store, {}, whenValid, &reason)) << reason;
}

TEST(HostileMessage, NestingWithoutBoundIsRefusedSoon) {
    Bytes nested = nestedSigner(lessWhenSlow(2000u, 200u));
    EXPECT_FALSE(parses<PKCS7SignerInfo>(nested));
    nested = nestedMessage(lessWhenSlow(1000u, 100u));
    EXPECT_FALSE(parses<PKCS7SignedData>(nested));
    EXPECT_FALSE(outcomeOf<TimeStampResponse>(sequence(sequence(integer(0)), nested)).isGood);
}

TEST(HostileMessage, IndefiniteLengthsAreRefused) {
    Bytes streamed =
        join({Bytes{0x30, 0x80}, oid(signedDataOid), Bytes{0xA0, 0x80}, MessageParts().bare(), Bytes(4)});
    EXPECT_FALSE(parses<PKCS7SignedData>(streamed));
}

} // namespace TEST_FILE

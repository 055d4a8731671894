#include "sealkit/timestamp.h"

#include "messages.h"

#include "sealkit/oid.h"

#include <type_traits>

namespace TEST_FILE {

using namespace test;
using namespace test::der;

Bytes imprint() { return sequence(sha256Algorithm(), octetString({1, 2})); }

template <typename Message>
std::string shown(Message const& message) {
    CapturedOutput output;
    message.dump();
    return output.text();
}

TEST(TimeStampRequest, ReadsAndWritesEveryField) {
    Bytes const encoding =
        sequence(integer(1), imprint(), oid("1.2.3.4.1"), integer(Bytes{0x80, 1}), boolean(true));
    TimeStampRequest request;
    ASSERT_TRUE(request.parse(encoding));
    EXPECT_EQ(request.version, 1u);
    EXPECT_EQ(request.hashAlgorithm, HashID::SHA256);
    EXPECT_EQ(request.hashedMessage, (Bytes{1, 2}));
    EXPECT_EQ(request.policy, (Bytes{0x2a, 3, 4, 1}));
    EXPECT_EQ(request.nonce, (Bytes{0x80, 1}));
    EXPECT_EQ(request.certReq, 1);
    EXPECT_EQ(saved(request), encoding);
    EXPECT_EQ(shown(request),
              "1\ndigest-algo: SHA256\n01:02\nreq-policy: 1.2.3.4.1\nnonce: 80:01\ncert-req: 1\n");
}

TEST(TimeStampRequest, WritesTheBooleanEvenWhenItIsFalse) {
    TimeStampRequest request;
    ASSERT_TRUE(request.parse(sequence(integer(1), imprint())));
    EXPECT_EQ(request.certReq, 0);
    EXPECT_TRUE(request.policy.empty());
    EXPECT_TRUE(request.nonce.empty());
    Bytes const encoding = sequence(integer(1), imprint(), boolean(false));
    EXPECT_EQ(saved(request), encoding);
    EXPECT_TRUE(request.parse(encoding));
    EXPECT_EQ(shown(request), "1\ndigest-algo: SHA256\n01:02\ncert-req: 0\n");
}

TEST(TimeStampRequest, WritesVersionsAsNumbers) {
    for (std::uint32_t version : {0u, 127u, 128u, 200u, 0xFFFFFFu}) {
        TimeStampRequest request;
        ASSERT_TRUE(request.parse(sequence(integer(1), imprint())));
        request.version = version;
        TimeStampRequest again;
        ASSERT_TRUE(again.parse(saved(request)));
        EXPECT_EQ(again.version, version);
    }
    TimeStampRequest request;
    ASSERT_TRUE(request.parse(sequence(integer(200), imprint())));
    EXPECT_EQ(saved(request), sequence(integer(200), imprint(), boolean(false)));
}

TEST(TimeStampRequest, RefusesWhatIsMalformed) {
    Bytes const one = integer(1), yes = boolean(true);
    for (Bytes const& refused :
         {sequence(), sequence(one), sequence(imprint()), sequence(one, sequence(sha256Algorithm())),
          sequence(one, sequence(algorithm("1.2.3", null()), octetString({1}))),
          sequence(one, sequence(algorithm("2.16.840.1.101.3.4.2.1"), octetString({1}))),
          sequence(one, sequence(sha256Algorithm(), octetString({1}), null())),
          sequence(one, imprint(), yes, oid("1.2.3")), sequence(one, imprint(), integer(Bytes())),
          sequence(one, imprint(), element(0x01, {})), sequence(one, imprint(), yes, context(0)),
          join({sequence(one, imprint()), null()})})
        EXPECT_FALSE(TimeStampRequest().parse(refused));
}

TEST(TimeStampRequest, ReadsWhatOpenSslMakes) {
    TimeStampRequest request;
    ASSERT_TRUE(request.parse(readMessage("request-cert.der")));
    EXPECT_EQ(request.hashedMessage, calcDigest(HashID::SHA256, readMessage("content.txt")));
    EXPECT_FALSE(request.nonce.empty());
    EXPECT_EQ(request.certReq, 1);
    EXPECT_EQ(saved(request), readMessage("request-cert.der"));
    ASSERT_TRUE(request.parse(readMessage("request-policy.der")));
    EXPECT_EQ(request.hashAlgorithm, HashID::SHA512);
    EXPECT_EQ(oidStr(request.policy), "1.2.3.4.1");
    EXPECT_EQ(request.certReq, 0);
    EXPECT_EQ(saved(request).size(), readMessage("request-policy.der").size() + 3);
}

TEST(TimeStampResponse, ReadsAGrantAndItsToken) {
    for (unsigned char status : {0, 1}) {
        TimeStampResponse response;
        ASSERT_TRUE(parseInto(response, sequence(sequence(integer(status)), MessageParts().der())).isGood);
        EXPECT_EQ(response.status, status);
        ASSERT_NE(response.token, nullptr);
        EXPECT_EQ(response.token->raw, MessageParts().der());
        EXPECT_EQ(shown(response), "status: " + std::to_string(status) + "\n" + dumped(*response.token));
        response.status = 2;
        EXPECT_EQ(shown(response), "status: 2\n");
    }
}

TEST(TimeStampResponse, OfARefusalHasNoToken) {
    for (Bytes const& encoding :
         {sequence(sequence(integer(2))), sequence(sequence(integer(2)), MessageParts().der())}) {
        TimeStampResponse response;
        response.token = std::make_unique<PKCS7SignedData>();
        EXPECT_TRUE(parseInto(response, encoding).isGood);
        EXPECT_EQ(response.status, 2u);
        EXPECT_EQ(response.token, nullptr);
        EXPECT_EQ(shown(response), "status: 2\n");
    }
}

TEST(TimeStampResponse, RefusesWhatIsMalformed) {
    Bytes const token = MessageParts().der();
    for (Bytes const& refused :
         {sequence(), sequence(sequence()), sequence(integer(0), token), sequence(sequence(integer(0))),
          sequence(sequence(integer(0)), sequence()), sequence(sequence(integer(0)), null()),
          sequence(sequence(integer(0)), token, null()), sequence(sequence(integer(2)), null()),
          sequence(sequence(integer(Bytes())), token),
          sequence(sequence(integer(Bytes{1, 0, 0, 0, 0})), token),
          join({sequence(sequence(integer(0)), token), null()})})
        EXPECT_FALSE(outcomeOf<TimeStampResponse>(refused).isGood);
}

TEST(TimeStampResponse, IsNoGrantWhenTheStatusIsFollowedByGarbage) {
    Bytes const garbage = {0x30, 0x7F};
    for (unsigned char status : {0, 2}) {
        Bytes const info = sequence(integer(status), garbage);
        EXPECT_FALSE(outcomeOf<TimeStampResponse>(sequence(info, MessageParts().der())).isGood);
        EXPECT_FALSE(outcomeOf<TimeStampResponse>(sequence(info)).isGood);
    }
    // What stands there otherwise is passed over: a text and the reasons of a refusal.
    Bytes const whole = sequence(integer(2), sequence(utf8String("no")), bitString({0x80}, 7));
    EXPECT_TRUE(outcomeOf<TimeStampResponse>(sequence(whole)).isGood);
}

TEST(TimeStampResponse, ReadsWhatOpenSslMakes) {
    TimeStampResponse response;
    Outcome const result = parseInto(response, readMessage("response.der"));
    ASSERT_TRUE(result.isGood);
    EXPECT_EQ(result.output, "unknown auth attr 1.2.840.113549.1.9.16.2.12\n");
    EXPECT_EQ(oidStr(response.token->contentType), "1.2.840.113549.1.9.16.1.4");
    std::string reason;
    EXPECT_TRUE(response.token->verify(storeOf("ca.pem"), {}, whenValid, &reason)) << reason;
    EXPECT_TRUE(parseInto(response, readMessage("response-refused.der")).isGood);
    EXPECT_EQ(response.status, 2u);
    EXPECT_EQ(response.token, nullptr);
}

TEST(TimeStamp, FieldsAreInOrder) {
    TimeStampRequest const q;
    std::vector<void const*> const fields = {&q.version, &q.hashAlgorithm, &q.hashedMessage,
                                             &q.policy,  &q.nonce,         &q.certReq};
    EXPECT_EQ(fields.front(), static_cast<void const*>(&q));
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
    TimeStampResponse const r;
    EXPECT_LT(static_cast<void const*>(&r.status), static_cast<void const*>(&r.token));
    EXPECT_FALSE(std::is_polymorphic_v<TimeStampRequest>);
    EXPECT_FALSE(std::is_copy_constructible_v<TimeStampResponse>);
}

} // namespace TEST_FILE

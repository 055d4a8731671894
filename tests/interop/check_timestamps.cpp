#include "interop/checks.h"

#include "sealkit/store.h"
#include "sealkit/timestamp.h"

#include "interop/messages.h"
#include "interop/names.h"
#include "support/captured_output.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using interop::Bytes;

/// The token of a grant: what it states, and whether it verifies.
void checkToken(test::Case const& c, PKCS7SignedData const& token) {
    Bytes const info = c.bytes("info");
    EXPECT_EQ(oidStr(token.contentType), "1.2.840.113549.1.9.16.1.4");
    EXPECT_EQ(token.content, DerEncoder().addOctetString(info).take());
    ASSERT_EQ(token.signerInfos.size(), 1u);
    EXPECT_EQ(token.signerInfos[0]->digestAlgorithm, interop::hashNamed(c.text("signer-hash")));
    EXPECT_EQ(token.certificates.size(), c.number("certificates"));
    CertificateMemoryStore store;
    store.certs.push_back(interop::certificateOf(c.bytes("root")));
    test::CapturedOutput const quiet;
    std::string reason;
    bool const isVerified =
        token.verify(store, {}, TimePoint::fromSeconds(static_cast<std::int64_t>(c.number("now"))), &reason);
    if (c.number("certificates") == 0)
        EXPECT_NE(reason.find("its certificate is not available"), reason.npos) << reason;
    else
        EXPECT_TRUE(isVerified) << reason;
}

/// A message whose signature the token was made for, and which holds it.
void checkStamped(test::Case const& c, PKCS7SignedData const& token) {
    Bytes const encoding = c.bytes("stamped");
    PKCS7SignedData message;
    test::CapturedOutput const quiet;
    ASSERT_TRUE(message.parse(encoding));
    ASSERT_EQ(message.signerInfos.size(), 1u);
    PKCS7SignerInfo const& signer = *message.signerInfos[0];
    ASSERT_NE(signer.msCounterSignature, nullptr);
    EXPECT_EQ(signer.msCounterSignature->raw, token.raw);
    Bytes const digest = calcDigest(interop::hashNamed(c.text("imprint-hash")), signer.encryptedDigest);
    Bytes const& stated = signer.msCounterSignature->content;
    EXPECT_NE(std::search(stated.begin(), stated.end(), digest.begin(), digest.end()), stated.end())
        << "the token is for another signature";
}

} // namespace

void interop::checkTimeStampRequest(test::Case const& c) {
    TimeStampRequest request;
    bool const isGood = request.parse(c.bytes("request"));
    if (c.has("parsed")) {
        c.ignore({"parsed", "why"});
        EXPECT_FALSE(isGood);
        return;
    }
    ASSERT_TRUE(isGood);
    EXPECT_EQ(request.version, c.number("version"));
    EXPECT_EQ(request.hashAlgorithm, hashNamed(c.text("hash")));
    EXPECT_EQ(request.hashedMessage, c.bytes("digest"));
    EXPECT_EQ(request.policy.empty() ? "" : oidStr(request.policy), c.text("policy"));
    EXPECT_EQ(request.nonce, c.bytes("nonce"));
    EXPECT_EQ(request.certReq, c.number("cert-req"));
    DerEncoder to;
    request.save(to);
    EXPECT_EQ(to.take(), c.bytes("written"));
}

void interop::checkTimeStampResponse(test::Case const& c) {
    TimeStampResponse response;
    {
        test::CapturedOutput const output;
        ASSERT_TRUE(response.parse(c.bytes("response")));
        std::string const said = onOneLine(output.text());
        EXPECT_TRUE(said.ends_with(c.text("output"))) << said;
    }
    EXPECT_EQ(response.status, c.number("status"));
    ASSERT_EQ(response.token != nullptr, c.has("info"));
    if (!response.token)
        return;
    checkToken(c, *response.token);
    if (c.has("stamped"))
        checkStamped(c, *response.token);
}

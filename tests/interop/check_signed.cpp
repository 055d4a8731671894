#include "interop/checks.h"

#include "sealkit/pkcs7.h"
#include "sealkit/signature.h"
#include "sealkit/store.h"

#include "interop/messages.h"
#include "interop/names.h"
#include "support/captured_output.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace {

using interop::Bytes;

/// What the library says when it reads the certificates that it has read as part of something else.
std::string noticesOf(PKCS7SignedData const& message) {
    test::CapturedOutput const output;
    for (auto const& certificate : message.certificates) {
        Bytes const der = certificate->serialize();
        EXPECT_TRUE(X509Certificate().parse(der.data(), static_cast<unsigned>(der.size())));
    }
    for (auto const& crl : message.crls) {
        Bytes const der = crl->serialize();
        EXPECT_TRUE(X509Crl().parse(der.data(), static_cast<unsigned>(der.size())));
    }
    return interop::onOneLine(output.text());
}

template <typename Objects>
Bytes digestOfAll(Objects const& objects) {
    Bytes all;
    for (auto const& object : objects) {
        Bytes const der = object->serialize();
        all.insert(all.end(), der.begin(), der.end());
    }
    return calcDigest(HashID::SHA256, all);
}

std::shared_ptr<X509Certificate> certificateOf(PKCS7SignerInfo const& signer,
                                               PKCS7SignedData const& message) {
    for (auto const& certificate : message.certificates) {
        if (certificate->issuerBytes() == signer.issuer && certificate->serialNumber == signer.serialNumber)
            return certificate;
    }
    ADD_FAILURE() << "the signer's certificate is missing";
    return nullptr;
}

void checkSigner(test::Case const& c, std::string const& number, PKCS7SignerInfo const& signer) {
    SCOPED_TRACE("signer " + number);
    EXPECT_EQ(signer.issuer, c.bytes("issuer" + number));
    EXPECT_EQ(signer.serialNumber, c.bytes("serial" + number));
    EXPECT_EQ(signer.digestAlgorithm, interop::hashNamed(c.text("hash" + number)));
    EXPECT_EQ(signer.contentDigest, c.bytes("digest" + number));
    std::string const time = "time" + number;
    ASSERT_EQ(signer.hasSigningTime, c.has(time) ? 1 : 0);
    if (c.has(time)) {
        EXPECT_EQ(signer.signingTime.seconds, static_cast<std::int64_t>(c.number(time)));
    }
}

/// A signer's signature, signed as a content is: one signer has that, or none.
void checkCounterSignature(test::Case const& c, PKCS7SignedData const& message) {
    auto const hasOne = [](auto const& signer) { return signer->counterSignature != nullptr; };
    ASSERT_EQ(std::ranges::count_if(message.signerInfos, hasOne), c.has("counter-hash") ? 1 : 0);
    if (!c.has("counter-hash"))
        return;
    PKCS7SignerInfo const& countersigned = **std::ranges::find_if(message.signerInfos, hasOne);
    PKCS7SignerInfo const& counter = *countersigned.counterSignature;
    HashID const hash = interop::hashNamed(c.text("counter-hash"));
    EXPECT_TRUE(counter.verifyContentDigest(interop::dataType, countersigned.encryptedDigest, hash));
    auto const certificate = certificateOf(counter, message);
    ASSERT_NE(certificate, nullptr);
    EXPECT_TRUE(verifyHashed(*certificate->parsePublicKey(), hash, counter.messageDigest(hash),
                             counter.encryptedDigest));
}

void checkFields(test::Case const& c, PKCS7SignedData const& message, Bytes const& content) {
    EXPECT_EQ(oidStr(message.contentType), c.text("type"));
    EXPECT_EQ(message.content,
              c.text("detached") == "yes" ? Bytes() : DerEncoder().addOctetString(content).take());
    std::vector<HashID> hashes;
    std::istringstream names(c.text("hashes"));
    for (std::string name; names >> name;)
        hashes.push_back(interop::hashNamed(name));
    EXPECT_EQ(message.digestAlgorithms, hashes);
    EXPECT_EQ(message.certificates.size(), c.number("certificates"));
    EXPECT_EQ(digestOfAll(message.certificates), c.bytes("certificates-digest"));
    EXPECT_EQ(message.crls.size(), c.number("crls"));
    EXPECT_EQ(digestOfAll(message.crls), c.bytes("crls-digest"));
    ASSERT_EQ(message.signerInfos.size(), c.number("signers"));
    for (size_t i = 0; i < message.signerInfos.size(); i++)
        checkSigner(c, std::to_string(i + 1), *message.signerInfos[i]);
}

/// A signer's own check of the content, which is as the signers signed it, against others.
void checkContentDigest(PKCS7SignerInfo const& signer, Bytes const& type, Bytes content, bool isSigned) {
    EXPECT_EQ(signer.verifyContentDigest(type, content, signer.digestAlgorithm), isSigned);
    EXPECT_FALSE(signer.verifyContentDigest(type, content, HashID::MD4));
    EXPECT_FALSE(signer.verifyContentDigest({}, content, signer.digestAlgorithm));
    content.push_back(0);
    EXPECT_FALSE(signer.verifyContentDigest(type, content, signer.digestAlgorithm));
}

} // namespace

void interop::checkSigned(test::Case const& c) {
    Bytes const encoding = c.bytes("message");
    PKCS7SignedData message;
    bool isGood;
    {
        test::CapturedOutput const output;
        test::CapturedErrors const errors;
        isGood = message.parse(encoding);
        EXPECT_EQ(onOneLine(errors.text()), c.has("errors") ? c.text("errors") : "");
        EXPECT_EQ(onOneLine(output.text()), noticesOf(message) + c.text("output"));
    }
    if (c.has("parsed")) {
        c.ignore({"parsed", "why"});
        EXPECT_FALSE(isGood);
        return;
    }
    ASSERT_TRUE(isGood);
    Bytes content = contentOf(c.id(), c.number("content-size"));
    bool const isChanged = c.has("changed-content");
    c.ignore({"changed-content"});
    if (isChanged)
        content.push_back(0);
    checkFields(c, message, content);
    checkCounterSignature(c, message);
    for (auto const& signer : message.signerInfos)
        checkContentDigest(*signer, message.contentType, content, !isChanged);
    DerEncoder again;
    message.save(again);
    EXPECT_EQ(again.take(), encoding);

    CertificateMemoryStore store;
    store.certs.push_back(certificateOf(c.bytes("root")));
    TimePoint const now = TimePoint::fromSeconds(static_cast<std::int64_t>(c.number("now")));
    std::string reason;
    test::CapturedOutput const quiet;
    bool const isVerified =
        message.verify(store, c.text("detached") == "yes" ? asn1::blob(content) : asn1::blob(), now, &reason);
    if (c.has("refused")) {
        EXPECT_FALSE(isVerified);
        EXPECT_NE(reason.find(c.text("refused")), reason.npos) << reason;
    } else
        EXPECT_TRUE(isVerified) << reason;
}

void interop::checkSigning(test::Case const& c) {
    SignedRecipe recipe;
    for (unsigned i = 1; c.has("key" + std::to_string(i)); i++) {
        std::string const number = std::to_string(i);
        recipe.signers.push_back({certificateOf(c.bytes("certificate" + number)), c.text("key" + number),
                                  hashNamed(c.text("hash" + number))});
    }
    if (c.has("authority"))
        recipe.more.push_back(certificateOf(c.bytes("authority")));
    if (c.has("counter-hash"))
        recipe.counterHash = hashNamed(c.text("counter-hash"));
    recipe.content = contentOf(c.id(), c.number("content-size"));
    recipe.isDetached = c.text("detached") == "yes";
    Bytes const encoding = recipe.makeDer();
    EXPECT_EQ(calcDigest(HashID::SHA256, encoding), c.bytes("digest"));

    PKCS7SignedData parsed;
    test::CapturedOutput const quiet;
    ASSERT_TRUE(parsed.parse(encoding));
    ASSERT_EQ(parsed.signerInfos.size(), recipe.signers.size());
    CertificateMemoryStore store;
    store.certs.push_back(certificateOf(c.bytes("root")));
    std::string reason;
    EXPECT_TRUE(parsed.verify(store, recipe.content,
                              TimePoint::fromSeconds(static_cast<std::int64_t>(c.number("now"))), &reason))
        << reason;
}

#include "interop/checks.h"

#include "sealkit/cipher.h"
#include "sealkit/pkcs7.h"

#include "interop/messages.h"
#include "interop/names.h"
#include "support/captured_output.h"
#include "support/der.h"

#include <gtest/gtest.h>

namespace {

namespace der = test::der;
using interop::Bytes;

Bytes bytesOf(asn1::blob view) { return Bytes(view.data(), view.data() + view.size()); }

void checkRecipient(test::Case const& c, PKCS7EnvelopedData const& message,
                    X509Certificate const& certificate) {
    size_t const place = c.number("place");
    ASSERT_EQ(message.recipientInfos.size(), c.number("recipients"));
    ASSERT_LT(place, message.recipientInfos.size());
    PKCS7KeyTransRecipientInfo const& recipient = message.recipientInfos[place];
    if (c.text("by-key-id") == "yes") {
        EXPECT_EQ(recipient.version, 2u);
        EXPECT_EQ(recipient.subjectKeyId, certificate.subjectKeyId);
    } else {
        EXPECT_EQ(recipient.version, 0u);
        EXPECT_EQ(recipient.serialNumber, certificate.serialNumber);
        EXPECT_TRUE(asn1::blob(recipient.issuerElement) == certificate.issuerBytes());
    }
}

/// What the library says when it reads the issuers that name recipients.
std::string noticesOf(PKCS7EnvelopedData const& message) {
    test::CapturedOutput const output;
    for (PKCS7KeyTransRecipientInfo const& recipient : message.recipientInfos) {
        if (recipient.version == 0) {
            EXPECT_TRUE(DistinguishedName().parse(recipient.issuerElement));
        }
    }
    return interop::onOneLine(output.text());
}

void checkOpening(PKCS7EnvelopedData const& message, X509Certificate const& certificate,
                  PrivateKey const& key, Bytes const& content) {
    test::CapturedOutput const output;
    Bytes opened;
    EXPECT_TRUE(message.decrypt(certificate, key, opened));
    EXPECT_EQ(opened, content);
    EXPECT_EQ(output.text(), "");
}

} // namespace

void interop::checkEnveloped(test::Case const& c) {
    c.ignore({"why"});
    Bytes const encoding = c.bytes("message");
    PKCS7EnvelopedData message;
    test::CapturedOutput const output;
    bool const isGood = message.parse(encoding);
    std::string const notices = noticesOf(message);
    if (c.has("parsed")) {
        c.ignore({"parsed"});
        EXPECT_FALSE(isGood);
        EXPECT_EQ(onOneLine(output.text()), notices + c.text("output"));
        return;
    }
    ASSERT_TRUE(isGood);
    EXPECT_EQ(onOneLine(output.text()), notices);
    EXPECT_EQ(message.encode(), encoding);
    auto const certificate = certificateOf(c.bytes("certificate"));
    PrivateKey const& key = privateKey(c.text("key"));
    if (c.has("opened")) {
        c.ignore({"opened"});
        Bytes opened = {1, 2, 3};
        EXPECT_FALSE(message.decrypt(*certificate, key, opened));
        EXPECT_TRUE(opened.empty());
        EXPECT_EQ(onOneLine(output.text()), notices + c.text("output"));
        return;
    }
    EXPECT_EQ(message.version, c.number("version"));
    EXPECT_EQ(oidStr(message.encryptedContentInfo.contentType), c.text("type"));
    EXPECT_EQ(oidStr(message.encryptedContentInfo.contentEncryptionAlgorithm.oid), c.text("cipher"));
    checkRecipient(c, message, *certificate);
    checkOpening(message, *certificate, key, contentOf(c.id(), c.number("content-size")));
}

void interop::checkEnveloping(test::Case const& c) {
    EnvelopedRecipe recipe;
    for (unsigned i = 1; c.has("certificate" + std::to_string(i)); i++)
        recipe.recipients.push_back(certificateOf(c.bytes("certificate" + std::to_string(i))));
    recipe.how.cipher = cipherNamed(c.text("cipher"));
    recipe.how.keySize = static_cast<unsigned>(c.number("key-size"));
    recipe.how.byKeyId = c.text("by-key-id") == "yes";
    recipe.isVersion2 = c.text("version2") == "yes";
    recipe.content = contentOf(c.id(), c.number("content-size"));
    recipe.seed = static_cast<unsigned>(c.number("seed"));
    PKCS7EnvelopedData const made = recipe.make();
    Bytes const encoding = made.encode();
    EXPECT_EQ(calcDigest(HashID::SHA256, encoding), c.bytes("digest"));

    test::CapturedOutput const quiet;
    PKCS7EnvelopedData parsed;
    ASSERT_TRUE(parsed.parse(encoding));
    EXPECT_EQ(parsed.encode(), encoding);
    checkOpening(parsed, *recipe.recipients.back(), privateKey(c.text("last-key")), recipe.content);
}

void interop::checkEncryptedData(test::Case const& c) {
    Bytes const encoding = c.bytes("message"), key = c.bytes("key");
    asn1::parser message{asn1::blob(encoding)};
    asn1::parser fields(message.take());
    EXPECT_EQ(oidStr(fields.take()), "1.2.840.113549.1.7.6");
    Bytes const element = bytesOf(fields.take());

    PKCS7EncryptedData data;
    ASSERT_TRUE(parse(data, element));
    EXPECT_EQ(encode(data), element);
    PKCS7EncryptedContentInfo const& info = data.encryptedContentInfo;
    EXPECT_EQ(Bytes(info.contentType), dataType);
    asn1::parser parameters{asn1::blob(info.contentEncryptionAlgorithm.params)};
    Bytes const iv = bytesOf(parameters.take());
    EXPECT_EQ(info.contentEncryptionAlgorithm.params, der::octetString(iv));
    EXPECT_EQ(oidStr(info.contentEncryptionAlgorithm.oid), c.text("algorithm"));

    auto const cipher = createCipher(cipherNamed(c.text("cipher")), key, 0);
    ASSERT_NE(cipher, nullptr);
    ASSERT_EQ(iv.size(), cipher->blockLength());
    cipher->setIV(iv.data(), static_cast<unsigned>(iv.size()));
    Bytes plain(info.encryptedContent.size());
    cipher->decrypt(info.encryptedContent.data(), static_cast<unsigned>(plain.size()), nullptr, 0,
                    plain.data());
    Bytes padded = contentOf(c.id(), c.number("content-size"));
    size_t const padding = iv.size() - padded.size() % iv.size();
    padded.insert(padded.end(), padding, static_cast<unsigned char>(padding));
    EXPECT_EQ(plain, padded);
}

// Project Wycheproof's RSA decryptions, as encrypted keys of messages.
#include "sealkit/pkcs7.h"
#include "sealkit/pkcs8.h"

#include "asn1/oids.h"
#include "support/captured_output.h"
#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

/// A message whose content nobody can decrypt, so that a key that comes out is told from one that does not.
PKCS7EnvelopedData messageWith(Bytes const& encryptedKey) {
    PKCS7EnvelopedData message;
    message.version = 2;
    PKCS7KeyTransRecipientInfo& recipient = message.recipientInfos.emplace_back();
    recipient.version = 2;
    recipient.subjectKeyId = {1};
    recipient.keyEncryptionAlgorithm.oid.assign(std::begin(detail::oid::rsaEncryption),
                                                std::end(detail::oid::rsaEncryption));
    recipient.encryptedKey = encryptedKey;
    message.encryptedContentInfo.contentEncryptionAlgorithm.oid = {0x2A, 0x03};
    return message;
}

/// One decryption takes a tenth of a second under emulation.
unsigned const every = test::lessWhenSlow(1u, 12u);

TEST_CASES(Wycheproof, RsaDecryption, "wycheproof/rsa_pkcs1_2048.txt", "wycheproof/rsa_pkcs1_3072.txt",
           "wycheproof/rsa_pkcs1_4096.txt")
(test::Case const& c) {
    X509Certificate certificate;
    certificate.subjectKeyId = {1};
    c.ignore({"prime1", "prime2", "exponent1", "exponent2", "coefficient", "flags"});
    Bytes const pkcs8 = c.bytes("privateKeyPkcs8"), encrypted = c.bytes("ct"), expected = c.bytes("msg");
    bool const valid = c.text("result") == "valid";
    if (c.index() % every != 0)
        GTEST_SKIP() << "one of " << every << " is enough here";
    std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(pkcs8);
    ASSERT_NE(key, nullptr);
    PKCS7EnvelopedData message = messageWith(encrypted);
    Bytes out;
    test::CapturedOutput const output;
    EXPECT_FALSE(message.decrypt(certificate, *key, out));
    EXPECT_EQ(output.text(), valid ? "EncryptedContentInfo: unimplemented algorithm: <1.2.3>\n"
                                   : "ktri: key decrypt failed\n");
    // A message of the size of a key is one: what is encrypted under it comes out again.
    if (!valid || expected.size() != 32)
        return;
    message.encryptedContentInfo.contentEncryptionAlgorithm.oid.assign(std::begin(detail::oid::aes256Cbc),
                                                                       std::end(detail::oid::aes256Cbc));
    Bytes const iv(16, 9);
    DerEncoder params;
    params.addOctetString(iv);
    message.encryptedContentInfo.contentEncryptionAlgorithm.params = params.take();
    Bytes const padded(16, 1);
    message.encryptedContentInfo.encryptedContent.resize(16);
    std::unique_ptr<Cipher> const cipher = createCipher(CipherID::AesCbc, expected, 0);
    cipher->setIV(iv.data(), 16);
    cipher->encrypt(padded.data(), 16, nullptr, 0, message.encryptedContentInfo.encryptedContent.data());
    EXPECT_TRUE(message.decrypt(certificate, *key, out));
    EXPECT_EQ(out, Bytes(15, 1));
}

} // namespace TEST_FILE

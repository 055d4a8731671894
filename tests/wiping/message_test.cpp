#include "sealkit/agreement.h"
#include "sealkit/enveloped.h"
#include "sealkit/pbkdf2.h"
#include "sealkit/pkcs7.h"
#include "sealkit/pkcs8.h"

#include "support/captured_output.h"
#include "support/rngs.h"
#include "wiping/secrets.h"

#include <fstream>
#include <iterator>

namespace {

using test::Bytes;
using test::Watch;

Bytes readFile(std::string const& name) {
    std::ifstream file(SEALKIT_TEST_DATA "/vectors/pkcs/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Bytes const content = test::Random(7).bytes(100);

/// What an enveloped message is made from, in the order in which it is drawn.
Bytes contentKeyOf(unsigned seed) {
    Bytes key(32);
    EXPECT_TRUE(test::SeededRng(seed).fill(key.data(), 32));
    return key;
}

TEST(Wiping, EnvelopedMessagesLeaveNoContentKey) {
    constexpr unsigned seed = 3;
    Bytes const file = readFile("recipient.der");
    X509Certificate certificate;
    {
        test::CapturedOutput const ignored;
        ASSERT_TRUE(certificate.parse(file.data(), test::size(file)));
    }
    std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(readFile("recipient-key.der"));
    RsaPrivateKey const& rsa = *dynamic_cast<RsaPrivateKey const*>(key.get());
    PKCS7EnvelopedData made;
    ASSERT_TRUE(made.encrypt(certificate, {}, content, CipherID::AesCbc, test::SeededRng(seed)));
    BigNum const block = expByMod(BigNum(asn1::blob(made.recipientInfos[0].encryptedKey)), rsa.d, rsa.n);
    Bytes const contentKey = contentKeyOf(seed), blockBytes = block.bin(128);
    ASSERT_TRUE(std::equal(contentKey.begin(), contentKey.end(), blockBytes.end() - 32));

    // A last byte that is no padding: the content is decrypted, and refused.
    PKCS7EnvelopedData broken = made;
    broken.encryptedContentInfo.encryptedContent[95] ^= 0x80;

    Watch watch;
    test::addNumber(watch, "block", block);
    watch.addSecret("content key", contentKey);
    watch.addSecret("content", content);
    test::runSearched(watch, [&] {
        PKCS7EnvelopedData again;
        Bytes out;
        EXPECT_TRUE(again.encrypt(certificate, {}, content, CipherID::AesCbc, test::SeededRng(seed)));
        EXPECT_TRUE(again.decrypt(certificate, *key, out));
        EXPECT_EQ(out, content);
        EXPECT_FALSE(broken.decrypt(certificate, *key, out)) << "wipes what it is given, too";
        EXPECT_TRUE(out.empty());
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, EnvelopedMessagesOfAllKindsLeaveNoContentKey) {
    constexpr unsigned seed = 3;
    test::SeededRng keyRng(5);
    EcPrivateKey own;
    own.curve = Curve::p256;
    ASSERT_TRUE(own.generatePrivKey(keyRng));
    X509Certificate certificate;
    certificate.setPublicKey(own);
    certificate.serialNumber = {1};
    X509Certificate const* const certificates[] = {&certificate};
    std::string_view const passwords[] = {"a password that is searched for"};
    EnvelopedOptions options;
    options.iterations = 3;
    auto const make = [&] {
        test::SeededRng rng(seed);
        return encryptMessage(certificates, passwords, {}, content, options, rng, nullptr);
    };
    Bytes const encoded = make();
    ASSERT_FALSE(encoded.empty());

    // The secrets of both recipients, by the numbers that are drawn: key, nonce, ephemeral key, salt.
    EnvelopedMessage message;
    ASSERT_TRUE(message.parse(encoded, nullptr));
    EcPublicKey originator;
    ASSERT_TRUE(parseFromDerEncoded(originator, own.algorithmParams(),
                                    message.recipients[0].agreement->originatorKey, nullptr));
    Bytes const agreed = agreeKeys(own, originator);
    asn1::parser derivation(message.recipients[1].keyDerivation.params);
    ASSERT_TRUE(derivation.enter(0x30));
    Bytes passwordKey(32);
    ASSERT_TRUE(pbkdf2(HashID::SHA256, passwords[0], derivation.value(), 3, passwordKey));

    EnvelopedMessage broken;
    Bytes changed = encoded;
    changed.back() ^= 1; // The tag: the content is decrypted, and refused.
    ASSERT_TRUE(broken.parse(changed, nullptr));

    Bytes const contentKey = contentKeyOf(seed); // Outlives the watch.
    Watch watch;
    watch.addSecret("content key", contentKey);
    watch.addSecret("agreed secret", agreed);
    watch.addSecret("key of the password", passwordKey);
    watch.addSecret("content", content);
    test::runSearched(watch, [&] {
        Bytes out;
        EXPECT_EQ(make(), encoded);
        EXPECT_TRUE(message.decrypt(&certificate, own, out, nullptr));
        EXPECT_TRUE(message.decrypt(passwords[0], out, nullptr));
        EXPECT_EQ(out, content);
        EXPECT_FALSE(broken.decrypt(passwords[0], out, nullptr));
        EXPECT_FALSE(broken.decrypt(&certificate, own, out, nullptr));
        EXPECT_TRUE(out.empty());
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, OaepLeavesNoMessage) {
    std::unique_ptr<PrivateKey> const key = parseOneAssimetricKey(readFile("recipient-key.der"));
    RsaPrivateKey const& rsa = *dynamic_cast<RsaPrivateKey const*>(key.get());
    Bytes const message(content.begin(), content.begin() + 32);
    Bytes const made = encryptOaep(rsa, {}, message, test::SeededRng(2));
    BigNum const block = expByMod(BigNum(asn1::blob(made)), rsa.d, rsa.n);
    Watch watch;
    test::addNumber(watch, "block", block);
    watch.addSecret("message", message);
    test::runSearched(watch, [&] {
        EXPECT_EQ(encryptOaep(rsa, {}, message, test::SeededRng(2)), made);
        Bytes out;
        EXPECT_TRUE(decryptOaep(rsa, {}, made, out));
        EXPECT_EQ(out, message);
        secureMemset(out.data(), 0, out.size());
        EXPECT_FALSE(decryptOaep(rsa, {HashID::SHA1, HashID::SHA256}, made, out));
    });
    test::expectNothingFound(watch);
}

} // namespace

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

} // namespace

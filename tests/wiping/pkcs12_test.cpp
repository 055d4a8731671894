#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include "support/captured_output.h"
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

Bytes append(Bytes bytes, asn1::blob more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return bytes;
}

TEST(Wiping, KeyDerivationOfPkcs12LeavesNothing) {
    Bytes const password = pkcs12_password("a password of some length"), salt(8, 1);
    Bytes key(64);
    ASSERT_TRUE(pkcs12_kdf(HashID::SHA1, password, salt, 3, PKCS12Purpose::key, std::span(key)));
    Watch watch;
    watch.addSecret("password", password);
    watch.addSecret("key", key);
    test::runSearched(watch, [&] {
        Bytes again(64);
        EXPECT_TRUE(pkcs12_kdf(HashID::SHA1, password, salt, 3, PKCS12Purpose::key, std::span(again)));
        EXPECT_EQ(again, key);
        test::wipe(again);
    });
    test::expectNothingFound(watch);
}

class WipingPkcs12 : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(IsPbes2, WipingPkcs12, testing::Bool());

TEST_P(WipingPkcs12, LeavesNeitherPasswordNorKeysNorContents) {
    std::string const word([] {
        Bytes const letters = test::Random(4).bytes(40);
        std::string text;
        for (unsigned char letter : letters)
            text += static_cast<char>('a' + letter % 26);
        return text;
    }());
    auto const key = std::shared_ptr<PrivateKey>(parseOneAssimetricKey(readFile("p12-alice-key.der")));
    ASSERT_NE(key, nullptr);
    PKCS12PFX made;
    made.keys = {key};
    made.iterations = 2;
    ASSERT_TRUE(GetParam() ? made.setPbes2Params(word, {}, CipherID::AesCbc) : made.encrypt(word));
    Bytes const file = made.save();
    ASSERT_FALSE(file.empty());

    Watch watch;
    test::addKey(watch, *key);
    {
        Watch::Pause const pause;
        watch.addSecret("password", test::bytesOf(word));
        watch.addSecret("UTF-16", pkcs12_password(word));
        Bytes macKey(32);
        pkcs12_kdf(HashID::SHA256, pkcs12_password(word), made.macSalt, made.macIterations,
                   PKCS12Purpose::mac, std::span(macKey));
        watch.addSecret("key of the MAC", macKey);
    }
    test::runSearched(watch, [&] {
        PKCS12PFX pfx;
        EXPECT_TRUE(pfx.parse(file));
        EXPECT_TRUE(pfx.decrypt(word));
        EXPECT_EQ(pfx.keys.size(), 1u);
        EXPECT_TRUE(pfx.parseBer(file));
        EXPECT_TRUE(pfx.decrypt(word));
        pfx.iterations = 2;
        EXPECT_TRUE(GetParam() ? pfx.setPbes2Params(word, {}, CipherID::AesCbc) : pfx.encrypt(word));
        pfx.mac.clear();
        Bytes const unauthenticated = pfx.save();
        EXPECT_TRUE(pfx.parse(unauthenticated));
        test::CapturedOutput const ignored;
        EXPECT_FALSE(pfx.decrypt("wrong"));
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, UnprotectedPkcs12LeavesNoKey) {
    auto const key = std::shared_ptr<PrivateKey>(parseOneAssimetricKey(readFile("p12-alice-key.der")));
    Bytes const recipientFile = readFile("recipient.der");
    X509Certificate recipient;
    {
        test::CapturedOutput const ignored;
        ASSERT_TRUE(recipient.parse(recipientFile.data(), test::size(recipientFile)));
    }
    std::unique_ptr<PrivateKey> const recipientKey = parseOneAssimetricKey(readFile("recipient-key.der"));
    PKCS12PFX made;
    made.keys = {key};
    Bytes file = made.save(), extended = append(file, asn1::blob("x"));
    Watch watch;
    test::addKey(watch, *key);
    test::runSearched(watch, [&] {
        PKCS12PFX pfx;
        EXPECT_TRUE(pfx.parse(file));
        EXPECT_TRUE(pfx.parseBer(file));
        EXPECT_FALSE(pfx.parse(extended));
        EXPECT_TRUE(pfx.parse(file));
        Bytes saved = pfx.save();
        test::wipe(saved);
        test::CapturedOutput const ignored;
        EXPECT_TRUE(pfx.sign(recipient, *recipientKey, HashID::SHA256));
        saved = pfx.save();
        EXPECT_TRUE(pfx.parse(saved));
        EXPECT_NE(pfx.signedData, nullptr);
        EXPECT_TRUE(pfx.parseContentInfo(pfx.signedData->raw));
        test::wipe(saved);
        EXPECT_TRUE(pfx.parse(file));
        EXPECT_TRUE(pfx.encryptEnveloped(recipient, {}, CipherID::AesCbc));
        Bytes const enveloped = pfx.save();
        EXPECT_TRUE(pfx.parse(enveloped));
        EXPECT_TRUE(pfx.decryptEnveloped(recipient, *recipientKey));
        EXPECT_EQ(pfx.keys.size(), 1u);
    });
    test::expectNothingFound(watch);
    test::wipe(file);
    test::wipe(extended);
}

} // namespace

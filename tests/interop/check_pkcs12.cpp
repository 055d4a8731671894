#include "interop/checks.h"

#include "sealkit/pkcs12.h"
#include "sealkit/pkcs8.h"

#include "interop/messages.h"
#include "interop/names.h"
#include "support/captured_output.h"

#include <gtest/gtest.h>

using interop::Bytes;

void interop::checkPkcs12Kdf(test::Case const& c) {
    Bytes const utf8 = c.bytes("password"), password = c.bytes("bmp-password"), expected = c.bytes("derived");
    EXPECT_EQ(pkcs12_password(std::string(utf8.begin(), utf8.end())), password);
    Bytes derived(expected.size());
    EXPECT_TRUE(pkcs12_kdf(hashNamed(c.text("hash")), password, c.bytes("salt"),
                           static_cast<unsigned>(c.number("iterations")),
                           static_cast<PKCS12Purpose>(c.number("purpose")), derived));
    EXPECT_EQ(derived, expected);
}

void interop::checkPkcs12(test::Case const& c) {
    Bytes const encoding = c.bytes("file"), password = c.bytes("password");
    test::CapturedOutput const output;
    PKCS12PFX file;
    ASSERT_TRUE(file.parse(encoding));
    EXPECT_EQ(file.save(), encoding);
    EXPECT_EQ(!file.mac.empty(), c.text("has-mac") == "yes");
    bool const isOpened =
        file.decrypt(std::string_view(reinterpret_cast<char const*>(password.data()), password.size()));
    if (c.has("refused")) {
        EXPECT_FALSE(isOpened);
        EXPECT_TRUE(onOneLine(output.text()).ends_with(c.text("refused"))) << output.text();
        EXPECT_TRUE(file.keys.empty());
        return;
    }
    ASSERT_TRUE(isOpened) << output.text();
    EXPECT_EQ(file.encryptedKeys() + file.encryptedContents(), 0u);

    ASSERT_EQ(file.certificates.size(), c.number("certificates"));
    for (size_t i = 0; i < file.certificates.size(); i++)
        EXPECT_EQ(file.certificates[i]->serialize(), c.bytes("certificate" + std::to_string(i + 1)));
    ASSERT_EQ(file.keys.size(), c.has("key") ? 1u : 0u);
    Bytes const name = c.bytes("friendly-name"), id = c.bytes("local-key-id");
    ASSERT_FALSE(file.certificateAttributes.empty());
    EXPECT_EQ(file.certificateAttributes[0].friendlyName, std::string(name.begin(), name.end()));
    EXPECT_EQ(file.certificateAttributes[0].localKeyId, id);
    if (!c.has("key"))
        return;
    EXPECT_EQ(encodePkcs8PrivateKey(*file.keys[0]), encodePkcs8PrivateKey(privateKey(c.text("key"))));
    ASSERT_FALSE(file.keyAttributes.empty());
    EXPECT_EQ(file.keyAttributes[0].friendlyName, std::string(name.begin(), name.end()));
    EXPECT_EQ(file.keyAttributes[0].localKeyId, id);
}

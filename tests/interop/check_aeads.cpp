#include "interop/checks.h"

#include "sealkit/cmac.h"
#include "sealkit/rc4.h"
#include "sealkit/siv.h"

#include "support/random.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

} // namespace

void interop::checkCmac(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), message = c.bytes("message"), expected = c.bytes("mac");
    Bytes mac(16);
    aesCmac(key.data(), size(key), message.data(), size(message), mac.data());
    EXPECT_EQ(mac, expected);
    if (key.size() == 16) {
        aesCmac128(key.data(), message.data(), size(message), mac.data());
        EXPECT_EQ(mac, expected);
    }
    auto const cmac = createAesCmac(key);
    ASSERT_NE(cmac, nullptr);
    for (int times = 0; times < 2; times++) {
        size_t done = 0;
        for (size_t piece : random.cut(message.size())) {
            cmac->update(message.data() + done, static_cast<unsigned>(piece));
            done += piece;
        }
        cmac->digest(mac.data());
        EXPECT_EQ(mac, expected) << "in pieces";
    }
}

void interop::checkSiv(test::Case const& c) {
    Bytes const key = c.bytes("key"), ciphertext = c.bytes("ciphertext");
    std::vector<Bytes> strings(c.number("strings"));
    std::vector<std::span<unsigned char const>> views;
    for (size_t i = 0; i < strings.size(); i++) {
        strings[i] = c.bytes("string" + std::to_string(i + 1));
        views.emplace_back(strings[i]);
    }
    AESSIV const siv(key);
    Bytes plain(ciphertext.size() - 16);
    if (c.has("refused")) {
        c.ignore({"refused"});
        EXPECT_FALSE(siv.decrypt(ciphertext, views, plain.data()));
        return;
    }
    Bytes const message = c.bytes("message");
    Bytes out(message.size() + 16);
    ASSERT_TRUE(siv.encrypt(message, views, out.data()));
    EXPECT_EQ(out, ciphertext);
    ASSERT_TRUE(siv.decrypt(ciphertext, views, plain.data()));
    EXPECT_EQ(plain, message);
}

void interop::checkRc4(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), message = c.bytes("message"), ciphertext = c.bytes("ciphertext");
    unsigned const skip = static_cast<unsigned>(c.number("skip"));
    RC4 rc4;
    for (bool encrypting : {true, false}) { // One object for several streams, in place.
        Bytes bytes = encrypting ? message : ciphertext;
        rc4.setKey(key.data(), size(key));
        rc4.skip(skip);
        size_t done = 0;
        for (size_t piece : random.cut(bytes.size())) {
            unsigned char* const at = bytes.data() + done;
            if (piece == 1)
                *at ^= rc4.gen();
            else
                rc4.encrypt(at, at, static_cast<unsigned>(piece));
            done += piece;
        }
        EXPECT_EQ(bytes, encrypting ? ciphertext : message);
    }
}

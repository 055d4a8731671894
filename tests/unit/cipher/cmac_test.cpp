#include "sealkit/cmac.h"

#include "support/allocation_count.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <type_traits>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

/// At once; bytes that stay are 0xA5.
Bytes macOf(Bytes const& key, Bytes const& message) {
    Bytes mac(16, 0xA5);
    aesCmac(key.data(), size(key), message.data(), size(message), mac.data());
    return mac;
}

Bytes finish(Hash& hash) {
    Bytes out(hash.digestLength());
    hash.digest(out.data());
    return out;
}

/// One object for many messages, each cut at random and from any address.
void expectMac(Bytes const& key, Bytes const& message, Bytes const& mac) {
    EXPECT_EQ(macOf(key, message), mac);
    auto const cmac = createAesCmac(key);
    ASSERT_TRUE(cmac);
    std::mt19937 random(size(message));
    for (unsigned shift = 0; shift < 8; shift++) {
        Bytes moved(shift, 0xAA);
        moved.insert(moved.end(), message.begin(), message.end());
        for (unsigned done = 0; done < message.size();) {
            unsigned const piece = random() % (size(message) - done + 1);
            cmac->update(moved.data() + shift + done, piece);
            done += piece;
        }
        EXPECT_EQ(finish(*cmac), mac);
    }
    for (unsigned char const byte : message)
        cmac->update(&byte, 1);
    std::string const text = static_cast<Hash&>(*cmac).digest();
    EXPECT_EQ(Bytes(text.begin(), text.end()), mac);
}

TEST_CASES(CMAC, GivesTheMacsOfSp800_38B, "cipher/cmac.txt")(test::Case const& c) {
    Bytes const key = c.bytes("key"), message = c.bytes("message"), mac = c.bytes("mac");
    expectMac(key, message, mac);
    Bytes k1(16), k2(16);
    genCmacSubkey(key.data(), size(key), k1.data(), k2.data());
    EXPECT_EQ(k1, c.bytes("k1"));
    EXPECT_EQ(k2, c.bytes("k2"));
    if (key.size() != 16)
        return;
    Bytes other1(16), other2(16), found(16);
    genCmacSubkey(key.data(), other1.data(), other2.data());
    EXPECT_EQ(other1, k1);
    EXPECT_EQ(other2, k2);
    aesCmac128(key.data(), message.data(), size(message), found.data());
    EXPECT_EQ(found, mac);
}

TEST_CASES(CMAC, AgreesWithWycheproof, "wycheproof/aes_cmac.txt")(test::Case const& c) {
    c.ignore({"flags"});
    EXPECT_EQ(c.number("tagSize"), 128U);
    Bytes const key = c.bytes("key"), message = c.bytes("msg"), mac = c.bytes("tag");
    bool const valid = c.text("result") == "valid";
    EXPECT_EQ(macOf(key, message) == mac, valid);
    if (valid)
        expectMac(key, message, mac);
}

TEST(CMAC, WritesNothingUnderAKeyOfAnotherLength) {
    Bytes const untouched(16, 0xA5);
    for (unsigned length : {0U, 1U, 8U, 15U, 17U, 20U, 23U, 25U, 31U, 33U, 64U}) {
        Bytes const key(length);
        EXPECT_EQ(createAesCmac(key), nullptr);
        EXPECT_EQ(macOf(key, {1, 2, 3}), untouched);
        Bytes k1 = untouched, k2 = untouched;
        genCmacSubkey(key.data(), length, k1.data(), k2.data());
        EXPECT_EQ(k1, untouched);
        EXPECT_EQ(k2, untouched);
    }
}

TEST(CMAC, TakesNothingFromNullPointers) {
    Bytes const key(16);
    Bytes mac(16);
    aesCmac128(key.data(), nullptr, 0, mac.data());
    EXPECT_EQ(mac, macOf(key, {}));
    auto const cmac = createAesCmac(key);
    cmac->update(nullptr, 0);
    EXPECT_EQ(finish(*cmac), mac);
}

TEST(AesCmac, IsAHash) {
    EXPECT_TRUE((std::is_base_of_v<Hash, AesCmac>));
    auto const cmac = createAesCmac(Bytes(24));
    Hash& hash = *cmac;
    EXPECT_EQ(hash.lengthFieldLength(), 8U);
    EXPECT_EQ(hash.blockLength(), 16U);
    EXPECT_EQ(hash.digestLength(), 16U);
}

TEST(AesCmac, AllocatesNothingForMessages) {
    auto const cmac = createAesCmac(Bytes(16));
    Bytes const message(5000, 1);
    Bytes mac(16);
    EXPECT_EQ(test::allocationsOf([&] {
                  for (unsigned piece : {5000U, 3U, 0U, 16U}) {
                      cmac->update(message.data(), piece);
                      cmac->digest(mac.data());
                  }
              }),
              0U);
}

TEST(AesCmac, TakesACipherOfTheCallers) {
    Bytes const key(32, 7);
    AesCmac cmac(std::make_unique<AES256>(key.data()));
    cmac.update("abc", 3);
    EXPECT_EQ(finish(cmac), macOf(key, {'a', 'b', 'c'}));
}

TEST(AesCmac, WipesWhatItHolds) {
    Bytes const key(16, 0x5C);
    Bytes k1(16), k2(16);
    genCmacSubkey(key.data(), k1.data(), k2.data());
    alignas(AesCmac) unsigned char memory[sizeof(AesCmac)];
    auto* const cmac = new (memory) AesCmac(std::make_unique<AES128>(key.data()));
    Bytes const message(9, 0x77);
    cmac->update(message.data(), 9);
    auto holds = [&](Bytes const& secret) {
        return std::search(memory, memory + sizeof memory, secret.begin(), secret.end()) !=
               memory + sizeof memory;
    };
    EXPECT_TRUE(holds(k1) && holds(k2) && holds(message));
    cmac->~AesCmac();
    EXPECT_FALSE(holds(k1) || holds(k2) || holds(message));
}

} // namespace TEST_FILE

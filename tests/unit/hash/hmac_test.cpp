#include "sealkit/hmac.h"

#include "support/vectors.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

Bytes finish(Hash& hash) {
    Bytes out(hash.digestLength());
    hash.digest(out.data());
    return out;
}

Bytes mac(HashID id, Bytes const& key, Bytes const& message) {
    auto hmac = createHMAC(id, key);
    hmac->update(message.data(), static_cast<unsigned>(message.size()));
    return finish(*hmac);
}

/// The hash that the name of a file of Project Wycheproof ends with.
HashID hashOfFile(test::Case const& c) {
    return c.file().ends_with("sha1")     ? HashID::SHA1
           : c.file().ends_with("sha256") ? HashID::SHA256
           : c.file().ends_with("sha384") ? HashID::SHA384
                                          : HashID::SHA512;
}

HashID hashNamed(std::string const& name) {
    for (HashID id : {HashID::MD5, HashID::SHA1, HashID::SHA256, HashID::SHA384, HashID::SHA512})
        if (getHashName(id) == name)
            return id;
    return HashID::none;
}

TEST_CASES(HMAC, GivesTheMacsOfOthers, "hash/hmac.txt")(test::Case const& c) {
    std::mt19937 random(static_cast<unsigned>(c.index()));
    HashID const id = hashNamed(c.text("hash"));
    Bytes const key = c.bytes("key"), message = c.bytes("message"), expected = c.bytes("mac");
    EXPECT_EQ(mac(id, key, message), expected);

    // One object for several messages, each in pieces cut at random, from any address.
    auto hmac = createHMAC(id, key);
    for (unsigned shift = 0; shift < 4; ++shift) {
        Bytes moved(shift, 0xAA);
        moved.insert(moved.end(), message.begin(), message.end());
        hmac->init();
        for (size_t done = 0; done < message.size();) {
            size_t const piece = 1 + random() % (message.size() - done);
            hmac->update(moved.data() + shift + done, static_cast<unsigned>(piece));
            done += piece;
        }
        EXPECT_EQ(finish(*hmac), expected);
    }
}

TEST_CASES(HMAC, AgreesWithWycheproof, "wycheproof/hmac_sha1.txt", "wycheproof/hmac_sha256.txt",
           "wycheproof/hmac_sha384.txt", "wycheproof/hmac_sha512.txt")
(test::Case const& c) {
    c.ignore({"flags"});
    Bytes found = mac(hashOfFile(c), c.bytes("key"), c.bytes("msg"));
    found.resize(c.number("tagSize") / 8);
    EXPECT_EQ(found == c.bytes("tag"), c.text("result") == "valid");
}

TEST(HMAC, DigestWithoutUpdateLacksTheInnerPad) {
    Bytes const key(20, 0x0B);
    auto hmac = createHMAC(HashID::SHA256, key);
    Bytes const idle = finish(*hmac);

    // H(opad || H(empty message))
    auto hash = createHash(HashID::SHA256);
    Bytes const empty = finish(*hash);
    Bytes outer(64, 0x5C);
    for (size_t i = 0; i < key.size(); ++i)
        outer[i] ^= key[i];
    outer.insert(outer.end(), empty.begin(), empty.end());
    hash->update(outer.data(), static_cast<unsigned>(outer.size()));
    EXPECT_EQ(idle, finish(*hash));
    EXPECT_NE(idle, mac(HashID::SHA256, key, {}));

    // The same after a message; an update of nothing, or init, begins one.
    hmac->update("x", 1);
    finish(*hmac);
    EXPECT_EQ(finish(*hmac), idle);
    hmac->update(nullptr, 0);
    EXPECT_EQ(finish(*hmac), mac(HashID::SHA256, key, {}));
    hmac->init();
    EXPECT_EQ(finish(*hmac), mac(HashID::SHA256, key, {}));
}

TEST(HMAC, IsAHash) {
    Bytes const key(3, 1);
    auto hash = createHash(HashID::SHA384);
    HMAC hmac(hash.get(), key.data(), 3);
    Hash& asHash = hmac;
    EXPECT_EQ(asHash.lengthFieldLength(), 8u);
    EXPECT_EQ(asHash.blockLength(), 128u);
    EXPECT_EQ(asHash.digestLength(), 48u);
    asHash.update("abc", 3);
    std::string const text = asHash.digest();
    EXPECT_EQ(Bytes(text.begin(), text.end()), mac(HashID::SHA384, key, {'a', 'b', 'c'}));
    EXPECT_EQ(createHMAC(5, key)->digestLength(), 32u);
}

TEST(HMAC, FieldsStandInTheirOrder) {
    // After the pointer to the virtual functions: the hash, the flag, the key, its length; the owned hash.
    auto hash = createHash(HashID::SHA256);
    Bytes const key = {0xC0, 0xC1, 0xC2};
    HMAC hmac(hash.get(), key.data(), 3);
    auto const* bytes = reinterpret_cast<unsigned char const*>(&hmac);
    Hash* inner;
    std::memcpy(&inner, bytes + sizeof(void*), sizeof inner);
    EXPECT_EQ(inner, hash.get());
    size_t const flag = 2 * sizeof(void*);
    EXPECT_EQ(bytes[flag], 0);
    hmac.init();
    EXPECT_EQ(bytes[flag], 1);
    EXPECT_EQ(Bytes(bytes + flag + 1, bytes + flag + 4), key);
    unsigned length;
    std::memcpy(&length, bytes + ((flag + 1 + 128 + 3) & ~size_t(3)), sizeof length);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(sizeof(OwningHMAC), sizeof(HMAC) + sizeof(void*));
}

TEST(HMAC, WipesItsKey) {
    Bytes const key(64, 0x77);
    auto hash = createHash(HashID::SHA256);
    alignas(HMAC) unsigned char memory[sizeof(HMAC)];
    auto* hmac = new (memory) HMAC(hash.get(), key.data(), 64);
    hmac->update("abc", 3);
    hmac->~HMAC();
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory), sizeof memory).find(std::string(4, '\x77')),
              std::string::npos);
}

TEST_CASES(HKPDF, GivesTheKeysOfRfc5869WithInfoAndKeyingMaterialExchanged, "hash/rfc5869.txt")
(test::Case const& c) {
    auto hash = createHash(HashID::SHA256);
    Bytes const okm = c.bytes("okm");
    EXPECT_EQ(
        HKPDF(*hash, c.bytes("salt"), c.bytes("info"), c.bytes("ikm"), static_cast<unsigned>(okm.size())),
        okm);
}

TEST_CASES(HKPDF, AgreesWithWycheproof, "wycheproof/hkdf_sha1.txt", "wycheproof/hkdf_sha256.txt",
           "wycheproof/hkdf_sha384.txt", "wycheproof/hkdf_sha512.txt")
(test::Case const& c) {
    c.ignore({"flags"});
    auto hash = createHash(hashOfFile(c));
    auto const size = static_cast<unsigned>(c.number("size"));
    Bytes const found = HKPDF(*hash, c.bytes("salt"), c.bytes("info"), c.bytes("ikm"), size);
    EXPECT_EQ(found.size(), size);
    Bytes const okm = c.bytes("okm");
    // The published invalid cases ask for more than 255 blocks, which is given here.
    if (c.text("result") == "valid")
        EXPECT_EQ(found, okm);
    else
        EXPECT_GT(size, 255 * hash->digestLength());
}

// HMAC begins its message even so: the answers are those of Python's hmac.
TEST(HKPDF, TakesNoSaltNoInfoAndNoKeyingMaterial) {
    EXPECT_EQ(test::toHex(HKPDF(*createHash(HashID::SHA256), {}, {}, {}, 42)),
              "eb70f01dede9afafa449eee1b1286504e1f62388b3f7dd4f956697b0e828fe181e59c2ec0fe6e7e7ac26");
    EXPECT_EQ(test::toHex(HKPDF(*createHash(HashID::SHA512), {}, {}, {}, 42)),
              "9d73c98e791e80ebe5b4cb45693aa32fdd44b5fa3edab3ec82f9d0f4d66905e2215ad0d4ac20fe570da5");
}

TEST(HKPDF, OfNoLengthIsEmpty) {
    auto hash = createHash(HashID::SHA256);
    EXPECT_TRUE(HKPDF(*hash, {1}, {2}, {3}, 0).empty());
    EXPECT_TRUE(HKPDF_Expand(*hash, nullptr, 0, nullptr, 0, 0).empty());
}

TEST(HKPDF, CounterWrapsBeyond255Blocks) {
    auto hash = createHash(HashID::SHA256);
    Bytes const prk(32, 0x0B);
    auto const* info = reinterpret_cast<unsigned char const*>("info");
    Bytes const found = HKPDF_Expand(*hash, info, 4, prk.data(), 32, 32 * 255 + 33);
    ASSERT_EQ(found.size(), 32u * 255 + 33);
    auto block = [&](unsigned i, unsigned char counter) {
        Bytes message(found.begin() + 32 * (i - 2), found.begin() + 32 * (i - 1));
        message.insert(message.end(), info, info + 4);
        message.push_back(counter);
        return mac(HashID::SHA256, prk, message);
    };
    EXPECT_EQ(Bytes(found.begin() + 32 * 254, found.begin() + 32 * 255), block(255, 255));
    EXPECT_EQ(Bytes(found.begin() + 32 * 255, found.begin() + 32 * 256), block(256, 0));
    EXPECT_EQ(found.back(), block(257, 1)[0]);
}

TEST(HKPDF, KeepsNothingBehindTheLengthAskedFor) {
    auto hash = createHash(HashID::SHA256);
    static void* (*const before)(void*, int, size_t) = secureMemset;
    static unsigned char tail[12];
    secureMemset = [](void* data, int value, size_t size) {
        if (size == sizeof tail)
            std::memcpy(tail, data, size);
        return before(data, value, size);
    };
    Bytes const prk(32, 0x0B), found = HKPDF_Expand(*hash, nullptr, 0, prk.data(), 32, 52);
    secureMemset = before;
    Bytes const whole = HKPDF_Expand(*hash, nullptr, 0, prk.data(), 32, 64);
    EXPECT_EQ(found, Bytes(whole.begin(), whole.begin() + 52));
    EXPECT_EQ(Bytes(tail, tail + 12), Bytes(whole.begin() + 52, whole.end())) << "the rest was not wiped";
}

TEST(HKPDF, LeavesTheHashFresh) {
    auto hash = createHash(HashID::SHA256);
    Bytes const untouched = finish(*hash);
    HKPDF(*hash, {1}, {2}, {3}, 100);
    EXPECT_EQ(finish(*hash), untouched);
}

} // namespace TEST_FILE

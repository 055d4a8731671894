#include "sealkit/cipher.h"

#include "sealkit/hmac.h"
#include "support/captured_output.h"
#include "support/cipher_uses.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

constexpr unsigned failed = 0xFFFFFFFF;

Bytes numbered(unsigned size) {
    Bytes bytes(size);
    for (unsigned i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(29 * i + 5);
    return bytes;
}

Bytes const encKey = numbered(16), macKey = numbered(20), iv = test::hex("a0a1a2a3a4a5a6a7a8a9aaabacadaeaf");

Bytes operator+(Bytes a, Bytes const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// A cipher for records of AES-128 in CBC mode with HMAC-SHA-1, with its IV.
std::unique_ptr<Cipher> makeCipher() {
    auto cipher = createAead(CipherID::AesCbc, HashID::SHA1, encKey, macKey);
    cipher->setIV(iv.data(), 16);
    return cipher;
}

Bytes encrypt(Cipher& cipher, Bytes const& plaintext) {
    auto const size = static_cast<unsigned>(plaintext.size());
    Bytes out(cipher.ciphertextLength(size));
    cipher.encrypt(plaintext.data(), size, nullptr, 0, out.data());
    return out;
}

unsigned decrypt(Cipher& cipher, Bytes const& ciphertext, Bytes* out = nullptr) {
    Bytes own;
    out = out != nullptr ? out : &own;
    out->assign(ciphertext.size(), 0xEE);
    return cipher.decrypt(ciphertext.data(), static_cast<unsigned>(ciphertext.size()), nullptr, 0,
                          out->data());
}

Bytes mac(Bytes const& message) {
    auto const hmac = createHMAC(HashID::SHA1, macKey);
    hmac->update(message.data(), static_cast<unsigned>(message.size()));
    Bytes out(20);
    hmac->digest(out.data());
    return out;
}

/// Encrypts what stands in a record as it is, so that nothing need be right about it.
Bytes sealed(Bytes const& content) {
    auto const cbc = createCipher(CipherID::AesCbc, encKey, 0);
    cbc->setIV(iv.data(), 16);
    return encrypt(*cbc, content);
}

Bytes padding(unsigned size) { return Bytes(size, static_cast<unsigned char>(size - 1)); }

TEST_CASES(RecordCipher, GivesTheRecordsOfOthers, "cipher/record.txt")(test::Case const& c) {
    auto const id = static_cast<unsigned>(c.number("id")), hash = static_cast<unsigned>(c.number("hash"));
    Bytes const key = c.bytes("key"), authentication = c.bytes("macKey");
    auto const make = [&] { return createAead(id, hash, key, authentication); };
    test::CipherVector vector = {c.bytes("iv"), {}, c.bytes("plaintext"), c.bytes("ciphertext")};
    test::expectCipher(make, vector, {0, true, false});
    vector.aad = {1, 2, 3};
    test::expectCipher(make, vector, {0, true, false});
}

TEST(RecordCipher, IsMadeForAesAndTripleDesOnly) {
    test::CapturedOutput output;
    for (unsigned id = 0; id < 20; ++id)
        for (unsigned const size : {8u, 16u, 24u, 32u}) {
            EXPECT_EQ(createAead(id, 5, numbered(size), macKey) != nullptr, id == 3 || id == 4) << id;
            EXPECT_EQ(createAead(CipherID(id), HashID::SHA256, numbered(size), macKey) != nullptr,
                      id == 3 || id == 4)
                << id;
        }
    EXPECT_FALSE(createAead(0xFFFFFFFF, 5, encKey, macKey));
    EXPECT_EQ(output.text(), "");
}

TEST(RecordCipher, TakesNamesAndNumbersAlike) {
    auto const record = [](std::unique_ptr<Cipher> const& cipher) {
        cipher->setIV(iv.data(), 16);
        return encrypt(*cipher, numbered(30));
    };
    Bytes const expected = record(createAead(4, 5, encKey, macKey));
    EXPECT_EQ(record(createAead(CipherID::AesCbc, HashID::SHA256, encKey, macKey)), expected);
    EXPECT_EQ(record(createAead(CipherID::AesCbc, 5, encKey, macKey)), expected);
    EXPECT_EQ(record(createAead(4, HashID::SHA256, encKey, macKey)), expected);
}

TEST(RecordCipher, OfABadKeyOrHashCanBeMadeAndDestroyed) {
    EXPECT_TRUE(createAead(4, 5, numbered(15), macKey));
    EXPECT_TRUE(createAead(3, 5, {}, macKey));
    EXPECT_TRUE(createAead(4, 0, encKey, macKey));
    EXPECT_TRUE(createAead(4, 8, encKey, macKey));
}

TEST(RecordCipher, SaysTheLengthOfRecords) {
    auto const cipher = makeCipher();
    EXPECT_EQ(cipher->blockLength(), 16u);
    EXPECT_EQ(cipher->ciphertextLength(0), 32u);
    EXPECT_EQ(cipher->ciphertextLength(11), 32u);
    EXPECT_EQ(cipher->ciphertextLength(12), 48u);
    EXPECT_EQ(createAead(3, 4, numbered(24), macKey)->blockLength(), 8u);
    EXPECT_EQ(createAead(3, 4, numbered(24), macKey)->ciphertextLength(0), 24u);
    EXPECT_EQ(createAead(3, 4, numbered(24), macKey)->ciphertextLength(4), 32u);
}

TEST(RecordCipher, PutsMacAndPaddingBehindThePlaintext) {
    for (auto const& [size, padded] : {std::pair(0u, 12u), {12u, 16u}, {16u, 12u}, {27u, 1u}}) {
        Bytes const plaintext = numbered(size);
        EXPECT_EQ(encrypt(*makeCipher(), plaintext), sealed(plaintext + mac(plaintext) + padding(padded)))
            << size;
    }
}

TEST(RecordCipher, ReadsWhatItWrites) {
    for (auto const& [id, keyLength] : {std::pair(3u, 24u), {4u, 16u}, {4u, 32u}})
        for (unsigned hash = 1; hash <= 7; ++hash) {
            auto const cipher = createAead(id, hash, numbered(keyLength), macKey);
            cipher->setIV(iv.data(), 16);
            for (unsigned size = 0; size <= 40; ++size) {
                Bytes const plaintext = numbered(size);
                Bytes const ciphertext = encrypt(*cipher, plaintext);
                Bytes out;
                ASSERT_EQ(decrypt(*cipher, ciphertext, &out), size);
                out.resize(size);
                ASSERT_EQ(out, plaintext);
            }
        }
}

TEST(RecordCipher, RefusesWhatIsNotWholeBlocks) {
    auto const cipher = makeCipher();
    Bytes const ciphertext = encrypt(*cipher, numbered(5));
    for (unsigned size = 0; size < ciphertext.size(); ++size) {
        Bytes out;
        EXPECT_EQ(decrypt(*cipher, Bytes(ciphertext.begin(), ciphertext.begin() + size), &out), failed)
            << size;
        if (size % 16 != 0) {
            EXPECT_EQ(out, Bytes(size, 0xEE)) << "nothing is decrypted";
        }
    }
}

// A record shorter than its MAC, whatever its last byte says of the padding.
TEST(RecordCipher, RefusesWhatCannotHoldAMac) {
    auto const cipher = makeCipher();
    for (unsigned last = 0; last < 256; ++last) {
        Bytes content = numbered(16), out;
        content.back() = static_cast<unsigned char>(last);
        EXPECT_EQ(decrypt(*cipher, sealed(content), &out), failed) << last;
        EXPECT_EQ(out, content) << "it is decrypted all the same";
    }
}

TEST(RecordCipher, RefusesPaddingThatDoesNotFit) {
    auto const cipher = makeCipher();
    // Two blocks hold the MAC and 12 bytes more.
    EXPECT_EQ(decrypt(*cipher, sealed(mac({}) + padding(12))), 0u);
    for (unsigned last = 0; last < 256; ++last) {
        Bytes content = mac({}) + padding(12);
        content.back() = static_cast<unsigned char>(last);
        EXPECT_EQ(decrypt(*cipher, sealed(content)), last == 11 ? 0 : failed) << last;
    }
    // The MAC is right if no padding is taken for granted; the last byte still is too large.
    for (unsigned seed = 0, found = 0; found < 3; ++seed) {
        Bytes content = numbered(28);
        content[0] = static_cast<unsigned char>(seed);
        Bytes const record = content + mac(content);
        ASSERT_EQ(record.size(), 48u);
        if (record.back() + 1u > content.size()) {
            EXPECT_EQ(decrypt(*cipher, sealed(record)), failed);
            ++found;
        }
    }
}

TEST(RecordCipher, ChecksEveryByteOfThePadding) {
    auto const cipher = makeCipher();
    Bytes const plaintext = numbered(12);
    for (unsigned wrong = 0; wrong < 16; ++wrong) {
        Bytes content = plaintext + mac(plaintext) + padding(16);
        content[32 + wrong] ^= 0x10;
        EXPECT_EQ(decrypt(*cipher, sealed(content)), failed) << wrong;
    }
}

TEST(RecordCipher, AcceptsUpTo256BytesOfPadding) {
    auto const cipher = makeCipher();
    for (unsigned size = 12; size <= 252; size += 16) {
        Bytes const plaintext = numbered(32);
        EXPECT_EQ(decrypt(*cipher, sealed(plaintext + mac(plaintext) + padding(size))), 32u) << size;
    }
    Bytes const plaintext = numbered(12);
    EXPECT_EQ(decrypt(*cipher, sealed(plaintext + mac(plaintext) + padding(256))), 12u);
}

TEST(RecordCipher, FailsWhenAnyBitIsChanged) {
    auto const cipher = makeCipher();
    Bytes const ciphertext = encrypt(*cipher, numbered(20));
    ASSERT_EQ(ciphertext.size(), 48u);
    for (unsigned bit = 0; bit < ciphertext.size() * 8; ++bit) {
        Bytes changed = ciphertext;
        changed[bit / 8] ^= static_cast<unsigned char>(1 << bit % 8);
        EXPECT_EQ(decrypt(*cipher, changed), failed) << bit;
    }
    EXPECT_EQ(decrypt(*cipher, ciphertext), 20u);
}

TEST(RecordCipher, LeavesWhatItDecryptedInPlaceWhenItFails) {
    auto const cipher = makeCipher();
    Bytes content = numbered(20) + mac(numbered(20)) + padding(8);
    content[3] ^= 1;
    Bytes out;
    EXPECT_EQ(decrypt(*cipher, sealed(content), &out), failed);
    EXPECT_EQ(out, content);
    content[3] ^= 1;
    EXPECT_EQ(decrypt(*cipher, sealed(content), &out), 20u);
    EXPECT_EQ(out, content);
}

TEST(RecordCipher, DoesNotAuthenticateAdditionalData) {
    auto const cipher = makeCipher();
    Bytes const plaintext = numbered(20), aad = numbered(9);
    Bytes out(48), back(48);
    cipher->encrypt(plaintext.data(), 20, aad.data(), 9, out.data());
    EXPECT_EQ(out, encrypt(*cipher, plaintext));
    EXPECT_EQ(cipher->decrypt(out.data(), 48, aad.data(), 4, back.data()), 20u);
}

TEST(RecordCipher, BeginsEveryRecordFromTheSameIv) {
    auto const cipher = makeCipher();
    Bytes const once = encrypt(*cipher, numbered(50));
    EXPECT_EQ(encrypt(*cipher, numbered(50)), once);
    EXPECT_EQ(decrypt(*cipher, once), 50u);
    EXPECT_EQ(decrypt(*cipher, once), 50u);
    EXPECT_EQ(encrypt(*cipher, numbered(50)), once);
}

TEST(RecordCipher, ReadsABlockOfIvWhateverTheSize) {
    Bytes const record = encrypt(*makeCipher(), numbered(30));
    for (unsigned const size : {0u, 1u, 15u, 16u, 17u, 1000u}) {
        auto const cipher = makeCipher();
        cipher->setIV(numbered(16).data(), 16);
        cipher->setIV(iv.data(), size);
        EXPECT_EQ(encrypt(*cipher, numbered(30)), record) << size;
    }
    auto const des = createAead(3, 4, numbered(24), macKey);
    auto const exact = std::make_unique<unsigned char[]>(8); // Not a byte more is read.
    std::copy_n(iv.begin(), 8, exact.get());
    des->setIV(exact.get(), 16);
    Bytes const expected = encrypt(*des, numbered(30));
    des->setIV(exact.get(), 4);
    EXPECT_EQ(encrypt(*des, numbered(30)), expected);
}

TEST(RecordCipher, SurvivesRandomRecords) {
    std::mt19937 random(7);
    for (auto const& [id, keyLength] : {std::pair(3u, 24u), {4u, 16u}}) {
        auto const cipher = createAead(id, 7, numbered(keyLength), macKey);
        cipher->setIV(iv.data(), 16);
        for (int i = 0; i < 1000; ++i) {
            Bytes record(random() % 400);
            for (unsigned char& byte : record)
                byte = static_cast<unsigned char>(random());
            EXPECT_EQ(decrypt(*cipher, record), failed);
        }
    }
}

} // namespace TEST_FILE

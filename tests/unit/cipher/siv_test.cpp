#include "sealkit/siv.h"

#include "sealkit/cmac.h"
#include "support/allocation_count.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;
using Views = std::vector<std::span<unsigned char const>>;

Views viewsOf(std::vector<Bytes> const& strings) { return Views(strings.begin(), strings.end()); }

/// The strings of a field, between commas.
std::vector<Bytes> stringsOf(test::Case const& c) {
    std::vector<Bytes> strings(c.number("strings"));
    std::string const text = c.text("ad");
    size_t from = 0;
    for (Bytes& each : strings) {
        size_t const to = std::min(text.find(',', from), text.size());
        each = test::hex(text.substr(from, to - from));
        from = to + 1;
    }
    return strings;
}

Bytes encrypt(Bytes const& key, Bytes const& plaintext, std::vector<Bytes> const& ad) {
    Bytes out(16 + plaintext.size());
    EXPECT_TRUE(AESSIV(key).encrypt(plaintext, viewsOf(ad), out.data()));
    return out;
}

bool decrypts(Bytes const& key, Bytes const& ciphertext, std::vector<Bytes> const& ad,
              Bytes* plaintext = nullptr) {
    Bytes out(ciphertext.size());
    bool const authentic = AESSIV(key).decrypt(ciphertext, viewsOf(ad), out.data());
    if (plaintext != nullptr)
        *plaintext = Bytes(out.begin(), out.end() - 16);
    return authentic;
}

/// Both ways, in place, misaligned, and twice with one object.
void expectSiv(Bytes const& key, std::vector<Bytes> const& ad, Bytes const& plaintext,
               Bytes const& ciphertext) {
    AESSIV const siv(key);
    constexpr unsigned char guard = 0xA5;
    for (unsigned shift = 0; shift < 5; shift++) {
        Bytes out(shift + ciphertext.size() + 1, guard), expected(shift, guard);
        expected.insert(expected.end(), ciphertext.begin(), ciphertext.end());
        expected.push_back(guard);
        EXPECT_TRUE(siv.encrypt(plaintext, viewsOf(ad), out.data() + shift));
        EXPECT_EQ(out, expected);

        Bytes inPlace(shift + 16, guard);
        inPlace.insert(inPlace.end(), plaintext.begin(), plaintext.end());
        inPlace.push_back(guard);
        unsigned char* const text = inPlace.data() + shift + 16;
        EXPECT_TRUE(siv.encrypt({text, plaintext.size()}, viewsOf(ad), text - 16));
        EXPECT_EQ(inPlace, expected);

        EXPECT_TRUE(siv.decrypt({text - 16, ciphertext.size()}, viewsOf(ad), text));
        EXPECT_EQ(Bytes(text, text + plaintext.size()), plaintext);
        EXPECT_EQ(inPlace.back(), guard);
        EXPECT_EQ(Bytes(text - 16, text), Bytes(ciphertext.begin(), ciphertext.begin() + 16));

        Bytes found(shift + plaintext.size() + 1, guard);
        EXPECT_TRUE(siv.decrypt({out.data() + shift, ciphertext.size()}, viewsOf(ad), found.data() + shift));
        EXPECT_EQ(Bytes(found.begin() + shift, found.end() - 1), plaintext);
        EXPECT_EQ(found.back(), guard);
    }
}

TEST_CASES(SIV, GivesTheResultsOfRfc5297, "cipher/siv.txt")(test::Case const& c) {
    expectSiv(c.bytes("key"), stringsOf(c), c.bytes("plaintext"), c.bytes("ciphertext"));
}

TEST_CASES(SIV, AgreesWithOthersOnAnyCountOfStrings, "cipher/siv-components.txt")(test::Case const& c) {
    expectSiv(c.bytes("key"), stringsOf(c), c.bytes("plaintext"), c.bytes("ciphertext"));
}

TEST_CASES(SIV, AgreesWithWycheproofOnOneString, "wycheproof/aes_siv_cmac.txt")(test::Case const& c) {
    c.ignore({"flags"});
    Bytes const key = c.bytes("key"), aad = c.bytes("aad"), message = c.bytes("msg"), ct = c.bytes("ct");
    bool const valid = c.text("result") == "valid";
    EXPECT_EQ(decrypts(key, ct, {aad}), valid);
    if (valid)
        expectSiv(key, {aad}, message, ct);
}

TEST_CASES(SIV, AgreesWithWycheproofOnANonceAfterAdditionalData, "wycheproof/aead_aes_siv_cmac.txt")
(test::Case const& c) {
    c.ignore({"flags", "ivSize"});
    EXPECT_EQ(c.number("tagSize"), 128U);
    Bytes const key = c.bytes("key"), aad = c.bytes("aad"), nonce = c.bytes("iv"), message = c.bytes("msg");
    Bytes ciphertext = c.bytes("tag"), ct = c.bytes("ct");
    ciphertext.insert(ciphertext.end(), ct.begin(), ct.end());
    bool const valid = c.text("result") == "valid";
    EXPECT_EQ(decrypts(key, ciphertext, {aad, nonce}), valid);
    if (valid) {
        EXPECT_EQ(encrypt(key, message, {aad, nonce}), ciphertext);
    }
}

TEST(SIV, RefusesKeysOfOtherLengthsAndWritesNothing) {
    for (unsigned length : {0U, 16U, 24U, 31U, 33U, 40U, 47U, 49U, 63U, 65U, 96U, 128U}) {
        Bytes const key(length), input(20);
        Bytes out(36, 0xA5);
        EXPECT_FALSE(AESSIV(key).encrypt(input, {}, out.data())) << length;
        EXPECT_FALSE(AESSIV(key).decrypt(input, {}, out.data())) << length;
        EXPECT_EQ(out, Bytes(36, 0xA5));
    }
}

TEST(SIV, InputWithoutRoomForVFails) {
    Bytes const key(32, 1), input(15);
    Bytes out(15, 0xA5);
    for (size_t length = 0; length < 16; length++)
        EXPECT_FALSE(AESSIV(key).decrypt(std::span(input).first(length), {}, out.data()));
    EXPECT_EQ(out, Bytes(15, 0xA5));
}

TEST(SIV, OfNoPlaintextIsVAlone) {
    Bytes const key(32, 1);
    for (std::vector<Bytes> const& ad : {std::vector<Bytes>(), {Bytes(5, 2)}, {Bytes()}}) {
        Bytes const v = encrypt(key, {}, ad);
        ASSERT_EQ(v.size(), 16U);
        EXPECT_TRUE(AESSIV(key).decrypt(v, viewsOf(ad), nullptr));
        EXPECT_FALSE(decrypts(key, v, {Bytes(6, 2)}));
    }
    EXPECT_NE(encrypt(key, {}, {}), encrypt(key, {}, {{}})); // No string and an empty one are two things.
}

TEST(SIV, ForgeriesFailAndLeaveThePlaintext) {
    Bytes const key(48, 1), plaintext(37, 2);
    std::vector<Bytes> const ad = {Bytes(3, 3), Bytes(20, 4)};
    Bytes const ciphertext = encrypt(key, plaintext, ad);
    for (unsigned bit = 0; bit < 8 * ciphertext.size(); bit++) {
        Bytes forged = ciphertext, expected = plaintext, found;
        auto const flip = static_cast<unsigned char>(1 << bit % 8);
        forged[bit / 8] ^= flip;
        EXPECT_FALSE(decrypts(key, forged, ad, &found)) << bit;
        if (bit >= 128) {
            expected[bit / 8 - 16] ^= flip;
            EXPECT_EQ(found, expected) << bit;
        } else if (bit == 8 * 8 + 7 || bit == 12 * 8 + 7) {
            EXPECT_EQ(found, plaintext) << "the two bits that the counter does not have";
        } else {
            EXPECT_NE(found, plaintext) << bit;
        }
    }
    Bytes found;
    for (std::vector<Bytes> const& other :
         {std::vector<Bytes>(), {ad[0]}, {ad[1], ad[0]}, {ad[0], ad[1], {}}, {ad[0], Bytes(20, 5)}}) {
        EXPECT_FALSE(decrypts(key, ciphertext, other, &found));
        EXPECT_EQ(found, plaintext);
    }
}

/// S2V written down a second time, over whole strings: RFC 5297 section 2.4.
Bytes s2v(Bytes const& key, std::vector<Bytes> const& strings) {
    auto mac = [&](Bytes const& message) {
        Bytes out(16);
        aesCmac(key.data(), static_cast<unsigned>(key.size()), message.data(),
                static_cast<unsigned>(message.size()), out.data());
        return out;
    };
    auto doubled = [](Bytes const& in) {
        Bytes out(16);
        for (unsigned k = 0; k < 16; k++)
            out[k] = static_cast<unsigned char>(in[k] << 1 | (k < 15 ? in[k + 1] >> 7 : 0));
        if (in[0] & 0x80)
            out[15] ^= 0x87;
        return out;
    };
    auto fold = [](Bytes& to, size_t at, Bytes const& from) {
        for (unsigned k = 0; k < 16; k++)
            to[at + k] ^= from[k];
    };
    Bytes d = mac(Bytes(16));
    for (size_t i = 0; i + 1 < strings.size(); i++) {
        d = doubled(d);
        fold(d, 0, mac(strings[i]));
    }
    Bytes last = strings.back();
    if (last.size() >= 16) {
        fold(last, last.size() - 16, d);
        return mac(last);
    }
    last.push_back(0x80);
    last.resize(16);
    fold(last, 0, doubled(d));
    return mac(last);
}

TEST(SIV, CountsNoStrings) {
    // The security proof ends at 126 of them beside the plaintext; the computation goes on.
    Bytes const key(32, 9), s2vKey(16, 9);
    for (unsigned count : {125U, 126U, 127U, 128U, 300U}) {
        std::vector<Bytes> strings;
        for (unsigned i = 0; i < count; i++)
            strings.emplace_back(i % 20, static_cast<unsigned char>(i));
        Bytes const plaintext(50, 1), ciphertext = encrypt(key, plaintext, strings);
        EXPECT_TRUE(decrypts(key, ciphertext, strings)) << count;
        strings.push_back(plaintext);
        EXPECT_EQ(Bytes(ciphertext.begin(), ciphertext.begin() + 16), s2v(s2vKey, strings)) << count;
    }
}

TEST(SIV, HashesPlaintextsOfEveryLength) {
    Bytes const key(32, 9), s2vKey(16, 9), ad = {1, 2, 3};
    for (unsigned length = 0; length < 70; length++) {
        Bytes plaintext(length);
        for (unsigned i = 0; i < length; i++)
            plaintext[i] = static_cast<unsigned char>(i + length);
        Bytes const ciphertext = encrypt(key, plaintext, {ad});
        EXPECT_EQ(Bytes(ciphertext.begin(), ciphertext.begin() + 16), s2v(s2vKey, {ad, plaintext})) << length;
        expectSiv(key, {ad}, plaintext, ciphertext);
    }
}

TEST(SIV, KeepsAViewOfTheKey) {
    Bytes key(32, 1), out(19), first(19);
    AESSIV const siv(key);
    EXPECT_EQ(sizeof(AESSIV), sizeof(std::span<unsigned char const>));
    EXPECT_TRUE(siv.encrypt(Bytes(3), {}, first.data()));
    key[31] ^= 1; // Of the encryption alone.
    EXPECT_TRUE(siv.encrypt(Bytes(3), {}, out.data()));
    EXPECT_TRUE(std::equal(out.begin(), out.begin() + 16, first.begin()));
    EXPECT_FALSE(std::equal(out.begin() + 16, out.end(), first.begin() + 16));
    EXPECT_EQ(out, encrypt(key, Bytes(3), {}));
    key[0] ^= 1; // Of S2V.
    EXPECT_TRUE(siv.encrypt(Bytes(3), {}, first.data()));
    EXPECT_FALSE(std::equal(out.begin(), out.begin() + 16, first.begin()));
}

TEST(SIV, AllocatesNothingForTheMessage) {
    Bytes const key(32, 1), large(100'000);
    Bytes out(large.size() + 16);
    Views const ad = {large};
    AESSIV const siv(key);
    size_t const forNothing = test::allocationsOf([&] { siv.encrypt({}, {}, out.data()); });
    EXPECT_EQ(test::allocationsOf([&] { siv.encrypt(large, ad, out.data()); }), forNothing);
    EXPECT_EQ(test::allocationsOf([&] { siv.decrypt(out, ad, out.data() + 16); }), forNothing);
}

TEST(SIV, RefusesWhatHas4GiB) {
    if constexpr (sizeof(size_t) > 4) {
        // Refused by its size: nobody looks at what is not there.
        Bytes const key(32, 1), small(20);
        std::span<unsigned char const> const large(small.data(), static_cast<size_t>(1ULL << 32));
        Bytes out(40, 0xA5);
        EXPECT_FALSE(AESSIV(key).encrypt(large, {}, out.data()));
        EXPECT_FALSE(AESSIV(key).decrypt(large, {}, out.data()));
        EXPECT_FALSE(AESSIV(key).encrypt(small, {large}, out.data()));
        EXPECT_FALSE(AESSIV(key).decrypt(small, {small, large}, out.data()));
        EXPECT_EQ(out, Bytes(40, 0xA5));
    }
}

} // namespace TEST_FILE

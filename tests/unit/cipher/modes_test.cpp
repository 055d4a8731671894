#include "sealkit/block.h"
#include "sealkit/cbc.h"
#include "sealkit/cipher.h"

#include "support/cipher_uses.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;
using Mode = void (*)(BlockCipher&, unsigned char*, unsigned char const*, unsigned, unsigned char*);

Bytes const key = test::hex("2b7e151628aed2a6abf7158809cf4f3c");
Bytes const iv = test::hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff");

Bytes numbered(unsigned size) {
    Bytes bytes(size);
    for (unsigned i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(11 * i + 3);
    return bytes;
}

Bytes first(Bytes const& bytes, unsigned size) { return Bytes(bytes.begin(), bytes.begin() + size); }

Bytes block(Bytes const& in) {
    Bytes out(16);
    AES128(key.data()).encrypt(in.data(), out.data());
    return out;
}

Bytes exclusiveOr(Bytes a, Bytes const& b) {
    std::transform(a.begin(), a.end(), b.begin(), a.begin(),
                   [](unsigned char x, unsigned char y) { return static_cast<unsigned char>(x ^ y); });
    return a;
}

/// What the mode makes of `in`; leaves the chaining value in `chained`.
Bytes run(Mode mode, Bytes& chained, Bytes const& in) {
    AES128 cipher(key.data());
    Bytes out(in.size(), 0xEE);
    mode(cipher, chained.data(), in.data(), static_cast<unsigned>(in.size()), out.data());
    return out;
}

struct Sp80038a {
    CipherID id;
    Mode encrypt, decrypt;
    unsigned granule;
    bool decryptsInPlace;
};
std::map<std::string, Sp80038a> const modes = {
    {"CBC", {CipherID::AesCbc, CBC_encrypt, CBC_decrypt, 16, false}},
    {"CFB", {CipherID::AesCfb, CFB128_encrypt, CFB128_decrypt, 16, true}},
    {"CTR", {CipherID::AesCtr, CTR128_encrypt, CTR128_decrypt, 16, true}},
};

std::unique_ptr<BlockCipher> makeAes(Bytes const& aesKey) {
    if (aesKey.size() == 16)
        return std::make_unique<AES128>(aesKey.data());
    if (aesKey.size() == 24)
        return std::make_unique<AES192>(aesKey.data());
    return std::make_unique<AES256>(aesKey.data());
}

std::unique_ptr<Cipher> makeObject(CipherID id, Bytes const& aesKey) {
    if (id == CipherID::AesCbc)
        return std::make_unique<CBCCipher>(makeAes(aesKey));
    if (id == CipherID::AesCfb)
        return std::make_unique<CFB128Cipher>(makeAes(aesKey));
    return std::make_unique<CTR128Cipher>(makeAes(aesKey));
}

TEST_CASES(Modes, GiveTheCiphertextsOfSp800_38aThroughObjects, "cipher/sp800-38a.txt")(test::Case const& c) {
    Sp80038a const& mode = modes.at(c.text("mode"));
    Bytes const aesKey = c.bytes("key");
    test::CipherVector vector = {c.bytes("iv"), {}, c.bytes("plaintext"), c.bytes("ciphertext")};
    auto const made = [&] { return makeObject(mode.id, aesKey); };
    test::expectCipher(made, vector, {mode.granule, true, mode.decryptsInPlace});

    // Additional data is nothing to these modes.
    vector.aad = {1, 2, 3};
    test::expectCipher(made, vector, {mode.granule, true, mode.decryptsInPlace});

    // And so do all the beginnings: every length for the modes of streams, whole blocks for CBC.
    for (unsigned size = 0; size < 64; size += mode.id == CipherID::AesCbc ? 16 : 1)
        test::expectCipher(made,
                           {vector.iv, {}, first(vector.plaintext, size), first(vector.ciphertext, size)},
                           {mode.granule, true, mode.decryptsInPlace});
}

TEST_CASES(Modes, GiveTheCiphertextsOfSp800_38aThroughFunctions, "cipher/sp800-38a.txt")
(test::Case const& c) {
    Sp80038a const& mode = modes.at(c.text("mode"));
    std::unique_ptr<BlockCipher> const aes = makeAes(c.bytes("key"));
    Bytes const plaintext = c.bytes("plaintext"), ciphertext = c.bytes("ciphertext");
    for (unsigned cut = 0; cut <= 64; cut += 16) {
        Bytes chained = c.bytes("iv"), out(64);
        mode.encrypt(*aes, chained.data(), plaintext.data(), cut, out.data());
        mode.encrypt(*aes, chained.data(), plaintext.data() + cut, 64 - cut, out.data() + cut);
        EXPECT_EQ(test::toHex(out), test::toHex(ciphertext));
        chained = c.bytes("iv");
        mode.decrypt(*aes, chained.data(), ciphertext.data(), cut, out.data());
        mode.decrypt(*aes, chained.data(), ciphertext.data() + cut, 64 - cut, out.data() + cut);
        EXPECT_EQ(test::toHex(out), test::toHex(plaintext));
    }
}

TEST(CBC, LeavesTheLastBlockOfCiphertextInTheIv) {
    Bytes const plaintext = numbered(48);
    Bytes chained = iv;
    Bytes const ciphertext = run(CBC_encrypt, chained, plaintext);
    EXPECT_EQ(chained, Bytes(ciphertext.begin() + 32, ciphertext.end()));
    chained = iv;
    EXPECT_EQ(run(CBC_decrypt, chained, ciphertext), plaintext);
    EXPECT_EQ(chained, Bytes(ciphertext.begin() + 32, ciphertext.end()));
}

TEST(CBC, NeitherReadsNorWritesAPartialBlock) {
    for (Mode const mode : {CBC_encrypt, CBC_decrypt}) {
        Bytes in = numbered(20), chained = iv, whole = iv;
        Bytes const out = run(mode, chained, in);
        EXPECT_EQ(first(out, 16), run(mode, whole, first(in, 16)));
        EXPECT_EQ(Bytes(out.begin() + 16, out.end()), Bytes(4, 0xEE));
        EXPECT_EQ(chained, whole);
        // No byte behind the last whole block is looked at: this buffer ends with it.
        AES128 aes(key.data());
        auto const exact = std::make_unique<unsigned char[]>(16);
        auto const result = std::make_unique<unsigned char[]>(16);
        std::copy_n(in.begin(), 16, exact.get());
        chained = iv;
        mode(aes, chained.data(), exact.get(), 31, result.get());
        EXPECT_TRUE(std::equal(result.get(), result.get() + 16, out.begin()));
    }
}

TEST(CBC, BelowOneBlockDoesNothing) {
    for (Mode const mode : {CBC_encrypt, CBC_decrypt})
        for (unsigned size = 0; size < 16; ++size) {
            Bytes chained = iv;
            EXPECT_EQ(run(mode, chained, numbered(size)), Bytes(size, 0xEE));
            EXPECT_EQ(chained, iv);
        }
}

TEST(CBC, TouchesOneBlockOfTheIv) {
    DES des(key.data());
    for (Mode const mode : {CBC_encrypt, CBC_decrypt}) {
        Bytes chained = iv;
        Bytes const in = numbered(24);
        Bytes out(24);
        mode(des, chained.data(), in.data(), 24, out.data());
        EXPECT_NE(first(chained, 8), first(iv, 8));
        EXPECT_EQ(Bytes(chained.begin() + 8, chained.end()), Bytes(iv.begin() + 8, iv.end()));
    }
}

TEST(CBC, EncryptsInPlace) {
    Bytes chained = iv, again = iv, buffer = numbered(64);
    Bytes const expected = run(CBC_encrypt, chained, buffer);
    AES128 aes(key.data());
    CBC_encrypt(aes, again.data(), buffer.data(), 64, buffer.data());
    EXPECT_EQ(buffer, expected);
    EXPECT_EQ(again, chained);
}

TEST(CFB128, LeavesTheLastWholeBlockOfCiphertextInTheIv) {
    Bytes const plaintext = numbered(39);
    Bytes chained = iv;
    Bytes const ciphertext = run(CFB128_encrypt, chained, plaintext);
    EXPECT_EQ(chained, Bytes(ciphertext.begin() + 16, ciphertext.begin() + 32));
    chained = iv;
    EXPECT_EQ(run(CFB128_decrypt, chained, ciphertext), plaintext);
    EXPECT_EQ(chained, Bytes(ciphertext.begin() + 16, ciphertext.begin() + 32));
}

TEST(CFB128, UsesTheKeystreamOfAPartialBlockAgain) {
    for (Mode const mode : {CFB128_encrypt, CFB128_decrypt}) {
        Bytes const in = numbered(7);
        Bytes chained = iv;
        Bytes const once = run(mode, chained, in);
        EXPECT_EQ(chained, iv);
        EXPECT_EQ(once, exclusiveOr(in, block(iv)));
        EXPECT_EQ(run(mode, chained, in), once);

        CFB128Cipher cipher(std::make_unique<AES128>(key.data()));
        cipher.setIV(iv.data(), 16);
        Bytes out(14);
        cipher.encrypt(in.data(), 7, nullptr, 0, out.data());
        cipher.encrypt(in.data(), 7, nullptr, 0, out.data() + 7);
        EXPECT_EQ(first(out, 7), once);
        EXPECT_EQ(Bytes(out.begin() + 7, out.end()), once);
    }
}

TEST(CTR128, CountsInTheLastWordWithoutCarry) {
    for (Mode const mode : {CTR128_encrypt, CTR128_decrypt}) {
        Bytes counter = test::hex("000102030405060708090a0bffffffff");
        Bytes const wrapped = test::hex("000102030405060708090a0b00000000");
        Bytes keystream = block(counter);
        Bytes const second = block(wrapped);
        keystream.insert(keystream.end(), second.begin(), second.end());
        Bytes const in = numbered(32);
        EXPECT_EQ(run(mode, counter, in), exclusiveOr(in, keystream));
        EXPECT_EQ(test::toHex(counter), "000102030405060708090a0b00000001");
    }
}

TEST(CTR128, CountsBigEndian) {
    Bytes counter = test::hex("ffffffffffffffffffffffff0000ffff");
    run(CTR128_encrypt, counter, numbered(16));
    EXPECT_EQ(test::toHex(counter), "ffffffffffffffffffffffff00010000");
}

TEST(CTR128, TakesAWholeCounterForAPartialBlock) {
    for (Mode const mode : {CTR128_encrypt, CTR128_decrypt}) {
        Bytes counter = iv;
        Bytes const in = numbered(17);
        run(mode, counter, in);
        EXPECT_EQ(test::toHex(counter), "f0f1f2f3f4f5f6f7f8f9fafbfcfdff01");
        // So the next call begins with another block.
        EXPECT_EQ(run(mode, counter, first(in, 5)),
                  exclusiveOr(first(in, 5), block(test::hex("f0f1f2f3f4f5f6f7f8f9fafbfcfdff01"))));
    }
}

TEST(CTR128, OfNothingLeavesTheCounter) {
    for (Mode const mode : {CTR128_encrypt, CTR128_decrypt}) {
        Bytes counter = iv;
        run(mode, counter, {});
        EXPECT_EQ(counter, iv);
    }
}

TEST(ModeDeathTest, StreamModesWantBlocksOf16Bytes) {
    DES des(key.data());
    Bytes chained = iv, out(16);
    auto const call = [&](Mode mode) { mode(des, chained.data(), iv.data(), 0, out.data()); };
    EXPECT_DEATH(call(CTR128_encrypt), "block\\.cpp:[0-9]+: CTR128_encrypt: Assertion "
                                       "`cipher\\.blockLength\\(\\) == 16' failed");
    EXPECT_DEATH(call(CTR128_decrypt), "block\\.cpp:[0-9]+: CTR128_decrypt: Assertion "
                                       "`cipher\\.blockLength\\(\\) == 16' failed");
    EXPECT_DEATH(call(CFB128_encrypt), "cbc\\.cpp:[0-9]+: CFB128_encrypt: Assertion "
                                       "`cipher\\.blockLength\\(\\) == 16' failed");
    EXPECT_DEATH(call(CFB128_decrypt), "cbc\\.cpp:[0-9]+: CFB128_decrypt: Assertion "
                                       "`cipher\\.blockLength\\(\\) == 16' failed");
}

TEST(CTR128CipherDeathTest, WantsAnIvOf16Bytes) {
    CTR128Cipher cipher(std::make_unique<AES128>(key.data()));
    for (unsigned const size : {0u, 12u, 15u, 17u})
        EXPECT_DEATH(cipher.setIV(iv.data(), size),
                     "cipher\\.cpp:[0-9]+: setIV: Assertion `size == sizeof\\(iv\\)' failed");
}

TEST(CBCCipher, TakesAsMuchOfTheIvAsIsGiven16BytesAtMost) {
    CBCCipher cipher(std::make_unique<AES128>(key.data()));
    Bytes const long17 = numbered(17);
    Bytes chained = first(long17, 16), out(16);
    Bytes const in(16);
    cipher.setIV(long17.data(), 17);
    cipher.encrypt(in.data(), 16, nullptr, 0, out.data());
    EXPECT_EQ(out, run(CBC_encrypt, chained, in));

    // What is not given stays.
    chained = first(long17, 16);
    std::copy_n(iv.begin(), 8, chained.begin());
    cipher.setIV(long17.data(), 16);
    cipher.setIV(iv.data(), 8);
    cipher.setIV(nullptr, 0);
    cipher.encrypt(in.data(), 16, nullptr, 0, out.data());
    EXPECT_EQ(out, run(CBC_encrypt, chained, in));
}

TEST(CBCCipher, OfDesTakesAnIvOf8Bytes) {
    CBCCipher cipher(std::make_unique<DES>(key.data()));
    auto const exact = std::make_unique<unsigned char[]>(8);
    std::copy_n(iv.begin(), 8, exact.get());
    cipher.setIV(exact.get(), 8);
    Bytes out(8), expected(8), chained = iv;
    cipher.encrypt(key.data(), 8, nullptr, 0, out.data());
    DES des(key.data());
    CBC_encrypt(des, chained.data(), key.data(), 8, expected.data());
    EXPECT_EQ(out, expected);
}

TEST(CFB128Cipher, Takes16BytesOfIvWhateverTheSize) {
    CFB128Cipher cipher(std::make_unique<AES128>(key.data()));
    Bytes const in = numbered(16);
    for (unsigned const size : {0u, 8u, 16u, 99u}) {
        cipher.setIV(Bytes(16).data(), 16);
        cipher.setIV(iv.data(), size);
        Bytes chained = iv, out(16);
        cipher.encrypt(in.data(), 16, nullptr, 0, out.data());
        EXPECT_EQ(out, run(CFB128_encrypt, chained, in)) << size;
    }
}

TEST(ModeObjects, SayTheirLengths) {
    CBCCipher cbc(std::make_unique<AES128>(key.data())), desCbc(std::make_unique<DES>(key.data()));
    CFB128Cipher cfb(std::make_unique<AES128>(key.data())), desCfb(std::make_unique<DES>(key.data()));
    CTR128Cipher ctr(std::make_unique<AES128>(key.data())), desCtr(std::make_unique<DES>(key.data()));
    EXPECT_EQ(cbc.blockLength(), 16u);
    EXPECT_EQ(desCbc.blockLength(), 8u);
    EXPECT_EQ(cfb.blockLength(), 16u);
    EXPECT_EQ(desCfb.blockLength(), 8u);
    EXPECT_EQ(ctr.blockLength(), 16u);
    EXPECT_EQ(desCtr.blockLength(), 16u);
    EXPECT_EQ(cbc.ciphertextLength(20), 16u);
    EXPECT_EQ(desCbc.ciphertextLength(20), 16u);
    EXPECT_EQ(desCbc.ciphertextLength(7), 0u);
    EXPECT_EQ(cbc.ciphertextLength(0xFFFFFFFF), 0xFFFFFFF0);
    for (unsigned const size : {0u, 1u, 16u, 20u, 0xFFFFFFFFu}) {
        EXPECT_EQ(cfb.ciphertextLength(size), size);
        EXPECT_EQ(ctr.ciphertextLength(size), size);
    }
}

TEST(ModeObjects, ReturnTheLengthOfWhatTheyDecrypted) {
    CBCCipher cbc(std::make_unique<AES128>(key.data()));
    CFB128Cipher cfb(std::make_unique<AES128>(key.data()));
    CTR128Cipher ctr(std::make_unique<AES128>(key.data()));
    Bytes const in = numbered(20);
    for (Cipher* const cipher :
         {static_cast<Cipher*>(&cbc), static_cast<Cipher*>(&cfb), static_cast<Cipher*>(&ctr)}) {
        Bytes out(20, 0xEE);
        cipher->setIV(iv.data(), 16);
        EXPECT_EQ(cipher->decrypt(in.data(), 20, nullptr, 0, out.data()), cipher->ciphertextLength(20));
        EXPECT_EQ(cipher->decrypt(in.data(), 0, nullptr, 0, out.data()), 0u);
    }
}

/// CBC with the padding of PKCS #7, as its callers do it. Empty where there is none to remove.
bool unpad(Bytes& padded) {
    if (padded.empty() || padded.back() == 0 || padded.back() > 16)
        return false;
    size_t const kept = padded.size() - padded.back();
    bool const good = std::all_of(padded.begin() + static_cast<std::ptrdiff_t>(kept), padded.end(),
                                  [&](unsigned char each) { return each == padded.back(); });
    padded.resize(kept);
    return good;
}

TEST_CASES(CBCCipher, SatisfiesWycheproofUnderPaddingOfTheCaller, "wycheproof/aes_cbc_pkcs5.txt")
(test::Case const& c) {
    c.ignore({"flags", "ivSize"});
    Bytes const aesKey = c.bytes("key"), ciphertext = c.bytes("ct"), message = c.bytes("msg");
    Bytes padded = message;
    padded.insert(padded.end(), 16 - message.size() % 16,
                  static_cast<unsigned char>(16 - message.size() % 16));
    auto const made = [&] { return createCipher(CipherID::AesCbc, aesKey, 0); };
    bool const valid = c.text("result") == "valid";
    if (valid)
        test::expectCipher(made, {c.bytes("iv"), {}, padded, ciphertext}, {16, true, false});

    auto const cipher = made();
    cipher->setIV(c.bytes("iv").data(), 16);
    Bytes plaintext(ciphertext.size());
    plaintext.resize(cipher->decrypt(ciphertext.data(), static_cast<unsigned>(ciphertext.size()), nullptr, 0,
                                     plaintext.data()));
    bool const unpadded = plaintext.size() == ciphertext.size() && unpad(plaintext);
    EXPECT_EQ(unpadded && plaintext == message, valid) << c.id();
}

} // namespace TEST_FILE

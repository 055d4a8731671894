#include "sealkit/cipher.h"
#include "sealkit/cmac.h"
#include "sealkit/rc4.h"
#include "sealkit/siv.h"

#include "wiping/lifetime.h"

#include <utility>

namespace {

using test::Bytes;
using test::Watch;

/// Not in whole blocks, so that there is something to pad.
Bytes const message = test::Random(1).bytes(100);
Bytes const iv = test::Random(2).bytes(16);
Bytes const aad = test::Random(3).bytes(20);

void useBlockCipher(BlockCipher& cipher) {
    unsigned char block[16] = {};
    cipher.encrypt(block, block);
    cipher.encrypt(block, block);
    cipher.decrypt(block, block);
}

/// The key and what the block cipher makes of it.
template <typename T>
void addSchedule(Watch& watch, unsigned char const* key, size_t size) {
    Watch::Pause const pause;
    T const cipher(key);
    watch.addSecret("key", {key, size});
    watch.addObject("round keys", &cipher, sizeof cipher);
}

/// Under a key of its own size.
void addAesSchedule(Watch& watch, std::span<unsigned char const> key) {
    if (key.size() == 16)
        addSchedule<AES128>(watch, key.data(), key.size());
    else if (key.size() == 24)
        addSchedule<AES192>(watch, key.data(), key.size());
    else
        addSchedule<AES256>(watch, key.data(), key.size());
}

template <typename T>
void expectBlockCipherWiped(size_t keySize) {
    Bytes const key = test::Random(4).bytes(keySize);
    Watch watch;
    watch.addSecret("key", key);
    test::expectWiped<T>(watch, useBlockCipher, key.data());
}

TEST(Wiping, BlockCiphersLeaveNoRoundKeys) {
    expectBlockCipherWiped<AES128>(16);
    expectBlockCipherWiped<AES192>(24);
    expectBlockCipherWiped<AES256>(32);
    expectBlockCipherWiped<DES>(8);
}

/// A cipher of a factory, with the sizes of its keys.
struct CipherCase {
    CipherID id;
    size_t key;
};
void PrintTo(CipherCase const& c, std::ostream* out) { *out << "id " << unsigned(c.id) << ", key " << c.key; }

void addKey(Watch& watch, CipherCase const& c, Bytes const& key) {
    if (c.id == CipherID::DesCbc || c.id == CipherID::TripleDesCbc)
        for (size_t i = 0; i < key.size(); i += 8)
            addSchedule<DES>(watch, key.data() + i, 8);
    else
        addAesSchedule(watch, key);
}

struct Text {
    unsigned char bytes[200];
    ~Text() { secureMemset(bytes, 0, sizeof bytes); }
};

/// Encrypts, decrypts, and begins once more: what was derived for the IV before is gone, too.
void useCipher(Cipher& cipher) {
    Text ciphertext, plaintext;
    unsigned const length = cipher.ciphertextLength(test::size(message));
    for (int i = 0; i < 2; i++) {
        cipher.setIV(iv.data(), 16);
        cipher.encrypt(message.data(), test::size(message), aad.data(), test::size(aad), ciphertext.bytes);
        cipher.setIV(iv.data(), 16);
        EXPECT_LE(cipher.decrypt(ciphertext.bytes, length, aad.data(), test::size(aad), plaintext.bytes),
                  test::size(message));
    }
}

Bytes joined(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// The IV, the counter blocks after it and the ciphertext are no secrets: any may stay behind as chaining
/// value.
void addPublic(Watch& watch, Cipher& cipher) {
    Bytes counter = iv;
    for (size_t i = 0; i <= message.size() / 16 + 1; i++) {
        watch.addPublic(counter);
        for (size_t byte = 16; byte-- > 12 && ++counter[byte] == 0;) {
        }
    }
    Bytes ciphertext(cipher.ciphertextLength(test::size(message)));
    cipher.setIV(iv.data(), 16);
    cipher.encrypt(message.data(), test::size(message), aad.data(), test::size(aad), ciphertext.data());
    watch.addPublic(ciphertext);
    if (cipher.blockLength() == 8) // The last block stands in front of what followed in the IV's buffer.
        for (Bytes const& rest : {Bytes(iv.begin() + 8, iv.end()), Bytes(8)}) {
            watch.addPublic(joined(Bytes(iv.begin(), iv.begin() + 8), rest));
            for (auto block = ciphertext.begin(); block != ciphertext.end(); block += 8)
                watch.addPublic(joined(Bytes(block, block + 8), rest));
        }
}

/// What the stream modes XOR the message with, the whole of the last block too.
void addKeystream(Watch& watch, Cipher& cipher) {
    Bytes const padded = joined(message, Bytes(12));
    Bytes keystream(cipher.ciphertextLength(test::size(padded)));
    cipher.setIV(iv.data(), 16);
    cipher.encrypt(padded.data(), test::size(padded), aad.data(), test::size(aad), keystream.data());
    for (size_t i = 0; i < padded.size(); i++)
        keystream[i] ^= padded[i];
    watch.addSecret("keystream", {keystream.data(), padded.size()});
}

class WipingCipher : public testing::TestWithParam<CipherCase> {};
INSTANTIATE_TEST_SUITE_P(Of, WipingCipher,
                         testing::Values(CipherCase{CipherID::DesCbc, 8},
                                         CipherCase{CipherID::TripleDesCbc, 24},
                                         CipherCase{CipherID::AesCbc, 16}, CipherCase{CipherID::AesCbc, 24},
                                         CipherCase{CipherID::AesCbc, 32}, CipherCase{CipherID::AesCtr, 16},
                                         CipherCase{CipherID::AesCtr, 24}, CipherCase{CipherID::AesCtr, 32},
                                         CipherCase{CipherID::AesCfb, 16}, CipherCase{CipherID::AesGcm, 16},
                                         CipherCase{CipherID::AesGcm, 32}));

/// The round keys that a cipher lays out for itself when it is made and when it first decrypts.
void addLaidOutKeys(Watch& watch, Cipher& cipher) {
    Text plaintext;
    cipher.setIV(iv.data(), 16);
    cipher.decrypt(iv.data(), cipher.blockLength(), nullptr, 0, plaintext.bytes);
    watch.addPublic(iv);
    size_t const without = watch.size();
    watch.addHeap("laid-out keys");
    EXPECT_GT(watch.size(), without + 30) << "the keys were not there";
}

TEST_P(WipingCipher, LeavesNoRoundKeysTablesOrPlaintext) {
    Bytes const key = test::Random(5).bytes(GetParam().key);
    auto const make = [&] { return createCipher(GetParam().id, key, 0); };
    Watch watch;
    addKey(watch, GetParam(), key);
    if (GetParam().id == CipherID::DesCbc || GetParam().id == CipherID::TripleDesCbc ||
        GetParam().id == CipherID::AesCbc)
        addLaidOutKeys(watch, *make());
    watch.addSecret("message", message);
    {
        Watch::Pause const pause;
        addPublic(watch, *make());
        if (GetParam().id == CipherID::AesCtr || GetParam().id == CipherID::AesCfb ||
            GetParam().id == CipherID::AesGcm)
            addKeystream(watch, *make());
        if (GetParam().id == CipherID::AesGcm) {
            Bytes hashKey(16);
            auto const cbc = createCipher(CipherID::AesCbc, key, 0);
            cbc->setIV(hashKey.data(), 16);
            cbc->encrypt(hashKey.data(), 16, nullptr, 0, hashKey.data());
            watch.addSecret("hash key", hashKey);
        }
    }
    test::expectHeapWiped(watch, make, useCipher);
}

TEST(Wiping, GcmLeavesNoTableWhenTheNextMessageBegins) {
    Bytes const key = test::Random(6).bytes(16);
    Watch watch;
    addAesSchedule(watch, key);
    auto const cipher = createCipher(CipherID::AesGcm, key, 0);
    size_t const without = watch.size();
    cipher->setIV(iv.data(), 12);
    watch.addPublic(iv);
    watch.addHeap("hash key and table");
    EXPECT_GT(watch.size(), without + 3000) << "the table was not there";
    cipher->setIV(iv.data(), 12);
    test::expectNothingFound(watch);
}

class WipingRecordCipher : public testing::TestWithParam<CipherCase> {};
INSTANTIATE_TEST_SUITE_P(Of, WipingRecordCipher,
                         testing::Values(CipherCase{CipherID::TripleDesCbc, 24},
                                         CipherCase{CipherID::AesCbc, 16}, CipherCase{CipherID::AesCbc, 24},
                                         CipherCase{CipherID::AesCbc, 32}));

TEST_P(WipingRecordCipher, LeavesNoKeysOrPlaintext) {
    Bytes const key = test::Random(7).bytes(GetParam().key), macKey = test::Random(8).bytes(40);
    for (HashID hash : {HashID::SHA1, HashID::SHA256, HashID::SHA512}) {
        auto const make = [&] { return createAead(GetParam().id, hash, key, macKey); };
        Watch watch;
        addKey(watch, GetParam(), key);
        watch.addSecret("MAC key", macKey);
        watch.addSecret("message", message);
        {
            Watch::Pause const pause;
            addPublic(watch, *make());
        }
        test::expectHeapWiped(watch, make, useCipher);
    }
}

class WipingAes : public testing::TestWithParam<size_t> {};
INSTANTIATE_TEST_SUITE_P(Of, WipingAes, testing::Values(16, 24, 32));

/// The key of a CMAC and everything made of it.
void addCmacKey(Watch& watch, std::span<unsigned char const> key) {
    addAesSchedule(watch, key);
    Watch::Pause const pause;
    Bytes k1(16), k2(16);
    genCmacSubkey(key.data(), static_cast<unsigned>(key.size()), k1.data(), k2.data());
    watch.addSecret("subkey", k1);
    watch.addSecret("subkey", k2);
}

TEST_P(WipingAes, CmacLeavesNeitherKeysNorState) {
    Bytes const key = test::Random(9).bytes(GetParam());
    Watch watch;
    addCmacKey(watch, key);
    test::expectHeapWiped(
        watch, [&] { return createAesCmac(key); },
        [](AesCmac& cmac) { cmac.update(message.data(), test::size(message)); });
    test::runSearched(watch, [&] {
        unsigned char mac[16], k1[16], k2[16];
        aesCmac(key.data(), test::size(key), message.data(), test::size(message), mac);
        genCmacSubkey(key.data(), test::size(key), k1, k2);
        secureMemset(k1, 0, sizeof k1);
        secureMemset(k2, 0, sizeof k2);
    });
    test::expectNothingFound(watch);
}

TEST_P(WipingAes, SivLeavesNeitherKeysNorPlaintext) {
    Bytes const key = test::Random(10).bytes(2 * GetParam());
    std::span<unsigned char const> const view(key);
    std::vector<std::span<unsigned char const>> const strings = {aad, iv};
    Watch watch;
    addCmacKey(watch, view.first(GetParam()));
    addAesSchedule(watch, view.last(GetParam()));
    watch.addSecret("message", message);
    test::runSearched(watch, [&] {
        AESSIV const siv(view);
        Text ciphertext, plaintext;
        EXPECT_TRUE(siv.encrypt(message, strings, ciphertext.bytes));
        EXPECT_TRUE(siv.decrypt({ciphertext.bytes, message.size() + 16}, strings, plaintext.bytes));
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, Rc4LeavesNoPermutation) {
    Bytes const key = test::Random(11).bytes(16);
    Watch watch;
    watch.addSecret("key", key);
    test::expectWiped<RC4>(watch, [&](RC4& rc4) {
        rc4.setKey(key.data(), 16);
        rc4.skip(1000);
    });
}

} // namespace

#include "sealkit/gcm.h"

#include "support/cipher_uses.h"
#include "support/slow.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <random>
#include <sys/mman.h>

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

constexpr unsigned failed = 0xFFFFFFFF;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

Bytes operator+(Bytes a, Bytes const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::unique_ptr<BlockCipher> aesUnder(Bytes const& key) {
    switch (key.size()) {
    case 16:
        return std::make_unique<AES128>(key.data());
    case 24:
        return std::make_unique<AES192>(key.data());
    default:
        return std::make_unique<AES256>(key.data());
    }
}

/// Of the factory where it makes one: it takes no key of 24 bytes.
std::unique_ptr<Cipher> gcmUnder(Bytes const& key) {
    if (key.size() == 24)
        return std::make_unique<GCMCipher>(aesUnder(key));
    return createCipher(CipherID::AesGcm, key, 0);
}

Bytes encrypt(Cipher& gcm, Bytes const& plaintext, Bytes const& aad) {
    Bytes out(gcm.ciphertextLength(size(plaintext)));
    gcm.encrypt(plaintext.data(), size(plaintext), aad.data(), size(aad), out.data());
    return out;
}

Bytes encrypt(Cipher& gcm, Bytes const& iv, Bytes const& plaintext, Bytes const& aad) {
    gcm.setIV(iv.data(), size(iv));
    return encrypt(gcm, plaintext, aad);
}

Bytes randomBytes(std::mt19937& random, unsigned count) {
    Bytes bytes(count);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
    return bytes;
}

/// Multiplication of blocks bit by bit: SP 800-38D, algorithm 1.
Bytes product(Bytes const& x, Bytes v) {
    Bytes z(16);
    for (unsigned i = 0; i < 128; i++) {
        if (x[i / 8] >> (7 - i % 8) & 1)
            for (unsigned k = 0; k < 16; k++)
                z[k] ^= v[k];
        bool const odd = v[15] & 1;
        for (unsigned k = 15; k > 0; k--)
            v[k] = static_cast<unsigned char>(v[k] >> 1 | v[k - 1] << 7);
        v[0] = static_cast<unsigned char>((v[0] >> 1) ^ (odd ? 0xE1 : 0));
    }
    return z;
}

/// The mode from a J0 on, written down a second time: SP 800-38D, algorithm 4 from step 3 on. Leaves
/// the last counter block in `j0`.
Bytes reference(BlockCipher& aes, Bytes& j0, Bytes const& plaintext, Bytes const& aad) {
    auto encrypted = [&](Bytes const& block) {
        Bytes out(16);
        aes.encrypt(block.data(), out.data());
        return out;
    };
    Bytes const mask = encrypted(j0);
    Bytes out;
    for (unsigned char const byte : plaintext) {
        if (out.size() % 16 == 0)
            for (unsigned k = 16; k-- > 12 && ++j0[k] == 0;) {
            }
        out.push_back(byte ^ encrypted(j0)[out.size() % 16]);
    }
    auto padded = [](Bytes bytes) {
        bytes.resize((bytes.size() + 15) / 16 * 16);
        return bytes;
    };
    auto length = [](Bytes const& bytes) {
        Bytes field(8);
        for (unsigned k = 0; k < 8; k++)
            field[k] = static_cast<unsigned char>(std::uint64_t(bytes.size()) * 8 >> (56 - 8 * k));
        return field;
    };
    Bytes const hashed = padded(aad) + padded(out) + length(aad) + length(out);
    Bytes const h = encrypted(Bytes(16));
    Bytes y(16);
    for (size_t at = 0; at < hashed.size(); at += 16) {
        for (unsigned k = 0; k < 16; k++)
            y[k] ^= hashed[at + k];
        y = product(y, h);
    }
    for (unsigned k = 0; k < 16; k++)
        y[k] ^= mask[k];
    return out + y;
}

TEST_CASES(GCM, GivesTheResultsOfItsSpecification, "cipher/gcm.txt")(test::Case const& c) {
    Bytes const key = c.bytes("key"), ciphertext = c.bytes("ciphertext"), tag = c.bytes("tag");
    test::CipherVector const vector = {c.bytes("iv"), c.bytes("aad"), c.bytes("plaintext"), ciphertext + tag};
    if (c.differsOnPurpose())
        c.expectAgreement(encrypt(*gcmUnder(key), vector.iv, vector.plaintext, vector.aad) ==
                          vector.ciphertext);
    else
        test::expectCipher([&] { return gcmUnder(key); }, vector, {});
}

TEST_CASES(GCM, AgreesWithWycheproof, "wycheproof/aes_gcm.txt")(test::Case const& c) {
    c.ignore({"flags", "ivSize"});
    EXPECT_EQ(c.number("tagSize"), 128U);
    Bytes const key = c.bytes("key"), iv = c.bytes("iv"), aad = c.bytes("aad"), message = c.bytes("msg");
    Bytes const ciphertext = c.bytes("ct") + c.bytes("tag");
    bool const valid = c.text("result") == "valid";
    auto const gcm = gcmUnder(key);
    if (valid && !c.differsOnPurpose())
        test::expectCipher([&] { return gcmUnder(key); }, {iv, aad, message, ciphertext}, {});
    gcm->setIV(iv.data(), size(iv));
    Bytes out(ciphertext.size());
    unsigned const length =
        gcm->decrypt(ciphertext.data(), size(ciphertext), aad.data(), size(aad), out.data());
    c.expectAgreement(length == (valid ? size(message) : failed));
}

TEST(GCM, AgreesWithAMultiplicationBitByBit) {
    std::mt19937 random(1);
    for (unsigned length = 0; length < 100; length++) {
        Bytes const key = randomBytes(random, 16 + random() % 3 * 8), plaintext = randomBytes(random, length);
        Bytes const aad = randomBytes(random, random() % 70);
        Bytes j0 = randomBytes(random, 12) + Bytes{0, 0, 0, 1};
        Bytes const iv(j0.begin(), j0.begin() + 12);
        EXPECT_EQ(encrypt(*gcmUnder(key), iv, plaintext, aad), reference(*aesUnder(key), j0, plaintext, aad))
            << length;
    }
}

TEST(GCM, TakesMessagesOfManyBlocksInPlaceAndNot) {
    std::mt19937 random(2);
    for (unsigned length : {1008U, 1023U, 1024U, 1025U, 1040U, 2047U, 2048U, 2049U, 5000U}) {
        Bytes const key = randomBytes(random, 16), plaintext = randomBytes(random, length);
        Bytes const aad = randomBytes(random, length);
        Bytes j0 = Bytes(12, 7) + Bytes{0, 0, 0, 1};
        test::expectCipher([&] { return gcmUnder(key); },
                           {Bytes(12, 7), aad, plaintext, reference(*aesUnder(key), j0, plaintext, aad)}, {});
    }
}

TEST(GCM, LengthsOfTheInterface) {
    auto const gcm = gcmUnder(Bytes(16));
    EXPECT_EQ(gcm->blockLength(), 16U);
    EXPECT_EQ(gcm->ciphertextLength(0), 16U);
    EXPECT_EQ(gcm->ciphertextLength(1), 17U);
    EXPECT_EQ(gcm->ciphertextLength(1000), 1016U);
}

TEST(GCM, NoPlaintextGivesTheTagAlone) {
    auto const gcm = gcmUnder(Bytes(16));
    gcm->setIV(Bytes(12).data(), 12);
    Bytes out(17, 0xA5);
    gcm->encrypt(nullptr, 0, Bytes(20, 1).data(), 20, out.data());
    EXPECT_EQ(out[16], 0xA5);
    Bytes j0 = Bytes(15) + Bytes{1};
    EXPECT_EQ(Bytes(out.begin(), out.end() - 1), reference(*aesUnder(Bytes(16)), j0, {}, Bytes(20, 1)));
    gcm->setIV(Bytes(12).data(), 12);
    EXPECT_EQ(gcm->decrypt(out.data(), 16, Bytes(20, 1).data(), 20, nullptr), 0U);
}

TEST(GCM, ShortIVsAreFilledUpWithZeros) {
    auto const gcm = gcmUnder(Bytes(32, 3));
    Bytes const plaintext(40, 1), aad(5, 2);
    for (unsigned length = 0; length < 12; length++) {
        Bytes const iv(length, 0x77);
        Bytes filled = iv;
        filled.resize(12);
        EXPECT_EQ(encrypt(*gcm, iv, plaintext, aad), encrypt(*gcm, filled, plaintext, aad)) << length;
    }
    gcm->setIV(nullptr, 0);
    Bytes const underNothing = encrypt(*gcm, plaintext, aad);
    EXPECT_EQ(underNothing, encrypt(*gcm, Bytes(12), plaintext, aad));
}

TEST(GCM, LongIVsAreHashed) {
    auto const gcm = gcmUnder(Bytes(16, 3));
    auto const aes = aesUnder(Bytes(16, 3));
    Bytes h(16);
    aes->encrypt(h.data(), h.data());
    for (unsigned length : {13U, 16U, 17U, 60U}) {
        Bytes const iv(length, 0x77);
        Bytes padded = iv;
        padded.resize((length + 15) / 16 * 16);
        padded = padded + Bytes(14) +
                 Bytes{static_cast<unsigned char>(length * 8 >> 8), static_cast<unsigned char>(length * 8)};
        Bytes j0(16);
        for (size_t at = 0; at < padded.size(); at += 16) {
            for (unsigned k = 0; k < 16; k++)
                j0[k] ^= padded[at + k];
            j0 = product(j0, h);
        }
        EXPECT_EQ(encrypt(*gcm, iv, Bytes(50, 1), {}), reference(*aes, j0, Bytes(50, 1), {})) << length;
    }
}

TEST(GCM, ASecondMessageWithoutAnIVGoesOnFromTheLastCounterBlock) {
    auto const gcm = gcmUnder(Bytes(16, 9));
    auto const aes = aesUnder(Bytes(16, 9));
    Bytes j0 = Bytes(12, 4) + Bytes{0, 0, 0, 1};
    gcm->setIV(j0.data(), 12);
    for (unsigned length : {33U, 0U, 16U, 5U})
        EXPECT_EQ(encrypt(*gcm, Bytes(length, 1), Bytes(3, 2)),
                  reference(*aes, j0, Bytes(length, 1), Bytes(3, 2)))
            << length;
    EXPECT_EQ(j0[15], 1 + 3 + 0 + 1 + 1);

    // Decryption does the same.
    Bytes from = Bytes(12, 4) + Bytes{0, 0, 0, 1};
    gcm->setIV(from.data(), 12);
    for (unsigned length : {33U, 0U, 5U}) {
        Bytes const ciphertext = reference(*aes, from, Bytes(length, 1), {});
        Bytes out(length);
        EXPECT_EQ(gcm->decrypt(ciphertext.data(), size(ciphertext), nullptr, 0, out.data()), length);
        EXPECT_EQ(out, Bytes(length, 1));
    }
}

TEST(GCM, ForgeriesFailAndLeaveThePlaintext) {
    auto const gcm = gcmUnder(Bytes(16, 9));
    Bytes const iv(12, 4), plaintext(37, 1), aad(20, 2);
    Bytes const ciphertext = encrypt(*gcm, iv, plaintext, aad);
    for (unsigned bit = 0; bit < 8 * size(ciphertext); bit++) {
        Bytes forged = ciphertext, expected = plaintext;
        auto const flip = static_cast<unsigned char>(1 << bit % 8);
        forged[bit / 8] ^= flip;
        if (bit / 8 < expected.size())
            expected[bit / 8] ^= flip;
        gcm->setIV(iv.data(), 12);
        Bytes out(plaintext.size() + 1, 0xA5);
        EXPECT_EQ(gcm->decrypt(forged.data(), size(forged), aad.data(), size(aad), out.data()), failed)
            << bit;
        EXPECT_EQ(out, expected + Bytes{0xA5}) << bit;
    }
    for (Bytes const& other : {Bytes(), Bytes(19, 2), Bytes(21, 2), Bytes(20, 3)}) {
        gcm->setIV(iv.data(), 12);
        Bytes out(plaintext.size());
        EXPECT_EQ(gcm->decrypt(ciphertext.data(), size(ciphertext), other.data(), size(other), out.data()),
                  failed);
        EXPECT_EQ(out, plaintext);
    }
}

TEST(GCM, InputWithoutRoomForATagFails) {
    auto const gcm = gcmUnder(Bytes(16));
    gcm->setIV(Bytes(12).data(), 12);
    Bytes const in(15);
    Bytes out(15, 0xA5);
    for (unsigned length = 0; length < 16; length++)
        EXPECT_EQ(gcm->decrypt(in.data(), length, nullptr, 0, out.data()), failed);
    EXPECT_EQ(out, Bytes(15, 0xA5));
    // Nothing has happened to the object.
    Bytes j0 = Bytes(15) + Bytes{1};
    EXPECT_EQ(encrypt(*gcm, {1, 2, 3}, {}), reference(*aesUnder(Bytes(16)), j0, {1, 2, 3}, {}));
}

TEST(GCM, LengthsInBitsAreCountedModulo2ToThe32) {
    if (test::isSlow())
        GTEST_SKIP() << "takes long here";
    // 512 MiB of zeros leave GHASH at zero, and their length in bits does too. The pages of the mapping are
    // all the one page of zeros.
    constexpr unsigned length = 1U << 29;
    void* const zeros = mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    auto const gcm = gcmUnder(Bytes(16, 5));
    gcm->setIV(Bytes(12).data(), 12);
    Bytes tag(16);
    gcm->encrypt(nullptr, 0, static_cast<unsigned char const*>(zeros), length, tag.data());
    munmap(zeros, length);
    EXPECT_EQ(tag, encrypt(*gcm, Bytes(12), {}, {}));
}

TEST(GCMDeathTest, WantsABlockCipherOfSixteenBytes) {
    unsigned char const key[8] = {};
    EXPECT_DEATH(
        GCMCipher(std::make_unique<DES>(key)),
        R"(\.\./include/sealkit/gcm\.h:[0-9]+: GCMCipher: Assertion `aes->blockLength\(\) == 16' failed)");
}

/// A GCMCipher whose memory outlives it.
struct InMemory {
    InMemory() : gcm(new (memory) GCMCipher(aesUnder(Bytes(16, 0x5C)))) {}

    Hash* ghash() const {
        Hash* hash;
        std::memcpy(&hash, memory + 2 * sizeof(void*), sizeof hash);
        return hash;
    }
    Bytes bytes() const { return Bytes(memory, memory + sizeof memory); }

    alignas(GCMCipher) unsigned char memory[sizeof(GCMCipher)];
    GCMCipher* gcm;
};

TEST(GCM, FieldsStandInTheirOrder) {
    // After the pointer to the virtual functions: block cipher, GHASH, counter block, length of the tag.
    InMemory object;
    constexpr size_t counter = 3 * sizeof(void*), tagLength = counter + 16;
    EXPECT_EQ(object.ghash(), nullptr);
    BlockCipher* aes;
    std::memcpy(&aes, object.memory + sizeof(void*), sizeof aes);
    EXPECT_EQ(aes->blockLength(), 16U);
    object.gcm->setIV(Bytes(12, 0xC0).data(), 12);
    EXPECT_NE(object.ghash(), nullptr);
    Bytes const j0(object.memory + counter, object.memory + tagLength);
    EXPECT_EQ(j0, Bytes(12, 0xC0) + (Bytes{0, 0, 0, 1}));
    EXPECT_EQ(object.memory[tagLength], 16);
    EXPECT_EQ(sizeof(GCMCipher), (tagLength + 1 + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*));
    object.gcm->~GCMCipher();
}

TEST(GCM, AnIVMakesANewGHash) {
    InMemory object;
    object.gcm->setIV(Bytes(12).data(), 12);
    object.ghash()->update("something", 9);
    object.gcm->setIV(Bytes(12).data(), 12);
    EXPECT_EQ(object.ghash()->Hash::digest(), std::string(16, '\0'));
    object.gcm->~GCMCipher();
}

TEST(GHash, IsAHashThatPadsEveryUpdate) {
    InMemory object;
    object.gcm->setIV(Bytes(12).data(), 12);
    Hash& ghash = *object.ghash();
    EXPECT_EQ(ghash.lengthFieldLength(), 8U);
    EXPECT_EQ(ghash.blockLength(), 16U);
    EXPECT_EQ(ghash.digestLength(), 16U);

    Bytes h(16);
    aesUnder(Bytes(16, 0x5C))->encrypt(h.data(), h.data());
    Bytes const data(29, 0x33);
    for (unsigned length = 0; length <= 16; length++) {
        Bytes first(data.begin(), data.begin() + length);
        first.resize(16);
        Bytes y = length == 0 ? Bytes(16) : product(first, h);
        Bytes second(data.begin(), data.begin() + 13);
        second.resize(16);
        for (unsigned k = 0; k < 16; k++)
            y[k] ^= second[k];
        y = product(y, h);
        ghash.update(data.data(), length);
        ghash.update(data.data(), 13);
        Bytes out(16);
        ghash.digest(out.data());
        EXPECT_EQ(out, y) << length;
    }
    // It was left at zero.
    ghash.update(Bytes(16).data(), 16);
    EXPECT_EQ(ghash.digest(), std::string(16, '\0'));
    object.gcm->~GCMCipher();
}

TEST(GHash, WipesTableAndAccumulator) {
    InMemory object;
    object.gcm->setIV(Bytes(12).data(), 12);
    Hash* const ghash = object.ghash();
    ghash->update("something", 9);
    // Take it out of its owner and destroy it, but keep its memory.
    std::memset(object.memory + 2 * sizeof(void*), 0, sizeof(void*));
    object.gcm->~GCMCipher();
    // Behind the pointer to the virtual functions and what aligns them: table, accumulator.
    auto const* fields = reinterpret_cast<unsigned char const*>(ghash) + 16;
    constexpr std::ptrdiff_t length = 32 * 16 * 16 + 16;
    EXPECT_LT(std::count(fields, fields + length, 0),
              1000); // The multiples by zero, and one byte of 256 by chance.
    ghash->~Hash();
    EXPECT_EQ(std::count(fields, fields + length, 0), length);
    ::operator delete(ghash);
}

TEST(GCM, WipesWhatItHolds) {
    InMemory object;
    Bytes const iv(12, 0x77);
    object.gcm->setIV(iv.data(), 12);
    object.gcm->~GCMCipher();
    Bytes const left = object.bytes();
    EXPECT_EQ(std::search(left.begin(), left.end(), iv.begin(), iv.end()), left.end());
}

} // namespace TEST_FILE

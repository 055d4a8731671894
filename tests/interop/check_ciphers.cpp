#include "interop/checks.h"

#include "sealkit/cipher.h"

#include "interop/names.h"
#include "support/random.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using Bytes = std::vector<unsigned char>;

unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

/// Room for `size` bytes at a random alignment, between margins that must stay as they are.
class Room {
public:
    Room(size_t length, test::Random& random)
        : before(random.below(8)), memory(before + length + margin, untouched) {}
    ~Room() {
        auto const same = [](unsigned char byte) { return byte == untouched; };
        auto const begin = memory.begin() + static_cast<ptrdiff_t>(before);
        EXPECT_TRUE(std::all_of(memory.begin(), begin, same)) << "written in front of the output";
        EXPECT_TRUE(std::all_of(memory.end() - margin, memory.end(), same)) << "written behind the output";
    }

    unsigned char* data() { return memory.data() + before; }
    Bytes bytes(size_t length) { return Bytes(data(), data() + length); }
    void put(Bytes const& bytes) { std::copy(bytes.begin(), bytes.end(), data()); }

private:
    static constexpr unsigned char untouched = 0xA5;
    static constexpr ptrdiff_t margin = 17;

    size_t before;
    Bytes memory;
};

enum class Direction { encrypt, decrypt };

/// What a plain mode makes of `input`, in pieces of whole blocks and a last one. The answer has
/// as many bytes as the object promises.
Bytes inPieces(Cipher& cipher, Direction direction, Bytes const& input, bool inPlace, test::Random& random) {
    unsigned const unit = cipher.blockLength();
    Room out(input.size(), random);
    Room in(input.size(), random);
    in.put(input);
    if (inPlace)
        out.put(input);
    size_t done = 0, written = 0;
    for (size_t piece : random.cut(input.size(), unit)) {
        unsigned char const* const from = (inPlace ? out : in).data() + done;
        unsigned const length = static_cast<unsigned>(piece);
        unsigned const expected = cipher.ciphertextLength(length);
        if (direction == Direction::encrypt)
            cipher.encrypt(from, length, nullptr, 0, out.data() + done);
        else
            EXPECT_EQ(cipher.decrypt(from, length, nullptr, 0, out.data() + done), expected);
        done += piece;
        written += expected;
    }
    return out.bytes(written);
}

} // namespace

void interop::checkPlainMode(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), iv = c.bytes("iv");
    Bytes const message = c.bytes("message"), ciphertext = c.bytes("ciphertext");
    CipherID const id = cipherNamed(c.text("cipher"));
    auto const cipher = createCipher(id, key, 0);
    ASSERT_NE(cipher, nullptr);

    bool const decryptsInPlace = id == CipherID::AesCtr || id == CipherID::AesCfb;
    for (bool inPlace : {false, true}) {
        cipher->setIV(iv.data(), size(iv));
        EXPECT_EQ(inPieces(*cipher, Direction::encrypt, message, inPlace, random), ciphertext);
        cipher->setIV(iv.data(), size(iv));
        Bytes expected = message;
        expected.resize(ciphertext.size());
        EXPECT_EQ(inPieces(*cipher, Direction::decrypt, ciphertext, inPlace && decryptsInPlace, random),
                  expected);
    }
}

void interop::checkGcm(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), iv = c.bytes("iv"), aad = c.bytes("aad"),
                ciphertext = c.bytes("ciphertext");
    auto const cipher = createCipher(CipherID::AesGcm, key, 0);
    ASSERT_NE(cipher, nullptr);
    for (int message = 0; message < 2; message++) { // The object is good for another.
        Room out(ciphertext.size(), random);
        if (!c.has("refused")) {
            Bytes const plain = c.bytes("message");
            ASSERT_EQ(cipher->ciphertextLength(size(plain)), ciphertext.size());
            cipher->setIV(iv.data(), size(iv));
            cipher->encrypt(plain.data(), size(plain), aad.data(), size(aad), out.data());
            EXPECT_EQ(out.bytes(ciphertext.size()), ciphertext);
        }
        Room back(ciphertext.size() - 16, random);
        cipher->setIV(iv.data(), size(iv));
        unsigned const length =
            cipher->decrypt(ciphertext.data(), size(ciphertext), aad.data(), size(aad), back.data());
        if (c.has("refused")) {
            c.ignore({"refused"});
            EXPECT_EQ(length, 0xFFFFFFFF);
        } else {
            ASSERT_EQ(length, ciphertext.size() - 16);
            EXPECT_EQ(back.bytes(length), c.bytes("message"));
        }
    }
}

void interop::checkRecord(test::Case const& c) {
    test::Random random(c.id());
    Bytes const key = c.bytes("key"), macKey = c.bytes("mac-key"), iv = c.bytes("iv");
    Bytes const message = c.bytes("message"), ciphertext = c.bytes("ciphertext");
    auto const cipher = createAead(cipherNamed(c.text("cipher")), hashNamed(c.text("hash")), key, macKey);
    ASSERT_NE(cipher, nullptr);
    cipher->setIV(iv.data(), size(iv));
    for (int record = 0; record < 2; record++) { // Every record begins from the same IV.
        Room out(ciphertext.size(), random);
        ASSERT_EQ(cipher->ciphertextLength(size(message)), ciphertext.size());
        cipher->encrypt(message.data(), size(message), nullptr, 0, out.data());
        EXPECT_EQ(out.bytes(ciphertext.size()), ciphertext);
        ASSERT_EQ(cipher->decrypt(ciphertext.data(), size(ciphertext), nullptr, 0, out.data()),
                  message.size());
        EXPECT_EQ(out.bytes(message.size()), message);
    }
}

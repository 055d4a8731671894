/// Tests one vector of a cipher in every way in which a cipher may be used.
#pragma once

#include "sealkit/cipher.h"
#include "support/vectors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace test {

/// A plaintext and its ciphertext.
struct CipherVector {
    std::vector<unsigned char> iv;
    std::vector<unsigned char> aad;
    std::vector<unsigned char> plaintext;
    std::vector<unsigned char> ciphertext; ///< With the tag, if there is one.
};

/// The uses that the mode permits.
struct CipherUses {
    /// A message may be split into calls at multiples of this many bytes; 0 if it must be one call.
    unsigned granule = 0;
    bool encryptsInPlace = true;
    bool decryptsInPlace = true;
};

namespace detail {

using Bytes = std::vector<unsigned char>;

/// Both directions of one vector, on new objects.
class CipherExercise {
public:
    CipherExercise(std::function<std::unique_ptr<Cipher>()> const& factory, CipherVector const& theVector,
                   CipherUses const& theUses)
        : make(factory),
          vector(theVector),
          uses(theUses),
          random(static_cast<unsigned>(theVector.plaintext.size())) {}

    void run() {
        std::unique_ptr<Cipher> const used = make();
        ASSERT_TRUE(used);
        EXPECT_EQ(used->ciphertextLength(size(vector.plaintext)), vector.ciphertext.size());
        for (bool const encrypting : {true, false}) {
            once(*make(), encrypting, "at once");
            once(*used, encrypting, "with an object in use");
            once(*used, encrypting, "again");
            for (unsigned shift = 1; shift < 8; ++shift)
                once(*used, encrypting, "misaligned by " + std::to_string(shift), shift);
            if (encrypting ? uses.encryptsInPlace : uses.decryptsInPlace)
                for (unsigned shift : {0u, 1u, 4u})
                    inPlace(*used, encrypting, shift);
            if (uses.granule != 0)
                for (unsigned times = 0; times < 4; ++times)
                    inPieces(*used, encrypting);
        }
    }

private:
    static unsigned size(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

    Bytes const& source(bool encrypting) const { return encrypting ? vector.plaintext : vector.ciphertext; }
    Bytes const& expected(bool encrypting) const { return encrypting ? vector.ciphertext : vector.plaintext; }

    void begin(Cipher& cipher, unsigned shift = 0) const {
        Bytes moved(shift);
        moved.insert(moved.end(), vector.iv.begin(), vector.iv.end());
        cipher.setIV(moved.data() + shift, size(vector.iv));
    }

    /// One call. Decryption also checks its result.
    void call(Cipher& cipher, bool encrypting, unsigned char const* in, unsigned len,
              unsigned char* out) const {
        if (encrypting)
            cipher.encrypt(in, len, vector.aad.data(), size(vector.aad), out);
        else
            EXPECT_EQ(cipher.decrypt(in, len, vector.aad.data(), size(vector.aad), out),
                      uses.granule != 0 ? len : vector.plaintext.size());
    }

    /// The bytes around the output must be unchanged. Decryption may write more than the plaintext, but not
    /// more than its input's length.
    void check(Bytes const& buffer, size_t offset, bool encrypting, std::string const& use) const {
        Bytes const& wanted = expected(encrypting);
        EXPECT_EQ(toHex(buffer.data() + offset, wanted.size()), toHex(wanted))
            << (encrypting ? "encrypted " : "decrypted ") << use;
        EXPECT_TRUE(std::all_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(offset),
                                [](unsigned char each) { return each == guard; }))
            << use;
        EXPECT_TRUE(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(offset + room()), buffer.end(),
                                [](unsigned char each) { return each == guard; }))
            << use;
    }

    size_t room() const { return std::max(vector.plaintext.size(), vector.ciphertext.size()); }

    void once(Cipher& cipher, bool encrypting, std::string const& use, unsigned shift = 0) const {
        Bytes in(shift);
        in.insert(in.end(), source(encrypting).begin(), source(encrypting).end());
        Bytes out(16 + shift + room() + 16, guard);
        begin(cipher, shift);
        call(cipher, encrypting, in.data() + shift, size(source(encrypting)), out.data() + 16 + shift);
        check(out, 16 + shift, encrypting, use);
    }

    void inPlace(Cipher& cipher, bool encrypting, unsigned shift) const {
        Bytes buffer(16 + shift + room() + 16, guard);
        std::copy(source(encrypting).begin(), source(encrypting).end(), buffer.begin() + 16 + shift);
        begin(cipher);
        call(cipher, encrypting, buffer.data() + 16 + shift, size(source(encrypting)),
             buffer.data() + 16 + shift);
        check(buffer, 16 + shift, encrypting, "in place");
    }

    void inPieces(Cipher& cipher, bool encrypting) {
        Bytes const& in = source(encrypting);
        Bytes out(16 + room() + 16, guard);
        begin(cipher);
        std::string cuts = "cut at";
        for (unsigned done = 0; done < in.size();) {
            unsigned const left = size(in) - done;
            unsigned const piece =
                std::min<unsigned>(left, random() % (left / uses.granule + 2) * uses.granule);
            call(cipher, encrypting, in.data() + done, piece, out.data() + 16 + done);
            done += piece;
            cuts += " " + std::to_string(done);
        }
        check(out, 16, encrypting, cuts);
    }

    static constexpr unsigned char guard = 0xA5;

    std::function<std::unique_ptr<Cipher>()> const& make;
    CipherVector const& vector;
    CipherUses const& uses;
    std::mt19937 random;
};

} // namespace detail

/// Expects that encryption and decryption of the vector match: at once, with reused objects, misaligned and,
/// as `uses` permits, in place and split at random. No other bytes may be written. `make` returns a new
/// object under the key.
inline void expectCipher(std::function<std::unique_ptr<Cipher>()> const& make, CipherVector const& vector,
                         CipherUses const& uses) {
    detail::CipherExercise(make, vector, uses).run();
}

} // namespace test

#include "sealkit/cipher.h"

#include "targets.h"

#include <algorithm>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned failed = 0xFFFFFFFF;

/// The next `size` bytes of the input; zeros where it has ended.
Bytes take(asn1::blob& input, size_t size) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        if (!input.empty())
            byte = input.pop_front();
    return bytes;
}

unsigned sizeOf(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

Bytes encrypted(Cipher& cipher, Bytes const& iv, Bytes const& plaintext) {
    Bytes out(cipher.ciphertextLength(sizeOf(plaintext)));
    cipher.setIV(iv.data(), sizeOf(iv));
    cipher.encrypt(plaintext.data(), sizeOf(plaintext), iv.data(), sizeOf(iv), out.data());
    return out;
}

/// The plaintext; `result` tells how decryption ended.
Bytes decrypted(Cipher& cipher, Bytes const& iv, Bytes const& ciphertext, unsigned* result) {
    Bytes out(ciphertext.size());
    cipher.setIV(iv.data(), sizeOf(iv));
    *result = cipher.decrypt(ciphertext.data(), sizeOf(ciphertext), iv.data(), sizeOf(iv), out.data());
    SEALKIT_ASSERT(*result == failed || *result <= ciphertext.size());
    out.resize(*result == failed ? 0 : *result);
    return out;
}

/// Decryption reverses encryption, only of whole blocks in modes that ignore a partial block.
void checkReversal(Cipher& cipher, Bytes const& iv, Bytes const& plaintext) {
    unsigned result = 0;
    Bytes const ciphertext = encrypted(cipher, iv, plaintext);
    Bytes const back = decrypted(cipher, iv, ciphertext, &result);
    SEALKIT_ASSERT(result == std::min(sizeOf(plaintext), sizeOf(ciphertext)));
    SEALKIT_ASSERT(std::equal(back.begin(), back.end(), plaintext.begin()));
}

/// A stream that is split between blocks is the same stream.
void checkCut(Cipher& cipher, Bytes const& iv, Bytes const& plaintext, unsigned cut) {
    unsigned const size = sizeOf(plaintext);
    cut = std::min(cut * cipher.blockLength(), size - size % cipher.blockLength());
    Bytes out(cipher.ciphertextLength(size));
    cipher.setIV(iv.data(), sizeOf(iv));
    cipher.encrypt(plaintext.data(), cut, nullptr, 0, out.data());
    cipher.encrypt(plaintext.data() + cut, size - cut, nullptr, 0, out.data() + cut);
    SEALKIT_ASSERT(out == encrypted(cipher, iv, plaintext));
}

/// Decryption fails if one bit of an authenticated ciphertext is changed.
void checkForgery(Cipher& cipher, Bytes const& iv, Bytes const& plaintext, unsigned bit) {
    unsigned result = 0;
    Bytes ciphertext = encrypted(cipher, iv, plaintext);
    ciphertext[bit / 8 % ciphertext.size()] ^= static_cast<unsigned char>(1 << bit % 8);
    decrypted(cipher, iv, ciphertext, &result);
    SEALKIT_ASSERT(result == failed);
}

} // namespace

/// The input selects the cipher, the hash, the lengths of the keys and the places of splits and forgeries;
/// then come the keys and the IV, which is also the additional data. The rest is encrypted and decrypted.
void fuzz::cipher(asn1::blob input) {
    Bytes const choice = take(input, 5);
    unsigned const id = choice[0] % 9, hash = 1 + choice[1] % 7;
    Bytes const key = take(input, choice[2] % 34), macKey = take(input, choice[3] % 160);
    Bytes const iv = take(input, 16), message(input.begin(), input.end());
    unsigned result = 0;

    if (std::unique_ptr<Cipher> const cipher = createCipher(id, key, 16)) {
        checkReversal(*cipher, iv, message);
        decrypted(*cipher, iv, message, &result);
        if (id == static_cast<unsigned>(CipherID::AesGcm)) {
            checkForgery(*cipher, iv, message, choice[4]);
            Bytes const shortIV(iv.begin(), iv.begin() + choice[4] % 13);
            checkReversal(*cipher, shortIV, message);
        } else {
            SEALKIT_ASSERT(result == cipher->ciphertextLength(sizeOf(message)));
            checkCut(*cipher, iv, message, choice[4]);
        }
        if (std::unique_ptr<Cipher> const record = createAead(id, hash, key, macKey)) {
            checkReversal(*record, iv, message);
            checkForgery(*record, iv, message, choice[4]);
            Bytes const plaintext = decrypted(*record, iv, message, &result);
            SEALKIT_ASSERT(result == failed || record->ciphertextLength(sizeOf(plaintext)) <= message.size());
        }
    }
}

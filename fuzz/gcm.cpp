#include "sealkit/gcm.h"

#include "targets.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned failed = 0xFFFFFFFF;

unsigned sizeOf(Bytes const& bytes) { return static_cast<unsigned>(bytes.size()); }

/// The next `size` bytes of the input; zeros where it has ended.
Bytes take(asn1::blob& input, size_t size) {
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
        if (!input.empty())
            byte = input.pop_front();
    return bytes;
}

Bytes encrypted(Cipher& gcm, Bytes const& iv, Bytes const& plaintext, Bytes const& aad) {
    Bytes out(gcm.ciphertextLength(sizeOf(plaintext)));
    gcm.setIV(iv.data(), sizeOf(iv));
    gcm.encrypt(plaintext.data(), sizeOf(plaintext), aad.data(), sizeOf(aad), out.data());
    return out;
}

Bytes sum(Bytes const& a, Bytes const& b) {
    Bytes out(a);
    for (size_t k = 0; k < out.size(); k++)
        out[k] ^= b[k];
    return out;
}

/// Decryption in place restores the plaintext. With any bit changed, it fails and leaves the output of
/// counter mode.
void checkReversal(Cipher& gcm, Bytes const& iv, Bytes const& plaintext, Bytes const& aad, unsigned bit) {
    Bytes text = encrypted(gcm, iv, plaintext, aad);
    gcm.setIV(iv.data(), sizeOf(iv));
    SEALKIT_ASSERT(gcm.decrypt(text.data(), sizeOf(text), aad.data(), sizeOf(aad), text.data()) ==
                   plaintext.size());
    SEALKIT_ASSERT(std::equal(plaintext.begin(), plaintext.end(), text.begin()));

    Bytes forged = encrypted(gcm, iv, plaintext, aad), otherAad = aad, expected = plaintext;
    size_t const byte = bit / 8 % (forged.size() + aad.size());
    auto const flip = static_cast<unsigned char>(1 << bit % 8);
    if (byte < forged.size())
        forged[byte] ^= flip;
    else
        otherAad[byte - forged.size()] ^= flip;
    if (byte < expected.size())
        expected[byte] ^= flip;
    Bytes out(plaintext.size());
    gcm.setIV(iv.data(), sizeOf(iv));
    SEALKIT_ASSERT(
        gcm.decrypt(forged.data(), sizeOf(forged), otherAad.data(), sizeOf(otherAad), out.data()) == failed);
    SEALKIT_ASSERT(out == expected);
}

/// Encryption and tag under one IV are affine: the sum of three messages of one length, with the sum of their
/// additional data, has the sum of their ciphertexts and tags.
void checkSum(Cipher& gcm, Bytes const& iv, Bytes const& plaintext, Bytes const& aad) {
    Bytes const zeros(plaintext.size()), ones(plaintext.size(), 0xFF), noAad(aad.size()),
        onesAad(aad.size(), 0xFF);
    Bytes const whole = encrypted(gcm, iv, sum(plaintext, ones), sum(aad, onesAad));
    SEALKIT_ASSERT(whole == sum(encrypted(gcm, iv, plaintext, aad),
                                sum(encrypted(gcm, iv, ones, onesAad), encrypted(gcm, iv, zeros, noAad))));
}

/// Encryption continues after a message as in one longer message, in whole blocks.
void checkContinuation(Cipher& gcm, Bytes const& iv, Bytes const& plaintext, unsigned cut) {
    cut = std::min(16 * cut, sizeOf(plaintext) / 16 * 16);
    Bytes out(plaintext.size() + 16);
    gcm.setIV(iv.data(), sizeOf(iv));
    gcm.encrypt(plaintext.data(), cut, nullptr, 0, out.data());
    gcm.encrypt(plaintext.data() + cut, sizeOf(plaintext) - cut, nullptr, 0, out.data() + cut);
    Bytes const whole = encrypted(gcm, iv, plaintext, {});
    SEALKIT_ASSERT(std::equal(out.begin(), out.end() - 16, whole.begin()));
}

} // namespace

/// Four bytes for the lengths of IV and additional data and the places of a forgery and a split; 32 bytes of
/// key; IV and additional data. The rest is plaintext, and also ciphertext.
void fuzz::gcm(asn1::blob input) {
    Bytes const choice = take(input, 4), key = take(input, 32);
    Bytes const iv = take(input, choice[0] % 40), aad = take(input, choice[1] % 80);
    Bytes const text(input.begin(), input.end());
    std::unique_ptr<Cipher> const gcm = createCipher(CipherID::AesGcm, key, 16);

    checkReversal(*gcm, iv, text, aad, 256U * choice[2] + choice[3]);
    checkSum(*gcm, iv, text, aad);
    checkContinuation(*gcm, iv, text, choice[3]);
    if (iv.size() < 12) {
        Bytes filled = iv;
        filled.resize(12);
        SEALKIT_ASSERT(encrypted(*gcm, iv, text, aad) == encrypted(*gcm, filled, text, aad));
    }

    // An accepted ciphertext is the encryption of its plaintext.
    Bytes out(text.size());
    gcm->setIV(iv.data(), sizeOf(iv));
    unsigned const length = gcm->decrypt(text.data(), sizeOf(text), aad.data(), sizeOf(aad), out.data());
    SEALKIT_ASSERT(length == failed || length + 16 == text.size());
    if (length != failed) {
        out.resize(length);
        SEALKIT_ASSERT(encrypted(*gcm, iv, out, aad) == text);
    }
}

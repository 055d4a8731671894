#include "sealkit/siv.h"

#include "targets.h"

#include <algorithm>
#include <span>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Strings = std::vector<std::span<unsigned char const>>;

/// The next `size` bytes of the input, or as many as there are.
std::span<unsigned char const> take(asn1::blob& input, size_t size) {
    asn1::blob const bytes = input.pop_front(std::min(size, input.size()));
    return {bytes.data(), bytes.size()};
}

unsigned char takeByte(asn1::blob& input) {
    return input.empty() ? static_cast<unsigned char>(0) : input.pop_front();
}

Bytes encrypted(AESSIV const& siv, std::span<unsigned char const> plaintext, Strings const& ad) {
    Bytes out(plaintext.size() + 16);
    SEALKIT_ASSERT(siv.encrypt(plaintext, ad, out.data()));
    return out;
}

/// Decryption in place restores the plaintext, and fails with one bit changed or with other strings. Other
/// strings give another V and another ciphertext.
void checkReversal(AESSIV const& siv, std::span<unsigned char const> plaintext, Strings const& ad,
                   unsigned bit) {
    Bytes const ciphertext = encrypted(siv, plaintext, ad);
    Bytes text = ciphertext;
    SEALKIT_ASSERT(siv.decrypt(text, ad, text.data() + 16));
    SEALKIT_ASSERT(std::equal(plaintext.begin(), plaintext.end(), text.begin() + 16));

    Bytes forged = ciphertext, out(plaintext.size());
    forged[bit / 8 % forged.size()] ^= static_cast<unsigned char>(1 << bit % 8);
    SEALKIT_ASSERT(!siv.decrypt(forged, ad, out.data()));

    Strings more = ad;
    more.emplace_back();
    SEALKIT_ASSERT(!siv.decrypt(ciphertext, more, out.data()));
    SEALKIT_ASSERT(std::equal(plaintext.begin(), plaintext.end(), out.begin()));
    SEALKIT_ASSERT(encrypted(siv, plaintext, more) != ciphertext);
    if (ad.size() > 1 && !std::ranges::equal(ad.front(), ad.back())) {
        std::swap(more.front(), more[ad.size() - 1]);
        more.pop_back();
        SEALKIT_ASSERT(!siv.decrypt(ciphertext, more, out.data()));
    }
}

} // namespace

/// Bytes for the length of the key, the number of strings and the place of a forgery; the key; each string
/// after its length. The rest is plaintext, and also ciphertext.
void fuzz::siv(asn1::blob input) {
    unsigned const keyLength = takeByte(input), count = takeByte(input) % 140,
                   bit = 256U * takeByte(input) + takeByte(input);
    std::span<unsigned char const> const key =
        take(input, keyLength % 4 == 0 ? keyLength % 80 : 32 + keyLength % 3 * 16);
    Strings ad;
    while (ad.size() < count)
        ad.push_back(take(input, takeByte(input)));
    std::span<unsigned char const> const text = take(input, input.size());

    AESSIV const siv(key);
    Bytes out(text.size() + 16, 0xA5);
    if (key.size() != 32 && key.size() != 48 && key.size() != 64) {
        Bytes const untouched = out;
        SEALKIT_ASSERT(!siv.encrypt(text, ad, out.data()) && !siv.decrypt(text, ad, out.data()) &&
                       out == untouched);
        return;
    }
    checkReversal(siv, text, ad, bit);
    // An accepted ciphertext is the encryption of its plaintext.
    if (siv.decrypt(text, ad, out.data()))
        SEALKIT_ASSERT(std::ranges::equal(encrypted(siv, std::span(out).first(text.size() - 16), ad), text));
}

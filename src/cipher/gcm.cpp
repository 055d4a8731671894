#include "sealkit/gcm.h"

#include "sealkit/compare.h"

#include "base/bytes.h"
#include "ghash.h"
#include "xor.h"

#include <algorithm>
#include <cstring>

namespace {

/// The size of the pieces that are encrypted and then hashed: whole blocks that remain in the cache.
constexpr unsigned pieceLength = 1024;

/// Adds to the last 32 bits of a counter block (SP 800-38D, section 6.2).
void advance(unsigned char* counter, std::uint32_t steps) {
    detail::storeBigEndian(counter + 12, detail::loadBigEndian<std::uint32_t>(counter + 12) + steps);
}

/// Absorbs the block of lengths, which are counted in 32 bits, and writes the tag: GHASH XOR `mask`.
void finish(Hash& ghash, unsigned aadLength, unsigned len, unsigned char const* mask, unsigned char* tag) {
    unsigned char lengths[16] = {};
    detail::storeBigEndian<std::uint32_t>(lengths + 4, aadLength * 8);
    detail::storeBigEndian<std::uint32_t>(lengths + 12, len * 8);
    ghash.update(lengths, sizeof lengths);
    ghash.digest(tag);
    detail::xorBytes(tag, tag, mask, 16);
}

} // namespace

GCMCipher::~GCMCipher() { secureMemset(counter, 0, sizeof counter); }

void GCMCipher::setIV(unsigned char const* iv, unsigned size) {
    unsigned char h[16] = {};
    aes->encrypt(h, h);
    ghash = std::make_unique<detail::GHash>(h);
    secureMemset(h, 0, sizeof h);

    std::memset(counter, 0, sizeof counter);
    if (size > 12) {
        unsigned char lengths[16] = {};
        detail::storeBigEndian<std::uint32_t>(lengths + 12, size * 8);
        ghash->update(iv, size);
        ghash->update(lengths, sizeof lengths);
        ghash->digest(counter);
    } else {
        if (size != 0)
            std::memcpy(counter, iv, size);
        counter[15] = 1;
    }
}

void GCMCipher::encrypt(unsigned char const* in, unsigned len, unsigned char const* aad, unsigned aadLength,
                        unsigned char* out) {
    unsigned char mask[16], tag[16];
    aes->encrypt(counter, mask);
    ghash->update(aad, aadLength);
    advance(counter, 1);
    for (unsigned done = 0; done < len;) {
        unsigned const piece = std::min(len - done, pieceLength);
        CTR128_encrypt(*aes, counter, in + done, piece, out + done);
        ghash->update(out + done, piece);
        done += piece;
    }
    advance(counter, ~0U);
    finish(*ghash, aadLength, len, mask, tag);
    std::memcpy(out + len, tag, tagLength);
    secureMemset(mask, 0, sizeof mask);
}

unsigned GCMCipher::decrypt(unsigned char const* in, unsigned len, unsigned char const* aad,
                            unsigned aadLength, unsigned char* out) {
    if (len < tagLength)
        return ~0U;
    unsigned const length = len - tagLength;
    unsigned char mask[16], tag[16];
    aes->encrypt(counter, mask);
    ghash->update(aad, aadLength);
    advance(counter, 1);
    for (unsigned done = 0; done < length;) {
        unsigned const piece = std::min(length - done, pieceLength);
        ghash->update(in + done, piece);
        CTR128_decrypt(*aes, counter, in + done, piece, out + done);
        done += piece;
    }
    advance(counter, ~0U);
    finish(*ghash, aadLength, length, mask, tag);
    bool const authentic = equalInConstantTime({tag, tagLength}, {in + length, tagLength});
    secureMemset(mask, 0, sizeof mask);
    secureMemset(tag, 0, sizeof tag);
    return authentic ? length : ~0U;
}

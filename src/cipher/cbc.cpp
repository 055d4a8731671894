#include "sealkit/cbc.h"

#include "sealkit/detail/assert.h"
#include "sealkit/wipe.h"

#include "xor.h"

#include <cstring>

void CBC_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                 unsigned char* out) {
    unsigned const size = cipher.blockLength();
    unsigned char const* chained = iv;
    for (; len >= size; in += size, out += size, len -= size) {
        detail::xorBytes(out, in, chained, size);
        cipher.encrypt(out, out);
        chained = out;
    }
    std::memmove(iv, chained, size);
}

void CBC_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                 unsigned char* out) {
    unsigned const size = cipher.blockLength();
    unsigned char const* chained = iv;
    for (; len >= size; in += size, out += size, len -= size) {
        cipher.decrypt(in, out);
        detail::xorBytes(out, out, chained, size);
        chained = in;
    }
    std::memmove(iv, chained, size);
}

namespace {

constexpr unsigned segment = 16;

/// What the ends of both directions have in common: the whole blocks have been worked off.
void finishSegment(BlockCipher& cipher, unsigned char const* feedback, unsigned char const* in, unsigned len,
                   unsigned char* out, unsigned char (&keystream)[segment]) {
    if (len != 0) {
        cipher.encrypt(feedback, keystream);
        detail::xorBytes(out, in, keystream, len);
    }
    secureMemset(keystream, 0, sizeof keystream);
}

} // namespace

void CFB128_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                    unsigned char* out) {
    SEALKIT_ASSERT(cipher.blockLength() == 16);
    unsigned char keystream[segment];
    for (; len >= segment; in += segment, out += segment, len -= segment) {
        cipher.encrypt(iv, keystream);
        detail::xorBytes(out, in, keystream, segment);
        std::memcpy(iv, out, segment);
    }
    finishSegment(cipher, iv, in, len, out, keystream);
}

void CFB128_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                    unsigned char* out) {
    SEALKIT_ASSERT(cipher.blockLength() == 16);
    unsigned char keystream[segment];
    for (; len >= segment; in += segment, out += segment, len -= segment) {
        cipher.encrypt(iv, keystream);
        std::memcpy(iv, in, segment);
        detail::xorBytes(out, iv, keystream, segment);
    }
    finishSegment(cipher, iv, in, len, out, keystream);
}

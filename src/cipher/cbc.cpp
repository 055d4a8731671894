#include "sealkit/cbc.h"

#include "sealkit/detail/assert.h"
#include "sealkit/wipe.h"

#include "xor.h"

#include <cstring>
#include <type_traits>

namespace {

template <unsigned size>
void xorWith(unsigned char* out, unsigned char const* a, unsigned char const* b,
             std::integral_constant<unsigned, size>) {
    detail::xorBlock<size>(out, a, b);
}
void xorWith(unsigned char* out, unsigned char const* a, unsigned char const* b, unsigned size) {
    detail::xorBytes(out, a, b, size);
}

/// Calls `body` with the block length of `cipher`, as a constant if it is a common one.
void withBlockLength(BlockCipher& cipher, auto const& body) {
    switch (unsigned const size = cipher.blockLength()) {
    case 8:
        return body(std::integral_constant<unsigned, 8>());
    case 16:
        return body(std::integral_constant<unsigned, 16>());
    default:
        return body(size);
    }
}

} // namespace

void CBC_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                 unsigned char* out) {
    withBlockLength(cipher, [&](auto size) {
        unsigned char const* chained = iv;
        for (; len >= size; in += size, out += size, len -= size) {
            xorWith(out, in, chained, size);
            cipher.encrypt(out, out);
            chained = out;
        }
        std::memmove(iv, chained, size);
    });
}

void CBC_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                 unsigned char* out) {
    withBlockLength(cipher, [&](auto size) {
        unsigned char const* chained = iv;
        for (; len >= size; in += size, out += size, len -= size) {
            cipher.decrypt(in, out);
            xorWith(out, out, chained, size);
            chained = in;
        }
        std::memmove(iv, chained, size);
    });
}

namespace {

constexpr unsigned segment = 16;

/// The common end of both directions, after the whole blocks.
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

#include "sealkit/block.h"

#include "sealkit/detail/assert.h"
#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "xor.h"

#include <algorithm>

namespace {

constexpr unsigned blockLength = 16;

void applyKeystream(BlockCipher& cipher, unsigned char* counter, unsigned char const* in, unsigned len,
                    unsigned char* out) {
    unsigned char keystream[blockLength];
    unsigned char* const count = counter + blockLength - 4;
    while (len != 0) {
        unsigned const size = std::min(len, blockLength);
        cipher.encrypt(counter, keystream);
        detail::storeBigEndian(count, detail::loadBigEndian<std::uint32_t>(count) + 1);
        detail::xorBytes(out, in, keystream, size);
        in += size, out += size, len -= size;
    }
    secureMemset(keystream, 0, sizeof keystream);
}

} // namespace

void CTR128_encrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                    unsigned char* out) {
    SEALKIT_ASSERT(cipher.blockLength() == 16);
    applyKeystream(cipher, iv, in, len, out);
}

void CTR128_decrypt(BlockCipher& cipher, unsigned char* iv, unsigned char const* in, unsigned len,
                    unsigned char* out) {
    SEALKIT_ASSERT(cipher.blockLength() == 16);
    applyKeystream(cipher, iv, in, len, out);
}

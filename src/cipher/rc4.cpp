#include "sealkit/rc4.h"

#include "sealkit/detail/assert.h"
#include "sealkit/wipe.h"

#include <utility>

namespace {

/// One step of the generator. It starts with i = 1 and increments after use, which is equivalent to i = 0 and
/// incrementing before.
inline unsigned char next(unsigned char* S, std::uint32_t& i, std::uint32_t& j) {
    unsigned char const a = S[i];
    j = (j + a) % 256;
    unsigned char const b = S[j];
    S[i] = b;
    S[j] = a;
    i = (i + 1) % 256;
    return S[(a + b) % 256];
}

} // namespace

RC4::~RC4() {
    secureMemset(S, 0, sizeof S);
    secureMemset(&i, 0, sizeof i);
    secureMemset(&j, 0, sizeof j);
}

void RC4::setKey(unsigned char const* key, unsigned keyLength) {
    SEALKIT_ASSERT(keyLength != 0);
    for (unsigned k = 0; k < 256; k++)
        S[k] = static_cast<unsigned char>(k);
    for (unsigned k = 0, swapped = 0; k < 256; k++) {
        swapped = (swapped + S[k] + key[k % keyLength]) % 256;
        std::swap(S[k], S[swapped]);
    }
    i = 1;
    j = 0;
}

unsigned char RC4::gen() { return next(S, i, j); }

void RC4::encrypt(unsigned char const* in, unsigned char* out, unsigned len) {
    std::uint32_t at = i, other = j; // Copied to registers, because `out` might alias the members.
    for (unsigned k = 0; k < len; k++)
        out[k] = in[k] ^ next(S, at, other);
    i = at;
    j = other;
}

void RC4::skip(unsigned n) {
    while (n-- != 0)
        gen();
}

#include "sealkit/rng.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <sys/random.h>

#ifndef GRND_INSECURE
#define GRND_INSECURE 4 // linux/random.h
#endif

namespace {

struct KernelRng final : Rng {
    bool fill(unsigned char* buf, unsigned len) const override { return kernelRand(buf, len, false); }
    bool fillInsecure(unsigned char* buf, unsigned len) const override { return kernelRand(buf, len, true); }
};

} // namespace

Rng& getDefaultRng() {
    static KernelRng rng;
    return rng;
}

bool kernelRand(unsigned char* buf, unsigned len, bool insecure) {
    while (len != 0) {
        ssize_t const got = getrandom(buf, len, insecure ? GRND_INSECURE : 0);
        if (got >= 0) {
            buf += got;
            len -= static_cast<unsigned>(got);
        } else if (errno != EINTR) {
            std::abort();
        }
    }
    return true;
}

int randombytes(uint8_t* out, size_t len) {
    constexpr size_t maxPiece = std::numeric_limits<unsigned>::max();
    for (; len > maxPiece; out += maxPiece, len -= maxPiece)
        if (!getDefaultRng().fill(out, maxPiece))
            return 1;
    return getDefaultRng().fill(out, static_cast<unsigned>(len)) ? 0 : 1;
}

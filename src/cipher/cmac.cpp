#include "sealkit/cmac.h"

#include "aes.h"
#include "doubling.h"
#include "xor.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

void genSubkeys(BlockCipher& aes, unsigned char* k1, unsigned char* k2) {
    unsigned char l[16] = {};
    aes.encrypt(l, l);
    detail::doubleBlock(l, k1);
    detail::doubleBlock(k1, k2);
    secureMemset(l, 0, sizeof l);
}

} // namespace

AesCmac::AesCmac(std::unique_ptr<BlockCipher> cipher) : aes(std::move(cipher)) { genSubkeys(*aes, k1, k2); }

AesCmac::~AesCmac() {
    secureMemset(k1, 0, sizeof k1);
    secureMemset(k2, 0, sizeof k2);
    secureMemset(state, 0, sizeof state);
}

void AesCmac::update(void const* data, unsigned len) {
    auto const* in = static_cast<unsigned char const*>(data);
    while (len != 0) {
        if (waiting == 16) {
            aes->encrypt(state, state);
            waiting = 0;
        }
        unsigned const taken = std::min(len, 16 - waiting);
        detail::xorBytes(state + waiting, state + waiting, in, taken);
        waiting += taken;
        in += taken;
        len -= taken;
    }
}

void AesCmac::digest(unsigned char* out) {
    if (waiting < 16)
        state[waiting] ^= 0x80;
    detail::xorBytes(state, state, waiting < 16 ? k2 : k1, sizeof state);
    aes->encrypt(state, out);
    secureMemset(state, 0, sizeof state);
    waiting = 0;
}

std::unique_ptr<AesCmac> createAesCmac(std::span<unsigned char const> key) {
    std::unique_ptr<BlockCipher> aes = detail::makeAes(key);
    return aes ? std::make_unique<AesCmac>(std::move(aes)) : nullptr;
}

void genCmacSubkey(unsigned char const* key, unsigned keyLength, unsigned char* k1, unsigned char* k2) {
    if (std::unique_ptr<BlockCipher> const aes = detail::makeAes({key, keyLength}))
        genSubkeys(*aes, k1, k2);
}

void genCmacSubkey(unsigned char const* key, unsigned char* k1, unsigned char* k2) {
    genCmacSubkey(key, 16, k1, k2);
}

void aesCmac(unsigned char const* key, unsigned keyLength, unsigned char const* msg, unsigned msgLength,
             unsigned char* mac) {
    if (std::unique_ptr<AesCmac> const cmac = createAesCmac({key, keyLength})) {
        cmac->update(msg, msgLength);
        cmac->digest(mac);
    }
}

void aesCmac128(unsigned char const* key, unsigned char const* msg, unsigned msgLength, unsigned char* mac) {
    aesCmac(key, 16, msg, msgLength, mac);
}

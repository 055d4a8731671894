#include "sealkit/siv.h"

#include "doubling.h"
#include "sealkit/cipher.h"
#include "sealkit/cmac.h"
#include "sealkit/compare.h"
#include "xor.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

namespace {

using Bytes = std::span<unsigned char const>;

/// Whether the length fits the functions below.
bool fits(Bytes bytes) { return static_cast<unsigned>(bytes.size()) == bytes.size(); }

bool isUsable(Bytes key, Bytes text, std::vector<Bytes> const& ad) {
    return (key.size() == 32 || key.size() == 48 || key.size() == 64) && fits(text) &&
           std::all_of(ad.begin(), ad.end(), fits);
}

void absorb(AesCmac& cmac, Bytes bytes) { cmac.update(bytes.data(), static_cast<unsigned>(bytes.size())); }

/// S2V of RFC 5297, section 2.4, over `ad` and `last`. The last string is not copied: it is passed to the MAC
/// with D XORed into its end.
void s2v(Bytes key, std::vector<Bytes> const& ad, Bytes last, unsigned char* v) {
    std::unique_ptr<AesCmac> const cmac = createAesCmac(key);
    unsigned char d[16] = {}, end[16] = {};
    absorb(*cmac, d);
    cmac->digest(d);
    for (Bytes const component : ad) {
        absorb(*cmac, component);
        cmac->digest(end);
        detail::doubleBlock(d, d);
        detail::xorBytes(d, d, end, sizeof d);
    }
    if (last.size() >= sizeof end) {
        absorb(*cmac, last.first(last.size() - sizeof end));
        std::memcpy(end, last.data() + last.size() - sizeof end, sizeof end);
    } else {
        std::memset(end, 0, sizeof end);
        std::copy(last.begin(), last.end(), end);
        end[last.size()] = 0x80;
        detail::doubleBlock(d, d);
    }
    detail::xorBytes(end, end, d, sizeof end);
    absorb(*cmac, end);
    cmac->digest(v);
    secureMemset(d, 0, sizeof d);
    secureMemset(end, 0, sizeof end);
}

/// Counter mode from V with two bits cleared, so that increments do not carry out of the last words.
void ctr(Bytes key, unsigned char const* v, Bytes in, unsigned char* out) {
    unsigned char q[16];
    std::memcpy(q, v, sizeof q);
    q[8] &= 0x7F;
    q[12] &= 0x7F;
    std::unique_ptr<Cipher> const cipher = createCipher(CipherID::AesCtr, key, 16);
    cipher->setIV(q, sizeof q);
    cipher->encrypt(in.data(), static_cast<unsigned>(in.size()), nullptr, 0, out);
}

} // namespace

AESSIV::AESSIV(std::span<unsigned char const> bytes) : key(bytes) {}

bool AESSIV::encrypt(Bytes const& plaintext, std::vector<Bytes> const& ad, unsigned char* out) const {
    if (!isUsable(key, plaintext, ad))
        return false;
    s2v(key.first(key.size() / 2), ad, plaintext, out);
    ctr(key.last(key.size() / 2), out, plaintext, out + 16);
    return true;
}

bool AESSIV::decrypt(Bytes const& input, std::vector<Bytes> const& ad, unsigned char* out) const {
    if (input.size() < 16 || !isUsable(key, input, ad))
        return false;
    Bytes const ciphertext = input.subspan(16);
    ctr(key.last(key.size() / 2), input.data(), ciphertext, out);
    unsigned char v[16];
    s2v(key.first(key.size() / 2), ad, {out, ciphertext.size()}, v);
    bool const authentic = equalInConstantTime(v, input.first(sizeof v));
    secureMemset(v, 0, sizeof v); // Wiped, because it would allow a forgery.
    return authentic;
}

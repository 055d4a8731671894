#include "sealkit/cipher.h"

#include "sealkit/cbc.h"
#include "sealkit/compare.h"
#include "sealkit/detail/assert.h"
#include "sealkit/gcm.h"
#include "sealkit/hmac.h"
#include "sealkit/wipe.h"

#include "aes.h"
#include "des.h"
#include "null_block_cipher.h"

#include <algorithm>
#include <cstring>
#include <utility>

bool kp::kernelCrypto = false;
bool kp::experimentalKernelCrypto = false;

CBCCipher::CBCCipher(std::unique_ptr<BlockCipher> block) : cipher(std::move(block)) {}
CBCCipher::~CBCCipher() = default;

unsigned CBCCipher::ciphertextLength(unsigned len) const { return len - len % cipher->blockLength(); }

unsigned CBCCipher::blockLength() { return cipher->blockLength(); }

void CBCCipher::setIV(unsigned char const* newIV, unsigned size) {
    if (size != 0) // The address of an empty one may be null, which memcpy does not accept.
        std::memcpy(iv, newIV, std::min<size_t>(size, sizeof iv));
}

void CBCCipher::encrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                        unsigned char* out) {
    CBC_encrypt(*cipher, iv, in, len, out);
}

unsigned CBCCipher::decrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                            unsigned char* out) {
    CBC_decrypt(*cipher, iv, in, len, out);
    return ciphertextLength(len);
}

CFB128Cipher::CFB128Cipher(std::unique_ptr<BlockCipher> block) : cipher(std::move(block)) {}
CFB128Cipher::~CFB128Cipher() = default;

unsigned CFB128Cipher::blockLength() { return cipher->blockLength(); }

void CFB128Cipher::setIV(unsigned char const* newIV, unsigned) { std::memcpy(iv, newIV, sizeof iv); }

void CFB128Cipher::encrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                           unsigned char* out) {
    CFB128_encrypt(*cipher, iv, in, len, out);
}

unsigned CFB128Cipher::decrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                               unsigned char* out) {
    CFB128_decrypt(*cipher, iv, in, len, out);
    return ciphertextLength(len);
}

CTR128Cipher::CTR128Cipher(std::unique_ptr<BlockCipher> block) : cipher(std::move(block)) {}
CTR128Cipher::~CTR128Cipher() = default;

void CTR128Cipher::setIV(unsigned char const* newIV, unsigned size) {
    SEALKIT_ASSERT(size == sizeof(iv));
    std::memcpy(iv, newIV, sizeof iv);
}

void CTR128Cipher::encrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                           unsigned char* out) {
    CTR128_encrypt(*cipher, iv, in, len, out);
}

unsigned CTR128Cipher::decrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                               unsigned char* out) {
    CTR128_decrypt(*cipher, iv, in, len, out);
    return ciphertextLength(len);
}

namespace {

constexpr unsigned maxBlockSize = 16, maxMacSize = 64;
constexpr unsigned authenticationFailed = 0xFFFFFFFF;

} // namespace

CBC_MAC_MP_Cipher::CBC_MAC_MP_Cipher(std::unique_ptr<Cipher> encryption, std::unique_ptr<Hash> authentication)
    : cipher(std::move(encryption)), mac(std::move(authentication)) {}
CBC_MAC_MP_Cipher::~CBC_MAC_MP_Cipher() = default;

unsigned CBC_MAC_MP_Cipher::ciphertextLength(unsigned len) const {
    unsigned const block = cipher->blockLength(), content = len + mac->digestLength();
    return content + block - content % block;
}

unsigned CBC_MAC_MP_Cipher::blockLength() { return cipher->blockLength(); }

void CBC_MAC_MP_Cipher::setIV(unsigned char const* newIV, unsigned size) {
    unsigned const block = blockLength();
    if (block > size)
        std::memset(iv, 0, sizeof iv);
    std::memcpy(iv, newIV, block);
}

void CBC_MAC_MP_Cipher::encrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                                unsigned char* out) {
    unsigned const block = blockLength(), macLength = mac->digestLength();
    unsigned const tail = len % block, head = len - tail;
    unsigned const padding = block - (macLength + tail) % block;

    unsigned char rest[maxBlockSize + maxMacSize + maxBlockSize];
    if (tail != 0)
        std::memcpy(rest, in + head, tail);
    mac->update(in, len);
    mac->digest(rest + tail);
    std::memset(rest + tail + macLength, static_cast<int>(padding - 1), padding);

    cipher->setIV(iv, sizeof iv);
    cipher->encrypt(in, head, nullptr, 0, out);
    cipher->encrypt(rest, tail + macLength + padding, nullptr, 0, out + head);
    secureMemset(rest, 0, sizeof rest);
}

unsigned CBC_MAC_MP_Cipher::decrypt(unsigned char const* in, unsigned len, unsigned char const*, unsigned,
                                    unsigned char* out) {
    unsigned const macLength = mac->digestLength();
    if (len == 0 || len % blockLength() != 0)
        return authenticationFailed;
    cipher->setIV(iv, sizeof iv);
    cipher->decrypt(in, len, nullptr, 0, out);
    if (len < macLength)
        return authenticationFailed;

    // Malformed padding counts as empty, so a MAC is computed in any case.
    unsigned const last = out[len - 1];
    bool const fits = last + 1 <= len - macLength;
    unsigned const padding = fits ? last + 1 : 0;
    unsigned const length = len - macLength - padding;

    unsigned char expected[maxMacSize];
    mac->update(out, length);
    mac->digest(expected);
    bool const authentic = equalInConstantTime({expected, macLength}, {out + length, macLength});
    secureMemset(expected, 0, sizeof expected);

    bool const padded =
        std::all_of(out + len - padding, out + len, [last](auto each) { return each == last; });
    return authentic && fits && padded ? length : authenticationFailed;
}

std::unique_ptr<Cipher> createCipher(unsigned id, std::span<unsigned char const> key, unsigned) {
    switch (static_cast<CipherID>(id)) {
    case CipherID::Null:
        return std::make_unique<CBCCipher>(std::make_unique<detail::NullBlockCipher>());
    case CipherID::DesCbc:
        if (key.size() == 8)
            return std::make_unique<CBCCipher>(detail::makeDes(key));
        break;
    case CipherID::TripleDesCbc:
        if (key.size() == 24)
            return std::make_unique<CBCCipher>(detail::makeDes(key));
        break;
    case CipherID::AesCbc:
        if (auto aes = detail::makeDecryptingAes(key))
            return std::make_unique<CBCCipher>(std::move(aes));
        break;
    case CipherID::AesCtr:
        if (auto aes = detail::makeAes(key))
            return std::make_unique<CTR128Cipher>(std::move(aes));
        break;
    case CipherID::AesCfb:
        if (key.size() == 16)
            return std::make_unique<CFB128Cipher>(std::make_unique<AES128>(key.data()));
        break;
    case CipherID::AesGcm:
        if (key.size() != 24)
            if (auto aes = detail::makeAes(key))
                return std::make_unique<GCMCipher>(std::move(aes));
        break;
    }
    return nullptr;
}

std::unique_ptr<Cipher> createCipher(CipherID id, std::span<unsigned char const> key, unsigned tagLength) {
    return createCipher(static_cast<unsigned>(id), key, tagLength);
}

std::unique_ptr<Cipher> createAead(unsigned id, unsigned hashId, std::span<unsigned char const> encKey,
                                   std::span<unsigned char const> macKey) {
    if (id != static_cast<unsigned>(CipherID::TripleDesCbc) && id != static_cast<unsigned>(CipherID::AesCbc))
        return nullptr;
    // `createHMAC` requires a known hash.
    std::unique_ptr<Hash> mac;
    if (createHash(hashId))
        mac = createHMAC(hashId, macKey);
    return std::make_unique<CBC_MAC_MP_Cipher>(createCipher(id, encKey, 16), std::move(mac));
}

std::unique_ptr<Cipher> createAead(CipherID id, HashID hashId, std::span<unsigned char const> encKey,
                                   std::span<unsigned char const> macKey) {
    return createAead(static_cast<unsigned>(id), static_cast<unsigned>(hashId), encKey, macKey);
}

std::unique_ptr<Cipher> createAead(CipherID id, unsigned hashId, std::span<unsigned char const> encKey,
                                   std::span<unsigned char const> macKey) {
    return createAead(static_cast<unsigned>(id), hashId, encKey, macKey);
}

std::unique_ptr<Cipher> createAead(unsigned id, HashID hashId, std::span<unsigned char const> encKey,
                                   std::span<unsigned char const> macKey) {
    return createAead(id, static_cast<unsigned>(hashId), encKey, macKey);
}

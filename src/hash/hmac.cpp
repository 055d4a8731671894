#include "sealkit/hmac.h"

#include <algorithm>
#include <cstring>
#include <utility>

HMAC::HMAC(Hash* hash, void const* keyBytes, unsigned length) : inner(hash) {
    if (length > inner->blockLength()) {
        inner->update(keyBytes, length);
        inner->digest(key);
        keyLength = inner->digestLength();
    } else {
        if (length > 0)
            std::memcpy(key, keyBytes, length);
        keyLength = length;
    }
}

HMAC::~HMAC() { secureMemset(key, 0, keyLength); }

void HMAC::feedPad(unsigned char fill) {
    unsigned char pad[sizeof key];
    std::memset(pad, fill, sizeof pad);
    for (unsigned i = 0; i < keyLength; ++i)
        pad[i] ^= key[i];
    inner->update(pad, inner->blockLength());
    secureMemset(pad, 0, sizeof pad);
}

void HMAC::init() {
    started = true;
    feedPad(0x36);
}

void HMAC::update(void const* data, unsigned len) {
    if (!started)
        init();
    inner->update(data, len);
}

void HMAC::digest(unsigned char* out) {
    inner->digest(out);
    feedPad(0x5C);
    inner->update(out, inner->digestLength());
    inner->digest(out);
    started = false;
}

OwningHMAC::OwningHMAC(std::unique_ptr<Hash> owned, void const* keyBytes, unsigned length)
    : HMAC(owned.get(), keyBytes, length), hash(std::move(owned)) {}

OwningHMAC::~OwningHMAC() = default;

std::unique_ptr<HMAC> createHMAC(unsigned id, std::span<unsigned char const> key) {
    return std::make_unique<OwningHMAC>(createHash(id), key.data(), static_cast<unsigned>(key.size()));
}

std::unique_ptr<HMAC> createHMAC(HashID id, std::span<unsigned char const> key) {
    return createHMAC(static_cast<unsigned>(id), key);
}

std::vector<unsigned char> HKPDF_Expand(Hash& hash, unsigned char const* info, unsigned infoLength,
                                        unsigned char const* prk, unsigned prkLength, unsigned length) {
    unsigned const blockLength = hash.digestLength();
    unsigned const blocks = (length - 1 + blockLength) / blockLength;
    std::vector<unsigned char> result(size_t(blocks) * blockLength);
    HMAC hmac(&hash, prk, prkLength);
    for (unsigned i = 1; i <= blocks; ++i) {
        unsigned char* const block = result.data() + size_t(i - 1) * blockLength;
        if (i > 1)
            hmac.update(block - blockLength, blockLength);
        hmac.update(info, infoLength);
        auto const counter = static_cast<unsigned char>(i);
        hmac.update(&counter, 1);
        hmac.digest(block);
    }
    if (length < result.size()) {
        // The excess would be part of the key in a longer result.
        secureMemset(result.data() + length, 0, result.size() - length);
        result.resize(length);
    }
    return result;
}

std::vector<unsigned char> HKPDF(Hash& hash, std::vector<unsigned char> const& salt,
                                 std::vector<unsigned char> const& info,
                                 std::vector<unsigned char> const& ikm, unsigned length) {
    unsigned char prk[64];
    unsigned const prkLength = hash.digestLength();
    {
        HMAC hmac(&hash, salt.data(), static_cast<unsigned>(salt.size()));
        hmac.update(ikm.data(), static_cast<unsigned>(ikm.size()));
        hmac.digest(prk);
    }
    std::vector<unsigned char> result =
        HKPDF_Expand(hash, info.data(), static_cast<unsigned>(info.size()), prk, prkLength, length);
    secureMemset(prk, 0, sizeof prk);
    return result;
}

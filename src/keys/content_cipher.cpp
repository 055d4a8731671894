#include "keys/content_cipher.h"

#include "sealkit/wipe.h"

#include "asn1/oids.h"

#include <cstring>
#include <limits>

namespace detail {

namespace {

/// Sorted by key size for each cipher.
constexpr ContentCipher contentCiphers[] = {
    {oid::desEde3Cbc, CipherID::TripleDesCbc, 24, 8},
    {oid::aes128Cbc, CipherID::AesCbc, 16, 16},
    {oid::aes192Cbc, CipherID::AesCbc, 24, 16},
    {oid::aes256Cbc, CipherID::AesCbc, 32, 16},
};

} // namespace

ContentCipher const* findContentCipher(asn1::blob oid) {
    for (ContentCipher const& cipher : contentCiphers)
        if (cipher.oid == oid)
            return &cipher;
    return nullptr;
}

ContentCipher const* findContentCipher(CipherID id, unsigned keySize) {
    ContentCipher const* found = nullptr;
    for (ContentCipher const& cipher : contentCiphers)
        if (cipher.id == id && (keySize == 0 || cipher.keySize == keySize))
            found = &cipher;
    return found;
}

std::unique_ptr<Cipher> makeContentCipher(ContentCipher const& cipher, asn1::blob key, asn1::blob iv) {
    std::unique_ptr<Cipher> keyed = createCipher(cipher.id, {key.data(), key.size()}, 0);
    keyed->setIV(iv.data(), cipher.blockSize);
    return keyed;
}

bool canBePadded(ContentCipher const& cipher, asn1::blob data) {
    return data.size() <= std::numeric_limits<unsigned>::max() - cipher.blockSize;
}

bool canBeDecrypted(ContentCipher const& cipher, asn1::blob data) {
    return canBePadded(cipher, data) && !data.empty() && data.size() % cipher.blockSize == 0;
}

std::vector<unsigned char> encryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data) {
    unsigned const blockSize = cipher.blockSize;
    auto const tail = static_cast<unsigned>(data.size() % blockSize);
    auto const head = static_cast<unsigned>(data.size()) - tail;
    unsigned const padding = blockSize - tail;
    unsigned char last[ContentCipher::maxBlockSize];
    std::memset(last, static_cast<int>(padding), sizeof last);
    if (tail != 0)
        std::memcpy(last, data.data() + head, tail);

    std::vector<unsigned char> out(size_t{head} + blockSize);
    keyed.encrypt(data.data(), head, nullptr, 0, out.data());
    keyed.encrypt(last, blockSize, nullptr, 0, out.data() + head);
    secureMemset(last, 0, sizeof last);
    return out;
}

bool decryptPadded(ContentCipher const& cipher, Cipher& keyed, asn1::blob data,
                   std::vector<unsigned char>& out) {
    out.resize(data.size());
    keyed.decrypt(data.data(), static_cast<unsigned>(data.size()), nullptr, 0, out.data());
    return removePadding(cipher.blockSize, out);
}

bool removePadding(unsigned blockSize, std::vector<unsigned char>& plain) {
    unsigned const padding = plain.back();
    if (padding > blockSize)
        return false;
    // The padding bytes are unchecked, so they may be the end of a secret.
    secureMemset(plain.data() + plain.size() - padding, 0, padding);
    plain.resize(plain.size() - padding);
    return true;
}

} // namespace detail

#include "keys/pwri_wrap.h"

#include "base/secret_bytes.h"

#include <algorithm>

namespace detail {

namespace {

constexpr size_t headerSize = 4, checkSize = 3;
/// Larger than the longest wrapped key, because the padding may exceed a block.
constexpr size_t maxWrappedSize = 512;

/// Encrypts whole blocks in place with a new cipher.
void encrypt(ContentCipher const& cipher, asn1::blob key, asn1::blob iv, std::span<unsigned char> inOut) {
    makeContentCipher(cipher, key, iv)
        ->encrypt(inOut.data(), static_cast<unsigned>(inOut.size()), nullptr, 0, inOut.data());
}

void decrypt(ContentCipher const& cipher, asn1::blob key, asn1::blob iv, asn1::blob in, unsigned char* out) {
    makeContentCipher(cipher, key, iv)->decrypt(in.data(), static_cast<unsigned>(in.size()), nullptr, 0, out);
}

} // namespace

std::vector<unsigned char> wrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv,
                                    asn1::blob key, Rng const& rng) {
    if (key.size() < checkSize || key.size() > maxPwriKeySize)
        return {};
    size_t const blockSize = cipher.blockSize;
    size_t const blocks = std::max<size_t>(2, (headerSize + key.size() + blockSize - 1) / blockSize);
    SecretBytes block{std::vector<unsigned char>(blocks * blockSize)};
    std::vector<unsigned char>& bytes = block.value;
    if (!rng.fill(bytes.data(), static_cast<unsigned>(bytes.size())))
        return {};
    bytes[0] = static_cast<unsigned char>(key.size());
    for (size_t i = 0; i < checkSize; i++)
        bytes[1 + i] = static_cast<unsigned char>(~key[i]);
    std::copy(key.begin(), key.end(), bytes.begin() + headerSize);

    // Encrypted twice. The last block of the first pass is the IV of the second.
    encrypt(cipher, keyEncryptionKey, iv, bytes);
    std::vector<unsigned char> const chained(bytes.end() - static_cast<std::ptrdiff_t>(blockSize),
                                             bytes.end());
    encrypt(cipher, keyEncryptionKey, chained, bytes);
    return bytes;
}

bool unwrapPwri(ContentCipher const& cipher, asn1::blob keyEncryptionKey, asn1::blob iv, asn1::blob wrapped,
                std::vector<unsigned char>& key) {
    size_t const blockSize = cipher.blockSize, size = wrapped.size();
    if (size < 2 * blockSize || size > maxWrappedSize || size % blockSize != 0)
        return false;
    SecretBytes once{std::vector<unsigned char>(size)}, plain{std::vector<unsigned char>(size)};
    // The last block of the first pass is the IV of the second.
    unsigned char const* const last = wrapped.data() + size - blockSize;
    unsigned char* const chained = once.value.data() + size - blockSize;
    decrypt(cipher, keyEncryptionKey, {last - blockSize, blockSize}, {last, blockSize}, chained);
    decrypt(cipher, keyEncryptionKey, {chained, blockSize}, {wrapped.data(), size - blockSize},
            once.value.data());
    decrypt(cipher, keyEncryptionKey, iv, once, plain.value.data());

    std::vector<unsigned char> const& bytes = plain.value;
    size_t const keySize = bytes[0];
    unsigned differing = 0;
    for (size_t i = 0; i < checkSize; i++)
        differing |= (bytes[1 + i] ^ bytes[headerSize + i]) ^ 0xFFu;
    if (differing != 0 || keySize < checkSize || keySize > size - headerSize)
        return false;
    auto const start = bytes.begin() + headerSize;
    key.assign(start, start + static_cast<std::ptrdiff_t>(keySize));
    return true;
}

} // namespace detail

#include "sealkit/key_wrap.h"

#include "sealkit/compare.h"
#include "sealkit/wipe.h"

#include "aes.h"
#include "base/bytes.h"

#include <cstring>

namespace {

using Bytes = std::span<unsigned char const>;

constexpr size_t half = 8; ///< The algorithm processes halves of a block.
constexpr unsigned char initialValue[half] = {0xA6, 0xA6, 0xA6, 0xA6, 0xA6, 0xA6, 0xA6, 0xA6};
constexpr unsigned wrapRounds = 6;
constexpr size_t minKeySize = 16;

bool isKeySize(size_t size) { return size >= minKeySize && size % half == 0; }

void addCounter(unsigned char* integrity, std::uint64_t counter) {
    detail::storeBigEndian(integrity, detail::loadBigEndian<std::uint64_t>(integrity) ^ counter);
}

bool keepIf(bool succeeded, std::span<unsigned char> out) {
    if (!succeeded && !out.empty())
        secureMemset(out.data(), 0, out.size());
    return succeeded;
}

bool wrap(Bytes keyEncryptionKey, Bytes key, std::span<unsigned char> out) {
    std::unique_ptr<BlockCipher> const aes = detail::makeAes(keyEncryptionKey);
    if (aes == nullptr || !isKeySize(key.size()) || out.size() != key.size() + keyWrapOverhead)
        return false;
    unsigned char block[2 * half];
    std::memcpy(block, initialValue, half);
    std::memcpy(out.data() + half, key.data(), key.size());
    std::uint64_t counter = 0;
    for (unsigned round = 0; round < wrapRounds; round++)
        for (size_t at = half; at < out.size(); at += half) {
            std::memcpy(block + half, out.data() + at, half);
            aes->encrypt(block, block);
            addCounter(block, ++counter);
            std::memcpy(out.data() + at, block + half, half);
        }
    std::memcpy(out.data(), block, half);
    secureMemset(block, 0, sizeof block);
    return true;
}

bool unwrap(Bytes keyEncryptionKey, Bytes wrapped, std::span<unsigned char> out) {
    std::unique_ptr<BlockCipher> const aes = detail::makeDecryptingAes(keyEncryptionKey);
    if (aes == nullptr || !isKeySize(out.size()) || wrapped.size() != out.size() + keyWrapOverhead)
        return false;
    unsigned char block[2 * half];
    std::memcpy(block, wrapped.data(), half);
    std::memcpy(out.data(), wrapped.data() + half, out.size());
    std::uint64_t counter = wrapRounds * (out.size() / half);
    for (unsigned round = 0; round < wrapRounds; round++)
        for (size_t end = out.size(); end != 0; end -= half) {
            std::memcpy(block + half, out.data() + end - half, half);
            addCounter(block, counter--);
            aes->decrypt(block, block);
            std::memcpy(out.data() + end - half, block + half, half);
        }
    bool const isAuthentic = equalInConstantTime({block, half}, initialValue);
    secureMemset(block, 0, sizeof block);
    return isAuthentic;
}

} // namespace

bool wrapKey(Bytes keyEncryptionKey, Bytes key, std::span<unsigned char> out) {
    return keepIf(wrap(keyEncryptionKey, key, out), out);
}

bool unwrapKey(Bytes keyEncryptionKey, Bytes wrapped, std::span<unsigned char> out) {
    return keepIf(unwrap(keyEncryptionKey, wrapped, out), out);
}

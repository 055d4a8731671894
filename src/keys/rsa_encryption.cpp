#include "keys/rsa_encryption.h"

#include "base/declassify.h"
#include "base/secret_bytes.h"
#include "keys/rsa_operation.h"

#include <algorithm>

namespace detail {

namespace {

/// 1 if `byte` is 0, without a branch.
constexpr unsigned isZero(unsigned byte) { return ((byte - 1) >> 8) & 1; }

/// A working random source does not deliver this many zeros for one byte, even in 512 bytes.
constexpr unsigned maxDraws = 16;

/// Fills `bytes` with non-zero random bytes.
bool fillNonZero(std::span<unsigned char> bytes, Rng const& rng) {
    if (!rng.fill(bytes.data(), static_cast<unsigned>(bytes.size())))
        return false;
    for (unsigned char& byte : bytes)
        for (unsigned draws = 0; byte == 0; draws++)
            if (draws == maxDraws || !rng.fill(&byte, 1))
                return false;
    return true;
}

/// The start of the message in a block, or 0 if the block is malformed. The steps do not depend on the fault.
size_t findMessage(asn1::blob block) {
    unsigned bad = block[0] | (block[1] ^ 2u);
    size_t separator = 0;
    unsigned found = 0;
    for (size_t i = 2; i < block.size(); i++) {
        unsigned const first = isZero(block[i]) & ~found;
        separator |= i & (size_t{0} - first);
        found |= first;
    }
    // Includes a missing separator.
    bad |= static_cast<unsigned>(separator < encryptionOverhead - 1);
    return (separator + 1) & (size_t{0} - isZero(bad));
}

} // namespace

std::vector<unsigned char> encryptPkcs1(RsaPublicKey const& key, asn1::blob message, Rng const& rng) {
    unsigned const length = modulusLength(key);
    if (!isUsable(key) || length < encryptionOverhead || message.size() > length - encryptionOverhead)
        return {};
    SecretBytes block{std::vector<unsigned char>(length)};
    size_t const separator = length - message.size() - 1;
    block.value[1] = 0x02;
    if (!fillNonZero(std::span(block.value).subspan(2, separator - 2), rng))
        return {};
    std::copy(message.begin(), message.end(),
              block.value.begin() + static_cast<std::ptrdiff_t>(separator) + 1);

    // The leading 00 makes the number smaller than the modulus.
    return publicPower(key, block);
}

bool decryptPkcs1(RsaPrivateKey const& key, asn1::blob encrypted, std::vector<unsigned char>& message) {
    unsigned const length = modulusLength(key);
    if (encrypted.size() != length || length < encryptionOverhead)
        return false;
    SecretBytes const block(privatePower(key, encrypted));
    if (block.value.empty())
        return false;
    size_t const start = declassified(Told::padding, findMessage(block));
    if (start == 0)
        return false;
    message.assign(block.value.begin() + static_cast<std::ptrdiff_t>(start), block.value.end());
    return true;
}

} // namespace detail

#include "interop/libcrypto.h"
#include "interop/makers.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace {

using libcrypto::Bytes;

constexpr size_t aesBlock = 16;
constexpr size_t aesKeySizes[] = {16, 24, 32};

std::string aes(size_t keySize, char const* mode) {
    return "AES-" + std::to_string(8 * keySize) + '-' + mode;
}

/// Adds message and ciphertext: one of them random, the other what libcrypto makes of it.
void addBothWays(test::Random& random, interop::Cases& out, std::string const& cipher, Bytes const& key,
                 Bytes const& iv, size_t length) {
    Bytes const given = random.bytes(length);
    if (random.oneIn(2))
        out.add("message", given).add("ciphertext", libcrypto::encrypt(cipher, key, iv, given));
    else
        out.add("message", libcrypto::decrypt(cipher, key, iv, given)).add("ciphertext", given);
}

struct BlockMode {
    char const* name;
    size_t key, block;
};
constexpr BlockMode cbcModes[] = {
    {"DES-CBC", 8, 8},
    {"DES-EDE3-CBC", 24, 8},
    {"AES-128-CBC", 16, aesBlock},
    {"AES-192-CBC", 24, aesBlock},
    {"AES-256-CBC", 32, aesBlock},
};

std::uint32_t counterOf(Bytes const& iv) {
    return std::uint32_t(iv[12]) << 24 | std::uint32_t(iv[13]) << 16 | std::uint32_t(iv[14]) << 8 | iv[15];
}

/// Counter mode in which the last 32 bits of the counter block wrap to zero by themselves. libcrypto carries
/// into the bits above: it gets what comes before the wrap and what comes after it as two messages.
Bytes ctrWithoutCarry(std::string const& cipher, Bytes const& key, Bytes iv, Bytes const& message) {
    std::uint64_t const beforeWrap = (0x100000000 - counterOf(iv)) * aesBlock;
    if (message.size() <= beforeWrap)
        return libcrypto::encrypt(cipher, key, iv, message);
    auto const wrap = message.begin() + static_cast<ptrdiff_t>(beforeWrap);
    Bytes out = libcrypto::encrypt(cipher, key, iv, Bytes(message.begin(), wrap));
    std::fill(iv.begin() + 12, iv.end(), static_cast<unsigned char>(0));
    Bytes const after = libcrypto::encrypt(cipher, key, iv, Bytes(wrap, message.end()));
    out.insert(out.end(), after.begin(), after.end());
    return out;
}

} // namespace

void interop::makeCbc(test::Random& random, Cases& out) {
    BlockMode const& mode = random.oneOf(cbcModes);
    Bytes const key = random.bytes(mode.key), iv = random.bytes(mode.block);
    size_t const length = random.length(600);
    out.add("cipher", mode.name).add("key", key).add("iv", iv);
    if (random.oneIn(8)) { // A partial block at the end is left alone.
        Bytes message = random.bytes(length);
        Bytes const blocks(message.begin(), message.end() - static_cast<ptrdiff_t>(length % mode.block));
        out.add("message", message).add("ciphertext", libcrypto::encrypt(mode.name, key, iv, blocks));
    } else
        addBothWays(random, out, mode.name, key, iv, length - length % mode.block);
}

void interop::makeCtr(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(random.oneOf(aesKeySizes));
    std::string const cipher = aes(key.size(), "CTR");
    Bytes iv = random.bytes(aesBlock);
    if (random.oneIn(2)) { // The counter wraps within a few blocks.
        std::fill(iv.begin() + 12, iv.end(), static_cast<unsigned char>(0xFF));
        iv[15] = static_cast<unsigned char>(0xFF - random.below(4));
    }
    Bytes const message = random.bytes(random.length(600)),
                ciphertext = ctrWithoutCarry(cipher, key, iv, message);
    // What was made in two pieces is what libcrypto does not give in one.
    std::uint64_t const blocks = (message.size() + aesBlock - 1) / aesBlock;
    bool const wraps = counterOf(iv) + blocks > 0x100000000;
    if (message.size() > 2 * aesBlock + aesBlock * 4 &&
        (libcrypto::encrypt(cipher, key, iv, message) != ciphertext) != wraps)
        throw std::logic_error("libcrypto's counter does not carry where it should");
    out.add("cipher", cipher)
        .add("key", key)
        .add("iv", iv)
        .add("message", message)
        .add("ciphertext", ciphertext);
}

void interop::makeCfb(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(16), iv = random.bytes(aesBlock);
    out.add("cipher", "AES-128-CFB").add("key", key).add("iv", iv);
    addBothWays(random, out, "AES-128-CFB", key, iv, random.length(600));
}

void interop::makeRecord(test::Random& random, Cases& out) {
    // The MAC of the plaintext behind it, then p bytes of value p - 1 that fill the last block.
    static constexpr char const* hashes[] = {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"};
    BlockMode const& mode = cbcModes[random.between(1, 4)];
    std::string const hash = random.oneOf(hashes);
    Bytes const key = random.bytes(mode.key), macKey = random.bytes(random.below(100)),
                iv = random.bytes(mode.block);
    Bytes const message = random.bytes(random.length(600)), mac = libcrypto::hmac(hash, macKey, message);
    Bytes record = message;
    record.insert(record.end(), mac.begin(), mac.end());
    size_t const padding = mode.block - record.size() % mode.block;
    record.insert(record.end(), padding, static_cast<unsigned char>(padding - 1));
    out.add("cipher", mode.name).add("hash", hash).add("key", key).add("mac-key", macKey).add("iv", iv);
    out.add("message", message).add("ciphertext", libcrypto::encrypt(mode.name, key, iv, record));
}

void interop::makeRc4(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(random.between(1, 256));
    size_t const skip = random.length(600), length = random.length(600);
    Bytes const stream = libcrypto::encrypt("RC4", key, {}, Bytes(skip + length)),
                message = random.bytes(length);
    Bytes ciphertext = message;
    for (size_t i = 0; i < length; i++)
        ciphertext[i] ^= stream[skip + i];
    out.add("key", key).add("skip", skip).add("message", message).add("ciphertext", ciphertext);
}

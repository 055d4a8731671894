#include "interop/libcrypto.h"
#include "interop/makers.h"

#include <stdexcept>

namespace {

using libcrypto::Bytes;

constexpr size_t aesKeySizes[] = {16, 24, 32};
constexpr size_t gcmKeySizes[] = {16, 32};

void flipBit(test::Random& random, Bytes& bytes) {
    bytes[random.below(bytes.size())] ^= static_cast<unsigned char>(1 << random.below(8));
}

Bytes doubled(Bytes const& value) {
    Bytes result(value.size());
    for (size_t i = 0; i < value.size(); i++) {
        unsigned const below = i + 1 < value.size() ? value[i + 1] >> 7 : (value[0] >> 7) * 0x87;
        result[i] = static_cast<unsigned char>(value[i] << 1 ^ below);
    }
    return result;
}

Bytes operator^(Bytes left, Bytes const& right) {
    for (size_t i = 0; i < left.size(); i++)
        left[i] ^= right[i];
    return left;
}

/// SIV's ciphertext of an empty message, which libcrypto does not make: S2V (RFC 5297 section 2.4) over the
/// strings and an empty one, put together out of CMACs.
Bytes sivOfNothing(Bytes const& key, std::vector<Bytes> const& strings) {
    Bytes const macKey(key.begin(), key.begin() + static_cast<ptrdiff_t>(key.size() / 2));
    Bytes sum = libcrypto::cmac(macKey, Bytes(16));
    for (Bytes const& string : strings)
        sum = doubled(sum) ^ libcrypto::cmac(macKey, string);
    Bytes padded(16);
    padded[0] = 0x80;
    return libcrypto::cmac(macKey, doubled(sum) ^ padded);
}

/// What libcrypto says to a message that was tampered with.
void addRefusal(interop::Cases& out, bool refused, Bytes const& ciphertext) {
    if (!refused)
        throw std::logic_error("libcrypto accepts what was tampered with");
    out.add("ciphertext", ciphertext).add("refused", "");
}

} // namespace

void interop::makeCmac(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(random.oneOf(aesKeySizes)), message = random.bytes(random.length(600));
    out.add("key", key).add("message", message).add("mac", libcrypto::cmac(key, message));
}

void interop::makeGcm(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(random.oneOf(gcmKeySizes));
    // Half of the IVs have the usual 12 bytes, a quarter fewer, a quarter more. A shorter one is here the
    // same as with zeros up to 12 bytes behind it. libcrypto, which hashes it as SP 800-38D has it, gets
    // those.
    Bytes const iv = random.bytes(random.oneIn(2)   ? 12
                                  : random.oneIn(2) ? random.below(12)
                                                    : random.between(13, 128));
    Bytes peersIv = iv;
    if (peersIv.size() < 12)
        peersIv.resize(12);
    Bytes aad = random.bytes(random.length(200));
    Bytes const message = random.bytes(random.length(600));
    Bytes ciphertext = libcrypto::gcmEncrypt(key, peersIv, aad, message);
    if (!iv.empty() && iv.size() < 12 && libcrypto::gcmEncrypt(key, iv, aad, message) == ciphertext)
        throw std::logic_error("libcrypto does not hash a short IV");
    bool const tampered = random.oneIn(8);
    if (tampered)
        flipBit(random, aad.empty() || random.oneIn(2) ? ciphertext : aad);
    out.add("key", key).add("iv", iv).add("aad", aad);
    if (tampered)
        addRefusal(out, !libcrypto::gcmDecrypt(key, peersIv, aad, ciphertext), ciphertext);
    else
        out.add("message", message).add("ciphertext", ciphertext);
}

void interop::makeSiv(test::Random& random, Cases& out) {
    Bytes const key = random.bytes(2 * random.oneOf(aesKeySizes)), message = random.bytes(random.length(600));
    std::vector<Bytes> strings(random.below(5));
    for (Bytes& string : strings)
        string = random.bytes(random.length(100));
    Bytes ciphertext =
        message.empty() ? sivOfNothing(key, strings) : libcrypto::sivEncrypt(key, strings, message);
    bool const tampered = random.oneIn(8);
    if (tampered)
        flipBit(random, strings.empty() || strings[0].empty() || random.oneIn(2) ? ciphertext : strings[0]);
    out.add("key", key).add("strings", strings.size());
    for (size_t i = 0; i < strings.size(); i++)
        out.add("string" + std::to_string(i + 1), strings[i]);
    if (tampered)
        addRefusal(out,
                   message.empty() ? sivOfNothing(key, strings) != ciphertext
                                   : !libcrypto::sivDecrypt(key, strings, ciphertext),
                   ciphertext);
    else
        out.add("message", message).add("ciphertext", ciphertext);
}

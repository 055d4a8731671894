#include "interop/libcrypto.h"
#include "interop/makers.h"

namespace {

using libcrypto::Bytes;

constexpr char const* hashes[] = {"MD5-SHA1", "MD4", "MD5", "SHA1", "SHA256", "SHA384", "SHA512"};
/// HKDF's are those that have a name of their own everywhere.
constexpr char const* hkdfHashes[] = {"MD5", "SHA1", "SHA256", "SHA384", "SHA512"};

size_t blockLength(std::string const& hash) { return hash == "SHA384" || hash == "SHA512" ? 128 : 64; }

Bytes operator+(Bytes left, Bytes const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// HMAC without its inner pad, as `HMAC::digest` gives it when no message was begun: H(opad || H("")).
Bytes hmacWithoutInnerPad(std::string const& hash, Bytes const& key) {
    Bytes pad = key.size() > blockLength(hash) ? libcrypto::digest(hash, key) : key;
    pad.resize(blockLength(hash));
    for (unsigned char& byte : pad)
        byte ^= 0x5C;
    return libcrypto::digest(hash, pad + libcrypto::digest(hash, {}));
}

/// The expansion of RFC 5869 section 2.3 out of single MACs, with a counter byte that wraps: libcrypto,
/// like the RFC, stops at 255 blocks.
Bytes expandWithoutLimit(std::string const& hash, Bytes const& prk, Bytes const& info, size_t length) {
    Bytes okm, block;
    for (unsigned char counter = 1; okm.size() < length; counter++) {
        block = libcrypto::hmac(hash, prk, block + info + Bytes{counter});
        okm = okm + block;
    }
    okm.resize(length);
    return okm;
}

} // namespace

void interop::makeHash(test::Random& random, Cases& out) {
    std::string const hash = random.oneOf(hashes);
    Bytes const message = random.bytes(random.length(600));
    out.add("hash", hash).add("message", message).add("digest", libcrypto::digest(hash, message));
}

void interop::makeHmac(test::Random& random, Cases& out) {
    std::string const hash = random.oneOf(hashes);
    Bytes const key = random.bytes(random.below(2 * blockLength(hash))),
                message = random.bytes(random.length(600));
    out.add("hash", hash).add("key", key);
    if (random.oneIn(50))
        out.add("begun", "no").add("message", "").add("mac", hmacWithoutInnerPad(hash, key));
    else
        out.add("message", message).add("mac", libcrypto::hmac(hash, key, message));
}

void interop::makeHkdf(test::Random& random, Cases& out) {
    std::string const hash = random.oneOf(hkdfHashes);
    size_t const block = libcrypto::digest(hash, {}).size();
    Bytes const info = random.bytes(random.length(200)), secret = random.bytes(1 + random.length(150));
    if (random.oneIn(200)) {
        size_t const length = 255 * block + 1 + random.below(3 * block);
        out.add("hash", hash).add("prk", secret).add("info", info).add("length", length);
        out.add("okm", expandWithoutLimit(hash, secret, info, length));
        return;
    }
    size_t const length = 1 + random.length(300);
    out.add("hash", hash).add("info", info).add("length", length);
    if (random.oneIn(2)) {
        out.add("prk", secret).add("okm", libcrypto::hkdfExpand(hash, secret, info, length));
    } else {
        Bytes const salt = random.bytes(random.length(150));
        out.add("salt", salt)
            .add("ikm", secret)
            .add("okm", libcrypto::hkdf(hash, salt, secret, info, length));
    }
}

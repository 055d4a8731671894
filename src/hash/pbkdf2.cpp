#include "sealkit/pbkdf2.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "hash/file_hash.h"
#include "hash/truncated_sha2.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

/// HMAC over the hash `H` under one password, with two compressions per digest: the chaining values after the
/// two pads are cached, and every message but the first is a digest, which fills one block with constant
/// padding. `H` writes its chaining value big-endian.
template <typename H, unsigned blockSize, unsigned digestSize>
class PasswordHmac final : private H {
public:
    explicit PasswordHmac(asn1::blob password) {
        unsigned char key[blockSize] = {};
        if (password.size() > blockSize) {
            absorbAll(password);
            H::digest(key);
        } else if (!password.empty()) {
            std::memcpy(key, password.data(), password.size());
        }
        keepPad(inner, key, 0x36);
        keepPad(outer, key, 0x5C);
        secureMemset(key, 0, sizeof key);
    }

    PasswordHmac(PasswordHmac const&) = delete;
    PasswordHmac& operator=(PasswordHmac const&) = delete;

    ~PasswordHmac() override {
        secureMemset(inner, 0, sizeof inner);
        secureMemset(outer, 0, sizeof outer);
        secureMemset(sum, 0, sizeof sum);
    }

    /// F(password, salt, iterations, index) of RFC 8018, section 5.2, step 3, or its first bytes.
    void derive(asn1::blob salt, unsigned iterations, std::uint32_t index, std::span<unsigned char> out) {
        begin(salt, index);
        std::memcpy(sum, this->state, sizeof sum);
        for (unsigned i = 1; i < iterations; ++i) {
            compressDigest(inner);
            compressDigest(outer);
            for (unsigned word = 0; word < words; ++word)
                sum[word] ^= this->state[word];
        }
        storeDigest(sum);
        std::memcpy(out.data(), this->block, out.size());
    }

private:
    using State = decltype(PasswordHmac::state);
    using Word = std::remove_extent_t<State>;
    static constexpr unsigned words = digestSize / sizeof(Word);

    void absorbAll(asn1::blob data) {
        while (!data.empty()) {
            size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
            this->absorb(data.data(), static_cast<unsigned>(size));
            data.pop_front(size);
        }
    }

    void keepPad(State& pad, unsigned char const (&key)[blockSize], unsigned char fill) {
        std::transform(key, key + blockSize, this->block,
                       [fill](auto byte) { return static_cast<unsigned char>(byte ^ fill); });
        H::init();
        H::transform();
        std::memcpy(pad, this->state, sizeof pad);
    }

    /// The first digest: HMAC of the salt and the index. Prepares the block for `compressDigest`.
    void begin(asn1::blob salt, std::uint32_t index) {
        std::memcpy(this->state, inner, sizeof inner);
        this->counter = blockSize;
        absorbAll(salt);
        unsigned char number[4];
        detail::storeBigEndian(number, index);
        this->absorb(number, sizeof number);
        this->finish(false);

        std::memset(this->block, 0, blockSize);
        this->block[digestSize] = 0x80;
        detail::storeBigEndian(this->block + blockSize - 8, std::uint64_t{8} * (blockSize + digestSize));
        compressDigest(outer);
    }

    void storeDigest(State const& from) {
        for (unsigned word = 0; word < words; ++word)
            detail::storeBigEndian(this->block + word * sizeof(Word), from[word]);
    }

    /// Hashes the digest in the chaining value, after a pad.
    void compressDigest(State const& pad) {
        storeDigest(this->state);
        std::memcpy(this->state, pad, sizeof pad);
        H::transform();
    }

    State inner, outer; ///< The chaining values after the pads.
    State sum;
};

template <typename H, unsigned blockSize, unsigned digestSize>
bool fill(std::span<unsigned char> key, asn1::blob password, asn1::blob salt, unsigned iterations) {
    if (key.size() / digestSize >= std::numeric_limits<std::uint32_t>::max())
        return false;
    PasswordHmac<H, blockSize, digestSize> hmac(password);
    for (std::uint32_t index = 1; !key.empty(); ++index) {
        size_t const size = std::min<size_t>(key.size(), digestSize);
        hmac.derive(salt, iterations, index, key.first(size));
        key = key.subspan(size);
    }
    return true;
}

} // namespace

bool pbkdf2(HashID prf, asn1::blob password, asn1::blob salt, unsigned iterations,
            std::span<unsigned char> key) {
    return detail::deriveByPbkdf2(detail::fileHashOf(prf), password, salt, iterations, key);
}

bool detail::deriveByPbkdf2(FileHash hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                            std::span<unsigned char> key) {
    if (iterations == 0)
        return false;
    switch (hash) {
    case FileHash::none:
    case FileHash::md5:
        break;
    case FileHash::sha1:
        return fill<SHA1, 64, 20>(key, password, salt, iterations);
    case FileHash::sha224:
        return fill<Sha224, 64, 28>(key, password, salt, iterations);
    case FileHash::sha256:
        return fill<SHA256, 64, 32>(key, password, salt, iterations);
    case FileHash::sha384:
        return fill<SHA384, 128, 48>(key, password, salt, iterations);
    case FileHash::sha512:
        return fill<SHA512, 128, 64>(key, password, salt, iterations);
    case FileHash::sha512_256:
        return fill<Sha512_256, 128, 32>(key, password, salt, iterations);
    }
    return false;
}

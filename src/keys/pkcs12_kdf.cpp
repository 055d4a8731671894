#include "keys/pkcs12_kdf.h"

#include "base/secret_bytes.h"
#include "base/utf.h"
#include "hash/file_hash.h"
#include "keys/bmp_string.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

/// Repeats the bytes up to a multiple of the block size (RFC 7292, appendix B.2, steps 2 and 3).
void appendRepeated(std::vector<unsigned char>& to, asn1::blob bytes, size_t blockSize) {
    if (bytes.empty())
        return;
    size_t const size = (bytes.size() + blockSize - 1) / blockSize * blockSize;
    for (size_t done = 0; done < size; done += bytes.size()) {
        size_t const count = std::min(bytes.size(), size - done);
        to.insert(to.end(), bytes.data(), bytes.data() + count);
    }
}

void absorb(Hash& hash, asn1::blob data) {
    while (!data.empty()) {
        size_t const size = std::min<size_t>(data.size(), std::numeric_limits<unsigned>::max());
        hash.update(data.data(), static_cast<unsigned>(size));
        data.pop_front(size);
    }
}

/// Adds `b` and 1 to a block, as big-endian numbers modulo the size of the block.
void addAndOne(unsigned char* block, unsigned char const* b, size_t blockSize) {
    unsigned carry = 1;
    for (size_t i = blockSize; i-- > 0; carry >>= 8) {
        carry += block[i] + b[i];
        block[i] = static_cast<unsigned char>(carry);
    }
}

} // namespace

void detail::appendBmp(std::vector<unsigned char>& to, std::string_view text) {
    bool const isLatin1 = !isUtf8(text);
    auto const append = [&](char32_t unit) {
        to.push_back(static_cast<unsigned char>(unit >> 8));
        to.push_back(static_cast<unsigned char>(unit));
    };
    while (!text.empty()) {
        char32_t point;
        if (isLatin1) {
            point = static_cast<unsigned char>(text[0]);
            text.remove_prefix(1);
        } else {
            point = takeUtf8(text);
        }
        if (point >= 0x10000) {
            append(0xD7C0 + (point >> 10)); // The high surrogate (RFC 2781, section 2.1).
            append(0xDC00 | (point & 0x3FF));
        } else {
            append(point);
        }
    }
}

std::vector<unsigned char> detail::bmpOfBytes(std::string_view password) {
    std::vector<unsigned char> bmp(2 * password.size() + 2);
    for (size_t i = 0; i < password.size(); i++)
        bmp[2 * i + 1] = static_cast<unsigned char>(password[i]);
    return bmp;
}

std::string detail::textOfBmp(asn1::blob bmp) {
    auto const takeUnit = [&] {
        char32_t const high = bmp.pop_front();
        return high << 8 | bmp.pop_front();
    };
    std::string text;
    while (bmp.size() >= 2) {
        char32_t point = takeUnit();
        bool const isHigh = point >= 0xD800 && point < 0xDC00;
        if (isHigh && bmp.size() >= 2 && (bmp[0] & 0xFC) == 0xDC)
            point = 0x10000 + ((point & 0x3FF) << 10 | (takeUnit() & 0x3FF));
        appendUtf8(text, isSurrogate(point) ? replacementCharacter : point);
    }
    return text;
}

std::vector<unsigned char> pkcs12_password(std::string_view password) {
    std::vector<unsigned char> bmp;
    // The maximum size, so that no reallocation leaves an unwiped copy.
    bmp.reserve(2 * password.size() + 2);
    detail::appendBmp(bmp, password);
    bmp.insert(bmp.end(), 2, 0);
    return bmp;
}

bool pkcs12_kdf(HashID id, asn1::blob password, asn1::blob salt, unsigned iterations, PKCS12Purpose purpose,
                std::span<unsigned char> out) {
    std::unique_ptr<Hash> const hash = detail::createFileHash(detail::fileHashOf(id));
    if (hash == nullptr || iterations == 0)
        return false;
    detail::deriveByPkcs12(*hash, password, salt, iterations, purpose, out);
    return true;
}

void detail::deriveByPkcs12(Hash& hash, asn1::blob password, asn1::blob salt, unsigned iterations,
                            PKCS12Purpose purpose, std::span<unsigned char> out) {
    size_t const blockSize = hash.blockLength();
    unsigned const digestSize = hash.digestLength();
    constexpr size_t maxBlockSize = 128, maxDigestSize = 64;

    unsigned char diversifier[maxBlockSize], digest[maxDigestSize];
    std::memset(diversifier, static_cast<int>(purpose), blockSize);
    SecretBytes input;
    input.value.reserve(salt.size() + password.size() + 2 * blockSize);
    appendRepeated(input.value, salt, blockSize);
    appendRepeated(input.value, password, blockSize);

    while (!out.empty()) {
        absorb(hash, {diversifier, blockSize});
        absorb(hash, input);
        hash.digest(digest);
        for (unsigned i = 1; i < iterations; i++) {
            hash.update(digest, digestSize);
            hash.digest(digest);
        }
        size_t const size = std::min<size_t>(out.size(), digestSize);
        std::memcpy(out.data(), digest, size);
        out = out.subspan(size);
        if (out.empty())
            break;
        unsigned char repeated[maxBlockSize];
        for (size_t i = 0; i < blockSize; i++)
            repeated[i] = digest[i % digestSize];
        for (size_t at = 0; at < input.value.size(); at += blockSize)
            addAndOne(input.value.data() + at, repeated, blockSize);
        secureMemset(repeated, 0, sizeof repeated);
    }
    secureMemset(digest, 0, sizeof digest);
}

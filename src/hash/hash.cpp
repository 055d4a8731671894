#include "sealkit/hash.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "base/unrolled.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace {

/// Copies a block. Compilers turn the pieces of a constant size into word moves instead of a call.
template <unsigned size>
[[gnu::always_inline]] inline void copyBlock(unsigned char* to, unsigned char const* from,
                                             std::integral_constant<unsigned, size>) {
    constexpr unsigned piece = 32;
    detail::unrolled<size / piece>([&](auto i) __attribute__((always_inline)) {
        std::memcpy(to + i * piece, from + i * piece, piece);
    });
}
inline void copyBlock(unsigned char* to, unsigned char const* from, unsigned size) {
    std::memcpy(to, from, size);
}

} // namespace

std::string Hash::digest() {
    std::string result(digestLength(), '\0');
    digest(reinterpret_cast<unsigned char*>(result.data()));
    return result;
}

void HashImpl::absorb(void const* data, unsigned len) {
    if (counter == 0)
        init();
    auto const* from = static_cast<unsigned char const*>(data);
    unsigned const size = blockLength();
    unsigned const position = static_cast<unsigned>(counter) & (size - 1);
    if (position != 0 && len != 0) {
        unsigned const run = std::min(len, size - position);
        std::memcpy(block + position, from, run);
        counter += run;
        from += run;
        len -= run;
        if (position + run == size)
            transform();
    }
    auto const absorbBlocks = [&](auto blockSize) {
        for (; len >= blockSize; from += blockSize, len -= blockSize) {
            copyBlock(block, from, blockSize);
            counter += blockSize;
            transform();
        }
    };
    switch (size) {
    case 64:
        absorbBlocks(std::integral_constant<unsigned, 64>());
        break;
    case 128:
        absorbBlocks(std::integral_constant<unsigned, 128>());
        break;
    default:
        absorbBlocks(size);
    }
    if (len != 0) {
        std::memcpy(block, from, len);
        counter += len;
    }
}

void HashImpl::finish(bool littleEndianLength) {
    if (counter == 0)
        init();
    unsigned const size = blockLength();
    unsigned position = static_cast<unsigned>(counter) & (size - 1);
    block[position++] = 0x80;
    if (size - lengthFieldLength() < position) {
        std::memset(block + position, 0, size - position);
        transform();
        position = 0;
    }
    unsigned char* const length = block + size - 8;
    std::memset(block + position, 0, static_cast<size_t>(length - (block + position)));
    if (littleEndianLength)
        detail::storeLittleEndian(length, counter * 8);
    else
        detail::storeBigEndian(length, counter * 8);
    transform();
    counter = 0;
}

std::unique_ptr<Hash> createHash(HashID id) {
    switch (id) {
    case HashID::none:
        break;
    case HashID::MD5SHA1:
        return std::make_unique<MD5SHA1Hash>();
    case HashID::MD4:
        return std::make_unique<MD4>();
    case HashID::MD5:
        return std::make_unique<MD5>();
    case HashID::SHA1:
        return std::make_unique<SHA1>();
    case HashID::SHA256:
        return std::make_unique<SHA256>();
    case HashID::SHA384:
        return std::make_unique<SHA384>();
    case HashID::SHA512:
        return std::make_unique<SHA512>();
    }
    return nullptr;
}

std::unique_ptr<Hash> createHash(unsigned id) { return createHash(static_cast<HashID>(id)); }

std::string getHashName(HashID id) {
    switch (id) {
    case HashID::MD5:
        return "MD5";
    case HashID::SHA1:
        return "SHA1";
    case HashID::SHA256:
        return "SHA256";
    case HashID::SHA384:
        return "SHA384";
    case HashID::SHA512:
        return "SHA512";
    case HashID::none:
    case HashID::MD5SHA1:
    case HashID::MD4:
        break;
    }
    return "unknown";
}

std::string getHashName(unsigned id) { return getHashName(static_cast<HashID>(id)); }

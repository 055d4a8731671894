#include "sealkit/scrypt.h"

#include "sealkit/pbkdf2.h"
#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "base/wiped.h"

#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace {

constexpr size_t salsaWords = 16, blockWords = 2 * salsaWords; // For r = 1.
constexpr size_t wordSize = sizeof(std::uint32_t);

/// Words that are wiped before they are freed. Their allocation may fail.
class Words {
public:
    explicit Words(std::uint64_t wanted)
        : count(wanted),
          words(wanted <= std::numeric_limits<size_t>::max() / wordSize
                    ? new (std::nothrow) std::uint32_t[static_cast<size_t>(wanted)]
                    : nullptr) {}
    ~Words() {
        if (words != nullptr)
            secureMemset(words.get(), 0, static_cast<size_t>(count) * wordSize);
    }
    Words(Words const&) = delete;
    Words& operator=(Words const&) = delete;

    std::uint32_t* data() const { return words.get(); }

private:
    std::uint64_t count;
    std::unique_ptr<std::uint32_t[]> words;
};

/// The scratch memory of a whole derivation, which wipes it.
struct Scratch {
    std::uint32_t x[salsaWords], sum[salsaWords];
};

/// The Salsa20/8 core (RFC 7914, section 3) of `x` XOR `with`, in place of `x`.
void salsa(Scratch& scratch, std::uint32_t const* with) {
    auto& x = scratch.x;
    auto& sum = scratch.sum;
    for (size_t i = 0; i < salsaWords; i++)
        sum[i] = x[i] ^= with[i];
    auto const quarter = [&x](unsigned a, unsigned b, unsigned c, unsigned d) {
        x[b] ^= std::rotl(x[a] + x[d], 7);
        x[c] ^= std::rotl(x[b] + x[a], 9);
        x[d] ^= std::rotl(x[c] + x[b], 13);
        x[a] ^= std::rotl(x[d] + x[c], 18);
    };
    for (int doubleRound = 0; doubleRound < 4; doubleRound++) {
        quarter(0, 4, 8, 12);
        quarter(5, 9, 13, 1);
        quarter(10, 14, 2, 6);
        quarter(15, 3, 7, 11);
        quarter(0, 1, 2, 3);
        quarter(5, 6, 7, 4);
        quarter(10, 11, 8, 9);
        quarter(15, 12, 13, 14);
    }
    for (size_t i = 0; i < salsaWords; i++)
        x[i] += sum[i];
}

/// scryptBlockMix (RFC 7914, section 4) of the 2 · r blocks at `from`, into `to`.
void mixBlocks(std::uint32_t const* from, std::uint32_t* to, size_t r, Scratch& scratch) {
    std::memcpy(scratch.x, from + (2 * r - 1) * salsaWords, sizeof scratch.x);
    for (size_t i = 0; i < 2 * r; i++) {
        salsa(scratch, from + i * salsaWords);
        // The even blocks come first, the odd ones after them.
        std::memcpy(to + (i / 2 + i % 2 * r) * salsaWords, scratch.x, sizeof scratch.x);
    }
}

/// scryptROMix (RFC 7914, section 5) of `x`. `y` is as long, `table` N times as long.
void mixInMemory(std::uint32_t* x, std::uint32_t* y, std::uint32_t* table, size_t n, size_t r,
                 Scratch& scratch) {
    size_t const words = blockWords * r;
    for (size_t i = 0; i < n; i++) {
        std::memcpy(table + i * words, x, words * wordSize);
        mixBlocks(table + i * words, x, r, scratch);
    }
    for (size_t i = 0; i < n; i++) {
        // N is below 2^32, so one word selects the element.
        size_t const chosen = x[(2 * r - 1) * salsaWords] & (n - 1);
        for (size_t word = 0; word < words; word++)
            y[word] = x[word] ^ table[chosen * words + word];
        mixBlocks(y, x, r, scratch);
    }
}

} // namespace

bool isScryptCost(ScryptParams const& params) {
    std::uint64_t const r = params.blockSize;
    return params.cost > 1 && std::has_single_bit(params.cost) && r != 0 && params.parallelization != 0 &&
           (r >= 4 || params.cost >> (16 * r) == 0) &&
           params.parallelization <= std::uint64_t{0xFFFFFFFF} * 32 / (128 * r);
}

bool isScryptWithinLimits(ScryptParams const& params) {
    if (params.cost > scryptMaxWork || params.blockSize > scryptMaxWork ||
        params.parallelization > scryptMaxWork)
        return false;
    std::uint64_t const blocks = params.cost * params.blockSize; // Below 2^46, like all products here.
    return blocks <= scryptMaxWork && blocks * params.parallelization <= scryptMaxWork &&
           128 * (params.cost + params.parallelization) * params.blockSize <= scryptMaxMemory;
}

bool scrypt(asn1::blob password, asn1::blob salt, ScryptParams const& params, std::span<unsigned char> key) {
    if (!isScryptCost(params) || !isScryptWithinLimits(params) ||
        key.size() / 32 >= std::numeric_limits<std::uint32_t>::max())
        return false;
    size_t const r = params.blockSize, words = blockWords * r;
    Words const table(params.cost * words);
    Words const all(static_cast<std::uint64_t>(params.parallelization) * words), work(2 * words);
    if (table.data() == nullptr || all.data() == nullptr || work.data() == nullptr)
        return false;

    size_t const size = params.parallelization * words * wordSize;
    auto* const bytes = reinterpret_cast<unsigned char*>(all.data());
    pbkdf2(HashID::SHA256, password, salt, 1, {bytes, size});
    std::uint32_t *const x = work.data(), *const y = x + words;
    detail::Wiped<Scratch> scratch;
    for (size_t lane = 0; lane < params.parallelization; lane++) {
        unsigned char* const block = bytes + lane * words * wordSize;
        for (size_t i = 0; i < words; i++)
            x[i] = detail::loadLittleEndian<std::uint32_t>(block + i * wordSize);
        mixInMemory(x, y, table.data(), static_cast<size_t>(params.cost), r, scratch);
        for (size_t i = 0; i < words; i++)
            detail::storeLittleEndian(block + i * wordSize, x[i]);
    }
    return pbkdf2(HashID::SHA256, password, {bytes, size}, 1, key);
}

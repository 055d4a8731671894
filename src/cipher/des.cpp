#include "des.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "table_bases.h"
#include "triple_des.h"

#include <array>
#include <bit>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

using Word = std::uint32_t; // Bit 1 of FIPS 46-3 is the most significant.

// The substitutions S1 to S8 (FIPS 46-3, appendix 1), by row and column.
constexpr unsigned char substitution[8][4][16] = {
    {{14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
     {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
     {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
     {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13}},
    {{15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
     {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
     {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
     {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9}},
    {{10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
     {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
     {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
     {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12}},
    {{7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
     {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
     {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
     {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14}},
    {{2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
     {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
     {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
     {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3}},
    {{12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
     {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
     {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
     {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13}},
    {{4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
     {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
     {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
     {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12}},
    {{13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
     {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
     {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
     {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}},
};

// The permutation P, and the permuted choices of the key schedule.
constexpr unsigned char permutation[32] = {16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23, 26, 5,  18, 31, 10,
                                           2,  8, 24, 14, 32, 27, 3,  9,  19, 13, 30, 6,  22, 11, 4,  25};
constexpr unsigned char permutedChoice1[56] = {57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                               10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                               63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                               14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};
constexpr unsigned char permutedChoice2[48] = {
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

/// The bits of `from`, a number of `width` bits, that `table` selects.
template <typename Number, size_t count>
constexpr Number permuted(Number from, unsigned width, unsigned char const (&table)[count]) {
    Number bits = 0;
    for (unsigned char const place : table)
        bits = bits << 1 | (from >> (width - place) & 1);
    return bits;
}

/// L and R are stored rotated right by this many bits.
constexpr int turn = 3;

/// The high half holds the inputs of S1, S3, S5 and S7 in the six low bits of each byte; the low half holds
/// those of the others.
using Inputs = std::uint64_t;

/// The expansion E of R. Its groups of six bits start at every fourth bit, so those of S1, S3, S5 and S7 fit
/// into separate bytes, and those of the others do so after a rotation by four bits.
constexpr Inputs expanded(Word r) {
    constexpr Word sixOfEach = 0x3f3f3f3f;
    return Inputs{r & sixOfEach} << 32 | (std::rotl(r, 4) & sixOfEach);
}

/// The four bits of each group that the expansion does not repeat.
constexpr Word contracted(Inputs inputs) {
    constexpr Word fourOfEach = 0x1e1e1e1e;
    return (static_cast<Word>(inputs >> 32) & fourOfEach) |
           std::rotr(static_cast<Word>(inputs) & fourOfEach, 4);
}

/// If registers are wide enough, L and R remain expanded through all rounds, because expansion is linear.
constexpr bool staysExpanded = sizeof(std::uintptr_t) >= sizeof(Inputs);
using Half = std::conditional_t<staysExpanded, Inputs, Word>;

constexpr Half toHalf(Word word) {
    if constexpr (staysExpanded)
        return expanded(word);
    else
        return word;
}
constexpr Word toWord(Half half) {
    if constexpr (staysExpanded)
        return contracted(half);
    else
        return half;
}
constexpr Inputs toInputs(Half half) {
    if constexpr (staysExpanded)
        return half;
    else
        return expanded(half);
}

/// The contribution of each substitution to f(R, K), by its six input bits: S, then P.
constexpr std::array<std::array<Half, 64>, 8> substituteAndPermute = [] {
    std::array<std::array<Half, 64>, 8> tables = {};
    for (unsigned box = 0; box < 8; ++box)
        for (unsigned input = 0; input < 64; ++input) {
            unsigned const row = (input >> 4 & 2) | (input & 1), column = input >> 1 & 15;
            Word const output = Word(substitution[box][row][column]) << (28 - 4 * box);
            tables[box][input] = toHalf(std::rotr(permuted(output, 32, permutation), turn));
        }
    return tables;
}();

/// Arranges a subkey like the expanded R.
Inputs layOut(Word const (&subkey)[2]) {
    constexpr Word first = 0xfc0000, second = 0x03f000, third = 0x000fc0, fourth = 0x00003f;
    Word const left = subkey[0], right = subkey[1];
    Word const odd =
        (left & first) << 6 | (left & third) << 10 | (right & first) >> 10 | (right & third) >> 6;
    Word const even =
        (left & second) << 12 | (left & fourth) << 16 | (right & second) >> 4 | (right & fourth);
    return Inputs{odd} << 32 | even;
}

/// The function f(R, K).
[[gnu::always_inline]] inline Half mixed(auto const& sp, Half r, Inputs key) {
    Inputs const inputs = toInputs(r) ^ key;
    Word const odd = static_cast<Word>(inputs >> 32), even = static_cast<Word>(inputs);
    return sp[7][even & 0xff] ^ sp[6][odd & 0xff] ^ sp[5][even >> 8 & 0xff] ^ sp[4][odd >> 8 & 0xff] ^
           sp[3][even >> 16 & 0xff] ^ sp[2][odd >> 16 & 0xff] ^ sp[1][even >> 24] ^ sp[0][odd >> 24];
}

/// Exchanges the bits `mask` of `low` with those that are `distance` higher in `high`.
inline void exchange(Word& high, Word& low, unsigned distance, Word mask) {
    Word const difference = ((high >> distance) ^ low) & mask;
    low ^= difference;
    high ^= difference << distance;
}

/// A block after the initial permutation IP.
struct Halves {
    Half l, r;
};

/// IP, which transposes the 8 by 8 bits and rearranges the rows.
[[gnu::always_inline]] inline Halves load(unsigned char const* in) {
    Word l = detail::loadBigEndian<Word>(in), r = detail::loadBigEndian<Word>(in + 4);
    exchange(l, r, 4, 0x0f0f0f0f);
    exchange(l, r, 16, 0x0000ffff);
    exchange(r, l, 2, 0x33333333);
    exchange(r, l, 8, 0x00ff00ff);
    exchange(l, r, 1, 0x55555555);
    return {toHalf(std::rotr(l, turn)), toHalf(std::rotr(r, turn))};
}

/// The inverse of IP.
[[gnu::always_inline]] inline void store(unsigned char* out, Halves const& halves) {
    Word l = std::rotl(toWord(halves.l), turn), r = std::rotl(toWord(halves.r), turn);
    exchange(l, r, 1, 0x55555555);
    exchange(r, l, 8, 0x00ff00ff);
    exchange(r, l, 2, 0x33333333);
    exchange(l, r, 16, 0x0000ffff);
    exchange(l, r, 4, 0x0f0f0f0f);
    detail::storeBigEndian(out, l);
    detail::storeBigEndian(out + 4, r);
}

/// DES once or three times. `keyAt` returns a subkey by its number; decryption uses them in reverse. Between
/// two ciphers, the inverse of IP and IP cancel out, and only the exchange of the halves remains.
template <bool forward, unsigned subkeys>
[[gnu::always_inline]] inline void crypt(auto const& keyAt, unsigned char const* in, unsigned char* out) {
    auto const& sp = detail::tableBases(substituteAndPermute);
    auto [l, r] = load(in);
    for (unsigned done = 0; done < subkeys; done += 16) {
        for (unsigned i = done; i < done + 16; i += 2) {
            l ^= mixed(sp, r, keyAt(forward ? i : subkeys - 1 - i));
            r ^= mixed(sp, l, keyAt(forward ? i + 1 : subkeys - 2 - i));
        }
        std::swap(l, r);
    }
    store(out, {l, r});
}

template <bool forward>
void cryptOnce(Word const (&subkeys)[16][2], unsigned char const* in, unsigned char* out) {
    crypt<forward, 16>([&](unsigned i) { return layOut(subkeys[i]); }, in, out);
}

/// `Cipher` with its subkeys arranged, in the order of their use.
template <typename Cipher, unsigned count>
class BulkCipher final : public Cipher {
public:
    explicit BulkCipher(unsigned char const* key) : Cipher(key) {
        if constexpr (count == 16) {
            for (unsigned i = 0; i < 16; ++i)
                keys[i] = layOut(this->subkeys[i]);
        } else {
            for (unsigned i = 0; i < 16; ++i) {
                keys[i] = layOut(this->first.subkeys[i]);
                keys[16 + i] = layOut(this->second.subkeys[15 - i]); // The second cipher decrypts.
                keys[32 + i] = layOut(this->third.subkeys[i]);
            }
        }
    }
    BulkCipher(BulkCipher const&) = delete;
    BulkCipher& operator=(BulkCipher const&) = delete;
    ~BulkCipher() override { secureMemset(keys, 0, sizeof keys); }

    void encrypt(unsigned char const* in, unsigned char* out) override {
        crypt<true, count>(keyAt(), in, out);
    }
    void decrypt(unsigned char const* in, unsigned char* out) override {
        crypt<false, count>(keyAt(), in, out);
    }

private:
    auto keyAt() const {
        return [this](unsigned i) __attribute__((always_inline)) { return keys[i]; };
    }

    Inputs keys[count];
};

} // namespace

DES::DES(unsigned char const* key) {
    constexpr std::uint64_t half = (1u << 28) - 1;
    // The rounds that rotate by one bit; the others rotate by two.
    constexpr unsigned turnedOnce = 1u << 1 | 1u << 2 | 1u << 9 | 1u << 16;
    auto const turned = [](std::uint64_t bits, unsigned by) {
        return (bits << by | bits >> (28 - by)) & half;
    };

    std::uint64_t const chosen = permuted(detail::loadBigEndian<std::uint64_t>(key), 64, permutedChoice1);
    std::uint64_t c = chosen >> 28, d = chosen & half;
    for (unsigned round = 1; round <= 16; ++round) {
        unsigned const by = (turnedOnce >> round & 1) != 0 ? 1 : 2;
        c = turned(c, by);
        d = turned(d, by);
        std::uint64_t const subkey = permuted(c << 28 | d, 56, permutedChoice2);
        subkeys[round - 1][0] = static_cast<Word>(subkey >> 24);
        subkeys[round - 1][1] = static_cast<Word>(subkey & 0xffffff);
    }
}

DES::~DES() { secureMemset(subkeys, 0, sizeof subkeys); }
void DES::encrypt(unsigned char const* in, unsigned char* out) { cryptOnce<true>(subkeys, in, out); }
void DES::decrypt(unsigned char const* in, unsigned char* out) { cryptOnce<false>(subkeys, in, out); }

std::unique_ptr<BlockCipher> detail::makeDes(std::span<unsigned char const> key) {
    switch (key.size()) {
    case 8:
        return std::make_unique<BulkCipher<DES, 16>>(key.data());
    case 24:
        return std::make_unique<BulkCipher<TripleDES, 48>>(key.data());
    default:
        return nullptr;
    }
}

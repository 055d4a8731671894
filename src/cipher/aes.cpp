#include "aes.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"

#include <array>
#include <bit>

namespace {

using Word = std::uint32_t; ///< A column of the state, its first byte on top.
using ByteTable = std::array<unsigned char, 256>;
/// What each byte of a column adds to a mixed column: one table a place.
using ColumnTables = std::array<std::array<Word, 256>, 4>;

/// Multiplication by x modulo x^8 + x^4 + x^3 + x + 1 (FIPS 197 section 4.2.1).
constexpr unsigned char timesX(unsigned char a) {
    return static_cast<unsigned char>(a << 1 ^ (a >> 7) * 0x1b);
}

constexpr unsigned char product(unsigned char a, unsigned char b) {
    unsigned char sum = 0;
    for (; b != 0; b >>= 1, a = timesX(a))
        if ((b & 1) != 0)
            sum ^= a;
    return sum;
}

constexpr Word column(unsigned char a, unsigned char b, unsigned char c, unsigned char d) {
    return Word(a) << 24 | Word(b) << 16 | Word(c) << 8 | Word(d);
}

/// SubBytes, section 5.1.1: the inverse, then an affine map. While `power` runs through the powers of x + 1,
/// which are all elements but 0, `inverse` runs through those of its inverse.
constexpr ByteTable substitute = [] {
    constexpr unsigned char generator = 0x03, generatorInverse = 0xf6;
    static_assert(product(generator, generatorInverse) == 1);
    ByteTable table = {0x63};
    unsigned char power = 1, inverse = 1;
    do {
        unsigned char affine = 0x63;
        for (int turn = 0; turn < 5; ++turn)
            affine ^= std::rotl(inverse, turn);
        table[power] = affine;
        power = product(power, generator);
        inverse = product(inverse, generatorInverse);
    } while (power != 1);
    return table;
}();

/// InvSubBytes, section 5.3.2.
constexpr ByteTable unsubstitute = [] {
    ByteTable table = {};
    for (unsigned i = 0; i < 256; ++i)
        table[substitute[i]] = static_cast<unsigned char>(i);
    return table;
}();

/// From `first`, the mixed column of a column with the one byte i on top.
constexpr ColumnTables columnTables(auto const& first) {
    ColumnTables tables = {};
    for (unsigned i = 0; i < 256; ++i)
        for (unsigned place = 0; place < 4; ++place)
            tables[place][i] = std::rotr(first(static_cast<unsigned char>(i)), 8 * static_cast<int>(place));
    return tables;
}

/// SubBytes and MixColumns (section 5.1.3) together.
constexpr ColumnTables substituteAndMix = columnTables([](unsigned char i) {
    unsigned char const s = substitute[i];
    return column(product(s, 0x02), s, s, product(s, 0x03));
});

/// InvMixColumns, section 5.3.3.
constexpr ColumnTables unmix = columnTables([](unsigned char i) {
    return column(product(i, 0x0e), product(i, 0x09), product(i, 0x0d), product(i, 0x0b));
});

/// The column of the first byte of `a`, the second of `b`, the third of `c` and the fourth of `d`, each looked up:
/// with the right choice of columns this is ShiftRows (section 5.1.2) or its inverse too.
[[gnu::always_inline]] inline Word lookUp(ByteTable const& table, Word a, Word b, Word c, Word d) {
    return column(table[a >> 24], table[b >> 16 & 0xff], table[c >> 8 & 0xff], table[d & 0xff]);
}
[[gnu::always_inline]] inline Word lookUp(ColumnTables const& tables, Word a, Word b, Word c, Word d) {
    return tables[0][a >> 24] ^ tables[1][b >> 16 & 0xff] ^ tables[2][c >> 8 & 0xff] ^ tables[3][d & 0xff];
}

/// The four columns of a block.
struct State {
    State(unsigned char const* in, Word const* key)
        : a(detail::loadBigEndian<Word>(in) ^ key[0]),
          b(detail::loadBigEndian<Word>(in + 4) ^ key[1]),
          c(detail::loadBigEndian<Word>(in + 8) ^ key[2]),
          d(detail::loadBigEndian<Word>(in + 12) ^ key[3]) {}

    void store(unsigned char* out) const {
        detail::storeBigEndian(out, a);
        detail::storeBigEndian(out + 4, b);
        detail::storeBigEndian(out + 8, c);
        detail::storeBigEndian(out + 12, d);
    }

    /// SubBytes, ShiftRows and, with the column tables, MixColumns; AddRoundKey.
    [[gnu::always_inline]] void round(auto const& table, Word const* key) {
        Word const newA = lookUp(table, a, b, c, d) ^ key[0];
        Word const newB = lookUp(table, b, c, d, a) ^ key[1];
        Word const newC = lookUp(table, c, d, a, b) ^ key[2];
        d = lookUp(table, d, a, b, c) ^ key[3];
        a = newA, b = newB, c = newC;
    }

    /// InvShiftRows, InvSubBytes, AddRoundKey.
    [[gnu::always_inline]] void inverseRound(Word const* key) {
        Word const newA = lookUp(unsubstitute, a, d, c, b) ^ key[0];
        Word const newB = lookUp(unsubstitute, b, a, d, c) ^ key[1];
        Word const newC = lookUp(unsubstitute, c, b, a, d) ^ key[2];
        d = lookUp(unsubstitute, d, c, b, a) ^ key[3];
        a = newA, b = newB, c = newC;
    }

    /// InvMixColumns.
    [[gnu::always_inline]] void unmixColumns() {
        a = lookUp(unmix, a, a, a, a);
        b = lookUp(unmix, b, b, b, b);
        c = lookUp(unmix, c, c, c, c);
        d = lookUp(unmix, d, d, d, d);
    }

    Word a, b, c, d;
};

/// The number of rounds Nr for a schedule of `words` words.
constexpr unsigned rounds(unsigned words) { return words / 4 - 1; }

/// KeyExpansion, section 5.2.
template <unsigned words>
void expand(unsigned char const* key, Word (&schedule)[words]) {
    constexpr unsigned keyWords = rounds(words) - 6; // Nk
    for (unsigned i = 0; i < keyWords; ++i)
        schedule[i] = detail::loadBigEndian<Word>(key + 4 * i);
    unsigned char constant = 1; // Rcon
    for (unsigned i = keyWords; i < words; ++i) {
        Word word = schedule[i - 1];
        if (i % keyWords == 0) {
            word = std::rotl(word, 8);
            word = lookUp(substitute, word, word, word, word) ^ column(constant, 0, 0, 0);
            constant = timesX(constant);
        } else if (keyWords > 6 && i % keyWords == 4) {
            word = lookUp(substitute, word, word, word, word);
        }
        schedule[i] = schedule[i - keyWords] ^ word;
    }
}

/// Cipher, section 5.1.
template <unsigned words>
void encryptBlock(Word const (&schedule)[words], unsigned char const* in, unsigned char* out) {
    Word const* key = schedule;
    State state(in, key);
    for (unsigned left = rounds(words) - 1; left != 0; --left)
        state.round(substituteAndMix, key += 4);
    state.round(substitute, key + 4);
    state.store(out);
}

/// InvCipher, section 5.3: with the one schedule. The equivalent inverse cipher of section 5.3.5 would do
/// with one look-up a byte and round, but wants round keys of its own.
template <unsigned words>
void decryptBlock(Word const (&schedule)[words], unsigned char const* in, unsigned char* out) {
    Word const* key = schedule + 4 * rounds(words);
    State state(in, key);
    for (unsigned left = rounds(words) - 1; left != 0; --left) {
        state.inverseRound(key -= 4);
        state.unmixColumns();
    }
    state.inverseRound(key - 4);
    state.store(out);
}

} // namespace

AES128::AES128(unsigned char const* key) { expand(key, schedule); }
AES128::~AES128() { secureMemset(schedule, 0, sizeof schedule); }
void AES128::encrypt(unsigned char const* in, unsigned char* out) { encryptBlock(schedule, in, out); }
void AES128::decrypt(unsigned char const* in, unsigned char* out) { decryptBlock(schedule, in, out); }

AES192::AES192(unsigned char const* key) { expand(key, schedule); }
AES192::~AES192() { secureMemset(schedule, 0, sizeof schedule); }
void AES192::encrypt(unsigned char const* in, unsigned char* out) { encryptBlock(schedule, in, out); }
void AES192::decrypt(unsigned char const* in, unsigned char* out) { decryptBlock(schedule, in, out); }

AES256::AES256(unsigned char const* key) { expand(key, schedule); }
AES256::~AES256() { secureMemset(schedule, 0, sizeof schedule); }
void AES256::encrypt(unsigned char const* in, unsigned char* out) { encryptBlock(schedule, in, out); }
void AES256::decrypt(unsigned char const* in, unsigned char* out) { decryptBlock(schedule, in, out); }

std::unique_ptr<BlockCipher> detail::makeAes(std::span<unsigned char const> key) {
    switch (key.size()) {
    case 16:
        return std::make_unique<AES128>(key.data());
    case 24:
        return std::make_unique<AES192>(key.data());
    case 32:
        return std::make_unique<AES256>(key.data());
    default:
        return nullptr;
    }
}

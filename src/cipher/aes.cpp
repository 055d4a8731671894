#include "aes.h"

#include "sealkit/wipe.h"

#include "base/bytes.h"
#include "table_bases.h"

#include <array>
#include <bit>
#include <type_traits>

namespace {

using Word = std::uint32_t; ///< A column of the state; the first byte is the most significant.
using ByteTable = std::array<unsigned char, 256>;
/// The contribution of each byte of a column to the mixed column, with one table for each position.
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

/// From `first`, the mixed column of a column whose only non-zero byte is the first, i.
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

/// InvMixColumns (section 5.3.3) of a column whose only non-zero byte is the first, i.
constexpr Word unmixedByte(unsigned char i) {
    return column(product(i, 0x0e), product(i, 0x09), product(i, 0x0d), product(i, 0x0b));
}

/// InvSubBytes and InvMixColumns together.
constexpr ColumnTables unsubstituteAndUnmix =
    columnTables([](unsigned char i) { return unmixedByte(unsubstitute[i]); });

/// Only InvMixColumns, for round keys.
constexpr std::array<Word, 256> unmix = [] {
    std::array<Word, 256> table = {};
    for (unsigned i = 0; i < 256; ++i)
        table[i] = unmixedByte(static_cast<unsigned char>(i));
    return table;
}();

/// The column of the first byte of `a`, the second of `b`, the third of `c` and the fourth of `d`, each
/// substituted. The choice of columns also implements ShiftRows (section 5.1.2) or its inverse.
[[gnu::always_inline]] inline Word lookUp(ByteTable const& table, Word a, Word b, Word c, Word d) {
    return column(table[a >> 24], table[b >> 16 & 0xff], table[c >> 8 & 0xff], table[d & 0xff]);
}
[[gnu::always_inline]] inline Word lookUp(auto const& tables, Word a, Word b, Word c, Word d) {
    return tables[0][a >> 24] ^ tables[1][b >> 16 & 0xff] ^ tables[2][c >> 8 & 0xff] ^ tables[3][d & 0xff];
}

/// InvMixColumns of a column.
inline Word unmixed(Word w) {
    return unmix[w >> 24] ^ std::rotr(unmix[w >> 16 & 0xff], 8) ^ std::rotr(unmix[w >> 8 & 0xff], 16) ^
           std::rotr(unmix[w & 0xff], 24);
}

/// The columns of a block or of a round key. Decryption exchanges the second and the fourth, which turns
/// ShiftRows into InvShiftRows (section 5.3.1).
struct Columns {
    Word a, b, c, d;
};

/// The differences between the directions.
struct Encryption {
    static constexpr ColumnTables const& round = substituteAndMix;
    static constexpr ByteTable const& lastRound = substitute;
    static constexpr unsigned second = 1, fourth = 3;
};
struct Decryption {
    static constexpr ColumnTables const& round = unsubstituteAndUnmix;
    static constexpr ByteTable const& lastRound = unsubstitute;
    static constexpr unsigned second = 3, fourth = 1;
};

/// SubBytes, ShiftRows, MixColumns (if `table` is a column table) and AddRoundKey, or their inverses.
[[gnu::always_inline]] inline Columns transformed(Columns const& s, auto const& table, Columns const& key) {
    return {lookUp(table, s.a, s.b, s.c, s.d) ^ key.a, lookUp(table, s.b, s.c, s.d, s.a) ^ key.b,
            lookUp(table, s.c, s.d, s.a, s.b) ^ key.c, lookUp(table, s.d, s.a, s.b, s.c) ^ key.d};
}

/// Cipher, section 5.1, or the equivalent inverse cipher, section 5.3.5. `keyAt` returns a round key.
template <typename Direction>
[[gnu::always_inline]] inline void crypt(unsigned rounds, auto const& keyAt, unsigned char const* in,
                                         unsigned char* out) {
    constexpr unsigned second = 4 * Direction::second, fourth = 4 * Direction::fourth;
    Columns const key = keyAt(0);
    Columns state = {
        detail::loadBigEndian<Word>(in) ^ key.a, detail::loadBigEndian<Word>(in + second) ^ key.b,
        detail::loadBigEndian<Word>(in + 8) ^ key.c, detail::loadBigEndian<Word>(in + fourth) ^ key.d};
    auto const& tables = detail::tableBases(Direction::round);
    for (unsigned round = 1; round < rounds; ++round)
        state = transformed(state, tables, keyAt(round));
    state = transformed(state, Direction::lastRound, keyAt(rounds));
    constexpr auto pair = [](Word x, Word y) { return std::uint64_t(x) << 32 | y; };
    constexpr bool exchanged = Direction::second == 3;
    detail::storeBigEndian(out, pair(state.a, exchanged ? state.d : state.b));
    detail::storeBigEndian(out + 8, pair(state.c, exchanged ? state.b : state.d));
}

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

template <unsigned words>
void encryptBlock(Word const (&schedule)[words], unsigned char const* in, unsigned char* out) {
    auto const keyAt = [&](unsigned round) __attribute__((always_inline)) {
        Word const* const key = schedule + 4 * round;
        return Columns{key[0], key[1], key[2], key[3]};
    };
    crypt<Encryption>(rounds(words), keyAt, in, out);
}

/// A round key of the equivalent inverse cipher: InvMixColumns applies to all but the first and the last.
template <unsigned words>
[[gnu::always_inline]] inline Columns decryptionKey(Word const (&schedule)[words], unsigned round) {
    Word const* const key = schedule + 4 * (rounds(words) - round);
    if (round == 0 || round == rounds(words))
        return {key[0], key[3], key[2], key[1]};
    return {unmixed(key[0]), unmixed(key[3]), unmixed(key[2]), unmixed(key[1])};
}

template <unsigned words>
void decryptBlock(Word const (&schedule)[words], unsigned char const* in, unsigned char* out) {
    crypt<Decryption>(
        rounds(words),
        [&](unsigned round) __attribute__((always_inline)) { return decryptionKey(schedule, round); }, in,
        out);
}

/// AES that computes the decryption round keys once, before it first decrypts a block.
template <typename Aes>
class DecryptingAes final : public Aes {
public:
    using Aes::Aes;
    ~DecryptingAes() override { secureMemset(keys, 0, sizeof keys); }

    void decrypt(unsigned char const* in, unsigned char* out) override {
        if (!unmixedKeys)
            unmixKeys();
        crypt<Decryption>(
            lastRound, [this](unsigned round) __attribute__((always_inline)) { return keys[round]; }, in,
            out);
    }

private:
    static constexpr unsigned lastRound = rounds(std::extent_v<decltype(DecryptingAes::schedule)>);

    void unmixKeys() {
        for (unsigned round = 0; round <= lastRound; ++round)
            keys[round] = decryptionKey(this->schedule, round);
        unmixedKeys = true;
    }

    bool unmixedKeys = false;
    Columns keys[lastRound + 1]; ///< In the order of decryption.
};

template <template <typename> typename Made>
std::unique_ptr<BlockCipher> make(std::span<unsigned char const> key) {
    switch (key.size()) {
    case 16:
        return std::make_unique<Made<AES128>>(key.data());
    case 24:
        return std::make_unique<Made<AES192>>(key.data());
    case 32:
        return std::make_unique<Made<AES256>>(key.data());
    default:
        return nullptr;
    }
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
    return make<std::type_identity_t>(key);
}

std::unique_ptr<BlockCipher> detail::makeDecryptingAes(std::span<unsigned char const> key) {
    return make<DecryptingAes>(key);
}

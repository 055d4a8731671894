/// Random test data that depends only on a seed, on every machine and with every compiler.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string_view>
#include <vector>

namespace test {

/// A source of random data.
class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}
    /// Seeded with a text, so that the data of a named case is the same wherever the case is tested.
    explicit Random(std::string_view name) {
        std::seed_seq seed(name.begin(), name.end());
        engine.seed(seed);
    }

    /// From 0 to `bound` - 1.
    size_t below(size_t bound) { return engine() % bound; }
    size_t between(size_t first, size_t last) { return first + below(last - first + 1); }
    bool oneIn(unsigned n) { return below(n) == 0; }
    template <typename T, size_t n>
    T const& oneOf(T const (&choices)[n]) {
        return choices[below(n)];
    }

    std::vector<unsigned char> bytes(size_t size) {
        std::vector<unsigned char> result(size);
        for (unsigned char& byte : result)
            byte = static_cast<unsigned char>(engine());
        return result;
    }

    /// A length of up to `longest`. Three out of four are at most a twelfth of that.
    size_t length(size_t longest) { return below((oneIn(4) ? longest : longest / 12) + 1); }

    /// Splits `whole` bytes into pieces at multiples of `unit`. Pieces may be empty.
    std::vector<size_t> cut(size_t whole, size_t unit = 1) {
        std::vector<size_t> pieces;
        while (whole > 0 && !oneIn(4)) {
            size_t const piece = std::min(whole, below(whole / unit + 2) * unit);
            pieces.push_back(piece);
            whole -= piece;
        }
        pieces.push_back(whole);
        return pieces;
    }

private:
    std::mt19937 engine;
};

} // namespace test

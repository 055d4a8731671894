/// What the tests of big numbers share.
#pragma once

#include "sealkit/bignum.h"
#include "support/vectors.h"

#include <ostream>
#include <random>
#include <string_view>
#include <vector>

/// How a failed comparison shows a number.
inline void PrintTo(BigNum const& x, std::ostream* out) { *out << "0x" << x.str(); }

namespace test {

/// The number that a field of a case holds in big-endian hex; empty is 0.
inline BigNum number(Case const& c, std::string_view field) { return BigNum(c.bytes(field)); }

/// The number with these hex digits, of which there may be an odd count.
inline BigNum number(std::string_view hexits) {
    return BigNum(hex(std::string(hexits.size() % 2, '0') + std::string(hexits)));
}

using Digits = std::vector<unsigned>;

inline Digits digitsOf(BigNum const& x) { return Digits(x.digits.begin(), x.digits.end()); }

/// The invariant that every operation keeps.
inline bool isClamped(BigNum const& x) { return x.size() == 1 || (x.size() > 1 && x.digits.back() != 0); }

/// Digits that provoke carries, borrows and wrong quotient estimates, mixed with random ones. The
/// sequence is the same in every run.
class RandomDigits {
public:
    explicit RandomDigits(unsigned seed) : engine(seed) {}

    unsigned operator()() {
        static constexpr unsigned hard[] = {0, 1, 0x7fffffff, 0x80000000, 0xfffffffe, 0xffffffff};
        unsigned choice = engine() % 16;
        return choice < 6 ? hard[choice] : static_cast<unsigned>(engine());
    }

    unsigned below(unsigned limit) { return static_cast<unsigned>(engine() % limit); }

    /// A number of at most `count` digits.
    BigNum number(size_t count) {
        BigNum x;
        x.digits.resize(count == 0 ? 1 : count);
        for (size_t i = 0; i < count; ++i)
            x.digits[i] = (*this)();
        x.clamp();
        return x;
    }

private:
    std::mt19937 engine;
};

} // namespace test

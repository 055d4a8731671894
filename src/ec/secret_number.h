/// Numbers of one width for every value, which are wiped.
#pragma once

#include "sealkit/bignum.h"

#include "base/declassify.h"

#include <array>

namespace detail {

/// A number of the widest named curve. Its digits lie on the stack, zeros above the number, and are wiped
/// with it.
struct SecretNumber {
    std::array<unsigned, 17> digits{};

    SecretNumber() = default;
    SecretNumber(SecretNumber const&) = delete;
    SecretNumber& operator=(SecretNumber const&) = delete;
    ~SecretNumber() { secureMemset(digits.data(), 0, sizeof digits); }

    /// Takes a number whose length may be told. Returns false if it does not fit.
    bool assign(BigNum const& number) {
        if (number.size() > digits.size())
            return false;
        digits.fill(0);
        std::copy(number.digits.begin(), number.digits.end(), digits.begin());
        return true;
    }

    /// Takes the `bits` leftmost bits of big-endian bytes, which are at least as many and at most 68 bytes.
    void assign(unsigned char const* bytes, unsigned bits) {
        unsigned const count = (bits + 7) / 8;
        digits.fill(0);
        for (unsigned i = 0; i < count; ++i)
            digits[i / 4] |= static_cast<unsigned>(bytes[count - 1 - i]) << (i % 4 * 8);
        if (unsigned const shift = 8 * count - bits)
            for (unsigned i = 0; i < digits.size(); ++i)
                digits[i] = digits[i] >> shift | (i + 1 < digits.size() ? digits[i + 1] : 0) << (32 - shift);
    }

    /// Writes the `count` lowest bytes, big-endian.
    void write(unsigned char* bytes, unsigned count) const {
        for (unsigned i = 0; i < count; ++i)
            bytes[count - 1 - i] = static_cast<unsigned char>(digits[i / 4] >> (i % 4 * 8));
    }

    /// The same number in a form whose length tells how many digits it has.
    BigNum toBigNum() const {
        unsigned length = 1;
        for (unsigned i = 1; i < digits.size(); ++i) {
            unsigned const isSet = (digits[i] | (0 - digits[i])) >> 31;
            length ^= (length ^ (i + 1)) & (0 - isSet);
        }
        declassify(Told::keyLength, &length, sizeof length);
        BigNum number;
        number.digits.assign(digits.begin(), digits.begin() + length);
        return number;
    }
};

} // namespace detail

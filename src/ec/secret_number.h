/// Numbers of fixed width, which are wiped.
#pragma once

#include "sealkit/bignum.h"

#include "base/declassify.h"

#include <array>

namespace detail {

/// A number with the width of the widest named curve, padded with zeros. Its digits are on the stack and
/// wiped by the destructor.
struct SecretNumber {
    std::array<unsigned, 17> digits{};

    SecretNumber() = default;
    SecretNumber(SecretNumber const&) = delete;
    SecretNumber& operator=(SecretNumber const&) = delete;
    ~SecretNumber() { secureMemset(digits.data(), 0, sizeof digits); }

    /// Assigns a number whose length is not secret. Returns false if it does not fit.
    bool assign(BigNum const& number) {
        if (number.size() > digits.size())
            return false;
        digits.fill(0);
        std::copy(number.digits.begin(), number.digits.end(), digits.begin());
        return true;
    }

    /// Assigns the `bits` leftmost bits of big-endian bytes, which must be enough and at most 68.
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

    /// The number in a form whose length reveals its number of digits.
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

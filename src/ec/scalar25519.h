// Numbers modulo the order of the base points of Curve25519 and Edwards25519, with a fixed number of digits.
// Neither branches nor addresses depend on the numbers.
#pragma once

#include "sealkit/curve25519.h"
#include "sealkit/wipe.h"

#include "base/mask.h"
#include "bignum/kernel.h"

#include <algorithm>

namespace detail {

/// A number below 2^256, wiped by the destructor.
struct Scalar25519 {
    static constexpr size_t size = 8;

    Digit digits[size] = {};

    Scalar25519() = default;
    ~Scalar25519() { secureMemset(digits, 0, sizeof digits); }
    Scalar25519(Scalar25519 const&) = delete;
    Scalar25519& operator=(Scalar25519 const&) = delete;

    /// L = 2^252 + 27742317777372353535851937790883648493.
    static constexpr Digit order[size] = {0x5cf5d3ed, 0x5812631a, 0xa2f79cd6, 0x14def9de,
                                          0x00000000, 0x00000000, 0x00000000, 0x10000000};

    /// Whether it is below L. Like `bits`, only for public numbers.
    bool isReduced() const;
    unsigned bits() const;

    /// Sets it to at most 32 bytes, little-endian.
    void setBytes(asn1::blob bytes);

    /// Sets it to at most 64 bytes, little-endian, modulo L.
    void setResidue(asn1::blob bytes);
    /// Sets it to a number of any size modulo L. Its number of digits is not kept secret.
    void setResidue(BigNum const& number);
    /// Sets it to k·s + r modulo L. The operands must be other objects.
    void setSum(Scalar25519 const& k, Scalar25519 const& s, Scalar25519 const& r);

    /// Writes 32 bytes, little-endian.
    void write(unsigned char* bytes) const;

private:
    static void readBytes(Digit* to, size_t count, asn1::blob bytes);
    /// Subtracts L unless x, with one more digit `above`, is below L.
    static void subtractOrder(Digit* x, Digit above);
    /// Sets the high half to wide/R modulo L, with R = 2^256. The result is below R for any number, and below
    /// L for a number below L·R.
    static void montgomery(Digit* wide);
    /// Sets it to `wide` modulo L, and wipes `wide`.
    void reduce(Digit (&wide)[2 * size]);
};

inline void Scalar25519::readBytes(Digit* to, size_t count, asn1::blob bytes) {
    std::fill_n(to, count, 0);
    for (size_t i = 0; i < bytes.size(); ++i)
        to[i / 4] |= static_cast<Digit>(bytes[i]) << i % 4 * 8;
}

inline void Scalar25519::subtractOrder(Digit* x, Digit above) {
    Digit below[size];
    Digit const borrow = subtract<NativeLimb>(below, x, order, size);
    Digit const keep = maskOf<Digit>(borrow & (above ^ 1U));
    for (size_t i = 0; i < size; ++i)
        x[i] = (x[i] & keep) | (below[i] & ~keep);
    secureMemset(below, 0, sizeof below);
}

inline void Scalar25519::montgomery(Digit* wide) {
    static constexpr Digit inverse = 0x12547e1b; // -1/L modulo 2^32
    Digit const above = montgomeryReduce<NativeLimb>(wide, order, size, inverse);
    subtractOrder(wide + size, above);
}

inline bool Scalar25519::isReduced() const { return compare(digits, order, size) < 0; }

inline unsigned Scalar25519::bits() const {
    unsigned i = size;
    while (i > 1 && digits[i - 1] == 0)
        --i;
    return digitBits * i - static_cast<unsigned>(std::countl_zero(digits[i - 1]));
}

inline void Scalar25519::setBytes(asn1::blob bytes) { readBytes(digits, size, bytes); }

inline void Scalar25519::setResidue(asn1::blob bytes) {
    Digit wide[2 * size];
    readBytes(wide, 2 * size, bytes);
    reduce(wide);
}

inline void Scalar25519::setResidue(BigNum const& number) {
    if (number.size() > 2 * size) {
        BigNum residue;
        div(number, Curve25519::getOrder(), nullptr, &residue);
        return setResidue(residue);
    }
    Digit wide[2 * size] = {};
    std::copy(number.digits.begin(), number.digits.end(), wide);
    reduce(wide);
}

inline void Scalar25519::setSum(Scalar25519 const& k, Scalar25519 const& s, Scalar25519 const& r) {
    Digit wide[2 * size];
    product<NativeLimb>(wide, k.digits, size, s.digits, size);
    Digit carry = add<NativeLimb>(wide, wide, r.digits, size);
    for (size_t i = size; i < 2 * size; ++i)
        wide[i] = addCarry(wide[i], Digit{0}, carry);
    reduce(wide);
}

inline void Scalar25519::write(unsigned char* bytes) const {
    for (size_t i = 0; i < 4 * size; ++i)
        bytes[i] = static_cast<unsigned char>(digits[i / 4] >> i % 4 * 8);
}

inline void Scalar25519::reduce(Digit (&wide)[2 * size]) {
    // R² modulo L
    static constexpr Digit square[size] = {0x449c0f01, 0xa40611e3, 0x68859347, 0xd00e1ba7,
                                           0x17f5be65, 0xceec73d2, 0x7c309a3d, 0x0399411b};
    montgomery(wide);
    std::copy_n(wide + size, size, digits);
    product<NativeLimb>(wide, digits, size, square, size);
    montgomery(wide);
    std::copy_n(wide + size, size, digits);
    secureMemset(wide, 0, sizeof wide);
}

} // namespace detail

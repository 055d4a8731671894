// Representations of residues, and conversions to and from them.
#include "sealkit/bignum.h"

#include "bignum/digits.h"

#include <algorithm>
#include <utility>

using detail::Digit;
using detail::digitBits;
using detail::fixedDigits;
using detail::NativeLimb;

// The order matters: the reducer points at the number, and the objects of one source file are constructed in
// this order and destroyed in reverse.
BigNum const RedNum::mod1 = bn2(1, 0);
Reducer const RedNum::emptyReducer(RedNum::mod1);

MontgomeryReducer::MontgomeryReducer(BigNum const& m) : Reducer(m) {
    n0inv = detail::negativeInverse(m.digits[0]);

    // 2^(32k) mod m without a division: doubles the highest power of two within m.
    unsigned topBit = m.bits() - 1;
    one.setBit(topBit, true);
    if (one >= m) // m = 1
        one -= m;
    for (unsigned i = topBit % digitBits; i < digitBits; ++i) {
        one <<= 1;
        if (one >= m)
            one -= m;
    }
}

void MontgomeryReducer::reduce(BigNum& x) const {
    BigNum const& m = *modulus;
    size_t k = m.size();
    size_t extended = std::max(x.size(), 2 * k);
    x.digits.resize(extended);
    Digit* t = x.digits.data();
    Digit carry = k == fixedDigits
                      ? detail::montgomeryReduceFixed<NativeLimb, fixedDigits>(t, m.digits.data(), n0inv)
                      : detail::montgomeryReduce<NativeLimb>(t, m.digits.data(), k, n0inv);
    if (extended > 2 * k) {
        // Longer than the precondition allows, which is the product of two residues.
        x.addToDigit(2 * k, carry);
        x.shiftRightByDigits(k);
        if (x >= m)
            x -= m;
        return;
    }
    if (carry != 0 || detail::compare(t + k, m.digits.data(), k) >= 0)
        detail::subtract<NativeLimb>(t, t + k, m.digits.data(), k);
    else
        std::copy_n(t + k, k, t);
    detail::fit(x, k);
}

RedNum MontgomeryReducer::fromBigNum(BigNum const& x) const { return fromBigNum(BigNum(x)); }

RedNum MontgomeryReducer::fromBigNum(BigNum&& x) const {
    if (detail::isZero(x))
        return {std::move(x), this};
    if (x.size() == 1 && x.digits[0] == 1)
        return {one, this};
    ::mul(x, x, one);
    div(x, *modulus, nullptr, &x);
    return {std::move(x), this};
}

BigNum MontgomeryReducer::toBigNum(RedNum&& x) const {
    reduce(x.value);
    return std::move(x.value);
}

void Mod25519Reducer::reduce(BigNum& x) const {
    x.reduce(*modulus, 38); // 2^256 = 2 * (2^255 - 19) + 38
}

void Mod25519Reducer::mul(BigNum& r, BigNum const& a, BigNum const& b) const {
    mul256(r, a, b);
    reduce(r);
}

void Mod25519Reducer::mul(BigNum& r, unsigned k) const {
    r *= k;
    reduce(r);
}

void Mod25519Reducer::sqr(BigNum& r, BigNum const& a) const {
    sqr256(r, a);
    reduce(r);
}

RedNum& RedNum::operator+=(RedNum const& x) {
    value += x.value;
    if (*reducer->modulus < value)
        value -= *reducer->modulus;
    return *this;
}

RedNum& RedNum::operator-=(RedNum const& x) {
    if (value < x.value)
        value += *reducer->modulus;
    value -= x.value;
    return *this;
}

void mul(RedNum& r, RedNum const& a, RedNum const& b) { mul_redbn(r, a, b.value); }

void mul_redbn(RedNum& r, RedNum const& a, BigNum const& b) {
    r.reducer = a.reducer;
    r.reducer->mul(r.value, a.value, b);
}

void mul(RedNum& r, unsigned k) { r.reducer->mul(r.value, k); }

void sqr(RedNum& r, RedNum const& a) {
    r.reducer = a.reducer;
    r.reducer->sqr(r.value, a.value);
}

#include "sealkit/bignum.h"

#include "bignum/digits.h"

#include <algorithm>
#include <bit>

using detail::Digit;
using detail::digitBits;
using detail::NativeLimb;

BigNum::BigNum() : digits(1) {}

BigNum bn2(unsigned lo, unsigned hi) { return bn3(lo, hi, 0); }

BigNum bn3(unsigned d0, unsigned d1, unsigned d2) {
    BigNum x;
    x.digits = {d0, d1, d2};
    x.clamp();
    return x;
}

BigNum bn64(unsigned long long value) {
    return bn2(static_cast<unsigned>(value), static_cast<unsigned>(value >> digitBits));
}

void BigNum::clamp() {
    if (digits.empty())
        digits.resize(1);
    detail::fit(*this, size());
}

unsigned BigNum::bits() const {
    return static_cast<unsigned>(size()) * digitBits - static_cast<unsigned>(std::countl_zero(digits.back()));
}

bool BigNum::getBit(unsigned i) const {
    size_t digit = i / digitBits;
    return digit < size() && (digits[digit] >> i % digitBits & 1) != 0;
}

unsigned lsb(BigNum const& x) {
    for (size_t i = 0; i < x.size(); ++i)
        if (x.digits[i] != 0)
            return static_cast<unsigned>(i) * digitBits +
                   static_cast<unsigned>(std::countr_zero(x.digits[i]));
    return 0;
}

bool BigNum::operator==(BigNum const& x) const { return digits == x.digits; }

bool BigNum::operator<(BigNum const& x) const {
    if (size() != x.size())
        return size() < x.size();
    return detail::compare(digits.data(), x.digits.data(), size()) < 0;
}

void BigNum::setBit(unsigned i, bool value) {
    size_t digit = i / digitBits;
    if (digit >= size())
        digits.resize(digit + 1);
    Digit mask = 1U << i % digitBits;
    digits[digit] = value ? digits[digit] | mask : digits[digit] & ~mask;
}

void BigNum::modBy2Pow(unsigned n) {
    size_t kept = n / digitBits + (n % digitBits != 0);
    if (kept > size())
        return;
    digits.resize(kept);
    if (n % digitBits != 0)
        digits.back() &= (1U << n % digitBits) - 1;
    clamp();
}

void BigNum::shiftLeftByDigits(size_t k) {
    digits.insert(digits.begin(), k, 0);
    clamp();
}

void BigNum::shiftRightByDigits(size_t k) {
    digits.erase(digits.begin(), digits.begin() + static_cast<std::ptrdiff_t>(std::min(k, size())));
    clamp();
}

BigNum& BigNum::operator<<=(unsigned n) {
    size_t low = n / digitBits;
    size_t moved = size();
    digits.resize(low + moved + 1);
    Digit* d = digits.data();
    std::copy_backward(d, d + moved, d + low + moved);
    std::fill(d, d + low, 0);
    d[low + moved] = detail::shiftLeft<NativeLimb>(d + low, d + low, moved, n % digitBits);
    clamp();
    return *this;
}

BigNum& BigNum::operator>>=(unsigned n) {
    size_t low = n / digitBits;
    if (low >= size()) {
        digits.assign(1, 0);
        return *this;
    }
    Digit* d = digits.data();
    size_t kept = size() - low;
    detail::shiftRight<NativeLimb>(d, d + low, kept, n % digitBits);
    detail::fit(*this, kept);
    return *this;
}

BigNum& BigNum::operator+=(BigNum const& x) {
    if (size() < x.size())
        digits.resize(x.size());
    size_t n = x.size();
    Digit carry = detail::add<NativeLimb>(digits.data(), digits.data(), x.digits.data(), n);
    if (detail::propagate(digits.data() + n, size() - n, carry) != 0)
        digits.push_back(1);
    return *this;
}

BigNum& BigNum::operator-=(BigNum const& x) {
    SEALKIT_ASSERT(size() >= x.size());
    size_t n = x.size();
    Digit borrow = detail::subtract<NativeLimb>(digits.data(), digits.data(), x.digits.data(), n);
    detail::propagateBorrow(digits.data() + n, size() - n, borrow);
    detail::fit(*this, size());
    return *this;
}

BigNum& BigNum::operator+=(unsigned x) {
    addToDigit(0, x);
    return *this;
}

BigNum& BigNum::operator*=(unsigned x) {
    Digit carry = detail::multiplyBy<NativeLimb>(digits.data(), size(), x);
    if (carry != 0)
        digits.push_back(carry);
    detail::fit(*this, size()); // The factor may be zero.
    return *this;
}

void BigNum::addToDigit(size_t i, unsigned v) {
    if (v == 0)
        return;
    if (i >= size())
        digits.resize(i + 1);
    Digit carry = detail::propagate(digits.data() + i, size() - i, v);
    if (carry != 0)
        digits.push_back(carry);
}

BigNum operator+(BigNum const& a, BigNum const& b) {
    BigNum sum;
    sum.digits.reserve(std::max(a.size(), b.size()) + 1);
    sum = a;
    sum += b;
    return sum;
}
BigNum operator+(BigNum&& a, BigNum const& b) { return std::move(a += b); }
BigNum operator+(BigNum const& a, BigNum&& b) { return std::move(b += a); }
BigNum operator+(BigNum&& a, BigNum&& b) { return std::move(a.size() < b.size() ? b += a : a += b); }
BigNum operator+(BigNum const& a, unsigned b) { return BigNum(a) + b; }
BigNum operator+(BigNum&& a, unsigned b) { return std::move(a += b); }

BigNum operator-(BigNum const& a, BigNum const& b) { return BigNum(a) - b; }
BigNum operator-(BigNum&& a, BigNum const& b) { return std::move(a -= b); }

BigNum operator*(BigNum const& a, unsigned b) { return BigNum(a) * b; }
BigNum operator*(BigNum&& a, unsigned b) { return std::move(a *= b); }

BigNum operator<<(BigNum const& a, unsigned n) {
    if (a.size() == 1 && a.digits[0] == 1) {
        BigNum power;
        power.setBit(n, true);
        return power;
    }
    return BigNum(a) << n;
}
BigNum operator<<(BigNum&& a, unsigned n) { return std::move(a <<= n); }
BigNum operator>>(BigNum const& a, unsigned n) { return BigNum(a) >> n; }
BigNum operator>>(BigNum&& a, unsigned n) { return std::move(a >>= n); }

void SignedBigNum::add(BigNum const& x, bool minus) {
    if (negative == minus) {
        magnitude += x;
    } else if (magnitude < x) {
        size_t n = x.size();
        magnitude.digits.resize(n);
        detail::subtract<NativeLimb>(magnitude.digits.data(), x.digits.data(), magnitude.digits.data(), n);
        magnitude.clamp();
        negative = minus;
    } else {
        magnitude -= x;
    }
}

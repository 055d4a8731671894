// Products, squares, and folding modulo a number just below a power of two.
#include "sealkit/bignum.h"

#include "bignum/digits.h"

#include <algorithm>
#include <cstring>

using detail::Digit;
using detail::fixedDigits;
using detail::NativeLimb;

namespace {

/// Resizes r for a result of `digits` digits. If r is an operand too, its value is moved after them, where
/// the caller trims it. The copy thus stays in memory that is wiped when it is freed. Returns its address.
Digit* makeRoom(BigNum& r, size_t digits, bool isOperand) {
    size_t moved = isOperand ? r.size() : 0;
    r.digits.resize(digits + moved);
    Digit* behind = r.digits.data() + digits;
    std::copy_n(r.digits.data(), moved, behind);
    return behind;
}

size_t productDigits(size_t a, size_t b) {
    return (detail::limbCount<NativeLimb>(a) + detail::limbCount<NativeLimb>(b)) *
           detail::limbDigits<NativeLimb>;
}

} // namespace

void mul(BigNum& r, BigNum const& a, BigNum const& b) {
    if (&a == &b)
        return sqr(r, a);
    if (a.size() > b.size())
        return mul(r, b, a);
    size_t aDigits = a.size();
    size_t bDigits = b.size();
    Digit* moved = makeRoom(r, productDigits(aDigits, bDigits), &r == &a || &r == &b);
    Digit const* x = &r == &a ? moved : a.digits.data();
    Digit const* y = &r == &b ? moved : b.digits.data();
    if (aDigits == fixedDigits && bDigits == fixedDigits)
        detail::productFixed<NativeLimb, fixedDigits>(r.digits.data(), x, y);
    else
        detail::product<NativeLimb>(r.digits.data(), x, aDigits, y, bDigits);
    detail::fit(r, aDigits + bDigits);
}

void sqr(BigNum& r, BigNum const& a) {
    size_t digits = a.size();
    Digit* moved = makeRoom(r, productDigits(digits, digits), &r == &a);
    Digit const* x = &r == &a ? moved : a.digits.data();
    if (digits == fixedDigits)
        detail::squareFixed<NativeLimb, fixedDigits>(r.digits.data(), x);
    else
        detail::square<NativeLimb>(r.digits.data(), x, digits);
    detail::fit(r, 2 * digits);
}

// Residues of 256 bits nearly always have eight digits, for which `mul` and `sqr` use unrolled code. Shorter
// ones are rare enough for the general loops.

void mul256(BigNum& r, BigNum const& a, BigNum const& b) { mul(r, a, b); }

void sqr256(BigNum& r, BigNum const& a) { sqr(r, a); }

BigNum& BigNum::operator*=(BigNum const& x) {
    BigNum product;
    mul(product, *this, x);
    *this = std::move(product);
    return *this;
}

BigNum operator*(BigNum const& a, BigNum const& b) {
    BigNum product;
    mul(product, a, b);
    return product;
}

void BigNum::reduce(BigNum const& mod, unsigned c) {
    size_t k = mod.size();
    size_t n = size();
    Digit* d = digits.data();
    while (n > k) {
        // 2^(32 * split) is congruent to c * 2^(32 * (split - k)). The product of c and the part above the
        // split must end at or below the split, which the third bound ensures. Up to 2k + 1 digits, the other
        // bounds suffice.
        size_t split = std::max({(n + 1) / 2, k, n - k});
        Digit carry = detail::addMultiple<NativeLimb>(d + (split - k), d + split, n - split, c);
        carry = detail::propagate(d + (n - k), split - (n - k), carry);
        d[split] = carry;
        n = split + 1;
        while (n > 1 && d[n - 1] == 0)
            --n;
    }
    detail::fit(*this, n);
    if (mod < *this)
        *this -= mod;
}

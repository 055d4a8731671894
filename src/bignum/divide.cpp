// Division with remainder.
#include "sealkit/bignum.h"

#include "bignum/digits.h"

#include <algorithm>
#include <bit>

using detail::Digit;
using detail::NativeLimb;

namespace {

constexpr size_t step = detail::limbDigits<NativeLimb>;

/// r = a * 2^(32 * low + shift), which must fit `count` digits. r may be a.
void normalise(Digit* r, size_t count, Digit const* a, size_t digits, size_t low, unsigned shift) {
    std::copy_backward(a, a + digits, r + low + digits);
    std::fill(r, r + low, 0);
    std::fill(r + low + digits, r + count, 0);
    Digit out = detail::shiftLeft<NativeLimb>(r + low, r + low, digits, shift);
    if (low + digits < count)
        r[low + digits] = out;
}

void divideByOneDigit(BigNum const& a, Digit b, BigNum* q, BigNum* r) {
    BigNum unwanted;
    BigNum& quotient = q != nullptr ? *q : unwanted;
    quotient.digits.resize(a.size());
    Digit remainder = detail::divideByDigit(quotient.digits.data(), a.digits.data(), a.size(), b);
    quotient.clamp();
    if (r != nullptr)
        r->digits.assign(1, remainder);
}

} // namespace

void div(BigNum const& a, BigNum const& b, BigNum* q, BigNum* r) {
    if (a < b) {
        if (r != nullptr)
            *r = a;
        if (q != nullptr)
            q->digits.assign(1, 0);
        return;
    }
    if (b.size() == 1)
        return divideByOneDigit(a, b.digits[0], q, r);

    // Both are shifted until the top bit of the divisor's top limb is set: first by a whole digit, if the
    // divisor does not fill that limb.
    unsigned shift = static_cast<unsigned>(std::countl_zero(b.digits.back()));
    size_t low = b.size() % step;
    size_t bDigits = b.size();
    size_t divisorDigits = low + bDigits;
    size_t dividendDigits = detail::limbCount<NativeLimb>(low + a.size() + 1) * step;

    decltype(b.digits) shifted; // Allocated only if needed.
    Digit const* divisor = b.digits.data();
    if (shift != 0 || low != 0 || q == &b || r == &b) {
        shifted.resize(divisorDigits);
        normalise(shifted.data(), divisorDigits, divisor, bDigits, low, shift);
        divisor = shifted.data();
    }

    decltype(b.digits) unwanted;
    auto& remainder = r != nullptr ? r->digits : unwanted;
    size_t aDigits = a.size();
    remainder.resize(dividendDigits);
    Digit* rest = remainder.data();
    normalise(rest, dividendDigits, a.digits.data(), aDigits, low, shift);

    Digit* quotient = nullptr;
    if (q != nullptr) {
        q->digits.resize(dividendDigits - divisorDigits);
        quotient = q->digits.data();
    }
    detail::divideNormalised<NativeLimb>(quotient, rest, dividendDigits / step, divisor,
                                         divisorDigits / step);
    if (q != nullptr)
        q->clamp();
    if (r == nullptr)
        return;
    detail::shiftRight<NativeLimb>(rest, rest + low, bDigits, shift);
    detail::fit(*r, bDigits);
}

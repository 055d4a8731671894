// Greatest common divisors and inverses.
#include "sealkit/bignum.h"

#include "bignum/digits.h"

#include <algorithm>
#include <utility>

using detail::isOdd;
using detail::isZero;

namespace {

/// One of the two numbers of the extended gcd with its coefficients. Invariant: x * a + y * b = value.
struct Combination {
    BigNum value;
    SignedBigNum x;
    SignedBigNum y; ///< Zero unless it is wanted.

    void halveWhileEven(BigNum const& a, BigNum const& b, bool withY) {
        while (!isOdd(value)) {
            value >>= 1;
            if (isOdd(x.magnitude) || isOdd(y.magnitude)) {
                x.add(b, false);
                if (withY)
                    y.add(a, true);
            }
            x.magnitude >>= 1;
            y.magnitude >>= 1;
        }
    }

    void subtract(Combination const& other, bool withY) {
        value -= other.value;
        x.add(other.x.magnitude, !other.x.negative);
        if (withY)
            y.add(other.y.magnitude, !other.y.negative);
    }
};

} // namespace

BigNum gcd(BigNum const& a, BigNum const& b) {
    if (isZero(a))
        return b;
    if (isZero(b))
        return a;
    unsigned common = std::min(lsb(a), lsb(b));
    BigNum u = a >> lsb(a);
    BigNum v = b;
    while (!isZero(v)) {
        v >>= lsb(v);
        if (v < u)
            std::swap(u, v);
        v -= u;
    }
    return std::move(u) << common;
}

BigNum lcm(BigNum const& a, BigNum const& b) {
    BigNum const& smaller = a < b ? a : b;
    BigNum const& larger = a < b ? b : a;
    if (isZero(smaller))
        return BigNum();
    // Dividing first avoids a product larger than the result.
    BigNum quotient;
    div(smaller, gcd(a, b), &quotient, nullptr);
    return quotient * larger;
}

void begcd(SignedBigNum* x, SignedBigNum* y, BigNum* g, BigNum a, BigNum b) {
    if (isZero(a) || isZero(b)) {
        if (x != nullptr)
            *x = SignedBigNum();
        if (y != nullptr)
            *y = SignedBigNum();
        if (g != nullptr)
            *g = isZero(a) ? std::move(b) : std::move(a);
        return;
    }
    unsigned common = std::min(lsb(a), lsb(b));
    a >>= common;
    b >>= common;

    // If b is odd and the value even, x * a + y * b = value makes y even whenever x is. The parity of x then
    // decides every step, and y need not be computed unless it is wanted.
    bool withY = y != nullptr || !isOdd(b);
    BigNum const one = bn2(1, 0);
    Combination u = {a, {one}, {}};
    Combination v = {b, {}, {}};
    if (withY)
        v.y.magnitude = one;
    while (!isZero(u.value)) {
        u.halveWhileEven(a, b, withY);
        v.halveWhileEven(a, b, withY);
        if (u.value < v.value)
            v.subtract(u, withY);
        else
            u.subtract(v, withY);
    }
    if (x != nullptr)
        *x = std::move(v.x);
    if (y != nullptr)
        *y = std::move(v.y);
    if (g != nullptr)
        *g = std::move(v.value) << common;
}

BigNum invByMod(BigNum const& a, BigNum const& m) {
    BigNum r;
    div(a, m, nullptr, &r);
    SignedBigNum x;
    begcd(&x, nullptr, nullptr, std::move(r), m);
    while (x.negative)
        x.add(m, false);
    while (x.magnitude >= m)
        x.magnitude -= m;
    return std::move(x.magnitude);
}

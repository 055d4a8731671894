#include "sealkit/ec.h"

#include "ec/fixed_curve.h"
#include "ec/multiple25519.h"

#include <algorithm>
#include <iterator>
#include <utility>

using detail::FixedCurve;

namespace {

// The windows of `mul` have this many bits and begin with a 1.
constexpr unsigned windowBits = 4;
constexpr unsigned windowTop = 1U << (windowBits - 1);

/// Bits 2i and 2i + 1 of a scalar.
unsigned bitPair(BigNum const& k, unsigned i) { return k.getBit(2 * i + 1) * 2U + k.getBit(2 * i); }

bool isZero(BigNum const& x) { return x.bits() == 0; }

} // namespace

WCurve::WCurve(BigNum const& mod, BigNum const& a, Reducer* red) : p(mod), reducer(red) {
    reducer->modulus = &p;
    BigNum const residue = fromField(toField(a));
    if (!::isZero(residue))
        minusA = toField(p - residue);
}

WCurve::~WCurve() { delete reducer; }

RedNum WCurve::toField(BigNum const& x) const {
    if (x < p)
        return reducer->fromBigNum(x);
    BigNum residue;
    div(x, p, nullptr, &residue);
    return reducer->fromBigNum(std::move(residue));
}

BigNum WCurve::fromField(RedNum&& x) const {
    BigNum plain = reducer->toBigNum(std::move(x));
    while (plain >= p)
        plain -= p;
    return plain;
}

bool WCurve::isZero(RedNum const& x) const { return ::isZero(x.value) || x.value == p; }

void WCurve::subtract(RedNum& a, RedNum& b) const {
    // `-=` adds p at most once, which is too little if b is not fully reduced.
    while (b.value >= p)
        b.value -= p;
    a -= b;
}

bool WCurve::isInfinity(Point const& P) const { return isZero(P.Z); }

void WCurve::dbl(Point& P, RedNum* scratch) const {
    if (isInfinity(P))
        return;
    RedNum& M = scratch[0];
    RedNum& S = scratch[1];
    RedNum& T = scratch[2];
    RedNum& u = scratch[3];
    RedNum& v = scratch[4];

    sqr(u, P.Z);
    if (!::isZero(minusA.value)) { // M = 3X² − (−a)Z⁴
        sqr(v, u);
        ::mul(u, v, minusA);
        sqr(M, P.X);
        ::mul(M, 3);
        subtract(M, u);
    } else { // M = 3(X − Z²)(X + Z²), for a = −3
        v = P.X;
        subtract(v, u);
        u += P.X;
        ::mul(M, u, v);
        ::mul(M, 3);
    }

    ::mul(u, P.Y, P.Z); // Z' = 2YZ
    u += u;
    std::swap(P.Z, u);

    P.Y += P.Y;
    sqr(u, P.Y);
    ::mul(S, P.X, u); // S = X(2Y)²
    sqr(T, u);        // T = (2Y)⁴/2 = 8Y⁴
    if (T.value.getBit(0))
        T.value += p;
    T.value >>= 1;

    sqr(P.X, M); // X' = M² − 2S
    u = S;
    u += S;
    subtract(P.X, u);

    subtract(S, P.X); // Y' = M(S − X') − T
    ::mul(P.Y, M, S);
    subtract(P.Y, T);
}

void WCurve::add(Point& P, Point const& Q, RedNum* scratch) const {
    if (isInfinity(Q))
        return;
    if (isInfinity(P)) {
        P = Q;
        return;
    }
    RedNum& U1 = scratch[0];
    RedNum& S1 = scratch[1];
    RedNum& H = scratch[2];
    RedNum& R = scratch[3];
    RedNum& u = scratch[4];
    RedNum& v = scratch[5];

    sqr(u, Q.Z);
    ::mul(U1, P.X, u); // U1 = X1·Z2²
    ::mul(v, u, Q.Z);
    ::mul(S1, P.Y, v); // S1 = Y1·Z2³
    sqr(u, P.Z);
    ::mul(H, Q.X, u); // H = X2·Z1² − U1
    subtract(H, U1);
    ::mul(v, u, P.Z);
    ::mul(R, Q.Y, v); // R = Y2·Z1³ − S1
    subtract(R, S1);
    if (isZero(H) && isZero(R)) {
        dbl(P, scratch);
        return;
    }

    ::mul(u, P.Z, Q.Z); // Z3 = Z1·Z2·H, which is 0 when Q = −P
    ::mul(P.Z, u, H);

    sqr(v, H);
    ::mul(u, U1, v);  // U1·H²
    ::mul(U1, v, H);  // H³
    ::mul(v, S1, U1); // S1·H³
    sqr(P.X, R);      // X3 = R² − H³ − 2·U1·H²
    subtract(P.X, U1);
    subtract(P.X, u);
    subtract(P.X, u);

    subtract(u, P.X); // Y3 = R(U1·H² − X3) − S1·H³
    ::mul(P.Y, R, u);
    subtract(P.Y, v);
}

WCurve::Point WCurve::mul(BigNum const& k, Point const& P) const {
    if (Point product; detail::multiple25519(product, *this, k, P))
        return product;
    Point result; // At infinity, where doubling is free and adding copies.
    if (FixedCurve const* const fixed = FixedCurve::of(*this))
        if (fixed->mul(*this, k, P, &result))
            return result;

    RedNum scratch[addScratch];
    Point table[windowTop]; // windowTop·P … (2·windowTop − 1)·P
    table[0] = P;
    for (unsigned i = 1; i < windowBits; ++i)
        dbl(table[0], scratch);
    for (unsigned i = 1; i < windowTop; ++i) {
        table[i] = table[i - 1];
        add(table[i], P, scratch);
    }

    unsigned window = 0;
    unsigned collected = 0;
    for (unsigned i = k.bits(); i-- > 0;) {
        bool const bit = k.getBit(i);
        if (collected == 0 && !bit) {
            dbl(result, scratch);
            continue;
        }
        window = window * 2 + bit;
        if (++collected < windowBits)
            continue;
        for (unsigned j = 0; j < windowBits; ++j)
            dbl(result, scratch);
        add(result, table[window - windowTop], scratch);
        window = 0;
        collected = 0;
    }
    while (collected-- > 0) {
        dbl(result, scratch);
        if (window >> collected & 1)
            add(result, P, scratch);
    }
    return result;
}

WCurve::Point WCurve::mul2add(BigNum const& k, Point const& P, BigNum const& l, Point const& Q) const {
    if (Point sum; detail::jointMultiple25519(sum, *this, k, P, l, Q))
        return sum;
    Point result;
    if (FixedCurve const* const fixed = FixedCurve::of(*this))
        if (fixed->mul2add(*this, k, P, l, Q, &result))
            return result;

    RedNum scratch[addScratch];
    Point table[16]; // i·P + j·Q is at i + 4j.
    auto const multiples = [&](Point const& base, unsigned step) {
        table[step] = base;
        table[2 * step] = base;
        dbl(table[2 * step], scratch);
        table[3 * step] = table[2 * step];
        add(table[3 * step], base, scratch);
    };
    multiples(P, 1);
    multiples(Q, 4);
    for (unsigned j = 4; j < 16; j += 4)
        for (unsigned i = 1; i < 4; ++i) {
            table[i + j] = table[j];
            add(table[i + j], table[i], scratch);
        }

    for (unsigned i = (std::max(k.bits(), l.bits()) + 1) / 2; i-- > 0;) {
        unsigned const entry = bitPair(k, i) + 4 * bitPair(l, i);
        if (isInfinity(result)) {
            result = table[entry];
            continue;
        }
        dbl(result, scratch);
        dbl(result, scratch);
        if (entry)
            add(result, table[entry], scratch);
    }
    return result;
}

bool WCurve::getY(BigNum const& a, BigNum const& b, BigNum const& x, BigNum& y) const {
    // Byte ⌊n/4⌋ of the modulus, little-endian. For the named curves its two low bits decide whether p ≡ 3
    // (mod 4); in general those of byte 0 would.
    size_t const byte = p.size() / 4;
    if ((p.digits[byte / 4] >> (byte % 4 * 8) & 3) != 3)
        return false;

    RedNum const X = toField(x);
    RedNum factor;
    sqr(factor, X);
    factor += toField(a);
    RedNum rhs; // (x² + a)x + b
    ::mul(rhs, factor, X);
    rhs += toField(b);

    // Euler's criterion, which 0 does not satisfy.
    if (fromField(expByMod(rhs, p >> 1, *reducer)) != bn64(1))
        return false;
    y = fromField(expByMod(rhs, (p + 1) >> 2, *reducer));
    return true;
}

bool WCurve::isOnCurve(BigNum const& a, BigNum const& b, Point&& P) const {
    P.X.reducer = P.Y.reducer = reducer; // The zeros of an invalid point have no reducer.
    RedNum left;
    sqr(left, P.Y);
    RedNum factor;
    sqr(factor, P.X);
    factor += toField(a);
    RedNum right; // (X² + a)X + b
    ::mul(right, factor, P.X);
    right += toField(b);
    subtract(left, right);
    return isZero(left);
}

WCurve::Point WCurve::fromEC(ECPoint const& affine) const {
    return {toField(affine.x), toField(affine.y), reducer->fromBigNum(bn64(1))};
}

ECPoint WCurve::toEC(Point&& P) const {
    if (isInfinity(P))
        return {};
    RedNum const z = inv(std::move(P.Z));
    RedNum power;
    RedNum coordinate;
    ECPoint affine;
    sqr(power, z);
    ::mul(coordinate, P.X, power);
    affine.x = fromField(std::move(coordinate));
    RedNum cube;
    ::mul(cube, power, z);
    ::mul(coordinate, P.Y, cube);
    affine.y = fromField(std::move(coordinate));
    return affine;
}

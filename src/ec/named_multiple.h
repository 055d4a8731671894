/// The steps of `WCurve` on elements of fixed width: they give the coordinates that the general ones give, digit by
/// digit. For curves with a = -3.
///
/// In products (M) and squares (S) of the field, a doubling takes 4M + 4S, as 3X^2 - 3Z^4 is 3(X - Z^2)(X + Z^2), and an
/// addition 10M + 3S, as the square and the cube of Z of a table's entry are kept: 1M + 1S once.
#pragma once

#include "sealkit/bignum.h"

#include "bignum/fixed.h"

#include <algorithm>

namespace detail {

/// The windows of `mul` have this many bits, of which the top one is set.
inline constexpr unsigned windowBits = 4;
inline constexpr unsigned windowTop = 1U << (windowBits - 1);

/// Bits 2i and 2i + 1 of a scalar.
inline unsigned bitPair(BigNum const& k, unsigned i) { return k.getBit(2 * i + 1) * 2U + k.getBit(2 * i); }

/// (X/Z^2, Y/Z^3); Z = 0 is the point at infinity.
template <typename Field>
struct NamedPoint {
    using Element = typename Field::Element;
    Element X, Y, Z;

    bool isInfinity() const { return isZero(Z) != 0; }

    /// P = 2P.
    void dbl() {
        if (isInfinity())
            return;
        Element M, S, T, u, v;
        Field::sqr(u, Z); // M = 3X^2 - 3Z^4
        Field::sub(v, X, u);
        Field::add(u, X, u);
        Field::mul(M, u, v);
        Field::add(u, M, M);
        Field::add(M, M, u);

        Field::mul(u, Y, Z); // Z' = 2YZ
        Field::add(Z, u, u);

        Field::add(Y, Y, Y);
        Field::sqr(u, Y);
        Field::mul(S, X, u); // S = X(2Y)^2
        Field::sqr(T, u);    // T = (2Y)^4 / 2 = 8Y^4
        Field::halve(T, T);

        Field::sqr(X, M); // X' = M^2 - 2S
        Field::add(u, S, S);
        Field::sub(X, X, u);

        Field::sub(S, S, X); // Y' = M(S - X') - T
        Field::mul(Y, M, S);
        Field::sub(Y, Y, T);
    }
};

/// An entry of a table.
template <typename Field>
struct NamedEntry : NamedPoint<Field> {
    typename Field::Element ZZ, ZZZ;

    NamedEntry& operator=(NamedPoint<Field> const& P) {
        static_cast<NamedPoint<Field>&>(*this) = P;
        Field::sqr(ZZ, P.Z);
        Field::mul(ZZZ, ZZ, P.Z);
        return *this;
    }
};

/// P = P + Q.
template <typename Field>
void add(NamedPoint<Field>& P, NamedEntry<Field> const& Q) {
    if (Q.isInfinity())
        return;
    if (P.isInfinity()) {
        P = Q;
        return;
    }
    typename Field::Element U1, S1, H, R, u, v;
    Field::mul(U1, P.X, Q.ZZ);  // U1 = X1 Z2^2
    Field::mul(S1, P.Y, Q.ZZZ); // S1 = Y1 Z2^3
    Field::sqr(u, P.Z);
    Field::mul(H, Q.X, u); // H = X2 Z1^2 - U1
    Field::sub(H, H, U1);
    Field::mul(v, u, P.Z);
    Field::mul(R, Q.Y, v); // R = Y2 Z1^3 - S1
    Field::sub(R, R, S1);
    if (isZero(H) && isZero(R)) {
        P.dbl();
        return;
    }

    Field::mul(u, P.Z, Q.Z); // Z3 = Z1 Z2 H, which is 0 when Q = -P
    Field::mul(P.Z, u, H);

    Field::sqr(v, H);
    Field::mul(u, U1, v);  // U1 H^2
    Field::mul(U1, v, H);  // H^3
    Field::mul(v, S1, U1); // S1 H^3
    Field::sqr(P.X, R);    // X3 = R^2 - H^3 - 2 U1 H^2
    Field::sub(P.X, P.X, U1);
    Field::sub(P.X, P.X, u);
    Field::sub(P.X, P.X, u);

    Field::sub(u, u, P.X); // Y3 = R (U1 H^2 - X3) - S1 H^3
    Field::mul(P.Y, R, u);
    Field::sub(P.Y, P.Y, v);
}

/// What a scan of a scalar has made so far: nothing, which is at infinity, or a point.
template <typename Field>
struct NamedSum {
    NamedPoint<Field> point;
    bool begun = false;

    bool isInfinity() const { return !begun || point.isInfinity(); }
    void dbl() {
        if (begun)
            point.dbl();
    }
    void add(NamedEntry<Field> const& Q) {
        if (begun) {
            detail::add(point, Q);
        } else if (!Q.isInfinity()) {
            point = Q;
            begun = true;
        }
    }
};

/// kP, for a P that is not at infinity, in the windows of `WCurve::mul`.
template <typename Field>
NamedSum<Field> multiple(BigNum const& k, NamedPoint<Field> const& P) {
    NamedEntry<Field> table[windowTop]; // windowTop P ... (2 windowTop - 1) P
    NamedEntry<Field> single;
    single = P;
    NamedPoint<Field> next = P;
    for (unsigned i = 1; i < windowBits; ++i)
        next.dbl();
    table[0] = next;
    for (unsigned i = 1; i < windowTop; ++i) {
        add(next, single);
        table[i] = next;
    }

    NamedSum<Field> result;
    unsigned window = 0;
    unsigned collected = 0;
    for (unsigned i = k.bits(); i-- > 0;) {
        bool const bit = k.getBit(i);
        if (collected == 0 && !bit) {
            result.dbl();
            continue;
        }
        window = window * 2 + bit;
        if (++collected < windowBits)
            continue;
        for (unsigned j = 0; j < windowBits; ++j)
            result.dbl();
        result.add(table[window - windowTop]);
        window = 0;
        collected = 0;
    }
    while (collected-- > 0) {
        result.dbl();
        if (window >> collected & 1)
            result.add(single);
    }
    return result;
}

/// kP + lQ, for P and Q that are not at infinity, in the digits of `WCurve::mul2add`.
template <typename Field>
NamedSum<Field> multiple(BigNum const& k, NamedPoint<Field> const& P, BigNum const& l,
                         NamedPoint<Field> const& Q) {
    NamedEntry<Field> table[16]; // iP + jQ at i + 4j
    auto const multiples = [&](NamedPoint<Field> const& base, unsigned step) {
        NamedPoint<Field> next = base;
        table[step] = base;
        next.dbl();
        table[2 * step] = next;
        add(next, table[step]);
        table[3 * step] = next;
    };
    multiples(P, 1);
    multiples(Q, 4);
    for (unsigned j = 4; j < 16; j += 4)
        for (unsigned i = 1; i < 4; ++i) {
            NamedPoint<Field> sum = table[j];
            add(sum, table[i]);
            table[i + j] = sum;
        }

    NamedSum<Field> result;
    for (unsigned i = (std::max(k.bits(), l.bits()) + 1) / 2; i-- > 0;) {
        unsigned const entry = bitPair(k, i) + 4 * bitPair(l, i);
        if (result.isInfinity()) {
            result.begun = entry != 0;
            if (entry)
                result.point = table[entry];
            continue;
        }
        result.dbl();
        result.dbl();
        if (entry)
            result.add(table[entry]);
    }
    return result;
}

} // namespace detail

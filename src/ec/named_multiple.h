/// The steps of `WCurve` on elements of fixed width: they give the coordinates that the general ones give,
/// digit by digit. For curves with a = -3.
///
/// In products (M) and squares (S) of the field, a doubling takes 4M + 4S, as 3X^2 - 3Z^4 is 3(X - Z^2)(X +
/// Z^2), and an addition 10M + 3S, as the square and the cube of Z of a table's entry are kept: 1M + 1S once.
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
};

/// What a scan of a scalar has made so far: nothing, which is at infinity, or a point.
template <typename Field>
struct NamedSum {
    NamedPoint<Field> point;
    bool begun = false;

    bool isInfinity() const { return !begun || point.isInfinity(); }
};

/// One multiplication, of points that are not at infinity. What it computes with is wiped when it ends.
template <typename Field>
class NamedMultiplication {
public:
    using Point = NamedPoint<Field>;
    using Sum = NamedSum<Field>;

    NamedMultiplication() {}
    ~NamedMultiplication() { secureMemset(this, 0, sizeof *this); }
    NamedMultiplication(NamedMultiplication const&) = delete;
    NamedMultiplication& operator=(NamedMultiplication const&) = delete;

    /// kP, in the windows of `WCurve::mul`.
    void multiple(Sum& result, BigNum const& k, Point const& P) {
        Entry* const windows = table; // windowTop P ... (2 windowTop - 1) P
        Entry& single = table[windowTop];
        single = P;
        next = P;
        for (unsigned i = 1; i < windowBits; ++i)
            dbl(next);
        windows[0] = next;
        for (unsigned i = 1; i < windowTop; ++i) {
            add(next, single);
            windows[i] = next;
        }

        result.begun = false;
        unsigned window = 0;
        unsigned collected = 0;
        for (unsigned i = k.bits(); i-- > 0;) {
            bool const bit = k.getBit(i);
            if (collected == 0 && !bit) {
                dbl(result);
                continue;
            }
            window = window * 2 + bit;
            if (++collected < windowBits)
                continue;
            for (unsigned j = 0; j < windowBits; ++j)
                dbl(result);
            add(result, windows[window - windowTop]);
            window = 0;
            collected = 0;
        }
        while (collected-- > 0) {
            dbl(result);
            if (window >> collected & 1)
                add(result, single);
        }
    }

    /// kP + lQ, in the digits of `WCurve::mul2add`.
    void jointMultiple(Sum& result, BigNum const& k, Point const& P, BigNum const& l, Point const& Q) {
        // iP + jQ stands at i + 4j.
        auto const multiples = [&](Point const& base, unsigned step) {
            table[step] = base;
            next = base;
            dbl(next);
            table[2 * step] = next;
            add(next, table[step]);
            table[3 * step] = next;
        };
        multiples(P, 1);
        multiples(Q, 4);
        for (unsigned j = 4; j < 16; j += 4)
            for (unsigned i = 1; i < 4; ++i) {
                next = table[j];
                add(next, table[i]);
                table[i + j] = next;
            }

        result.begun = false;
        for (unsigned i = (std::max(k.bits(), l.bits()) + 1) / 2; i-- > 0;) {
            unsigned const entry = bitPair(k, i) + 4 * bitPair(l, i);
            if (result.isInfinity()) {
                result.begun = entry != 0;
                if (entry)
                    result.point = table[entry];
                continue;
            }
            dbl(result);
            dbl(result);
            if (entry)
                add(result, table[entry]);
        }
    }

private:
    using Element = typename Field::Element;

    struct Entry : Point {
        Element ZZ, ZZZ;

        Entry& operator=(Point const& P) {
            static_cast<Point&>(*this) = P;
            Field::sqr(ZZ, P.Z);
            Field::mul(ZZZ, ZZ, P.Z);
            return *this;
        }
    };

    /// P = 2P.
    void dbl(Point& P) {
        if (P.isInfinity())
            return;
        Field::sqr(u, P.Z); // M = 3X^2 - 3Z^4
        Field::sub(v, P.X, u);
        Field::add(u, P.X, u);
        Field::mul(M, u, v);
        Field::add(u, M, M);
        Field::add(M, M, u);

        Field::mul(u, P.Y, P.Z); // Z' = 2YZ
        Field::add(P.Z, u, u);

        Field::add(P.Y, P.Y, P.Y);
        Field::sqr(u, P.Y);
        Field::mul(S, P.X, u); // S = X(2Y)^2
        Field::sqr(T, u);      // T = (2Y)^4 / 2 = 8Y^4
        Field::halve(T, T);

        Field::sqr(P.X, M); // X' = M^2 - 2S
        Field::add(u, S, S);
        Field::sub(P.X, P.X, u);

        Field::sub(S, S, P.X); // Y' = M(S - X') - T
        Field::mul(P.Y, M, S);
        Field::sub(P.Y, P.Y, T);
    }

    /// P = P + Q.
    void add(Point& P, Entry const& Q) {
        if (Q.isInfinity())
            return;
        if (P.isInfinity()) {
            P = Q;
            return;
        }
        Field::mul(U, P.X, Q.ZZ);  // U = X1 Z2^2
        Field::mul(S, P.Y, Q.ZZZ); // S = Y1 Z2^3
        Field::sqr(u, P.Z);
        Field::mul(H, Q.X, u); // H = X2 Z1^2 - U
        Field::sub(H, H, U);
        Field::mul(v, u, P.Z);
        Field::mul(R, Q.Y, v); // R = Y2 Z1^3 - S
        Field::sub(R, R, S);
        if (isZero(H) && isZero(R)) {
            dbl(P);
            return;
        }

        Field::mul(u, P.Z, Q.Z); // Z3 = Z1 Z2 H, which is 0 when Q = -P
        Field::mul(P.Z, u, H);

        Field::sqr(v, H);
        Field::mul(u, U, v); // U H^2
        Field::mul(U, v, H); // H^3
        Field::mul(v, S, U); // S H^3
        Field::sqr(P.X, R);  // X3 = R^2 - H^3 - 2 U H^2
        Field::sub(P.X, P.X, U);
        Field::sub(P.X, P.X, u);
        Field::sub(P.X, P.X, u);

        Field::sub(u, u, P.X); // Y3 = R (U H^2 - X3) - S H^3
        Field::mul(P.Y, R, u);
        Field::sub(P.Y, P.Y, v);
    }

    void dbl(Sum& sum) {
        if (sum.begun)
            dbl(sum.point);
    }

    void add(Sum& sum, Entry const& Q) {
        if (sum.begun) {
            add(sum.point, Q);
        } else if (!Q.isInfinity()) {
            sum.point = Q;
            sum.begun = true;
        }
    }

    Element M, S, T, U, H, R, u, v;
    Point next;
    Entry table[16];
};

} // namespace detail

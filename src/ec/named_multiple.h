/// The steps of `WCurve` on elements of fixed width, for curves with a = -3. The coordinates equal those of
/// the general arithmetic, digit by digit.
///
/// In products (M) and squares (S) of the field, a doubling takes 4M + 4S, because 3X^2 - 3Z^4 is 3(X -
/// Z^2)(X + Z^2). An addition takes 10M + 3S, because the square and the cube of Z of a table's entry are
/// cached, which takes 1M + 1S once.
#pragma once

#include "bignum/fixed.h"
#include "ec/scalar_windows.h"

namespace detail {

/// (X/Z^2, Y/Z^3); Z = 0 is the point at infinity.
template <typename Field>
struct NamedPoint {
    using Element = typename Field::Element;
    Element X, Y, Z;

    bool isInfinity() const { return isZero(Z) != 0; }
};

/// The intermediate result of a multiplication: infinity before the first addition, then a point.
template <typename Field>
struct NamedSum {
    NamedPoint<Field> point;
    bool begun = false;

    bool isInfinity() const { return !begun || point.isInfinity(); }
};

/// The steps for finite points.
template <typename Field>
class NamedSteps {
    using Element = typename Field::Element;

public:
    using Point = NamedPoint<Field>;
    using Sum = NamedSum<Field>;

    struct Entry : Point {
        Element ZZ, ZZZ;

        Entry& operator=(Point const& P) {
            static_cast<Point&>(*this) = P;
            Field::sqr(ZZ, P.Z);
            Field::mul(ZZZ, ZZ, P.Z);
            return *this;
        }
    };

    static bool isInfinity(Sum const& sum) { return sum.isInfinity(); }
    static void clear(Sum& sum) { sum.begun = false; }
    static void set(Sum& sum, Entry const& Q) { sum = {Q, true}; }

    void dbl(Point& P, unsigned n) {
        while (n-- != 0 && !P.isInfinity())
            dbl(P);
    }

    void dbl(Sum& sum, unsigned n) {
        if (sum.begun)
            dbl(sum.point, n);
    }

    void add(Sum& sum, Entry const& Q) {
        if (sum.begun) {
            add(sum.point, Q);
        } else if (!Q.isInfinity()) {
            sum.point = Q;
            sum.begun = true;
        }
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

private:
    /// P = 2P.
    void dbl(Point& P) {
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

    Element M, S, T, U, H, R, u, v;
};

template <typename Field>
using NamedMultiplication = ScalarMultiplication<NamedSteps<Field>>;

} // namespace detail

// Points of a curve y² = x³ + a·x + b in Jacobian coordinates with limbs on the stack: the steps of `WCurve`
// for the field of 2^255 - 19.
//
// The steps and their coordinates equal those of `WCurve::dbl`, `add`, `mul` and `mul2add`. Recurring values
// are cached: -a·Z⁴ between the doublings of a run, where each is the previous one times 16·Y⁴, and the
// square and the cube of Z of a table's entry. The costs in field products (M) and squares (S):
//
//   doubling     4M + 4S, and 1M + 2S more for the first of a run; WCurve::dbl has 4M + 6S
//   addition     10M + 3S for an entry of a table, which takes 1M + 1S once; WCurve::add has 12M + 4S
//
// A multiple by 255 bits takes 51 windows of 4 bits and about 255 doublings in as many runs: 255·8 + 51·(3 +
// 13) + a table of 8·2 + 3·8 + 3 + 7·13 = 2990 products and squares. Recovering y of a peer's point and
// converting the result to affine coordinates take about 265 each. X25519 takes at most 3520, and Ed25519's
// verification, with the multiple of the base point, at most 3960.
//
// Units are those of field25519.h. X and Y of a point have at most three, and Z two.
#pragma once

#include "ec/field25519.h"
#include "ec/scalar_windows.h"

namespace detail {

template <typename F>
struct JacobianPoint {
    F X, Y, Z; ///< Z = 0 is the point at infinity
};

/// An entry of a table.
template <typename F>
struct JacobianEntry : JacobianPoint<F> {
    F ZZ, ZZZ;

    JacobianEntry& operator=(JacobianPoint<F> const& P) {
        static_cast<JacobianPoint<F>&>(*this) = P;
        sqr(ZZ, P.Z);
        mul(ZZZ, ZZ, P.Z);
        return *this;
    }
};

template <typename F>
class JacobianSteps {
public:
    using Point = JacobianPoint<F>;
    using Sum = Point;
    using Entry = JacobianEntry<F>;

    explicit JacobianSteps(F const& minusA_) : minusA(minusA_) {}

    static bool isInfinity(Sum const& sum) { return isZero(sum.Z); }
    static void clear(Sum& sum) { sum = {}; }
    static void set(Sum& sum, Entry const& Q) { sum = Q; }

    /// P = 2^n·P.
    void dbl(Point& P, unsigned n) {
        if (n == 0 || isZero(P.Z))
            return;
        sqr(aZ4, P.Z);
        sqr(aZ4, aZ4);
        mul(aZ4, aZ4, minusA);
        while (n-- != 0) {
            sqr(t, P.X);
            detail::add(M, t, t);
            detail::add(M, M, t);
            sub(M, M, aZ4);
            carried(M, M); // M = 3·X² - (-a)·Z⁴

            mul(P.Z, P.Y, P.Z);
            detail::add(P.Z, P.Z, P.Z); // Z' = 2·Y·Z

            sqr(t, P.Y);
            detail::add(t, t, t); // 2·Y²
            sqr(T, t);
            detail::add(T, T, T); // T = 8·Y⁴
            detail::add(t, t, t);
            mul(S, t, P.X); // S = 4·X·Y²

            sqr(P.X, M);
            sub(P.X, P.X, S);
            sub(P.X, P.X, S); // X' = M² - 2·S
            sub(S, S, P.X);
            mul(P.Y, S, M);
            sub(P.Y, P.Y, T); // Y' = M·(S - X') - T

            if (n != 0) {
                detail::add(T, T, T);
                mul(aZ4, T, aZ4);
            }
        }
    }

    /// P = P + Q.
    void add(Point& P, Entry const& Q) {
        if (isZero(Q.Z))
            return;
        if (isZero(P.Z)) {
            P = Q;
            return;
        }
        mul(U, P.X, Q.ZZ);
        mul(S, P.Y, Q.ZZZ);
        sqr(t, P.Z);
        mul(H, t, Q.X);
        sub(H, H, U); // H = X2·Z1² - X1·Z2²
        mul(t, t, P.Z);
        mul(R, t, Q.Y);
        sub(R, R, S); // R = Y2·Z1³ - Y1·Z2³
        if (isZero(H) && isZero(R)) {
            dbl(P, 1);
            return;
        }
        mul(P.Z, P.Z, Q.Z);
        mul(P.Z, P.Z, H); // Z3 = Z1·Z2·H, which is 0 when Q = -P

        sqr(t, H);
        mul(U, U, t); // U1·H²
        mul(t, t, H); // H³
        sqr(P.X, R);
        sub(P.X, P.X, t);
        sub(P.X, P.X, U);
        sub(P.X, P.X, U);
        carried(P.X, P.X); // X3 = R² - H³ - 2·U1·H²

        sub(U, U, P.X);
        mul(P.Y, U, R);
        mul(t, t, S);
        sub(P.Y, P.Y, t); // Y3 = R·(U1·H² - X3) - S1·H³
    }

private:
    F minusA;
    F aZ4, M, S, T, U, H, R, t;
};

/// Multiplies points of a curve, where `minusA` is -a.
template <typename F>
using JacobianMultiplication = ScalarMultiplication<JacobianSteps<F>>;

} // namespace detail

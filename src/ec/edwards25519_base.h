// Points of Edwards25519, -x² + y² = 1 + d·x²·y², with limbs on the stack, and multiples of its base point
// from a table.
//
// The addition formulas (Hisil, Wong, Carter, Dawson 2008, "Twisted Edwards curves revisited", sections 3.1
// and 3.3) are complete, so a multiplication has no branches.
//
// Multiples of the base point use a signed comb. An odd k below 2^256 is the sum of 2^i or -2^i for each i
// from 0 to 255. Four bits of 64, at a distance of 16, select one of eight entries of a table, or its
// negative. Each row of the table saves a part of the 16 doublings: four rows leave 3 doublings and 64
// additions of 8 products, with 12 KB (536 products and squares); one row leaves 15 and as many additions,
// with 3 KB (632).
#pragma once

#include "base/mask.h"
#include "ec/field25519.h"

namespace detail {

#ifdef __SIZEOF_INT128__
constexpr unsigned baseRows = 4;
#else
constexpr unsigned baseRows = 1;
#endif

/// Entry e of group g in row r, at (4r + g)·8 + e, is 2^(4r + 64g + 48)·G plus, for j = 0, 1, 2, the term
/// ±2^(4r + 64g + 16j)·G, which is positive if bit j of e is set. Its values are y + x, y - x and 2d·x·y.
extern uint32_t const edwards25519BaseTable[baseRows * 32][3][8];

template <typename F>
struct EdwardsPoint {
    F X, Y, Z, T; ///< x = X/Z, y = Y/Z, x·y = T/Z
};

/// Multiplies the base point. Intermediate values are wiped by the destructor.
template <typename F>
class BaseMultiplication {
public:
    using Point = EdwardsPoint<F>;

    BaseMultiplication() = default;
    ~BaseMultiplication() { secureMemset(this, 0, sizeof *this); }
    BaseMultiplication(BaseMultiplication const&) = delete;
    BaseMultiplication& operator=(BaseMultiplication const&) = delete;

    /// P = k·G, for k below 2^255. Neither branches nor addresses depend on k.
    void multiple(Point& P, uint32_t const (&k)[F::digits]) {
        setSigns(k);
        constexpr unsigned spacing = 16 / baseRows;
        P = {F(), F::small(1), F::small(1), F()};
        for (unsigned step = spacing; step-- > 0;) {
            if (step + 1 != spacing)
                dbl(P);
            for (unsigned row = 0; row < baseRows; ++row)
                for (unsigned group = 0; group < 4; ++group) {
                    select((row * 4 + group) * 8, group, step + spacing * row);
                    addEntry(P);
                }
        }
    }

private:
    /// Bit i of `signs` is set if 2^i is added instead of subtracted. If k is even, the odd order of the base
    /// point is added to it first.
    void setSigns(uint32_t const (&k)[F::digits]) {
        static constexpr uint32_t order[F::digits] = {0x5cf5d3ed, 0x5812631a, 0xa2f79cd6, 0x14def9de,
                                                      0x00000000, 0x00000000, 0x00000000, 0x10000000};
        uint32_t const ifEven = maskOf<uint32_t>((k[0] & 1) ^ 1);
        uint64_t total = 0;
        for (unsigned i = 0; i < F::digits; ++i) {
            total += uint64_t{k[i]} + (order[i] & ifEven);
            signs[i] = static_cast<uint32_t>(total);
            total >>= 32;
        }
        for (unsigned i = 0; i < F::digits - 1; ++i)
            signs[i] = signs[i] >> 1 | signs[i + 1] << 31;
        signs[F::digits - 1] = signs[F::digits - 1] >> 1 | 1U << 31;
    }

    /// Selects the entry for four signs of a group, reading all eight.
    void select(unsigned first, unsigned group, unsigned bit) {
        uint32_t const low = signs[2 * group] >> bit;
        uint32_t const high = signs[2 * group + 1] >> bit;
        uint32_t const isNegative = maskOf<uint32_t>((high >> 16 & 1) ^ 1);
        uint32_t const index = ((low & 1) | (low >> 15 & 2) | (high << 2 & 4)) ^ (isNegative & 7);
        uint32_t* const __restrict to = chosen;
        for (unsigned j = 0; j < 3 * F::digits; ++j)
            to[j] = 0;
        for (unsigned i = 0; i < 8; ++i) {
            uint32_t const mask = maskOf<uint32_t>(((i ^ index) - 1) >> 31);
            uint32_t const* const entry = edwards25519BaseTable[first + i][0];
            for (unsigned j = 0; j < 3 * F::digits; ++j)
                to[j] |= entry[j] & mask;
        }
        for (unsigned j = 0; j < F::digits; ++j) { // -(x, y) is (-x, y)
            uint32_t const swapped = (chosen[j] ^ chosen[F::digits + j]) & isNegative;
            chosen[j] ^= swapped;
            chosen[F::digits + j] ^= swapped;
        }
        sum = F::fromDigits(chosen);
        difference = F::fromDigits(chosen + F::digits);
        product = F::fromDigits(chosen + 2 * F::digits);
        auto const mask = maskOf(static_cast<typename F::Limb>(isNegative & 1));
        for (auto& limb : product.limb)
            limb = (limb ^ mask) - mask;
    }

    void addEntry(Point& P) {
        sub(a, P.Y, P.X);
        mul(a, a, difference);
        add(b, P.Y, P.X);
        mul(b, b, sum);
        mul(c, P.T, product);
        add(d, P.Z, P.Z);
        finish(P);
    }

    /// Completes an addition from its a, b, c and d.
    void finish(Point& P) {
        sub(e, b, a);
        sub(f, d, c);
        add(g, d, c);
        add(h, b, a);
        mul(P.X, e, f);
        mul(P.Y, g, h);
        mul(P.Z, f, g);
        mul(P.T, e, h);
    }

    void dbl(Point& P) {
        sqr(a, P.X);
        sqr(b, P.Y);
        sqr(c, P.Z);
        add(c, c, c);
        add(e, P.X, P.Y);
        sqr(e, e);
        add(h, b, a);
        sub(e, e, h); // 2·X·Y
        sub(g, b, a);
        sub(f, c, g);
        mul(P.X, f, e);
        mul(P.Y, g, h);
        mul(P.Z, f, g);
        mul(P.T, e, h);
    }

    uint32_t signs[F::digits];
    uint32_t chosen[3 * F::digits];
    F sum, difference, product;
    F a, b, c, d, e, f, g, h;
};

} // namespace detail

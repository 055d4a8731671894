// The doublings and additions of `WCurve::mul` and `WCurve::mul2add`, for points with limbs on the stack.
#pragma once

#include "sealkit/bignum.h"
#include "sealkit/wipe.h"

#include <algorithm>
#include <cstdint>

namespace detail {

/// The digits of a number of any length.
struct ScalarView {
    ScalarView(uint32_t const* digits_, unsigned bits_) : digits(digits_), bits(bits_) {}
    ScalarView(BigNum const& k) : ScalarView(k.digits.data(), k.bits()) {}

    uint32_t const* digits;
    unsigned bits; ///< Without leading zeros.

    unsigned bit(unsigned i) const { return i < bits ? digits[i / 32] >> i % 32 & 1 : 0; }
    unsigned pair(unsigned i) const { return bit(2 * i + 1) * 2 + bit(2 * i); }
};

/// One multiplication. Intermediate values are wiped by the destructor.
///
/// `Steps` has the types `Point`, `Entry` of a table, which is assigned from a point, and `Sum`. For a point
/// or a sum P it has:
///
///     dbl(P, n)     P = 2^n·P
///     add(P, entry) P = P + entry
///     isInfinity(P)
///     clear(P)      P is at infinity, as before the first addition
///     set(P, entry) P = entry, which may be at infinity
template <typename Steps>
class ScalarMultiplication : Steps {
public:
    using typename Steps::Point;
    using typename Steps::Sum;

    template <typename... Arguments>
    explicit ScalarMultiplication(Arguments const&... arguments) : Steps(arguments...) {}
    ~ScalarMultiplication() { secureMemset(this, 0, sizeof *this); }
    ScalarMultiplication(ScalarMultiplication const&) = delete;
    ScalarMultiplication& operator=(ScalarMultiplication const&) = delete;

    /// k·P, with windows of four bits that start at a 1.
    void multiple(Sum& result, ScalarView k, Point const& P) {
        auto* const windows = table; // top·P to (2·top - 1)·P
        auto& single = table[top];
        single = P;
        next = P;
        this->dbl(next, windowBits - 1);
        windows[0] = next;
        for (unsigned i = 1; i < top; ++i) {
            this->add(next, single);
            windows[i] = next;
        }

        this->clear(result);
        unsigned doublings = 0;
        unsigned i = k.bits;
        while (i >= windowBits) {
            if (!k.bit(i - 1)) {
                --i;
                ++doublings;
                continue;
            }
            unsigned window = 0;
            for (unsigned j = 0; j < windowBits; ++j)
                window = window * 2 + k.bit(--i);
            this->dbl(result, doublings + windowBits);
            this->add(result, windows[window - top]);
            doublings = 0;
        }
        // The remaining bits, too few for a window, are processed one by one.
        this->dbl(result, doublings);
        while (i-- > 0) {
            this->dbl(result, 1);
            if (k.bit(i))
                this->add(result, single);
        }
    }

    /// k·P + l·Q, two bits of each at a time.
    void jointMultiple(Sum& result, ScalarView k, Point const& P, ScalarView l, Point const& Q) {
        // i·P + j·Q is at i + 4j.
        auto const multiples = [&](Point const& base, unsigned step) {
            table[step] = base;
            next = base;
            this->dbl(next, 1);
            table[2 * step] = next;
            this->add(next, table[step]);
            table[3 * step] = next;
        };
        multiples(P, 1);
        multiples(Q, 4);
        for (unsigned j = 4; j < 16; j += 4)
            for (unsigned i = 1; i < 4; ++i) {
                next = table[j];
                this->add(next, table[i]);
                table[i + j] = next;
            }

        this->clear(result);
        for (unsigned i = (std::max(k.bits, l.bits) + 1) / 2; i-- > 0;) {
            unsigned const entry = k.pair(i) + 4 * l.pair(i);
            if (this->isInfinity(result)) {
                this->clear(result);
                if (entry != 0)
                    this->set(result, table[entry]);
                continue;
            }
            this->dbl(result, 2);
            if (entry != 0)
                this->add(result, table[entry]);
        }
    }

private:
    static constexpr unsigned windowBits = 4;
    static constexpr unsigned top = 1U << (windowBits - 1);

    typename Steps::Entry table[16];
    Point next;
};

} // namespace detail

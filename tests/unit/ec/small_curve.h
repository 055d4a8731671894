/// A curve over a field so small that its whole group can be listed, in plain integers.
#pragma once

#include "sealkit/ec.h"

#include <optional>
#include <vector>

struct SmallCurve {
    unsigned p, a, b;

    struct Affine {
        unsigned x, y;
        bool operator==(Affine const&) const = default;
    };
    using Element = std::optional<Affine>; ///< Nothing is the point at infinity.

    unsigned inverse(unsigned x) const {
        unsigned candidate = 1;
        while (candidate * x % p != 1)
            ++candidate;
        return candidate;
    }

    Element sum(Element const& left, Element const& right) const {
        if (!left)
            return right;
        if (!right)
            return left;
        unsigned slope;
        if (left->x != right->x) {
            slope = (right->y + p - left->y) * inverse((right->x + p - left->x) % p) % p;
        } else {
            if ((left->y + right->y) % p == 0)
                return {};
            slope = (3 * left->x * left->x + a) * inverse(2 * left->y % p) % p;
        }
        unsigned const x = (slope * slope + 2 * p - left->x - right->x) % p;
        return Affine{x, (slope * (left->x + p - x) + p - left->y) % p};
    }

    Element multiple(unsigned k, Element const& point) const {
        Element total;
        for (unsigned i = 0; i < k; ++i)
            total = sum(total, point);
        return total;
    }

    bool contains(unsigned x, unsigned y) const { return y * y % p == (x * x % p * x + a * x + b) % p; }

    /// All elements, infinity first.
    std::vector<Element> elements() const {
        std::vector<Element> all{Element{}};
        for (unsigned x = 0; x < p; ++x)
            for (unsigned y = 0; y < p; ++y)
                if (contains(x, y))
                    all.push_back(Affine{x, y});
        return all;
    }
};

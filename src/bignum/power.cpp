// Powers and inverses of residues.
#include "sealkit/bignum.h"

#include <utility>

namespace {

/// The left-to-right sliding window of HAC 14.85, with windows of one width that begin at a 1 bit.
/// `table` has 2^width slots.
RedNum power(RedNum const& base, BigNum const& e, Reducer const& red, RedNum* table, unsigned width) {
    // The top bit of a window is set, so only the upper half is used.
    unsigned half = 1U << (width - 1);
    table[1] = {base.value, &red};
    if (width > 1) {
        sqr(table[half], table[1]);
        for (unsigned i = 2; i < width; ++i)
            sqr(table[half], table[half]);
        for (unsigned i = half + 1; i < 2 * half; ++i)
            mul(table[i], table[i - 1], table[1]);
    }

    RedNum result = red.fromBigNum(bn2(1, 0));
    bool isOne = true;
    unsigned bit = e.bits();
    while (bit != 0) {
        --bit;
        if (!e.getBit(bit)) {
            sqr(result, result);
        } else if (bit + 1 >= width) {
            unsigned window = 1;
            for (unsigned i = 1; i < width; ++i)
                window = window << 1 | static_cast<unsigned>(e.getBit(--bit));
            if (isOne && table[window].value < *red.modulus) {
                // The square of 1 is 1, and 1 times a residue is that residue.
                result.value = table[window].value;
            } else {
                for (unsigned i = 0; i < width; ++i)
                    sqr(result, result);
                mul(result, result, table[window]);
            }
            isOne = false;
        } else {
            // The remaining bits, too few for a window, are processed one by one.
            for (unsigned left = bit + 1; left-- != 0;) {
                sqr(result, result);
                if (e.getBit(left))
                    mul(result, result, table[1]);
            }
            break;
        }
    }
    return result;
}

template <unsigned width>
RedNum powerWithWindow(RedNum const& base, BigNum const& e, Reducer const& red) {
    RedNum table[1U << width];
    return power(base, e, red, table, width);
}

} // namespace

RedNum expByMod(RedNum const& base, BigNum const& e, Reducer const& red) {
    unsigned bits = e.bits();
    if (bits < 24)
        return powerWithWindow<1>(base, e, red);
    if (bits < 80)
        return powerWithWindow<3>(base, e, red);
    if (bits < 240)
        return powerWithWindow<4>(base, e, red);
    if (bits < 672)
        return powerWithWindow<5>(base, e, red);
    return powerWithWindow<6>(base, e, red);
}

BigNum expByMod(BigNum const& b, BigNum const& e, BigNum const& m) {
    MontgomeryReducer red(m);
    return red.toBigNum(expByMod(red.fromBigNum(b), e, red));
}

RedNum inv(RedNum&& x) {
    Reducer const& red = *x.reducer;
    return red.fromBigNum(invByMod(red.toBigNum(std::move(x)), *red.modulus));
}

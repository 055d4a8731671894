#include "bignum/quiet_modulus.h"

#include "base/declassify.h"

#include <algorithm>

namespace detail {

namespace {

/// The window size of exponents. The look-ups of a larger window would cost more than it saves.
constexpr unsigned windowBits = 5;
constexpr size_t tableSize = size_t{1} << windowBits;

constexpr size_t step = limbDigits<NativeLimb>;

/// r = row `index` of the table. Reads every row.
void select(Digit* r, Digit const* table, size_t k, Digit index) {
    constexpr size_t block = 8 * step;
    NativeLimb mask[tableSize];
    for (size_t row = 0; row < tableSize; ++row) {
        Digit const differing = static_cast<Digit>(row) ^ index;
        mask[row] = maskOf<NativeLimb>((differing - 1) >> (digitBits - 1));
    }
    size_t i = 0;
    auto const selectAt = [&]<size_t limbs>(std::integral_constant<size_t, limbs>) SEALKIT_INLINED {
        NativeLimb sum[limbs] = {};
        for (size_t row = 0; row < tableSize; ++row)
            unrolled<limbs>([&](auto limb) SEALKIT_INLINED {
                sum[limb] |= load<NativeLimb>(table + row * k + i + limb * step) & mask[row];
            });
        unrolled<limbs>([&](auto limb)
                            SEALKIT_INLINED { store<NativeLimb>(r + i + limb * step, sum[limb]); });
        i += limbs * step;
    };
    while (i + block <= k)
        selectAt(std::integral_constant<size_t, 8>());
    while (i < k)
        selectAt(std::integral_constant<size_t, 1>());
}

/// The bits of an exponent of `count` digits, starting at bit `from`.
Digit windowAt(Digit const* e, size_t count, size_t from) {
    size_t const at = from / digitBits;
    std::uint64_t const above = at + 1 < count ? e[at + 1] : 0;
    return static_cast<Digit>((above << digitBits | e[at]) >> from % digitBits & (tableSize - 1));
}

/// The number of bits of a non-zero number.
unsigned lengthOf(BigNum const& x) {
    Digit ones = x.digits.back(); // Ones from the highest one downward.
    for (unsigned shift = 1; shift < digitBits; shift *= 2)
        ones |= ones >> shift;
    return static_cast<unsigned>((x.size() - 1) * digitBits) +
           static_cast<unsigned>(std::bit_width(declassified(Told::keyLength, ones)));
}

} // namespace

QuietModulus::QuietModulus(BigNum const& m, Kind kind)
    : k(limbCount<NativeLimb>(m.size()) * step),
      n0inv(negativeInverse(m.digits[0])),
      bits(lengthOf(m)),
      open(kind == Kind::open ? &m : nullptr),
      storage(5 * k) {
    std::copy(m.digits.begin(), m.digits.end(), storage.begin());
}

void QuietModulus::subtractOnce(Digit* r, Digit const* a, Digit carry) {
    Digit* const reduced = wide();
    NativeLimb borrow = 0;
#pragma GCC unroll 4
    for (size_t i = 0; i < k; i += step)
        store<NativeLimb>(reduced + i,
                          subtractBorrow(load<NativeLimb>(a + i), load<NativeLimb>(modulus() + i), borrow));
    Digit const isNegative = static_cast<Digit>(borrow) & (carry ^ 1);
    Digit const mask = maskOf<Digit>(isNegative);
#pragma GCC unroll 4
    for (size_t i = 0; i < k; ++i)
        r[i] = reduced[i] ^ ((reduced[i] ^ a[i]) & mask);
}

void QuietModulus::reduce(Digit* r) {
    Digit* const t = wide();
    Digit const carry = montgomeryReduce<NativeLimb>(t, modulus(), k, n0inv);
    subtractOnce(r, t + k, carry);
}

void QuietModulus::reduceBelowR(Digit* r) {
    Digit* t = wide();
    NativeLimb const mask = maskOf<NativeLimb>(montgomeryReduce<NativeLimb>(t, modulus(), k, n0inv));
    t += k;
    NativeLimb borrow = 0;
#pragma GCC unroll 4
    for (size_t i = 0; i < k; i += step)
        store<NativeLimb>(
            r + i, subtractBorrow(load<NativeLimb>(t + i), load<NativeLimb>(modulus() + i) & mask, borrow));
}

void QuietModulus::multiplyBelowR(Digit* r, Digit const* a, Digit const* b) {
    product<NativeLimb>(wide(), a, k, b, k);
    reduceBelowR(r);
}

void QuietModulus::squareBelowR(Digit* r, Digit const* a) {
    detail::square<NativeLimb>(wide(), a, k);
    reduceBelowR(r);
}

void QuietModulus::multiply(Digit* r, Digit const* a, Digit const* b) {
    product<NativeLimb>(wide(), a, k, b, k);
    reduce(r);
}

void QuietModulus::square(Digit* r, Digit const* a) {
    detail::square<NativeLimb>(wide(), a, k);
    reduce(r);
}

void QuietModulus::add(Digit* r, Digit const* a, Digit const* b) {
    Digit const carry = detail::add<NativeLimb>(r, a, b, k);
    subtractOnce(r, r, carry);
}

void QuietModulus::subtract(Digit* r, Digit const* a, Digit const* b) const {
    Digit const borrow = detail::subtract<NativeLimb>(r, a, b, k);
    NativeLimb const mask = maskOf<NativeLimb>(borrow);
    NativeLimb carry = 0;
    for (size_t i = 0; i < k; i += step)
        store<NativeLimb>(r + i,
                          addCarry(load<NativeLimb>(r + i), load<NativeLimb>(modulus() + i) & mask, carry));
}

void QuietModulus::prepare() {
    if (isPrepared)
        return;
    isPrepared = true;
    // Computes R by doubling the highest power of two below m.
    std::fill_n(one(), k, 0);
    one()[(bits - 1) / digitBits] = Digit{1} << (bits - 1) % digitBits;
    for (size_t i = bits - 1; i < k * digitBits; ++i)
        twice(one(), one());
    if (open != nullptr) {
        BigNum number = bn64(1) << static_cast<unsigned>(2 * k * digitBits);
        div(number, *open, nullptr, &number);
        std::copy(number.digits.begin(), number.digits.end(), rSquared());
        return;
    }
    // 2^(32 * k) in Montgomery form, by the bits of k. Invariant: the number is 2^(32 * (k >> bit)).
    auto const shiftByDigit = [&](Digit const* from) {
        for (unsigned i = 0; i < digitBits; ++i, from = rSquared())
            twice(rSquared(), from);
    };
    shiftByDigit(one());
    for (unsigned bit = static_cast<unsigned>(std::bit_width(k)) - 1; bit-- != 0;) {
        square(rSquared(), rSquared());
        if (k >> bit & 1)
            shiftByDigit(rSquared());
    }
}

void QuietModulus::enter(Digit* r, Digit const* x, size_t count) {
    prepare();
    SecretDigits part(k);
    std::fill_n(r, k, 0);
    for (size_t end = count; end != 0;) {
        size_t const digits = (end - 1) % k + 1;
        end -= digits;
        std::fill(std::copy_n(x + end, digits, part.begin()), part.end(), 0);
        multiply(part.data(), part.data(), rSquared());
        if (end + digits != count)
            multiply(r, r, rSquared());
        add(r, r, part.data());
    }
}

void QuietModulus::leave(Digit* r, Digit const* a) {
    std::fill_n(std::copy_n(a, k, wide()), k, 0);
    reduce(r);
}

void QuietModulus::power(Digit* r, Digit const* x, Digit const* e, size_t count) {
    prepare();
    SecretDigits table((tableSize + 1) * k);
    Digit* const factor = table.data() + tableSize * k;
    std::copy_n(one(), k, table.data());
    std::copy_n(x, k, table.data() + k);
    for (size_t row = 2; row < tableSize; ++row) {
        Digit* const to = table.data() + row * k;
        if (row % 2 == 0)
            squareBelowR(to, table.data() + row / 2 * k);
        else
            multiplyBelowR(to, to - k, x);
    }
    size_t from = (count * digitBits - 1) / windowBits * windowBits;
    select(r, table.data(), k, windowAt(e, count, from));
    while (from != 0) {
        from -= windowBits;
        for (unsigned i = 0; i < windowBits; ++i)
            squareBelowR(r, r);
        select(factor, table.data(), k, windowAt(e, count, from));
        multiplyBelowR(r, r, factor);
    }
}

void QuietModulus::raise(Digit* r, Digit const* x, Digit const* entered, BigNum const& e) {
    std::copy_n(entered, k, r);
    for (unsigned bit = e.bits() - 1; bit-- > 1;) {
        squareBelowR(r, r);
        if (e.getBit(bit))
            multiplyBelowR(r, r, entered);
    }
    square(r, r);
    // The last factor is not in Montgomery form, so the result is not either.
    multiply(r, r, x);
}

} // namespace detail

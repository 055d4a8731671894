/// Arithmetic modulo an odd number whose time and addresses tell nothing of the numbers.
#pragma once

#include "base/mask.h"
#include "bignum/digits.h"

#include <vector>

namespace detail {

/// Digits of secrets, wiped before they return to the heap.
using SecretDigits = std::vector<Digit, WipingAllocator<Digit>>;

/// Residues in Montgomery form (HAC 14.32): x stands for x * R mod m, with R = 2^(32 * width()). Each has
/// `width()` digits, those of small residues included.
///
/// What it does depends on widths and on the length of the modulus alone, which are told (`Told::keyLength`),
/// and on public exponents. Results may be written over operands. An object is for one thread.
class QuietModulus {
public:
    enum class Kind : bool { secret, open };

    /// Of an odd number above 1 whose highest digit is not zero. `m` outlives an object of kind `open`.
    QuietModulus(BigNum const& m, Kind kind);

    size_t width() const { return k; }
    Digit const* modulus() const { return storage.data(); }

    /// r = a * b / R mod m. One of a and b is below m, the other below R.
    void multiply(Digit* r, Digit const* a, Digit const* b);
    /// r = a * a / R mod m.
    void square(Digit* r, Digit const* a);
    /// r = a + b and r = a - b mod m, of residues.
    void add(Digit* r, Digit const* a, Digit const* b);
    void subtract(Digit* r, Digit const* a, Digit const* b) const;

    /// r = x * R mod m for a number of `count` digits, which is not r.
    void enter(Digit* r, Digit const* x, size_t count);
    /// r = a / R mod m.
    void leave(Digit* r, Digit const* a);
    /// r = x^e mod m for a secret e of `count` digits, below R and not always below m. Both residues are in
    /// Montgomery form; r is not x.
    void power(Digit* r, Digit const* x, Digit const* e, size_t count);
    /// r = x^e mod m for an odd, public e above 1. `entered` is x in Montgomery form, and so is the result if
    /// `x` is that as well; if it is plain, the result is plain. r is neither of them. The result is below m.
    void raise(Digit* r, Digit const* x, Digit const* entered, BigNum const& e);

private:
    /// r = a * b / R and r = a * a / R mod m, of numbers below R. So is r, of which m is taken off where it
    /// reaches R and not where it reaches m: between products that costs less.
    void multiplyBelowR(Digit* r, Digit const* a, Digit const* b);
    void squareBelowR(Digit* r, Digit const* a);
    void reduceBelowR(Digit* r);
    /// r = the number at `wide()`, below m * R, divided by R mod m.
    void reduce(Digit* r);
    /// r = 2a mod m.
    void twice(Digit* r, Digit const* a) { add(r, a, a); }
    /// r = the k digits at a, or those less m if that is not negative. `carry` belongs to digit k of a.
    /// Writes to the low half of `wide()`.
    void subtractOnce(Digit* r, Digit const* a, Digit carry);
    /// Computes R mod m and R^2 mod m, where they are needed.
    void prepare();

    Digit* one() { return storage.data() + k; }
    Digit* rSquared() { return storage.data() + 2 * k; }
    Digit* wide() { return storage.data() + 3 * k; }

    size_t k;
    Digit n0inv;
    unsigned bits;      ///< Of the modulus.
    BigNum const* open; ///< The modulus, unless it is secret.
    bool isPrepared = false;
    SecretDigits storage; ///< The modulus, R mod m, R^2 mod m, and a product of two residues.
};

} // namespace detail

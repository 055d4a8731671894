/// Arithmetic modulo an odd number, with time and addresses independent of the numbers.
#pragma once

#include "base/mask.h"
#include "bignum/digits.h"

#include <vector>

namespace detail {

/// Digits of secrets, wiped before they return to the heap.
using SecretDigits = std::vector<Digit, WipingAllocator<Digit>>;

/// Residues in Montgomery form (HAC 14.32): x is stored as x * R mod m, with R = 2^(32 * width()). All
/// residues have `width()` digits.
///
/// The sequence of operations only depends on widths and on the length of the modulus, which are declassified
/// (`Told::keyLength`), and on public exponents. Results may overwrite operands. An object is for one thread.
class QuietModulus {
public:
    enum class Kind : bool { secret, open };

    /// The modulus must be odd, above 1 and without leading zero digits. For the kind `open`, `m` must
    /// outlive the object.
    QuietModulus(BigNum const& m, Kind kind);

    size_t width() const { return k; }
    Digit const* modulus() const { return storage.data(); }

    /// r = a * b / R mod m. One of a and b must be below m, the other below R.
    void multiply(Digit* r, Digit const* a, Digit const* b);
    /// r = a * a / R mod m.
    void square(Digit* r, Digit const* a);
    /// r = a + b and r = a - b mod m, for residues.
    void add(Digit* r, Digit const* a, Digit const* b);
    void subtract(Digit* r, Digit const* a, Digit const* b) const;

    /// r = x * R mod m for a number of `count` digits. x must not be r.
    void enter(Digit* r, Digit const* x, size_t count);
    /// r = a / R mod m.
    void leave(Digit* r, Digit const* a);
    /// r = x^e mod m for a secret e of `count` digits, which may exceed m but not R. Both residues are in
    /// Montgomery form. r must not be x.
    void power(Digit* r, Digit const* x, Digit const* e, size_t count);
    /// r = x^e mod m for an odd, public e above 1. `entered` is x in Montgomery form. The result is in
    /// Montgomery form if and only if `x` is. r must be neither of them. The result is below m.
    void raise(Digit* r, Digit const* x, Digit const* entered, BigNum const& e);

private:
    /// r = a * b / R and r = a * a / R mod m, for numbers below R. The result is below R, but may exceed m:
    /// between products, this reduction is faster.
    void multiplyBelowR(Digit* r, Digit const* a, Digit const* b);
    void squareBelowR(Digit* r, Digit const* a);
    void reduceBelowR(Digit* r);
    /// r = the number at `wide()`, which must be below m * R, divided by R mod m.
    void reduce(Digit* r);
    /// r = 2a mod m.
    void twice(Digit* r, Digit const* a) { add(r, a, a); }
    /// r = the k digits at a, less m if they are not below it. `carry` is digit k of a. Overwrites the low
    /// half of `wide()`.
    void subtractOnce(Digit* r, Digit const* a, Digit carry);
    /// Computes R mod m and R^2 mod m, if needed.
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

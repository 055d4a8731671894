#include "keys/rsa_operation.h"

#include "base/declassify.h"
#include "keys/rsa_blinding.h"

#include <algorithm>

namespace detail {

namespace {

/// The number in `width` digits. It must fit.
SecretDigits widened(BigNum const& x, size_t width) {
    SecretDigits digits(width);
    std::copy(x.digits.begin(), x.digits.end(), digits.begin());
    return digits;
}

/// 1 if x is below the modulus.
Digit isBelow(BigNum const& x, QuietModulus const& m) {
    Digit borrow = 0;
    if (x.size() > m.width())
        return 0;
    for (size_t i = 0; i < m.width(); ++i)
        subtractBorrow(i < x.size() ? x.digits[i] : 0, m.modulus()[i], borrow);
    return borrow;
}

/// Declassifies the result of a consistency check.
bool isConsistent(Digit whether) { return declassified(Told::keyConsistent, whether) == 1; }

Digit isSame(Digit const* a, Digit const* b, size_t n) {
    Digit differing = 0;
    for (size_t i = 0; i < n; ++i)
        differing |= a[i] ^ b[i];
    return ((differing | (0 - differing)) >> (digitBits - 1)) ^ 1;
}

/// The product of both moduli, p.width() + q.width() digits.
SecretDigits multiply(Digit const* a, size_t aDigits, Digit const* b, size_t bDigits) {
    if (aDigits > bDigits)
        return multiply(b, bDigits, a, aDigits);
    SecretDigits r(aDigits + bDigits);
    product<NativeLimb>(r.data(), a, aDigits, b, bDigits);
    return r;
}

/// Whether p * q = n.
Digit isFactored(QuietModulus const& n, QuietModulus const& p, QuietModulus const& q) {
    // The product of the primes is no wider; a wider one is rejected without multiplying.
    if (p.width() + q.width() > n.width() + 2 * limbDigits<NativeLimb>)
        return 0;
    SecretDigits pq = multiply(p.modulus(), p.width(), q.modulus(), q.width());
    SecretDigits whole(n.modulus(), n.modulus() + n.width());
    size_t const width = std::max(pq.size(), whole.size());
    pq.resize(width);
    whole.resize(width);
    return isSame(pq.data(), whole.data(), width);
}

Digit isOddAboveOneQuietly(BigNum const& x) {
    Digit above = 0;
    for (size_t i = 0; i < x.size(); ++i)
        above |= i == 0 ? x.digits[i] >> 1 : x.digits[i];
    return x.digits[0] & (above | (0 - above)) >> (digitBits - 1);
}

/// The key and the random source of one operation.
struct Blinded {
    RsaPrivateKey const& key;
    Rng const& rng;

    /// r = x^d mod m, outside Montgomery form, for an x of `count` digits. Returns false if blinding fails.
    bool raise(QuietModulus& m, Digit* r, Digit const* x, size_t count, BigNum const& d) const {
        RsaBlinding blinding;
        if (!blinding.draw(m, rng))
            return false;
        SecretDigits base(m.width());
        m.enter(base.data(), x, count);
        blinding.blind(m, base.data(), key.e);
        m.power(r, base.data(), d.digits.data(), d.size());
        m.leave(r, r);
        blinding.unblind(m, r);
        return true;
    }

    /// r = x^d mod n by the Chinese remainder theorem (RFC 8017, section 5.1.2, step 2.b). The result is
    /// wrong if the members are inconsistent. Returns false if they are unusable.
    bool raiseByPrimes(QuietModulus const& n, Digit* r, Digit const* x) const {
        if (!isConsistent(isOddAboveOneQuietly(key.p) & isOddAboveOneQuietly(key.q)))
            return false;
        QuietModulus p(key.p, QuietModulus::Kind::secret), q(key.q, QuietModulus::Kind::secret);
        if (!isConsistent(isFactored(n, p, q) & isBelow(key.exp1, p) & isBelow(key.exp2, q) &
                          isBelow(key.coeff, p)))
            return false;
        SecretDigits m1(p.width()), m2(q.width()), h(p.width()), m2ModP(p.width());
        if (!raise(p, m1.data(), x, n.width(), key.exp1) || !raise(q, m2.data(), x, n.width(), key.exp2))
            return false;
        p.enter(h.data(), m1.data(), p.width());
        p.enter(m2ModP.data(), m2.data(), q.width());
        p.subtract(h.data(), h.data(), m2ModP.data());
        p.multiply(h.data(), h.data(), widened(key.coeff, p.width()).data());

        SecretDigits result = multiply(q.modulus(), q.width(), h.data(), p.width());
        Digit carry = 0;
        for (size_t i = 0; i < result.size(); ++i)
            result[i] = addCarry(result[i], i < q.width() ? m2[i] : 0, carry);
        // The digits above are zero, because the result is below n.
        std::copy_n(result.begin(), std::min(result.size(), n.width()), r);
        return true;
    }

    /// The same with d instead of the primes.
    bool raiseByExponent(QuietModulus& n, Digit* r, Digit const* x) const {
        return isConsistent(isBelow(key.d, n)) && raise(n, r, x, n.width(), key.d);
    }
};

/// Whether the `publicPower` of `power` is `x`. A result that is wrong modulo only one prime would reveal the
/// primes (D. Boneh, R. DeMillo, R. Lipton, "On the importance of checking cryptographic protocols for
/// faults", EUROCRYPT 1997).
bool isConfirmed(RsaPublicKey const& key, QuietModulus& n, Digit const* power, Digit const* x) {
    SecretDigits entered(n.width()), raised(n.width());
    n.enter(entered.data(), power, n.width());
    n.raise(raised.data(), power, entered.data(), key.e);
    return isConsistent(isSame(raised.data(), x, n.width()));
}

std::vector<unsigned char> toBytes(Digit const* x, unsigned length) {
    std::vector<unsigned char> bytes(length);
    for (unsigned i = 0; i < length; ++i)
        bytes[length - 1 - i] = static_cast<unsigned char>(x[i / sizeof(Digit)] >> 8 * (i % sizeof(Digit)));
    return bytes;
}

} // namespace

bool isUsable(RsaPublicKey const& key) {
    return isOddAboveOne(key.n) && key.n.bits() <= maxModulusBits && isOddAboveOne(key.e) &&
           key.e.bits() <= maxExponentBits;
}

std::vector<unsigned char> publicPower(RsaPublicKey const& key, asn1::blob x) {
    BigNum number(x);
    if (!isUsable(key) || number >= key.n)
        return {};
    QuietModulus n(key.n, QuietModulus::Kind::open);
    size_t const k = n.width();
    SecretDigits numbers(3 * k);
    Digit* const plain = numbers.data();
    Digit* const entered = plain + k;
    Digit* const power = entered + k;
    std::copy(number.digits.begin(), number.digits.end(), plain);
    // Division is the fast way into Montgomery form. Its time depends on x, a secret only in encryption.
    number.digits.reserve(2 * k + 4);
    number.shiftLeftByDigits(k);
    div(number, key.n, nullptr, &number);
    std::copy(number.digits.begin(), number.digits.end(), entered);
    n.raise(power, plain, entered, key.e);
    return toBytes(power, modulusLength(key));
}

std::vector<unsigned char> privatePower(RsaPrivateKey const& key, asn1::blob x, Rng const& rng) {
    BigNum const number(x);
    if (!isUsable(key) || number >= key.n)
        return {};
    QuietModulus n(key.n, QuietModulus::Kind::open);
    SecretDigits const block = widened(number, n.width());
    SecretDigits power(n.width());
    Blinded const blinded{key, rng};
    if ((blinded.raiseByPrimes(n, power.data(), block.data()) &&
         isConfirmed(key, n, power.data(), block.data())) ||
        (blinded.raiseByExponent(n, power.data(), block.data()) &&
         isConfirmed(key, n, power.data(), block.data())))
        return toBytes(power.data(), modulusLength(key));
    return {};
}

} // namespace detail

#include "ec/encoding.h"
#include "sealkit/curve25519.h"
#include "sealkit/rng.h"

#include "base/declassify.h"
#include "ec/points25519.h"
#include "ec/scalar25519.h"

#include <algorithm>
#include <utility>

namespace {

using F = detail::Element;

constexpr size_t encodedSize = 32;

/// Converts a number of any size.
void take(F& x, BigNum number) {
    div(number, Curve25519::getMod(), nullptr, &number);
    uint32_t digit[F::digits] = {};
    std::copy(number.digits.begin(), number.digits.end(), digit);
    x = F::fromDigits(digit);
}

/// Randomises the coordinates of a point to (λ²·X, λ³·Y, λ·Z), so that intermediate values differ each time.
void randomise(detail::JacobianPoint<F>& P) {
    uint32_t digit[F::digits];
    kernelRand(reinterpret_cast<unsigned char*>(digit), sizeof digit, false);
    digit[0] |= 1; // Between 0 and p.
    digit[F::digits - 1] &= ~0U >> 2;
    F const factor = F::fromDigits(digit);
    F square;
    sqr(square, factor);
    mul(P.X, P.X, square);
    mul(P.Y, P.Y, square);
    mul(P.Y, P.Y, factor);
    carried(P.Z, factor);
}

} // namespace

namespace x25519 {

BigNum coordToNum(asn1::blob bytes) {
    BigNum u(bytes, little_endian{});
    u.setBit(255, false);
    u.clamp();
    return u;
}

BigNum privToNum(asn1::blob bytes) {
    BigNum k(bytes, little_endian{});
    for (unsigned bit : {0U, 1U, 2U, 255U})
        k.setBit(bit, false);
    k.setBit(254, true);
    k.clamp();
    return k;
}

std::vector<unsigned char> numToBlob(BigNum const& number) {
    if (number.bits() == 0)
        return {};
    return detail::littleEndian(number, std::max<size_t>(encodedSize, (number.bits() + 7) / 8));
}

std::vector<unsigned char> kex(asn1::blob priv, asn1::blob peer) {
    F u;
    detail::Wiped<detail::JacobianPoint<F>> P, Q;
    take(u, coordToNum(peer));
    if (!fromMontgomery(P, u))
        return {};
    randomise(P);
    BigNum k = privToNum(priv);
    // The order of every point divides 8·L, so oversized private keys are reduced.
    if (k.bits() > 256)
        div(k, Curve25519::getOrder() << 3, nullptr, &k);
    detail::JacobianMultiplication<F>(detail::minusA).multiple(Q, {k.digits.data(), k.bits()}, P);
    if (isZero(Q.Z))
        return {};

    sqr(Q.Z, Q.Z); // u = X/Z² - A/3, which is not 0, because k is a multiple of 8.
    invert(Q.Z, Q.Z);
    mul(Q.X, Q.X, Q.Z);
    sub(Q.X, Q.X, detail::thirdOfA);
    std::vector<unsigned char> shared(encodedSize);
    detail::writeBytes(shared.data(), Q.X);
    return shared;
}

std::vector<unsigned char> get_public_key(asn1::blob priv) {
    static constexpr unsigned char base[] = {0x09};
    if (priv.size() > encodedSize)
        return kex(priv, asn1::blob(base));

    detail::Scalar25519 k;
    k.setBytes(priv);
    k.digits[0] &= ~7U;
    k.digits[7] = (k.digits[7] & ~(1U << 31)) | 1U << 30;
    // Not at infinity: k is a multiple of 8 below 8·L, and therefore not one of L.
    detail::Wiped<detail::EdwardsPoint<F>> P;
    detail::BaseMultiplication<F>().multiple(P, k.digits);
    add(P.X, P.Z, P.Y); // u = (1 + y)/(1 - y)
    sub(P.Z, P.Z, P.Y);
    invert(P.Z, P.Z);
    mul(P.X, P.X, P.Z);
    std::vector<unsigned char> key(encodedSize);
    detail::writeBytes(key.data(), P.X);
    detail::declassify(detail::Told::publicKey, key.data(), key.size());
    return key;
}

} // namespace x25519

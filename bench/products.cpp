// Counts the field products of the operations with fixed steps, which limit their speed. On the named curves,
// a counting field counts the products in limbs; on Curve25519, a counting reducer counts those of the
// general arithmetic. Prints the name of a row of the benchmarks, and the products.
#include <sealkit/bignum.h>
#include <sealkit/curve25519.h>
#include <sealkit/ec.h>

#include "ec/named_multiple.h"
#include "support/rngs.h"

#include <cstdio>

namespace {

/// Plain residues, with the numbers of products and squares.
class CountingReducer : public Reducer {
public:
    explicit CountingReducer(BigNum const& modulus) : Reducer(modulus) {}

    void reduce(BigNum& x) const override { div(x, *modulus, nullptr, &x); }
    using Reducer::mul;
    void mul(BigNum& r, BigNum const& a, BigNum const& b) const override {
        ++products;
        Reducer::mul(r, a, b);
    }
    void sqr(BigNum& r, BigNum const& a) const override {
        ++products;
        Reducer::sqr(r, a);
    }

    static inline unsigned products = 0;
};

template <typename Operation>
void count(char const* name, Operation const& operation) {
    CountingReducer::products = 0;
    operation();
    std::printf("%s %u\n", name, CountingReducer::products);
}

BigNum randomScalar(BigNum const& order) {
    static test::SeededRng const rng(1);
    std::vector<unsigned char> bytes((order.bits() + 7) / 8);
    rng.fill(bytes.data(), static_cast<unsigned>(bytes.size()));
    BigNum scalar{asn1::blob(bytes)};
    div(scalar, order, nullptr, &scalar);
    return scalar;
}

/// Small enough for one limb: the products do not depend on the field, unless a value is accidentally zero.
struct CountingField {
    using Element = detail::Fixed<1>;
    static constexpr detail::NativeLimb prime = 0x7fffffff;

    static void mul(Element& r, Element const& a, Element const& b) {
        ++CountingReducer::products;
        r[0] = a[0] * b[0] % prime;
    }
    static void sqr(Element& r, Element const& a) { mul(r, a, a); }
    static void add(Element& r, Element const& a, Element const& b) { r[0] = (a[0] + b[0]) % prime; }
    static void sub(Element& r, Element const& a, Element const& b) { r[0] = (a[0] + prime - b[0]) % prime; }
    static void halve(Element& r, Element const& a) { r[0] = (a[0] + (a[0] & 1) * prime) / 2; }
};

void countNamed(Curve curve, char const* agree, char const* verify) {
    BigNum const order = getOrderForECCurve(curve);
    detail::NamedPoint<CountingField> const P{{3}, {5}, {1}}, Q{{7}, {11}, {1}};
    detail::NamedSum<CountingField> sum;
    using Multiplication = detail::NamedMultiplication<CountingField>;
    count(agree, [&] { Multiplication().multiple(sum, randomScalar(order), P); });
    count(verify,
          [&] { Multiplication().jointMultiple(sum, randomScalar(order), P, randomScalar(order), Q); });
}

/// Both forms are the same Weierstrass curve with a = 1 - A²/3, and begin with a square root. The multiple of
/// the base point in verification comes from a table and has no fixed steps.
void count25519() {
    BigNum const& p = Curve25519::getMod();
    BigNum const& order = Curve25519::getOrder();
    BigNum third; // A²/3
    div(bn64(486662) * bn64(486662) * invByMod(bn64(3), p), p, nullptr, &third);
    BigNum const a = p - third + 1;
    Curve25519 const curve;
    WCurve const group(p, a, new CountingReducer(p));
    WCurve::Point const G = group.fromEC(curve.toEC(curve.getG()));
    auto const root = [&] { expByMod(G.X, p >> 3, *group.reducer); };
    BigNum clamped = randomScalar(order);
    clamped.setBit(254, true);
    count("x25519_agree", [&] {
        root();
        group.mul(clamped, G);
    });
    count("ed25519_verify", [&] {
        root();
        group.mul(randomScalar(order), G);
    });
}

} // namespace

int main() {
    countNamed(Curve::p256, "p256_agree", "p256_verify");
    countNamed(Curve::p384, "p384_agree", "p384_verify");
    countNamed(Curve::p521, "p521_agree", "p521_verify");
    count25519();
    return 0;
}

#include "sealkit/bignum.h"

#include "wiping/lifetime.h"

namespace {

using test::Bytes;
using test::Watch;

BigNum number(unsigned seed, size_t size) {
    Bytes const bytes = test::Random(seed).bytes(size);
    return BigNum(asn1::blob(bytes));
}

void addNumber(Watch& watch, std::string_view name, BigNum const& number) {
    watch.addObject(name, number.digits.data(), number.digits.size() * sizeof(unsigned));
}

TEST(Wiping, NumbersLeaveNoDigits) {
    Watch watch;
    BigNum const other = number(2, 40);
    test::expectHeapWiped(
        watch, [] { return std::make_unique<BigNum>(number(1, 64)); },
        [&](BigNum& n) {
            n *= other;
            n += other;
            n <<= 77;
            n >>= 5;
            n.shiftLeftByDigits(20);
            n.shiftRightByDigits(10);
            n = BigNum(n) - other;
        });
}

TEST(Wiping, ArithmeticLeavesNoOperands) {
    BigNum const a = number(3, 64), b = number(4, 64), exponent = number(5, 64);
    BigNum modulus = number(6, 64);
    modulus.setBit(0, true);
    modulus.setBit(511, true);
    Watch watch;
    addNumber(watch, "a", a);
    addNumber(watch, "b", b);
    addNumber(watch, "exponent", exponent);
    test::runSearched(watch, [&] {
        BigNum product, quotient, remainder;
        mul(product, a, b);
        div(product, modulus, &quotient, &remainder);
        sqr(product, a);
        BigNum copy = a, moved = std::move(copy);
        moved += moved;
        copy = moved;
        BigNum const power = expByMod(a, exponent, modulus);
        BigNum const inverse = invByMod(a, modulus);
        BigNum const common = gcd(a, b);
    });
    test::expectNothingFound(watch);
}

TEST(Wiping, BytesOfNumbersAreLeftOnlyWhereTheyWereAskedFor) {
    BigNum const secret = number(7, 64);
    Watch watch;
    addNumber(watch, "number", secret);
    {
        Watch::Pause const pause;
        watch.addSecret("bytes", secret.bin(64));
        watch.addSecret("bytes from the last", secret.bin(little_endian{}));
    }
    test::runSearched(watch, [&] {
        Bytes bigEndian = secret.bin(80), littleEndian = secret.bin(little_endian{});
        BigNum const back{asn1::blob(bigEndian)}, reversed(asn1::blob(littleEndian), little_endian{});
        test::wipe(bigEndian);
        test::wipe(littleEndian);
    });
    test::expectNothingFound(watch);
}

} // namespace

#include "numbers.h"

#include <gtest/gtest.h>

using test::Digits;
using test::digitsOf;
using test::hex;
using test::number;

namespace TEST_FILE {

using Bytes = std::vector<unsigned char>;

BigNum littleEndian(std::string_view hexits) { return BigNum(hex(hexits), little_endian()); }

TEST(BigNumBytes, are_read_most_significant_first) {
    EXPECT_EQ(digitsOf(BigNum(asn1::blob())), Digits{0});
    EXPECT_EQ(BigNum(asn1::blob()).bits(), 0u);
    EXPECT_EQ(digitsOf(number("00000102")), Digits{0x102});
    EXPECT_EQ(digitsOf(number("0102030405")), (Digits{0x02030405, 0x01}));
    EXPECT_EQ(digitsOf(number("010203040506")), (Digits{0x03040506, 0x0102}));
    EXPECT_EQ(digitsOf(number("01020304050607")), (Digits{0x04050607, 0x010203}));
    EXPECT_EQ(digitsOf(number("0102030405060708")), (Digits{0x05060708, 0x01020304}));
    EXPECT_EQ(digitsOf(number("ff")), Digits{0xff});
    EXPECT_EQ(digitsOf(number("000000000000000000000080000000")), (Digits{0x80000000}));
    EXPECT_EQ(digitsOf(number("000000000000000000")), Digits{0});
}

TEST(BigNumBytes, are_read_least_significant_first_with_the_tag) {
    EXPECT_EQ(digitsOf(littleEndian("")), Digits{0});
    EXPECT_EQ(digitsOf(littleEndian("0102030405")), (Digits{0x04030201, 0x05}));
    EXPECT_EQ(digitsOf(littleEndian("010203040506070800000000000000")), (Digits{0x04030201, 0x08070605}));
    EXPECT_EQ(digitsOf(littleEndian("0000000000")), Digits{0});
    EXPECT_EQ(digitsOf(littleEndian("00000080ff")), (Digits{0x80000000, 0xff}));
}

TEST(BigNumBytes, are_read_from_any_address) {
    Bytes const padded = hex("aa 0102030405060708090a");
    for (size_t start = 0; start < 4; ++start) {
        asn1::blob view(padded.data() + start, padded.data() + padded.size());
        EXPECT_EQ(BigNum(view).bin(view.size()), Bytes(view.begin(), view.end()));
    }
}

TEST(BigNumBytes, are_written_at_the_width_asked_for_or_longer) {
    BigNum const x = number("0102");
    EXPECT_EQ(x.bin(0), hex("0102"));
    EXPECT_EQ(x.bin(1), hex("0102"));
    EXPECT_EQ(x.bin(2), hex("0102"));
    EXPECT_EQ(x.bin(5), hex("0000000102"));
    EXPECT_EQ(BigNum().bin(0), Bytes());
    EXPECT_EQ(BigNum().bin(4), hex("00000000"));
    EXPECT_EQ(number("0100000000").bin(3), hex("0100000000"));
}

TEST(BigNumBytes, are_written_least_significant_first_without_high_zeros) {
    EXPECT_EQ(BigNum().bin(little_endian()), Bytes());
    EXPECT_EQ(number("0102").bin(little_endian()), hex("0201"));
    EXPECT_EQ(number("0100000000").bin(little_endian()), hex("0000000001"));
}

TEST(BigNumBytes, survive_the_way_there_and_back) {
    test::RandomDigits random(3);
    for (unsigned i = 0; i < 200; ++i) {
        BigNum const x = random.number(random.below(20));
        EXPECT_EQ(BigNum(x.bin(0)), x);
        EXPECT_EQ(BigNum(x.bin(100)), x);
        EXPECT_EQ(BigNum(x.bin(little_endian()), little_endian()), x);
        EXPECT_EQ(number(x.str()), x);
        Bytes reversed = x.bin(little_endian());
        EXPECT_EQ(Bytes(reversed.rbegin(), reversed.rend()), x.bin(0));
        EXPECT_EQ(x.bin(0).size(), (x.bits() + 7) / 8);
    }
}

TEST_CASES(BigNumText, shows_hexadecimal_and_decimal, "bignum/text.txt")(test::Case const& c) {
    BigNum x = test::number(c, "number");
    EXPECT_EQ(x.str(), c.text("hex"));
    EXPECT_EQ(x.strDec(), c.text("decimal"));
}

TEST(BigNumText, pads_every_digit_but_the_top_one) {
    EXPECT_EQ(bn2(0, 1).str(), "100000000");
    EXPECT_EQ(bn3(0xabc, 0, 0xf).str(), "f0000000000000abc");
}

TEST(BigNumText, shows_single_digits_apart) {
    EXPECT_EQ(bn2(0, 10).strDigits(), "0000000a.00000000");
    EXPECT_EQ(bn2(0, 1).strDigits(), "00000001.00000000");
    EXPECT_EQ(BigNum().strDigits(), "00000000");
    EXPECT_EQ(bn3(1, 0xdeadbeef, 0x12345678).strDigits(), "12345678.deadbeef.00000001");
}

} // namespace TEST_FILE

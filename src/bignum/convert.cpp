// Conversion to and from bytes and text.
#include "sealkit/bignum.h"

#include "bignum/kernel.h"

#include <algorithm>

using detail::Digit;

namespace {

constexpr size_t digitBytes = sizeof(Digit);
constexpr size_t digitHexits = 2 * digitBytes;
constexpr char hexits[] = "0123456789abcdef";

/// Appends the `count` lowest hexadecimal characters of a digit.
void appendHex(std::string& text, Digit digit, size_t count) {
    while (count-- != 0)
        text += hexits[digit >> 4 * count & 15];
}

size_t minimalBytes(BigNum const& x) { return (size_t{x.bits()} + 7) / 8; }

unsigned char byteAt(BigNum const& x, size_t i) {
    return static_cast<unsigned char>(x.digits[i / digitBytes] >> 8 * (i % digitBytes));
}

} // namespace

BigNum::BigNum(asn1::blob bytes) : digits(std::max<size_t>((bytes.size() + digitBytes - 1) / digitBytes, 1)) {
    unsigned char const* end = bytes.finish;
    size_t i = 0;
    for (; static_cast<size_t>(end - bytes.start) >= digitBytes; ++i, end -= digitBytes)
        digits[i] = Digit{end[-4]} << 24 | Digit{end[-3]} << 16 | Digit{end[-2]} << 8 | end[-1];
    for (; bytes.start != end; ++bytes.start)
        digits[i] = digits[i] << 8 | *bytes.start;
    clamp();
}

BigNum::BigNum(asn1::blob bytes, little_endian)
    : digits(std::max<size_t>((bytes.size() + digitBytes - 1) / digitBytes, 1)) {
    for (size_t i = 0; i < bytes.size(); ++i)
        digits[i / digitBytes] |= Digit{bytes[i]} << 8 * (i % digitBytes);
    clamp();
}

std::vector<unsigned char> BigNum::bin(unsigned len) const {
    size_t needed = minimalBytes(*this);
    std::vector<unsigned char> bytes(std::max<size_t>(needed, len));
    for (size_t i = 0; i < needed; ++i)
        bytes[bytes.size() - 1 - i] = byteAt(*this, i);
    return bytes;
}

std::vector<unsigned char> BigNum::bin(little_endian) const {
    std::vector<unsigned char> bytes(minimalBytes(*this));
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = byteAt(*this, i);
    return bytes;
}

std::string BigNum::str() const {
    std::string text;
    size_t i = size() - 1;
    text.reserve(digitHexits * size());
    appendHex(text, digits[i], std::max<size_t>((bits() + 3) / 4 - digitHexits * i, 1));
    while (i-- != 0)
        appendHex(text, digits[i], digitHexits);
    return text;
}

std::string BigNum::strDigits() const {
    std::string text;
    text.reserve((digitHexits + 1) * size());
    for (size_t i = size(); i-- != 0;) {
        appendHex(text, digits[i], digitHexits);
        if (i != 0)
            text += '.';
    }
    return text;
}

std::string BigNum::strDec() const {
    constexpr Digit chunk = 1'000'000'000; // The largest power of ten in a digit.
    constexpr unsigned chunkDecimals = 9;
    BigNum rest = *this;
    std::string reversed;
    while (rest.bits() != 0) {
        Digit remainder = detail::divideByDigit(rest.digits.data(), rest.digits.data(), rest.size(), chunk);
        rest.clamp();
        for (unsigned i = 0; i < chunkDecimals; ++i, remainder /= 10)
            reversed += static_cast<char>('0' + remainder % 10);
    }
    while (!reversed.empty() && reversed.back() == '0')
        reversed.pop_back();
    return reversed.empty() ? "0" : std::string(reversed.rbegin(), reversed.rend());
}

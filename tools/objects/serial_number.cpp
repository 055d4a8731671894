#include "objects/serial_number.h"

#include "sealkit/rng.h"

#include <kp/text.h>

#include <algorithm>

std::vector<unsigned char> makeSerialNumber() {
    std::vector<unsigned char> number(16);
    do
        getDefaultRng().fill(number.data(), static_cast<unsigned>(number.size()));
    while (std::ranges::all_of(number, [](unsigned char octet) { return octet == 0; }));
    return number;
}

std::optional<std::vector<unsigned char>> parseSerialNumber(std::string const& text) {
    std::string digits = text;
    std::erase(digits, ':');
    if (digits.starts_with("0x") || digits.starts_with("0X"))
        digits.erase(0, 2);
    if (digits.size() % 2 != 0)
        digits.insert(0, 1, '0');
    std::vector<unsigned char> number;
    if (digits.empty() || !hex2bin(digits, &number))
        return std::nullopt;
    number.erase(number.begin(),
                 std::ranges::find_if(number, [](unsigned char octet) { return octet != 0; }));
    constexpr size_t maxOctets = 20;
    if (number.empty() || number.size() + (number[0] >> 7) > maxOctets)
        return std::nullopt;
    return number;
}

std::optional<std::vector<unsigned char>> crlNumberOf(BigNum const& number) {
    constexpr unsigned maxBits = 159; // Leaves room for the sign bit.
    return number.bits() > maxBits ? std::nullopt : std::optional(number.bin(number.bits() / 8 + 1));
}

std::optional<std::vector<unsigned char>> parseCrlNumber(std::string const& text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        auto const octets = parseSerialNumber(text);
        return octets ? crlNumberOf(BigNum(asn1::blob(*octets))) : std::nullopt;
    }
    if (text.empty() || text.size() > 48 || text.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    BigNum number;
    for (char const digit : text)
        number = number * bn64(10) + bn64(static_cast<std::uint64_t>(digit - '0'));
    return crlNumberOf(number);
}

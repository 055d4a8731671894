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

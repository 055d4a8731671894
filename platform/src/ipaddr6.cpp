#include "kp/ipaddr6.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>

namespace {

constexpr std::array<unsigned char, 12> mappedPrefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
constexpr size_t groupCount = 8;

void appendNumber(std::string& text, unsigned number, int base) {
    char digits[8];
    text.append(digits, std::to_chars(digits, digits + sizeof digits, number, base).ptr);
}

std::string dottedQuad(std::span<unsigned char const, 4> address) {
    std::string text;
    for (unsigned byte : address) {
        if (!text.empty())
            text += '.';
        appendNumber(text, byte, 10);
    }
    return text;
}

/// RFC 5952 section 4: lowercase groups without leading zeros, "::" for the first of the longest runs
/// of at least two zero groups.
std::string compressed(std::span<unsigned char const, 16> address) {
    std::array<unsigned, groupCount> groups;
    for (size_t i = 0; i < groupCount; ++i)
        groups[i] = unsigned(address[2 * i]) << 8 | address[2 * i + 1];

    size_t runStart = groupCount, runLength = 1;
    for (size_t i = 0; i < groupCount; ++i) {
        size_t const end =
            static_cast<size_t>(std::find_if(groups.begin() + static_cast<std::ptrdiff_t>(i), groups.end(),
                                             [](unsigned group) { return group != 0; }) -
                                groups.begin());
        if (end - i > runLength) {
            runStart = i;
            runLength = end - i;
        }
    }

    std::string text;
    for (size_t i = 0; i < groupCount;) {
        if (i == runStart) {
            text += "::";
            i += runLength;
            continue;
        }
        if (!text.empty() && text.back() != ':')
            text += ':';
        appendNumber(text, groups[i++], 16);
    }
    return text;
}

} // namespace

bool IPAddr6::isIPv4() const { return std::equal(mappedPrefix.begin(), mappedPrefix.end(), value.begin()); }

void IPAddr6::setIPv4(std::span<unsigned char const, 4> address) {
    // The bytes may be those of this address.
    std::array<unsigned char, 4> quad;
    std::copy(address.begin(), address.end(), quad.begin());
    std::copy(mappedPrefix.begin(), mappedPrefix.end(), value.begin());
    std::copy(quad.begin(), quad.end(), value.begin() + mappedPrefix.size());
}

void IPAddr6::setIPv4(uint32_t address) {
    std::array<unsigned char, 4> const quad = {
        static_cast<unsigned char>(address >> 24), static_cast<unsigned char>(address >> 16),
        static_cast<unsigned char>(address >> 8), static_cast<unsigned char>(address)};
    setIPv4(quad);
}

void IPAddr6::setBytes(std::span<unsigned char const, 16> address) {
    std::copy(address.begin(), address.end(), value.begin());
}

std::string IPAddr6::str(bool plainIPv4) const {
    if (!isIPv4())
        return compressed(value);
    // RFC 5952 section 5: the mapped prefix is known, so its last part is a quad.
    return (plainIPv4 ? "" : "::ffff:") + dottedQuad(ipv4Bytes());
}

bool IPAddr6::parse(std::string_view text) {
    // `inet_pton` needs a terminated string, and would take a zero byte for its end.
    if (text.size() >= INET6_ADDRSTRLEN || text.find('\0') != text.npos)
        return false;
    std::string const terminated(text);
    std::array<unsigned char, 16> bytes6;
    if (inet_pton(AF_INET6, terminated.c_str(), bytes6.data()) == 1) {
        value = bytes6;
        return true;
    }
    std::array<unsigned char, 4> quad;
    if (inet_pton(AF_INET, terminated.c_str(), quad.data()) != 1)
        return false;
    setIPv4(quad);
    return true;
}

/// An Internet address of either version.
#pragma once

#include "kp/export.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// Sixteen bytes in network order. An IPv4 address has its IPv4-mapped form, ::ffff:a.b.c.d (RFC 4291 section
/// 2.5.5.2). A default address is all zero and means that there is no address.
class KP_API IPAddr6 {
public:
    IPAddr6() = default;
    explicit IPAddr6(std::span<unsigned char const, 16> address) { setBytes(address); }

    /// True for an IPv4-mapped address. False for the all-zero address.
    bool isIPv4() const;

    /// True for the all-zero address.
    bool empty() const { return *this == IPAddr6(); }

    /// Makes this the IPv4 address of four bytes in network order.
    void setIPv4(std::span<unsigned char const, 4> address);

    /// Makes this the IPv4 address with that number: 192.0.2.1 is 0xc0000201 on every machine.
    void setIPv4(uint32_t address);

    /// Copies sixteen bytes in network order.
    void setBytes(std::span<unsigned char const, 16> address);

    /// All sixteen bytes. The view is valid as long as the address exists.
    std::span<unsigned char const, 16> bytes() const { return value; }

    /// The four bytes of an IPv4 address: the last four.
    std::span<unsigned char const, 4> ipv4Bytes() const { return bytes().last<4>(); }

    /// The address in text: an IPv6 address in the form of RFC 5952 ("2001:db8::1", "::" for all
    /// zero). An IPv4 address is a dotted quad ("192.0.2.1") when `plainIPv4` is true, and
    /// "::ffff:192.0.2.1" otherwise.
    std::string str(bool plainIPv4) const;

    /// Reads a dotted quad or any form of RFC 4291 section 2.2. Returns false and leaves the address
    /// unchanged for any other text (a zone id, a prefix length, brackets, blanks, a quad with leading
    /// zeros).
    bool parse(std::string_view text);

    friend bool operator==(IPAddr6 const&, IPAddr6 const&) = default;
    /// Compares the bytes in order.
    friend auto operator<=>(IPAddr6 const&, IPAddr6 const&) = default;

private:
    std::array<unsigned char, 16> value{};
};

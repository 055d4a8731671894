/// Serial numbers of certificates and CRLs.
#pragma once

#include "sealkit/bignum.h"

#include <optional>
#include <string>
#include <vector>

/// A new serial number of 128 random bits (RFC 5280, section 4.1.2.2).
std::vector<unsigned char> makeSerialNumber();

/// Reads a serial number in hexadecimal, with or without colons. Returns nothing if it is malformed, 0, or
/// longer than the 20 octets of RFC 5280.
std::optional<std::vector<unsigned char>> parseSerialNumber(std::string const& text);

/// The content octets of a CRL number. Returns nothing if it is longer than the 20 octets of RFC 5280,
/// section 5.2.3.
std::optional<std::vector<unsigned char>> crlNumberOf(BigNum const& number);

/// The same for a number in decimal, or in hexadecimal after 0x. Returns nothing if it is malformed.
std::optional<std::vector<unsigned char>> parseCrlNumber(std::string const& text);

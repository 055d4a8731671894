/// Serial numbers of certificates and CRLs.
#pragma once

#include "sealkit/bignum.h"

#include <optional>
#include <string>
#include <vector>

/// A new serial number of 128 random bits (RFC 5280, section 4.1.2.2).
std::vector<unsigned char> makeSerialNumber();

/// Reads a serial number in hexadecimal, with or without colons. Nothing if it is malformed, 0, or longer
/// than the 20 octets of RFC 5280.
std::optional<std::vector<unsigned char>> parseSerialNumber(std::string const& text);

/// The content octets of the number of a CRL. Nothing if it is longer than the 20 octets of RFC 5280, section
/// 5.2.3.
std::optional<std::vector<unsigned char>> crlNumberOf(BigNum const& number);

/// The same of a number in decimal or after 0x hexadecimal. Nothing if it is malformed.
std::optional<std::vector<unsigned char>> parseCrlNumber(std::string const& text);

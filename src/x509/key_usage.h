/// The key usage and extended key usage extensions.
#pragma once

#include "base/reading.h"

#include <vector>

namespace detail {

/// Reads KeyUsage ::= BIT STRING (RFC 5280, section 4.2.1.3) as bits of `KeyUsage`. Unnamed bits are dropped.
bool readKeyUsage(Reading& reading, asn1::blob value, unsigned* bits);

/// Reads ExtKeyUsageSyntax ::= SEQUENCE OF OBJECT IDENTIFIER (RFC 5280, section 4.2.1.12) as bits of
/// `ExtKeyUsage`. Notes each unknown usage.
bool readExtKeyUsage(Reading& reading, asn1::blob value, unsigned* bits);

/// The encoders of both. The result is empty if there are no bits, or one without a name. Named bits have no
/// trailing zeros (X.690, section 11.2.2).
std::vector<unsigned char> encodeKeyUsage(unsigned bits);
std::vector<unsigned char> encodeExtKeyUsage(unsigned bits);
/// Whether each bit has a name.
bool isNamedKeyUsage(unsigned bits);
bool isNamedExtKeyUsage(unsigned bits);

/// Combines both words into the one that `X509Certificate::dumpKeyUsage` takes.
constexpr unsigned combineKeyUsage(unsigned keyUsage, unsigned extKeyUsage) {
    return keyUsage | extKeyUsage << 16;
}

} // namespace detail

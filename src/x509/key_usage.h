/// The two extensions that say what a key is for.
#pragma once

#include "base/reading.h"

#include <vector>

namespace detail {

/// KeyUsage ::= BIT STRING (RFC 5280, section 4.2.1.3) as bits of `KeyUsage`. Bits that have no name are
/// dropped.
bool readKeyUsage(Reading& reading, asn1::blob value, unsigned* bits);

/// ExtKeyUsageSyntax ::= SEQUENCE OF OBJECT IDENTIFIER (RFC 5280, section 4.2.1.12) as bits of
/// `ExtKeyUsage`. Notes each unknown usage.
bool readExtKeyUsage(Reading& reading, asn1::blob value, unsigned* bits);

/// Both the other way round; empty when there is no bit to write, or one that has no name. Named bits are
/// written without zeros after the last one (X.690, section 11.2.2).
std::vector<unsigned char> encodeKeyUsage(unsigned bits);
std::vector<unsigned char> encodeExtKeyUsage(unsigned bits);
/// Whether each bit has a name.
bool isNamedKeyUsage(unsigned bits);
bool isNamedExtKeyUsage(unsigned bits);

/// Both words in the one that `X509Certificate::dumpKeyUsage` takes.
constexpr unsigned combineKeyUsage(unsigned keyUsage, unsigned extKeyUsage) {
    return keyUsage | extKeyUsage << 16;
}

} // namespace detail

/// The two extensions that say what a key is for.
#pragma once

#include "sealkit/blob.h"

namespace detail {

/// KeyUsage ::= BIT STRING (RFC 5280, section 4.2.1.3) as bits of `KeyUsage`. Bits that have no name are
/// dropped. False when it is malformed.
bool readKeyUsage(asn1::blob value, unsigned* bits);

/// ExtKeyUsageSyntax ::= SEQUENCE OF OBJECT IDENTIFIER (RFC 5280, section 4.2.1.12) as bits of
/// `ExtKeyUsage`. Unknown usages are named on standard output. False when it is malformed.
bool readExtKeyUsage(asn1::blob value, unsigned* bits);

/// Both words in the one that `X509Certificate::dumpKeyUsage` takes.
constexpr unsigned combineKeyUsage(unsigned keyUsage, unsigned extKeyUsage) {
    return keyUsage | extKeyUsage << 16;
}

} // namespace detail

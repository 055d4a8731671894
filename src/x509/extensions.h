/// Extensions as certificates, CRLs, CRL entries and requests share them (RFC 5280, section 4.1).
#pragma once

#include "sealkit/x509.h"

#include "sealkit/asn1.h"

#include <vector>

namespace detail {

/// Reads the content of Extensions ::= SEQUENCE OF Extension into `*extensions`, replacing what it
/// holds. False when it is malformed or names an extension twice (RFC 5280, section 4.2).
bool readExtensions(asn1::blob list, std::vector<X509Extension>* extensions);

/// The extensions of a signed part that is taken apart as an `Outline`; none when it cannot be.
template <typename Outline>
std::vector<X509Extension> listExtensions(asn1::blob tbs) {
    Outline outline;
    std::vector<X509Extension> list;
    if (!outline.read(tbs) || !readExtensions(outline.extensions, &list))
        list.clear();
    return list;
}

/// Takes a BOOLEAN: one octet, of which anything but 0 is true (X.690, section 8.2).
bool takeBoolean(asn1::parser& level, bool* flag);

/// Reads `element`, a whole Time (RFC 5280, section 4.1.2.5).
bool readTime(asn1::blob element, TimePoint* time);

/// Reads the keyIdentifier of an AuthorityKeyIdentifier (RFC 5280, section 4.2.1.1); without one
/// `*keyId` is left alone. False when it is malformed.
bool readAuthorityKeyId(asn1::blob value, std::vector<unsigned char>* keyId);

} // namespace detail

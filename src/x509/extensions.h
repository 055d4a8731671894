/// Extensions as certificates, CRLs, CRL entries and requests share them (RFC 5280, section 4.1).
#pragma once

#include "sealkit/x509.h"

#include "asn1/element.h"

#include <vector>

namespace detail {

/// The step to the extension with that number, from 1. It is named where `id` is not empty.
Reading::Step extensionStep(Reading& reading, size_t number, asn1::blob id);

/// Reads the content of Extensions ::= SEQUENCE OF Extension into `*extensions`, replacing what it holds. Refuses
/// an extension that occurs twice (RFC 5280, section 4.2).
bool readExtensions(Reading& reading, asn1::blob list, std::vector<X509Extension>* extensions);

/// Calls `read(reading, to, extension)` for each extension, and stops where that refuses.
template <typename Object, typename Read>
bool readEach(Reading& reading, std::vector<X509Extension> const& extensions, Object& to, Read read) {
    size_t number = 0;
    for (X509Extension const& extension : extensions) {
        Reading::Step const step = extensionStep(reading, ++number, extension.oid);
        if (!read(reading, to, extension))
            return false;
    }
    return true;
}

/// The extensions of a signed part that is taken apart as an `Outline`; none if it is malformed.
template <typename Outline>
std::vector<X509Extension> listExtensions(asn1::blob tbs) {
    Reading silent;
    Outline outline;
    std::vector<X509Extension> list;
    if (!outline.read(silent, tbs) || !readExtensions(silent, outline.extensions, &list))
        list.clear();
    return list;
}

/// Takes a BOOLEAN: one octet, of which anything but 0 is true (X.690, section 8.2).
bool takeBoolean(Level& level, bool* flag, char const* field);

} // namespace detail

/// Extensions of certificates, CRLs, CRL entries and requests (RFC 5280, section 4.1).
#pragma once

#include "sealkit/x509.h"

#include "asn1/element.h"

#include <vector>

namespace detail {

/// The extensions of one object. Small lists take no heap memory.
class ExtensionList {
public:
    ExtensionList() = default;
    ExtensionList(ExtensionList const&) = delete;
    ExtensionList& operator=(ExtensionList const&) = delete;

    size_t size() const { return count; }
    X509Extension const* begin() const { return count <= maxInPlace ? inPlace.list : more.data(); }
    X509Extension const* end() const { return begin() + count; }

    void append(X509Extension const& extension);
    void clear();

private:
    static constexpr size_t maxInPlace = 16;

    /// Uninitialized until values are appended.
    union InPlace {
        InPlace() {}
        X509Extension list[maxInPlace];
    } inPlace;
    std::vector<X509Extension> more; ///< All extensions, if they are more than `maxInPlace`.
    size_t count = 0;
};

/// The step of a refusal's path for the extension with this number, from 1. It includes the name of `id`,
/// unless that is empty.
Reading::Step extensionStep(Reading& reading, size_t number, asn1::blob id);

/// Replaces `*extensions` by the content of Extensions ::= SEQUENCE OF Extension. Refuses a repeated
/// extension (RFC 5280, section 4.2). A tolerant reading skips malformed extensions and returns false too.
bool readExtensions(Reading& reading, asn1::blob list, ExtensionList* extensions);

/// Calls `read(reading, to, extension)` for each extension until it returns false.
template <typename Object, typename Read>
bool readEach(Reading& reading, ExtensionList const& extensions, Object& to, Read read) {
    size_t number = 0;
    for (X509Extension const& extension : extensions) {
        Reading::Step const step = extensionStep(reading, ++number, extension.oid);
        if (!read(reading, to, extension))
            return false;
    }
    return true;
}

/// The extensions of a signed part, parsed as an `Outline`; empty if it is malformed.
template <typename Outline>
std::vector<X509Extension> listExtensions(asn1::blob tbs) {
    Reading silent;
    Outline outline;
    ExtensionList list;
    if (!outline.read(silent, tbs) || !readExtensions(silent, outline.extensions, &list))
        return {};
    return {list.begin(), list.end()};
}

/// Takes a BOOLEAN: one octet, in which any value but 0 is true (X.690, section 8.2).
bool takeBoolean(Level& level, bool* flag, char const* field);

} // namespace detail

/// Extensions as certificates, CRLs, CRL entries and requests share them (RFC 5280, section 4.1).
#pragma once

#include "sealkit/x509.h"

#include "asn1/element.h"

#include <vector>

namespace detail {

/// The extensions of one object in a row. As many as most objects have take no memory of the heap.
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

    /// Without values until they are appended.
    union InPlace {
        InPlace() {}
        X509Extension list[maxInPlace];
    } inPlace;
    std::vector<X509Extension> more; ///< All of them, where they are more than `maxInPlace`.
    size_t count = 0;
};

/// The step to the extension with that number, from 1. It is named where `id` is not empty.
Reading::Step extensionStep(Reading& reading, size_t number, asn1::blob id);

/// Reads the content of Extensions ::= SEQUENCE OF Extension into `*extensions`, replacing what it holds.
/// Refuses an extension that occurs twice (RFC 5280, section 4.2). A tolerant reading leaves out what is
/// malformed, and returns false as well.
bool readExtensions(Reading& reading, asn1::blob list, ExtensionList* extensions);

/// Calls `read(reading, to, extension)` for each extension, and stops where that refuses.
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

/// The extensions of a signed part that is taken apart as an `Outline`; none if it is malformed.
template <typename Outline>
std::vector<X509Extension> listExtensions(asn1::blob tbs) {
    Reading silent;
    Outline outline;
    ExtensionList list;
    if (!outline.read(silent, tbs) || !readExtensions(silent, outline.extensions, &list))
        return {};
    return {list.begin(), list.end()};
}

/// Takes a BOOLEAN: one octet, of which anything but 0 is true (X.690, section 8.2).
bool takeBoolean(Level& level, bool* flag, char const* field);

} // namespace detail

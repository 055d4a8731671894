#include "x509/extensions.h"

#include "sealkit/oid_names.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace detail {

namespace {

/// A total order of byte strings; which one does not matter.
bool isBefore(asn1::blob a, asn1::blob b) {
    if (a.size() != b.size())
        return a.size() < b.size();
    return !a.empty() && std::memcmp(a.data(), b.data(), a.size()) < 0;
}

/// Sorts, so that a list of any length is searched fast.
bool hasRepeatedOid(std::vector<X509Extension> const& extensions) {
    if (extensions.size() < 2)
        return false;
    std::vector<asn1::blob> oids;
    oids.reserve(extensions.size());
    for (X509Extension const& extension : extensions)
        oids.push_back(extension.oid);
    std::sort(oids.begin(), oids.end(), isBefore);
    return std::adjacent_find(oids.begin(), oids.end()) != oids.end();
}

/// The identifier that the content of an Extension begins with; empty if it is malformed.
asn1::blob identifierOf(asn1::blob content) {
    asn1::parser const first(content);
    return first.tag == tag::oid ? first.value() : asn1::blob();
}

/// Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool readExtension(Reading& reading, asn1::blob content, X509Extension* extension) {
    Level fields(reading, content);
    if (!take(fields, tag::oid, &extension->oid, "extnID"))
        return false;
    if (fields.tag == tag::boolean && !takeBoolean(fields, &extension->critical, "critical"))
        return false;
    return take(fields, tag::octetString, &extension->value, "extnValue") && finish(fields);
}

/// Refuses the first extension that occurred before it.
bool refuseRepeated(Reading& reading, std::vector<X509Extension> const& extensions) {
    if (!reading.wantsReason())
        return false;
    std::set<asn1::blob, decltype(&isBefore)> seen(isBefore);
    size_t number = 1;
    for (X509Extension const& extension : extensions) {
        if (!seen.insert(extension.oid).second) {
            Reading::Step const step = extensionStep(reading, number, extension.oid);
            return reading.refuse(RefusalId::repeatedExtension, extension.oid);
        }
        number++;
    }
    return false;
}

} // namespace

Reading::Step extensionStep(Reading& reading, size_t number, asn1::blob id) {
    return Reading::Step(reading, "extension", number, id, id.empty() ? nullptr : oidName);
}

bool takeBoolean(Level& level, bool* flag, char const* field) {
    unsigned char const* const place = level.tlvStart;
    asn1::blob content;
    if (!take(level, tag::boolean, &content, field))
        return false;
    if (content.size() != 1)
        return refuseField(level.reading, field, RefusalId::malformedBoolean, place);
    *flag = content[0] != 0;
    return true;
}

bool readExtensions(Reading& reading, asn1::blob list, std::vector<X509Extension>* extensions) {
    extensions->clear();
    Level elements(reading, list);
    asn1::blob content;
    while (elements.tag == tag::sequence) {
        // What follows is malformed where it cannot be taken, and is refused as a place of its own.
        if (!take(elements, tag::sequence, &content))
            return false;
        Reading::Step const step = extensionStep(reading, extensions->size() + 1, identifierOf(content));
        if (!readExtension(reading, content, &extensions->emplace_back()))
            return false;
    }
    if (!atEnd(elements))
        return refuseElement(elements, tag::sequence);
    return !hasRepeatedOid(*extensions) || refuseRepeated(reading, *extensions);
}

} // namespace detail

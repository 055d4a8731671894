#include "x509/extensions.h"

#include "sealkit/oid_names.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <set>

namespace detail {

namespace {

/// An arbitrary total order of byte strings.
bool isBefore(asn1::blob a, asn1::blob b) {
    if (a.size() != b.size())
        return a.size() < b.size();
    return !a.empty() && std::memcmp(a.data(), b.data(), a.size()) < 0;
}

/// Compares all pairs of a few identifiers, and sorts many.
bool hasRepeatedOid(ExtensionList const& extensions) {
    constexpr size_t few = 16;
    if (extensions.size() <= few) {
        // The last octets of the identifiers so far, by their low six bits, in which most differ.
        std::uint64_t lastOctets = 0;
        for (X509Extension const& extension : extensions) {
            std::uint64_t const last = std::uint64_t{1}
                                       << (extension.oid.empty() ? 0 : extension.oid.finish[-1] & 63);
            if ((lastOctets & last) != 0)
                for (X509Extension const* before = extensions.begin(); before != &extension; before++)
                    if (before->oid == extension.oid)
                        return true;
            lastOctets |= last;
        }
        return false;
    }
    std::vector<asn1::blob> oids;
    oids.reserve(extensions.size());
    for (X509Extension const& extension : extensions)
        oids.push_back(extension.oid);
    std::sort(oids.begin(), oids.end(), isBefore);
    return std::adjacent_find(oids.begin(), oids.end()) != oids.end();
}

/// Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool readExtension(Level& fields, X509Extension* extension) {
    if (!take(fields, tag::oid, &extension->oid, "extnID"))
        return false;
    if (fields.tag == tag::boolean && !takeBoolean(fields, &extension->critical, "critical"))
        return false;
    return take(fields, tag::octetString, &extension->value, "extnValue") && finish(fields);
}

/// Refuses the first extension that repeats an earlier one.
bool refuseRepeated(Reading& reading, ExtensionList const& extensions) {
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

void ExtensionList::append(X509Extension const& extension) {
    if (count < maxInPlace) {
        std::construct_at(inPlace.list + count++, extension);
        return;
    }
    if (count == maxInPlace)
        more.assign(inPlace.list, inPlace.list + count);
    more.push_back(extension);
    count++;
}

void ExtensionList::clear() {
    more.clear();
    count = 0;
}

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

bool readExtensions(Reading& reading, asn1::blob list, ExtensionList* extensions) {
    extensions->clear();
    Level elements(reading, list);
    asn1::blob content;
    bool isGood = true;
    while (elements.tag == tag::sequence) {
        // A failure here leaves a malformed rest, which is refused at its own location.
        if (!take(elements, tag::sequence, &content))
            return false;
        Level fields(reading, content);
        asn1::blob const id = fields.tag == tag::oid ? fields.value() : asn1::blob();
        Reading::Step const step = extensionStep(reading, extensions->size() + 1, id);
        X509Extension extension;
        if (!readExtension(fields, &extension)) {
            if (!reading.isTolerant())
                return false;
            isGood = false;
        }
        if (!extension.oid.empty())
            extensions->append(extension);
    }
    if (!atEnd(elements))
        return refuseElement(elements, tag::sequence);
    return isGood &&
           (reading.isTolerant() || !hasRepeatedOid(*extensions) || refuseRepeated(reading, *extensions));
}

} // namespace detail

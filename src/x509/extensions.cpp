#include "x509/extensions.h"

#include "asn1/element.h"

#include <algorithm>
#include <cstring>
#include <ostream>

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

/// Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
bool readExtension(asn1::blob content, X509Extension* extension) {
    asn1::parser fields(content);
    if (!take(fields, tag::oid, &extension->oid))
        return false;
    if (fields.tag == tag::boolean && !takeBoolean(fields, &extension->critical))
        return false;
    return take(fields, tag::octetString, &extension->value) && atEnd(fields);
}

} // namespace

bool takeBoolean(asn1::parser& level, bool* flag) {
    asn1::blob content;
    if (!take(level, tag::boolean, &content) || content.size() != 1)
        return false;
    *flag = content[0] != 0;
    return true;
}

bool readExtensions(asn1::blob list, std::vector<X509Extension>* extensions) {
    extensions->clear();
    asn1::parser elements(list);
    asn1::blob content;
    while (take(elements, tag::sequence, &content))
        if (!readExtension(content, &extensions->emplace_back()))
            return false;
    return atEnd(elements) && !hasRepeatedOid(*extensions);
}

bool readTime(asn1::blob element, TimePoint* time) {
    asn1::parser reader(element);
    return time->parse(reader) && atEnd(reader);
}

bool readAuthorityKeyId(asn1::blob value, std::vector<unsigned char>* keyId) {
    asn1::blob content;
    if (!readOnly(value, tag::sequence, &content))
        return false;
    asn1::parser fields(content);
    if (fields.tag == tag::primitive(0))
        *keyId = copyOf(fields.take());
    skipOptional(fields, tag::constructed(1)); // authorityCertIssuer
    skipOptional(fields, tag::primitive(2));   // authorityCertSerialNumber
    return atEnd(fields);
}

} // namespace detail

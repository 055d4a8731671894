#include "pkcs/trust_settings.h"

#include "sealkit/oid_names.h"

#include "asn1/element.h"
#include "asn1/oids.h"
#include "base/view.h"

#include <algorithm>

namespace {

namespace tag = detail::tag;
using detail::Level;
using detail::Reading;

constexpr size_t maxPurposes = 256;

using Purposes = std::vector<std::vector<unsigned char>>;

/// Takes an optional SEQUENCE OF OBJECT IDENTIFIER under `listTag`.
bool takePurposes(Level& fields, unsigned listTag, char const* name, Purposes* purposes) {
    if (fields.tag != listTag)
        return true;
    asn1::blob list, purpose;
    Reading::Step const step(fields.reading, name);
    if (!take(fields, listTag, &list))
        return false;
    Level level(fields.reading, list);
    while (!atEnd(level)) {
        if (!take(level, tag::oid, &purpose))
            return false;
        if (purposes->size() == maxPurposes)
            return level.reading.refuse(RefusalId::inputTooLarge, purpose,
                                        {{"maximum", std::to_string(maxPurposes)}});
        purposes->push_back(detail::copyOf(purpose));
    }
    return true;
}

std::string listPurposes(char const* what, Purposes const& purposes) {
    std::string list;
    for (auto const& purpose : purposes)
        list += (list.empty() ? what : ", ") + oidName(purpose);
    return list;
}

} // namespace

bool TrustSettings::isLimited() const {
    return !rejected.empty() || (!trusted.empty() && std::ranges::none_of(trusted, [](auto const& purpose) {
        return asn1::blob(purpose) == asn1::blob(detail::oid::anyExtendedKeyUsage);
    }));
}

std::string TrustSettings::str() const {
    std::string text = listPurposes("trusted for ", trusted);
    if (!rejected.empty())
        text += (text.empty() ? "" : "; ") + listPurposes("rejected for ", rejected);
    return text;
}

bool detail::splitTrusted(Reading& reading, asn1::blob block, asn1::blob* certificate,
                          std::optional<TrustSettings>* settings) {
    Level parts(reading, block);
    if (!takeWhole(parts, tag::sequence, certificate, "certificate"))
        return false;
    if (atEnd(parts))
        return true;
    Reading::Step const step(reading, "trust settings");
    asn1::blob content, text;
    if (!take(parts, tag::sequence, &content) || !finish(parts))
        return false;
    Level fields(reading, content);
    TrustSettings found;
    if (!takePurposes(fields, tag::sequence, "trust", &found.trusted) ||
        !takePurposes(fields, tag::constructed(0), "reject", &found.rejected))
        return false;
    if (fields.tag == tag::utf8String) {
        take(fields, tag::utf8String, &text);
        found.alias = viewOf(text);
    }
    skipOptional(fields, tag::octetString);    // The key identifier.
    skipOptional(fields, tag::constructed(1)); // Other settings, which OpenSSL does not use either.
    if (!finish(fields))
        return false;
    *settings = std::move(found);
    return true;
}

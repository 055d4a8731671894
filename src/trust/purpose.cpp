#include "trust/purpose.h"

#include "asn1/oids.h"

#include <algorithm>
#include <iterator>

namespace detail {

namespace {

constexpr unsigned signing = KeyUsage::digitalSignature | KeyUsage::contentCommitment;

constexpr Purpose purposes[] = {
    {PathPurpose::tlsServer, oid::serverAuth, "tls-server",
     KeyUsage::digitalSignature | KeyUsage::keyEncipherment | KeyUsage::keyAgreement},
    {PathPurpose::tlsClient, oid::clientAuth, "tls-client",
     KeyUsage::digitalSignature | KeyUsage::keyAgreement},
    {PathPurpose::codeSigning, oid::codeSigning, "code-signing", KeyUsage::digitalSignature},
    {PathPurpose::emailProtection, oid::emailProtection, "email-protection",
     signing | KeyUsage::keyEncipherment | KeyUsage::keyAgreement},
    {PathPurpose::timeStamping, oid::timeStamping, "time-stamping", signing},
    {PathPurpose::ocspSigning, oid::ocspSigning, "ocsp-signing", signing},
};

constexpr std::string_view anyPurposeName = "any";

} // namespace

Purpose const* findPurpose(PathPurpose id) {
    auto const found = std::ranges::find(purposes, id, &Purpose::id);
    return found == std::end(purposes) ? nullptr : found;
}

PathPurpose askedPurpose(PathOptions const& options) {
    if (options.purpose != PathPurpose::byIdentity)
        return options.purpose;
    bool const asksForHost = !options.hostName.empty() || !options.address.empty();
    return asksForHost ? PathPurpose::tlsServer : PathPurpose::any;
}

PathPurpose standardPurpose(PathOptions const& options) {
    PathPurpose const asked = askedPurpose(options);
    bool const isMail =
        options.purpose == PathPurpose::byIdentity && asked == PathPurpose::any && !options.email.empty();
    return isMail ? PathPurpose::emailProtection : asked;
}

} // namespace detail

std::string_view getPathPurposeName(PathPurpose purpose) {
    if (purpose == PathPurpose::any)
        return detail::anyPurposeName;
    auto const* const known = detail::findPurpose(purpose);
    return known == nullptr ? std::string_view() : known->name;
}

std::optional<PathPurpose> parsePathPurpose(std::string_view name) {
    if (name == detail::anyPurposeName)
        return PathPurpose::any;
    auto const found =
        std::ranges::find(detail::purposes, name,
                          [](detail::Purpose const& purpose) -> std::string_view { return purpose.name; });
    return found == std::end(detail::purposes) ? std::nullopt : std::optional(found->id);
}

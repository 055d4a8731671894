#include "trust/identity.h"

#include "kp/text.h"
#include "trust/general_name.h"

#include <algorithm>

namespace detail {

namespace {

/// Compares texts in lowercase. "*.x" matches ".x" with one label before it. A pattern "*." and asterisks
/// elsewhere are ordinary characters.
bool matchesHostPattern(std::string_view host, std::string_view pattern) {
    if (host.empty())
        return false;
    if (pattern.size() <= 2 || !pattern.starts_with("*."))
        return host == pattern;
    size_t const dot = host.find('.');
    return dot != std::string_view::npos && host.substr(dot + 1) == pattern.substr(2);
}

} // namespace

bool asksForIdentity(PathOptions const& options) {
    return !options.hostName.empty() || !options.address.empty() || !options.email.empty();
}

bool bearsIdentity(X509Certificate const& leaf, PathOptions const& options) {
    std::string const host = str2lower(options.hostName);
    bool const asksAddress = !options.address.empty();
    auto const bears = [&](GeneralName const& name) {
        switch (name.type) {
        case GeneralName::dnsName:
            return matchesHostPattern(host, str2lower(name.data));
        case GeneralName::ipAddress:
            return asksAddress && name.getIp() == options.address;
        case GeneralName::rfc822Name:
            return !options.email.empty() && name.data == options.email;
        default:
            return false;
        }
    };
    if (std::ranges::any_of(leaf.subjectAltNames, bears))
        return true;

    std::string const commonName = str2lower(leaf.subject.commonName);
    return matchesHostPattern(host, commonName) || (asksAddress && commonName == options.address.str(true)) ||
           (!options.email.empty() && commonName == options.email);
}

std::vector<Fact> identityFacts(X509Certificate const& leaf, PathOptions const& options) {
    std::vector<Fact> facts;
    if (!options.hostName.empty())
        facts.push_back({"host asked for", std::string(options.hostName)});
    if (!options.address.empty())
        facts.push_back({"address asked for", options.address.str(true)});
    if (!options.email.empty())
        facts.push_back({"e-mail asked for", std::string(options.email)});
    for (GeneralName const& name : leaf.subjectAltNames)
        facts.push_back({"name found", show(name)});
    return facts;
}

} // namespace detail

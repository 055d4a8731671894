#include "trust/name_constraints.h"

#include <algorithm>

namespace detail {

void SuffixSet::add(std::string_view suffix) {
    if (hasEndOf(suffix))
        return;
    std::string const text(suffix.rbegin(), suffix.rend());
    auto const first = reversed.lower_bound(text);
    auto const last =
        std::find_if(first, reversed.end(), [&](auto const& other) { return !other.starts_with(text); });
    reversed.insert(reversed.erase(first, last), text);
}

bool SuffixSet::hasEndOf(std::string_view text) const {
    std::string const backward(text.rbegin(), text.rend());
    auto const next = reversed.upper_bound(backward);
    return next != reversed.begin() && backward.starts_with(*std::prev(next));
}

void NameConstraints::add(X509Certificate const& certificate, size_t depth) {
    // Only DNS names are compared. A permitted subtree of another type therefore rejects all names of that
    // type, and an excluded one has no effect.
    GeneralName const& permitted = certificate.nameConstraintPermitted;
    if (permitted.type != GeneralName::none)
        firstPermitted.try_emplace(permitted.type, NameConstraint{&permitted, depth});
    if (permitted.type == GeneralName::dnsName)
        permittedDnsNames.add(permitted.data);

    GeneralName const& excluded = certificate.nameConstraintExcluded;
    if (excluded.type == GeneralName::dnsName) {
        excludedDnsNames.push_back({&excluded, depth});
        excludedDnsSuffixes.add(excluded.data);
    }
}

std::optional<NameViolation> NameConstraints::findViolation(X509Certificate const& certificate) const {
    if (firstPermitted.empty() && excludedDnsNames.empty())
        return std::nullopt;
    for (GeneralName const& name : certificate.subjectAltNames) {
        bool const isDns = name.type == GeneralName::dnsName;
        if (isDns && excludedDnsSuffixes.hasEndOf(name.data)) {
            auto const constraint = std::ranges::find_if(excludedDnsNames, [&](NameConstraint const& each) {
                return name.data.ends_with(each.name->data);
            });
            return NameViolation{&name, *constraint, true};
        }
        auto const permitted = firstPermitted.find(name.type);
        if (permitted != firstPermitted.end() && !(isDns && permittedDnsNames.hasEndOf(name.data)))
            return NameViolation{&name, permitted->second, false};
    }
    return std::nullopt;
}

} // namespace detail

// Name constraints (RFC 5280, section 4.2.1.10), collected from the top of a chain downward.
#pragma once

#include "sealkit/x509.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace detail {

/// A set of strings that finds whether one of them is a suffix of a given string, in logarithmic time.
class SuffixSet {
public:
    void add(std::string_view suffix);
    bool hasEndOf(std::string_view text) const;

private:
    /// The strings are reversed, and those with another one as prefix are omitted. The prefix of a reversed
    /// text is then its predecessor in the set.
    std::set<std::string> reversed;
};

/// A constraint and the index of its certificate. `name` is a view into that certificate.
struct NameConstraint {
    GeneralName const* name;
    size_t depth;
};

struct NameViolation {
    GeneralName const* name; ///< The rejected name.
    NameConstraint constraint;
    bool excluded; ///< False if the name lies outside all permitted subtrees.
};

class NameConstraints {
public:
    /// The first of the certificate's subject alternative names that the collected constraints reject.
    std::optional<NameViolation> findViolation(X509Certificate const& certificate) const;

    /// Adds the certificate's constraints. It must outlive this object.
    void add(X509Certificate const& certificate, size_t depth);

private:
    std::map<unsigned char, NameConstraint> firstPermitted; ///< By type.
    SuffixSet permittedDnsNames;
    std::vector<NameConstraint> excludedDnsNames;
    SuffixSet excludedDnsSuffixes;
};

} // namespace detail

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

/// A set of strings that answers whether one of them is the end of a given string, in a time that
/// does not grow with the set as a plain search would.
class SuffixSet {
public:
    void add(std::string_view suffix);
    bool hasEndOf(std::string_view text) const;

private:
    /// Back to front, and without any that another one already begins: what a text read back to front
    /// begins with is then its predecessor in the set.
    std::set<std::string> reversed;
};

/// A constraint and the index of the certificate that makes it. The name is that certificate's.
struct NameConstraint {
    GeneralName const* name;
    size_t depth;
};

struct NameViolation {
    GeneralName const* name; ///< The entry that is not allowed.
    NameConstraint constraint;
    bool excluded; ///< False when it is a permitted subtree that the name lies outside of.
};

class NameConstraints {
public:
    /// The first of the certificate's subject alternative names that the constraints collected so far
    /// do not allow.
    std::optional<NameViolation> findViolation(X509Certificate const& certificate) const;

    /// Adds the certificate's own constraints. It must outlive this object.
    void add(X509Certificate const& certificate, size_t depth);

private:
    std::map<unsigned char, NameConstraint> firstPermitted; ///< By type.
    SuffixSet permittedDnsNames;
    std::vector<NameConstraint> excludedDnsNames;
    SuffixSet excludedDnsSuffixes;
};

} // namespace detail

// Name constraints of every type (RFC 5280, sections 4.2.1.10 and 6.1), collected from the anchor downward.
#pragma once

#include "trust/standard/fields.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace detail {

/// A name that a chain does not allow.
struct SubtreeViolation {
    std::string name; ///< As `show` of trust/general_name.h gives it; the subject by its text.
    std::vector<std::string>
        subtrees;     ///< The excluded one that it lies in, or the permitted ones, at most 8 of them.
    size_t depth = 0; ///< Of the certificate that makes the constraint.
    bool isExcluded = false;
    bool isUnsupported =
        false; ///< The constraint's type is one that cannot be compared, or the name is malformed.
};

/// The constraints collected so far. Takes time that grows with the names and the constraints and not with their product
/// where both are DNS names; `payForNames` of search.cpp pays for the others.
class Subtrees {
public:
    Subtrees();
    ~Subtrees();
    Subtrees(Subtrees const&) = delete;
    Subtrees& operator=(Subtrees const&) = delete;

    /// The first name of the certificate that they do not allow: subject (unless empty), subject alternative names, and
    /// where there is no rfc822Name among those, the subject's emailAddress attributes.
    std::optional<SubtreeViolation> findViolation(CertificateFields const& fields) const;

    /// Adds the certificate's own: a name must lie in a permitted subtree of every certificate that has one of its type.
    /// `fields` must outlive this object.
    void add(CertificateFields const& fields, size_t depth);

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace detail

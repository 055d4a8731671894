// What public CAs keep beyond RFC 5280, rule by rule.
#pragma once

#include "sealkit/path.h"
#include "trust/standard/fields.h"
#include "trust/validation.h"

#include <optional>
#include <span>

namespace detail {

struct StrictViolation {
    PathCode code{};
    size_t depth = 0;
    std::vector<Fact> facts;
};

/// The first rule that the chain breaks, from the leaf upward. `path` ends with the anchor, whose signature, exponent,
/// identifiers and criticality are exempt.
std::optional<StrictViolation> findStrictViolation(std::span<CertificateFields const* const> path,
                                                   PathOptions const& options, PathChecks& checks);

} // namespace detail

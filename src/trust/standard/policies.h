// Certificate policies along a chain (RFC 5280, section 6.1, as RFC 9618 has it: a graph of bounded size).
#pragma once

#include "sealkit/path.h"
#include "trust/standard/fields.h"

#include <optional>
#include <span>
#include <vector>

namespace detail {

struct PolicyResult {
    /// `valid`, `policyRequired` or `invalidPolicyMapping`.
    PathCode code = PathCode::valid;
    size_t depth = 0;
    std::vector<PathPolicy> policies; ///< user-constrained-policy-set with qualifiers.
};

/// `path` starts with the leaf and excludes the anchor.
PolicyResult processPolicies(std::span<CertificateFields const* const> path, PathOptions const& options);

} // namespace detail

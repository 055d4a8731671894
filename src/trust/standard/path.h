// The validation of a chain under the rules of RFC 5280, and the strict ones above them.
#pragma once

#include "trust/validation.h"

namespace detail {

/// As `validate`, under `rules`, which is `PathRules::rfc5280` or `PathRules::strict`.
PathFinding validateByStandard(CertificateChain const& chain, CertificateStore const& store,
                               PathOptions const& options, unsigned rules, PathChecks& checks, Texts texts);

} // namespace detail

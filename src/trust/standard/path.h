// Validates a chain under the rules of RFC 5280, or under the strict rules based on them.
#pragma once

#include "trust/validation.h"

namespace detail {

/// The counterpart of `validate` for `PathRules::rfc5280` and `PathRules::strict`. `crls` are used if
/// `options.checkCrls` is set.
PathFinding validateByStandard(CertificateChain const& chain, CertificateStore const& store,
                               std::span<std::shared_ptr<X509Crl> const> crls, PathOptions const& options,
                               unsigned rules, PathChecks& checks, Texts texts);

/// The store's CRLs for a chain: all of a `CertificateMemoryStore`; otherwise its answers for each
/// certificate.
std::vector<std::shared_ptr<X509Crl>> listCrls(CertificateChain const& chain, CertificateStore const& store);

/// Applies every set of rules in `options.rules`, the platform's first. Returns the first refusal, or the
/// first finding with the policies of the last set.
PathFinding validateByAll(CertificateChain const& chain, CertificateStore const& store,
                          PathOptions const& options, PathChecks& checks, Texts texts);

} // namespace detail

// The validation of a chain under the rules of RFC 5280, and the strict ones above them.
#pragma once

#include "trust/validation.h"

namespace detail {

/// As `validate`, under `rules`, which is `PathRules::rfc5280` or `PathRules::strict`. `crls` are asked where
/// `options.checkCrls` is set.
PathFinding validateByStandard(CertificateChain const& chain, CertificateStore const& store,
                               std::span<std::shared_ptr<X509Crl> const> crls, PathOptions const& options,
                               unsigned rules, PathChecks& checks, Texts texts);

/// The CRLs that a store has for a chain: all of a `CertificateMemoryStore`, else what it answers for each
/// certificate.
std::vector<std::shared_ptr<X509Crl>> listCrls(CertificateChain const& chain, CertificateStore const& store);

/// Every set of rules that `options.rules` asks for, the platform's first: the first refusal, or the first
/// finding with the policies of the last.
PathFinding validateByAll(CertificateChain const& chain, CertificateStore const& store,
                          PathOptions const& options, PathChecks& checks, Texts texts);

} // namespace detail

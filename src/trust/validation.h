// The validation of a chain, and its warnings, with what several chains of one search share.
#pragma once

#include "sealkit/path.h"
#include "sealkit/search.h"
#include "trust/signature_checks.h"
#include "trust/standard/crl_fields.h"

namespace detail {

/// What was worked out about certificates and CRLs and holds in every chain.
struct PathChecks {
    explicit PathChecks(Diagnostics diagnostics, unsigned maxWork = SignatureChecks::unlimited)
        : signatures(diagnostics, maxWork) {}

    SignatureChecks signatures;
    CrlMemory crls;
    /// Set by a store that verifies CRLs when it was asked for one last: whether the work that is left did
    /// not suffice for one that may count.
    bool isCrlUndecided = false;
};

/// Whether an explanation is made in full, or its code and depth alone.
enum class Texts : bool { omitted, wanted };

/// A result for the certificate at `depth`. `explain` fills in text and facts where they are wanted: a chain
/// of many names has long ones.
template <typename Explain>
PathExplanation makeExplanation(PathCode code, X509Certificate const& certificate, size_t depth,
                                unsigned rules, Texts texts, Explain const& explain) {
    PathExplanation result;
    result.code = static_cast<int>(code);
    result.depth = static_cast<unsigned>(depth);
    result.rules = rules;
    if (texts == Texts::wanted) {
        result.subject = getDisplayName(certificate);
        explain(result);
    }
    return result;
}

/// The result of a validation.
struct PathFinding {
    PathExplanation explanation;
    /// Whether the work that is left did not suffice for a signature. The code is that of a chain without an
    /// anchor then: nothing vouches for it.
    bool isUndecided = false;
    std::vector<CrlVerdict> crls = {}; ///< Under the standard rules: each CRL that was looked at.
};

/// `x509ExplainPath` with shared checks.
PathFinding validate(CertificateChain const& chain, CertificateStore const& store, PathOptions const& options,
                     PathChecks& checks, Texts texts);

/// Refuses a valid chain of which a certificate expires before `options.validUntil`.
void applyValidUntil(CertificateChain const& chain, PathOptions const& options, PathExplanation* explanation);

/// The name of the algorithm of a SubjectPublicKeyInfo, which may be of any.
std::string showKeyAlgorithm(asn1::blob keyInfo);

/// `x509PathWarnings` with shared checks.
std::vector<PathWarning> findWarnings(CertificateChain const& chain, CertificateStore const& store,
                                      PathOptions const& options, PathChecks& checks);

} // namespace detail

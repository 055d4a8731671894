// Validates chains and finds their warnings, with results shared by the chains of a search.
#pragma once

#include "sealkit/path.h"
#include "sealkit/search.h"
#include "trust/signature_checks.h"
#include "trust/standard/crl_fields.h"

namespace detail {

/// Results about certificates and CRLs that hold in every chain.
struct PathChecks {
    explicit PathChecks(Diagnostics diagnostics, unsigned maxWork = SignatureChecks::unlimited)
        : signatures(diagnostics, maxWork) {}

    SignatureChecks signatures;
    CrlMemory crls;
    /// Set by a store that verifies CRLs: whether its last look-up reached the work limit at a CRL that may
    /// apply.
    bool isCrlUndecided = false;
};

/// Whether explanations are complete or have only a code and depth.
enum class Texts : bool { omitted, wanted };

/// A result for the certificate at `depth`. `explain` adds text and facts if they are wanted; for a chain of
/// many names they are long.
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
    /// Whether the work limit prevented the verification of a signature. The code is then that of a chain
    /// without an anchor.
    bool isUndecided = false;
    std::vector<CrlVerdict> crls = {}; ///< Under the standard rules: each CRL that was considered.
};

/// `x509ExplainPath` with shared results.
PathFinding validate(CertificateChain const& chain, CertificateStore const& store, PathOptions const& options,
                     PathChecks& checks, Texts texts);

/// Refuses a valid chain with a certificate that expires before `options.validUntil`.
void applyValidUntil(CertificateChain const& chain, PathOptions const& options, PathExplanation* explanation);

/// The name of the algorithm of a SubjectPublicKeyInfo, known or not.
std::string showKeyAlgorithm(asn1::blob keyInfo);

/// `x509PathWarnings` with shared results.
std::vector<PathWarning> findWarnings(CertificateChain const& chain, CertificateStore const& store,
                                      PathOptions const& options, PathChecks& checks);

} // namespace detail

#include "sealkit/path.h"
#include "sealkit/search.h"

#include <array>
#include <cstddef>

namespace {

constexpr std::array codes = {
    ReasonText<PathCode>{PathCode::valid, "valid", "The chain is valid."},
    ReasonText<PathCode>{PathCode::emptyChain, "empty-chain", "There is no certificate to validate."},
    ReasonText<PathCode>{PathCode::identityMismatch, "identity-mismatch",
                         "The leaf does not name the host, address or e-mail address that was asked for."},
    ReasonText<PathCode>{PathCode::notCa, "not-ca", "A certificate above the leaf is not a CA certificate."},
    ReasonText<PathCode>{PathCode::notYetValid, "not-yet-valid", "A certificate is not valid yet."},
    ReasonText<PathCode>{PathCode::expired, "expired", "A certificate has expired."},
    ReasonText<PathCode>{PathCode::noAnchor, "no-anchor",
                         "No certificate of the chain leads to one that is trusted."},
    ReasonText<PathCode>{PathCode::issuerKeyUnreadable, "issuer-key-unreadable",
                         "The issuer's public key cannot be read or is of an unsupported algorithm."},
    ReasonText<PathCode>{PathCode::algorithmMismatch, "algorithm-mismatch",
                         "The signature's algorithm is unknown or does not go with the issuer's key."},
    ReasonText<PathCode>{PathCode::badSignature, "bad-signature", "A signature does not verify."},
    ReasonText<PathCode>{PathCode::revoked, "revoked", "A certificate is revoked."},
    ReasonText<PathCode>{PathCode::crlMissing, "crl-missing",
                         "A certificate has CRL distribution points, and there is no CRL of its issuer."},
    ReasonText<PathCode>{PathCode::nameConstraintViolated, "name-constraint-violated",
                         "A certificate bears a name that a certificate above it does not allow."},
};

constexpr std::array warnings = {
    ReasonText<PathWarningId>{PathWarningId::pathLength, "path-length",
                              "More CA certificates stand below this one than its path length allows."},
    ReasonText<PathWarningId>{PathWarningId::noKeyCertSign, "no-key-cert-sign",
                              "The key usage of this CA certificate does not include signing certificates."},
    ReasonText<PathWarningId>{PathWarningId::extendedKeyUsage, "extended-key-usage",
                              "The certificate may not be used for the purpose that was asked for."},
    ReasonText<PathWarningId>{PathWarningId::namesDoNotLink, "names-do-not-link",
                              "The certificate names another issuer than the one that signed it."},
    ReasonText<PathWarningId>{PathWarningId::smallRsaExponent, "small-rsa-exponent",
                              "The certificate's RSA key has a public exponent below 65537."},
    ReasonText<PathWarningId>{
        PathWarningId::criticalPolicies, "critical-policies",
        "The certificate has a critical extension about policies, which was not evaluated."},
    ReasonText<PathWarningId>{PathWarningId::crlSignature, "crl-signature",
                              "The signature of the CRL does not verify with the issuer's key."},
    ReasonText<PathWarningId>{PathWarningId::crlNotYetValid, "crl-not-yet-valid",
                              "The CRL was issued after the time of validation."},
    ReasonText<PathWarningId>{PathWarningId::crlOutOfDate, "crl-out-of-date",
                              "A newer CRL should have been issued before the time of validation."},
    ReasonText<PathWarningId>{PathWarningId::crlIssuerNoCrlSign, "crl-issuer-no-crl-sign",
                              "The key usage of the CRL's issuer does not include signing CRLs."},
    ReasonText<PathWarningId>{PathWarningId::crlScope, "crl-scope",
                              "The CRL covers only some of the issuer's certificates or reasons."},
};

constexpr std::array limits = {
    ReasonText<SearchLimit>{
        SearchLimit::work, "work",
        "The search for a chain ended: the signatures to verify are too many or too long."},
    ReasonText<SearchLimit>{SearchLimit::chains, "chains",
                            "The search for a chain ended: too many chains lead upward from the leaf."},
    ReasonText<SearchLimit>{SearchLimit::steps, "steps",
                            "The search for a chain ended: too many certificates lead upward from the leaf."},
};

constexpr std::array statuses = {
    ReasonText<CrlStatus>{CrlStatus::verified, "verified",
                          "A trusted certificate or one of the chain signed the CRL."},
    ReasonText<CrlStatus>{CrlStatus::otherIssuer, "other-issuer",
                          "Neither a trusted certificate nor one of the chain signed the CRL."},
    ReasonText<CrlStatus>{
        CrlStatus::badSignature, "bad-signature",
        "The signature of the CRL does not verify with the key of any certificate of its issuer."},
    ReasonText<CrlStatus>{CrlStatus::unknownIssuer, "unknown-issuer",
                          "No certificate of the CRL's issuer is available."},
    ReasonText<CrlStatus>{
        CrlStatus::unchecked, "unchecked",
        "The signature of the CRL was not verified: the search for a chain reached its limit."},
};

} // namespace

std::span<ReasonText<PathCode> const> pathCodes() { return codes; }
std::span<ReasonText<PathWarningId> const> pathWarnings() { return warnings; }

ReasonText<PathCode> const* findPathCode(int code) {
    return code >= 0 && static_cast<size_t>(code) < codes.size() ? &codes[static_cast<size_t>(code)]
                                                                 : nullptr;
}

ReasonText<PathWarningId> const& getReasonText(PathWarningId id) { return warnings[static_cast<size_t>(id)]; }

std::span<ReasonText<SearchLimit> const> searchLimits() { return limits; }
std::span<ReasonText<CrlStatus> const> crlStatuses() { return statuses; }

ReasonText<SearchLimit> const& getReasonText(SearchLimit limit) {
    return limits[static_cast<size_t>(limit) - 1];
}

ReasonText<CrlStatus> const& getReasonText(CrlStatus status) { return statuses[static_cast<size_t>(status)]; }

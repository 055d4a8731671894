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
                         "The signature algorithm is unknown or does not match the issuer's key."},
    ReasonText<PathCode>{PathCode::badSignature, "bad-signature", "A signature does not verify."},
    ReasonText<PathCode>{PathCode::revoked, "revoked", "A certificate is revoked."},
    ReasonText<PathCode>{PathCode::crlMissing, "crl-missing",
                         "The CRL of a certificate's issuer is required, and is missing."},
    ReasonText<PathCode>{PathCode::nameConstraintViolated, "name-constraint-violated",
                         "A certificate has a name that a certificate above it does not allow."},
    ReasonText<PathCode>{PathCode::unsupportedCertificate, "unsupported-certificate",
                         "A certificate has a form that this system does not support."},
    ReasonText<PathCode>{PathCode::namesDoNotChain, "names-do-not-chain",
                         "A certificate names another issuer than the certificate above it."},
    ReasonText<PathCode>{PathCode::pathTooLong, "path-too-long",
                         "There are more CA certificates below a certificate than its path length allows."},
    ReasonText<PathCode>{PathCode::keyCertSignMissing, "key-cert-sign-missing",
                         "The key usage of a CA certificate does not include signing certificates."},
    ReasonText<PathCode>{PathCode::unknownCriticalExtension, "unknown-critical-extension",
                         "A certificate has a critical extension that is not supported."},
    ReasonText<PathCode>{PathCode::malformedExtension, "malformed-extension",
                         "A certificate has a malformed extension."},
    ReasonText<PathCode>{PathCode::unsupportedNameConstraint, "unsupported-name-constraint",
                         "A certificate has a name of a type whose constraint is not supported."},
    ReasonText<PathCode>{PathCode::policyRequired, "policy-required",
                         "The chain is valid for none of the policies that are required."},
    ReasonText<PathCode>{PathCode::invalidPolicyMapping, "invalid-policy-mapping",
                         "A certificate maps the policy anyPolicy."},
    ReasonText<PathCode>{PathCode::purposeMismatch, "purpose-mismatch",
                         "A certificate may not be used for the purpose that was asked for."},
    ReasonText<PathCode>{PathCode::revocationUndetermined, "revocation-undetermined",
                         "No CRL tells whether a certificate is revoked."},
    ReasonText<PathCode>{PathCode::weakSignatureHash, "weak-signature-hash",
                         "A certificate is signed over a hash that is no longer secure."},
    ReasonText<PathCode>{PathCode::shortRsaKey, "short-rsa-key",
                         "A certificate has an RSA key of fewer than 2048 bits."},
    ReasonText<PathCode>{PathCode::smallRsaExponent, "small-rsa-exponent",
                         "A certificate has an RSA key with a public exponent below 65537."},
    ReasonText<PathCode>{PathCode::weakCurve, "weak-curve",
                         "A certificate has a key on a curve of fewer than 256 bits."},
    ReasonText<PathCode>{PathCode::wideWildcard, "wide-wildcard",
                         "A certificate has a wildcard for every name of a top-level domain."},
    ReasonText<PathCode>{PathCode::invalidSerialNumber, "invalid-serial-number",
                         "The serial number of a certificate is not positive or longer than 20 octets."},
    ReasonText<PathCode>{PathCode::keyIdentifierMissing, "key-identifier-missing",
                         "A certificate lacks a key identifier that RFC 5280 requires."},
    ReasonText<PathCode>{PathCode::wrongCriticality, "wrong-criticality",
                         "An extension is critical, or not critical, where RFC 5280 requires the opposite."},
    ReasonText<PathCode>{PathCode::extendedKeyUsageMissing, "extended-key-usage-missing",
                         "The leaf does not state what it may be used for."},
    ReasonText<PathCode>{PathCode::anyExtendedKeyUsage, "any-extended-key-usage",
                         "The leaf may be used for any purpose."},
    ReasonText<PathCode>{PathCode::caAsEndEntity, "ca-as-end-entity", "The leaf is a CA certificate."},
    ReasonText<PathCode>{PathCode::subjectAltNameMissing, "subject-alt-name-missing",
                         "The leaf has no subject alternative name."},
    ReasonText<PathCode>{PathCode::expiresTooSoon, "expires-too-soon",
                         "A certificate expires before the time until which the chain must be valid."},
    ReasonText<PathCode>{PathCode::emptyCaSubject, "empty-ca-subject",
                         "A CA certificate has an empty subject."},
};

constexpr std::array warnings = {
    ReasonText<PathWarningId>{PathWarningId::pathLength, "path-length",
                              "There are more CA certificates below this one than its path length allows."},
    ReasonText<PathWarningId>{PathWarningId::noKeyCertSign, "no-key-cert-sign",
                              "The key usage of this CA certificate does not include signing certificates."},
    ReasonText<PathWarningId>{PathWarningId::extendedKeyUsage, "extended-key-usage",
                              "The certificate may not be used for the purpose that was asked for."},
    ReasonText<PathWarningId>{PathWarningId::namesDoNotLink, "names-do-not-link",
                              "The certificate names another issuer than the one that signed it."},
    ReasonText<PathWarningId>{PathWarningId::smallRsaExponent, "small-rsa-exponent",
                              "The certificate's RSA key has a public exponent below 65537."},
    ReasonText<PathWarningId>{PathWarningId::criticalPolicies, "critical-policies",
                              "The certificate has a critical policy extension, which was not evaluated."},
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
    ReasonText<CrlStatus>{CrlStatus::notNeeded, "not-needed",
                          "The CRL does not concern any certificate of the chain."},
    ReasonText<CrlStatus>{CrlStatus::notYetValid, "not-yet-valid",
                          "The CRL was issued after the time of validation."},
    ReasonText<CrlStatus>{CrlStatus::outOfDate, "out-of-date",
                          "A newer CRL should have been issued before the time of validation."},
    ReasonText<CrlStatus>{CrlStatus::otherScope, "other-scope",
                          "The CRL covers other certificates of its issuer."},
    ReasonText<CrlStatus>{CrlStatus::unsupported, "unsupported",
                          "The CRL has a critical extension that is not supported."},
    ReasonText<CrlStatus>{CrlStatus::superseded, "superseded",
                          "The CRL revokes a certificate of the chain, and a newer one, which does not, was "
                          "asked in its place."},
};

} // namespace

std::span<ReasonText<PathCode> const> pathCodes() { return codes; }
std::span<ReasonText<PathWarningId> const> pathWarnings() { return warnings; }

ReasonText<PathCode> const* findPathCode(int code) {
    return code >= 0 && static_cast<size_t>(code) < codes.size() ? &codes[static_cast<size_t>(code)]
                                                                 : nullptr;
}

ReasonText<PathWarningId> const& getReasonText(PathWarningId id) { return warnings[static_cast<size_t>(id)]; }

std::string PathExplanation::reason() const {
    if (code == static_cast<int>(PathCode::valid))
        return {};
    return error.empty() ? findPathCode(code)->sentence : error;
}

std::string_view getPathRulesName(unsigned rules) {
    switch (rules) {
    case PathRules::platform:
        return "platform";
    case PathRules::rfc5280:
        return "rfc5280";
    case PathRules::strict:
        return "strict";
    default:
        return {};
    }
}

std::span<ReasonText<SearchLimit> const> searchLimits() { return limits; }
std::span<ReasonText<CrlStatus> const> crlStatuses() { return statuses; }

ReasonText<SearchLimit> const& getReasonText(SearchLimit limit) {
    return limits[static_cast<size_t>(limit) - 1];
}

ReasonText<CrlStatus> const& getReasonText(CrlStatus status) { return statuses[static_cast<size_t>(status)]; }

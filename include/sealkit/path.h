/// Path building and validation: from a certificate to a trust decision (RFC 5280, section 6; RFC 6125 and
/// RFC 9525 for host names).
///
/// | member | what it does |
/// | --- | --- |
/// | `x509BuildPath` | appends to a chain the issuers that a store holds |
/// | `x509ValidatePath` | checks a chain: identity, name constraints, dates, revocation, signatures |
/// | `x509ExplainPath` | the decision under sets of rules, with the certificate, the rule and the conflicting facts |
/// | `x509PathWarnings` | checks that validation omits on purpose and that would fail |
/// | `x509CrlWarnings` | the same for one CRL |
/// | `verifySignature` | verifies the signature of one object under its issuer's public key |
/// | `pathCodes`, `pathWarnings` | the result codes and the warnings with their names and sentences |
///
/// A chain is a vector of certificates: the leaf first, each followed by its issuer.
///
/// The platform's rules do not check path length, key usage and extended key usage, whether issuer and
/// subject names match, certificate policies, or the signature, dates and scope of a CRL. `x509PathWarnings`
/// reports these, and the standard rules (`PathRules`) check them. Nothing is fetched from a network: the
/// caller provides chains, stores and CRLs. `PathSearch` (search.h) finds the chain that validates among many
/// certificates.
///
/// All functions are stateless and only read the store.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/detail/export.h"
#include "sealkit/name.h"
#include "sealkit/refusal.h"
#include "sealkit/store.h"
#include "sealkit/timepoint.h"
#include "sealkit/x509.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The leaf, its issuer, and so on upward.
using CertificateChain = std::vector<std::shared_ptr<X509Certificate>>;

/// The details of a signature check.
struct PathRes {
    std::int32_t code = 0; ///< 7, 8 or 9 of `PathCode`; meaningless if the check succeeded.
};

/// The results of `x509ValidatePath` by name. `pathCodes` has a sentence for each.
enum class PathCode : int {
    valid = 0,
    emptyChain = 1,
    identityMismatch = 2,
    notCa = 3,
    notYetValid = 4,
    expired = 5,
    noAnchor = 6,
    issuerKeyUnreadable = 7,
    algorithmMismatch = 8,
    badSignature = 9,
    revoked = 10,
    crlMissing = 11,
    nameConstraintViolated = 12,
    // Of the standard rules; the first one also of the platform's.
    unsupportedCertificate = 13,
    namesDoNotChain = 14,
    pathTooLong = 15,
    keyCertSignMissing = 16,
    unknownCriticalExtension = 17,
    malformedExtension = 18,
    unsupportedNameConstraint = 19,
    policyRequired = 20,
    invalidPolicyMapping = 21,
    purposeMismatch = 22,
    revocationUndetermined = 23,
    // Of the strict rules.
    weakSignatureHash = 24,
    shortRsaKey = 25,
    smallRsaExponent = 26,
    weakCurve = 27,
    wideWildcard = 28,
    invalidSerialNumber = 29,
    keyIdentifierMissing = 30,
    wrongCriticality = 31,
    extendedKeyUsageMissing = 32,
    anyExtendedKeyUsage = 33,
    caAsEndEntity = 34,
    subjectAltNameMissing = 35,
    expiresTooSoon = 36, ///< Only if `PathOptions::validUntil` is set.
    emptyCaSubject = 37, ///< Of the strict rules.
};

/// What validation left unchecked. `pathWarnings` has a sentence for each.
enum class PathWarningId : unsigned {
    pathLength,
    noKeyCertSign,
    extendedKeyUsage,
    namesDoNotLink,
    smallRsaExponent,
    criticalPolicies,
    crlSignature,
    crlNotYetValid,
    crlOutOfDate,
    crlIssuerNoCrlSign,
    crlScope,
};

/// Every result code, in ascending order.
SEALKIT_API std::span<ReasonText<PathCode> const> pathCodes();
/// Every warning, in ascending order.
SEALKIT_API std::span<ReasonText<PathWarningId> const> pathWarnings();
/// The row of a result code; null for an unknown code.
SEALKIT_API ReasonText<PathCode> const* findPathCode(int code);
/// The row of a warning.
SEALKIT_API ReasonText<PathWarningId> const& getReasonText(PathWarningId id);

/// The purpose of the leaf (RFC 5280, section 4.2.1.12).
enum class PathPurpose : unsigned {
    /// `tlsServer` if a host name or an address is given, otherwise `any`. Under the standard rules,
    /// `emailProtection` if only an e-mail address is given.
    byIdentity,
    any,             ///< Not checked.
    tlsServer,       ///< serverAuth.
    tlsClient,       ///< clientAuth.
    codeSigning,     ///< codeSigning.
    emailProtection, ///< emailProtection.
    timeStamping,    ///< timeStamping.
    ocspSigning,     ///< OCSPSigning.
};

/// Sets of rules for validating chains, as bits. docs/validation.md compares them.
struct PathRules {
    enum : unsigned {
        /// Exactly what `x509ValidatePath` checks.
        platform = 1u << 0,
        /// RFC 5280, sections 6.1 and 6.3, RFC 9525 for host names, and extended key usage along the chain.
        rfc5280 = 1u << 1,
        /// `rfc5280`, and the rules of public CAs: no weak hashes, keys or curves, and the prescribed form of
        /// certificates.
        strict = 1u << 2,
    };
};

/// A certificate policy that a chain is valid for (RFC 5280, section 6.1.6).
struct PathPolicy {
    std::vector<unsigned char> oid; ///< Content octets, in the terms of the anchor's domain.
    /// policyQualifiers, the whole encoding: those of every certificate on the policy's way, without
    /// duplicates. Empty if absent, and for further policies after 1 MiB.
    std::vector<unsigned char> qualifiers;
};

/// The name of a purpose: "any", "tls-server", "tls-client", "code-signing", "email-protection",
/// "time-stamping", "ocsp-signing". Empty for `byIdentity`.
SEALKIT_API std::string_view getPathPurposeName(PathPurpose purpose);
/// The purpose of such a name.
SEALKIT_API std::optional<PathPurpose> parsePathPurpose(std::string_view name);
/// The name of one set of rules: "platform", "rfc5280", "strict". Empty for any other number.
SEALKIT_API std::string_view getPathRulesName(unsigned rules);

/// What a chain is validated for. The views must live as long as the options.
///
/// Only the standard rules use the policies, `checkLeafCrlOnly` and `otherCertificates`. They check
/// `purpose`; under the platform's rules only `x509PathWarnings` does.
struct PathOptions {
    TimePoint now;                                 ///< The time to validate at.
    std::string_view hostName;                     ///< Empty: not checked.
    IPAddr6 address;                               ///< All zero: not checked.
    std::string_view email;                        ///< Empty: not checked.
    bool checkCrls = false;                        ///< Whether each certificate is looked up in a CRL.
    PathPurpose purpose = PathPurpose::byIdentity; ///< The purpose of the leaf.
    unsigned rules = PathRules::platform;          ///< Bits of `PathRules`. Each set must accept the chain.
    TimePoint validUntil;                          ///< No certificate may expire before it; 0: not checked.
    bool checkLeafCrlOnly = false;                 ///< With `checkCrls`: only the leaf is looked up.

    /// user-initial-policy-set (RFC 5280, section 6.1.1): content octets of identifiers. Empty: any policy.
    std::vector<std::vector<unsigned char>> policies;
    bool requirePolicy = false;        ///< initial-explicit-policy.
    bool inhibitPolicyMapping = false; ///< initial-policy-mapping-inhibit.
    bool inhibitAnyPolicy = false;     ///< initial-any-policy-inhibit.

    /// Untrusted certificates that may have signed CRLs. `PathSearch` adds those of its pool.
    std::span<std::shared_ptr<X509Certificate> const> otherCertificates;
};

/// A result of validation, and its reasons.
struct PathExplanation {
    int code = 0;      ///< The result of `x509ValidatePath`.
    std::string error; ///< The text that `x509ValidatePath` assigns; empty where it assigns none.
    /// The certificate's index in the chain; for a valid chain, where it meets its anchor.
    unsigned depth = 0;
    std::string subject;     ///< That certificate's display name; empty for an empty chain.
    std::vector<Fact> facts; ///< The conflicting facts: what was expected first, what was found next.
    /// The set of rules that gave this result: the first, if all accept.
    unsigned rules = PathRules::platform;
    /// The policies that the chain is valid for under the standard rules; anyPolicy if neither the chain nor
    /// the caller restricts them. Empty if it is valid for no policy and needs none.
    std::vector<PathPolicy> policies;

    /// `error`, or if that is empty the sentence of the code. Empty for a valid chain.
    SEALKIT_API std::string reason() const;
};

/// A check that validation omits and that would fail.
struct PathWarning {
    PathWarningId id{}; ///< The row of `pathWarnings`.
    /// The certificate's index in the chain; for a CRL, that of the certificate it was looked up for.
    unsigned depth = 0;
    std::string subject;     ///< That certificate's display name.
    std::vector<Fact> facts; ///< What it is about. May hold any byte.
};

/// A certificate's subject as text; if the subject is empty, its subject alternative names joined with ", ".
SEALKIT_API std::string getDisplayName(X509Certificate const& certificate);

/// Appends to `chain` the issuers of `start` that `store` holds, up to the first self-signed one. A null
/// `start` stands for the last element of `chain`; `start` itself is never appended, so a caller puts the
/// leaf into `chain` first. Returns whether `chain` is not empty at the end, which does not mean that it
/// reached a root. Building stops, with a line on standard output that names the key identifier, if the store
/// has no issuer, if the issuer is not a CA, or if the chain returns to a certificate that it already
/// contains.
SEALKIT_API bool x509BuildPath(CertificateStore const& store, CertificateChain& chain,
                               std::shared_ptr<X509Certificate> start);

/// Validates a chain at the time `now`. The leaf must have at least one of the host name, address and e-mail
/// address that are given; an empty name and the all-zero address count as not given. With `checkCrls` each
/// certificate is looked up in the CRL of its issuer. Returns a `PathCode` as a number, 0 if the chain is
/// valid; on 2, 4, 5 and 7 to 13 assigns a line of text to `*error`, which is otherwise unchanged and may be
/// null. On 11 writes the chain's distribution points to standard output.
SEALKIT_API int x509ValidatePath(CertificateChain const& chain, CertificateStore const& store, TimePoint now,
                                 std::string_view hostName, IPAddr6 const& address, std::string_view email,
                                 bool checkCrls, std::string* error);

/// The decision under the sets of `options.rules`, explained: the first refusal, from the platform's rules to
/// the strict ones, or that the chain is valid. Under the platform's rules it is the decision of
/// `x509ValidatePath`. Writes nothing to standard output.
SEALKIT_API PathExplanation x509ExplainPath(CertificateChain const& chain, CertificateStore const& store,
                                            PathOptions const& options);

/// What validation of this chain leaves unchecked and other validators refuse, in the order of the chain:
/// from the leaf up to the trusted certificate, or to the end of the chain. CRLs are checked if
/// `options.checkCrls` is set. Empty for an empty chain.
SEALKIT_API std::vector<PathWarning>
x509PathWarnings(CertificateChain const& chain, CertificateStore const& store, PathOptions const& options);

/// What is wrong with a CRL of `issuer` at the time `now`: its signature, its dates, a limited scope (RFC
/// 5280, section 5.2.5). The subject is the issuer's, and the depth 0.
SEALKIT_API std::vector<PathWarning> x509CrlWarnings(X509Crl const& crl, X509Certificate const& issuer,
                                                     TimePoint now);

/// Verifies the signature of a certificate, CRL or request with the DER SubjectPublicKeyInfo of its issuer.
/// On failure `result->code` is 7 (the key is unreadable), 8 (the signature's algorithm is unknown or not of
/// the key's type) or 9 (the signature does not verify). Neither pointer may be null.
SEALKIT_API bool verifySignature(X509Base const* object, asn1::blob issuerKeyInfo, PathRes* result);

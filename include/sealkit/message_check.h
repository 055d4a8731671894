/// Checking signed messages and time-stamps: who signed, whether the signatures are valid, and what was left
/// unchecked.
///
/// | member                      | what it is                                                                   |
/// | --------------------------- | ---------------------------------------------------------------------------- |
/// | `checkMessage`              | checks every signer of a `PKCS7SignedData`, and the chain of its certificate |
/// | `checkTimeStamp`            | the same for a time-stamp token, and what it states (RFC 3161)               |
/// | `looksLikeSignedAttributes` | whether a content must not be signed without attributes                      |
/// | `MessageVerdict`            | the findings, and for each signer its certificate and chain                  |
/// | `MessageFinding`            | a failure, a warning or a note, with the facts behind it                     |
/// | `messageFindings`           | the table of ids, names and sentences                                        |
///
/// `PKCS7SignedData::verify` gives the first failure of the same checks as text; it asks for no purpose and
/// no CRLs. Chains are searched as `PathSearch` (search.h) does.
///
/// An invalid counter-signature does not make a message fail, nor does an invalid time-stamp of a signature,
/// because they do not concern the content: a warning reports it. A valid time-stamp changes no verdict
/// either: certificates are validated at the time of the options.
///
/// Not checked: time-stamps of time-stamps and CRLs within the message, which warnings report; and the list
/// of digest algorithms, which is not signed.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/path.h"
#include "sealkit/pkcs7.h"
#include "sealkit/refusal.h"
#include "sealkit/search.h"
#include "sealkit/store.h"
#include "sealkit/timestamp.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// What a check can find. In the sentences, "it" is the signer or the token.
enum class MessageFindingId : unsigned {
    // Failures: of the message.
    malformedContent,
    otherContentGiven,
    noSigners,
    tooManyCertificates,
    tooManySigners,

    // Failures: of a signer.
    noContentType,
    otherContentType,
    noDigest,
    otherDigest,
    contentIsAttributes,
    noCertificate,
    unsupportedDigest,
    unsupportedAlgorithm,
    noRsaKey,
    otherKey,
    badSignature,
    notTried,
    untrusted,

    // Failures: of a time-stamp.
    noTimeStamp,
    otherImprint,
    missingNonce,
    otherNonce,
    otherPolicy,
    futureTime,
    severalAuthorities,
    notForTimeStamps,
    invalidAtItsTime,
    otherSigningCertificate,
    certificateNotIncluded,
    unknownCriticalExtension,
    malformedExtensions,

    // Warnings.
    weakDigest,
    uncheckedCounterSignature,
    falseCounterSignature,
    untrustedCounterSignature,
    uncheckedTimeStamp,
    falseTimeStamp,
    uncheckedCrls,
    ignoredObjects,
    futureSigningTime,
    signingTimeOutsideValidity,
    rewrittenIssuer,
    keyUsage,
    weakImprint,
    noSigningCertificate,
    otherAuthorityName,

    // Notes.
    counterSigned,
    timeStamped,
    issuerDoesNotRoundTrip,
    chainNotSearched,
};

/// Every id with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<MessageFindingId> const> messageFindings();
/// The row of an id.
SEALKIT_API ReasonText<MessageFindingId> const& getReasonText(MessageFindingId id);

/// What a finding means for the verdict.
enum class FindingWeight : unsigned {
    note,    ///< Information.
    warning, ///< Something unchecked or unusual.
    failure, ///< The message does not verify.
};

/// The weight of the findings with this id.
SEALKIT_API FindingWeight getWeight(MessageFindingId id);

/// Something that a check found.
struct SEALKIT_API MessageFinding {
    MessageFindingId id{};   ///< The row of `messageFindings`.
    size_t signer = 0;       ///< Numbered from 1; 0 for the message as a whole.
    std::vector<Fact> facts; ///< May hold any byte. For `untrusted`, see the signer's chain.

    /// The finding as a line for people, without a line end.
    std::string str() const;
};

/// The result for one signer, besides the findings.
struct SignerVerdict {
    PKCS7SignerInfo const* info = nullptr;        ///< Of the message.
    std::shared_ptr<X509Certificate> certificate; ///< Null if it is not available.
    /// Shared by the signers of a certificate; null if not searched.
    std::shared_ptr<PathVerdict const> path;
    /// The signers that signed this signer's signature or, in turn, one of those signatures. Those whose
    /// signatures are invalid or that are not trusted appear only in the findings.
    std::vector<SignerVerdict> counterSigners;
    /// Of what is signed; `none` for Ed25519 and for unsupported algorithms. The digest algorithm of the
    /// signer is that of the content, and may be another.
    HashID signatureHash = HashID::none;
};

/// The result of a check.
struct SEALKIT_API MessageVerdict {
    std::vector<MessageFinding> findings; ///< Signer by signer.
    std::vector<SignerVerdict> signers;   ///< In the message's order; empty if limits were exceeded.
    /// If CRLs are checked, the best status of each CRL among the signers' chains; `CrlStatus::superseded`
    /// takes precedence.
    std::vector<CrlVerdict> crls;

    /// The first failure; null for a message that verifies.
    MessageFinding const* failure() const;
    /// Whether the message verifies.
    bool isValid() const { return failure() == nullptr; }

    /// Why the message fails: the first failure as text, with the failure of its chain. Empty for a message
    /// that verifies.
    std::string reason() const;
};

/// How a message is checked.
struct MessageCheckOptions {
    PathOptions path;              ///< Time, purpose and CRLs of the signers' chains.
    asn1::blob detachedContent;    ///< The content octets of a message that does not contain them.
    CertificateChain certificates; ///< Further candidates for signers and issuers, which are not trusted.
    bool checkTimeStamps = true;   ///< Those of the signatures. Those of a token are never checked.
};

/// The largest numbers of certificates and of signers of a message that is checked.
inline constexpr size_t maxMessageCertificates = 1000;
/// The number of signers above which a message is not checked.
inline constexpr size_t maxMessageSigners = 100;
/// The largest number of certificates with the same issuer and serial number, or the same key identifier,
/// that are tried for one signer.
inline constexpr size_t maxSignerCandidates = 8;
/// The largest number of failed signature verifications in a message.
inline constexpr size_t maxVainSignatures = 64;
/// The largest number of counter-signatures that are checked, nested ones and those of all signers included.
inline constexpr size_t maxCounterSignatures = 100;
/// The largest size in bytes of a signature whose counter-signatures are checked: each of them reads it.
inline constexpr size_t maxCounterSignedSize = 1 << 16;
/// The largest number of time-stamps of signatures that are checked, those of all signers included.
inline constexpr size_t maxSignatureTimeStamps = 4;
/// The largest number of signatures that are checked for keys that sign the content itself and not its digest
/// (Ed25519 without attributes): each check reads the whole content.
inline constexpr size_t maxContentSignatures = 4;
/// After the chains of this many signers' certificates have failed, no more chains are searched.
inline constexpr size_t maxUntrustedSigners = 4;
/// By how many seconds a stated time may be ahead of the clock.
inline constexpr std::int64_t maxClockSkew = 300;

/// Checks that every signer signed the content, and that the chain of its certificate is valid under `store`.
/// A message without signers fails. The verdict refers to `message`, which must outlive it.
///
/// A signer signs its attributes: they must contain one content type, that of the message, and one digest,
/// that of the content (RFC 5652, section 5.6). A signer without attributes, in a message that was read for
/// the standard rules, signs the content, which must be data. If several certificates match a signer, its own
/// is the one under whose key the signature verifies.
SEALKIT_API MessageVerdict checkMessage(PKCS7SignedData const& message, CertificateStore const& store,
                                        MessageCheckOptions const& options);

/// Whether `content` has the form of the attributes that a signer signs (RFC 5652, section 5.4). A signature
/// without attributes over such content is also valid for another message, and `checkMessage` rejects it.
SEALKIT_API bool looksLikeSignedAttributes(asn1::blob content);

/// The expected contents of a time-stamp.
struct SEALKIT_API TimeStampExpectation {
    HashID hash = HashID::none;        ///< The hash of `digest`.
    std::vector<unsigned char> digest; ///< The digest that must be stamped.
    std::vector<unsigned char> policy; ///< Content octets of the object identifier; empty for any.
    std::vector<unsigned char> nonce;  ///< Content octets of the INTEGER; empty for any.
    bool needsCertificate = false;     ///< Whether the token must contain its signer's certificate.

    /// Expects an answer to `request`.
    static TimeStampExpectation of(TimeStampRequest const& request);
};

/// Checks a token as `checkMessage` does, for the purpose of time-stamping, and that it
///
/// - states the expected digest, nonce and policy, and a time that is not ahead of `options.path.now`;
/// - has one signer, whose certificate has time-stamping as its only extended key usage, critical (RFC 3161,
///   section 2.3), was valid at the stated time, and is the one that the signing certificate attributes name
///   (RFC 5035, RFC 5816);
/// - has no critical extensions (RFC 3161, section 2.4.2; RFC 5280, section 4.2), because none is supported,
///   and no malformed ones, because one of those could be critical.
SEALKIT_API MessageVerdict checkTimeStamp(PKCS7SignedData const& token, TimeStampExpectation const& expected,
                                          CertificateStore const& store, MessageCheckOptions const& options);

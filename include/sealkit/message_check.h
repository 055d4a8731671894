/// Checking signed messages and time-stamps: who signed, whether that holds, and what was left unchecked.
///
/// | member             | what it is                                                                   |
/// | ------------------ | ---------------------------------------------------------------------------- |
/// | `checkMessage`     | checks every signer of a `PKCS7SignedData`, and the chain of its certificate  |
/// | `checkTimeStamp`   | the same for a time-stamp token, and what it states (RFC 3161)                |
/// | `MessageVerdict`   | the findings, and for each signer its certificate and chain                   |
/// | `MessageFinding`   | a failure, a warning or a note, with the facts that it rests on               |
/// | `messageFindings`  | the table of ids, names and sentences                                         |
///
/// `PKCS7SignedData::verify` gives the first failure of the same checks as text; it asks for no purpose and
/// no CRLs. Chains are searched as `PathSearch` (search.h) does.
///
/// A false counter-signature does not make a message fail, as it says nothing about the content: a warning
/// names it.
///
/// Not checked: time-stamps of signatures, and CRLs within the message; a warning names each. Nor is the list
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

/// What a check can find. "It" in the sentences is the signer, or the token.
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
    issuerDoesNotRoundTrip,
    chainNotSearched,
};

/// Every id with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<MessageFindingId> const> messageFindings();
/// The row of an id.
SEALKIT_API ReasonText<MessageFindingId> const& getReasonText(MessageFindingId id);

/// What a finding means for the verdict.
enum class FindingWeight : unsigned {
    note,    ///< Something to know.
    warning, ///< Left unchecked, or strange.
    failure, ///< The message does not verify.
};

/// The weight of the findings with this id.
SEALKIT_API FindingWeight getWeight(MessageFindingId id);

/// Something that a check found.
struct SEALKIT_API MessageFinding {
    MessageFindingId id{};
    size_t signer = 0;       ///< From 1; 0 for the message as a whole.
    std::vector<Fact> facts; ///< May hold any byte. For `untrusted`, see the signer's chain.

    /// The finding as a line for people, without the end of the line.
    std::string str() const;
};

/// What was found of a signer beside the findings.
struct SignerVerdict {
    PKCS7SignerInfo const* info = nullptr;        ///< Of the message.
    std::shared_ptr<X509Certificate> certificate; ///< Null if it is not available.
    std::shared_ptr<PathVerdict const>
        path; ///< Shared by the signers of a certificate; null if not searched.
    /// The holders of these keys signed the signer's signature, or one of them that. Those whose signatures
    /// are false or that are not trusted are among the findings alone.
    std::vector<SignerVerdict> counterSigners;
};

/// The result of a check.
struct SEALKIT_API MessageVerdict {
    std::vector<MessageFinding> findings; ///< Signer by signer.
    std::vector<SignerVerdict> signers;   ///< In the message's order; empty if limits were exceeded.
    /// If CRLs are asked for, the best that the signers' chains make of each, but `CrlStatus::superseded`
    /// before all.
    std::vector<CrlVerdict> crls;

    /// The first failure; null for a message that verifies.
    MessageFinding const* failure() const;
    bool isValid() const { return failure() == nullptr; }

    /// Why the message fails: the first failure as text, with what its chain lacks. Empty for a message that
    /// verifies.
    std::string reason() const;
};

/// How a message is checked.
struct MessageCheckOptions {
    PathOptions path;           ///< Time, purpose and CRLs of the signers' chains.
    asn1::blob detachedContent; ///< The content octets, of a message without its content.
    CertificateChain
        certificates; ///< Further candidates for signers and issuers; they are not trusted for it.
};

/// The number of certificates and signers above which a message is not checked.
inline constexpr size_t maxMessageCertificates = 1000;
inline constexpr size_t maxMessageSigners = 100;
/// The number of certificates of one issuer and serial number, or one key identifier, that are tried for a
/// signer, and that of all signatures that are verified in vain.
inline constexpr size_t maxSignerCandidates = 8;
inline constexpr size_t maxVainSignatures = 64;
/// The number of counter-signatures that are checked, in one another and of all signers.
inline constexpr size_t maxCounterSignatures = 100;
/// The number of signatures that are checked of keys which sign the content without a digest before it
/// (Ed25519 without attributes): each reads all of the content.
inline constexpr size_t maxContentSignatures = 4;
/// The number of certificates of signers whose chains may fail before no more are searched.
inline constexpr size_t maxUntrustedSigners = 4;
/// By how many seconds a time may be ahead, as clocks differ.
inline constexpr std::int64_t maxClockSkew = 300;

/// Checks that every signer signed the content, and that the chain of its certificate is valid under `store`.
/// A message without signers fails. The verdict views `message`.
///
/// What a signer signed are its attributes: they must hold one content type, the message's, and one digest,
/// that of the content (RFC 5652, section 5.6). A signer without attributes, of a message that was read for
/// the standard rules, signed the content. Of several certificates that a signer may mean, its own is the one
/// under whose key the signature verifies.
SEALKIT_API MessageVerdict checkMessage(PKCS7SignedData const& message, CertificateStore const& store,
                                        MessageCheckOptions const& options);

/// What a time-stamp is expected to state.
struct SEALKIT_API TimeStampExpectation {
    HashID hash = HashID::none;
    std::vector<unsigned char> digest;
    std::vector<unsigned char> policy; ///< Content octets of the object identifier; empty for any.
    std::vector<unsigned char> nonce;  ///< Content octets of the INTEGER; empty for any.
    bool needsCertificate = false;     ///< Whether the token must contain its signer's certificate.

    /// Expects an answer to `request`.
    static TimeStampExpectation of(TimeStampRequest const& request);
};

/// Checks a token as `checkMessage` does, for the purpose of time-stamping, and that it
///
/// - states the expected digest, nonce and policy, and a time that is not ahead of `options.path.now`;
/// - has one signer, whose certificate is for time-stamps alone, critically (RFC 3161, section 2.3), was
///   valid at the stated time, and is the one that the signing certificate attributes name (RFC 5035, RFC
///   5816);
/// - has no critical extensions (RFC 3161, section 2.4.2; RFC 5280, section 4.2), as none are supported, and
///   no malformed ones, among which a critical one could hide.
SEALKIT_API MessageVerdict checkTimeStamp(PKCS7SignedData const& token, TimeStampExpectation const& expected,
                                          CertificateStore const& store, MessageCheckOptions const& options);

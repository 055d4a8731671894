/// Refusals: why a reader refused its input, as a value.
///
/// | member       | what it is                                                                        |
/// | ------------ | --------------------------------------------------------------------------------- |
/// | `Refusal`    | what was refused, where, and the conflicting facts                                |
/// | `RefusalId`  | what was refused: a stable id, which also has a name in kebab case and a sentence |
/// | `refusals`   | the table of ids, names and sentences                                             |
/// | `Fact`       | a labelled value that takes part in a refusal or in a verdict on a chain          |
/// | `FormRules`  | the rules of validation that certificates and CRLs are read for                   |
/// | `ReasonText` | a row of a table of reasons, here and in path.h                                   |
///
/// Every reader of the library has an overload that takes a `Refusal*` last. That overload writes nothing to
/// any stream. On failure it assigns to `*refusal`, unless that is null; on success it leaves `*refusal`
/// unchanged. The overloads without it are the same readers, which write their diagnostics to the streams
/// that their comments name.
///
/// Texts and facts may hold any byte of the input: pass them through `printable` (text.h) before they reach a
/// terminal.
#pragma once

#include "sealkit/detail/export.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What was refused. `refusals` has a name and a sentence for each.
enum class RefusalId : unsigned {
    none, ///< Nothing was refused.

    // The input as a whole.
    missingFile,
    unreadableFile,
    emptyInput,
    inputTooLarge,
    otherKind,
    unknownForm,

    // The encoding (ITU-T X.690).
    truncatedElement,
    indefiniteLength,
    unsupportedLength,
    unsupportedTag,
    missingElement,
    unexpectedElement,
    trailingBytes,
    emptyInteger,
    segmentedString,
    severalValues,
    numberOutOfRange,
    malformedBoolean,
    malformedBitString,
    malformedOid,
    malformedTime,
    malformedName,
    malformedGeneralName,
    nestedTooDeep,

    // PEM (RFC 7468).
    pemWithoutBlock,
    pemWithoutEnd,
    pemMalformedBegin,
    pemMalformedBase64,
    pemOtherLabel,

    // Keys.
    keyVersion,
    unknownKeyAlgorithm,
    unknownCurve,
    explicitCurve,
    malformedKeyParameters,
    rsaKeyTooLarge,
    rsaKeyUnusable,
    malformedPoint,
    pointNotOnCurve,
    keyLength,
    privateKeyOutOfRange,
    publicKeyOutOfRange,
    publicKeyMismatch,
    inconsistentKey,
    signatureMismatch,
    malformedSignature,
    otherDigest,
    keyCannotVerify,
    keyCannotAgree,
    keysDiffer,
    malformedOpensshKey,
    encryptedOpensshKey,
    severalKeys,

    // Encryption of keys and contents.
    wrongPassword,
    passwordRequired,
    unknownEncryption,
    unsupportedKdf,
    unsupportedPrf,
    unsupportedCipher,
    iterationCount,
    scryptCost,
    malformedEncryptionParameters,
    malformedCiphertext,

    // Certificates, CRLs and requests.
    certificateVersion,
    algorithmMismatch,
    repeatedExtension,
    repeatedAttribute,
    unknownCriticalExtension,
    malformedExtension,
    severalSubtrees,
    unsupportedCriticalConstraint,
    uniqueIdentifiers,
    limitedTrust,

    // Messages.
    messageVersion,
    unsupportedContentType,
    unsupportedDigest,
    digestParameters,
    unsupportedSignatureAlgorithm,
    unsupportedSigner,
    noSignedAttributes,
    unsupportedRecipient,
    notARecipient,
    noPassword,
    unsupportedCertificateKind,
    unsupportedRequestExtensions,
    unsupportedKeyEncryption,
    noRsaKey,
    missingContent,
    undecryptable,
    changedContent,

    // Mail.
    otherMail,
    malformedMail,
    unsupportedTransferEncoding,
    malformedHeader,
    notSevenBit,

    // PKCS#12.
    pkcs12Version,
    emptyMac,
    unsupportedMac,
    macMismatch,
    contentPassword,
    totalIterations,
};

/// The rules that an object is read for: for certificates and CRLs the rules of validation (path.h), for
/// messages their own. The `platformRefusal` of a certificate or CRL tells why the platform's rules do not
/// support it.
enum class FormRules : bool {
    platform, ///< Refuses what the platform's rules do not support.
    /// Also accepts what RFC 5280 and RFC 5652 define and the platform's rules do not support. The input may
    /// be BER, which is converted (ber.h) and does not cause a `platformRefusal`.
    standard,
};

/// A labelled value: "found" and "INTEGER", "now" and a date.
struct Fact {
    std::string label; ///< What the value is.
    std::string value; ///< Unescaped: may hold any byte of the input.
};

/// One row of a table of reasons.
template <typename Id>
struct ReasonText {
    Id id;                ///< The number.
    char const* name;     ///< A short name in kebab case, stable.
    char const* sentence; ///< Its meaning, as a sentence for people.
};

/// Why a reader refused its input.
struct SEALKIT_API Refusal {
    static constexpr size_t nowhere = static_cast<size_t>(-1); ///< The offset of a refusal without a place.

    RefusalId id = RefusalId::none; ///< The row of `refusals`; `RefusalId::none` if nothing was refused.
    /// In bytes from the start of the caller's input; in PEM, from the start of the block's DER. In decrypted
    /// or converted bytes, the place of the element that they came from.
    size_t offset = nowhere;
    size_t block = 0;        ///< The number of the PEM block, from 1; 0 outside PEM.
    size_t line = 0;         ///< The line, from 1, where PEM is malformed; otherwise 0.
    std::string path;        ///< The place in words: "extension 4 (nameConstraints), subtree 2".
    std::vector<Fact> facts; ///< The conflicting facts: what was expected first, what was found next.

    /// Whether anything was refused.
    explicit operator bool() const { return id != RefusalId::none; }

    /// The name of `id` in kebab case.
    char const* name() const;

    /// The whole refusal as a line for people, without a line end: where, what, and the facts.
    std::string str() const;
};

/// Every id but `RefusalId::none` with its name and sentence, in ascending order.
SEALKIT_API std::span<ReasonText<RefusalId> const> refusals();
/// The row of an id other than `RefusalId::none`.
SEALKIT_API ReasonText<RefusalId> const& getReasonText(RefusalId id);

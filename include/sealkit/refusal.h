/// Why a reader refused its input, as a value.
///
/// | member          | what it is                                                                      |
/// | --------------- | ------------------------------------------------------------------------------- |
/// | `Refusal`       | what was refused, where, and the facts that disagree                             |
/// | `RefusalId`     | what was refused: a stable id, which also has a name in kebab case and a sentence |
/// | `refusals`      | the table of ids, names and sentences                                            |
/// | `Fact`          | a labelled value that takes part in a refusal or in a verdict on a chain         |
/// | `FormRules`     | for which rules of validation certificates and CRLs are read                     |
/// | `ReasonText`    | a row of a table of reasons, here and in path.h                                  |
///
/// Every reader of the library has an overload that takes a `Refusal*` last. That overload writes nothing to
/// any stream. On failure it assigns to `*refusal`, on success it leaves `*refusal` unchanged; a null pointer
/// asks for silence alone. The overloads without it are the same readers, which write their diagnostics to
/// the streams that their comments name.
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

/// For which rules an object is read: a certificate or CRL for rules of validation (path.h), a message for
/// itself. A certificate or CRL that only the standard rules support tells what the platform's rules have
/// against it: its `platformRefusal`.
enum class FormRules : bool {
    platform, ///< What the platform's rules do not support is refused.
    /// What RFC 5280 and RFC 5652 know and the platform's rules do not support is read as well. The input may
    /// be BER, which is converted (ber.h): that says nothing against an object.
    standard,
};

/// A labelled value: "found" and "INTEGER", "now" and a date.
struct Fact {
    std::string label; ///< What the value is.
    std::string value; ///< As it stands in the input: may hold any byte.
};

/// One row of a table of reasons.
template <typename Id>
struct ReasonText {
    Id id;                ///< The number.
    char const* name;     ///< A short name in kebab case, stable.
    char const* sentence; ///< What it means, as a sentence for people.
};

/// Why a reader refused its input.
struct SEALKIT_API Refusal {
    static constexpr size_t nowhere = static_cast<size_t>(-1); ///< The offset of what has no place.

    RefusalId id = RefusalId::none; ///< The row of `refusals`; `RefusalId::none` if nothing was refused.
    /// In bytes from the start of the input that the caller gave; in PEM, from the start of the block's DER.
    /// In bytes that were decrypted or converted, the place of the element that they came from.
    size_t offset = nowhere;
    size_t block = 0;        ///< The number of the PEM block, from 1; 0 outside PEM.
    size_t line = 0;         ///< The line, from 1, where the framing of PEM is wrong; 0 elsewhere.
    std::string path;        ///< The way to the place: "extension 4 (nameConstraints), subtree 2".
    std::vector<Fact> facts; ///< What disagrees: what was expected first, what was found next.

    /// Whether anything was refused.
    explicit operator bool() const { return id != RefusalId::none; }

    /// The name of `id` in kebab case.
    char const* name() const;

    /// All of it as a line for people, without the end of the line: where, what, and the facts.
    std::string str() const;
};

/// Every id with its name and sentence, in ascending order, `RefusalId::none` left out.
SEALKIT_API std::span<ReasonText<RefusalId> const> refusals();
/// The row of an id other than `RefusalId::none`.
SEALKIT_API ReasonText<RefusalId> const& getReasonText(RefusalId id);

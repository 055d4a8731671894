#include "sealkit/refusal.h"

#include <array>

namespace {

using Row = ReasonText<RefusalId>;

constexpr std::array rows = {
    Row{RefusalId::missingFile, "missing-file", "The file does not exist."},
    Row{RefusalId::unreadableFile, "unreadable-file", "The file cannot be read."},
    Row{RefusalId::emptyInput, "empty-input", "The input is empty."},
    Row{RefusalId::inputTooLarge, "input-too-large", "The input is larger than the limit."},
    Row{RefusalId::otherKind, "other-kind", "The input holds an object of another kind than was asked for."},
    Row{RefusalId::unknownForm, "unknown-form", "The input is neither PEM nor DER of a known kind."},

    Row{RefusalId::truncatedElement, "truncated-element",
        "An element is longer than the bytes that are left for it."},
    Row{RefusalId::indefiniteLength, "indefinite-length",
        "An element has an indefinite length: that is BER, and DER is required."},
    Row{RefusalId::unsupportedLength, "unsupported-length",
        "The length of an element takes more than four octets."},
    Row{RefusalId::unsupportedTag, "unsupported-tag", "The tag of an element takes more than four octets."},
    Row{RefusalId::missingElement, "missing-element", "A required element is missing."},
    Row{RefusalId::unexpectedElement, "unexpected-element", "An element of another type is required here."},
    Row{RefusalId::trailingBytes, "trailing-bytes", "Bytes follow the end of the object."},
    Row{RefusalId::emptyInteger, "empty-integer", "An INTEGER has no content."},
    Row{RefusalId::segmentedString, "segmented-string",
        "A string is encoded in segments: that is BER, and DER is required."},
    Row{RefusalId::severalValues, "several-values", "An attribute with a single value has several."},
    Row{RefusalId::numberOutOfRange, "number-out-of-range", "A number is outside the range of its field."},
    Row{RefusalId::malformedBoolean, "malformed-boolean", "A BOOLEAN does not have exactly one octet."},
    Row{RefusalId::malformedBitString, "malformed-bit-string",
        "A BIT STRING is empty or has unused bits where whole octets are required."},
    Row{RefusalId::malformedOid, "malformed-oid", "The object identifier is malformed."},
    Row{RefusalId::malformedTime, "malformed-time", "The time is not a UTCTime or GeneralizedTime in UTC."},
    Row{RefusalId::malformedName, "malformed-name", "The distinguished name is malformed."},
    Row{RefusalId::malformedGeneralName, "malformed-general-name", "The general name is malformed."},
    Row{RefusalId::nestedTooDeep, "nested-too-deep", "Objects are nested more deeply than the limit."},

    Row{RefusalId::pemWithoutBlock, "pem-without-block", "The text has no PEM block of the expected kind."},
    Row{RefusalId::pemWithoutEnd, "pem-without-end", "A PEM block has no END line."},
    Row{RefusalId::pemMalformedBegin, "pem-malformed-begin", "The BEGIN line of a PEM block is malformed."},
    Row{RefusalId::pemMalformedBase64, "pem-malformed-base64", "The body of a PEM block is not base64."},
    Row{RefusalId::pemOtherLabel, "pem-other-label", "The PEM block does not have the required label."},

    Row{RefusalId::keyVersion, "key-version", "The key is of an unsupported version."},
    Row{RefusalId::unknownKeyAlgorithm, "unknown-key-algorithm",
        "The algorithm of the key is not supported."},
    Row{RefusalId::unknownCurve, "unknown-curve", "The curve of the key is not supported."},
    Row{RefusalId::explicitCurve, "explicit-curve",
        "The key describes its curve by parameters; only named curves are supported."},
    Row{RefusalId::malformedKeyParameters, "malformed-key-parameters",
        "The parameters of the key's algorithm are missing or malformed."},
    Row{RefusalId::rsaKeyTooLarge, "rsa-key-too-large", "A number of the RSA key is larger than the limit."},
    Row{RefusalId::rsaKeyUnusable, "rsa-key-unusable",
        "A number of the RSA key is even, negative, too small or too large to compute with."},
    Row{RefusalId::malformedPoint, "malformed-point", "The encoding of a point of the curve is malformed."},
    Row{RefusalId::pointNotOnCurve, "point-not-on-curve", "The point does not lie on the curve."},
    Row{RefusalId::keyLength, "key-length", "The key has the wrong number of bytes."},
    Row{RefusalId::privateKeyOutOfRange, "private-key-out-of-range",
        "The private scalar is not between 1 and the order of the group less 1."},
    Row{RefusalId::publicKeyOutOfRange, "public-key-out-of-range",
        "The public key is malformed: a coefficient is not reduced."},
    Row{RefusalId::publicKeyMismatch, "public-key-mismatch",
        "The public key does not match the private key."},
    Row{RefusalId::inconsistentKey, "inconsistent-key", "The numbers of the key are inconsistent."},
    Row{RefusalId::signatureMismatch, "signature-mismatch", "The signature is not of this content and key."},
    Row{RefusalId::malformedSignature, "malformed-signature",
        "The signature is not the shortest DER of two numbers below the order of the group."},
    Row{RefusalId::otherDigest, "other-digest",
        "The signature contains a digest of another algorithm or length than expected."},
    Row{RefusalId::keyCannotVerify, "key-cannot-verify",
        "Keys of this algorithm cannot make such signatures."},
    Row{RefusalId::keyCannotAgree, "key-cannot-agree", "Keys of this algorithm cannot agree on secrets."},
    Row{RefusalId::keysDiffer, "keys-differ", "The two keys are of different kinds or on different curves."},
    Row{RefusalId::malformedOpensshKey, "malformed-openssh-key",
        "The key in OpenSSH's own form is malformed."},
    Row{RefusalId::encryptedOpensshKey, "encrypted-openssh-key",
        "The key is encrypted in OpenSSH's own way, which is not supported."},
    Row{RefusalId::severalKeys, "several-keys", "There are several keys where one is required."},

    Row{RefusalId::wrongPassword, "wrong-password",
        "The password is wrong, or the encrypted data is damaged."},
    Row{RefusalId::passwordRequired, "password-required", "The key is encrypted, and no password was given."},
    Row{RefusalId::unknownEncryption, "unknown-encryption", "The encryption scheme is not supported."},
    Row{RefusalId::unsupportedKdf, "unsupported-kdf", "The key derivation function is not supported."},
    Row{RefusalId::unsupportedPrf, "unsupported-prf",
        "The pseudorandom function of the key derivation is not supported."},
    Row{RefusalId::unsupportedCipher, "unsupported-cipher", "The cipher is not supported."},
    Row{RefusalId::iterationCount, "iteration-count", "The iteration count is zero or above the limit."},
    Row{RefusalId::scryptCost, "scrypt-cost",
        "The parameters of scrypt are malformed, or require more memory or time than the limits."},
    Row{RefusalId::malformedEncryptionParameters, "malformed-encryption-parameters",
        "The parameters of the encryption are malformed."},
    Row{RefusalId::malformedCiphertext, "malformed-ciphertext",
        "The encrypted data is empty or not a whole number of cipher blocks."},

    Row{RefusalId::certificateVersion, "certificate-version", "The certificate is not of version 3."},
    Row{RefusalId::algorithmMismatch, "algorithm-mismatch",
        "The signed part names another signature algorithm than the object around it."},
    Row{RefusalId::repeatedExtension, "repeated-extension", "An extension occurs more than once."},
    Row{RefusalId::repeatedAttribute, "repeated-attribute", "An attribute occurs more than once."},
    Row{RefusalId::unknownCriticalExtension, "unknown-critical-extension",
        "An extension is critical and not supported."},
    Row{RefusalId::malformedExtension, "malformed-extension", "The value of an extension is malformed."},
    Row{RefusalId::severalSubtrees, "several-subtrees",
        "A critical name constraint has several subtrees; only one is supported."},
    Row{RefusalId::unsupportedCriticalConstraint, "unsupported-critical-constraint",
        "A critical constraint is of a kind that is not supported."},
    Row{RefusalId::uniqueIdentifiers, "unique-identifiers",
        "The certificate has unique identifiers, which are not supported."},
    Row{RefusalId::limitedTrust, "limited-trust",
        "OpenSSL's trust settings limit the certificate, but here it would be trusted for everything."},

    Row{RefusalId::messageVersion, "message-version",
        "The message, or a part of it, is of an unsupported version."},
    Row{RefusalId::unsupportedContentType, "unsupported-content-type",
        "The type of the message's content is not supported."},
    Row{RefusalId::unsupportedDigest, "unsupported-digest", "The digest algorithm is not supported."},
    Row{RefusalId::digestParameters, "digest-parameters",
        "The digest algorithm does not have the NULL parameters that are required."},
    Row{RefusalId::unsupportedSignatureAlgorithm, "unsupported-signature-algorithm",
        "The signature algorithm is not supported."},
    Row{RefusalId::unsupportedSigner, "unsupported-signer",
        "The signer is not named by issuer and serial number."},
    Row{RefusalId::noSignedAttributes, "no-signed-attributes",
        "The signer has no signed attributes, which are required."},
    Row{RefusalId::unsupportedRecipient, "unsupported-recipient",
        "The kind of a recipient is not supported."},
    Row{RefusalId::notARecipient, "not-a-recipient",
        "The message is not encrypted to this certificate or key."},
    Row{RefusalId::noPassword, "no-password", "The message is not encrypted under a password."},
    Row{RefusalId::unsupportedCertificateKind, "unsupported-certificate-kind",
        "A certificate or CRL is not X.509."},
    Row{RefusalId::unsupportedRequestExtensions, "unsupported-request-extensions",
        "The request has extensions, which are not supported."},
    Row{RefusalId::unsupportedKeyEncryption, "unsupported-key-encryption",
        "The algorithm that encrypts the content key is not supported."},
    Row{RefusalId::noRsaKey, "no-rsa-key", "The key is not an RSA key."},
    Row{RefusalId::missingContent, "missing-content", "The message does not contain its content."},
    Row{RefusalId::undecryptable, "undecryptable",
        "The message does not decrypt with this key: it is encrypted to another key, or was changed."},
    Row{RefusalId::changedContent, "changed-content",
        "The password decrypts the key of the message, but the content was changed."},

    Row{RefusalId::otherMail, "other-mail",
        "The mail, or a part of it, is of another type than is required."},
    Row{RefusalId::malformedMail, "malformed-mail", "The mail is malformed."},
    Row{RefusalId::unsupportedTransferEncoding, "unsupported-transfer-encoding",
        "The transfer encoding of a part of the mail is not supported."},
    Row{RefusalId::malformedHeader, "malformed-header",
        "The name or value of a header field is malformed, or not in ASCII."},
    Row{RefusalId::notSevenBit, "not-seven-bit",
        "The content is not in 7-bit form, so that a mail gateway could change what is signed."},

    Row{RefusalId::pkcs12Version, "pkcs12-version", "The PKCS#12 file is not of version 3."},
    Row{RefusalId::emptyMac, "empty-mac", "The MAC of the file has no bytes."},
    Row{RefusalId::unsupportedMac, "unsupported-mac", "The MAC algorithm of the file is not supported."},
    Row{RefusalId::macMismatch, "mac-mismatch",
        "The MAC does not verify: the password is wrong, or the file is damaged."},
    Row{RefusalId::contentPassword, "content-password",
        "The password is right for the MAC but does not decrypt this part: it has another password, or is "
        "damaged."},
    Row{RefusalId::totalIterations, "total-iterations",
        "The file as a whole requires more iterations than the limit."},
};

constexpr bool areInOrder() {
    for (size_t i = 0; i < rows.size(); i++)
        if (static_cast<size_t>(rows[i].id) != i + 1)
            return false;
    return true;
}
static_assert(areInOrder(), "each id but none has its row, in the order of the enumeration");

} // namespace

std::span<Row const> refusals() { return rows; }

Row const& getReasonText(RefusalId id) { return rows[static_cast<size_t>(id) - 1]; }

char const* Refusal::name() const { return id == RefusalId::none ? "none" : getReasonText(id).name; }

std::string Refusal::str() const {
    if (id == RefusalId::none)
        return {};
    std::string place;
    auto const add = [&place](std::string const& part) { place += (place.empty() ? "" : ", ") + part; };
    if (block != 0)
        add("block " + std::to_string(block));
    if (line != 0)
        add("line " + std::to_string(line));
    if (!path.empty())
        add(path);
    if (offset != nowhere)
        add("byte " + std::to_string(offset));
    std::string text = place + (place.empty() ? "" : ": ") + getReasonText(id).sentence;
    char const* before = " (";
    for (Fact const& fact : facts) {
        text += before + fact.label + ": " + fact.value;
        before = "; ";
    }
    return facts.empty() ? text : text + ")";
}

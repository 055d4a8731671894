/// S/MIME (RFC 8551): cryptographic messages in mail, and mail in cryptographic messages.
///
/// | member              | what it is                                                              | standard        |
/// |---------------------|-------------------------------------------------------------------------|-----------------|
/// | `SmimeMail`         | the message in a mail, and the content that a detached signature signs   | RFC 8551, 3      |
/// | `looksLikeMail`     | whether bytes begin with the headers of a MIME entity                    | RFC 5322, 2.2    |
/// | `makeSmimeMail`     | a mail that consists of one message: application/pkcs7-mime              | RFC 8551, 3.2    |
/// | `makeClearSigned`   | a mail with readable content and a detached signature: multipart/signed  | RFC 8551, 3.5.3  |
/// | `MailHeader`        | a header field of a new mail                                             | RFC 5322, 3.6    |
/// | `makeTextEntity`    | text as a MIME entity, to be signed or encrypted                         | RFC 2046, 4.1    |
/// | `readTextEntity`    | the text of such an entity                                               | RFC 2046, 4.1    |
/// | `canonicalLineEnds` | text with CR LF line ends, to be signed                                  | RFC 8551, 3.1.1  |
///
/// Only the framing is read and written here: pkcs7.h and enveloped.h have the messages themselves, and
/// nothing is verified or decrypted. A signature does not protect the headers: the sender of a mail is the
/// subject of the signer's certificate.
///
/// Not here: compressed messages, nested parts, header parameters continued as in RFC 2231, and conversion of
/// character sets.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"
#include "sealkit/hash.h"
#include "sealkit/refusal.h"

#include <span>
#include <string>
#include <vector>

/// A parsed mail. `message` and `content` may be secret: the caller wipes them.
struct SEALKIT_API SmimeMail {
    bool isClearSigned = false; ///< multipart/signed: the content is readable, and the signature detached.
    std::vector<unsigned char> message; ///< The ContentInfo, in DER or BER.
    /// The signed part of clear-signed mail, with its headers and with CR LF line ends.
    std::vector<unsigned char> content;
    std::string type; ///< The parameter smime-type in lower case: "signed-data". Empty if it is missing.

    /// Reads a mail, with LF or CR LF line ends, whose content is application/pkcs7-mime,
    /// application/pkcs7-signature or multipart/signed, or one of the first two with "x-" before the name. A
    /// line "From " before the headers, which mailboxes add, is ignored. Returns false if the mail is of
    /// another type, has a signature of another protocol, or is malformed.
    bool parse(asn1::blob mail, Refusal* refusal);
};

/// Whether `input` begins with a header field and its headers have a Content-Type.
SEALKIT_API bool looksLikeMail(asn1::blob input);

/// A header field for a new mail: "Subject" and its text. A subject may be any UTF-8 (RFC 2047); all other
/// values are printable ASCII. MIME-Version and Content-… are the mail's own, and malformed here.
struct MailHeader {
    std::string name;  ///< Without the colon.
    std::string value; ///< Without line breaks.
};

/// A mail that consists of `message`, the DER of a ContentInfo: application/pkcs7-mime in base64. The
/// smime-type follows from the message; a SignedData without signers is certs-only. Line ends are CR LF.
/// Empty, with the reason in `*refusal` unless that is null, if `message` is not a ContentInfo of SignedData,
/// EnvelopedData or AuthEnvelopedData, or if a header is malformed.
SEALKIT_API std::string makeSmimeMail(asn1::blob message, std::span<MailHeader const> headers,
                                      Refusal* refusal = nullptr);

/// A mail with `content`, a MIME entity, and `signature`, the DER of its detached signature. `hashes` are the
/// digest algorithms of the signers. The signature must be over `canonicalLineEnds(content)`. Empty, with a
/// reason, if a header is malformed or if the content is not in the 7-bit form that gateways leave unchanged
/// (RFC 8551, section 3.1.3): bytes above 127, zeros, a CR without LF, and lines of more than 998 characters
/// are refused.
SEALKIT_API std::string makeClearSigned(asn1::blob content, asn1::blob signature,
                                        std::span<HashID const> hashes, std::span<MailHeader const> headers,
                                        Refusal* refusal = nullptr);

/// A text/plain entity with CR LF line ends: unencoded if the text is ASCII with short lines, otherwise in
/// base64 and labelled as UTF-8. The caller wipes it if the text is secret.
SEALKIT_API std::string makeTextEntity(asn1::blob text);

/// Assigns to `*text` the text of a text/plain entity, with LF line ends, decoded from base64 or
/// quoted-printable. Returns false if the entity is of another type, without headers, or malformed. The
/// previous content of `*text` is always wiped, and it is empty if the result is false.
SEALKIT_API bool readTextEntity(asn1::blob entity, std::string* text, Refusal* refusal);

/// `text` with CR LF in place of each LF that has no CR before it.
SEALKIT_API std::vector<unsigned char> canonicalLineEnds(asn1::blob text);

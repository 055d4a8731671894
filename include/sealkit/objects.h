/// The objects of a file of any kind and form.
///
/// | member          | what it is                                                                  |
/// | --------------- | --------------------------------------------------------------------------- |
/// | `readObjects`   | everything in a file: certificates, CRLs, requests, keys, messages, PKCS#12 |
/// | `InputObject`   | one object, or why it was refused                                           |
/// | `InputObjects`  | all objects, and what was unusual in the file                               |
/// | `ObjectOptions` | the rules that objects are read for, and how many are read                  |
/// | `TrustSettings` | what OpenSSL stores beside a certificate that it trusts or distrusts        |
///
/// The loaders of pem.h read one kind of object in one form. This reader also accepts the forms of
/// plain_form.h: PEM with any labels, one or more objects in DER, messages in BER, bare base64, UTF-16. The
/// bytes determine the kind of an object, and the label decides if they are ambiguous.
///
/// Nothing is decrypted, and keys are not parsed: pass their bytes to `readPrivateKey` or `readPublicKey`.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/crl.h"
#include "sealkit/detail/export.h"
#include "sealkit/input_kind.h"
#include "sealkit/pkcs7.h"
#include "sealkit/plain_form.h"
#include "sealkit/refusal.h"
#include "sealkit/req.h"
#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// X509_CERT_AUX, which OpenSSL appends to a certificate under the label "TRUSTED CERTIFICATE". The purposes
/// are object identifiers of extended key usages, as content octets.
struct SEALKIT_API TrustSettings {
    std::vector<std::vector<unsigned char>> trusted;  ///< The only purposes to trust it for; empty for all.
    std::vector<std::vector<unsigned char>> rejected; ///< The purposes not to trust it for.
    std::string alias;                                ///< The unescaped text of the file.

    /// Whether the certificate is trusted for some purposes only.
    bool isLimited() const;
    /// "trusted for tls-server, tls-client; rejected for email-protection". Empty if there are no purposes.
    std::string str() const;
};

/// An object of a file, or why it is refused.
struct InputObject {
    InputKind kind = InputKind::unknown; ///< What it is, or claims to be.
    size_t block = 0;                    ///< The number of the PEM block, from 1; 0 outside PEM.
    size_t line = 0;                     ///< The line of its BEGIN line, from 1; 0 outside PEM.
    std::string label;                   ///< Of the PEM block; empty outside PEM.

    /// The object in a form that the loaders of pem.h read: its DER, without trust settings that follow a
    /// certificate; or the text of its block if that cannot be decoded without a password, or is a key in
    /// OpenSSH's own form.
    WipedBytes bytes;

    /// Null unless the object is one and is accepted. The same holds for the next members.
    std::shared_ptr<X509Certificate> certificate;
    std::shared_ptr<X509Crl> crl;             ///< A CRL.
    std::shared_ptr<X509Req> request;         ///< A certificate request.
    std::shared_ptr<PKCS7SignedData> message; ///< A signed message; other messages are only in `bytes`.
    std::optional<TrustSettings> trust;       ///< The trust settings of a certificate.

    Refusal refusal; ///< Why it cannot be read. Its block and line refer to the file.
};

/// How a file is read.
struct ObjectOptions {
    FormRules forms = FormRules::standard; ///< The rules that certificates and CRLs are read for.
    size_t maxObjects = 100'000;           ///< Further objects are refused as `RefusalId::inputTooLarge`.
};

/// What a file holds.
struct InputObjects {
    std::vector<InputObject> objects; ///< In the file's order.
    std::vector<InputNote> notes;     ///< What was unusual and was accepted.
};

/// Reads every object of a file. A malformed object becomes an object with a refusal, and the others are
/// still read. A file without objects gives one object with a refusal, and so does the rest of a file that
/// ends within a block. Takes time and memory in proportion to the file.
SEALKIT_API InputObjects readObjects(asn1::blob file, ObjectOptions const& options = {});

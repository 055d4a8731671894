/// The objects of a file of any kind and form.
///
/// | member          | what it is                                                                  |
/// | --------------- | --------------------------------------------------------------------------- |
/// | `readObjects`   | everything in a file: certificates, CRLs, requests, keys, messages, PKCS#12 |
/// | `InputObject`   | one object, or why it was refused                                           |
/// | `InputObjects`  | all of them, and what was unusual in the file                               |
/// | `ObjectOptions` | for which rules objects are read, and how many                              |
/// | `TrustSettings` | what OpenSSL stores beside a certificate that it trusts or distrusts        |
///
/// The loaders of pem.h take one kind of object in one form. This reader takes the forms of plain_form.h as
/// well: PEM with any labels, one or more objects in DER, messages in BER, base64 without a frame, UTF-16.
/// What an object is shows in its bytes, and the label decides where those leave it open.
///
/// Nothing is decrypted, and keys are not parsed: their bytes are what `readPrivateKey` and `readPublicKey`
/// take.
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
    std::string alias;                                ///< As it stands in the file.

    /// Whether they trust the certificate for less than every purpose.
    bool isLimited() const;
    /// "trusted for tls-server, tls-client; rejected for email-protection". Empty if there is neither.
    std::string str() const;
};

/// An object of a file, or why it is refused.
struct InputObject {
    InputKind kind = InputKind::unknown; ///< What it is, or claims to be.
    size_t block = 0;                    ///< The number of the PEM block, from 1; 0 outside PEM.
    size_t line = 0;                     ///< The line of its BEGIN line, from 1; 0 outside PEM.
    std::string label;                   ///< Of the PEM block; empty outside PEM.

    /// The object as the loaders of pem.h take it: its DER, that of the certificate alone where trust
    /// settings follow it. The text of the block where that cannot be decoded without a password, and of keys
    /// in OpenSSH's own form.
    WipedBytes bytes;

    std::shared_ptr<X509Certificate>
        certificate;                          ///< Null unless it is one and is not refused. So are the next.
    std::shared_ptr<X509Crl> crl;             ///< A CRL.
    std::shared_ptr<X509Req> request;         ///< A certificate request.
    std::shared_ptr<PKCS7SignedData> message; ///< A signed message; others are only in `bytes`.
    std::optional<TrustSettings> trust;       ///< Of a certificate that has them.

    Refusal refusal; ///< Why it cannot be read. Its block and line count in the file.
};

/// How a file is read.
struct ObjectOptions {
    FormRules forms = FormRules::standard; ///< For which rules of validation certificates and CRLs are read.
    size_t maxObjects = 100'000;           ///< What follows them is refused as `RefusalId::inputTooLarge`.
};

/// What a file holds.
struct InputObjects {
    std::vector<InputObject> objects; ///< In the file's order.
    std::vector<InputNote> notes;     ///< What was unusual and has been accepted.
};

/// Reads every object of a file. One that is malformed is an object with a refusal and never loses the
/// others; so is a file in which there is nothing, or that ends within a block. Takes time and memory in
/// proportion to the file.
SEALKIT_API InputObjects readObjects(asn1::blob file, ObjectOptions const& options = {});

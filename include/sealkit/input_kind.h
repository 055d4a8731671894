/// The kind of a file, by its form: to choose a reader, and to name what was found where another kind
/// was expected.
///
/// The outermost fields decide; for certificates, CRLs and requests the first fields suffice, so that
/// truncated ones and ones with trailing bytes have a kind, too. The reader of a kind may still refuse the
/// object, and gives the reason.
#pragma once

#include "sealkit/blob.h"
#include "sealkit/detail/export.h"

/// The kinds of input. `getInputKindName` has the name of each.
enum class InputKind : unsigned {
    empty,               ///< No bytes.
    pem,                 ///< Text with a PEM block, or the beginning of one.
    certificate,         ///< DER, like all kinds up to `timeStampResponse`.
    crl,                 ///< CertificateList.
    request,             ///< CertificationRequest of PKCS#10.
    publicKey,           ///< SubjectPublicKeyInfo.
    privateKey,          ///< OneAsymmetricKey, PKCS#8.
    encryptedPrivateKey, ///< EncryptedPrivateKeyInfo.
    rsaPublicKey,        ///< RSAPublicKey of PKCS#1.
    rsaPrivateKey,       ///< RSAPrivateKey of PKCS#1.
    ecPrivateKey,        ///< ECPrivateKey of RFC 5915.
    message,             ///< ContentInfo of PKCS#7 and CMS.
    pkcs12,              ///< PFX of PKCS#12.
    timeStampRequest,    ///< TimeStampReq.
    timeStampResponse,   ///< TimeStampResp.
    opensshPrivateKey,   ///< Text in OpenSSH's own form.
    opensshPublicKey,    ///< A line in OpenSSH's own form.
    utf16,               ///< Text in UTF-16, as some editors write.
    text,                ///< Other text.
    javaKeystore,        ///< A keystore of Java, of the types JKS and JCEKS.
    ber,                 ///< A SEQUENCE of indefinite length.
    otherDer,            ///< Another SEQUENCE.
    unknown,             ///< Other bytes.
};

/// The kind of the whole contents of a file. If it has several PEM blocks, the first counts.
SEALKIT_API InputKind findInputKind(asn1::blob input);

/// "certificate", "UTF-16 text". Empty for an unknown value.
SEALKIT_API char const* getInputKindName(InputKind kind);

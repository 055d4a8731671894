#include "sealkit/pkcs8.h"
#include "sealkit/x509.h"

#include "signed_object.h"
#include "targets.h"

/// In addition to the laws of every signed object: raw and parsed names are equal, self-signed means equal
/// names, and a key that was read is written and read again.
void fuzz::certificate(asn1::blob input) {
    X509Certificate certificate;
    if (!parseAndSerialize(input, &certificate))
        return;
    DistinguishedName issuer, subject;
    SEALKIT_ASSERT(issuer.parse(certificate.issuerBytes()) && issuer == certificate.issuer);
    SEALKIT_ASSERT(subject.parse(certificate.subjectBytes()) && subject == certificate.subject);
    SEALKIT_ASSERT(!certificate.selfSigned || certificate.issuer == certificate.subject);
    SEALKIT_ASSERT(certificate.keyUsage < 1u << 9 && certificate.extKeyUsage < 1u << 7);
    if (std::unique_ptr<PublicKey> key = certificate.parsePublicKey()) {
        std::unique_ptr<PublicKey> again = parsePkcs8PublicKey(encodePkcs8PublicKey(*key));
        SEALKIT_ASSERT(again && again->equals(*key));
    }
}

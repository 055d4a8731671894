#include "sealkit/crl.h"

#include "signed_object.h"
#include "targets.h"

/// Beside what holds for every signed object: raw and parsed issuer are the same name, and every entry
/// has a serial number.
void fuzz::crl(asn1::blob input) {
    X509Crl crl;
    if (!parseAndSerialize(input, &crl))
        return;
    DistinguishedName issuer;
    SEALKIT_ASSERT(issuer.parse(crl.issuerBytes()) && issuer == crl.issuer);
    for (RevokedCertificate const& entry : crl.revoked)
        SEALKIT_ASSERT(!entry.serialNumber.empty());
}

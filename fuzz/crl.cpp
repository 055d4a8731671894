#include "sealkit/crl.h"

#include "signed_object.h"
#include "targets.h"

namespace {

/// The index gives the same results as a scan of the entries.
void searchEntries(X509Crl const& crl) {
    constexpr size_t maxSearches = 32;
    X509Crl const scanned = crl; // A copy has no index.
    for (size_t position = 0; position < crl.revoked.size() && position < maxSearches; position++) {
        asn1::blob const serialNumber = crl.revoked[position].serialNumber;
        std::vector<size_t> const found = crl.findAllRevoked(serialNumber);
        SEALKIT_ASSERT(found == scanned.findAllRevoked(serialNumber));
        SEALKIT_ASSERT(std::ranges::find(found, position) != found.end());
        SEALKIT_ASSERT(crl.findRevoked(serialNumber) == &crl.revoked[found.front()]);
        crl.certificateIssuer(position);
    }
    SEALKIT_ASSERT(crl.findRevoked({}) == nullptr);
}

/// A CRL that the platform's rules support is read in the same way for the standard rules; any other has a
/// `platformRefusal`.
void readForStandard(asn1::blob input, X509Crl const& stated, bool isAccepted) {
    X509Crl crl;
    bool const isRead = crl.parse(input, nullptr, FormRules::standard);
    SEALKIT_ASSERT(isRead || !isAccepted);
    SEALKIT_ASSERT((isRead && !isAccepted) == (crl.platformRefusal() != nullptr));
    if (!isRead)
        return;
    SEALKIT_ASSERT(asn1::blob(crl.serialize()) == input);
    SEALKIT_ASSERT(!isAccepted || fuzz::dumpOf(crl) == fuzz::dumpOf(stated));
    searchEntries(crl);
}

} // namespace

/// In addition to the laws of every signed object: raw and parsed issuer are equal, and every entry has a
/// serial number under which it is found.
void fuzz::crl(asn1::blob input) {
    X509Crl crl;
    bool const isAccepted = parseAndSerialize(input, &crl);
    readForStandard(input, crl, isAccepted);
    if (!isAccepted)
        return;
    DistinguishedName issuer;
    SEALKIT_ASSERT(issuer.parse(crl.issuerBytes()) && issuer == crl.issuer);
    for (RevokedCertificate const& entry : crl.revoked)
        SEALKIT_ASSERT(!entry.serialNumber.empty());
}

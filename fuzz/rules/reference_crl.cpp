#include "reference.h"

#include "sealkit/x509.h"

namespace fuzz::model {

namespace {

bool areSameNames(GeneralName const& a, GeneralName const& b) {
    return a.kind == b.kind &&
           (a.kind == Kind::directory ? areSame(a.directory, b.directory) : a.text == b.text);
}

bool shareName(std::vector<GeneralName> const& some, std::vector<GeneralName> const& others) {
    for (GeneralName const& name : some)
        for (GeneralName const& other : others)
            if (areSameNames(name, other))
                return true;
    return false;
}

/// Section 6.3.3 (b).
bool isInScope(Crl const& crl, Certificate const& certificate, DistributionPoint const& point) {
    if (point.crlIssuer) {
        if (!areSame(crl.issuer, *point.crlIssuer) || !crl.isIndirect)
            return false;
    } else if (!areSame(crl.issuer, certificate.issuer)) {
        return false;
    }
    if (!crl.hasScope)
        return true;
    if (!crl.pointNames.empty()) {
        std::vector<GeneralName> names = point.names;
        if (names.empty() && point.crlIssuer)
            names.push_back({Kind::directory, {}, *point.crlIssuer});
        if (!shareName(crl.pointNames, names))
            return false;
    }
    bool const isCa = certificate.isCa.value_or(false);
    return !(crl.onlyUser && isCa) && !(crl.onlyCa && !isCa) && !crl.onlyAttribute;
}

/// Section 6.3.3 (f) and (g): a certificate of the chain with the CRL's issuer's name verifies it and may do so.
bool isSignedByIssuer(Crl const& crl, std::vector<Certificate> const& chain, size_t depth, bool leafOnly,
                      bool* isOpen) {
    bool isSigned = false;
    for (size_t i = 1; i < chain.size(); i++) {
        Certificate const& signer = chain[i];
        bool const maySign = signer.keyUsage == 0 || (signer.keyUsage & KeyUsage::crlSign) != 0;
        if (!areSame(signer.subject, crl.issuer) || signer.key != crl.signer || !maySign)
            continue;
        isSigned = true;
        // The status of the signer itself would have to be asked for, and by CRLs of its own.
        if (i <= depth || (leafOnly && i > depth + 1))
            *isOpen = true;
    }
    return isSigned;
}

enum class Entry { absent, revoked, removed };

/// The entry for a certificate, section 6.3.3 (i) and (j). An entry without an issuer has that of the one before.
Entry findEntry(Crl const& crl, Certificate const& certificate) {
    Name issuer = crl.issuer;
    Entry found = Entry::absent;
    for (Revoked const& entry : crl.entries) {
        if (crl.isIndirect && entry.certificateIssuer)
            issuer = *entry.certificateIssuer;
        if (entry.serialNumber == certificate.serialNumber && areSame(issuer, certificate.issuer) &&
            found != Entry::revoked)
            found = entry.reason == 8u ? Entry::removed : Entry::revoked;
    }
    return found;
}

/// A CRL that does not say when the next one is due is against section 5.1.2.5, and nobody can tell that it is fresh.
bool isFresh(Crl const& crl) { return crl.thisUpdate <= 0 && crl.nextUpdate && *crl.nextUpdate >= 0; }

bool isClear(std::vector<Certificate> const& chain, size_t depth, Case const& asked, bool* isOpen) {
    Certificate const& certificate = chain[depth];
    std::vector<DistributionPoint> points = certificate.points;
    // Every certificate has one more: the CRLs of its issuer.
    points.push_back({{{Kind::directory, {}, certificate.issuer}}, 0, std::nullopt});
    unsigned covered = 0;
    for (DistributionPoint const& point : points) {
        for (Crl const& crl : asked.crls) {
            if (!isInScope(crl, certificate, point) ||
                !isSignedByIssuer(crl, chain, depth, asked.checkLeafCrlOnly, isOpen))
                continue;
            Entry const entry = findEntry(crl, certificate);
            if (crl.deltaBase) {
                // How deltas combine with stale or several complete CRLs is left open: one that lists the certificate, or
                // one beside a CRL that revokes it, is no matter of a plain reference.
                *isOpen = true;
                continue;
            }
            if (!isFresh(crl)) {
                // It says nothing for certain; what it revokes may be taken as revoked.
                *isOpen = *isOpen || entry == Entry::revoked;
                continue;
            }
            if (entry == Entry::revoked)
                return false;
            if (crl.hasUnknownCritical)
                continue;
            covered |= (crl.hasScope && crl.reasons != 0 ? crl.reasons : allReasons) &
                       (point.reasons != 0 ? point.reasons : allReasons);
        }
    }
    return covered == allReasons;
}

} // namespace

bool isClearOfRevocation(std::vector<Certificate> const& chain, Case const& asked, bool* isOpen) {
    bool isEveryOneClear = true;
    for (size_t depth = 0; depth + 1 < chain.size(); depth++) {
        if (depth == 0 || !asked.checkLeafCrlOnly)
            isEveryOneClear = isClear(chain, depth, asked, isOpen) && isEveryOneClear;
    }
    return isEveryOneClear;
}

} // namespace fuzz::model

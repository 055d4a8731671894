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

/// Section 6.3.3 (f) and (g): a certificate of the chain with the name of the CRL's issuer verifies the CRL
/// and may sign CRLs.
bool isSignedByIssuer(Crl const& crl, std::vector<Certificate> const& chain, size_t depth, bool leafOnly,
                      bool* isOpen) {
    bool isSigned = false;
    for (size_t i = 1; i < chain.size(); i++) {
        Certificate const& signer = chain[i];
        bool const maySign = signer.keyUsage == 0 || (signer.keyUsage & KeyUsage::crlSign) != 0;
        bool const isOtherKey =
            crl.authorityKeyId && signer.subjectKeyId && *crl.authorityKeyId != *signer.subjectKeyId;
        if (!areSame(signer.subject, crl.issuer) || signer.key != crl.signer || isOtherKey || !maySign)
            continue;
        isSigned = true;
        // The status of the signer would have to be checked as well, with other CRLs.
        if (i <= depth || (leafOnly && i > depth + 1))
            *isOpen = true;
    }
    return isSigned;
}

enum class Entry { absent, revoked, removed };

/// The entry for a certificate, section 6.3.3 (i) and (j). An entry without an issuer has that of the
/// previous entry.
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

/// A CRL without nextUpdate violates section 5.1.2.5, and cannot be known to be current.
bool isFresh(Crl const& crl) { return crl.thisUpdate <= 0 && crl.nextUpdate && *crl.nextUpdate >= 0; }

/// Section 6.3.3 (c): the delta CRL has the scope of the complete one.
bool haveSameScope(Crl const& delta, Crl const& complete) {
    bool areSameScopes = delta.hasScope == complete.hasScope &&
                         delta.pointNames.size() == complete.pointNames.size() &&
                         delta.onlyUser == complete.onlyUser && delta.onlyCa == complete.onlyCa &&
                         delta.onlyAttribute == complete.onlyAttribute && delta.reasons == complete.reasons &&
                         delta.isIndirect == complete.isIndirect;
    for (size_t i = 0; areSameScopes && i < delta.pointNames.size(); i++) {
        GeneralName const &a = delta.pointNames[i], &b = complete.pointNames[i];
        areSameScopes = a.kind == b.kind && a.text == b.text && a.directory == b.directory;
    }
    return areSameScopes && areSame(delta.issuer, complete.issuer) &&
           delta.authorityKeyId == complete.authorityKeyId;
}

/// The answer of a complete CRL about a certificate, with the delta CRLs that are based on it.
struct Combined {
    Entry entry = Entry::absent;
    bool isFresh = false;
    bool isUnderstood = true;
};

Combined combine(Crl const& complete, std::vector<Crl> const& deltas, Certificate const& certificate,
                 bool* isOpen) {
    Combined result{findEntry(complete, certificate), isFresh(complete), !complete.hasUnknownCritical};
    unsigned latest = 0;
    for (Crl const& delta : deltas) {
        if (!haveSameScope(delta, complete) || *delta.deltaBase > complete.number ||
            delta.number <= complete.number)
            continue;
        result.isFresh = true;
        result.isUnderstood = result.isUnderstood && !delta.hasUnknownCritical;
        Entry const entry = findEntry(delta, certificate);
        if (entry == Entry::absent || delta.number < latest)
            continue;
        // Two CRLs with the same number that disagree are a fault of their issuer.
        *isOpen = *isOpen || (delta.number == latest && entry != result.entry);
        latest = delta.number;
        result.entry = entry;
    }
    return result;
}

/// Whether a delta CRL revokes the certificate without a complete CRL that it changes or that is as recent.
bool isRevokedByDeltaAlone(std::vector<Crl> const& deltas, std::vector<Crl> const& completes,
                           Certificate const& certificate) {
    for (Crl const& delta : deltas) {
        bool hasComplete = false;
        for (Crl const& complete : completes) {
            bool const isBase = haveSameScope(delta, complete) && *delta.deltaBase <= complete.number;
            hasComplete = hasComplete || (isBase && (delta.number > complete.number || isFresh(complete)));
        }
        if (!hasComplete && findEntry(delta, certificate) == Entry::revoked)
            return true;
    }
    return false;
}

bool isClear(std::vector<Certificate> const& chain, size_t depth, Case const& asked, bool* isOpen) {
    Certificate const& certificate = chain[depth];
    std::vector<DistributionPoint> points = certificate.points;
    // Every certificate has one more point: the CRLs of its issuer.
    points.push_back({{{Kind::directory, {}, certificate.issuer}}, 0, std::nullopt});
    unsigned covered = 0;
    bool isRevoked = false;
    for (DistributionPoint const& point : points) {
        std::vector<Crl> deltas, completes;
        for (Crl const& crl : asked.crls) {
            if (!isInScope(crl, certificate, point) || crl.thisUpdate > 0 ||
                !isSignedByIssuer(crl, chain, depth, asked.checkLeafCrlOnly, isOpen))
                continue;
            if (!crl.deltaBase)
                completes.push_back(crl);
            else if (isFresh(crl))
                deltas.push_back(crl);
        }
        for (Crl const& crl : completes) {
            Combined const combined = combine(crl, deltas, certificate, isOpen);
            if (!combined.isFresh) {
                // It is not reliable, but its revocations may count.
                *isOpen = *isOpen || combined.entry == Entry::revoked;
                continue;
            }
            isRevoked = isRevoked || combined.entry == Entry::revoked;
            if (combined.isUnderstood)
                covered |= (crl.hasScope && crl.reasons != 0 ? crl.reasons : allReasons) &
                           (point.reasons != 0 ? point.reasons : allReasons);
        }
        isRevoked = isRevoked || isRevokedByDeltaAlone(deltas, completes, certificate);
    }
    return !isRevoked && covered == allReasons;
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

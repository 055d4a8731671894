#include "trust/standard/revocation.h"

#include "asn1/oids.h"
#include "trust/general_name.h"
#include "trust/standard/crl_fields.h"
#include "trust/standard/name.h"
#include "trust/standard/strict.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

namespace detail {

namespace {

constexpr unsigned char removeFromCrl = 8; // RFC 5280, section 5.3.1
constexpr size_t maxRelativeNames = 32;    ///< Per certificate, because each one is as long as a whole name.
constexpr size_t maxFacts = 16;
constexpr unsigned issuersComparedPerUnit = 4096;
constexpr unsigned char directoryType = GeneralName::directoryName | 0x20; ///< With the constructed bit.

bool isSame(X509Certificate const& a, X509Certificate const& b) {
    return &a == &b || (!a.tbs.empty() && a.tbs == b.tbs && a.signature == b.signature);
}

/// Whether the key usage of a certificate of the CRL's issuer allows signing it (RFC 5280, section 6.3.3,
/// item f).
bool maySign(X509Certificate const& signer) {
    if ((signer.keyUsage & KeyUsage::crlSign) != 0)
        return true;
    std::vector<X509Extension> const extensions = signer.extensions();
    return std::ranges::find(extensions, asn1::blob(oid::keyUsage), &X509Extension::oid) == extensions.end();
}

bool fitsKeyId(X509Crl const& crl, X509Certificate const& signer) {
    return crl.authorityKeyId.empty() || signer.subjectKeyId.empty() ||
           crl.authorityKeyId == signer.subjectKeyId;
}

/// The names of reasons, as the bits of `DistributionPoint::reasons`.
std::string showReasons(unsigned reasons) {
    static constexpr unsigned char codes[] = {0, 1, 2, 3, 4, 5, 6, 9, 10};
    std::string names;
    for (size_t bit = 1; bit < std::size(codes); bit++)
        if ((reasons & 1u << bit) != 0)
            names.append(names.empty() ? "" : ", ").append(crlReasonName(codes[bit]));
    return names;
}

/// The distribution points of a certificate, indexed for CRLs (RFC 5280, section 6.3.3, items b and d).
class Points {
public:
    explicit Points(CertificateFields const& subject) : direct(subject.issuer) {
        for (DistributionPoint const& point : subject.distributionPoints)
            add(point);
        addImplicit(subject);
    }

    /// Whether a CRL of that issuer may apply to the certificate.
    bool names(CrlFields const& crl) const { return crl.issuer == direct || issuers.contains(crl.issuer); }

    /// Whether a point names the CRL's issuer and the CRL is indirect.
    bool designate(CrlFields const& crl) const { return crl.isIndirect && issuers.contains(crl.issuer); }

    /// The reasons that a CRL covers for the certificate, from all matching points. 0 if no point matches.
    unsigned reasonsOf(CrlFields const& crl) const {
        unsigned reasons = crl.issuer == direct ? lookUp(certificateIssuer, crl) : 0;
        if (crl.isIndirect)
            if (auto const issuer = issuers.find(crl.issuer); issuer != issuers.end())
                reasons |= lookUp(issuer->second, crl);
        return reasons & crl.reasons;
    }

private:
    /// Numbers the CRL issuers of points. A point without one stands for the certificate's issuer.
    using Issuer = size_t;
    static constexpr Issuer certificateIssuer = 0;

    void add(DistributionPoint const& point) {
        Issuer issuer = certificateIssuer;
        std::string base = direct;
        if (!point.crlIssuer.empty()) {
            // Several names describe one CA; the CRL has the directoryName.
            auto const named = std::ranges::find(point.crlIssuer, directoryType, &GeneralName::type);
            if (named == point.crlIssuer.end())
                return;
            base = canonicalName(named->data);
            issuer = issuers.try_emplace(base, issuers.size() + 1).first->second;
        }
        unsigned const reasons = point.reasons.value_or(allReasons);
        byIssuer[issuer] |= reasons;
        for (GeneralName const& name : point.fullNames)
            byName[{issuer, canonicalGeneralName(name)}] |= reasons;
        if (!point.relativeName.empty() && relativeNames++ < maxRelativeNames)
            byName[{issuer, canonicalDirectoryName(base, point.relativeName)}] |= reasons;
        if (point.fullNames.empty() && point.relativeName.empty())
            for (GeneralName const& name : point.crlIssuer)
                byName[{issuer, canonicalGeneralName(name)}] |= reasons;
    }

    /// Adds the implicit point for CRLs of the certificate's issuer (RFC 5280, section 6.3.3, last
    /// paragraph).
    void addImplicit(CertificateFields const& subject) {
        byIssuer[certificateIssuer] |= allReasons;
        byName[{certificateIssuer, canonicalDirectoryName(direct, {})}] |= allReasons;
        std::vector<GeneralName> others;
        X509Extension const* const extension = subject.find(oid::issuerAltName);
        if (extension != nullptr && parseGeneralNames(extension->value, &others))
            for (GeneralName const& name : others)
                byName[{certificateIssuer, canonicalGeneralName(name)}] |= allReasons;
    }

    unsigned lookUp(Issuer issuer, CrlFields const& crl) const {
        if (crl.names.empty()) {
            auto const found = byIssuer.find(issuer);
            return found == byIssuer.end() ? 0 : found->second;
        }
        unsigned reasons = 0;
        for (std::string const& name : crl.names)
            if (auto const found = byName.find({issuer, name}); found != byName.end())
                reasons |= found->second;
        return reasons;
    }

    std::string const& direct; ///< The certificate's issuer.
    std::map<std::string, Issuer> issuers;
    std::map<Issuer, unsigned> byIssuer;                       ///< Reasons.
    std::map<std::pair<Issuer, std::string>, unsigned> byName; ///< Reasons.
    size_t relativeNames = 0;
};

/// A CRL whose issuer may cover the certificate.
struct Candidate {
    std::shared_ptr<X509Crl> crl;
    CrlFields const* fields;
    unsigned reasons = 0; ///< The reasons that it covers for the certificate.
    CrlStatus status = CrlStatus::otherScope;
    RevokedCertificate const* entry = nullptr; ///< The certificate's entry.
    bool isCurrent = false;                    ///< According to its own dates.
    bool isUsed = false;                       ///< A delta CRL that was combined with a complete one.
    bool isOld = false;                        ///< A delta CRL that is not newer than a complete one.

    bool isVerified() const { return status == CrlStatus::verified; }
    bool revokes() const { return entry != nullptr && entry->reasonCode != removeFromCrl; }

    /// A complete CRL and a delta CRL can be combined if their scopes are equal (RFC 5280, section 6.3.3,
    /// item c).
    auto scope() const {
        auto const view = [](asn1::blob bytes) {
            return std::string_view(reinterpret_cast<char const*>(bytes.data()), bytes.size());
        };
        return std::tuple(std::string_view(fields->issuer), view(fields->scope),
                          view(fields->authorityKeyId));
    }
};

class Determination {
public:
    Determination(CertificateFields const& asked, CertificateFields const& above, X509Certificate const& top,
                  RevocationSources& known, PathOptions const& question, PathChecks& shared)
        : subject(asked),
          issuer(above),
          anchor(top),
          sources(known),
          options(question),
          checks(shared),
          anchorName(canonicalName(top.subjectBytes())),
          points(asked) {}

    RevocationResult run() {
        gather();
        for (Candidate& candidate : candidates)
            examine(candidate);
        Candidate const* const revoking = decide();
        RevocationResult result;
        for (Candidate const& candidate : candidates)
            result.crls.push_back({candidate.crl, candidate.status});
        if (revoking != nullptr) {
            result.code = PathCode::revoked;
            result.facts = factsOf(*revoking);
        } else if (candidates.empty()) {
            result.code = PathCode::crlMissing;
            result.facts = factsOfMissing();
        } else if (covered != allReasons || wasUnchecked()) {
            result.code = PathCode::revocationUndetermined;
            result.facts = factsOfUndetermined();
        }
        return result;
    }

private:
    /// An unverified CRL, left over at the work limit, may revoke the certificate.
    bool wasUnchecked() const {
        return std::ranges::find(candidates, CrlStatus::unchecked, &Candidate::status) != candidates.end();
    }

    void gather() {
        std::set<X509Crl const*> seen;
        for (auto const& crl : sources.crls) {
            CrlFields const& fields = checks.crls.find(crl);
            if (points.names(fields) && seen.insert(crl.get()).second)
                candidates.push_back({.crl = crl, .fields = &fields});
        }
        hasDeltas =
            std::ranges::any_of(candidates, [](Candidate const& each) { return each.fields->isDelta(); });
    }

    /// Sets the status of the CRL by itself.
    void examine(Candidate& candidate) {
        CrlFields const& fields = *candidate.fields;
        X509Crl const& crl = *candidate.crl;
        if (fields.isForAttributes || (fields.isForUsers && subject.isCa) ||
            (fields.isForCas && !subject.isCa))
            return;
        candidate.reasons = points.reasonsOf(fields);
        if (candidate.reasons == 0)
            return;
        if (crl.thisUpdate > options.now) {
            candidate.status = CrlStatus::notYetValid;
            return;
        }
        // RFC 5280, section 5.1.2.5, requires nextUpdate: a CRL without it is never known to be current.
        candidate.isCurrent = crl.nextUpdate != TimePoint() && crl.nextUpdate >= options.now;
        // A delta CRL may make an outdated complete CRL current.
        bool const isOfUse = candidate.isCurrent || (hasDeltas && !fields.isDelta());
        candidate.status = isOfUse ? statusBySigner(candidate) : CrlStatus::outOfDate;
        if (candidate.isVerified())
            findEntry(candidate);
    }

    /// Whether a certificate that leads to the anchor signed the CRL (RFC 5280, section 6.3.3, items f and
    /// g). Several certificates may have the issuer's name.
    CrlStatus statusBySigner(Candidate const& candidate) {
        std::string const& name = candidate.fields->issuer;
        CrlStatus status = CrlStatus::unknownIssuer;
        if (name == issuer.subject && signs(*issuer.certificate, candidate, status))
            return CrlStatus::verified;
        if (name == anchorName && signs(anchor, candidate, status))
            return CrlStatus::verified;
        for (X509Certificate const* signer : sources.signersNamed(name, checks.crls))
            if (signer != issuer.certificate && signer != &anchor && signs(*signer, candidate, status))
                return CrlStatus::verified;
        return status;
    }

    /// Whether the certificate, which has the name of the CRL's issuer, signed it and may do so. Otherwise
    /// raises `status` if this signer came further than earlier ones.
    bool signs(X509Certificate const& signer, Candidate const& candidate, CrlStatus& status) {
        auto const came = [&](CrlStatus further) {
            constexpr CrlStatus order[] = {CrlStatus::unknownIssuer, CrlStatus::badSignature,
                                           CrlStatus::otherIssuer, CrlStatus::unchecked};
            if (std::ranges::find(order, further) > std::ranges::find(order, status))
                status = further;
            return false;
        };
        if (!fitsKeyId(*candidate.crl, signer))
            return false;
        std::optional<PathCode> const code =
            checks.signatures.check(*candidate.crl, signer.subjectPublicKeyInfo, SignatureForms::standard);
        if (code != PathCode::valid)
            return came(code ? CrlStatus::badSignature : CrlStatus::unchecked);
        return (maySign(signer) && isValid(signer, candidate)) ||
               came(checks.signatures.wasRefused() ? CrlStatus::unchecked : CrlStatus::otherIssuer);
    }

    /// Whether the signer leads to the anchor, as certificates of the chain do. A certificate may sign a CRL
    /// about itself only if its CA names it as the CRL's issuer.
    bool isValid(X509Certificate const& signer, Candidate const& candidate) {
        if (isSame(signer, *issuer.certificate) || isSame(signer, anchor))
            return true;
        if (isSame(signer, *subject.certificate))
            return points.designate(*candidate.fields);
        auto const [place, isNew] = validSigners.try_emplace(&signer, false);
        if (isNew)
            place->second = sources.isSignerValid(signer, anchor);
        return place->second;
    }

    /// Finds the certificate's entry, preferring one that revokes it.
    void findEntry(Candidate& candidate) {
        X509Crl const& crl = *candidate.crl;
        std::vector<size_t> const positions = crl.findAllRevoked(subject.certificate->serialNumber);
        if (crl.namesCertificateIssuers() &&
            !checks.signatures.spend(static_cast<unsigned>(positions.size() / issuersComparedPerUnit))) {
            candidate.status = CrlStatus::unchecked;
            return;
        }
        for (size_t position : positions) {
            if (candidate.revokes())
                return;
            if (isAboutSubjectsIssuer(candidate, position))
                candidate.entry = &crl.revoked[position];
        }
    }

    /// RFC 5280, section 5.3.3. An entry with an unreadable issuer may apply to any certificate.
    bool isAboutSubjectsIssuer(Candidate const& candidate, size_t position) const {
        asn1::blob const value = candidate.crl->certificateIssuer(position);
        if (value.empty())
            return candidate.fields->issuer == subject.issuer;
        std::vector<GeneralName> names;
        if (!parseGeneralNames(value, &names))
            return true;
        return std::ranges::any_of(names, [&](GeneralName const& name) {
            if (name.type != directoryType)
                return false;
            std::string const form = canonicalName(name.data);
            return form == subject.issuer || isMalformedName(form);
        });
    }

    /// Sums up the covered reasons. Returns the CRL that revokes the certificate, or null.
    Candidate const* decide() {
        std::map<decltype(std::declval<Candidate>().scope()), std::vector<Candidate*>> deltas;
        for (Candidate& candidate : candidates)
            if (candidate.isVerified() && candidate.fields->isDelta())
                deltas[candidate.scope()].push_back(&candidate);
        for (auto& [scope, ofScope] : deltas)
            std::ranges::stable_sort(ofScope, [](Candidate const* a, Candidate const* b) {
                return compareCrlNumbers(a->crl->crlNumber, b->crl->crlNumber) > 0;
            });

        Candidate const* revoking = nullptr;
        auto const note = [&](Candidate const* found) {
            if (revoking == nullptr)
                revoking = found;
        };
        for (Candidate& candidate : candidates) {
            if (!candidate.isVerified() || candidate.fields->isDelta())
                continue;
            auto const ofScope = deltas.find(candidate.scope());
            note(ofScope == deltas.end() ? judge(candidate, {}) : judge(candidate, ofScope->second));
        }
        // A delta CRL without its complete CRL still revokes, unless it is known to be outdated.
        for (Candidate const& candidate : candidates)
            if (candidate.isVerified() && candidate.fields->isDelta() && !candidate.isUsed &&
                !candidate.isOld && candidate.revokes())
                note(&candidate);
        return revoking;
    }

    /// Combines a complete CRL with the delta CRLs of its scope, latest first (RFC 5280, section 6.3.3, items
    /// h to l). Returns the one that revokes the certificate, or null.
    Candidate const* judge(Candidate& complete, std::vector<Candidate*> const& deltas) {
        bool isCurrent = complete.isCurrent, isSupported = complete.fields->isSupported;
        Candidate const* decisive = &complete;
        asn1::blob const number = complete.crl->crlNumber;
        for (Candidate* delta : deltas) {
            if (number.empty() || delta->crl->crlNumber.empty() ||
                compareCrlNumbers(*delta->fields->baseNumber, number) > 0)
                continue;
            if (compareCrlNumbers(delta->crl->crlNumber, number) <= 0) {
                delta->isOld = delta->isOld || complete.isCurrent;
                continue;
            }
            delta->isUsed = true;
            isCurrent = true;
            isSupported = isSupported && delta->fields->isSupported;
            if (decisive == &complete && delta->entry != nullptr)
                decisive = delta;
        }
        if (!isCurrent) {
            complete.status = CrlStatus::outOfDate;
            return nullptr;
        }
        if (decisive->revokes())
            return decisive;
        if (isSupported && !(sources.isStrict && isSignedOverWeakHash(*complete.crl)))
            covered |= complete.reasons;
        else
            complete.status = CrlStatus::unsupported;
        return nullptr;
    }

    std::vector<Fact> factsOf(Candidate const& revoking) const {
        std::vector<Fact> facts = {{"serial number", str(asn1::blob(subject.certificate->serialNumber))},
                                   {"CRL issuer", revoking.crl->issuer.str()},
                                   {"CRL issued", isoTime(revoking.crl->thisUpdate)},
                                   {"revoked", isoTime(revoking.entry->revocationDate)}};
        std::string_view const reason = getCrlReasonText(revoking.entry->reasonCode);
        if (!reason.empty())
            facts.push_back({"reason", std::string(reason)});
        return facts;
    }

    std::vector<Fact> factsOfMissing() const {
        std::vector<Fact> facts = {{"issuer", subject.certificate->issuer.str()}};
        for (GeneralName const& point : subject.certificate->crlDistributionPoints)
            if (facts.size() < maxFacts)
                facts.push_back({"distribution point", show(point)});
        return facts;
    }

    std::vector<Fact> factsOfUndetermined() const {
        std::vector<Fact> facts;
        for (Candidate const& candidate : candidates) {
            if (facts.size() == maxFacts) {
                facts.push_back({"further CRLs", std::to_string(candidates.size() - maxFacts)});
                break;
            }
            facts.push_back({"CRL", candidate.crl->issuer.str() + ", " + isoTime(candidate.crl->thisUpdate) +
                                        ": " + explain(candidate)});
        }
        if (covered != 0)
            facts.push_back({"reasons not covered", showReasons(allReasons & ~covered)});
        return facts;
    }

    static std::string explain(Candidate const& candidate) {
        if (candidate.isVerified() && candidate.fields->isDelta())
            return candidate.isUsed ? "delta CRL" : "delta CRL without its complete CRL";
        return getReasonText(candidate.status).name;
    }

    CertificateFields const& subject;
    CertificateFields const& issuer;
    X509Certificate const& anchor;
    RevocationSources& sources;
    PathOptions const& options;
    PathChecks& checks;
    std::string anchorName;
    Points points;
    std::vector<Candidate> candidates;
    bool hasDeltas = false;
    unsigned covered = 0; ///< Reasons.
    std::map<X509Certificate const*, bool> validSigners;
};

} // namespace

std::span<X509Certificate const* const> RevocationSources::signersNamed(std::string_view name,
                                                                        CrlMemory& memory) {
    if (signersByName.empty())
        for (auto const& signer : signers)
            signersByName[memory.subjectOf(signer)].push_back(signer.get());
    auto const found = signersByName.find(name);
    return found == signersByName.end() ? std::span<X509Certificate const* const>() : found->second;
}

RevocationResult findRevocation(CertificateFields const& subject, CertificateFields const& issuer,
                                X509Certificate const& anchor, RevocationSources& sources,
                                PathOptions const& options, PathChecks& checks) {
    return Determination(subject, issuer, anchor, sources, options, checks).run();
}

} // namespace detail

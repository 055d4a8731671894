#include "trust/standard/path.h"

#include "asn1/oids.h"
#include "sealkit/extensions.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "trust/identity.h"
#include "trust/purpose.h"
#include "trust/standard/fields.h"
#include "trust/standard/identity.h"
#include "trust/standard/name.h"
#include "trust/standard/policies.h"
#include "trust/standard/revocation.h"
#include "trust/standard/strict.h"
#include "trust/standard/subtrees.h"
#include "trust/store_index.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <utility>

namespace detail {

namespace {

std::string join(std::vector<std::string> const& names) {
    std::string text;
    for (std::string const& name : names)
        text.append(text.empty() ? "" : ", ").append(name);
    return text;
}

// Limits of the search for chains from certificates that signed CRLs.
constexpr unsigned maxSignerSteps = 256; ///< Certificates tried as issuers.
constexpr size_t maxSignerChain = 8;     ///< Length of such a chain.
constexpr unsigned maxNesting = 4;       ///< Depth of CRLs about the signers of CRLs.

/// The state shared by the chains of one validation: its own, and those of certificates that signed CRLs.
struct Question {
    CertificateStore const& store;
    PathOptions const& options;
    PathChecks& checks;
    RevocationSources revocation;
    std::map<X509Certificate const*, bool> signers; ///< Whether each is valid; false during its validation.
    unsigned stepsLeft = maxSignerSteps;
    unsigned nesting = 0;
};

/// The checks of one chain. Each returns a failure or nothing.
class Validation {
public:
    /// `certificates` starts with the leaf and ends with the anchor.
    Validation(std::vector<X509Certificate const*> certificates, Question& shared, PathOptions const& asked,
               unsigned asRules, Texts wanted)
        : path(std::move(certificates)),
          question(shared),
          options(asked),
          rules(asRules),
          texts(wanted),
          anchor(path.size() - 1) {
        fields.reserve(path.size());
        for (X509Certificate const* certificate : path)
            fields.emplace_back(*certificate);
        for (CertificateFields const& each : fields)
            views.push_back(&each);
    }

    PathFinding run() {
        Failure (Validation::*const steps[])() = {
            &Validation::checkNames,       &Validation::checkSignatures, &Validation::checkForm,
            &Validation::checkDates,       &Validation::checkCas,        &Validation::checkPathLengths,
            &Validation::checkSubtrees,    &Validation::checkPolicies,   &Validation::checkPurpose,
            &Validation::checkCritical,    &Validation::checkIdentity,   &Validation::checkRevocation,
            &Validation::checkStrictRules,
        };
        for (auto const step : steps)
            if (Failure failure = (this->*step)())
                return {std::move(*failure), isUndecided, std::move(crls)};
        PathExplanation result = finding(PathCode::valid, anchor, [](PathExplanation&) {});
        result.policies = std::move(policies);
        return {std::move(result), false, std::move(crls)};
    }

private:
    using Failure = std::optional<PathExplanation>;

    template <typename Explain>
    PathExplanation finding(PathCode code, size_t depth, Explain const& explain) const {
        return makeExplanation(code, *path[depth], depth, rules, texts, explain);
    }

    Failure refuse(PathCode code, size_t depth, std::vector<Fact> facts) const {
        return finding(code, depth, [&](PathExplanation& result) { result.facts = std::move(facts); });
    }

    /// RFC 5280, section 6.1.3, step (a)(4).
    Failure checkNames() {
        for (size_t depth = 0; depth < anchor; ++depth)
            if (fields[depth].issuer != fields[depth + 1].subject)
                return finding(PathCode::namesDoNotChain, depth, [&](PathExplanation& result) {
                    result.facts = {{"issuer named", path[depth]->issuer.str()},
                                    {"subject above", path[depth + 1]->subject.str()}};
                });
        return std::nullopt;
    }

    /// Step (a)(1). The later steps rely on signed data.
    Failure checkSignatures() {
        for (size_t depth = 0; depth < anchor; ++depth) {
            X509Certificate const& issuer = *path[depth + 1];
            auto const code = question.checks.signatures.check(*path[depth], issuer.subjectPublicKeyInfo,
                                                               SignatureForms::standard);
            if (code == PathCode::valid)
                continue;
            isUndecided = !code;
            // An unsupported key, such as DSA, belongs to a signature of an unsupported algorithm.
            bool const isOtherKey = code == PathCode::issuerKeyUnreadable &&
                                    !isKeyAlgorithm(getKeyAlgorithm(issuer.subjectPublicKeyInfo));
            return finding(isOtherKey ? PathCode::algorithmMismatch : code.value_or(PathCode::noAnchor),
                           depth, [&](PathExplanation& result) {
                               result.facts = {
                                   {"signature algorithm", oidName(path[depth]->signatureAlgorithm.oid)},
                                   {"issuer's key", showKeyAlgorithm(issuer.subjectPublicKeyInfo)},
                                   {"issuer", getDisplayName(issuer)}};
                           });
        }
        return std::nullopt;
    }

    Failure checkForm() {
        for (size_t depth = 0; depth <= anchor; ++depth)
            if (std::optional<Refusal> const& refusal = fields[depth].malformed)
                return finding(PathCode::malformedExtension, depth, [&](PathExplanation& result) {
                    result.facts = {{"place", refusal->path},
                                    {"problem", getReasonText(refusal->id).sentence}};
                    result.facts.insert(result.facts.end(), refusal->facts.begin(), refusal->facts.end());
                });
        return std::nullopt;
    }

    /// Step (a)(2).
    Failure checkDates() {
        for (size_t depth = 0; depth <= anchor; ++depth) {
            X509Certificate const& certificate = *path[depth];
            bool const isEarly = certificate.notBefore > options.now;
            if (isEarly || certificate.notAfter < options.now)
                return finding(
                    isEarly ? PathCode::notYetValid : PathCode::expired, depth, [&](PathExplanation& result) {
                        result.facts = {{"now", isoTime(options.now)},
                                        {isEarly ? "notBefore" : "notAfter",
                                         isoTime(isEarly ? certificate.notBefore : certificate.notAfter)}};
                    });
        }
        return std::nullopt;
    }

    /// Section 6.1.4, steps (k) and (n). Before version 3 only an anchor can be known to be a CA.
    Failure checkCas() {
        constexpr unsigned version3 = 3;
        for (size_t depth = 1; depth <= anchor; ++depth) {
            CertificateFields const& certificate = fields[depth];
            bool const isOld = certificate.version < version3;
            if (isOld ? depth != anchor : !certificate.isCa)
                return refuse(PathCode::notCa, depth,
                              {isOld
                                   ? Fact{"version", std::to_string(certificate.version)}
                                   : Fact{"basic constraints",
                                          certificate.find(oid::basicConstraints) ? "cA FALSE" : "absent"}});
            if (certificate.keyUsage && !(*certificate.keyUsage & KeyUsage::keyCertSign))
                return refuse(PathCode::keyCertSignMissing, depth,
                              {{"key usage", join(keyUsageNames(*certificate.keyUsage))}});
        }
        return std::nullopt;
    }

    /// Steps (l) and (m): self-issued certificates do not count.
    Failure checkPathLengths() {
        size_t intermediates = 0;
        for (size_t depth = 1; depth <= anchor; ++depth) {
            if (auto const limit = fields[depth].pathLength; limit && intermediates > *limit)
                return refuse(PathCode::pathTooLong, depth,
                              {{"path length allowed", std::to_string(*limit)},
                               {"CA certificates below", std::to_string(intermediates)}});
            intermediates += !fields[depth].isSelfIssued;
        }
        return std::nullopt;
    }

    /// Section 6.1.3, steps (b) and (c), and 6.1.4, step (g).
    Failure checkSubtrees() {
        Subtrees subtrees;
        for (size_t depth = anchor; depth > 0; --depth) {
            subtrees.add(fields[depth], depth);
            bool const isExempt = depth > 1 && fields[depth - 1].isSelfIssued;
            if (isExempt)
                continue;
            if (auto const violation = subtrees.findViolation(fields[depth - 1]))
                return finding(violation->code(), depth - 1, [&](PathExplanation& result) {
                    result.facts = violation->facts(*path[violation->depth]);
                });
        }
        return std::nullopt;
    }

    /// Section 6.1.3, steps (d) to (f), and their counterparts in 6.1.4 and 6.1.5. The policies of the anchor
    /// have no effect, unless the leaf is its own anchor.
    Failure checkPolicies() {
        PolicyResult result = processPolicies(std::span(views).first(std::max<size_t>(anchor, 1)), options);
        policies = std::move(result.policies);
        if (result.code == PathCode::valid)
            return std::nullopt;
        return finding(result.code, result.depth, [&](PathExplanation& explanation) {
            for (std::vector<unsigned char> const& asked : options.policies)
                explanation.facts.push_back({"policy asked for", oidStr(asked)});
            for (PolicyInformation const& found : fields[result.depth].policies)
                explanation.facts.push_back({"policy found", oidStr(found.oid)});
        });
    }

    /// Checks the extended key usages along the chain and the key usage of the leaf.
    Failure checkPurpose() {
        Purpose const* const asked = findPurpose(standardPurpose(options));
        if (asked == nullptr)
            return std::nullopt;
        for (size_t depth = 0; depth <= anchor; ++depth)
            if (!serves(depth, *asked))
                return finding(PathCode::purposeMismatch, depth, [&](PathExplanation& result) {
                    result.facts = {{"purpose asked for", asked->name}};
                    auto const& found = fields[depth].extendedKeyUsage;
                    for (asn1::blob const purpose : found.value_or(std::vector<asn1::blob>()))
                        result.facts.push_back({"purpose found", oidName(purpose)});
                    if (!found)
                        result.facts.push_back({"extended key usage", "absent"});
                });
        auto const& keyUsage = fields[0].keyUsage;
        if (keyUsage && (*keyUsage & asked->keyUsage) == 0)
            return refuse(
                PathCode::purposeMismatch, 0,
                {{"purpose asked for", asked->name}, {"key usage", join(keyUsageNames(*keyUsage))}});
        return std::nullopt;
    }

    bool serves(size_t depth, Purpose const& purpose) const {
        auto const& found = fields[depth].extendedKeyUsage;
        if (depth == 0 && purpose.id == PathPurpose::timeStamping) // RFC 3161, section 2.3.
            return found && found->size() == 1 && found->front() == purpose.oid &&
                   fields[depth].find(oid::extKeyUsage)->critical;
        return !found || std::ranges::any_of(*found, [&](asn1::blob each) {
            return each == purpose.oid || each == asn1::blob(oid::anyExtendedKeyUsage);
        });
    }

    /// Section 6.1.4, step (o), and 6.1.5, step (f).
    Failure checkCritical() {
        for (size_t depth = 0; depth <= anchor; ++depth)
            if (asn1::blob const unknown = fields[depth].unknownCritical; !unknown.empty())
                return refuse(PathCode::unknownCriticalExtension, depth, {{"extension", oidName(unknown)}});
        return std::nullopt;
    }

    Failure checkIdentity() {
        if (!asksForIdentity(options) || bearsStandardIdentity(*path[0], options))
            return std::nullopt;
        return finding(PathCode::identityMismatch, 0,
                       [&](PathExplanation& result) { result.facts = identityFacts(*path[0], options); });
    }

    /// Step (a)(3), by section 6.3.
    Failure checkRevocation() {
        if (!options.checkCrls)
            return std::nullopt;
        size_t const end = options.checkLeafCrlOnly ? std::min<size_t>(anchor, 1) : anchor;
        for (size_t depth = 0; depth < end; ++depth) {
            RevocationResult result = findRevocation(fields[depth], fields[depth + 1], *path[anchor],
                                                     question.revocation, options, question.checks);
            addCrls(result.crls);
            if (result.code != PathCode::valid)
                return refuse(result.code, depth, std::move(result.facts));
        }
        return std::nullopt;
    }

    /// Merges the verdicts on CRLs, because a CRL used for one certificate may be irrelevant to the next.
    void addCrls(std::vector<CrlVerdict> const& found) {
        for (CrlVerdict const& one : found) {
            auto const [known, isNew] = crlNumbers.try_emplace(one.crl.get(), crls.size());
            if (isNew)
                crls.push_back(one);
            else
                crls[known->second].status = std::min(crls[known->second].status, one.status);
        }
    }

    Failure checkStrictRules() {
        if (rules != PathRules::strict)
            return std::nullopt;
        if (auto violation = findStrictViolation(views, options))
            return refuse(violation->code, violation->depth, std::move(violation->facts));
        return std::nullopt;
    }

    std::vector<X509Certificate const*> path;
    Question& question;
    PathOptions const& options;
    unsigned rules;
    Texts texts;
    size_t anchor; ///< Its index in the path.
    std::vector<CertificateFields> fields;
    std::vector<CertificateFields const*> views;
    std::vector<PathPolicy> policies;
    std::vector<CrlVerdict> crls; ///< The best status of each CRL for any certificate of the chain.
    std::map<X509Crl const*, size_t> crlNumbers;
    bool isUndecided = false;
};

/// Whether a valid chain leads from a certificate that signed a CRL to the anchor.
class SignerChains {
public:
    SignerChains(Question& shared, X509Certificate const& last) : question(shared), anchor(last) {
        options = question.options;
        options.hostName = options.email = {};
        options.address = {};
        options.purpose = PathPurpose::any;
        options.policies.clear();
        options.requirePolicy = false;
        options.checkLeafCrlOnly = false;
    }

    bool leadsToAnchor(X509Certificate const& signer) {
        if (signer.tbs == anchor.tbs)
            return true;
        auto const [known, isNew] = question.signers.try_emplace(&signer, false);
        if (!isNew || question.nesting == maxNesting)
            return known->second;
        anchorName = canonicalName(anchor.subjectBytes());
        path = {&signer};
        ++question.nesting;
        known->second = extend();
        --question.nesting;
        return known->second;
    }

private:
    bool isSigned(X509Certificate const& subject, X509Certificate const& issuer) {
        return question.checks.signatures.check(subject, issuer.subjectPublicKeyInfo,
                                                SignatureForms::standard) == PathCode::valid;
    }

    bool extend() {
        X509Certificate const& last = *path.back();
        if (path.size() >= maxSignerChain)
            return false;
        std::string const issuerName = canonicalName(last.issuerBytes());
        if (issuerName == anchorName && isSigned(last, anchor)) {
            std::vector<X509Certificate const*> whole = path;
            whole.push_back(&anchor);
            Validation validation(std::move(whole), question, options, PathRules::rfc5280, Texts::omitted);
            if (validation.run().explanation.code == static_cast<int>(PathCode::valid))
                return true;
        }
        for (X509Certificate const* candidate :
             question.revocation.signersNamed(issuerName, question.checks.crls)) {
            X509Certificate const& issuer = *candidate;
            if (question.stepsLeft == 0)
                return false;
            --question.stepsLeft;
            if (std::ranges::find(path, &issuer) != path.end() || !isSigned(last, issuer))
                continue;
            path.push_back(&issuer);
            bool const isFound = extend();
            path.pop_back();
            if (isFound)
                return true;
        }
        return false;
    }

    Question& question;
    X509Certificate const& anchor;
    PathOptions options;
    std::string anchorName;
    std::vector<X509Certificate const*> path;
};

/// The anchor that the certificate at `index` is a copy of, or leads to. A copy is preferred to a certificate
/// with the same name and key, and that to one with the same name and key identifier. Without a key
/// identifier, the name decides only at the end of the chain, because the anchor may have changed its key.
std::shared_ptr<X509Certificate> findStandardAnchor(CertificateChain const& chain,
                                                    CertificateStore const& store, size_t index) {
    X509Certificate const& certificate = *chain[index];
    if (index == 0 && !certificate.selfSigned)
        return nullptr;
    auto const likeness = [&](X509Certificate const& other) {
        if (other.tbs == certificate.tbs)
            return 3;
        if (other.subjectPublicKeyInfo == certificate.subjectPublicKeyInfo)
            return 2;
        bool const isNamesake = certificate.subjectKeyId.empty()
                                    ? index + 1 == chain.size()
                                    : other.subjectKeyId == certificate.subjectKeyId;
        return isNamesake ? 1 : 0;
    };
    std::shared_ptr<X509Certificate> anchor;
    int best = 0;
    for (auto const& other : findNamed(store, certificate.subject, certificate.subjectKeyId))
        if (int const found = likeness(*other); found > best) {
            anchor = other;
            best = found;
        }
    return anchor;
}

/// Sets the sources of CRLs and their signers, and how a signer is validated.
void addSources(Question& question, CertificateChain const& chain,
                std::span<std::shared_ptr<X509Crl> const> crls,
                std::shared_ptr<X509Certificate> const& anchor) {
    RevocationSources& sources = question.revocation;
    sources.crls.assign(crls.begin(), crls.end());
    sources.signers = chain;
    sources.signers.push_back(anchor);
    if (auto const* const listed = dynamic_cast<CertificateMemoryStore const*>(&question.store))
        sources.signers.insert(sources.signers.end(), listed->certs.begin(), listed->certs.end());
    auto const& others = question.options.otherCertificates;
    sources.signers.insert(sources.signers.end(), others.begin(), others.end());
    sources.isSignerValid = [&question](X509Certificate const& signer, X509Certificate const& last) {
        return SignerChains(question, last).leadsToAnchor(signer);
    };
}

} // namespace

PathFinding validateByStandard(CertificateChain const& chain, CertificateStore const& store,
                               std::span<std::shared_ptr<X509Crl> const> crls, PathOptions const& options,
                               unsigned rules, PathChecks& checks, Texts texts) {
    PathExplanation refusal;
    refusal.rules = rules;
    if (chain.empty()) {
        refusal.code = static_cast<int>(PathCode::emptyChain);
        return {std::move(refusal), false};
    }
    std::shared_ptr<X509Certificate> anchor;
    std::vector<X509Certificate const*> path;
    for (size_t depth = 0; depth < chain.size() && !anchor; ++depth) {
        anchor = findStandardAnchor(chain, store, depth);
        // A copy of the anchor is replaced by it. Another certificate with the leaf's name does not replace
        // the leaf.
        if (!anchor || (depth == 0 && anchor->tbs != chain[0]->tbs))
            path.push_back(chain[depth].get());
    }
    if (!anchor) {
        X509Certificate const& last = *chain.back();
        refusal.code = static_cast<int>(PathCode::noAnchor);
        refusal.depth = static_cast<unsigned>(chain.size() - 1);
        if (texts == Texts::wanted) {
            refusal.subject = getDisplayName(last);
            refusal.facts = {{"issuer", last.issuer.str()},
                             {"authority key identifier", str(asn1::blob(last.authorityKeyId))}};
        }
        return {std::move(refusal), false};
    }
    path.push_back(anchor.get());

    Question question{store, options, checks, {}, {}};
    question.revocation.isStrict = rules == PathRules::strict;
    if (options.checkCrls)
        addSources(question, chain, crls, anchor);
    return Validation(std::move(path), question, options, rules, texts).run();
}

std::vector<std::shared_ptr<X509Crl>> listCrls(CertificateChain const& chain, CertificateStore const& store) {
    if (auto const* const listed = dynamic_cast<CertificateMemoryStore const*>(&store))
        return listed->crls;
    std::vector<std::shared_ptr<X509Crl>> crls;
    for (auto const& certificate : chain)
        if (auto crl = store.findCrl(*certificate); crl && std::ranges::find(crls, crl) == crls.end())
            crls.push_back(std::move(crl));
    return crls;
}

PathFinding validateByAll(CertificateChain const& chain, CertificateStore const& store,
                          PathOptions const& options, PathChecks& checks, Texts texts) {
    constexpr unsigned standard = PathRules::rfc5280 | PathRules::strict;
    std::optional<PathFinding> first;
    if ((options.rules & standard) == 0 || (options.rules & PathRules::platform) != 0)
        first = validate(chain, store, options, checks, texts);
    std::vector<std::shared_ptr<X509Crl>> crls;
    if (options.checkCrls && (options.rules & standard) != 0)
        crls = listCrls(chain, store);
    for (unsigned const rules : {PathRules::rfc5280, PathRules::strict}) {
        bool const isRefused = first && first->explanation.code != static_cast<int>(PathCode::valid);
        if (isRefused || (options.rules & rules) == 0)
            continue;
        PathFinding next = validateByStandard(chain, store, crls, options, rules, checks, texts);
        if (first && next.explanation.code == static_cast<int>(PathCode::valid))
            first->explanation.policies = std::move(next.explanation.policies);
        else
            first = std::move(next);
    }
    applyValidUntil(chain, options, &first->explanation);
    return std::move(*first);
}

} // namespace detail

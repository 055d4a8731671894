#include "sealkit/search.h"

#include "base/view.h"
#include "trust/identity.h"
#include "trust/standard/name.h"
#include "trust/standard/path.h"
#include "trust/store_index.h"
#include "trust/validation.h"

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace {

using detail::viewOf;

constexpr unsigned namesCheckedPerUnit = 4096;
constexpr unsigned candidatesPerUnit = 4096;

/// Equal objects have the same signature and signed bytes. The signature is compared first, because it
/// differs soonest.
using Content = std::pair<std::string_view, std::string_view>;

Content contentOf(X509Base const& object) { return {viewOf(object.signature), viewOf(object.tbs)}; }

/// Orders names consistently with `operator==`, for logarithmic look-ups.
struct ByName {
    static auto fieldsOf(DistinguishedName const& name) {
        return std::tie(name.country, name.state, name.locality, name.organization, name.organizationalUnit,
                        name.commonName, name.serialNumber);
    }
    bool operator()(DistinguishedName const* a, DistinguishedName const* b) const {
        return fieldsOf(*a) < fieldsOf(*b);
    }
};

/// A certificate of the pool, which represents all its copies.
struct Member {
    std::shared_ptr<X509Certificate> certificate;
    size_t number; ///< The order of arrival, after everything that the store lists.
    bool isTrusted;
    bool isInChain = false;
    bool wasStoreAsked = false;    ///< Whether the store was asked for its issuers.
    bool wereNamesChecked = false; ///< Whether any search checked its names.

    X509Certificate const* get() const { return certificate.get(); }
};

/// A parsed name and its encoding. Equal encodings have equal fields.
struct Name {
    DistinguishedName const& fields;
    asn1::blob bytes;
};

struct Revocation {
    std::shared_ptr<X509Crl> crl;
    asn1::blob issuer; ///< Its encoding.

    Name name() const { return {crl->issuer, issuer}; }
};

Name issuerOf(X509Certificate const& certificate) { return {certificate.issuer, certificate.issuerBytes()}; }
Name subjectOf(X509Certificate const& certificate) {
    return {certificate.subject, certificate.subjectBytes()};
}

/// The sets of rules in the order of their verdicts.
constexpr unsigned setsOfRules[] = {PathRules::platform, PathRules::rfc5280, PathRules::strict};

/// Whether a chain is only extended by issuers whose keys verify the signature.
enum class Links : bool { verified, any };

bool fitsKeyId(asn1::blob authorityKeyId, asn1::blob subjectKeyId) {
    return authorityKeyId.empty() || authorityKeyId == subjectKeyId;
}

} // namespace

class PathSearch::Pool {
public:
    Pool(CertificateStore const& trusted, PathSearchOptions const& bounds)
        : store(trusted), limits(bounds), checks(detail::Diagnostics::silent) {
        listed = dynamic_cast<CertificateMemoryStore const*>(&trusted);
        if (listed == nullptr)
            return;
        nextNumber = listed->certs.size();
        for (auto const& crl : listed->crls)
            add(crl);
    }

    /// A copy of a certificate that the store lists is trusted.
    Member& add(std::shared_ptr<X509Certificate> const& certificate, bool isTrusted) {
        if (!known.contains(certificate))
            takeListed(certificate->subject);
        return add(certificate, isTrusted, nextNumber);
    }

    /// Adds only the store's certificates with this name to the pool, because a search needs few.
    void takeListed(DistinguishedName const& subject) {
        if (listed != nullptr)
            for (size_t const position : detail::positionsNamed(*listed, subject))
                add(listed->certs[position], true, position);
    }

    Member& add(std::shared_ptr<X509Certificate> const& certificate, bool isTrusted, size_t number) {
        auto const [place, isNew] = known.try_emplace(certificate, nullptr);
        if (isNew)
            place->second = &addCopy(certificate, number);
        Member& member = *place->second;
        if (isTrusted && !std::exchange(member.isTrusted, true))
            if (asn1::blob const subject = member.certificate->subjectBytes(); !subject.empty())
                trustedBySubjectBytes[viewOf(subject)].push_back(&member);
        return member;
    }

    void add(std::shared_ptr<X509Crl> const& crl) {
        if (!knownCrls.insert(crl).second)
            return;
        if (!crlContents.insert(contentOf(*crl)).second)
            return;
        crls.insert({crl->thisUpdate, {crl, crl->issuerBytes()}});
    }

    PathVerdict find(std::shared_ptr<X509Certificate> const& leaf, PathOptions const& asked);

private:
    /// The store that a chain is validated against: the pool's anchors, preferring the end of the chain among
    /// those with its name and key identifier, and the pool's verified CRLs.
    class ChainStore : public CertificateStore {
    public:
        ChainStore(Pool& all, CertificateChain& decided) : pool(all), chain(decided) {
            takeOwnEnd();
            for (size_t depth = 1; depth < chain.size() && !isAnchor(*chain[depth]); ++depth)
                issuers.push_back(chain[depth].get());
        }

        std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const& subject,
                                                         asn1::blob keyId) const override {
            bool const isEnd =
                end && end->subject == subject && (keyId.empty() || asn1::blob(end->subjectKeyId) == keyId);
            return isEnd ? end : pool.findTrusted(subject, keyId);
        }

        std::shared_ptr<X509Crl> findCrl(X509Certificate const& certificate) const override {
            pool.askForCrl(certificate);
            pool.checks.isCrlUndecided = false;
            for (auto const& [issued, revocation] : pool.crls) {
                if (!(revocation.crl->issuer == certificate.issuer) ||
                    revocation.crl->platformRefusal() != nullptr)
                    continue;
                std::optional<bool> const isGood = isVerified(revocation);
                // Older CRLs are not consulted, because this one may revoke more.
                pool.checks.isCrlUndecided = !isGood;
                if (!isGood)
                    return nullptr;
                if (*isGood)
                    return revocation.crl;
            }
            return nullptr;
        }

        /// Whether a trusted certificate, or an issuer of the chain whose own signature is verified, signed
        /// the CRL. Other certificates with the name of an issuer do not count. Returns nothing if the work
        /// limit is reached.
        std::optional<bool> isVerified(Revocation const& revocation) const {
            bool isUndecided = false;
            auto const isSigner = [&](X509Certificate const* issuer) {
                std::optional<bool> const hasSigned = pool.hasSigned(*issuer, revocation);
                isUndecided = isUndecided || !hasSigned;
                return hasSigned == true;
            };
            auto const isTrustedSigner = [&](Member const* member) {
                return member->certificate->platformRefusal() == nullptr && isSigner(member->get());
            };
            if (pool.listed == nullptr)
                pool.findTrusted(revocation.crl->issuer, revocation.crl->authorityKeyId);
            if (std::ranges::any_of(issuers, isSigner) ||
                std::ranges::any_of(pool.trustedLike(revocation.name()), isTrustedSigner))
                return true;
            return isUndecided ? std::nullopt : std::optional(false);
        }

    private:
        /// Replaces the end of the chain by the store's own certificate.
        void takeOwnEnd() {
            auto& last = chain.back();
            Member const& member = pool.add(last, false);
            if (member.isTrusted)
                end = last;
            else if (chain.size() > 1 || last->selfSigned)
                if (auto own = pool.findTrusted(last->subject, last->subjectKeyId))
                    end = last = own;
        }

        bool isAnchor(X509Certificate const& certificate) const {
            return findCertificate(certificate.subject, certificate.subjectKeyId) != nullptr;
        }

        Pool& pool;
        CertificateChain& chain;
        std::shared_ptr<X509Certificate> end;
        std::vector<X509Certificate const*> issuers; ///< The chain's issuers below the anchor.
    };

    Member& addCopy(std::shared_ptr<X509Certificate> const& certificate, size_t number);
    void forget(std::shared_ptr<X509Certificate> const& leaf);
    using BySubjectBytes = std::map<std::string_view, std::vector<Member*>>;

    template <typename Index>
    static std::vector<Member*> const& findIn(Index const& index, std::string_view subject);
    std::vector<Member*> const& namedLike(Name const& subject) {
        takeListed(subject.fields);
        return findIn(bySubjectBytes, viewOf(subject.bytes));
    }
    std::vector<Member*> const& trustedLike(Name const& subject) {
        takeListed(subject.fields);
        return findIn(trustedBySubjectBytes, viewOf(subject.bytes));
    }
    std::shared_ptr<X509Certificate> findTrusted(DistinguishedName const& subject, asn1::blob keyId);
    void askForIssuers(Member& subject);
    void askForCrl(X509Certificate const& certificate);
    std::optional<bool> hasSigned(X509Certificate const& issuer, Revocation const& revocation);
    CrlStatus statusOf(Revocation const& revocation, ChainStore const& accepted);
    bool isSuperseded(X509Crl const& crl, ChainStore const& accepted) const;

    using Way = std::vector<Member*>; ///< From the leaf upward.

    void search(Way& way, Links links);
    void searchByPlatform(Way& way, PathOptions const& asked);
    void searchByStandard(Way& way);
    bool extend(Way& way, Links links);
    void tell(PathSearchEvent event, Way const& way);
    bool decide(Way const& way);
    bool isDecided() const { return bestCode == PathCode::valid || bestCode == PathCode::identityMismatch; }
    bool payForNames(Way const& way);
    bool payForCandidates(size_t number);
    std::vector<Member*> findIssuers(Member& subject);
    unsigned rank(X509Certificate const& issuer, bool isTrusted, X509Certificate const& subject) const;
    bool isByPlatform() const { return rules == PathRules::platform; }
    bool isSigned(Member const& subject, Member const& issuer) {
        auto const forms = isByPlatform() ? detail::SignatureForms::stated : detail::SignatureForms::standard;
        return checks.signatures.check(*subject.certificate, issuer.certificate->subjectPublicKeyInfo,
                                       forms) == PathCode::valid;
    }
    /// Whether a chain ends here because the certificate is self-signed. `selfSigned` is also true for
    /// self-issued certificates without an authority key identifier, by which the standard rules follow a CA
    /// that changed its key.
    bool isEnd(Member const& member) {
        return member.certificate->selfSigned && (isByPlatform() || isSigned(member, member));
    }
    void foldNames();
    std::vector<Member*> namedByStandard(Name const& name);
    void gatherCrls(CertificateChain const& chain);
    std::optional<detail::PathFinding> judge(CertificateChain const& chain, detail::Texts texts);
    PathExplanation conclude(PathOptions const& asked, PathVerdict& verdict);
    void tellCrls(std::vector<CrlVerdict> const& found, PathVerdict& verdict);

    CertificateStore const& store;
    PathSearchOptions limits;
    CertificateMemoryStore const* listed = nullptr; ///< The store, if it can be enumerated.
    detail::PathChecks checks;

    std::list<Member> members; ///< The keys of the indexes are views into them.
    size_t nextNumber = 0;
    std::map<std::shared_ptr<X509Certificate>, Member*> known; ///< Includes copies, which keep results.
    std::map<Content, Member*> byContent;
    BySubjectBytes bySubjectBytes;
    BySubjectBytes trustedBySubjectBytes;
    std::map<DistinguishedName const*, std::vector<Member*>, ByName> bySubject;
    std::multimap<TimePoint, Revocation, std::greater<>> crls; ///< Newest first.
    std::set<Content> crlContents;
    std::set<std::shared_ptr<X509Crl>> knownCrls; ///< Includes copies.
    std::set<X509Certificate const*> askedForCrl; ///< The certificates whose CRL the store was asked for.

    // The state of the current search.
    unsigned rules = PathRules::platform; ///< The current set of rules.
    PathOptions options; ///< Under the platform's rules without an identity: it is checked once.
    PathSearchEffort effort;
    std::vector<PathSearchEvent> events;
    size_t uncountedCandidates = 0; ///< Compared candidates that do not yet make a unit of work.
    unsigned stepsLeft = 0;
    unsigned chainsLeft = 0;
    SearchLimit limit = SearchLimit::none;
    CertificateChain best; ///< The best chain so far.
    PathCode bestCode = PathCode::noAnchor;
    std::optional<detail::PathFinding> bestFinding; ///< Under the standard rules, if it is complete.

    // The state of a search under the standard rules.
    std::map<std::string, std::vector<Member*>, std::less<>>
        byCanonicalName; ///< Empty until names are folded.
    std::vector<std::shared_ptr<X509Crl>> listedCrls;
    CertificateChain crlSigners; ///< Candidates for signers of CRLs, and for the certificates above them.
};

/// Finds copies through an index of contents, because comparing all pairs would be too slow.
Member& PathSearch::Pool::addCopy(std::shared_ptr<X509Certificate> const& certificate, size_t number) {
    Member** copy = nullptr;
    if (!certificate->tbs.empty()) {
        copy = &byContent[contentOf(*certificate)];
        if (*copy != nullptr)
            return **copy;
    }
    Member& member = members.emplace_back(Member{certificate, number, false});
    nextNumber += number == nextNumber;
    if (copy != nullptr)
        *copy = &member;
    if (asn1::blob const subject = certificate->subjectBytes(); !subject.empty())
        bySubjectBytes[viewOf(subject)].push_back(&member);
    if (!certificate->subject.empty())
        bySubject[&certificate->subject].push_back(&member);
    return member;
}

/// Removes a leaf that was not a candidate, with its cached results. The pool then neither grows
/// with each search nor depends on earlier searches.
void PathSearch::Pool::forget(std::shared_ptr<X509Certificate> const& leaf) {
    auto const place = known.find(leaf);
    Member* const member = place->second;
    bool const isCopy = member->certificate != leaf;
    // Kept, because the store has it too.
    if (!isCopy && member->isTrusted)
        return;
    checks.signatures.forget(*leaf);
    known.erase(place);
    if (isCopy)
        return;
    checks.signatures.forgetKey(leaf->subjectPublicKeyInfo);
    askedForCrl.erase(leaf.get());
    if (auto const copy = byContent.find(contentOf(*member->certificate));
        copy != byContent.end() && copy->second == member)
        byContent.erase(copy);
    // The key of a list is a view into its first member.
    auto const removeFrom = [member](auto& index, auto const& key, auto keyOf) {
        auto node = index.extract(key);
        if (node.empty())
            return;
        std::erase(node.mapped(), member);
        if (node.mapped().empty())
            return;
        node.key() = keyOf(*node.mapped().front()->certificate);
        index.insert(std::move(node));
    };
    removeFrom(bySubjectBytes, viewOf(leaf->subjectBytes()),
               [](X509Certificate const& first) { return viewOf(first.subjectBytes()); });
    removeFrom(bySubject, &leaf->subject, [](X509Certificate const& first) { return &first.subject; });
    members.remove_if([member](Member const& one) { return &one == member; });
}

template <typename Index>
std::vector<Member*> const& PathSearch::Pool::findIn(Index const& index, std::string_view subject) {
    static std::vector<Member*> const nobody;
    auto const found = index.find(subject);
    return found == index.end() ? nobody : found->second;
}

/// Asks the store. The result stays in the pool, which keeps it alive.
std::shared_ptr<X509Certificate> PathSearch::Pool::findTrusted(DistinguishedName const& subject,
                                                               asn1::blob keyId) {
    auto const found = store.findCertificate(subject, keyId);
    if (!found)
        return nullptr;
    auto const& own = add(found, true).certificate;
    return own->platformRefusal() == nullptr ? own : nullptr;
}

/// Asks a store that cannot be enumerated for the issuers, by key identifier and by name only.
void PathSearch::Pool::askForIssuers(Member& subject) {
    if (listed != nullptr || std::exchange(subject.wasStoreAsked, true))
        return;
    X509Certificate const& certificate = *subject.certificate;
    findTrusted(certificate.issuer, certificate.authorityKeyId);
    if (!certificate.authorityKeyId.empty())
        findTrusted(certificate.issuer, {});
}

void PathSearch::Pool::askForCrl(X509Certificate const& certificate) {
    if (listed != nullptr || !askedForCrl.insert(&certificate).second)
        return;
    if (auto const crl = store.findCrl(certificate))
        add(crl);
}

/// Whether the key of the certificate verifies the CRL. Returns nothing if the work limit is reached.
std::optional<bool> PathSearch::Pool::hasSigned(X509Certificate const& issuer, Revocation const& revocation) {
    X509Crl const& crl = *revocation.crl;
    if ((!issuer.subjectKeyId.empty() && !fitsKeyId(crl.authorityKeyId, issuer.subjectKeyId)) ||
        !(issuer.subjectBytes() == revocation.issuer))
        return false;
    std::optional<PathCode> const code = checks.signatures.check(crl, issuer.subjectPublicKeyInfo);
    return code ? std::optional(code == PathCode::valid) : std::nullopt;
}

CrlStatus PathSearch::Pool::statusOf(Revocation const& revocation, ChainStore const& accepted) {
    std::optional<bool> const isGood = accepted.isVerified(revocation);
    if (isGood == true)
        return CrlStatus::verified;
    auto const& candidates = namedLike(revocation.name());
    if (!isGood || !payForCandidates(candidates.size()))
        return CrlStatus::unchecked;
    bool isAnyFit = false;
    for (Member const* member : candidates) {
        asn1::blob const keyId = member->certificate->subjectKeyId;
        if (!keyId.empty() && !fitsKeyId(revocation.crl->authorityKeyId, keyId))
            continue;
        isAnyFit = true;
        std::optional<bool> const isOthers = hasSigned(*member->certificate, revocation);
        if (!isOthers)
            return CrlStatus::unchecked;
        if (*isOthers)
            return CrlStatus::otherIssuer;
    }
    return isAnyFit ? CrlStatus::badSignature : CrlStatus::unknownIssuer;
}

/// Whether the CRL revokes a certificate of the best chain for which the platform's rules use a newer CRL
/// that does not.
bool PathSearch::Pool::isSuperseded(X509Crl const& crl, ChainStore const& accepted) const {
    return crl.platformRefusal() == nullptr && std::ranges::any_of(best, [&](auto const& certificate) {
               if (!(crl.issuer == certificate->issuer) ||
                   crl.findRevoked(certificate->serialNumber) == nullptr)
                   return false;
               auto const asked = accepted.findCrl(*certificate);
               return asked && asked->findRevoked(certificate->serialNumber) == nullptr;
           });
}

std::vector<Member*> PathSearch::Pool::findIssuers(Member& subject) {
    askForIssuers(subject);
    X509Certificate const& certificate = *subject.certificate;
    std::vector<Member*> found =
        isByPlatform() ? namedLike(issuerOf(certificate)) : namedByStandard(issuerOf(certificate));
    if (auto const same = bySubject.find(&certificate.issuer); isByPlatform() && same != bySubject.end())
        found.insert(found.end(), same->second.begin(), same->second.end());
    std::ranges::sort(found, {}, &Member::number);
    found.erase(std::unique(found.begin(), found.end()), found.end());
    if (!payForCandidates(found.size()))
        return {};
    std::erase_if(found, [&](Member const* member) {
        return member->isInChain || (isByPlatform() && member->certificate->platformRefusal() != nullptr);
    });

    std::vector<std::pair<unsigned, Member*>> ranked;
    ranked.reserve(found.size());
    for (Member* member : found)
        ranked.emplace_back(rank(*member->certificate, member->isTrusted, certificate), member);
    std::ranges::stable_sort(ranked, std::greater<>(), &std::pair<unsigned, Member*>::first);
    std::ranges::transform(ranked, found.begin(), &std::pair<unsigned, Member*>::second);
    return found;
}

/// How likely it is that this is the issuer, without considering the signature.
unsigned PathSearch::Pool::rank(X509Certificate const& issuer, bool isTrusted,
                                X509Certificate const& subject) const {
    bool const isCa = issuer.basicConstraints == 1;
    bool const isKeyNamed = fitsKeyId(subject.authorityKeyId, issuer.subjectKeyId);
    bool const isCurrent = issuer.notBefore <= options.now && options.now <= issuer.notAfter;
    return isCa * 8U + isKeyNamed * 4U + isCurrent * 2U + isTrusted;
}

/// Adds an event about the end of `way`, if events are wanted.
void PathSearch::Pool::tell(PathSearchEvent event, Way const& way) {
    if (events.size() >= limits.maxEvents)
        return;
    event.rules = rules;
    event.depth = way.size() - 1;
    event.certificate = way.back()->certificate;
    event.isTrusted = way.back()->isTrusted;
    events.push_back(std::move(event));
}

/// Decides on all chains that start with `way`. Returns true if the search is over.
bool PathSearch::Pool::extend(Way& way, Links links) {
    Member& last = *way.back();
    bool const mayEnd = links == Links::any || way.size() == 1;
    if (isEnd(last) || way.size() >= limits.maxChainLength)
        return mayEnd && decide(way);
    if (stepsLeft == 0) {
        limit = SearchLimit::steps;
        return true;
    }
    --stepsLeft;
    ++effort.steps;

    std::vector<Member*> issuers = findIssuers(last);
    PathSearchEvent lookedUp(PathSearchEvent::Kind::lookedUp);
    lookedUp.number = issuers.size();
    tell(std::move(lookedUp), way);
    if (issuers.empty())
        return links == Links::any && decide(way);
    // The first issuer is often the right one, and then no other issuer's signature is verified.
    if (links == Links::any)
        std::stable_partition(issuers.begin(), issuers.end(),
                              [&](Member const* issuer) { return isSigned(last, *issuer); });
    for (Member* issuer : issuers) {
        PathSearchEvent candidate(PathSearchEvent::Kind::candidate);
        candidate.isSigned = isSigned(last, *issuer);
        bool const isFollowed = links == Links::any || candidate.isSigned;
        way.push_back(issuer);
        tell(std::move(candidate), way);
        if (!isFollowed) {
            way.pop_back();
            continue;
        }
        issuer->isInChain = true;
        bool const isOver = issuer->isTrusted ? decide(way) : extend(way, links);
        issuer->isInChain = false;
        way.pop_back();
        if (isOver)
            return true;
    }
    return false;
}

/// Validates the chain and keeps it if it is the best so far. Returns true if the search is over.
bool PathSearch::Pool::decide(Way const& way) {
    if (chainsLeft == 0) {
        limit = SearchLimit::chains;
        return true;
    }
    --chainsLeft;
    ++effort.chains;
    CertificateChain chain;
    for (Member const* member : way)
        chain.push_back(member->certificate);
    PathCode code = PathCode::noAnchor;
    std::optional<detail::PathFinding> finding;
    if (!isByPlatform()) {
        // The first chain is often the final one, so its explanation is complete.
        auto const texts = best.empty() ? detail::Texts::wanted : detail::Texts::omitted;
        if (payForNames(way))
            finding = judge(chain, texts);
        if (finding)
            code = static_cast<PathCode>(finding->explanation.code);
        if (texts == detail::Texts::omitted)
            finding.reset();
    } else {
        ChainStore const decider(*this, chain);
        if (payForNames(way))
            code = static_cast<PathCode>(
                detail::validate(chain, decider, options, checks, detail::Texts::omitted).explanation.code);
    }
    PathSearchEvent judged(PathSearchEvent::Kind::judged);
    judged.code = code;
    tell(std::move(judged), way);
    bool const isDecisive = code == PathCode::valid || code == PathCode::identityMismatch;
    if (best.empty() || isDecisive || (bestCode == PathCode::noAnchor && code != PathCode::noAnchor)) {
        best = std::move(chain);
        bestCode = code;
        bestFinding = std::move(finding);
    }
    return isDecisive;
}

/// The first check of a certificate's names is free.
bool PathSearch::Pool::payForNames(Way const& way) {
    unsigned work = 0;
    for (Member* member : way)
        if (std::exchange(member->wereNamesChecked, true))
            work += static_cast<unsigned>(member->certificate->subjectAltNames.size() / namesCheckedPerUnit);
    return checks.signatures.spend(work);
}

/// Comparing a few candidates is free, because their signatures cost more.
bool PathSearch::Pool::payForCandidates(size_t number) {
    uncountedCandidates += number;
    size_t const work = uncountedCandidates / candidatesPerUnit;
    uncountedCandidates %= candidatesPerUnit;
    return checks.signatures.spend(static_cast<unsigned>(work));
}

void PathSearch::Pool::search(Way& way, Links links) {
    stepsLeft = limits.maxSteps;
    limit = SearchLimit::none;
    extend(way, links);
}

void PathSearch::Pool::searchByPlatform(Way& way, PathOptions const& asked) {
    X509Certificate const& leaf = *way.front()->certificate;
    options.hostName = options.email = {};
    options.address = {};
    if (leaf.platformRefusal() != nullptr)
        return;
    if (detail::asksForIdentity(asked) && !detail::bearsIdentity(leaf, asked))
        chainsLeft = 1; // No chain can change the verdict, so one is enough for display.
    else
        search(way, Links::verified);
    if (bestCode != PathCode::valid)
        search(way, Links::any);
}

/// Most names are encoded alike everywhere, so they are folded only if the search fails otherwise.
void PathSearch::Pool::searchByStandard(Way& way) {
    search(way, Links::verified);
    if (!isDecided()) {
        foldNames();
        search(way, Links::verified);
    }
    if (!isDecided())
        search(way, Links::any);
}

void PathSearch::Pool::foldNames() {
    for (size_t position = 0; listed != nullptr && position < listed->certs.size(); ++position)
        add(listed->certs[position], true, position);
    if (!payForCandidates(members.size()))
        return;
    for (Member& member : members)
        byCanonicalName[detail::canonicalName(member.certificate->subjectBytes())].push_back(&member);
    listedCrls.clear(); // Folding adds names for their signers.
}

/// The certificates whose subject equals the name under RFC 5280, section 7.1.
std::vector<Member*> PathSearch::Pool::namedByStandard(Name const& name) {
    std::vector<Member*> found = namedLike(name);
    if (!byCanonicalName.empty()) {
        auto const& folded = findIn(byCanonicalName, detail::canonicalName(name.bytes));
        found.insert(found.end(), folded.begin(), folded.end());
    }
    return found;
}

/// Lists the CRLs of the pool, and the candidates for their signers and for the certificates above these.
void PathSearch::Pool::gatherCrls(CertificateChain const& chain) {
    for (auto const& certificate : chain)
        askForCrl(*certificate);
    if (listedCrls.size() == crls.size())
        return;
    listedCrls.clear();
    std::vector<Member*> signers;
    std::set<Member const*> seen;
    auto const addNamed = [&](Name const& name) {
        for (Member* member : namedByStandard(name))
            if (seen.insert(member).second)
                signers.push_back(member);
    };
    for (auto const& [issued, revocation] : crls) {
        listedCrls.push_back(revocation.crl);
        addNamed(revocation.name());
    }
    for (size_t i = 0; i < signers.size(); i++)
        addNamed(issuerOf(*signers[i]->certificate));
    crlSigners.assign(options.otherCertificates.begin(), options.otherCertificates.end());
    for (Member const* member : signers)
        crlSigners.push_back(member->certificate);
}

/// Validates a chain under the standard rules against the pool's anchor at its end. Returns nothing if the
/// work limit is reached.
std::optional<detail::PathFinding> PathSearch::Pool::judge(CertificateChain const& chain,
                                                           detail::Texts texts) {
    CertificateMemoryStore anchors;
    auto const& last = chain.back();
    if (add(last, false).isTrusted) {
        anchors.certs = {last};
    } else {
        auto const& namesakes = trustedLike(subjectOf(*last));
        if (!payForCandidates(namesakes.size()))
            return std::nullopt;
        for (Member const* namesake : namesakes)
            anchors.certs.push_back(namesake->certificate);
    }
    if (!options.checkCrls)
        return detail::validateByStandard(chain, anchors, {}, options, rules, checks, texts);
    gatherCrls(chain);
    PathOptions withSigners = options;
    withSigners.otherCertificates = crlSigners;
    return detail::validateByStandard(chain, anchors, listedCrls, withSigners, rules, checks, texts);
}

PathVerdict PathSearch::Pool::find(std::shared_ptr<X509Certificate> const& leaf, PathOptions const& asked) {
    checks.signatures.restart(limits.maxWork);
    uncountedCandidates = 0;
    effort = {};
    events.clear();
    PathVerdict verdict;
    if (leaf)
        takeListed(leaf->subject);
    bool const isCandidate = known.contains(leaf);
    bool const isAnyKnown =
        std::ranges::any_of(setsOfRules, [&](unsigned set) { return (asked.rules & set) != 0; });
    for (unsigned const set : setsOfRules) {
        if ((isAnyKnown ? asked.rules & set : set & PathRules::platform) == 0)
            continue;
        rules = set;
        options = asked;
        limit = SearchLimit::none;
        chainsLeft = limits.maxChains;
        best.clear();
        bestCode = PathCode::noAnchor;
        bestFinding.reset();
        PathExplanation explanation;
        if (!leaf) {
            explanation.code = static_cast<int>(PathCode::emptyChain);
        } else {
            Way way = {&add(leaf, false)};
            way.front()->isInChain = true;
            if (isByPlatform())
                searchByPlatform(way, asked);
            else
                searchByStandard(way);
            way.front()->isInChain = false;
            if (best.empty())
                best = {way.front()->certificate};
            explanation = conclude(asked, verdict);
        }
        explanation.rules = set;
        detail::applyValidUntil(best, asked, &explanation);
        RulesVerdict const& one =
            verdict.byRules.emplace_back(RulesVerdict{set, best, std::move(explanation)});
        if (verdict.byRules.size() == 1 || (verdict.isValid() && !one.isValid())) {
            verdict.chain = one.chain;
            verdict.explanation = one.explanation;
            // If the leaf does not have the identity, no other chain would change the verdict.
            auto const identityMismatch = static_cast<int>(PathCode::identityMismatch);
            if (leaf && !one.isValid() && one.explanation.code != identityMismatch)
                verdict.limit = checks.signatures.wasRefused() ? SearchLimit::work : limit;
        }
    }
    if (verdict.isValid())
        verdict.explanation.policies = verdict.byRules.back().explanation.policies;
    verdict.events = std::move(events);
    verdict.effort = checks.signatures.effort();
    verdict.effort.chains = effort.chains;
    verdict.effort.steps = effort.steps;
    byCanonicalName.clear();
    listedCrls.clear();
    crlSigners.clear();
    if (leaf && !isCandidate)
        forget(leaf);
    return verdict;
}

/// Explains the best chain, and adds the warnings and CRLs of the set of rules.
PathExplanation PathSearch::Pool::conclude(PathOptions const& asked, PathVerdict& verdict) {
    if (!isByPlatform()) {
        auto finding = bestFinding ? std::move(bestFinding) : judge(best, detail::Texts::wanted);
        if (!finding) {
            PathExplanation undecided;
            undecided.code = static_cast<int>(PathCode::noAnchor);
            undecided.subject = getDisplayName(*best.front());
            return undecided;
        }
        if (asked.checkCrls)
            tellCrls(finding->crls, verdict);
        return std::move(finding->explanation);
    }
    ChainStore const decider(*this, best);
    auto finding = detail::validate(best, decider, asked, checks, detail::Texts::wanted);
    verdict.warnings = detail::findWarnings(best, decider, asked, checks);
    if (asked.checkCrls)
        for (auto const& [issued, revocation] : crls) {
            CrlStatus const status = statusOf(revocation, decider);
            bool const isOverruled = status == CrlStatus::verified && isSuperseded(*revocation.crl, decider);
            verdict.crls.push_back({revocation.crl, isOverruled ? CrlStatus::superseded : status});
        }
    return std::move(finding.explanation);
}

/// Merges the status of CRLs. That of the standard rules takes precedence, because it is more specific.
void PathSearch::Pool::tellCrls(std::vector<CrlVerdict> const& found, PathVerdict& verdict) {
    std::map<std::shared_ptr<X509Crl>, CrlStatus> statuses, before;
    for (CrlVerdict const& one : verdict.crls)
        before.emplace(one.crl, one.status);
    for (CrlVerdict const& one : found)
        statuses.emplace(one.crl, one.status);
    ChainStore const decider(*this, best);
    verdict.crls.clear();
    for (auto const& [issued, revocation] : crls) {
        auto const told = statuses.find(revocation.crl);
        auto const earlier = before.find(revocation.crl);
        CrlStatus const status = told != statuses.end()    ? told->second
                                 : earlier != before.end() ? earlier->second
                                                           : statusOf(revocation, decider);
        std::string const issuer = detail::canonicalName(revocation.issuer);
        auto const isIssuer = [&](auto const& certificate) {
            return detail::canonicalName(certificate->issuerBytes()) == issuer;
        };
        bool const isUnrelated = told == statuses.end() && earlier == before.end() &&
                                 status == CrlStatus::verified && std::ranges::none_of(best, isIssuer);
        verdict.crls.push_back({revocation.crl, isUnrelated ? CrlStatus::notNeeded : status});
    }
}

PathSearch::PathSearch(CertificateStore const& store, PathSearchOptions const& limits)
    : pool(std::make_unique<Pool>(store, limits)) {}

PathSearch::~PathSearch() = default;

void PathSearch::addCertificates(CertificateChain const& candidates) {
    for (auto const& certificate : candidates)
        pool->add(certificate, false);
}

void PathSearch::addCrls(std::vector<std::shared_ptr<X509Crl>> const& crls) {
    for (auto const& crl : crls)
        pool->add(crl);
}

PathVerdict PathSearch::find(std::shared_ptr<X509Certificate> const& leaf, PathOptions const& options) {
    return pool->find(leaf, options);
}

std::string PathVerdict::reason() const {
    if (isValid())
        return {};
    std::string text = explanation.reason();
    if (limit != SearchLimit::none)
        text.append(text.ends_with('.') ? " " : ". ").append(getReasonText(limit).sentence);
    return text;
}

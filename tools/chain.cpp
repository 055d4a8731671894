#include "chain.h"

#include <algorithm>

namespace {

/// Chains are short; a longer search is an attack on the searcher.
constexpr size_t maxDepth = 24;
constexpr unsigned maxChains = 64;
constexpr unsigned maxSignatureChecks = 512;

bool isCopy(X509Certificate const& a, X509Certificate const& b) {
    return &a == &b || (a.tbs == b.tbs && a.signature == b.signature);
}

bool couldIssue(X509Certificate const& issuer, X509Certificate const& subject) {
    return issuer.subjectBytes() == subject.issuerBytes() ||
           (issuer.subject == subject.issuer && !subject.issuer.empty());
}

struct Candidate {
    std::shared_ptr<X509Certificate> certificate;
    bool trusted;
    unsigned rank;
};

class Search {
public:
    Search(CertificateChain const& given, CertificateChain const& trusted, TimePoint now,
           std::function<bool(CertificateChain const&)> const& visit)
        : given(given), trusted(trusted), now(now), visit(visit) {}

    /// True when the search is over.
    bool extend(CertificateChain& chain) {
        X509Certificate const& last = *chain.back();
        if (last.selfSigned || chain.size() == maxDepth)
            return report(chain);

        std::vector<Candidate> const candidates = findIssuers(chain);
        for (Candidate const& candidate : candidates) {
            chain.push_back(candidate.certificate);
            bool const done = candidate.trusted ? report(chain) : extend(chain);
            chain.pop_back();
            if (done)
                return true;
        }
        return candidates.empty() && report(chain);
    }

private:
    bool report(CertificateChain const& chain) { return visit(chain) || --chainsLeft == 0; }

    std::vector<Candidate> findIssuers(CertificateChain const& chain) {
        std::vector<Candidate> found;
        auto consider = [&](std::shared_ptr<X509Certificate> const& issuer, bool isTrusted) {
            auto const copyOfIssuer = [&](auto const& other) { return isCopy(*other, *issuer); };
            if (!couldIssue(*issuer, *chain.back()) ||
                std::any_of(chain.begin(), chain.end(), copyOfIssuer) ||
                std::any_of(found.begin(), found.end(),
                            [&](Candidate const& c) { return copyOfIssuer(c.certificate); }))
                return;
            found.push_back({issuer, isTrusted, rank(*issuer, *chain.back(), isTrusted)});
        };
        for (auto const& issuer : trusted)
            consider(issuer, true);
        for (auto const& issuer : given)
            consider(issuer, false);
        std::stable_sort(found.begin(), found.end(),
                         [](Candidate const& a, Candidate const& b) { return a.rank > b.rank; });
        return found;
    }

    unsigned rank(X509Certificate const& issuer, X509Certificate const& subject, bool isTrusted) {
        PathRes result;
        bool const verifies = signatureChecksLeft > 0 && --signatureChecksLeft > 0 &&
                              verifySignature(&subject, issuer.subjectPublicKeyInfo, &result);
        bool const keyIdFits =
            subject.authorityKeyId.empty() || subject.authorityKeyId == issuer.subjectKeyId;
        bool const current =
            issuer.notBefore.seconds <= now.seconds && now.seconds <= issuer.notAfter.seconds;
        return verifies * 16U + (issuer.basicConstraints == 1) * 8U + keyIdFits * 4U + current * 2U +
               isTrusted;
    }

    CertificateChain const& given;
    CertificateChain const& trusted;
    TimePoint now;
    std::function<bool(CertificateChain const&)> const& visit;
    unsigned chainsLeft = maxChains;
    unsigned signatureChecksLeft = maxSignatureChecks;
};

} // namespace

std::shared_ptr<X509Certificate> chooseLeaf(CertificateChain const& given) {
    auto issuedAnother = [&](X509Certificate const& issuer) {
        return std::any_of(given.begin(), given.end(), [&](auto const& other) {
            return !isCopy(*other, issuer) && other->issuerBytes() == issuer.subjectBytes();
        });
    };
    if (!issuedAnother(*given.front()))
        return given.front();
    std::shared_ptr<X509Certificate> end;
    for (auto const& certificate : given) {
        if (issuedAnother(*certificate) || (end && isCopy(*end, *certificate)))
            continue;
        if (end)
            return given.front();
        end = certificate;
    }
    return end ? end : given.front();
}

void forEachChain(std::shared_ptr<X509Certificate> const& leaf, CertificateChain const& given,
                  CertificateChain const& trusted, TimePoint now,
                  std::function<bool(CertificateChain const&)> const& visit) {
    CertificateChain chain{leaf};
    Search(given, trusted, now, visit).extend(chain);
}

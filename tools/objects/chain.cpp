#include "objects/chain.h"

#include "sealkit/hash.h"

#include <algorithm>
#include <map>

namespace {

/// Chains are short; a longer search is an attack on the searcher.
constexpr size_t maxDepth = 24;
constexpr unsigned maxChains = 64;
constexpr unsigned maxSteps = 256;
constexpr unsigned maxSignatureChecks = 128;

bool isCopy(X509Certificate const& a, X509Certificate const& b) {
    return &a == &b || (a.tbs == b.tbs && a.signature == b.signature);
}

bool couldIssue(X509Certificate const& issuer, X509Certificate const& subject) {
    return issuer.subjectBytes() == subject.issuerBytes() ||
           (issuer.subject == subject.issuer && !subject.issuer.empty());
}

struct Candidate {
    size_t member; ///< Its index in the pool.
    unsigned rank;
};

class Search {
public:
    Search(CertificateChain const& given, CertificateChain const& trusted, TimePoint now,
           std::function<bool(CertificateChain const&)> const& visit)
        : now(now), visit(visit) {
        for (auto const& certificate : trusted)
            add(certificate, true);
        for (auto const& certificate : given)
            add(certificate, false);
    }

    void run(std::shared_ptr<X509Certificate> const& leaf) {
        CertificateChain chain{leaf};
        pool[add(leaf, false)].inChain = true;
        extend(chain);
    }

private:
    /// One of several copies of a certificate, the trusted one if there is one.
    struct Member {
        std::shared_ptr<X509Certificate> certificate;
        bool trusted;
        bool inChain = false;
    };

    /// The index in the pool of the certificate, or of its copy. Copies are told by a digest: comparing
    /// each with each would take too long when many are almost the same.
    size_t add(std::shared_ptr<X509Certificate> const& certificate, bool trusted) {
        auto const [place, isNew] =
            indices.try_emplace(calcDigest(HashID::SHA256, certificate->serialize()), pool.size());
        if (isNew)
            pool.push_back({certificate, trusted});
        return place->second;
    }

    /// True when the search is over.
    bool extend(CertificateChain& chain) {
        X509Certificate const& last = *chain.back();
        if (last.selfSigned || chain.size() == maxDepth)
            return report(chain);
        // The first chain is complete long before.
        if (stepsLeft-- == 0)
            return true;

        std::vector<Candidate> const candidates = findIssuers(last);
        for (Candidate const& candidate : candidates) {
            Member& member = pool[candidate.member];
            chain.push_back(member.certificate);
            member.inChain = true;
            bool const done = member.trusted ? report(chain) : extend(chain);
            member.inChain = false;
            chain.pop_back();
            if (done)
                return true;
        }
        return candidates.empty() && report(chain);
    }

    bool report(CertificateChain const& chain) { return visit(chain) || --chainsLeft == 0; }

    std::vector<Candidate> findIssuers(X509Certificate const& subject) {
        std::vector<Candidate> found;
        for (size_t i = 0; i < pool.size(); ++i) {
            Member const& member = pool[i];
            if (!member.inChain && couldIssue(*member.certificate, subject))
                found.push_back({i, rank(*member.certificate, subject, member.trusted)});
        }
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

    std::vector<Member> pool;
    std::map<std::vector<unsigned char>, size_t> indices; ///< In the pool, by digest.
    TimePoint now;
    std::function<bool(CertificateChain const&)> const& visit;
    unsigned stepsLeft = maxSteps;
    unsigned chainsLeft = maxChains;
    unsigned signatureChecksLeft = maxSignatureChecks;
};

} // namespace

std::shared_ptr<X509Certificate> chooseLeaf(CertificateChain const& given) {
    auto issuedAnother = [&](X509Certificate const& issuer) {
        return std::any_of(given.begin(), given.end(), [&](auto const& other) {
            return other->issuerBytes() == issuer.subjectBytes() && !isCopy(*other, issuer);
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
    Search(given, trusted, now, visit).run(leaf);
}

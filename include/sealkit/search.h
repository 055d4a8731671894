/// The search for a chain: from a leaf and a pool of candidates to the chain that validates, or to the best
/// failure.
///
/// | member              | what it is                                                                        |
/// | ------------------- | --------------------------------------------------------------------------------- |
/// | `PathSearch`        | the pool: a store, further certificates and CRLs; searches upward from a leaf      |
/// | `PathSearchOptions` | the limits of a search                                                             |
/// | `PathVerdict`       | the chain, the explanation of its validation, warnings, CRLs, the work spent       |
/// | `PathSearchEvent`   | a step of a search: what was looked for, found and judged                          |
/// | `SearchLimit`       | the limit that ended a search; `searchLimits` has a sentence for each              |
/// | `CrlStatus`         | what became of a CRL of the pool; `crlStatuses` has a sentence for each            |
/// | `x509ChooseLeaf`    | the leaf among certificates that came in any order                                 |
///
/// A chain is decided by `x509ExplainPath`, whose rules are those of path.h. The search adds three: each
/// certificate is tried under every issuer of the pool that bears the name; the top of a chain is the store's
/// own certificate, the one whose key verifies where several share a name; and a CRL counts only if a
/// certificate of the store, or one of the chain below it, verifies its signature. Of those the newest
/// counts. If the work that is left does not suffice for one that may count, the chain is refused with
/// `PathCode::crlMissing`.
///
/// That is so under the platform's rules, which do not see candidates that only the standard rules support.
/// Each further set of rules that is asked for has a search of its own, whose limits of chains and steps are
/// its own as well; the work is counted for all of them. Under the standard rules names are compared as RFC
/// 5280, section 7.1, asks for, and each CRL of the pool is asked, with every candidate as its possible
/// signer.
///
/// **Bounds.** A search is bounded by counted work and not by a clock, so that every machine gives the same
/// answer. The unit is the verification of one signature under an RSA key of 2,048 bits:
///
/// | work                                                | units                                               |
/// | --------------------------------------------------- | --------------------------------------------------- |
/// | a signature under an RSA key, n bits, e of at most 17 | (n / 2048)², rounded up                            |
/// | the same, e of more bits                            | (n / 2048)² · bits / 17, rounded up                  |
/// | a signature under an EC key, n bits                 | (n / 256)², rounded up                               |
/// | an Ed25519 signature, or one under no usable key    | 1                                                   |
/// | hashing an object once more (Ed25519 hashes it under each key) | 1 for each 64 KiB                         |
/// | checking a certificate's names against constraints once more   | 1 for each 4,096 names                    |
/// | comparing the candidates for the issuer of a certificate or CRL | 1 for each 4,096                          |
///
/// Each pair of object and key is verified at most once, and each certificate and CRL is hashed at most once,
/// for as long as the `PathSearch` lives: several leaves of one message share what was worked out.
///
/// **Memory.** A leaf that is no candidate is forgotten at the end of its search, with its key and
/// signatures: the pool does not grow with the number of searches, and no search depends on those before.
/// What the store answers stays, so that a store that makes a new object for each answer lets the pool grow.
///
/// What a search does not do: it fetches nothing and writes nothing to any stream.
#pragma once

#include "sealkit/detail/export.h"
#include "sealkit/path.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

/// The limits of one search.
struct PathSearchOptions {
    unsigned maxWork = 128;       ///< Units as in the table, signatures of CRLs included.
    unsigned maxChains = 64;      ///< Chains that are validated.
    unsigned maxSteps = 256;      ///< Certificates whose issuers are looked for.
    unsigned maxChainLength = 24; ///< Certificates of a chain.
    unsigned maxEvents = 0;       ///< Events that a verdict tells; 0 for none.
};

/// The limit that ended a search before every chain was tried.
enum class SearchLimit : unsigned {
    none, ///< No limit was reached, or a chain is valid.
    work,
    chains,
    steps,
};

/// What became of a CRL of the pool.
enum class CrlStatus : unsigned {
    verified,
    otherIssuer,
    badSignature,
    unknownIssuer,
    unchecked,
    notNeeded,
    notYetValid,
    outOfDate,
    otherScope,
    unsupported,
    superseded, ///< Under the platform's rules alone.
};

/// Every limit but `none`, in ascending order.
SEALKIT_API std::span<ReasonText<SearchLimit> const> searchLimits();
/// Every status, in ascending order.
SEALKIT_API std::span<ReasonText<CrlStatus> const> crlStatuses();
/// The row of a limit other than `none`.
SEALKIT_API ReasonText<SearchLimit> const& getReasonText(SearchLimit limit);
/// The row of a status.
SEALKIT_API ReasonText<CrlStatus> const& getReasonText(CrlStatus status);

/// A CRL of the pool and what became of it.
struct CrlVerdict {
    std::shared_ptr<X509Crl> crl; ///< The CRL.
    CrlStatus status{};           ///< The row of `crlStatuses`.
};

/// What a search took.
struct PathSearchEffort {
    unsigned work = 0;            ///< Units as in the table.
    unsigned signatureChecks = 0; ///< Signatures that were verified.
    unsigned digests = 0;         ///< Digests of certificates and CRLs since the pool was made.
    unsigned chains = 0;          ///< Chains that were validated.
    unsigned steps = 0;           ///< Certificates whose issuers were looked for.
};

/// What happened in a search, for those who ask how it came to its verdict.
struct PathSearchEvent {
    /// The kinds of events.
    enum class Kind : unsigned {
        lookedUp,  ///< The issuers of `certificate` were looked for: `number` of them bear the name.
        candidate, ///< `certificate` bears the name of an issuer; `isSigned` tells whether its key verifies
                   ///< the signature.
        judged,    ///< The chain that ends with `certificate` was judged: `code`.
    };
    /// An event of this kind; the caller sets the further members.
    explicit PathSearchEvent(Kind what) : kind(what) {}

    Kind kind;                            ///< What happened.
    unsigned rules = PathRules::platform; ///< The set of rules by which the search went.
    size_t depth = 0;                     ///< How far `certificate` stands above the leaf, which has 0.
    std::shared_ptr<X509Certificate> certificate; ///< The one that the event is about.
    bool isTrusted = false;                       ///< Whether `certificate` is.
    size_t number = 0;                            ///< Of `lookedUp` alone.
    bool isSigned = false;                        ///< Of `candidate` alone.
    PathCode code = PathCode::valid;              ///< Of `judged` alone.
};

/// What one set of rules says.
struct RulesVerdict {
    unsigned rules = PathRules::platform; ///< One bit of `PathRules`.
    CertificateChain chain;               ///< From the leaf up, as far as it leads.
    PathExplanation explanation;          ///< The result for this chain.

    /// Whether these rules accept the chain.
    bool isValid() const { return explanation.code == static_cast<int>(PathCode::valid); }
};

/// The result of a search. Chain and explanation are those of the set of rules that decides: the first of
/// `byRules` that refuses, or the first if all accept, with the policies of the last.
struct PathVerdict {
    CertificateChain chain;      ///< From the leaf up to the store's certificate, or as far as it leads.
    PathExplanation explanation; ///< Of this chain.
    std::vector<PathWarning> warnings; ///< Of the platform's chain, if its rules are asked for.
    /// Every CRL of the pool, newest first, if CRLs are asked for: what the last set of rules that looked at
    /// it says.
    std::vector<CrlVerdict> crls;
    SearchLimit limit = SearchLimit::none; ///< The limit that ended the search; `none` if it came to its end.
    PathSearchEffort effort;               ///< What the search took.
    std::vector<PathSearchEvent> events;   ///< In their order, the first `PathSearchOptions::maxEvents`.
    std::vector<RulesVerdict>
        byRules; ///< One for each set that `PathOptions::rules` asks for: platform first.

    /// Whether all rules that were asked for accept the chain.
    bool isValid() const { return explanation.code == static_cast<int>(PathCode::valid); }

    /// Why the chain is not valid, as a sentence or the text that `x509ValidatePath` gives, and that a limit
    /// ended the search where one did. Empty for a valid chain.
    SEALKIT_API std::string reason() const;
};

/// A pool of certificates and CRLs in which chains are searched. The store must outlive it; certificates and
/// CRLs must not change while it lives. Not for several threads at once.
class SEALKIT_API PathSearch {
public:
    /// Trusts what `store` holds. The certificates and CRLs of a `CertificateMemoryStore` are candidates,
    /// each of them: it is asked by name, so that a pool of many roots is made as fast as one of few. Another
    /// store is asked by name and key identifier, and names one candidate for each question.
    explicit PathSearch(CertificateStore const& store, PathSearchOptions const& limits = {});
    ~PathSearch();
    PathSearch(PathSearch const&) = delete;
    PathSearch& operator=(PathSearch const&) = delete;

    /// Adds candidates that are not trusted. Copies count once.
    void addCertificates(CertificateChain const& candidates);

    /// Adds CRLs that count once their signatures are verified. Copies count once.
    void addCrls(std::vector<std::shared_ptr<X509Crl>> const& crls);

    /// Searches for a valid chain from `leaf` upward. Issuers are tried in this order: those whose key
    /// verifies the signature first, among them CA certificates, those with the right key identifier, those
    /// valid at `options.now`, trusted ones. If no chain is valid, the verdict is the first that leads to the
    /// store, and the first of all if none does; it names the limit if one ended the search. A null `leaf`
    /// gives `PathCode::emptyChain`.
    PathVerdict find(std::shared_ptr<X509Certificate> const& leaf, PathOptions const& options);

private:
    class Pool;
    std::unique_ptr<Pool> pool;
};

/// The leaf of certificates that came in any order: the first, unless it issued another one and exactly one
/// of them issued none. Null for none.
SEALKIT_API std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates);
/// The same, but the first that bears the identity that `options` ask for; else, in place of a CA, the first
/// that is no CA.
SEALKIT_API std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates,
                                                            PathOptions const& options);

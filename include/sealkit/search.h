/// The search for a chain: from a leaf and a pool of candidates to a valid chain, or to the best failure.
///
/// | member              | what it is                                                                    |
/// | ------------------- | ----------------------------------------------------------------------------- |
/// | `PathSearch`        | the pool: a store, further certificates and CRLs; searches upward from a leaf |
/// | `PathSearchOptions` | the limits of a search                                                        |
/// | `PathVerdict`       | the chain, the explanation of its validation, warnings, CRLs, the work spent  |
/// | `PathSearchEvent`   | a step of a search: what was looked up, found and validated                   |
/// | `SearchLimit`       | the limit that ended a search; `searchLimits` has a sentence for each         |
/// | `CrlStatus`         | how a CRL of the pool was used; `crlStatuses` has a sentence for each         |
/// | `x509ChooseLeaf`    | the leaf among certificates in any order                                      |
///
/// `x509ExplainPath` decides about each chain, under the rules of path.h. The search adds three rules. Each
/// certificate is tried under every issuer of the pool that has the right name. The top of a chain is the
/// store's own certificate; if several share a name, the one whose key verifies. A CRL counts only if a
/// certificate of the store, or of the chain below it, verifies its signature, and the newest such CRL
/// counts. If the remaining work does not suffice to verify a CRL that may count, the chain is refused with
/// `PathCode::crlMissing`.
///
/// This describes the platform's rules, which ignore candidates that only the standard rules support. Each
/// further set of rules has a search of its own, with its own limits of chains and steps; the work is counted
/// for all sets together. Under the standard rules names are compared as RFC 5280, section 7.1, requires, and
/// every CRL of the pool is considered, with every candidate as its possible signer.
///
/// **Bounds.** A search is bounded by counted work and not by a clock, so that every machine gives the same
/// answer. The unit is the verification of one signature under an RSA key of 2,048 bits:
///
/// | work                                                | units                                               |
/// | --------------------------------------------------- | --------------------------------------------------- |
/// | a signature under an RSA key, n bits, e of at most 17 | (n / 2048)², rounded up                            |
/// | the same, e of more bits                            | (n / 2048)² · bits of e / 17, rounded up             |
/// | a signature under an EC key, n bits                 | (n / 256)², rounded up                               |
/// | an Ed25519 signature, or one under an unusable key  | 1                                                   |
/// | hashing an object once more (Ed25519 hashes it under each key) | 1 for each 64 KiB                         |
/// | checking a certificate's names against constraints once more   | 1 for each 4,096 names                    |
/// | comparing the candidates for the issuer of a certificate or CRL | 1 for each 4,096                          |
///
/// Each pair of object and key is verified at most once, and each certificate and CRL is hashed at most once,
/// as long as the `PathSearch` exists: several leaves of one message share the results.
///
/// **Memory.** A leaf that is not a candidate is discarded at the end of its search, with its key and
/// signatures: the pool does not grow with the number of searches, and no search depends on earlier ones. The
/// store's answers are kept, so a store that makes a new object for each answer makes the pool grow.
///
/// A search fetches nothing from a network and writes nothing to any stream.
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
    unsigned maxSteps = 256;      ///< Certificates whose issuers are looked up.
    unsigned maxChainLength = 24; ///< Certificates of a chain.
    unsigned maxEvents = 0;       ///< Events that a verdict records; 0 for no events.
};

/// The limit that ended a search before every chain was tried.
enum class SearchLimit : unsigned {
    none, ///< No limit was reached, or a chain is valid.
    work,
    chains,
    steps,
};

/// How a CRL of the pool was used.
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
    superseded, ///< Only under the platform's rules.
};

/// Every limit but `none`, in ascending order.
SEALKIT_API std::span<ReasonText<SearchLimit> const> searchLimits();
/// Every status, in ascending order.
SEALKIT_API std::span<ReasonText<CrlStatus> const> crlStatuses();
/// The row of a limit other than `none`.
SEALKIT_API ReasonText<SearchLimit> const& getReasonText(SearchLimit limit);
/// The row of a status.
SEALKIT_API ReasonText<CrlStatus> const& getReasonText(CrlStatus status);

/// A CRL of the pool and its status.
struct CrlVerdict {
    std::shared_ptr<X509Crl> crl; ///< The CRL.
    CrlStatus status{};           ///< The row of `crlStatuses`.
};

/// The work of a search.
struct PathSearchEffort {
    unsigned work = 0;            ///< Units as in the table.
    unsigned signatureChecks = 0; ///< Signatures that were verified.
    unsigned digests = 0;         ///< Digests of certificates and CRLs since the pool was made.
    unsigned chains = 0;          ///< Chains that were validated.
    unsigned steps = 0;           ///< Certificates whose issuers were looked up.
};

/// An event of a search, to show how it came to its verdict.
struct PathSearchEvent {
    /// The kinds of events.
    enum class Kind : unsigned {
        lookedUp,  ///< The issuers of `certificate` were looked up: `number` candidates have the right name.
        candidate, ///< `certificate` has the name of an issuer; `isSigned` tells whether its key verifies
                   ///< the signature.
        judged,    ///< The chain that ends with `certificate` was validated, with the result `code`.
    };
    /// An event of this kind; the caller sets the further members.
    explicit PathSearchEvent(Kind what) : kind(what) {}

    Kind kind;                                    ///< What happened.
    unsigned rules = PathRules::platform;         ///< The set of rules of the search.
    size_t depth = 0;                             ///< The distance of `certificate` from the leaf.
    std::shared_ptr<X509Certificate> certificate; ///< The one that the event is about.
    bool isTrusted = false;                       ///< Whether `certificate` is trusted.
    size_t number = 0;                            ///< Only of `lookedUp`.
    bool isSigned = false;                        ///< Only of `candidate`.
    PathCode code = PathCode::valid;              ///< Only of `judged`.
};

/// The result under one set of rules.
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
    CertificateChain chain;      ///< From the leaf up to the store's certificate, or as far as it goes.
    PathExplanation explanation; ///< Of this chain.
    /// For the chain of the platform's rules, if `PathOptions::rules` has them.
    std::vector<PathWarning> warnings;
    /// If CRLs are checked, every CRL of the pool, newest first, with its status under the last set of rules
    /// that used it.
    std::vector<CrlVerdict> crls;
    SearchLimit limit = SearchLimit::none; ///< The limit that ended the search; `none` if it came to its end.
    PathSearchEffort effort;               ///< What the search took.
    std::vector<PathSearchEvent> events;   ///< The first `PathSearchOptions::maxEvents`, in their order.
    std::vector<RulesVerdict> byRules; ///< One for each set of `PathOptions::rules`, the platform's first.

    /// Whether all rules that were asked for accept the chain.
    bool isValid() const { return explanation.code == static_cast<int>(PathCode::valid); }

    /// Why the chain is not valid: a sentence, or the text that `x509ValidatePath` gives; and the limit, if
    /// one ended the search. Empty for a valid chain.
    SEALKIT_API std::string reason() const;
};

/// A pool of certificates and CRLs in which chains are searched. The store must outlive it; certificates and
/// CRLs must not change while it exists. Not for several threads at once.
class SEALKIT_API PathSearch {
public:
    /// Trusts the certificates of `store`. All certificates and CRLs of a `CertificateMemoryStore` are
    /// candidates; they are looked up by name when needed, so a pool of many roots is made as fast as one of
    /// few. Other stores are asked by name and key identifier, and give one candidate for each question.
    explicit PathSearch(CertificateStore const& store, PathSearchOptions const& limits = {});
    ~PathSearch();
    PathSearch(PathSearch const&) = delete;
    PathSearch& operator=(PathSearch const&) = delete;

    /// Adds untrusted candidates. Duplicates count once.
    void addCertificates(CertificateChain const& candidates);

    /// Adds CRLs, which count only after their signatures are verified. Duplicates count once.
    void addCrls(std::vector<std::shared_ptr<X509Crl>> const& crls);

    /// Searches for a valid chain from `leaf` upward. Issuers are tried in this order: first those whose key
    /// verifies the signature; among these, CA certificates, those with the right key identifier, those valid
    /// at `options.now`, and trusted ones come first. If no chain is valid, the verdict is that of the first
    /// chain that leads to the store or, without such a chain, of the first chain; it names the limit if one
    /// ended the search. A null `leaf` gives `PathCode::emptyChain`.
    PathVerdict find(std::shared_ptr<X509Certificate> const& leaf, PathOptions const& options);

private:
    class Pool;
    std::unique_ptr<Pool> pool;
};

/// The leaf among certificates in any order: the first one, unless it issued another one and exactly one of
/// them issued no other. Null for an empty list.
SEALKIT_API std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates);
/// The same, but prefers the first certificate with the identity that `options` require; failing that, if the
/// result would be a CA, the first certificate that is not a CA.
SEALKIT_API std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates,
                                                            PathOptions const& options);

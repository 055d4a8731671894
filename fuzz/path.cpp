#include "sealkit/path.h"
#include "sealkit/asn1.h"
#include "sealkit/search.h"

#include "targets.h"

#include <algorithm>

namespace {

/// The first byte tells which of eight objects are trusted; the objects follow in DER. A
/// certificate that is not trusted belongs to the chain; a CRL always belongs to the store.
void read(asn1::blob input, CertificateChain* chain, CertificateMemoryStore* store) {
    if (input.empty())
        return;
    unsigned const trusted = input.pop_front();
    asn1::parser in(input);
    for (unsigned i = 0; i < 8 && in.tag < asn1::parser::endTag; ++i) {
        asn1::blob const der = in.takeWhole();
        unsigned const size = static_cast<unsigned>(der.size());
        auto certificate = std::make_shared<X509Certificate>();
        auto crl = std::make_shared<X509Crl>();
        if (certificate->parse(der.data(), size))
            ((trusted >> i & 1) != 0 ? store->certs : *chain).push_back(std::move(certificate));
        else if (crl->parse(der.data(), size))
            store->crls.push_back(std::move(crl));
    }
}

/// Whether each link of the chain verifies and its last certificate is in the store.
bool isVouchedFor(CertificateChain const& chain, CertificateMemoryStore const& store) {
    bool isSigned = true;
    for (size_t depth = 0; depth + 1 < chain.size(); ++depth) {
        PathRes result;
        isSigned =
            isSigned && verifySignature(chain[depth].get(), chain[depth + 1]->subjectPublicKeyInfo, &result);
    }
    return isSigned && std::find(store.certs.begin(), store.certs.end(), chain.back()) != store.certs.end();
}

bool areSame(PathVerdict const& a, PathVerdict const& b) {
    return a.chain == b.chain && a.explanation.code == b.explanation.code && a.limit == b.limit &&
           a.warnings.size() == b.warnings.size() && a.crls.size() == b.crls.size();
}

/// A pool answers within its limits, and gives the same answer after other searches as a new pool.
void search(CertificateChain const& given, CertificateMemoryStore const& store, PathOptions const& options,
            PathSearchOptions const& limits) {
    auto const fill = [&](PathSearch& pool) {
        pool.addCertificates(given);
        pool.addCrls(store.crls);
    };
    PathSearch shared(store, limits);
    fill(shared);
    for (auto const& leaf : given) {
        PathSearch fresh(store, limits);
        fill(fresh);
        PathVerdict const verdict = fresh.find(leaf, options);
        SEALKIT_ASSERT(verdict.effort.work <= limits.maxWork && verdict.effort.chains <= limits.maxChains);
        // A certificate of the store replaces a leaf that leads no further.
        size_t const length = verdict.chain.size();
        SEALKIT_ASSERT(length == 1 || (length != 0 && verdict.chain.front()->tbs == leaf->tbs));
        SEALKIT_ASSERT(length <= limits.maxChainLength);
        SEALKIT_ASSERT(verdict.isValid() == verdict.reason().empty());
        SEALKIT_ASSERT(!verdict.isValid() || verdict.limit == SearchLimit::none);
        SEALKIT_ASSERT(!verdict.isValid() || isVouchedFor(verdict.chain, store));
        PathVerdict const again = shared.find(leaf, options);
        // A search may get further if signatures were verified before, since it has more work left.
        SEALKIT_ASSERT(verdict.limit != SearchLimit::none || areSame(verdict, again));
        // A leaf that is not a candidate does not change the pool.
        auto const stranger = std::make_shared<X509Certificate>(*leaf);
        stranger->tbs.push_back(0);
        shared.find(stranger, options);
    }
}

} // namespace

/// Building only appends CA certificates. Validating and explaining give the same answer, with a text if the
/// code has one. Answers and warnings are about a certificate of the chain.
void fuzz::path(asn1::blob input) {
    CertificateChain chain;
    CertificateMemoryStore store;
    read(input, &chain, &store);

    CertificateChain const given = chain;
    bool const built = x509BuildPath(store, chain, nullptr);
    SEALKIT_ASSERT(built == !chain.empty());
    SEALKIT_ASSERT(chain.size() >= given.size() && std::equal(given.begin(), given.end(), chain.begin()));
    SEALKIT_ASSERT(std::all_of(chain.begin() + static_cast<std::ptrdiff_t>(given.size()), chain.end(),
                               [](auto const& each) { return each->basicConstraints == 1; }));

    for (bool const strict : {false, true}) {
        PathOptions question;
        question.now = TimePoint::fromSeconds(1748779200);
        question.hostName = strict ? "www.a.test" : "";
        question.checkCrls = strict;
        std::string error;
        int const code = x509ValidatePath(chain, store, question.now, question.hostName, question.address,
                                          question.email, question.checkCrls, &error);
        PathExplanation const why = x509ExplainPath(chain, store, question);
        SEALKIT_ASSERT(why.code == code && why.error == error && findPathCode(code) != nullptr);
        SEALKIT_ASSERT(error.empty() == (code == 0 || code == 1 || code == 3 || code == 6));
        SEALKIT_ASSERT(chain.empty() == (code == 1) && (chain.empty() || why.depth < chain.size()));
        for (PathWarning const& warning : x509PathWarnings(chain, store, question))
            SEALKIT_ASSERT(warning.depth < chain.size());
        search(given, store, question, {});
        search(given, store, question, {.maxWork = 2, .maxChains = 2, .maxSteps = 2, .maxChainLength = 2});
    }
}

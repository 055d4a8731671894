#include "sealkit/path.h"
#include "sealkit/asn1.h"

#include "targets.h"

#include <algorithm>

namespace {

/// The first byte says of each of eight objects whether it is trusted; the objects follow in DER. A
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

} // namespace

/// Building only appends CA certificates. Validating and explaining give one answer, with a text where
/// the code has one and about a certificate of the chain; so are the warnings.
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
    }
}

// Chooses the leaf among several certificates.
#include "sealkit/search.h"

#include "base/view.h"
#include "trust/identity.h"

#include <algorithm>
#include <map>
#include <string_view>

namespace {

using detail::viewOf;

bool isCopy(X509Certificate const& a, X509Certificate const& b) {
    return &a == &b || (!a.tbs.empty() && a.tbs == b.tbs && a.signature == b.signature);
}

} // namespace

std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates) {
    if (certificates.empty())
        return nullptr;
    /// The first certificate of an issuer, and whether others differ from it.
    struct Issued {
        X509Certificate const* first = nullptr;
        bool areSeveral = false;
    };
    std::map<std::string_view, Issued> byIssuer;
    for (auto const& certificate : certificates) {
        Issued& issued = byIssuer[viewOf(certificate->issuerBytes())];
        if (issued.first == nullptr)
            issued.first = certificate.get();
        issued.areSeveral = issued.areSeveral || !isCopy(*issued.first, *certificate);
    }
    auto const issuedAnother = [&](X509Certificate const& issuer) {
        auto const found = byIssuer.find(viewOf(issuer.subjectBytes()));
        return found != byIssuer.end() && (found->second.areSeveral || !isCopy(*found->second.first, issuer));
    };
    if (!issuedAnother(*certificates.front()))
        return certificates.front();
    std::shared_ptr<X509Certificate> leaf;
    for (auto const& certificate : certificates) {
        if (issuedAnother(*certificate) || (leaf && isCopy(*leaf, *certificate)))
            continue;
        if (leaf)
            return certificates.front();
        leaf = certificate;
    }
    return leaf ? leaf : certificates.front();
}

std::shared_ptr<X509Certificate> x509ChooseLeaf(CertificateChain const& certificates,
                                                PathOptions const& options) {
    if (detail::asksForIdentity(options)) {
        auto const bears = [&](auto const& certificate) {
            return detail::bearsIdentity(*certificate, options);
        };
        auto const named = std::ranges::find_if(certificates, bears);
        if (named != certificates.end())
            return *named;
    }
    auto chosen = x509ChooseLeaf(certificates);
    auto const isCa = [](auto const& certificate) { return certificate->basicConstraints == 1; };
    if (!chosen || !isCa(chosen))
        return chosen;
    auto const leaf = std::ranges::find_if_not(certificates, isCa);
    return leaf == certificates.end() ? chosen : *leaf;
}

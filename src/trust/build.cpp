#include "sealkit/oid.h"
#include "sealkit/path.h"

#include <iostream>
#include <set>
#include <tuple>
#include <utility>

namespace {

auto subjectAndKeyId(X509Certificate const& certificate) {
    DistinguishedName const& name = certificate.subject;
    return std::tie(name.country, name.state, name.locality, name.organization, name.organizationalUnit,
                    name.commonName, name.serialNumber, certificate.subjectKeyId);
}

/// Keeps the detection of loops fast as the chain grows.
struct BySubjectAndKeyId {
    bool operator()(X509Certificate const* a, X509Certificate const* b) const {
        return subjectAndKeyId(*a) < subjectAndKeyId(*b);
    }
};

bool isCa(X509Certificate const& certificate) { return certificate.basicConstraints == 1; }

} // namespace

bool x509BuildPath(CertificateStore const& store, CertificateChain& chain,
                   std::shared_ptr<X509Certificate> start) {
    std::shared_ptr<X509Certificate> current = std::move(start);
    if (!current) {
        if (chain.empty())
            return false;
        current = chain.back();
    }
    std::set<X509Certificate const*, BySubjectAndKeyId> seen;
    for (auto const& certificate : chain)
        seen.insert(certificate.get());

    while (!current->selfSigned) {
        auto issuer = store.findCertificate(current->issuer, current->authorityKeyId);
        if (!issuer) {
            std::cout << "trust path: next certificate not found for akid: "
                      << str(asn1::blob(current->authorityKeyId)) << std::endl;
            break;
        }
        current = std::move(issuer);
        if (!isCa(*current)) {
            std::cout << "trust path: certificate without CA constraint with skid: "
                      << str(asn1::blob(current->subjectKeyId)) << std::endl;
            break;
        }
        if (!seen.insert(current.get()).second) {
            std::cout << "trust path: loop skid: " << str(asn1::blob(current->subjectKeyId)) << std::endl;
            return true;
        }
        chain.push_back(current);
    }
    return !chain.empty();
}

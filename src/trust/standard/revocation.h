// Checks whether CRLs revoke a certificate (RFC 5280, section 6.3), using all CRLs that apply.
#pragma once

#include "sealkit/path.h"
#include "sealkit/search.h"
#include "trust/standard/fields.h"
#include "trust/validation.h"

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace detail {

/// The inputs of revocation beside the chain.
struct RevocationSources {
    std::vector<std::shared_ptr<X509Crl>> crls;
    /// Candidates for signers of CRLs: the certificates of the chain, of the store, and further ones.
    std::vector<std::shared_ptr<X509Certificate>> signers;
    /// The candidates with this name, in the form of `canonicalName`.
    std::span<X509Certificate const* const> signersNamed(std::string_view name, CrlMemory& memory);
    /// Whether a certificate that signed a CRL has a valid chain to `anchor`, with a check of its revocation.
    std::function<bool(X509Certificate const& signer, X509Certificate const& anchor)> isSignerValid;
    /// Whether a CRL signed over a weak hash may revoke but not clear a certificate.
    bool isStrict = false;

private:
    /// Built at the first look-up. Most CRLs are signed by the issuer's key and need none.
    std::map<std::string_view, std::vector<X509Certificate const*>> signersByName;
};

struct RevocationResult {
    /// `valid`, `revoked`, `crlMissing` (no CRL names the issuer) or `revocationUndetermined`.
    PathCode code = PathCode::valid;
    /// For `revoked`, the facts of the platform's rules; otherwise each CRL and why it does not count.
    std::vector<Fact> facts;
    std::vector<CrlVerdict> crls; ///< Each CRL of the sources whose issuer may cover the certificate.
};

/// The status of `subject`, issued by `issuer`, in a chain that ends with `anchor`. One CRL that revokes
/// decides; otherwise the CRLs that apply must cover all reasons. A CRL without nextUpdate counts as
/// outdated. A CRL with an unknown critical extension, and a delta CRL without its complete CRL, can revoke
/// but not clear.
RevocationResult findRevocation(CertificateFields const& subject, CertificateFields const& issuer,
                                X509Certificate const& anchor, RevocationSources& sources,
                                PathOptions const& options, PathChecks& checks);

} // namespace detail

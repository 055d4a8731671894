// Whether CRLs revoke a certificate (RFC 5280, section 6.3), over all CRLs that apply.
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

/// What a validation knows beside its chain.
struct RevocationSources {
    std::vector<std::shared_ptr<X509Crl>> crls;
    /// Certificates that may have signed a CRL: those of the chain, of the store, and further ones.
    std::vector<std::shared_ptr<X509Certificate>> signers;
    /// Those that bear the name, in the form of `canonicalName`.
    std::span<X509Certificate const* const> signersNamed(std::string_view name, CrlMemory& memory);
    /// Whether a certificate that signed a CRL leads to `anchor` by a valid chain, which is checked for
    /// revocation as well.
    std::function<bool(X509Certificate const& signer, X509Certificate const& anchor)> isSignerValid;
    /// Whether a CRL that is signed over a weak hash may only revoke: as one with an unknown critical
    /// extension.
    bool isStrict = false;

private:
    /// Empty until the first is asked for: most CRLs are signed by the issuer's key and ask for no others.
    std::map<std::string_view, std::vector<X509Certificate const*>> signersByName;
};

struct RevocationResult {
    /// `valid`, `revoked`, `crlMissing` (no CRL names the issuer) or `revocationUndetermined`.
    PathCode code = PathCode::valid;
    std::vector<Fact>
        facts; ///< For `revoked` as the platform's rules give them; else each CRL and why it does not count.
    std::vector<CrlVerdict> crls; ///< Each CRL of the sources whose issuer may tell about the certificate.
};

/// The status of `subject`, issued by `issuer`, in a chain that ends with `anchor`. Every CRL that applies is
/// asked: one that revokes decides, and all reasons must be covered otherwise. A CRL without nextUpdate
/// counts as outdated. One with an unknown critical extension, or a delta CRL without its complete CRL,
/// revokes and clears nothing.
RevocationResult findRevocation(CertificateFields const& subject, CertificateFields const& issuer,
                                X509Certificate const& anchor, RevocationSources& sources,
                                PathOptions const& options, PathChecks& checks);

} // namespace detail

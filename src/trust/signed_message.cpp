/// `PKCS7SignedData::verify` is defined here because src/pkcs may not include stores and chains.
#include "sealkit/oid.h"

#include "trust/signer_checks.h"

#include <string>
#include <utility>

namespace {

/// Bounds the work for one signer's certificate.
constexpr PathSearchOptions limits = {.maxWork = 64, .maxChains = 8, .maxSteps = 256, .maxChainLength = 16};

/// Sets the text of the finding.
bool fail(std::string* reason, MessageFindingId id, std::string const& signer = "",
          std::string const& more = "") {
    if (reason != nullptr)
        *reason = signer + MessageFinding{id, 0, {}}.str() + more;
    return false;
}

/// "signer 1 (serial number 0a of "CN=ca"): "
std::string nameOf(size_t number, PKCS7SignerInfo const& signer) {
    DistinguishedName issuer;
    issuer.parse(signer.issuer, nullptr);
    return "signer " + std::to_string(number) + " (serial number " + str(asn1::blob(signer.serialNumber)) +
           " of \"" + issuer.str() + "\"): ";
}

} // namespace

bool PKCS7SignedData::verify(CertificateStore const& store, asn1::blob detachedContent, TimePoint now,
                             std::string* reason) const {
    PathOptions options;
    options.now = now;
    return verify(store, detachedContent, options, reason);
}

bool PKCS7SignedData::verify(CertificateStore const& store, asn1::blob detachedContent,
                             PathOptions const& options, std::string* reason) const {
    CertificateChain const noMore;
    detail::SignerChecks checks(*this, store, noMore, options, limits);
    if (auto const wrong = checks.setContent(detachedContent))
        return fail(reason, *wrong);
    if (signerInfos.empty())
        return fail(reason, MessageFindingId::noSigners);
    size_t number = 0;
    for (auto const& signer : signerInfos) {
        ++number;
        auto const [certificate, wrong] = checks.check(*signer);
        if (wrong)
            return fail(reason, *wrong, nameOf(number, *signer));
        auto const path = checks.findPath(certificate);
        if (!path->isValid())
            return fail(reason, MessageFindingId::untrusted, nameOf(number, *signer), ": " + path->reason());
    }
    return true;
}

// Warns of what validation deliberately does not check.
#include "asn1/oids.h"
#include "sealkit/extensions.h"
#include "sealkit/oid.h"
#include "sealkit/path.h"
#include "trust/anchor.h"
#include "trust/purpose.h"
#include "trust/validation.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

namespace {

namespace oid = detail::oid;
using detail::SignatureChecks;

/// The extension with this identifier in the certificate or CRL; nothing if it is absent.
template <typename Object>
std::optional<X509Extension> findExtension(Object const& object, asn1::blob id) {
    for (X509Extension const& extension : object.extensions()) {
        if (extension.oid == id)
            return extension;
    }
    return std::nullopt;
}

/// Whether the certificate has a key usage extension without `use`.
bool forbids(X509Certificate const& certificate, unsigned use) {
    return findExtension(certificate, oid::keyUsage) && (certificate.keyUsage & use) == 0;
}

/// Adds warnings about one certificate.
struct Reporter {
    std::vector<PathWarning>& warnings;
    X509Certificate const& certificate;
    unsigned depth;

    void operator()(PathWarningId id, std::vector<Fact> facts) const {
        warnings.push_back({id, depth, getDisplayName(certificate), std::move(facts)});
    }
};

void checkPurpose(Reporter const& report, X509Certificate const& leaf, PathOptions const& options) {
    detail::Purpose const* const asked = detail::findPurpose(detail::askedPurpose(options));
    auto const extension = findExtension(leaf, oid::extKeyUsage);
    if (asked == nullptr || !extension)
        return;
    ObjectIdentifiers purposes;
    parseExtendedKeyUsage(extension->value, &purposes);
    auto const allows = [&](asn1::blob purpose) {
        return std::ranges::find(purposes.oids, purpose) != purposes.oids.end();
    };
    if (allows(asked->oid) || allows(oid::anyExtendedKeyUsage))
        return;
    std::vector<Fact> facts = {{"purpose asked for", asked->name}};
    for (asn1::blob purpose : purposes.oids)
        facts.push_back({"purpose found", oidStr(purpose)});
    report(PathWarningId::extendedKeyUsage, std::move(facts));
}

void checkPolicies(Reporter const& report, X509Certificate const& certificate) {
    for (X509Extension const& extension : certificate.extensions()) {
        bool const isPolicy =
            extension.oid == oid::certificatePolicies || extension.oid == oid::policyMappings;
        if (isPolicy && extension.critical)
            report(PathWarningId::criticalPolicies, {{"extension", oidStr(extension.oid)}});
    }
}

/// 65537, the common exponent; smaller ones have made forgeries easy.
constexpr unsigned char commonRsaExponent[] = {0x01, 0x00, 0x01};

void checkExponent(Reporter const& report, X509Certificate const& certificate, SignatureChecks& signatures) {
    auto const* const rsaKey =
        dynamic_cast<RsaPublicKey const*>(signatures.parseKey(certificate.subjectPublicKeyInfo));
    if (rsaKey != nullptr && rsaKey->e < BigNum(asn1::blob(commonRsaExponent)))
        report(PathWarningId::smallRsaExponent, {{"public exponent", rsaKey->e.str()}});
}

void checkCrl(Reporter const& report, X509Crl const& crl, X509Certificate const* issuer, TimePoint now,
              SignatureChecks& signatures) {
    Fact const issued = {"CRL issued", isoTime(crl.thisUpdate)};
    Fact const byWhom = {"CRL issuer", crl.issuer.str()};
    if (issuer == nullptr) {
        report(PathWarningId::crlSignature, {byWhom, issued, {"issuer's certificate", "not found"}});
    } else if (auto const code = signatures.check(crl, issuer->subjectPublicKeyInfo);
               code != PathCode::valid) {
        char const* const result = code ? findPathCode(static_cast<int>(*code))->name : "limit reached";
        report(PathWarningId::crlSignature, {byWhom, issued, {"verification", result}});
    }
    if (issuer != nullptr && forbids(*issuer, KeyUsage::crlSign))
        report(PathWarningId::crlIssuerNoCrlSign, {byWhom, issued});
    if (crl.thisUpdate > now)
        report(PathWarningId::crlNotYetValid, {{"now", isoTime(now)}, byWhom, issued});
    if (crl.nextUpdate != TimePoint() && crl.nextUpdate < now)
        report(PathWarningId::crlOutOfDate,
               {{"now", isoTime(now)}, byWhom, {"next CRL due", isoTime(crl.nextUpdate)}});
    if (auto const scope = findExtension(crl, oid::issuingDistributionPoint))
        report(PathWarningId::crlScope, {byWhom, issued, {"issuing distribution point", str(scope->value)}});
}

/// The part of a chain from the leaf to the anchor.
class Path {
public:
    Path(CertificateChain const& certificates, CertificateStore const& trusted)
        : chain(certificates), store(trusted) {
        while (!anchor && length < chain.size())
            anchor = detail::findAnchor(chain, store, length++);
    }

    size_t size() const { return length; }

    /// The certificate with the relevant key; at the top, the store's own copy.
    X509Certificate const& operator[](size_t depth) const {
        return anchor && depth + 1 == length ? *anchor : *chain[depth];
    }

    /// The issuer of a certificate of the path; null if unknown.
    std::shared_ptr<X509Certificate> issuerOf(size_t depth) const {
        if (depth + 1 < length)
            return depth + 2 == length && anchor ? anchor : chain[depth + 1];
        if (chain[depth]->selfSigned)
            return anchor ? anchor : chain[depth];
        return store.findCertificate(chain[depth]->issuer, chain[depth]->authorityKeyId);
    }

private:
    CertificateChain const& chain;
    CertificateStore const& store;
    std::shared_ptr<X509Certificate> anchor;
    size_t length = 0;
};

} // namespace

std::vector<PathWarning> x509CrlWarnings(X509Crl const& crl, X509Certificate const& issuer, TimePoint now) {
    std::vector<PathWarning> warnings;
    SignatureChecks signatures(detail::Diagnostics::silent);
    checkCrl(Reporter{warnings, issuer, 0}, crl, &issuer, now, signatures);
    return warnings;
}

std::vector<PathWarning> x509PathWarnings(CertificateChain const& chain, CertificateStore const& store,
                                          PathOptions const& options) {
    detail::PathChecks checks(detail::Diagnostics::silent);
    return detail::findWarnings(chain, store, options, checks);
}

std::vector<PathWarning> detail::findWarnings(CertificateChain const& chain, CertificateStore const& store,
                                              PathOptions const& options, PathChecks& checks) {
    std::vector<PathWarning> warnings;
    Path const path(chain, store);
    unsigned intermediates = 0; // Below the certificate, not counting self-issued ones.
    std::set<std::shared_ptr<X509Crl>> seenCrls;
    for (size_t depth = 0; depth < path.size(); ++depth) {
        X509Certificate const& certificate = *chain[depth];
        Reporter const report{warnings, certificate, static_cast<unsigned>(depth)};
        if (depth == 0) {
            checkPurpose(report, certificate, options);
        } else {
            // RFC 5280, section 6.1.4, items (l) to (n).
            if (auto const limit = certificate.pathLength(); limit && intermediates > *limit)
                report(PathWarningId::pathLength, {{"path length allowed", std::to_string(*limit)},
                                                   {"CA certificates below", std::to_string(intermediates)}});
            if (forbids(certificate, KeyUsage::keyCertSign))
                report(PathWarningId::noKeyCertSign, {});
            if (certificate.issuerBytes() != certificate.subjectBytes())
                ++intermediates;
        }
        if (depth + 1 < path.size() && certificate.issuerBytes() != chain[depth + 1]->subjectBytes())
            report(PathWarningId::namesDoNotLink, {{"issuer named", certificate.issuer.str()},
                                                   {"subject above", chain[depth + 1]->subject.str()}});
        checkExponent(report, path[depth], checks.signatures);
        checkPolicies(report, certificate);
        if (auto const crl = options.checkCrls ? store.findCrl(certificate) : nullptr) {
            if (seenCrls.insert(crl).second)
                checkCrl(report, *crl, path.issuerOf(depth).get(), options.now, checks.signatures);
        }
    }
    return warnings;
}

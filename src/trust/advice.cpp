#include "sealkit/advice.h"

#include "asn1/oids.h"
#include "sealkit/extensions.h"
#include "trust/general_name.h"

#include <algorithm>
#include <array>

namespace {

namespace oid = detail::oid;

constexpr std::array advices = {
    ReasonText<PathAdviceId>{PathAdviceId::nameIsUrl, "name-is-url",
                             "The host name is written as a URL; ask for only the host."},
    ReasonText<PathAdviceId>{PathAdviceId::nameHasPort, "name-has-port",
                             "The host name includes a port; ask for only the host."},
    ReasonText<PathAdviceId>{PathAdviceId::clockBehind, "clock-behind",
                             "No certificate of the chain is valid yet: the clock may be behind."},
    ReasonText<PathAdviceId>{PathAdviceId::clockAhead, "clock-ahead",
                             "Every certificate of the chain has expired: the clock may be ahead."},
    ReasonText<PathAdviceId>{
        PathAdviceId::anchorOfSameKey, "anchor-of-same-key",
        "A trusted certificate has the name and the key of one of the chain, but another "
        "key identifier."},
    ReasonText<PathAdviceId>{PathAdviceId::otherStore, "other-store",
                             "The chain leads to a certificate that the certificate manager trusts."},
    ReasonText<PathAdviceId>{
        PathAdviceId::untrustedRoot, "untrusted-root",
        "The chain ends with a root that is not trusted; trust it only if you got it in a "
        "secure way."},
    ReasonText<PathAdviceId>{PathAdviceId::missingIssuer, "missing-issuer",
                             "The certificate of an issuer is missing; add it to the given certificates."},
    ReasonText<PathAdviceId>{PathAdviceId::missingCrl, "missing-crl",
                             "A current CRL is missing; add it to the given CRLs."},
};

/// Adds the URLs from which an AccessDescription or a distribution point can be fetched.
void addUrls(std::vector<GeneralName> const& names, std::vector<Fact>* facts) {
    for (GeneralName const& name : names)
        if (name.type == GeneralName::uri)
            facts->push_back({"published at", name.data});
}

std::vector<GeneralName> issuerLocations(X509Certificate const& certificate) {
    std::vector<GeneralName> locations;
    for (X509Extension const& extension : certificate.extensions()) {
        std::vector<AccessDescription> descriptions;
        if (extension.oid != asn1::blob(oid::authorityInfoAccess) ||
            !parseAccessDescriptions(extension.value, &descriptions))
            continue;
        for (AccessDescription const& description : descriptions)
            if (asn1::blob(description.method) == asn1::blob(oid::caIssuers))
                locations.push_back(description.location);
    }
    return locations;
}

/// The host of a URL, or of a host with a port; empty for any other text.
std::string_view hostOf(std::string_view text) {
    size_t const scheme = text.find("://");
    bool const isUrl = scheme != text.npos;
    if (isUrl)
        text.remove_prefix(scheme + 3);
    size_t const end = text.find_first_of("/?#");
    if (!isUrl && end == text.npos && text.find(':') == text.npos)
        return {};
    text = text.substr(0, end);
    return text.substr(0, text.rfind(':'));
}

std::optional<PathAdvice> adviseOnName(PathOptions const& options) {
    std::string_view const name = options.hostName;
    std::string_view const host = hostOf(name);
    if (host.empty())
        return std::nullopt;
    bool const isUrl = name.find('/') != name.npos;
    return PathAdvice{isUrl ? PathAdviceId::nameIsUrl : PathAdviceId::nameHasPort,
                      {{"host asked for", std::string(name)}, {"host", std::string(host)}}};
}

std::optional<PathAdvice> adviseOnDates(CertificateChain const& chain, TimePoint now) {
    std::vector<Fact> facts = {{"now", isoTime(now)}};
    if (std::ranges::all_of(chain, [&](auto const& each) { return each->notBefore > now; }))
        return PathAdvice{PathAdviceId::clockBehind, std::move(facts)};
    if (std::ranges::all_of(chain, [&](auto const& each) { return each->notAfter < now; }))
        return PathAdvice{PathAdviceId::clockAhead, std::move(facts)};
    return std::nullopt;
}

std::optional<PathAdvice> adviseOnAnchor(CertificateChain const& chain, CertificateStore const& store,
                                         CertificateStore const* other) {
    for (auto const& certificate : chain) {
        auto const trusted = store.findCertificate(certificate->subject, {});
        if (trusted && trusted->subjectPublicKeyInfo == certificate->subjectPublicKeyInfo &&
            trusted->subjectKeyId != certificate->subjectKeyId)
            return PathAdvice{PathAdviceId::anchorOfSameKey, {{"certificate", getDisplayName(*trusted)}}};
    }
    X509Certificate const& last = *chain.back();
    if (other != nullptr) {
        auto anchor = other->findCertificate(last.subject, last.subjectKeyId);
        if (!anchor)
            anchor = other->findCertificate(last.issuer, last.authorityKeyId);
        if (anchor)
            return PathAdvice{PathAdviceId::otherStore, {{"certificate", getDisplayName(*anchor)}}};
    }
    std::vector<Fact> facts = {{"certificate", getDisplayName(last)}};
    if (last.selfSigned)
        return PathAdvice{PathAdviceId::untrustedRoot, std::move(facts)};
    facts.push_back({"issuer", last.issuer.str()});
    addUrls(issuerLocations(last), &facts);
    return PathAdvice{PathAdviceId::missingIssuer, std::move(facts)};
}

std::optional<PathAdvice> adviseOnCrl(X509Certificate const& certificate) {
    std::vector<Fact> facts = {{"certificate", getDisplayName(certificate)}};
    addUrls(certificate.crlDistributionPoints, &facts);
    return PathAdvice{PathAdviceId::missingCrl, std::move(facts)};
}

} // namespace

std::span<ReasonText<PathAdviceId> const> pathAdvices() { return advices; }

ReasonText<PathAdviceId> const& getReasonText(PathAdviceId id) { return advices[static_cast<size_t>(id)]; }

std::string PathAdvice::str() const {
    std::string text = getReasonText(id).sentence;
    if (facts.empty())
        return text;
    text.back() = ' ';
    char const* separator = "(";
    for (Fact const& fact : facts) {
        text.append(separator).append(fact.label).append(": ").append(fact.value);
        separator = "; ";
    }
    return text + ").";
}

std::optional<PathAdvice> x509AdvisePath(PathVerdict const& verdict, PathOptions const& options,
                                         CertificateStore const& store, CertificateStore const* other) {
    if (verdict.isValid() || verdict.chain.empty())
        return std::nullopt;
    switch (static_cast<PathCode>(verdict.explanation.code)) {
    case PathCode::identityMismatch:
        return adviseOnName(options);
    case PathCode::notYetValid:
    case PathCode::expired:
        return adviseOnDates(verdict.chain, options.now);
    case PathCode::noAnchor:
        // A search that reached its limit says so; what is missing is unknown.
        if (verdict.limit != SearchLimit::none)
            return std::nullopt;
        return adviseOnAnchor(verdict.chain, store, other);
    case PathCode::crlMissing:
    case PathCode::revocationUndetermined:
        return adviseOnCrl(
            *verdict.chain[std::min<size_t>(verdict.explanation.depth, verdict.chain.size() - 1)]);
    default:
        return std::nullopt;
    }
}

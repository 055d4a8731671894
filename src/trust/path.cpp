#include "sealkit/path.h"

#include "sealkit/oid.h"
#include "trust/anchor.h"
#include "trust/general_name.h"
#include "trust/identity.h"
#include "trust/name_constraints.h"
#include "trust/standard/path.h"
#include "trust/validation.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <utility>

namespace {

char const* showBasicConstraints(X509Certificate const& certificate) {
    return certificate.basicConstraints == 0   ? "absent"
           : certificate.basicConstraints == 1 ? "cA TRUE"
                                               : "cA FALSE";
}

/// The checks of one chain. Each returns a failure or nothing.
class Validation {
public:
    Validation(CertificateChain const& certificates, CertificateStore const& trusted,
               PathOptions const& asked, detail::PathChecks& shared, detail::Texts wanted)
        : chain(certificates), store(trusted), options(asked), checks(shared), texts(wanted) {}

    detail::PathFinding run() {
        if (chain.empty()) {
            PathExplanation empty;
            empty.code = static_cast<int>(PathCode::emptyChain);
            return {std::move(empty), false};
        }
        auto failure = checkForms();
        if (!failure)
            failure = checkIdentity();
        if (!failure)
            failure = checkNameConstraints();
        if (!failure)
            failure = walkToAnchor();
        if (!failure)
            failure = checkSignatures();
        if (!failure)
            failure = finding(PathCode::valid, anchorDepth, [](PathExplanation&) {});
        return {std::move(*failure), isUndecided};
    }

private:
    using Failure = std::optional<PathExplanation>;

    template <typename Explain>
    PathExplanation finding(PathCode code, size_t depth, Explain const& explain) const {
        return detail::makeExplanation(code, *chain[depth], depth, PathRules::platform, texts, explain);
    }

    /// Rejects a chain with a certificate that only the standard rules support.
    Failure checkForms() const {
        for (size_t depth = 0; depth < chain.size(); ++depth)
            if (Refusal const* const refusal = chain[depth]->platformRefusal())
                return finding(PathCode::unsupportedCertificate, depth, [&](PathExplanation& result) {
                    result.error = refusal->str();
                    result.facts = refusal->facts;
                });
        return std::nullopt;
    }

    Failure checkIdentity() const {
        X509Certificate const& leaf = *chain[0];
        if (!detail::asksForIdentity(options) || detail::bearsIdentity(leaf, options))
            return std::nullopt;
        return finding(PathCode::identityMismatch, 0, [&](PathExplanation& result) {
            result.error = "name verification failed for: \"" + result.subject + "\"";
            result.facts = detail::identityFacts(leaf, options);
            if (!leaf.subject.commonName.empty())
                result.facts.push_back({"common name found", leaf.subject.commonName});
        });
    }

    Failure checkNameConstraints() const {
        detail::NameConstraints constraints;
        for (size_t depth = chain.size(); depth-- > 0;) {
            if (auto violation = constraints.findViolation(*chain[depth]))
                return finding(PathCode::nameConstraintViolated, depth, [&](PathExplanation& result) {
                    char const* const kind = violation->excluded ? "excluded" : "permitted";
                    std::string const name = detail::show(*violation->name);
                    std::string const subtree = detail::show(*violation->constraint.name);
                    result.error.append("name constraint ").append(kind).append(": ").append(subtree);
                    result.error.append(" not satisfied for: ").append(name);
                    result.facts = {{"name", name},
                                    {kind, subtree},
                                    {"constrained by", getDisplayName(*chain[violation->constraint.depth])}};
                });
            constraints.add(*chain[depth], depth);
        }
        return std::nullopt;
    }

    Failure walkToAnchor() {
        for (size_t depth = 0; depth < chain.size(); ++depth) {
            X509Certificate const& certificate = *chain[depth];
            if (depth > 0 && certificate.basicConstraints != 1)
                return finding(PathCode::notCa, depth, [&](PathExplanation& result) {
                    result.facts = {{"basic constraints", showBasicConstraints(certificate)}};
                });
            if (auto failure = checkDates(depth))
                return failure;
            if (options.checkCrls) {
                if (auto failure = checkRevocation(depth))
                    return failure;
            }
            anchor = detail::findAnchor(chain, store, depth);
            anchorDepth = depth;
            if (anchor)
                return std::nullopt;
        }
        return finding(PathCode::noAnchor, chain.size() - 1, [&](PathExplanation& result) {
            X509Certificate const& last = *chain.back();
            result.facts = {{"issuer", last.issuer.str()},
                            {"authority key identifier", str(asn1::blob(last.authorityKeyId))}};
        });
    }

    Failure checkDates(size_t depth) const {
        X509Certificate const& certificate = *chain[depth];
        bool const isEarly = certificate.notBefore > options.now;
        if (!isEarly && certificate.notAfter >= options.now)
            return std::nullopt;
        return finding(
            isEarly ? PathCode::notYetValid : PathCode::expired, depth, [&](PathExplanation& result) {
                TimePoint const bound = isEarly ? certificate.notBefore : certificate.notAfter;
                result.error = std::string("cert not valid (") + (isEarly ? "before: " : "after: ") +
                               bound.toString() + (isEarly ? " > now: " : " < now: ") +
                               options.now.toString() + ") - \"" + result.subject + "\"";
                result.facts = {{"now", isoTime(options.now)},
                                {isEarly ? "notBefore" : "notAfter", isoTime(bound)}};
            });
    }

    Failure checkRevocation(size_t depth) {
        X509Certificate const& certificate = *chain[depth];
        if (auto const crl = store.findCrl(certificate); crl && crl->platformRefusal() == nullptr) {
            RevokedCertificate const* entry = crl->findRevoked(certificate.serialNumber);
            if (entry == nullptr)
                return std::nullopt;
            return finding(PathCode::revoked, depth, [&](PathExplanation& result) {
                result.error = "cert is revoked by crl - \"" + result.subject + "\"";
                result.facts = {{"serial number", str(asn1::blob(certificate.serialNumber))},
                                {"CRL issuer", crl->issuer.str()},
                                {"CRL issued", isoTime(crl->thisUpdate)},
                                {"revoked", isoTime(entry->revocationDate)}};
                if (std::string_view const reason = getCrlReasonText(entry->reasonCode); !reason.empty())
                    result.facts.push_back({"reason", std::string(reason)});
            });
        }
        if (certificate.crlDistributionPoints.empty() && !checks.isCrlUndecided)
            return std::nullopt;
        return finding(PathCode::crlMissing, depth, [&](PathExplanation& result) {
            result.error = "crl not found for: \"" + result.subject + "\"";
            result.facts = {{"issuer", certificate.issuer.str()}};
            for (GeneralName const& point : certificate.crlDistributionPoints)
                result.facts.push_back({"distribution point", detail::show(point)});
        });
    }

    Failure checkSignatures() {
        // A chain of one certificate is self-signed, so its signature is verified under the key of the
        // store's copy.
        if (anchorDepth == 0)
            return checkSignature(0, *anchor);
        for (size_t depth = 0; depth < anchorDepth; ++depth) {
            bool const byAnchor = depth + 1 == anchorDepth;
            if (auto failure = checkSignature(depth, byAnchor ? *anchor : *chain[depth + 1]))
                return failure;
        }
        return std::nullopt;
    }

    Failure checkSignature(size_t depth, X509Certificate const& issuer) {
        auto const code = checks.signatures.check(*chain[depth], issuer.subjectPublicKeyInfo);
        if (code == PathCode::valid)
            return std::nullopt;
        isUndecided = !code;
        return finding(code.value_or(PathCode::noAnchor), depth, [&](PathExplanation& result) {
            // The text names the leaf, even if another certificate failed.
            if (code)
                result.error = "cert signature is invalid for: \"" + getDisplayName(*chain[0]) + "\"";
            result.facts = {{"signature algorithm", oid2name(chain[depth]->signatureAlgorithm.oid)},
                            {"issuer's key", detail::showKeyAlgorithm(issuer.subjectPublicKeyInfo)},
                            {"issuer", getDisplayName(issuer)}};
        });
    }

    CertificateChain const& chain;
    CertificateStore const& store;
    PathOptions const& options;
    detail::PathChecks& checks;
    detail::Texts texts;
    std::shared_ptr<X509Certificate> anchor; ///< The last certificate checked.
    size_t anchorDepth = 0;
    bool isUndecided = false;
};

} // namespace

detail::PathFinding detail::validate(CertificateChain const& chain, CertificateStore const& store,
                                     PathOptions const& options, PathChecks& checks, Texts texts) {
    return Validation(chain, store, options, checks, texts).run();
}

std::shared_ptr<X509Certificate> detail::findAnchor(CertificateChain const& chain,
                                                    CertificateStore const& store, size_t index) {
    X509Certificate const& certificate = *chain[index];
    if (index == 0 && !certificate.selfSigned)
        return nullptr;
    auto anchor = store.findCertificate(certificate.subject, certificate.subjectKeyId);
    return anchor && anchor->platformRefusal() == nullptr ? anchor : nullptr;
}

std::string detail::showKeyAlgorithm(asn1::blob keyInfo) {
    asn1::blob const oid = getKeyAlgorithm(keyInfo);
    if (oid.empty())
        return "unreadable";
    if (!isKeyAlgorithm(oid))
        return oidStr(oid);
    switch (getKeyType(oid)) {
    case KeyType::RSA:
        return "RSA";
    case KeyType::EC:
        return "EC";
    case KeyType::Ed25519:
        return "Ed25519";
    default:
        return "X25519";
    }
}

std::string getDisplayName(X509Certificate const& certificate) {
    if (!certificate.subject.empty())
        return certificate.subject.str();
    std::string names;
    for (GeneralName const& name : certificate.subjectAltNames) {
        if (!names.empty())
            names += ", ";
        names += detail::show(name);
    }
    return names;
}

void detail::applyValidUntil(CertificateChain const& chain, PathOptions const& options,
                             PathExplanation* explanation) {
    if (options.validUntil == TimePoint() || explanation->code != static_cast<int>(PathCode::valid))
        return;
    auto const expires = [&](auto const& certificate) { return certificate->notAfter < options.validUntil; };
    auto const first = std::ranges::find_if(chain, expires);
    if (first == chain.end())
        return;
    explanation->code = static_cast<int>(PathCode::expiresTooSoon);
    explanation->depth = static_cast<unsigned>(first - chain.begin());
    explanation->subject = getDisplayName(**first);
    explanation->facts = {{"valid until", isoTime(options.validUntil)},
                          {"notAfter", isoTime((*first)->notAfter)}};
}

PathExplanation x509ExplainPath(CertificateChain const& chain, CertificateStore const& store,
                                PathOptions const& options) {
    detail::PathChecks checks(detail::Diagnostics::silent);
    return detail::validateByAll(chain, store, options, checks, detail::Texts::wanted).explanation;
}

int x509ValidatePath(CertificateChain const& chain, CertificateStore const& store, TimePoint now,
                     std::string_view hostName, IPAddr6 const& address, std::string_view email,
                     bool checkCrls, std::string* error) {
    PathOptions options;
    options.now = now;
    options.hostName = hostName;
    options.address = address;
    options.email = email;
    options.checkCrls = checkCrls;
    detail::PathChecks checks(detail::Diagnostics::stated);
    PathExplanation explanation =
        detail::validate(chain, store, options, checks, detail::Texts::wanted).explanation;

    if (explanation.code == static_cast<int>(PathCode::crlMissing)) {
        for (auto const& certificate : chain) {
            for (GeneralName const& point : certificate->crlDistributionPoints)
                std::cout << "\tpossible crl: " << detail::show(point) << std::endl;
        }
    }
    if (error != nullptr && !explanation.error.empty())
        *error = std::move(explanation.error);
    return explanation.code;
}

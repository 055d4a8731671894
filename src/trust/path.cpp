#include "sealkit/path.h"

#include "sealkit/asn1.h"
#include "sealkit/oid.h"
#include "trust/anchor.h"
#include "trust/general_name.h"
#include "trust/identity.h"
#include "trust/name_constraints.h"
#include "trust/revocation.h"

#include <iostream>
#include <optional>
#include <utility>

namespace {

char const* showBasicConstraints(X509Certificate const& certificate) {
    return certificate.basicConstraints == 0   ? "absent"
           : certificate.basicConstraints == 1 ? "cA TRUE"
                                               : "cA FALSE";
}

/// The name of the algorithm of a SubjectPublicKeyInfo, which may be of any.
std::string showKeyAlgorithm(asn1::blob keyInfo) {
    asn1::parser in(keyInfo);
    if (!in.enter(0x30) || !in.enter(0x30) || in.tag != 0x06)
        return "unreadable";
    asn1::blob const oid = in.take();
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

/// The checks of one chain. Each answers with what is wrong, or with nothing.
class Validation {
public:
    Validation(CertificateChain const& certificates, CertificateStore const& trusted,
               PathOptions const& asked)
        : chain(certificates), store(trusted), question(asked) {}

    PathExplanation run() {
        if (chain.empty())
            return PathExplanation{static_cast<int>(PathCode::emptyChain), {}, 0, {}, {}};
        auto failure = checkIdentity();
        if (!failure)
            failure = checkNameConstraints();
        if (!failure)
            failure = walkToAnchor();
        if (!failure)
            failure = checkSignatures();
        return failure ? std::move(*failure) : finding(PathCode::valid, anchorDepth, {}, {});
    }

private:
    using Failure = std::optional<PathExplanation>;

    PathExplanation finding(PathCode code, size_t depth, std::string error, std::vector<Fact> facts) const {
        return {static_cast<int>(code), std::move(error), static_cast<unsigned>(depth),
                getDisplayName(*chain[depth]), std::move(facts)};
    }

    Failure checkIdentity() const {
        X509Certificate const& leaf = *chain[0];
        if (!detail::asksForIdentity(question) || detail::bearsIdentity(leaf, question))
            return std::nullopt;
        std::vector<Fact> facts;
        if (!question.hostName.empty())
            facts.push_back({"host asked for", std::string(question.hostName)});
        if (!question.address.empty())
            facts.push_back({"address asked for", question.address.str(true)});
        if (!question.email.empty())
            facts.push_back({"e-mail asked for", std::string(question.email)});
        for (GeneralName const& name : leaf.subjectAltNames)
            facts.push_back({"name found", detail::show(name)});
        if (!leaf.subject.commonName.empty())
            facts.push_back({"common name found", leaf.subject.commonName});
        return finding(PathCode::identityMismatch, 0,
                       "name verification failed for: \"" + getDisplayName(leaf) + "\"", std::move(facts));
    }

    Failure checkNameConstraints() const {
        detail::NameConstraints constraints;
        for (size_t depth = chain.size(); depth-- > 0;) {
            if (auto violation = constraints.findViolation(*chain[depth])) {
                char const* const kind = violation->excluded ? "excluded" : "permitted";
                std::string const name = detail::show(*violation->name);
                std::string const subtree = detail::show(*violation->constraint.name);
                std::string error = "name constraint ";
                error.append(kind).append(": ").append(subtree).append(" not satisfied for: ").append(name);
                return finding(PathCode::nameConstraintViolated, depth, std::move(error),
                               {{"name", name},
                                {kind, subtree},
                                {"constrained by", getDisplayName(*chain[violation->constraint.depth])}});
            }
            constraints.add(*chain[depth], depth);
        }
        return std::nullopt;
    }

    Failure walkToAnchor() {
        for (size_t depth = 0; depth < chain.size(); ++depth) {
            X509Certificate const& certificate = *chain[depth];
            if (depth > 0 && certificate.basicConstraints != 1)
                return finding(PathCode::notCa, depth, {},
                               {{"basic constraints", showBasicConstraints(certificate)}});
            if (auto failure = checkDates(depth))
                return failure;
            if (question.checkCrls) {
                if (auto failure = checkRevocation(depth))
                    return failure;
            }
            anchor = detail::findAnchor(chain, store, depth);
            anchorDepth = depth;
            if (anchor)
                return std::nullopt;
        }
        X509Certificate const& last = *chain.back();
        return finding(PathCode::noAnchor, chain.size() - 1, {},
                       {{"issuer", last.issuer.str()},
                        {"authority key identifier", str(asn1::blob(last.authorityKeyId))}});
    }

    Failure checkDates(size_t depth) const {
        X509Certificate const& certificate = *chain[depth];
        bool const isEarly = certificate.notBefore > question.now;
        if (!isEarly && certificate.notAfter >= question.now)
            return std::nullopt;
        std::string const now = question.now.toString();
        std::string const bound = (isEarly ? certificate.notBefore : certificate.notAfter).toString();
        return finding(isEarly ? PathCode::notYetValid : PathCode::expired, depth,
                       (isEarly ? "cert not valid (before: " + bound + " > now: "
                                : "cert not valid (after: " + bound + " < now: ") +
                           now + ") - \"" + getDisplayName(certificate) + "\"",
                       {{"now", now}, {isEarly ? "notBefore" : "notAfter", bound}});
    }

    Failure checkRevocation(size_t depth) {
        X509Certificate const& certificate = *chain[depth];
        auto const crl = store.findCrl(certificate);
        if (crl) {
            RevokedCertificate const* entry = revocations.find(crl, certificate.serialNumber);
            if (entry == nullptr)
                return std::nullopt;
            std::vector<Fact> facts = {{"serial number", str(asn1::blob(certificate.serialNumber))},
                                       {"CRL issuer", crl->issuer.str()},
                                       {"CRL issued", crl->thisUpdate.toString()},
                                       {"revoked", entry->revocationDate.toString()}};
            if (std::string_view const reason = getCrlReasonText(entry->reasonCode); !reason.empty())
                facts.push_back({"reason", std::string(reason)});
            return finding(PathCode::revoked, depth,
                           "cert is revoked by crl - \"" + getDisplayName(certificate) + "\"",
                           std::move(facts));
        }
        if (certificate.crlDistributionPoints.empty())
            return std::nullopt;
        std::vector<Fact> facts = {{"issuer", certificate.issuer.str()}};
        for (GeneralName const& point : certificate.crlDistributionPoints)
            facts.push_back({"distribution point", detail::show(point)});
        return finding(PathCode::crlMissing, depth,
                       "crl not found for: \"" + getDisplayName(certificate) + "\"", std::move(facts));
    }

    Failure checkSignatures() const {
        // A chain of one is a self-signed leaf, whose signature is checked with the store's copy.
        if (anchorDepth == 0)
            return checkSignature(0, *anchor);
        for (size_t depth = 0; depth < anchorDepth; ++depth) {
            bool const byAnchor = depth + 1 == anchorDepth;
            if (auto failure = checkSignature(depth, byAnchor ? *anchor : *chain[depth + 1]))
                return failure;
        }
        return std::nullopt;
    }

    Failure checkSignature(size_t depth, X509Certificate const& issuer) const {
        PathRes result;
        if (verifySignature(chain[depth].get(), issuer.subjectPublicKeyInfo, &result))
            return std::nullopt;
        // The text names the leaf, whichever certificate failed.
        return finding(static_cast<PathCode>(result.code), depth,
                       "cert signature is invalid for: \"" + getDisplayName(*chain[0]) + "\"",
                       {{"signature algorithm", oid2name(chain[depth]->signatureAlgorithm.oid)},
                        {"issuer's key", showKeyAlgorithm(issuer.subjectPublicKeyInfo)},
                        {"issuer", getDisplayName(issuer)}});
    }

    CertificateChain const& chain;
    CertificateStore const& store;
    PathOptions const& question;
    detail::Revocations revocations;
    std::shared_ptr<X509Certificate> anchor; ///< Where the walk ended.
    size_t anchorDepth = 0;
};

} // namespace

std::shared_ptr<X509Certificate> detail::findAnchor(CertificateChain const& chain,
                                                    CertificateStore const& store, size_t index) {
    X509Certificate const& certificate = *chain[index];
    if (index == 0 && !certificate.selfSigned)
        return nullptr;
    return store.findCertificate(certificate.subject, certificate.subjectKeyId);
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

PathExplanation x509ExplainPath(CertificateChain const& chain, CertificateStore const& store,
                                PathOptions const& question) {
    return Validation(chain, store, question).run();
}

int x509ValidatePath(CertificateChain const& chain, CertificateStore const& store, TimePoint now,
                     std::string_view hostName, IPAddr6 const& address, std::string_view email,
                     bool checkCrls, std::string* error) {
    PathOptions question;
    question.now = now;
    question.hostName = hostName;
    question.address = address;
    question.email = email;
    question.checkCrls = checkCrls;
    PathExplanation explanation = x509ExplainPath(chain, store, question);

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

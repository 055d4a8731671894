#include "sealkit/issue.h"

#include "asn1/attributes.h"
#include "asn1/oids.h"
#include "sealkit/name_text.h"
#include "sealkit/oid.h"
#include "sealkit/oid_names.h"
#include "trust/standard/fields.h"
#include "trust/standard/host.h"
#include "trust/standard/name.h"
#include "trust/standard/policies.h"
#include "trust/standard/subtrees.h"
#include "trust/validation.h"

#include <algorithm>
#include <span>
#include <utility>

namespace oid = detail::oid;

namespace {

using detail::CertificateFields;
using detail::Subtrees;
using Failure = std::optional<PathExplanation>;

/// What a validator may read from a common name: an address, a mailbox or a host of several labels.
std::optional<GeneralName> identityOf(std::string const& commonName) {
    GeneralName name;
    for (char const* const kind : {"IP:", "email:"})
        if (parseGeneralNameText(kind + commonName, &name))
            return name;
    if (!detail::isHostPattern(commonName) || commonName.find('.') == std::string::npos)
        return std::nullopt;
    name.type = GeneralName::dnsName;
    name.data = commonName;
    return name;
}

/// The checks of the first certificate of a chain.
class IssueCheck {
public:
    explicit IssueCheck(CertificateChain issued) : chain(std::move(issued)) {
        for (auto const& certificate : chain)
            fields.emplace_back(*certificate);
        store.certs = {chain.back()};
    }

    PathExplanation run() const {
        PathExplanation result;
        for (auto const& [when, what] : {std::pair(chain[0]->notBefore, "certificate begins"),
                                         std::pair(chain[0]->notAfter, "certificate ends")}) {
            result = explainAt(when);
            for (Fact& fact : result.facts)
                if (fact.label == "now")
                    fact.label = what;
            if (result.code != static_cast<int>(PathCode::valid))
                return result;
        }
        for (auto const check : {&IssueCheck::checkPathLengths, &IssueCheck::checkCommonNames,
                                 &IssueCheck::checkPolicies, &IssueCheck::checkPurposes})
            if (Failure failure = (this->*check)())
                return *failure;
        return result;
    }

private:
    PathExplanation explainAt(TimePoint now) const {
        PathOptions options;
        options.now = now;
        options.rules = PathRules::rfc5280;
        bool const isForTimeStamps = !fields[0].isCa && hasPurpose(fields[0], oid::timeStamping);
        options.purpose = isForTimeStamps ? PathPurpose::timeStamping : PathPurpose::any;
        return x509ExplainPath(chain, store, options);
    }

    Failure refuse(PathCode code, size_t depth, std::vector<Fact> facts) const {
        return detail::makeExplanation(code, *chain[depth], depth, PathRules::rfc5280, detail::Texts::wanted,
                                       [&](PathExplanation& result) { result.facts = std::move(facts); });
    }

    Failure checkPathLengths() const {
        if (!fields[0].isCa)
            return std::nullopt;
        size_t below = fields[0].isSelfIssued ? 0 : 1;
        for (size_t depth = 1; depth < chain.size(); depth++) {
            if (auto const limit = fields[depth].pathLength; limit && below > *limit)
                return refuse(PathCode::pathTooLong, depth,
                              {{"path length allowed", std::to_string(*limit)},
                               {"CA certificates below", std::to_string(below)}});
            below += !fields[depth].isSelfIssued;
        }
        return std::nullopt;
    }

    /// OpenSSL and GnuTLS apply name constraints to a common name that looks like a host. The platform's
    /// rules take it for an identity without such a check.
    Failure checkCommonNames() const {
        if (fields[0].isCa)
            return std::nullopt;
        Subtrees subtrees;
        for (size_t depth = chain.size() - 1; depth > 0; depth--)
            subtrees.add(fields[depth], depth);
        for (std::string const& text : detail::attributeTexts(chain[0]->subjectBytes(), oid::commonName)) {
            auto const name = identityOf(text);
            if (!name)
                continue;
            if (auto const violation = subtrees.findViolation(std::span(&*name, 1))) {
                std::vector<Fact> facts = violation->facts(*chain[violation->depth]);
                facts.insert(facts.begin(), {"common name", text});
                return refuse(violation->code(), 0, std::move(facts));
            }
        }
        return std::nullopt;
    }

    /// Treats a CA below the root as an ordinary certificate of the path, because its policies bind what it
    /// issues. The policies of an anchor do not.
    Failure checkPolicies() const {
        if (chain.back()->selfSigned)
            return std::nullopt;
        std::vector<CertificateFields const*> views;
        for (CertificateFields const& each : fields)
            views.push_back(&each);
        detail::PolicyResult const result = detail::processPolicies(views, {});
        if (result.code == PathCode::valid)
            return std::nullopt;
        std::vector<Fact> facts;
        for (detail::PolicyInformation const& found : fields[result.depth].policies)
            facts.push_back({"policy found", oidStr(found.oid)});
        return refuse(result.code, result.depth, std::move(facts));
    }

    static bool hasPurpose(CertificateFields const& certificate, asn1::blob purpose) {
        return certificate.extendedKeyUsage &&
               std::ranges::any_of(*certificate.extendedKeyUsage,
                                   [&](asn1::blob each) { return each == purpose; });
    }

    Failure checkPurposes() const {
        if (!fields[0].extendedKeyUsage)
            return std::nullopt;
        for (size_t depth = 1; depth < chain.size(); depth++) {
            if (!fields[depth].extendedKeyUsage || hasPurpose(fields[depth], oid::anyExtendedKeyUsage))
                continue;
            for (asn1::blob const purpose : *fields[0].extendedKeyUsage) {
                if (hasPurpose(fields[depth], purpose))
                    continue;
                std::vector<Fact> facts = {{"purpose given", oidName(purpose)}};
                for (asn1::blob const allowed : *fields[depth].extendedKeyUsage)
                    facts.push_back({"purpose allowed", oidName(allowed)});
                return refuse(PathCode::purposeMismatch, depth, std::move(facts));
            }
        }
        return std::nullopt;
    }

    CertificateChain chain;
    std::vector<CertificateFields> fields; ///< Of each certificate in the chain.
    CertificateMemoryStore store;          ///< Holds only the last certificate.
};

/// Appends the issuers of the last certificate, each once.
void addIssuers(CertificateChain& chain, CertificateChain candidates) {
    detail::PathChecks checks(detail::Diagnostics::silent);
    auto const issues = [&](std::shared_ptr<X509Certificate> const& candidate) {
        X509Certificate const& last = *chain.back();
        return detail::canonicalName(candidate->subjectBytes()) ==
                   detail::canonicalName(last.issuerBytes()) &&
               checks.signatures.check(last, candidate->subjectPublicKeyInfo,
                                       detail::SignatureForms::standard) == PathCode::valid;
    };
    while (!chain.back()->selfSigned) {
        auto const found = std::ranges::find_if(candidates, issues);
        if (found == candidates.end())
            return;
        chain.push_back(*found);
        candidates.erase(found);
    }
}

} // namespace

PathExplanation x509CheckIssue(std::shared_ptr<X509Certificate> const& certificate,
                               std::shared_ptr<X509Certificate> const& issuer,
                               CertificateChain const& others) {
    CertificateChain chain = {certificate};
    if (issuer)
        chain.push_back(issuer);
    addIssuers(chain, others);
    return IssueCheck(std::move(chain)).run();
}

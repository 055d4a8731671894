#include "objects/path_report.h"

#include "io/clock.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/description.h"
#include "objects/trust.h"

#include "sealkit/oid.h"
#include "sealkit/oid_names.h"

#include <nlohmann/json.hpp>

#include <utility>

using terminal::printable;

namespace {

/// The policies that a chain is valid for, each formatted by `show`.
std::vector<std::string> policiesOf(PathVerdict const& verdict, std::string (*show)(asn1::blob)) {
    std::vector<std::string> names;
    if (verdict.isValid())
        for (PathPolicy const& policy : verdict.explanation.policies)
            names.push_back(show(policy.oid));
    return names;
}

} // namespace

void printReport(PathVerdict const& verdict, std::string const& advice,
                 std::vector<std::string> const& notes) {
    for (std::string const& note : notes)
        terminal::err() << "note: " << note << std::endl;
    for (size_t depth = 0; depth < verdict.chain.size(); ++depth) {
        X509Certificate const& certificate = *verdict.chain[depth];
        terminal::out() << depth << ": <" << nameFor(certificate) << ">, issued by <"
                        << printable(certificate.issuer.str()) << ">, " << formatTime(certificate.notBefore)
                        << " to " << formatTime(certificate.notAfter) << '\n';
    }
    PathExplanation const& explanation = verdict.explanation;
    char const* before = "valid for the policies ";
    for (std::string const& policy : policiesOf(verdict, oidName))
        terminal::out() << std::exchange(before, ", ") << policy;
    if (before[0] == ',')
        terminal::out() << '\n';
    if (verdict.isValid())
        terminal::out() << "OK" << std::endl;
    else
        terminal::out() << "FAILED " << explanation.code << ": " << printable(verdict.reason()) << std::endl;

    if (!verdict.isValid()) {
        auto const& term = *findPathCode(explanation.code);
        terminal::err() << "certificate " << explanation.depth << " <" << printable(explanation.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!explanation.facts.empty())
            terminal::err() << "  " << factsOf(explanation.facts) << std::endl;
        if (std::string const other = disagreementOf(verdict); !other.empty())
            terminal::err() << "note: " << other << std::endl;
        if (!advice.empty())
            terminal::err() << "note: " << advice << std::endl;
    }
    for (PathWarning const& warning : verdict.warnings) {
        auto const& term = getReasonText(warning.id);
        terminal::err() << "warning: certificate " << warning.depth << " <" << printable(warning.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!warning.facts.empty())
            terminal::err() << "  " << factsOf(warning.facts) << std::endl;
    }
}

void printSearch(PathVerdict const& verdict) {
    unsigned rules = 0;
    for (PathSearchEvent const& event : verdict.events) {
        if (event.rules != rules)
            terminal::out() << "by the rules " << getPathRulesName(event.rules) << ":\n";
        rules = event.rules;
        terminal::out() << std::string(2 * event.depth + 2, ' ');
        switch (event.kind) {
        case PathSearchEvent::Kind::lookedUp:
            terminal::out() << "issuers of <" << nameFor(*event.certificate) << ">, named <"
                            << printable(event.certificate->issuer.str()) << ">: " << event.number
                            << " found";
            break;
        case PathSearchEvent::Kind::candidate:
            terminal::out() << "<" << nameFor(*event.certificate) << ">, "
                            << (event.isTrusted ? "trusted" : "given") << ", key identifier "
                            << (event.certificate->subjectKeyId.empty()
                                    ? "absent"
                                    : shortHexOf(event.certificate->subjectKeyId))
                            << (event.isSigned ? ": its key verifies the signature"
                                               : ": its key does not verify the signature");
            break;
        case PathSearchEvent::Kind::judged:
            terminal::out() << "chain of " << event.depth + 1
                            << (event.depth == 0 ? " certificate: " : " certificates: ")
                            << findPathCode(static_cast<int>(event.code))->name;
            break;
        }
        terminal::out() << '\n';
    }
    for (RulesVerdict const& one : verdict.byRules)
        terminal::out() << getPathRulesName(one.rules) << ": "
                        << (one.isValid() ? "OK" : printable(one.explanation.reason())) << '\n';
}

nlohmann::ordered_json describeResult(PathVerdict const& verdict) {
    PathExplanation const& explanation = verdict.explanation;
    return {{"code", explanation.code},
            {"verdict", verdict.isValid() ? "OK" : "FAILED"},
            {"rule", findPathCode(explanation.code)->name},
            {"rules", getPathRulesName(explanation.rules)},
            {"reason", printable(verdict.reason())},
            {"policies", policiesOf(verdict, oidStr)}};
}

nlohmann::ordered_json describeReport(PathVerdict const& verdict, std::string const& advice,
                                      std::vector<std::string> const& notes) {
    nlohmann::ordered_json result = describeResult(verdict);
    result["byRules"] = nlohmann::json::array();
    for (RulesVerdict const& one : verdict.byRules)
        result["byRules"].push_back({{"rules", getPathRulesName(one.rules)},
                                     {"code", one.explanation.code},
                                     {"verdict", one.isValid() ? "OK" : "FAILED"},
                                     {"reason", printable(one.explanation.reason())}});
    result["certificates"] = nlohmann::json::array();
    for (auto const& certificate : verdict.chain)
        result["certificates"].push_back({{"subject", nameFor(*certificate)},
                                          {"issuer", printable(certificate->issuer.str())},
                                          {"notBefore", isoTime(certificate->notBefore)},
                                          {"notAfter", isoTime(certificate->notAfter)}});
    PathExplanation const& explanation = verdict.explanation;
    result["explanation"] = {{"depth", explanation.depth},
                             {"subject", printable(explanation.subject)},
                             {"rule", findPathCode(explanation.code)->name},
                             {"facts", report::describe(explanation.facts)}};
    result["warnings"] = nlohmann::json::array();
    for (PathWarning const& warning : verdict.warnings) {
        auto const& term = getReasonText(warning.id);
        result["warnings"].push_back({{"depth", warning.depth},
                                      {"subject", printable(warning.subject)},
                                      {"rule", term.name},
                                      {"sentence", term.sentence},
                                      {"facts", report::describe(warning.facts)}});
    }
    if (!advice.empty())
        result["advice"] = advice;
    result["notes"] = notes;
    return result;
}

#include "io/clock.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/input_objects.h"
#include "objects/key_file.h"
#include "objects/trust.h"
#include "verbs/verb.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace {

using terminal::printable;

/// More certificates than any chain and its surplus have.
constexpr size_t maxGiven = 1000;

struct Options {
    std::string host;
    std::string ip;
    std::string email;
    TrustOptions trust;
    bool strict = false;
    bool json = false;
    std::string chain;
};

/// What the chain is validated for, or what is wrong with how that was asked.
bool readPathOptions(Options const& options, PathOptions* to, std::string* complaint) {
    auto const time = readTime(options.trust, complaint);
    if (!time)
        return false;
    to->now = *time;
    if (!options.ip.empty() && (!to->address.parse(options.ip) || to->address.empty())) {
        *complaint = "--ip: \"" + options.ip + "\" is no address";
        return false;
    }
    to->hostName = options.host;
    to->email = options.email;
    to->checkCrls = options.trust.wantsCrls();
    return true;
}

bool contains(CertificateChain const& chain, X509Certificate const& certificate) {
    return std::any_of(chain.begin(), chain.end(), [&](auto const& member) {
        return member->tbs == certificate.tbs || (member->subjectBytes() == certificate.subjectBytes() &&
                                                  member->subjectKeyId == certificate.subjectKeyId &&
                                                  member->selfSigned && certificate.selfSigned);
    });
}

/// Remarks on how the chain was made from what was given.
std::vector<std::string> compare(CertificateChain const& given, CertificateChain const& chain) {
    std::vector<std::string> notes;
    CertificateChain used;
    for (auto const& certificate : given) {
        if (!contains(chain, *certificate))
            notes.push_back("left out, it does not belong to the chain: " + nameFor(*certificate));
        else if (!contains(used, *certificate))
            used.push_back(certificate);
    }
    auto depthOf = [&](std::shared_ptr<X509Certificate> const& certificate) {
        return std::find_if(chain.begin(), chain.end(),
                            [&](auto const& member) { return contains({member}, *certificate); });
    };
    if (!std::is_sorted(used.begin(), used.end(),
                        [&](auto const& a, auto const& b) { return depthOf(a) < depthOf(b); }))
        notes.push_back("the certificates were not in the order of the chain and have been put into order");
    return notes;
}

void printText(PathVerdict const& verdict, std::vector<std::string> const& notes) {
    for (std::string const& note : notes)
        terminal::err() << "note: " << note << std::endl;
    for (size_t depth = 0; depth < verdict.chain.size(); ++depth) {
        X509Certificate const& certificate = *verdict.chain[depth];
        terminal::out() << depth << ": <" << nameFor(certificate) << ">, issued by <"
                        << printable(certificate.issuer.str()) << ">, " << formatTime(certificate.notBefore)
                        << " to " << formatTime(certificate.notAfter) << '\n';
    }
    PathExplanation const& explanation = verdict.explanation;
    if (explanation.code == 0)
        terminal::out() << "OK" << std::endl;
    else
        terminal::out() << "FAILED " << explanation.code << ": " << printable(verdict.reason()) << std::endl;

    if (explanation.code != 0) {
        auto const& term = *findPathCode(explanation.code);
        terminal::err() << "certificate " << explanation.depth << " <" << printable(explanation.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!explanation.facts.empty())
            terminal::err() << "  " << factsOf(explanation.facts) << std::endl;
    }
    for (PathWarning const& warning : verdict.warnings) {
        auto const& term = getReasonText(warning.id);
        terminal::err() << "warning: certificate " << warning.depth << " <" << printable(warning.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!warning.facts.empty())
            terminal::err() << "  " << factsOf(warning.facts) << std::endl;
    }
}

void printJson(PathVerdict const& verdict, std::vector<std::string> const& notes) {
    PathExplanation const& explanation = verdict.explanation;
    nlohmann::ordered_json result;
    result["code"] = explanation.code;
    result["verdict"] = explanation.code == 0 ? "OK" : "FAILED";
    result["reason"] = printable(verdict.reason());
    for (auto const& certificate : verdict.chain)
        result["certificates"].push_back({{"subject", nameFor(*certificate)},
                                          {"issuer", printable(certificate->issuer.str())},
                                          {"notBefore", formatTime(certificate->notBefore)},
                                          {"notAfter", formatTime(certificate->notAfter)}});
    result["explanation"] = {{"depth", explanation.depth},
                             {"subject", printable(explanation.subject)},
                             {"rule", findPathCode(explanation.code)->name},
                             {"facts", toJson(explanation.facts)}};
    result["warnings"] = nlohmann::json::array();
    for (PathWarning const& warning : verdict.warnings) {
        auto const& term = getReasonText(warning.id);
        result["warnings"].push_back({{"depth", warning.depth},
                                      {"subject", printable(warning.subject)},
                                      {"rule", term.name},
                                      {"sentence", term.sentence},
                                      {"facts", toJson(warning.facts)}});
    }
    result["notes"] = notes;
    terminal::out() << result.dump(2, ' ', true) << std::endl;
}

int verify(Options const& options) {
    PathOptions pathOptions;
    std::string complaint;
    if (!readPathOptions(options, &pathOptions, &complaint))
        return wrongUsage(complaint);
    if (standardInputTwice(options.trust.inputsWith({options.chain})))
        return exitWrongUsage;

    auto const given = readAllCertificates(options.chain);
    if (!given)
        return exitBadInput;
    if (given->size() > maxGiven)
        return badInput(options.chain + ": more certificates than any chain has");

    Trust trust;
    int status = exitDone;
    if (!loadTrust(options.trust, &trust, &status))
        return status;

    PathSearch search(trust.store);
    search.addCertificates(*given);
    PathVerdict const verdict = search.find(x509ChooseLeaf(*given), pathOptions);
    auto notes = compare(*given, verdict.chain);
    if (!reportCrls(trust, verdict.crls, &notes))
        return exitBadInput;
    if (options.json)
        printJson(verdict, notes);
    else
        printText(verdict, notes);
    return !verdict.isValid() || (options.strict && !verdict.warnings.empty()) ? exitNo : exitDone;
}

} // namespace

Work setUpVerify(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.text("--host", options->host, "the host name that the leaf must bear");
    commandLine.text("--ip", options->ip, "the address that the leaf must bear");
    commandLine.text("--email", options->email, "the e-mail address that the leaf must bear");
    options->trust.declare(commandLine);
    commandLine.flag("--strict", options->strict, "a warning is a refusal (status 1)");
    commandLine.flag("--json", options->json, "print the verdict as JSON");
    commandLine
        .text("CHAIN", options->chain, "the certificates, PEM or DER, in any order; - is standard input")
        .required();
    commandLine.footer(
        "The certificates may come in any order. Prints one line a certificate, from the leaf upward, then\n"
        "\"OK\" or \"FAILED n: reason\". What the reason rests on, and what validation leaves unchecked and\n"
        "would have failed, is said on standard error.\n\n"
        "Example: openssl s_client -connect example.org:443 -servername example.org -showcerts </dev/null |\n"
        "             sealkit verify --host example.org -");
    return [options] { return verify(*options); };
}

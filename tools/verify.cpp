#include "certificates.h"
#include "chain.h"
#include "clock.h"
#include "input.h"
#include "number.h"
#include "revocation.h"
#include "terminal.h"
#include "verb.h"

#include "sealkit/path.h"
#include "sealkit/store.h"

#include <kp/root.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <memory>

namespace {

using terminal::printable;

/// More certificates than any chain and its surplus have.
constexpr size_t maxGiven = 1000;

struct Options {
    std::string host;
    std::string ip;
    std::string email;
    std::string at;
    std::vector<std::string> authorities;
    std::optional<uint32_t> cermUsage;
    std::vector<std::string> crlFiles;
    bool checkCrls = false;
    bool strict = false;
    bool json = false;
    std::string chain;
};

/// What the chain is asked, or what is wrong with how it was asked.
bool readQuestion(Options const& options, PathQuestion* question, std::string* complaint) {
    question->now = currentTime();
    if (!options.at.empty()) {
        auto const time = parseTime(options.at);
        if (!time) {
            *complaint =
                "--at: \"" + options.at + "\" is no time; write 2026-11-21T08:30:00Z or seconds since 1970";
            return false;
        }
        question->now = *time;
    }
    if (!options.ip.empty() && (!question->address.parse(options.ip) || question->address.empty())) {
        *complaint = "--ip: \"" + options.ip + "\" is no address";
        return false;
    }
    question->hostName = options.host;
    question->email = options.email;
    question->checkCrls = options.checkCrls || !options.crlFiles.empty();
    return true;
}

std::string defaultAuthorities() {
    std::string const builtIn = kp::rootPath("/kelp/etc/ca");
    std::error_code error;
    return !builtIn.empty() && std::filesystem::is_directory(builtIn, error) ? builtIn : "/etc/ssl/certs";
}

/// What is trusted, before the user's own revocation lists.
bool loadTrusted(Options const& options, CertificateMemoryStore* trusted, int* status) {
    if (options.cermUsage)
        trusted->loadFromCerm(*options.cermUsage, false);
    std::vector<std::string> paths = options.authorities;
    if (paths.empty() && !options.cermUsage)
        paths.push_back(defaultAuthorities());
    TrustedAuthorities authorities;
    for (std::string const& path : paths) {
        if (!authorities.add(path)) {
            *status = exitBadInput;
            return false;
        }
    }
    auto const& added = authorities.certificates();
    trusted->certs.insert(trusted->certs.end(), added.begin(), added.end());
    if (options.cermUsage && trusted->certs.empty()) {
        *status = badInput("nothing is trusted for the use " + formatHex(*options.cermUsage));
        return false;
    }
    return true;
}

/// A verdict on one of the possible chains.
struct Verdict {
    CertificateChain chain;
    PathExplanation explanation;
    std::vector<PathWarning> warnings;
    std::vector<std::string> notes;
};

/// The certificates whose revocation lists count for a chain: the trusted ones, and the issuers in it
/// whose own signatures are checked. Whatever else was given may bear the name of a real issuer.
CertificateChain findCrlIssuers(CertificateChain const& chain, CertificateMemoryStore const& trusted) {
    CertificateChain issuers = trusted.certs;
    for (size_t depth = 1; depth < chain.size(); ++depth) {
        X509Certificate const& issuer = *chain[depth];
        if (trusted.findCertificate(issuer.subject, issuer.subjectKeyId))
            break;
        issuers.push_back(chain[depth]);
    }
    return issuers;
}

/// Takes lists of others than the issuers away, and says which.
std::vector<std::string> dropCrlsOfOthers(CertificateChain const& issuers,
                                          std::vector<std::shared_ptr<X509Crl>>* crls) {
    std::vector<std::string> notes;
    std::erase_if(*crls, [&](auto const& crl) {
        if (isSignedByOneOf(*crl, issuers))
            return false;
        notes.push_back("left out, neither a trusted certificate nor one of the chain has signed it: "
                        "the list of <" +
                        printable(crl->issuer.str()) + ">");
        return true;
    });
    return notes;
}

/// Validates the chains that can be made, likeliest first. The first valid one counts; if none is,
/// the first that leads to something trusted, and if none does, the first.
Verdict judge(CertificateChain const& given, CertificateMemoryStore const& trusted,
              PathQuestion const& question) {
    Verdict best;
    forEachChain(chooseLeaf(given), given, trusted.certs, question.now, [&](CertificateChain const& found) {
        CertificateMemoryStore store = trusted;
        CertificateChain chain = found;
        auto& last = chain.back();
        // The end of the chain is judged by the store's own copy; where there are several of one name
        // and key identifier, this chain's own one must be the first to be found.
        auto const own = std::find(store.certs.begin(), store.certs.end(), last);
        if (own != store.certs.end())
            std::rotate(store.certs.begin(), own, own + 1);
        else if (chain.size() > 1 || last->selfSigned)
            if (auto copy = store.findCertificate(last->subject, last->subjectKeyId))
                last = copy;
        auto notes = dropCrlsOfOthers(findCrlIssuers(chain, trusted), &store.crls);
        PathExplanation explanation = x509ExplainPath(chain, store, question);
        auto const noAnchor = static_cast<int>(PathCode::noAnchor);
        bool const valid = explanation.code == 0;
        if (best.chain.empty() || valid ||
            (best.explanation.code == noAnchor && explanation.code != noAnchor))
            best = {chain, explanation, x509PathWarnings(chain, store, question), std::move(notes)};
        return valid;
    });
    return best;
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

std::string reasonOf(PathExplanation const& explanation) {
    return explanation.error.empty() ? findPathCode(explanation.code)->sentence : explanation.error;
}

std::string factsOf(std::vector<PathFact> const& facts) {
    std::string text;
    for (PathFact const& fact : facts)
        text += (text.empty() ? "" : ", ") + fact.label + ": " + printable(fact.value);
    return text;
}

void printText(Verdict const& verdict, std::vector<std::string> const& notes) {
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
        terminal::out() << "FAILED " << explanation.code << ": " << printable(reasonOf(explanation))
                        << std::endl;

    if (explanation.code != 0) {
        auto const& term = *findPathCode(explanation.code);
        terminal::err() << "certificate " << explanation.depth << " <" << printable(explanation.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!explanation.facts.empty())
            terminal::err() << "  " << factsOf(explanation.facts) << std::endl;
    }
    for (PathWarning const& warning : verdict.warnings) {
        auto const& term = getPathTerm(warning.id);
        terminal::err() << "warning: certificate " << warning.depth << " <" << printable(warning.subject)
                        << ">: " << term.name << ": " << term.sentence << std::endl;
        if (!warning.facts.empty())
            terminal::err() << "  " << factsOf(warning.facts) << std::endl;
    }
}

nlohmann::json toJson(std::vector<PathFact> const& facts) {
    auto list = nlohmann::json::array();
    for (PathFact const& fact : facts)
        list.push_back({{"label", fact.label}, {"value", printable(fact.value)}});
    return list;
}

void printJson(Verdict const& verdict, std::vector<std::string> const& notes) {
    PathExplanation const& explanation = verdict.explanation;
    nlohmann::ordered_json result;
    result["code"] = explanation.code;
    result["verdict"] = explanation.code == 0 ? "OK" : "FAILED";
    result["reason"] = printable(reasonOf(explanation));
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
        auto const& term = getPathTerm(warning.id);
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
    PathQuestion question;
    std::string complaint;
    if (!readQuestion(options, &question, &complaint))
        return wrongUsage(complaint);

    CertificateMemoryStore trusted;
    int status = exitDone;
    if (!loadTrusted(options, &trusted, &status))
        return status;

    auto const text = readInput(options.chain);
    if (!text)
        return exitBadInput;
    CertificatesRead const read = readCertificates(*text);
    if (!read.problems.empty())
        return badInput(options.chain + ": " + read.problems.front());
    CertificateChain const& given = read.certificates;
    if (given.empty())
        return badInput(options.chain + ": no certificate in it");
    if (given.size() > maxGiven)
        return badInput(options.chain + ": more certificates than any chain has");

    CertificateChain issuers = trusted.certs;
    issuers.insert(issuers.end(), given.begin(), given.end());
    dropUnverifiedCrls(issuers, &trusted.crls);
    if (!readCrls(options.crlFiles, issuers, &trusted.crls))
        return exitBadInput;

    Verdict const verdict = judge(given, trusted, question);
    auto notes = compare(given, verdict.chain);
    notes.insert(notes.end(), verdict.notes.begin(), verdict.notes.end());
    if (options.json)
        printJson(verdict, notes);
    else
        printText(verdict, notes);
    return verdict.explanation.code != 0 || (options.strict && !verdict.warnings.empty()) ? exitNo : exitDone;
}

} // namespace

Work setUpVerify(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.text("--host", options->host, "the host name that the leaf must bear");
    commandLine.text("--ip", options->ip, "the address that the leaf must bear");
    commandLine.text("--email", options->email, "the e-mail address that the leaf must bear");
    commandLine.text("--at", options->at,
                     "validate at this time instead of now: ISO 8601 (UTC) or seconds since 1970");
    commandLine.texts(
        "--ca", options->authorities,
        "a file or folder of trusted certificates; may be given more than once.\n"
        "Without it /kelp/etc/ca under the platform root where that exists, else /etc/ssl/certs");
    commandLine.number("--cerm", options->cermUsage,
                       "trust what the certificate manager trusts for this use (a bit mask, 0x10)");
    commandLine.texts("--crl", options->crlFiles,
                      "a file of revocation lists; may be given more than once; implies --check-crls");
    commandLine.flag("--check-crls", options->checkCrls,
                     "look every certificate up in its issuer's revocation list");
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

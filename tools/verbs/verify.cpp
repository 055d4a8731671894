#include "io/clock.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/input_objects.h"
#include "objects/key_file.h"
#include "objects/path_report.h"
#include "objects/trust.h"
#include "verbs/verb.h"
#include "verbs/verify_each.h"

#include "sealkit/advice.h"
#include "sealkit/oid_names.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>

namespace {

/// More certificates than any chain and its surplus hold.
constexpr size_t maxGiven = 1000;
/// More steps than a person reads.
constexpr unsigned maxEvents = 1000;

struct VerifyOptions {
    std::string host;
    std::string ip;
    std::string email;
    std::string purpose;
    TrustOptions trust;
    std::vector<std::string> candidates;
    std::vector<std::string> policies;
    bool requirePolicy = false;
    std::string validFor;
    bool explain = false;
    bool each = false;
    std::vector<std::string> chains;
};

/// Sets what the chain is validated for. Returns false, with `*complaint`, if an option is malformed.
bool readPathOptions(VerifyOptions const& options, PathOptions* to, Complaint* complaint) {
    if (!options.trust.read(to, complaint))
        return false;
    if (!options.ip.empty() && (!to->address.parse(options.ip) || to->address.empty())) {
        *complaint = "--ip: \"" + options.ip + "\" is not an address";
        return false;
    }
    to->hostName = options.host;
    to->email = options.email;
    if (!options.purpose.empty()) {
        auto const purpose = parsePathPurpose(options.purpose);
        if (!purpose) {
            *complaint = "--purpose: \"" + options.purpose +
                         "\" is not a purpose; the choices are any, tls-server, tls-client, code-signing, "
                         "email-protection, time-stamping and ocsp-signing";
            return false;
        }
        to->purpose = *purpose;
    }
    for (std::string const& policy : options.policies) {
        to->policies.push_back(parseOid(policy));
        if (to->policies.back().empty()) {
            *complaint = "--policy: \"" + policy + "\" is not an object identifier; write 1.2.3.4";
            return false;
        }
    }
    to->requirePolicy = options.requirePolicy;
    if (to->rules == PathRules::platform && (!options.policies.empty() || options.requirePolicy)) {
        *complaint = "--policy and --require-policy need rules other than platform, which ignores policies";
        return false;
    }
    if (!options.validFor.empty()) {
        auto const seconds = parseDays(options.validFor);
        if (!seconds) {
            *complaint = "--valid-for: \"" + options.validFor + "\" is not a number of days; write 30d";
            return false;
        }
        to->validUntil = TimePoint::fromSeconds(to->now.seconds + *seconds);
    }
    return true;
}

/// The certificates of several files as one pool. Complains on failure.
std::optional<CertificateChain> readPool(std::vector<std::string> const& paths, FormRules forms) {
    CertificateChain pool;
    for (std::string const& path : paths) {
        auto const certificates = readAllCertificates(path, forms);
        if (!certificates)
            return std::nullopt;
        pool.insert(pool.end(), certificates->begin(), certificates->end());
        if (pool.size() > maxGiven) {
            badInput(path + ": too many certificates for a chain");
            return std::nullopt;
        }
    }
    return pool;
}

bool contains(CertificateChain const& chain, X509Certificate const& certificate) {
    return std::any_of(chain.begin(), chain.end(), [&](auto const& member) {
        return member->tbs == certificate.tbs || (member->subjectBytes() == certificate.subjectBytes() &&
                                                  member->subjectKeyId == certificate.subjectKeyId &&
                                                  member->selfSigned && certificate.selfSigned);
    });
}

/// Notes on the differences between the certificates given and the chain built from them.
std::vector<std::string> compare(CertificateChain const& given, CertificateChain const& chain) {
    std::vector<std::string> notes;
    CertificateChain used;
    for (auto const& certificate : given) {
        if (!contains(chain, *certificate))
            notes.push_back("left out, because it is not part of the chain: " + nameFor(*certificate));
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

/// The option that follows advice.
char const* optionFor(PathAdviceId id) {
    switch (id) {
    case PathAdviceId::otherStore:
        return " Ask with --cerm.";
    case PathAdviceId::untrustedRoot:
        return " Trust it with --ca.";
    case PathAdviceId::missingIssuer:
        return " Name its file with --certificates, or with --ca if it is a root that you trust.";
    case PathAdviceId::missingCrl:
        return " Name its file with --crl.";
    default:
        return "";
    }
}

/// Advice on a failed chain, with an option if there is one; printable.
std::string adviceOn(PathVerdict const& verdict, PathOptions const& pathOptions, TrustOptions const& options,
                     Trust const& trust) {
    CertificateMemoryStore managed;
    if (!options.cermUsage && verdict.explanation.code == static_cast<int>(PathCode::noAnchor))
        managed.loadFromCerm(0, true, nullptr, formsFor(pathOptions));
    auto const advice = x509AdvisePath(verdict, pathOptions, trust.store, &managed);
    if (!advice)
        return {};
    return terminal::printable(advice->str()) + optionFor(advice->id);
}

int verify(VerifyOptions options) {
    if (options.each)
        report::expectLines();
    PathOptions pathOptions;
    Complaint complaint;
    if (!readPathOptions(options, &pathOptions, &complaint))
        return wrongUsage(complaint);
    if (options.each && options.explain)
        return wrongUsage("--explain cannot be combined with --each");
    if (options.chains.empty() && !options.each)
        return wrongUsage("CHAIN is required: name a file of certificates, or - for standard input");
    if (options.chains.empty())
        options.chains = {"-"};
    std::vector<std::string_view> files(options.chains.begin(), options.chains.end());
    files.insert(files.end(), options.candidates.begin(), options.candidates.end());
    if (standardInputTwice(options.trust.inputsWith(std::move(files))))
        return exitWrongUsage;

    FormRules const forms = formsFor(pathOptions);
    std::optional<CertificateChain> given = CertificateChain();
    if (!options.each && !(given = readPool(options.chains, forms)))
        return exitBadInput;
    auto const candidates = readPool(options.candidates, forms);
    if (!candidates)
        return exitBadInput;
    Trust trust;
    if (!loadTrust(options.trust, forms, &trust, &complaint))
        return badInput(complaint);
    if (options.each)
        return verifyEach(options.chains, *candidates, trust, pathOptions);

    PathSearchOptions limits;
    if (options.explain)
        limits.maxEvents = maxEvents;
    PathSearch search(trust.store, limits);
    search.addCertificates(*given);
    search.addCertificates(*candidates);
    auto const leaf = x509ChooseLeaf(*given, pathOptions);
    PathVerdict const verdict = search.find(leaf, pathOptions);
    auto notes = compare(*given, verdict.chain);
    if (leaf != given->front())
        notes.push_back("the leaf is not the first certificate, which is the only one whose key a server "
                        "proves to have: " +
                        nameFor(*leaf));
    if (!reportCrls(trust, verdict.crls, &notes, &complaint))
        return badInput(complaint);
    if (verdict.isValid() && !options.policies.empty() && verdict.explanation.policies.empty())
        notes.push_back("the chain is valid for none of the policies of --policy; with --require-policy it "
                        "must be");
    std::string const advice = adviceOn(verdict, pathOptions, options.trust, trust);
    if (options.explain && !report::isJson())
        printSearch(verdict);
    if (report::isJson())
        report::set(describeReport(verdict, advice, notes));
    else
        printReport(verdict, advice, notes);
    return verdict.isValid() ? exitDone : exitNo;
}

} // namespace

Work setUpVerify(CommandLine commandLine) {
    auto options = std::make_shared<VerifyOptions>();
    commandLine.group("What the leaf must be valid for");
    commandLine.text("--host", options->host, "the host name that the leaf must have").valueName("HOST");
    commandLine.text("--ip", options->ip, "the address that the leaf must have").valueName("ADDRESS");
    commandLine.text("--email", options->email, "the e-mail address that the leaf must have")
        .valueName("MAILBOX");
    commandLine
        .text("--purpose", options->purpose,
              "tls-server (with --host or --ip), email-protection (with --email), tls-client, code-signing, "
              "time-stamping, ocsp-signing or any")
        .valueName("PURPOSE");
    commandLine
        .texts("--policy", options->policies,
               "a certificate policy, 1.2.3.4; may be given more than once. The report lists the ones\n"
               "that the chain is valid for")
        .valueName("OID");
    commandLine.flag("--require-policy", options->requirePolicy,
                     "the chain must be valid for a policy, or for one of --policy if given");
    commandLine
        .text("--valid-for", options->validFor,
              "no certificate of the chain may expire within this many days")
        .valueName("DAYS");
    options->trust.declare(commandLine);
    commandLine
        .texts("--certificates|--chain", options->candidates,
               "a file of certificates that may be issuers; may be given more than once. This does not\n"
               "make them trusted")
        .valueName("FILE");
    commandLine.flag("--explain", options->explain, "first print the search as a tree");
    commandLine.flag(
        "--each", options->each,
        "validate each CHAIN separately, on all cores, and print a JSON line for each. A folder\n"
        "stands for its files, - for lines {\"id\": ..., \"chain\": [base64 of DER, ...],\n"
        "\"host\": ..., \"at\": ...}");
    commandLine.json();
    commandLine.texts(
        "CHAIN", options->chains,
        "the certificates, PEM or DER, in one or more files and in any order; - is standard input");
    commandLine.footer(
        "If there are several certificates, the leaf is the first one with the name that is asked\n"
        "for, otherwise the first one that is not a CA. Prints a line for each certificate, from\n"
        "the leaf upward, then \"OK\" or \"FAILED n: reason\". The facts behind the reason, and\n"
        "warnings, which do not change the verdict, go to standard error.\n\n"
        "Examples:\n"
        "  sealkit verify --ca root.pem --host www.example.org chain.pem\n"
        "  sealkit verify --ca root.pem --purpose tls-client --explain leaf.pem\n"
        "  openssl s_client -connect example.org:443 -showcerts </dev/null |\n"
        "      sealkit verify --host example.org -");
    return [options] { return verify(*options); };
}

#include "objects/trust.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/number.h"
#include "io/terminal.h"
#include "objects/certificates.h"

#include <kp/root.h>

#include <algorithm>
#include <filesystem>

namespace {

using terminal::printable;

std::string defaultAuthorities() {
    std::string const builtIn = kp::rootPath("/kelp/etc/ca");
    std::error_code error;
    return !builtIn.empty() && std::filesystem::is_directory(builtIn, error) ? builtIn : "/etc/ssl/certs";
}

/// The values of --rules, and the meaning of --strict.
constexpr struct {
    std::string_view name;
    unsigned rules;
} ruleNames[] = {
    {"both", PathRules::platform | PathRules::rfc5280},
    {"platform", PathRules::platform},
    {"rfc5280", PathRules::rfc5280},
    {"strict", PathRules::strict},
};
constexpr unsigned strictRules = PathRules::platform | PathRules::strict;

bool loadCertificates(TrustOptions const& options, FormRules forms, CertificateMemoryStore* store,
                      Complaint* complaint) {
    std::vector<LoadRefusal> leftOut;
    if (options.cermUsage)
        store->loadFromCerm(*options.cermUsage, false, &leftOut, forms);
    noteLeftOut(leftOut);
    for (std::string const& path : options.authorities)
        if (!loadTrusted(path, forms, store, complaint))
            return false;
    if (options.authorities.empty() && !options.cermUsage &&
        !loadTrusted(defaultAuthorities(), forms, store, complaint)) {
        *complaint +=
            " (what is trusted without --ca). Name a file or folder of trusted certificates with --ca, or "
            "install the package ca-certificates.";
        return false;
    }
    if (options.cermUsage && store->certs.empty()) {
        *complaint = "no certificate is trusted for the use " + formatHex(*options.cermUsage);
        return false;
    }
    return true;
}

bool loadCrls(std::string const& file, FormRules forms, Trust* trust, Complaint* complaint) {
    auto const text = readInput(file, complaint);
    if (!text)
        return false;
    std::vector<Refusal> refusals;
    size_t const before = trust->store.crls.size();
    trust->store.loadCrls(*text, &refusals, forms);
    if (!refusals.empty()) {
        *complaint = file + ": not a readable CRL: " + Complaint(refusals.front());
        return false;
    }
    for (size_t i = before; i < trust->store.crls.size(); ++i)
        trust->crlFiles[trust->store.crls[i]] = file;
    return true;
}

} // namespace

void TrustOptions::declare(CommandLine& commandLine) {
    commandLine.group("What is trusted, and by which rules");
    commandLine
        .texts("--ca", authorities,
               "a file or folder of trusted certificates; may be given more than once. By default\n"
               "/kelp/etc/ca under the platform root if that exists, otherwise /etc/ssl/certs")
        .valueName("FILE");
    commandLine
        .number("--cerm", cermUsage,
                "trust what the certificate manager trusts for this use, a bit mask as \"trust list\"\n"
                "shows it; 0xffffffff for any use")
        .valueName("MASK");
    commandLine.text("--at", at, "validate at this time instead of now: ISO 8601 (UTC) or seconds since 1970")
        .valueName("TIME");
    commandLine.texts("--crl", crlFiles, "a file of CRLs; may be given more than once; implies --check-crls")
        .valueName("FILE");
    commandLine
        .flagWithValue(
            "--check-crls", checkCrls, "all",
            "look up every certificate below the trusted one in the CRLs, or with =leaf, as other\n"
            "validators do, only the leaf")
        .valueName("[=leaf]");
    Parameter const chosen =
        commandLine
            .text("--rules", rules,
                  "the rules that must accept the chain: platform (this system), rfc5280 (other\n"
                  "validators), strict (the rules of public CAs), or both (platform and rfc5280), which is\n"
                  "the default")
            .valueName("RULES");
    commandLine.flag("--strict", strict, "platform and strict must both accept the chain").excludes(chosen);
    commandLine.group("Options");
}

bool TrustOptions::read(PathOptions* to, Complaint* complaint) const {
    to->now = currentTime();
    if (!at.empty()) {
        auto const time = parseTime(at);
        if (!time) {
            *complaint =
                "--at: \"" + at + "\" is not a time; write 2026-11-21T08:30:00Z or seconds since 1970";
            return false;
        }
        to->now = *time;
    }
    if (!checkCrls.empty() && checkCrls != "all" && checkCrls != "leaf") {
        *complaint = "--check-crls=" + checkCrls + ": write leaf or all";
        return false;
    }
    to->checkCrls = !checkCrls.empty() || !crlFiles.empty();
    to->checkLeafCrlOnly = checkCrls == "leaf";
    std::string_view const asked = rules.empty() ? ruleNames[0].name : rules;
    auto const known = std::ranges::find_if(ruleNames, [&](auto const& each) { return each.name == asked; });
    if (known == std::end(ruleNames)) {
        *complaint = "--rules: \"" + rules +
                     "\" is not a set of rules; the choices are both, platform, rfc5280 and strict";
        return false;
    }
    to->rules = strict ? strictRules : known->rules;
    if (to->checkLeafCrlOnly && to->rules == PathRules::platform) {
        *complaint =
            "--check-crls=leaf: the platform's rules ask about every certificate with distribution points";
        return false;
    }
    return true;
}

FormRules formsFor(PathOptions const& options) {
    return options.rules == PathRules::platform ? FormRules::platform : FormRules::standard;
}

std::vector<std::string_view> TrustOptions::inputsWith(std::vector<std::string_view> others) const {
    others.insert(others.end(), authorities.begin(), authorities.end());
    others.insert(others.end(), crlFiles.begin(), crlFiles.end());
    return others;
}

bool loadTrust(TrustOptions const& options, FormRules forms, Trust* trust, Complaint* complaint) {
    return loadCertificates(options, forms, &trust->store, complaint) &&
           std::ranges::all_of(options.crlFiles, [&](std::string const& file) {
               return loadCrls(file, forms, trust, complaint);
           });
}

CrlNotes notesOn(Trust const& trust, std::vector<CrlVerdict> const& crls) {
    CrlNotes notes;
    for (auto const& [crl, status] : crls) {
        if (status == CrlStatus::verified)
            continue;
        std::string const name = "the CRL of <" + printable(crl->issuer.str()) + ">";
        auto const file = trust.crlFiles.find(crl);
        bool const isOwn = file != trust.crlFiles.end();
        std::string const source = isOwn ? printable(file->second) : "the certificate manager";
        if (status != CrlStatus::badSignature || !isOwn)
            notes.ignored.push_back(source + ": " + name + " is ignored: " + getReasonText(status).sentence);
        else if (notes.forged.empty())
            notes.forged = source + ": the signature of " + name + " does not verify";
    }
    return notes;
}

bool reportCrls(Trust const& trust, std::vector<CrlVerdict> const& crls, std::vector<std::string>* notes,
                Complaint* complaint) {
    CrlNotes found = notesOn(trust, crls);
    notes->insert(notes->end(), found.ignored.begin(), found.ignored.end());
    *complaint = std::move(found.forged);
    return complaint->empty();
}

std::string disagreementOf(PathVerdict const& verdict) {
    if (verdict.isValid())
        return {};
    for (RulesVerdict const& one : verdict.byRules)
        if (one.isValid())
            return one.rules == PathRules::platform ? "this system accepts it" : "other validators accept it";
    return {};
}

std::string factsOf(std::vector<Fact> const& facts) {
    std::string text;
    for (Fact const& fact : facts)
        text += (text.empty() ? "" : ", ") + fact.label + ": " + printable(fact.value);
    return text;
}

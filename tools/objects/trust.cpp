#include "objects/trust.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/number.h"
#include "io/terminal.h"
#include "objects/certificates.h"

#include <kp/root.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>

namespace {

using terminal::printable;

std::string defaultAuthorities() {
    std::string const builtIn = kp::rootPath("/kelp/etc/ca");
    std::error_code error;
    return !builtIn.empty() && std::filesystem::is_directory(builtIn, error) ? builtIn : "/etc/ssl/certs";
}

bool loadCertificates(TrustOptions const& options, CertificateMemoryStore* store, int* status) {
    std::vector<LoadRefusal> leftOut;
    if (options.cermUsage)
        store->loadFromCerm(*options.cermUsage, false, &leftOut);
    for (auto const& [source, refusal] : leftOut)
        badInput(source + ": " + refusal.str() + " It is left out.");
    std::vector<std::string> paths = options.authorities;
    if (paths.empty() && !options.cermUsage)
        paths.push_back(defaultAuthorities());
    for (std::string const& path : paths) {
        if (!loadTrusted(path, store)) {
            *status = exitBadInput;
            return false;
        }
    }
    if (options.cermUsage && store->certs.empty()) {
        *status = badInput("nothing is trusted for the use " + formatHex(*options.cermUsage));
        return false;
    }
    return true;
}

bool loadCrls(std::string const& file, Trust* trust) {
    auto const text = readInput(file);
    if (!text)
        return false;
    std::vector<Refusal> refusals;
    size_t const before = trust->store.crls.size();
    trust->store.loadCrls(*text, &refusals);
    if (!refusals.empty()) {
        badInput(file + ": not a readable certificate revocation list: " + refusals.front().str());
        return false;
    }
    for (size_t i = before; i < trust->store.crls.size(); ++i)
        trust->crlFiles[trust->store.crls[i]] = file;
    return true;
}

} // namespace

void TrustOptions::declare(CommandLine& commandLine) {
    commandLine.text("--at", at,
                     "validate at this time instead of now: ISO 8601 (UTC) or seconds since 1970");
    commandLine.texts(
        "--ca", authorities,
        "a file or folder of trusted certificates; may be given more than once.\n"
        "Without it /kelp/etc/ca under the platform root where that exists, else /etc/ssl/certs");
    commandLine.number("--cerm", cermUsage,
                       "trust what the certificate manager trusts for this use (a bit mask, 0x10)");
    commandLine.texts("--crl", crlFiles,
                      "a file of revocation lists; may be given more than once; implies --check-crls");
    commandLine.flag("--check-crls", checkCrls, "look every certificate up in its issuer's revocation list");
}

std::vector<std::string_view> TrustOptions::inputsWith(std::vector<std::string_view> others) const {
    others.insert(others.end(), authorities.begin(), authorities.end());
    others.insert(others.end(), crlFiles.begin(), crlFiles.end());
    return others;
}

std::optional<TimePoint> readTime(TrustOptions const& options, std::string* complaint) {
    if (options.at.empty())
        return currentTime();
    auto const time = parseTime(options.at);
    if (!time)
        *complaint =
            "--at: \"" + options.at + "\" is no time; write 2026-11-21T08:30:00Z or seconds since 1970";
    return time;
}

bool loadTrust(TrustOptions const& options, Trust* trust, int* status) {
    if (!loadCertificates(options, &trust->store, status))
        return false;
    *status = exitBadInput;
    return std::ranges::all_of(options.crlFiles,
                               [&](std::string const& file) { return loadCrls(file, trust); });
}

bool reportCrls(Trust const& trust, std::vector<CrlVerdict> const& crls, std::vector<std::string>* notes) {
    bool areGood = true;
    for (auto const& [crl, status] : crls) {
        if (status == CrlStatus::verified)
            continue;
        std::string const name = "the list of <" + printable(crl->issuer.str()) + ">";
        auto const file = trust.crlFiles.find(crl);
        bool const isOwn = file != trust.crlFiles.end();
        std::string const source = isOwn ? file->second : "the certificate manager";
        if (status == CrlStatus::otherIssuer) {
            notes->push_back("left out, neither a trusted certificate nor one of the chain has signed it: " +
                             name);
        } else if (status == CrlStatus::badSignature && isOwn) {
            badInput(source + ": the signature of " + name + " does not verify");
            areGood = false;
        } else {
            badInput(source + ": " + name + " is left out: " + getReasonText(status).sentence);
        }
    }
    return areGood;
}

std::string factsOf(std::vector<Fact> const& facts) {
    std::string text;
    for (Fact const& fact : facts)
        text += (text.empty() ? "" : ", ") + fact.label + ": " + printable(fact.value);
    return text;
}

nlohmann::json toJson(std::vector<Fact> const& facts) {
    auto list = nlohmann::json::array();
    for (Fact const& fact : facts)
        list.push_back({{"label", fact.label}, {"value", printable(fact.value)}});
    return list;
}

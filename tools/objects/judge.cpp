#include "objects/judge.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/number.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/chain.h"
#include "objects/revocation.h"

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

/// What is trusted, before the user's own revocation lists.
bool loadAuthorities(TrustOptions const& options, CertificateMemoryStore* trusted, int* status) {
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

bool loadTrusted(TrustOptions const& options, CertificateChain const& given, CertificateMemoryStore* trusted,
                 int* status) {
    if (!loadAuthorities(options, trusted, status))
        return false;
    CertificateChain issuers = trusted->certs;
    issuers.insert(issuers.end(), given.begin(), given.end());
    dropUnverifiedCrls(issuers, &trusted->crls);
    *status = exitBadInput;
    return readCrls(options.crlFiles, issuers, &trusted->crls);
}

Verdict judge(std::shared_ptr<X509Certificate> const& leaf, CertificateChain const& given,
              CertificateMemoryStore const& trusted, PathOptions const& question) {
    Verdict best;
    forEachChain(leaf, given, trusted.certs, question.now, [&](CertificateChain const& found) {
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

std::string reasonOf(PathExplanation const& explanation) {
    return explanation.error.empty() ? findPathCode(explanation.code)->sentence : explanation.error;
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

#include "objects/certificate_contents.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "objects/names.h"
#include "objects/serial_number.h"

#include "sealkit/extend.h"
#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"

#include <algorithm>

namespace {

constexpr unsigned defaultBackdate = 5; ///< Minutes. Clocks that are slow then accept the certificate.

/// Whether all addresses are URIs. Complains if not; `what` says whose they are: "an OCSP responder".
bool areAddresses(std::vector<std::string> const& addresses, char const* what) {
    auto const isAddress = [](std::string const& address) {
        GeneralName name;
        return parseGeneralNameText("URI:" + address, &name);
    };
    auto const wrong = std::ranges::find_if_not(addresses, isAddress);
    if (wrong != addresses.end())
        wrongUsage("\"" + *wrong + "\" is not the address of " + what);
    return wrong == addresses.end();
}

/// Complains on failure.
std::optional<std::vector<unsigned char>> readOid(std::string const& text) {
    auto oid = parseOid(text);
    if (!oid.empty())
        return oid;
    wrongUsage("\"" + text + "\" is not an object identifier; write 1.2.3.4");
    return std::nullopt;
}

} // namespace

void Validity::apply(X509Certificate& certificate, X509Certificate const* authority) const {
    certificate.notBefore = notBefore;
    certificate.notAfter = notAfter;
    if (authority == nullptr)
        return;
    if (!isStartAsked && authority->notBefore <= currentTime())
        certificate.notBefore = std::max(notBefore, authority->notBefore);
    if (isEndAsked || notAfter <= authority->notAfter || notBefore > authority->notAfter)
        return;
    note("the CA's own certificate ends at " + formatTime(authority->notAfter) + ", and so does this one");
    certificate.notAfter = authority->notAfter;
}

void ValidityOptions::declare(CommandLine& commandLine, std::string const& daysHelp) {
    Parameter const daysOption = commandLine.number("--days", days, daysHelp);
    Parameter const fromOption =
        commandLine.text("--from", from, "the first second: ISO 8601 (UTC); by default now, less\n--backdate")
            .valueName("TIME");
    commandLine.text("--to", to, "the last second, instead of --days").valueName("TIME").excludes(daysOption);
    commandLine
        .number("--backdate", backdate,
                "how many minutes before now it begins, for clocks that are slow; by default 5")
        .excludes(fromOption);
}

std::optional<Validity> ValidityOptions::read(std::int64_t seconds) const {
    constexpr std::int64_t secondsOfMinute = 60;
    TimePoint const now = currentTime();
    TimePoint const early =
        TimePoint::fromSeconds(now.seconds - backdate.value_or(defaultBackdate) * secondsOfMinute);
    auto const start = from.empty() ? early : parseTime(from);
    auto const end = parseTime(to);
    if (!start || (!to.empty() && !end)) {
        wrongUsage("\"" + (start ? to : from) + "\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z");
        return std::nullopt;
    }
    Validity validity;
    validity.notBefore = *start;
    validity.notAfter =
        end ? *end : TimePoint::fromSeconds(start->seconds + (days ? *days * secondsOfDay : seconds) - 1);
    validity.isStartAsked = !from.empty();
    validity.isEndAsked = end || days;
    if (validity.notAfter <= validity.notBefore) {
        wrongUsage("the certificate would end before it begins: change --days, --from or --to");
        return std::nullopt;
    }
    if (!isWritableTime(validity.notBefore) || !isWritableTime(validity.notAfter))
        return std::nullopt;
    return validity;
}

void ContentOptions::declare(CommandLine& commandLine) {
    commandLine
        .texts("--san", alternativeNames,
               "an alternative name: DNS:host, IP:address, email:mailbox, URI:address, dirName:NAME,\n"
               "RID:OID or otherName:OID;UTF8:text; may be given more than once, like all options that\n"
               "follow")
        .valueName("NAME");
    commandLine.texts("--eku", extendedUsages, "a further extended key usage: 1.2.3.4, or its name")
        .valueName("OID");
    commandLine.texts("--policy", policies, "a certificate policy, and the address of its practice statement")
        .valueName("OID[,URL]");
    commandLine.texts("--crl-url", crlAddresses, "the address of the CRL").valueName("URL");
    commandLine.texts("--ocsp-url", ocspAddresses, "the address of an OCSP responder").valueName("URL");
    commandLine.texts("--issuer-url", issuerAddresses, "the address of the issuer's certificate")
        .valueName("URL");
    commandLine.number("--path-length", pathLength, "how many CAs may follow below this one");
    commandLine
        .texts("--permit", permitted,
               "names that the CA may issue for, and no others: DNS:domain, IP:address/bits, email:host,\n"
               "URI:host or dirName:NAME")
        .valueName("NAMES");
    commandLine.texts("--exclude", excluded, "names that the CA may not issue for").valueName("NAMES");
    commandLine.texts("--permit-dns", permittedDomains, "the same as --permit DNS:domain")
        .valueName("DOMAIN");
    commandLine.texts("--exclude-dns", excludedDomains, "the same as --exclude DNS:domain")
        .valueName("DOMAIN");
}

bool ContentOptions::apply(X509Certificate& certificate, bool isCa) const {
    for (std::string const& text : alternativeNames) {
        auto const name = readAlternativeName(text);
        if (!name)
            return false;
        certificate.subjectAltNames.push_back(*name);
    }
    if (pathLength && !isCa) {
        wrongUsage("--path-length is for CAs");
        return false;
    }
    certificate.setPathLength(pathLength);
    return applyConstraints(certificate, isCa) && applyPolicies(certificate) && applyAddresses(certificate);
}

bool ContentOptions::applyConstraints(X509Certificate& certificate, bool isCa) const {
    NameSubtrees subtrees;
    auto const read = [](std::vector<std::string> const& texts, std::string const& kind,
                         std::vector<GeneralName>* to) {
        for (std::string const& text : texts)
            if (!parseSubtreeText(kind + text, &to->emplace_back())) {
                wrongUsage("\"" + text + "\" is not a " +
                           (kind.empty()
                                ? "set of names: write DNS:domain, IP:address/bits, email:host, URI:host or "
                                  "dirName:NAME"
                                : "domain"));
                return false;
            }
        return true;
    };
    if (!read(permitted, "", &subtrees.permitted) || !read(permittedDomains, "DNS:", &subtrees.permitted) ||
        !read(excluded, "", &subtrees.excluded) || !read(excludedDomains, "DNS:", &subtrees.excluded))
        return false;
    if (!isCa && !(subtrees.permitted.empty() && subtrees.excluded.empty())) {
        wrongUsage("--permit, --exclude, --permit-dns and --exclude-dns are for CAs");
        return false;
    }
    setNameConstraints(certificate, subtrees);
    return true;
}

bool ContentOptions::applyPolicies(X509Certificate& certificate) const {
    std::vector<CertificatePolicy> list;
    for (std::string const& text : policies) {
        size_t const comma = std::min(text.find(','), text.size());
        auto const oid = readOid(text.substr(0, comma));
        if (!oid)
            return false;
        if (std::ranges::find(list, *oid, &CertificatePolicy::oid) != list.end()) {
            wrongUsage("the policy " + text.substr(0, comma) + " is given twice");
            return false;
        }
        CertificatePolicy& policy = list.emplace_back(CertificatePolicy{*oid, {}});
        if (comma < text.size())
            policy.cpsUris = {text.substr(comma + 1)};
        if (!areAddresses(policy.cpsUris, "a practice statement"))
            return false;
    }
    setCertificatePolicies(certificate, list);
    return true;
}

bool ContentOptions::applyAddresses(X509Certificate& certificate) const {
    if (!areAddresses(crlAddresses, "a CRL") || !areAddresses(ocspAddresses, "an OCSP responder") ||
        !areAddresses(issuerAddresses, "a certificate"))
        return false;
    for (std::string const& address : crlAddresses)
        parseGeneralNameText("URI:" + address, &certificate.crlDistributionPoints.emplace_back());
    setAuthorityInfoAccess(certificate, {ocspAddresses, issuerAddresses});
    return true;
}

std::optional<std::vector<std::vector<unsigned char>>> ContentOptions::readExtendedUsages() const {
    std::vector<std::vector<unsigned char>> list;
    for (std::string const& text : extendedUsages) {
        auto oid = readOid(text);
        if (!oid)
            return std::nullopt;
        list.push_back(std::move(*oid));
    }
    return list;
}

std::optional<std::vector<unsigned char>> readNewSerialNumber(std::string const& text) {
    if (text.empty())
        return makeSerialNumber();
    auto number = parseSerialNumber(text);
    if (!number)
        wrongUsage("a serial number is hexadecimal, above 0, of 20 octets at most");
    return number;
}

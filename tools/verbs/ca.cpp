#include "io/clock.h"
#include "io/exit_status.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/description.h"
#include "objects/input_objects.h"
#include "objects/register.h"
#include "objects/revocation.h"
#include "verbs/verb.h"

#include "sealkit/name_text.h"
#include "sealkit/pem.h"

#include <nlohmann/json.hpp>

namespace {

using terminal::printable;

struct ListOptions {
    std::string folder;
    std::string expiring;
    std::string at;
    bool valid = false;
    bool revoked = false;
};

struct RevokeOptions {
    std::string folder;
    std::string what;
    std::string reason;
    std::string at;
};

struct AddOptions {
    std::string folder;
    std::string authority;
    std::vector<std::string> files;
};

char const* stateOf(RegisteredCertificate const& entry, TimePoint now) {
    if (entry.revocation)
        return entry.revocation->reasonCode == certificateHold ? "on hold" : "revoked";
    return entry.certificate->notAfter < now    ? "expired"
           : entry.certificate->notBefore > now ? "not yet valid"
                                                : "valid";
}

/// Which certificates the list shows.
struct Wanted {
    TimePoint now;
    std::optional<TimePoint> expiringUntil;
    bool validOnly = false;
    bool revokedOnly = false;

    bool has(RegisteredCertificate const& entry) const {
        X509Certificate const& certificate = *entry.certificate;
        bool const isOver = entry.revocation || certificate.notAfter < now;
        return (!revokedOnly || entry.revocation) &&
               (!validOnly || !(isOver || certificate.notBefore > now)) &&
               (!expiringUntil || (!isOver && certificate.notAfter <= *expiringUntil));
    }
};

nlohmann::ordered_json toJson(RegisteredCertificate const& entry, TimePoint now) {
    X509Certificate const& certificate = *entry.certificate;
    nlohmann::ordered_json row = {{"serialNumber", hexOf(certificate.serialNumber)},
                                  {"state", stateOf(entry, now)},
                                  {"notBefore", isoTime(certificate.notBefore)},
                                  {"notAfter", isoTime(certificate.notAfter)},
                                  {"subject", printable(nameText(certificate.subjectBytes()))}};
    auto names = nlohmann::ordered_json::array();
    for (GeneralName const& name : certificate.subjectAltNames)
        names.push_back(printable(generalNameText(name)));
    row["names"] = names;
    if (entry.revocation) {
        row["revocationDate"] = isoTime(entry.revocation->revocationDate);
        if (entry.revocation->reasonCode != noReason)
            row["reason"] = crlReasonName(entry.revocation->reasonCode);
    }
    return row;
}

std::string lineOf(RegisteredCertificate const& entry, TimePoint now) {
    X509Certificate const& certificate = *entry.certificate;
    std::string line = hexOf(certificate.serialNumber) + "  " + formatTime(certificate.notAfter) + "  " +
                       stateOf(entry, now);
    if (entry.revocation) {
        line += " " + formatTime(entry.revocation->revocationDate);
        if (entry.revocation->reasonCode != noReason)
            line.append(" ").append(crlReasonName(entry.revocation->reasonCode));
    }
    return line + "  <" + nameFor(certificate) + ">";
}

int list(ListOptions const& options) {
    Wanted wanted;
    auto const now = options.at.empty() ? currentTime() : parseTime(options.at);
    if (!now)
        return wrongUsage("\"" + options.at + "\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z");
    wanted.now = *now;
    wanted.validOnly = options.valid;
    wanted.revokedOnly = options.revoked;
    if (!options.expiring.empty()) {
        auto const seconds = parseDays(options.expiring);
        if (!seconds)
            return wrongUsage("\"" + options.expiring + "\" is not a number of days; write 30d");
        wanted.expiringUntil = TimePoint::fromSeconds(now->seconds + *seconds);
    }
    auto const issued = Register::open(options.folder, Register::Missing::refuse);
    if (!issued)
        return exitBadInput;
    auto const all = issued->readAll();
    if (!all)
        return exitBadInput;
    auto rows = nlohmann::ordered_json::array();
    for (RegisteredCertificate const& entry : *all) {
        if (!wanted.has(entry))
            continue;
        if (report::isJson())
            rows.push_back(toJson(entry, *now));
        else
            terminal::out() << lineOf(entry, *now) << '\n';
    }
    if (report::isJson())
        report::set({{"certificates", std::move(rows)}});
    return exitDone;
}

/// The register's entry for WHAT, a serial number or a file. `*status` is the exit status if it is missing.
std::optional<RegisteredCertificate> find(Register const& issued, std::string const& what, int* status) {
    auto const target = readRevocationTarget(what, {}, status);
    if (!target)
        return std::nullopt;
    *status = exitBadInput;
    auto entry = issued.read(target->serialNumber);
    if (entry && target->certificate && target->certificate->serialize() != entry->certificate->serialize()) {
        badInput(what + ": is not the certificate that the register has under its serial number");
        return std::nullopt;
    }
    return entry;
}

/// Changes the state of the certificate that WHAT names. `change` returns the exit status.
template <typename Change>
int changeState(RevokeOptions const& options, Change change) {
    auto issued = Register::open(options.folder, Register::Missing::refuse);
    if (!issued)
        return exitBadInput;
    int status = exitDone;
    auto entry = find(*issued, options.what, &status);
    if (!entry)
        return status;
    if (status = change(*entry); status != exitDone)
        return status;
    if (status = issued->update(*entry); status == exitDone && report::isJson())
        report::set({{"certificate", toJson(*entry, currentTime())}});
    return status;
}

int revoke(RevokeOptions const& options) {
    RevokedCertificate revocation{{}, currentTime(), noReason};
    if (!options.reason.empty()) {
        auto const reason = readReason(options.reason);
        if (!reason)
            return exitWrongUsage;
        revocation.reasonCode = *reason;
    }
    if (!options.at.empty()) {
        auto const time = parseTime(options.at);
        if (!time)
            return wrongUsage("\"" + options.at +
                              "\" is not a time; write 2026-11-21 or 2026-11-21T08:30:00Z");
        if (!isWritableTime(*time))
            return exitWrongUsage;
        revocation.revocationDate = *time;
    }
    return changeState(options, [&](RegisteredCertificate& entry) {
        if (entry.revocation && entry.revocation->reasonCode != certificateHold)
            return wrongUsage("\"" + options.what + "\" is already revoked");
        revocation.serialNumber = entry.certificate->serialNumber;
        entry.revocation = revocation;
        return int{exitDone};
    });
}

int release(RevokeOptions const& options) {
    return changeState(options, [&](RegisteredCertificate& entry) {
        if (!entry.revocation || entry.revocation->reasonCode != certificateHold)
            return wrongUsage("\"" + options.what +
                              "\" is not on hold: only certificates on hold can be released");
        entry.revocation.reset();
        return int{exitDone};
    });
}

/// Adds a certificate unless the register has it, so that an interrupted import can be repeated.
int addOne(Register& issued, std::shared_ptr<X509Certificate> const& certificate,
           nlohmann::ordered_json* rows) {
    RegisteredCertificate entry{certificate, std::nullopt};
    bool isKnown = false;
    if (issued.has(certificate->serialNumber)) {
        auto const there = issued.read(certificate->serialNumber);
        if (!there)
            return exitBadInput;
        isKnown = there->certificate->serialize() == certificate->serialize();
        if (isKnown)
            entry = *there;
    }
    if (isKnown)
        note("<" + nameFor(*certificate) + "> is in the register already");
    else if (int const status = issued.add(*certificate); status != exitDone)
        return status;
    if (report::isJson())
        rows->push_back(toJson(entry, currentTime()));
    return exitDone;
}

int add(AddOptions const& options) {
    auto const authority = readCertificate(options.authority, FormRules::standard);
    if (!authority)
        return exitBadInput;
    auto const key = authority->parsePublicKey(nullptr);
    if (!key)
        return badInput(options.authority + ": its key is of an unknown kind");
    CertificateChain certificates;
    for (std::string const& file : options.files) {
        auto const some = readAllCertificates(file, FormRules::standard);
        if (!some)
            return exitBadInput;
        for (auto const& certificate : *some)
            if (certificate->issuerBytes() != authority->subjectBytes() || !certificate->verify(*key))
                return answerNo(file + ": <" + nameFor(*certificate) + "> was not issued by this CA");
        certificates.insert(certificates.end(), some->begin(), some->end());
    }
    auto issued = Register::open(options.folder, Register::Missing::create);
    if (!issued)
        return exitBadInput;
    auto rows = nlohmann::ordered_json::array();
    for (auto const& certificate : certificates)
        if (int const status = addOne(*issued, certificate, &rows); status != exitDone)
            return status;
    if (report::isJson())
        report::set({{"certificates", std::move(rows)}});
    return exitDone;
}

void addFolder(CommandLine& commandLine, std::string& folder) {
    commandLine.text("--register", folder, "the folder of the register").valueName("DIR").required();
}

/// Declares the register and the certificate whose state changes.
void addTarget(CommandLine& commandLine, RevokeOptions& options) {
    addFolder(commandLine, options.folder);
    commandLine
        .text("WHAT", options.what,
              "the certificate: its serial number in hexadecimal, or its\nfile; - is standard input")
        .required();
    commandLine.json();
}

/// The start of the examples: a CA with a register, and a certificate in it with the serial number 1F.
constexpr char beginning[] =
    "Examples:\n"
    "  sealkit key new p256 -o ca.key\n"
    "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem\n"
    "  sealkit cert issue --ca ca.pem -k ca.key --register issued --profile client --public-key ca.pem \\\n"
    "    --subject /CN=ada --serial 1F -o ada.pem\n";

std::string exampleOf(std::string const& lines) { return beginning + lines; }

Work listCaVerb(CommandLine commandLine) {
    auto options = std::make_shared<ListOptions>();
    addFolder(commandLine, options->folder);
    commandLine
        .text("--expiring", options->expiring,
              "only certificates that are valid now and expire within this many days: 30d")
        .valueName("DAYS");
    Parameter const valid = commandLine.flag("--valid", options->valid, "only certificates that are valid");
    commandLine.flag("--revoked", options->revoked, "only certificates that are revoked or on hold")
        .excludes(valid);
    commandLine.text("--at", options->at, "as of this time: ISO 8601 (UTC); by default now")
        .valueName("TIME");
    commandLine.json();
    commandLine.footer(
        "Each line has the serial number, the expiration time, the state and the subject of a\n"
        "certificate. Those that expire first come first.\n\n" +
        exampleOf("  sealkit ca list --register issued --expiring 400d"));
    return [options] { return list(*options); };
}

Work revokeVerb(CommandLine commandLine) {
    auto options = std::make_shared<RevokeOptions>();
    addTarget(commandLine, *options);
    commandLine.text("--reason", options->reason, "the reason of the revocation").valueName("REASON");
    commandLine.text("--at", options->at, "the time of the revocation: ISO 8601 (UTC); by default now")
        .valueName("TIME");
    commandLine.footer("The next \"crl new --register\" writes its entry.\n\n" + std::string(reasonsHelp) +
                       "\n\n" +
                       exampleOf("  sealkit ca revoke --register issued --reason keyCompromise 1F\n"
                                 "  sealkit crl new --ca ca.pem -k ca.key --register issued -o first.crl"));
    return [options] { return revoke(*options); };
}

Work releaseVerb(CommandLine commandLine) {
    auto options = std::make_shared<RevokeOptions>();
    addTarget(commandLine, *options);
    commandLine.footer("The next \"crl new --register\" omits its entry.\n\n" +
                       exampleOf("  sealkit ca revoke --register issued --reason certificateHold 1F\n"
                                 "  sealkit ca release --register issued 1F"));
    return [options] { return release(*options); };
}

Work addCaVerb(CommandLine commandLine) {
    auto options = std::make_shared<AddOptions>();
    addFolder(commandLine, options->folder);
    commandLine.text("--ca", options->authority, "the certificate of the CA, which issued them")
        .valueName("FILE")
        .required();
    commandLine.texts("FILE", options->files, "certificates that were issued without a register").required();
    commandLine.json();
    commandLine.footer("The CA must have issued each of them.\n\n" +
                       exampleOf("  sealkit ca add --register issued --ca ca.pem ca.pem"));
    return [options] { return add(*options); };
}

} // namespace

Work setUpCa(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"list", "list the issued certificates", listCaVerb},
        {"revoke", "revoke a certificate of the register", revokeVerb},
        {"release", "end the revocation of a certificate that is on hold", releaseVerb},
        {"add", "add certificates to the register", addCaVerb},
    };
    return commandLine.verbs(verbs);
}

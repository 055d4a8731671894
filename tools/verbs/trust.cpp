#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/number.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/input_objects.h"
#include "verbs/verb.h"

#include "sealkit/cerm.h"

#include <kp/store.h>

#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

namespace {

struct TrustStoreOptions {
    std::vector<std::string> files;
    std::optional<uint32_t> usage;
    std::optional<int32_t> id;
};

int addCertificate(kp::Store& store, X509Certificate const& certificate, uint32_t usage,
                   nlohmann::ordered_json& entries) {
    CermEntry entry;
    entry.isTrusted = true;
    entry.uses = usage;
    entry.certificate = certificate.serialize();
    auto const place = store.findOrAdd(makeCermRecord(entry), [&](int32_t id, kp::message const& record) {
        CermEntry const present = readCermEntry(id, record);
        return present.isTrusted && present.uses == usage && present.certificate == entry.certificate;
    });
    if (!place)
        return badInput("the store could not be written: " + std::string(std::strerror(errno)));
    if (report::isJson())
        entries.push_back({{"id", place->id},
                           {"added", place->added},
                           {"usage", formatHex(usage)},
                           {"subject", nameFor(certificate)}});
    else
        terminal::out() << place->id << (place->added ? "  added: " : "  was there already: ")
                        << nameFor(certificate) << '\n';
    return exitDone;
}

int add(kp::Store& store, TrustStoreOptions const& options) {
    // Everything is read before anything is added, so a malformed file leaves the store unchanged.
    std::vector<std::shared_ptr<X509Certificate>> certificates;
    for (std::string const& file : options.files) {
        auto const text = readInput(file);
        if (!text)
            return exitBadInput;
        std::vector<Refusal> refusals;
        CertificateMemoryStore read; // Refuses certificates whose trust settings restrict or deny trust.
        read.loadCertificates(*text, &refusals);
        if (!refusals.empty())
            return badInput(file + ": " + complaintOf(read.certs, refusals) + " Nothing was added.");
        certificates.insert(certificates.end(), read.certs.begin(), read.certs.end());
    }
    uint32_t const usage = options.usage.value_or(CermEntry::everyUse);
    int status = exitDone;
    auto entries = nlohmann::ordered_json::array();
    for (size_t i = 0; i < certificates.size() && status == exitDone; ++i)
        status = addCertificate(store, *certificates[i], usage, entries);
    if (report::isJson())
        report::set({{"entries", std::move(entries)}});
    return status;
}

int list(kp::Store& store, TrustStoreOptions const&) {
    int status = exitDone;
    auto entries = nlohmann::ordered_json::array();
    for (int32_t id : kp::Allocator(store)) {
        auto const record = store.find(id);
        if (!record) {
            status = badInput("entry " + std::to_string(id) + " is damaged");
            continue;
        }
        CermEntry const entry = readCermEntry(id, *record);
        if (!entry.isTrusted)
            continue;
        X509Certificate certificate;
        Refusal refusal;
        if (!certificate.parse(entry.certificate, &refusal)) {
            status = badInput("entry " + std::to_string(id) +
                              " is trusted and has no readable certificate: " + Complaint(refusal));
            continue;
        }
        if (report::isJson()) {
            entries.push_back({{"id", id},
                               {"usage", formatHex(entry.uses)},
                               {"subject", nameFor(certificate)},
                               {"notBefore", isoTime(certificate.notBefore)},
                               {"notAfter", isoTime(certificate.notAfter)}});
            continue;
        }
        terminal::out() << id << "  usage " << formatHex(entry.uses) << "  " << nameFor(certificate) << "  "
                        << formatTime(certificate.notBefore) << " to " << formatTime(certificate.notAfter)
                        << '\n';
    }
    if (report::isJson())
        report::set({{"entries", std::move(entries)}});
    return status;
}

int remove(kp::Store& store, TrustStoreOptions const& options) {
    std::string const entry = "entry " + std::to_string(*options.id);
    std::vector<unsigned char> removed;
    auto const isTrusted = [&removed](int32_t id, kp::message const& record) {
        CermEntry present = readCermEntry(id, record);
        removed = std::move(present.certificate);
        return present.isTrusted;
    };
    if (!store.removeIf(*options.id, isTrusted)) {
        if (errno == ENOENT)
            return answerNo(entry + " is not a trusted certificate");
        return badInput(entry + " could not be removed: " + std::strerror(errno));
    }
    for (int32_t id : kp::Allocator(store)) {
        CermEntry const other = readCermEntry(id, store.get(id));
        if (other.isTrusted && other.certificate == removed)
            note("entry " + std::to_string(id) + " still trusts this certificate, for usage " +
                 formatHex(other.uses));
    }
    return exitDone;
}

Work onCertificateManager(std::shared_ptr<TrustStoreOptions> const& options,
                          int (*work)(kp::Store& store, TrustStoreOptions const& options)) {
    return [options, work] {
        kp::Store store(cermStoreName);
        return store.valid() ? work(store, *options) : badInput("there is no platform root: set KP_ROOT");
    };
}

Work addTrustVerb(CommandLine commandLine) {
    auto options = std::make_shared<TrustStoreOptions>();
    commandLine
        .texts("FILE", options->files, "certificates, PEM (any number of blocks) or DER; - is standard input")
        .required();
    commandLine
        .number("--usage", options->usage,
                "the uses that it is trusted for, a mask of 32 bits; by default all")
        .valueName("MASK");
    commandLine.json();
    commandLine.footer(
        "Prints the id of each certificate. Adds nothing if one of the files cannot be used.\n\n"
        "Examples:\n"
        "  sealkit trust add my-root.pem\n"
        "  sealkit trust add --usage 0x10 my-root.pem");
    return onCertificateManager(options, add);
}

Work listTrustVerb(CommandLine commandLine) {
    commandLine.json();
    commandLine.footer("Prints a line for each certificate: id, uses, subject, first and last second of its\n"
                       "validity.\n\n"
                       "Examples:\n"
                       "  sealkit trust list\n"
                       "  sealkit trust list --json");
    return onCertificateManager(std::make_shared<TrustStoreOptions>(), list);
}

Work removeTrustVerb(CommandLine commandLine) {
    auto options = std::make_shared<TrustStoreOptions>();
    commandLine.number("ID", options->id, "the id that \"trust list\" shows").required();
    commandLine.footer("Exits with 1 if there is no such entry.\n\n"
                       "Examples:\n"
                       "  sealkit trust remove 1");
    return onCertificateManager(options, remove);
}

} // namespace

Work setUpTrust(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"add", "trust certificates", addTrustVerb},
        {"list", "list the trusted certificates", listTrustVerb},
        {"remove", "stop trusting a certificate", removeTrustVerb},
    };
    commandLine.footer(
        "The trusted certificates are entries of the store \"cerm\" (see \"store\"). \"verify --cerm\" uses\n"
        "them. The built-in certificates of /kelp/etc/ca are not among them.");
    return commandLine.verbs(verbs);
}

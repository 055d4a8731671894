#include "io/clock.h"
#include "io/input.h"
#include "io/number.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "verbs/verb.h"

#include <kp/store.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <optional>

namespace {

using terminal::printable;

// The certificate manager's store, and the fields of its entries.
constexpr char const* storeName = "cerm";
constexpr uint32_t certificateField = 11;        ///< raw: the certificate in DER.
constexpr uint32_t trustedField = 12;            ///< bool.
constexpr uint32_t usageField = 45;              ///< u32: the uses it is trusted for, a mask.
constexpr uint32_t issuedCertificateField = 129; ///< raw: a certificate that takes the place of 11.
constexpr uint32_t issuedStateField = 135;       ///< u32: the state of 129.
constexpr uint32_t issuedStateUnusable = 2;      ///< The entry has no certificate to use, 11 or not.
constexpr uint32_t everyUsage = 0xffffffff;

struct Options {
    std::vector<std::string> files;
    std::optional<uint32_t> usage;
    std::optional<int32_t> id;
};

bool isTrusted(int32_t id, kp::message const& entry) {
    // Entry 0 holds settings.
    return id != 0 && entry.getBool(trustedField);
}

uint32_t usageOf(kp::message const& entry) { return entry.getU32(usageField, everyUsage); }

asn1::blob certificateOf(kp::message const& entry) {
    if (!entry.hasRaw(issuedCertificateField))
        return entry.getRaw(certificateField);
    if (entry.getU32(issuedStateField) == issuedStateUnusable)
        return {};
    return entry.getRaw(issuedCertificateField);
}

/// What is trusted for one mask of uses: certificates in DER, and the ids of their entries.
using Known = std::map<std::vector<unsigned char>, int32_t>;

Known trustedFor(kp::Store const& store, uint32_t usage) {
    Known known;
    for (int32_t id : kp::Allocator(store)) {
        kp::message const entry = store.get(id);
        asn1::blob const der = certificateOf(entry);
        if (isTrusted(id, entry) && usageOf(entry) == usage)
            known.try_emplace(std::vector<unsigned char>(der.begin(), der.end()), id);
    }
    return known;
}

int addCertificate(kp::Store& store, X509Certificate const& certificate, uint32_t usage, Known& known) {
    std::vector<unsigned char> const der = certificate.serialize();
    if (auto const found = known.find(der); found != known.end()) {
        terminal::out() << found->second << "  was there already: " << nameFor(certificate) << '\n';
        return exitDone;
    }
    kp::message entry;
    entry.setBool(trustedField, true);
    entry.setRaw(certificateField, der);
    entry.setU32(usageField, usage);
    auto const id = store.add(entry);
    if (!id)
        return badInput("the store could not be written: " + std::string(std::strerror(errno)));
    known[der] = *id;
    terminal::out() << *id << "  added: " << nameFor(certificate) << '\n';
    return exitDone;
}

int add(kp::Store& store, Options const& options) {
    // All is read before anything is added: a bad file leaves the store as it was.
    std::vector<std::shared_ptr<X509Certificate>> certificates;
    for (std::string const& file : options.files) {
        auto const text = readInput(file);
        if (!text)
            return exitBadInput;
        CertificatesRead read = readCertificates(*text);
        if (!read.problems.empty())
            return badInput(file + ": " + read.problems.front() + "; nothing was added");
        if (read.certificates.empty())
            return badInput(file + ": no certificate in it; nothing was added");
        certificates.insert(certificates.end(), read.certificates.begin(), read.certificates.end());
    }
    uint32_t const usage = options.usage.value_or(everyUsage);
    Known known = trustedFor(store, usage);
    for (auto const& certificate : certificates)
        if (int const status = addCertificate(store, *certificate, usage, known); status != exitDone)
            return status;
    return exitDone;
}

int list(kp::Store& store, Options const&) {
    int status = exitDone;
    for (int32_t id : kp::Allocator(store)) {
        auto const entry = store.find(id);
        if (!entry) {
            status = badInput("entry " + std::to_string(id) + " is damaged");
            continue;
        }
        if (!isTrusted(id, *entry))
            continue;
        asn1::blob const der = certificateOf(*entry);
        X509Certificate certificate;
        if (!certificate.parse(der.data(), static_cast<unsigned>(der.size()))) {
            status = badInput("entry " + std::to_string(id) + " is trusted and has no readable certificate");
            continue;
        }
        terminal::out() << id << "  usage " << formatHex(usageOf(*entry)) << "  " << nameFor(certificate)
                        << "  " << formatTime(certificate.notBefore) << " to "
                        << formatTime(certificate.notAfter) << '\n';
    }
    return status;
}

int remove(kp::Store& store, Options const& options) {
    auto const complaint = [&](std::string const& what) {
        return "entry " + std::to_string(*options.id) + " " + what;
    };
    if (!isTrusted(*options.id, store.get(*options.id)))
        return answerNo(complaint("is no trusted certificate"));
    if (!store.remove(*options.id))
        return badInput(complaint("could not be removed: ") + std::strerror(errno));
    return exitDone;
}

Work onCertificateManager(std::shared_ptr<Options> const& options,
                          int (*work)(kp::Store& store, Options const& options)) {
    return [options, work] {
        kp::Store store(storeName);
        return store.valid() ? work(store, *options) : badInput("there is no platform root: set KP_ROOT");
    };
}

Work addVerb(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine
        .texts("FILE", options->files, "certificates, PEM (any number of blocks) or DER; - is standard input")
        .required();
    commandLine
        .number("--usage", options->usage, "the uses it is trusted for, a mask of 32 bits (all without it)")
        .valueName("MASK");
    commandLine.footer(
        "Prints the id of each certificate. Adds nothing when one of the files cannot be used.\n\n"
        "Example: sealkit trust add my-root.pem");
    return onCertificateManager(options, add);
}

Work listVerb(CommandLine commandLine) {
    commandLine.footer(
        "Prints one line a certificate: id, uses, subject, first and last second of its validity.");
    return onCertificateManager(std::make_shared<Options>(), list);
}

Work removeVerb(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    commandLine.number("ID", options->id, "the id that \"trust list\" shows").required();
    return onCertificateManager(options, remove);
}

} // namespace

Work setUpTrust(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"add", "trust certificates", addVerb},
        {"list", "list the trusted certificates", listVerb},
        {"remove", "trust a certificate no longer", removeVerb},
    };
    commandLine.footer(
        "The trusted certificates are entries of the store \"cerm\" (see \"store\"). \"verify --cerm\" uses\n"
        "them. The built-in certificates of /kelp/etc/ca are not among them.");
    return commandLine.verbs(verbs);
}

#include "objects/certificates.h"

#include "sealkit/path.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"

#include <filesystem>

bool loadTrusted(std::string const& path, FormRules forms, CertificateMemoryStore* store,
                 std::string* complaint) {
    size_t found = 0;
    std::vector<LoadRefusal> refused;
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        found = store->loadCertificatesFrom(path, &refused, forms);
    } else {
        auto const text = readInput(path, complaint);
        if (!text)
            return false;
        std::vector<Refusal> refusals;
        found = store->loadCertificates(*text, &refusals, forms);
        for (Refusal& refusal : refusals)
            refused.push_back({path, std::move(refusal)});
    }
    for (auto const& [source, refusal] : refused)
        badInput(source + ": " + refusal.str() + (found > 0 ? " It is left out." : ""));
    if (found == 0)
        *complaint = path + ": no certificate in it";
    return found > 0;
}

std::string complaintOf(std::vector<std::shared_ptr<X509Certificate>> const& certificates,
                        std::vector<Refusal> const& refusals) {
    std::string const reason = refusals.empty() ? "" : refusals.front().str();
    return certificates.empty() ? "no certificate in it: " + reason : reason;
}

std::string nameFor(X509Certificate const& certificate) {
    std::string const name = getDisplayName(certificate);
    return name.empty() ? "(no name)" : terminal::printable(name);
}

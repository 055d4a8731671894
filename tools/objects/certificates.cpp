#include "objects/certificates.h"

#include "sealkit/input_kind.h"
#include "sealkit/path.h"

#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"

#include <filesystem>
#include <map>

char const* adviceOn(Refusal const& refusal) {
    auto const isFound = [&](InputKind kind) {
        return (refusal.id == RefusalId::otherKind || refusal.id == RefusalId::unknownForm) &&
               !refusal.facts.empty() && refusal.facts.back().value == getInputKindName(kind);
    };
    if (refusal.id == RefusalId::limitedTrust)
        return " \"sealkit convert\" writes the certificate without them.";
    if (isFound(InputKind::pkcs12))
        return " \"sealkit p12 import --certificates-only\" writes the certificates in it.";
    if (isFound(InputKind::message))
        return " \"sealkit cms certificates\" writes those of a signed message.";
    if (isFound(InputKind::javaKeystore))
        return " \"keytool -importkeystore -deststoretype pkcs12\" makes PKCS#12 of it.";
    return "";
}

bool loadTrusted(std::string const& path, FormRules forms, CertificateMemoryStore* store,
                 Complaint* complaint) {
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
    if (found > 0)
        noteLeftOut(refused);
    else if (refused.empty())
        *complaint = path + ": no certificate in it";
    else
        *complaint = refused.front().path + ": no certificate in it: " + refused.front().refusal +
                     adviceOn(refused.front().refusal);
    return found > 0;
}

void noteLeftOut(std::vector<LoadRefusal> const& refused) {
    constexpr size_t maxNamed = 3;
    // The files keep the order in which they were read; the reasons are sorted alphabetically.
    for (size_t i = 0; i < refused.size();) {
        std::string const& source = refused[i].path;
        size_t end = i;
        std::map<std::string, size_t> reasons;
        for (; end < refused.size() && refused[end].path == source; ++end)
            ++reasons[getReasonText(refused[end].refusal.id).sentence];
        size_t const count = end - i;
        if (count > maxNamed) {
            std::string text = source + ": " + std::to_string(count) + " certificates are left out:";
            for (auto const& [sentence, times] : reasons)
                text += " " + std::to_string(times) + " × " + sentence;
            note(text + " \"sealkit show\" tells which.");
        } else {
            for (; i < end; ++i)
                note(source + ": " + refused[i].refusal.str() + adviceOn(refused[i].refusal) +
                     " It is left out.");
        }
        i = end;
    }
}

Complaint complaintOf(std::vector<std::shared_ptr<X509Certificate>> const& certificates,
                      std::vector<Refusal> const& refusals) {
    Complaint const reason =
        refusals.empty() ? Complaint() : Complaint(refusals.front()) + adviceOn(refusals.front());
    return certificates.empty() ? "no certificate in it: " + reason : reason;
}

CertificateChain readCertificateText(std::string const& path, std::string_view text, FormRules forms,
                                     std::vector<Refusal>* refusals) {
    std::vector<InputNote> notes;
    CertificateChain certificates = readCertificateBundle(text, refusals, forms, &notes);
    for (InputNote const& found : notes)
        if (found.id == InputNoteId::trustSettings)
            note(path + ": " + found.str());
    return certificates;
}

std::string nameFor(X509Certificate const& certificate) {
    std::string const name = getDisplayName(certificate);
    return name.empty() ? "(no name)" : terminal::printable(name);
}

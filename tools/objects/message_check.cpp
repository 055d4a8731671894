#include "objects/message_check.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/description.h"
#include "objects/input_objects.h"
#include "objects/trust.h"

#include "sealkit/name_text.h"
#include "sealkit/oid_names.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using terminal::printable;

/// A warning of the message or of a signer's chain.
struct Warning {
    size_t signer; ///< From 1; 0 for the message as a whole.
    char const* rule;
    std::string sentence;
    std::vector<Fact> facts;
};

std::vector<Warning> warningsOf(MessageVerdict const& verdict) {
    std::vector<Warning> warnings;
    for (MessageFinding const& finding : verdict.findings)
        if (getWeight(finding.id) == FindingWeight::warning) {
            auto const& text = getReasonText(finding.id);
            warnings.push_back({finding.signer, text.name, text.sentence, finding.facts});
        }
    for (size_t i = 0; i < verdict.signers.size(); ++i)
        if (auto const& path = verdict.signers[i].path)
            for (PathWarning const& warning : path->warnings) {
                auto const& text = getReasonText(warning.id);
                warnings.push_back({i + 1, text.name,
                                    "certificate " + std::to_string(warning.depth) + " <" +
                                        printable(warning.subject) + ">: " + text.sentence,
                                    warning.facts});
            }
    return warnings;
}

std::string signerName(size_t number) { return number == 0 ? "" : "signer " + std::to_string(number) + ": "; }

/// Adds the facts about a signer's chain that does not verify, and whether another set of rules accepts it.
void addChainNotes(size_t number, PathVerdict const& path, std::vector<std::string>* notes) {
    PathExplanation const& explanation = path.explanation;
    auto const& text = *findPathCode(explanation.code);
    std::string const facts = factsOf(explanation.facts);
    notes->push_back(signerName(number) + "certificate " + std::to_string(explanation.depth) + " <" +
                     printable(explanation.subject) + ">: " + text.name + ": " + text.sentence +
                     (facts.empty() ? "" : " (" + facts + ")"));
    if (std::string const other = disagreementOf(path); !other.empty())
        notes->push_back(signerName(number) + other);
}

std::vector<std::string> notesOf(MessageVerdict const& verdict) {
    std::vector<std::string> notes;
    for (MessageFinding const& finding : verdict.findings) {
        auto const* const path =
            finding.signer == 0 ? nullptr : verdict.signers[finding.signer - 1].path.get();
        if (finding.id == MessageFindingId::untrusted && path != nullptr)
            addChainNotes(finding.signer, *path, &notes);
        if (finding.id == MessageFindingId::noCertificate)
            notes.push_back(signerName(finding.signer) + "its certificate may be given with --certificates");
        if (getWeight(finding.id) == FindingWeight::note)
            notes.push_back(printable(finding.str()));
    }
    return notes;
}

/// The subject key identifier of a signer; empty if it is named by issuer and serial number.
asn1::blob keyIdOf(PKCS7SignerInfo const& signer) {
    return signer.form() == nullptr ? asn1::blob() : asn1::blob(signer.form()->subjectKeyId);
}

/// The JSON of a signer or counter-signer.
nlohmann::ordered_json describeSigner(SignerVerdict const& signer) {
    PKCS7SignerInfo const& info = *signer.info;
    nlohmann::ordered_json entry;
    if (keyIdOf(info).empty()) {
        entry["issuer"] = printable(nameText(info.issuer));
        entry["serialNumber"] = shortHexOf(info.serialNumber);
    } else {
        entry["subjectKeyIdentifier"] = shortHexOf(keyIdOf(info));
    }
    entry["digestAlgorithm"] = digestName(info);
    if (info.form() != nullptr)
        entry["signatureAlgorithm"] = oidName(info.form()->signatureAlgorithm.oid);
    if (signer.certificate)
        entry["subject"] = nameFor(*signer.certificate);
    if (info.hasSigningTime != 0)
        entry["signingTime"] = isoTime(info.signingTime);
    for (SignerVerdict const& counterSigner : signer.counterSigners)
        entry["counterSigners"].push_back(describeSigner(counterSigner));
    return entry;
}

std::string signerLine(size_t number, SignerVerdict const& signer) {
    PKCS7SignerInfo const& info = *signer.info;
    std::string line = std::to_string(number) + ": ";
    if (signer.certificate)
        line += "<" + nameFor(*signer.certificate) + ">, issued by <" +
                printable(signer.certificate->issuer.str()) + ">";
    else if (keyIdOf(info).empty())
        line += "serial number " + shortHexOf(info.serialNumber) + " of <" +
                terminal::printable(nameText(info.issuer)) + ">, its certificate is not available";
    else
        line += "key identifier " + shortHexOf(keyIdOf(info)) + ", its certificate is not available";
    line += ", " + digestName(info);
    if (signer.signatureHash != HashID::none && signer.signatureHash != info.digestAlgorithm)
        line += std::string(" and ") + getHashName(signer.signatureHash);
    if (info.hasSigningTime != 0)
        line += ", signed at " + formatTime(info.signingTime) + " by its own account";
    return line;
}

} // namespace

MessageReport::MessageReport(MessageVerdict found)
    : verdict(std::move(found)), failure(printable(verdict.reason())), notes(notesOf(verdict)) {}

void MessageReport::fail(std::string const& why) {
    if (failure.empty())
        failure = printable(why);
}

bool MessageReport::isTooLarge() const {
    MessageFinding const* const failed = verdict.failure();
    return failed != nullptr && (failed->id == MessageFindingId::tooManyCertificates ||
                                 failed->id == MessageFindingId::tooManySigners);
}

std::optional<CertificateChain> readFurtherCertificates(std::string const& path, FormRules forms) {
    return path.empty() ? CertificateChain() : readAllCertificates(path, forms);
}

void addCertificates(PKCS7SignedData& message, CertificateChain const& certificates) {
    for (auto const& certificate : certificates) {
        auto const isCopy = [&](auto const& other) {
            return other->tbs == certificate->tbs && other->signature == certificate->signature;
        };
        if (std::ranges::none_of(message.certificates, isCopy))
            message.certificates.push_back(certificate);
    }
}

void printReport(MessageReport const& report, std::vector<std::string> const& further, std::ostream& out) {
    for (std::string const& note : report.notes)
        terminal::err() << "note: " << note << std::endl;
    for (size_t i = 0; i < report.verdict.signers.size(); ++i)
        out << signerLine(i + 1, report.verdict.signers[i]) << '\n';
    for (std::string const& line : further)
        out << line << '\n';
    out << (report.failure.empty() ? "OK" : "FAILED: " + report.failure) << std::endl;
    for (Warning const& warning : warningsOf(report.verdict)) {
        terminal::err() << "warning: " << signerName(warning.signer) << warning.rule << ": "
                        << warning.sentence << std::endl;
        if (!warning.facts.empty())
            terminal::err() << "  " << factsOf(warning.facts) << std::endl;
    }
}

void addReport(MessageReport const& report, nlohmann::ordered_json& to) {
    to["verdict"] = report.failure.empty() ? "OK" : "FAILED";
    to["reason"] = report.failure;
    to["signers"] = nlohmann::json::array();
    for (SignerVerdict const& signer : report.verdict.signers)
        to["signers"].push_back(describeSigner(signer));
    to["failures"] = nlohmann::json::array();
    for (MessageFinding const& finding : report.verdict.findings)
        if (getWeight(finding.id) == FindingWeight::failure)
            to["failures"].push_back({{"signer", finding.signer},
                                      {"rule", getReasonText(finding.id).name},
                                      {"sentence", getReasonText(finding.id).sentence},
                                      {"facts", report::describe(finding.facts)}});
    to["warnings"] = nlohmann::json::array();
    for (Warning const& warning : warningsOf(report.verdict))
        to["warnings"].push_back({{"signer", warning.signer},
                                  {"rule", warning.rule},
                                  {"sentence", warning.sentence},
                                  {"facts", report::describe(warning.facts)}});
    to["notes"] = report.notes;
}

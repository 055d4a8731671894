/// Trust anchors, the rules that chains are validated under, and the display of verdicts.
#pragma once

#include "io/command_line.h"
#include "io/complaint.h"

#include "sealkit/search.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The options for anchors, time and rules.
struct TrustOptions {
    std::string at;
    std::vector<std::string> authorities;
    std::optional<uint32_t> cermUsage;
    std::vector<std::string> crlFiles;
    std::string checkCrls; ///< "all" or "leaf"; empty if not given.
    std::string rules;
    bool strict = false;

    /// Declares --at, --ca, --cerm, --crl, --check-crls, --rules and --strict.
    void declare(CommandLine& commandLine);

    /// The files that the options name, after `others`.
    std::vector<std::string_view> inputsWith(std::vector<std::string_view> others) const;

    /// Sets time, CRLs and rules in `*to`. Returns false, with the reason in `*complaint`, if an option is
    /// malformed.
    bool read(PathOptions* to, Complaint* complaint) const;
};

/// The form rules for reading certificates and CRLs.
FormRules formsFor(PathOptions const& options);

/// Anchors and CRLs. The search verifies the signatures of the CRLs.
struct Trust {
    CertificateMemoryStore store;
    std::map<std::shared_ptr<X509Crl>, std::string> crlFiles; ///< The files of the user's own CRLs.
};

/// Loads what the options name. Returns false, with the reason in `*complaint`, if part of it is unusable.
bool loadTrust(TrustOptions const& options, FormRules forms, Trust* trust, Complaint* complaint);

/// Printable notes on CRLs without effect.
struct CrlNotes {
    std::vector<std::string> ignored; ///< Each with the reason.
    Complaint forged;                 ///< The first of the user's own CRLs whose signature does not verify.
};
CrlNotes notesOn(Trust const& trust, std::vector<CrlVerdict> const& crls);

/// Adds the ignored CRLs to the notes of the verdict. Returns false, with the CRL in `*complaint`, if the
/// signature of one of the user's own does not verify.
bool reportCrls(Trust const& trust, std::vector<CrlVerdict> const& crls, std::vector<std::string>* notes,
                Complaint* complaint);

/// The disagreement between sets of rules: "this system accepts it" or "other validators accept it". Empty if
/// they agree.
std::string disagreementOf(PathVerdict const& verdict);

/// "label: value, label: value", printable.
std::string factsOf(std::vector<Fact> const& facts);

/// What the user trusts, by which rules chains are judged, and how verdicts are shown.
#pragma once

#include "io/command_line.h"
#include "io/complaint.h"

#include "sealkit/search.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What is trusted, when, and by which rules, as the command line says.
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

    /// The files that it names, after `others`.
    std::vector<std::string_view> inputsWith(std::vector<std::string_view> others) const;

    /// Sets time, CRLs and rules in `*to`. False, and what is wrong in `*complaint`, if one of them cannot be
    /// understood.
    bool read(PathOptions* to, Complaint* complaint) const;
};

/// For which rules certificates and CRLs are read.
FormRules formsFor(PathOptions const& options);

/// What is trusted, and CRLs, whose signatures a search verifies.
struct Trust {
    CertificateMemoryStore store;
    std::map<std::shared_ptr<X509Crl>, std::string> crlFiles; ///< The files of the user's own CRLs.
};

/// Loads what the options name. False, and why in `*complaint`, if some of it cannot be used.
bool loadTrust(TrustOptions const& options, FormRules forms, Trust* trust, Complaint* complaint);

/// What is to be said of CRLs that do not count, printable.
struct CrlNotes {
    std::vector<std::string> ignored; ///< Which, and why.
    Complaint forged;                 ///< The first of the user's own whose signature does not verify.
};
CrlNotes notesOn(Trust const& trust, std::vector<CrlVerdict> const& crls);

/// The same, as notes of the verdict. False, and which in `*complaint`, if the signature of one of the user's
/// own does not verify.
bool reportCrls(Trust const& trust, std::vector<CrlVerdict> const& crls, std::vector<std::string>* notes,
                Complaint* complaint);

/// Where the sets of rules disagree: "this system accepts it" or "other validators accept it". Empty where
/// they agree.
std::string disagreementOf(PathVerdict const& verdict);

/// "label: value, label: value", printable.
std::string factsOf(std::vector<Fact> const& facts);

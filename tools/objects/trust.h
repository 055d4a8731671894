/// What the user trusts, and how verdicts under it are shown.
#pragma once

#include "io/command_line.h"

#include "sealkit/search.h"

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What is trusted, and when, as the command line says.
struct TrustOptions {
    std::string at;
    std::vector<std::string> authorities;
    std::optional<uint32_t> cermUsage;
    std::vector<std::string> crlFiles;
    bool checkCrls = false;

    /// Declares --at, --ca, --cerm, --crl and --check-crls.
    void declare(CommandLine& commandLine);

    bool wantsCrls() const { return checkCrls || !crlFiles.empty(); }

    /// The files that it names, behind `others`.
    std::vector<std::string_view> inputsWith(std::vector<std::string_view> others) const;
};

/// The time of --at, or the present. Nothing, and what is wrong in `*complaint`, for what is no time.
std::optional<TimePoint> readTime(TrustOptions const& options, std::string* complaint);

/// What is trusted, and CRLs, whose signatures a search verifies.
struct Trust {
    CertificateMemoryStore store;
    std::map<std::shared_ptr<X509Crl>, std::string> crlFiles; ///< The files of the user's own CRLs.
};

/// Loads what the options name. Complains; `*status` is the exit status then.
bool loadTrust(TrustOptions const& options, Trust* trust, int* status);

/// Says which CRLs do not count, and why: one of a foreign issuer in a line of its own, one that somebody else signed as
/// a note of the verdict. False, after a complaint, if the signature of one of the user's own does not verify.
bool reportCrls(Trust const& trust, std::vector<CrlVerdict> const& crls, std::vector<std::string>* notes);

/// "label: value, label: value", printable.
std::string factsOf(std::vector<Fact> const& facts);
nlohmann::json toJson(std::vector<Fact> const& facts);

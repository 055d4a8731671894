/// What the user trusts, and the verdict on a certificate under it.
#pragma once

#include "io/command_line.h"

#include "sealkit/path.h"

#include <nlohmann/json_fwd.hpp>

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

/// What is trusted, with the lists that count: those of the certificate manager, and the user's own, each checked
/// against its issuer, who is trusted or among `given`. Complains; `*status` is the exit status then.
bool loadTrusted(TrustOptions const& options, CertificateChain const& given, CertificateMemoryStore* trusted,
                 int* status);

/// A verdict on one of the possible chains.
struct Verdict {
    CertificateChain chain;
    PathExplanation explanation;
    std::vector<PathWarning> warnings;
    std::vector<std::string> notes;
};

/// Validates the chains that lead from `leaf` up through what was given and what is trusted, likeliest first.
/// The first valid one counts; if none is, the first that leads to something trusted, and if none does, the
/// first.
Verdict judge(std::shared_ptr<X509Certificate> const& leaf, CertificateChain const& given,
              CertificateMemoryStore const& trusted, PathOptions const& question);

/// The verdict in a sentence.
std::string reasonOf(PathExplanation const& explanation);

/// "label: value, label: value", printable.
std::string factsOf(std::vector<Fact> const& facts);
nlohmann::json toJson(std::vector<Fact> const& facts);

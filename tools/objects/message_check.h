/// Verdicts on signed messages, as the program reports them.
#pragma once

#include "objects/message.h"

#include "sealkit/message_check.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <vector>

/// The verdict on a message, with what the program adds to it.
struct MessageReport {
    MessageVerdict verdict;
    std::string failure;            ///< Why the message fails, printable; empty when it does not.
    std::vector<std::string> notes; ///< Printable.

    explicit MessageReport(MessageVerdict found);

    /// Puts a failure of the program's own into the report, unless there is one.
    void fail(std::string const& why);
    /// Whether a limit kept the message from being checked.
    bool isTooLarge() const;
};

/// Reads further certificates, from which signers and their issuers may be taken. Complains and gives nothing
/// when one of them cannot be read. An empty path stands for none.
std::optional<CertificateChain> readFurtherCertificates(std::string const& path,
                                                        FormRules forms = FormRules::platform);

/// Appends the certificates that the message does not have.
void addCertificates(PKCS7SignedData& message, CertificateChain const& certificates);

/// Writes a line for each signer to `out`, `further` lines, then "OK" or "FAILED: reason". Warnings and notes
/// go to standard error.
void printReport(MessageReport const& report, std::vector<std::string> const& further, std::ostream& out);

/// The same as members of `to`.
void addReport(MessageReport const& report, nlohmann::ordered_json& to);

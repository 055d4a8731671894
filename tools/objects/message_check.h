/// Reports the verdicts on signed messages.
#pragma once

#include "objects/message.h"

#include "sealkit/message_check.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <vector>

/// The verdict on a message, with the program's additions.
struct MessageReport {
    MessageVerdict verdict;
    std::string failure;            ///< Why the message fails, printable; empty if it is good.
    std::vector<std::string> notes; ///< Printable.

    explicit MessageReport(MessageVerdict found);

    /// Adds a failure that the program itself found, unless the report has one already.
    void fail(std::string const& why);
    /// Whether a limit prevented the check.
    bool isTooLarge() const;
};

/// Reads further certificates for signers and their issuers. Complains and returns nothing if one of them is
/// unreadable. An empty path means no certificates.
std::optional<CertificateChain> readFurtherCertificates(std::string const& path,
                                                        FormRules forms = FormRules::platform);

/// Appends the certificates that the message lacks.
void addCertificates(PKCS7SignedData& message, CertificateChain const& certificates);

/// Writes a line for each signer to `out`, then the lines `further`, then "OK" or "FAILED: reason". Warnings
/// and notes go to standard error.
void printReport(MessageReport const& report, std::vector<std::string> const& further, std::ostream& out);

/// Adds the same members to `to`.
void addReport(MessageReport const& report, nlohmann::ordered_json& to);

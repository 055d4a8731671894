/// Reads what is revoked, and why, from options. These functions complain and return nothing on failure.
#pragma once

#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A certificate to be revoked or released.
struct RevocationTarget {
    std::vector<unsigned char> serialNumber;
    std::shared_ptr<X509Certificate> certificate; ///< Null if only the serial number was given.
};

/// Reads a serial number in hexadecimal, or the file of a certificate. If `issuer` is not empty, it must be
/// the certificate's issuer.
std::optional<RevocationTarget> readRevocationTarget(std::string const& what, asn1::blob issuer, int* status);

/// The code of a reason.
std::optional<unsigned char> readReason(std::string const& name);

inline constexpr char reasonsHelp[] =
    "Reasons: keyCompromise, caCompromise, affiliationChanged, superseded, cessationOfOperation,\n"
    "certificateHold, privilegeWithdrawn, aaCompromise, unspecified.";
inline constexpr unsigned char certificateHold = 6;
inline constexpr unsigned char noReason = 255;

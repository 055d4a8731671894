/// What is revoked, and why, as people write it. Both functions complain and return nothing if they cannot
/// understand it.
#pragma once

#include "sealkit/x509.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What is to be revoked, or no longer.
struct RevocationTarget {
    std::vector<unsigned char> serialNumber;
    std::shared_ptr<X509Certificate> certificate; ///< Null where the serial number alone was given.
};

/// Reads a serial number in hexadecimal, or the file of a certificate. Where `issuer` is not empty, the
/// certificate must be that issuer's.
std::optional<RevocationTarget> readRevocationTarget(std::string const& what, asn1::blob issuer, int* status);

/// The code of a reason.
std::optional<unsigned char> readReason(std::string const& name);

inline constexpr char reasonsHelp[] =
    "Reasons: keyCompromise, caCompromise, affiliationChanged, superseded, cessationOfOperation,\n"
    "certificateHold, privilegeWithdrawn, aaCompromise, unspecified.";
inline constexpr unsigned char certificateHold = 6;
inline constexpr unsigned char noReason = 255;

/// What is revoked, and why, as people write it. Both functions complain and return nothing if they cannot
/// understand it.
#pragma once

#include "sealkit/blob.h"

#include <optional>
#include <string>
#include <vector>

/// The serial number of a certificate that is given as such, in hexadecimal, or by its file. Where `issuer`
/// is not empty, the certificate must be that issuer's.
std::optional<std::vector<unsigned char>> readRevoked(std::string const& what, asn1::blob issuer,
                                                      int* status);

/// The code of a reason.
std::optional<unsigned char> readReason(std::string const& name);

inline constexpr char reasonsHelp[] =
    "Reasons: keyCompromise, caCompromise, affiliationChanged, superseded, cessationOfOperation,\n"
    "certificateHold, privilegeWithdrawn, aaCompromise, unspecified.";
inline constexpr unsigned char certificateHold = 6;
inline constexpr unsigned char noReason = 255;

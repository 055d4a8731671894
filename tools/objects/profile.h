/// Profiles: the purposes of a certificate, which has one or several.
#pragma once

#include "sealkit/keys.h"
#include "sealkit/x509.h"

#include <optional>
#include <string>
#include <vector>

/// The combined usages of profiles.
struct Usages {
    unsigned keyUsage = 0;
    unsigned rsaKeyUsage = 0; ///< Additional usages for keys that can encrypt.
    unsigned extKeyUsage = 0;
    bool isCa = false;
    bool isForTimeStamps = false; ///< For no other purpose, and the extended key usage is critical.
    bool isForOcsp = false;       ///< Revocation of the responder's own certificate is not checked.
    unsigned days = 0;            ///< The default validity.
};

/// The usages of the profiles with these names. Complains and returns nothing if one is unknown or they
/// exclude each other.
std::optional<Usages> readProfiles(std::vector<std::string> const& names);

/// Sets key usage, extended key usage and basic constraints. `others` are further extended key usages, as
/// content octets of object identifiers. Complains and returns false if the public key is unknown or
/// unsuitable for a CA.
bool setUsages(X509Certificate& certificate, Usages const& usages,
               std::vector<std::vector<unsigned char>> const& others);

inline constexpr char profileHelp[] = "server, client, tls\n"
                                      "(both), email, code-signing, time-stamping, ocsp or ca;\n"
                                      "may be given more than once";
inline constexpr char profileFooter[] = "Several profiles are combined. With ca, the others limit what the "
                                        "CA may issue for;\n"
                                        "time-stamping cannot be combined (RFC 3161).";

/// What a certificate is for: profiles, of which a certificate has one or several.
#pragma once

#include "sealkit/keys.h"
#include "sealkit/x509.h"

#include <optional>
#include <string>
#include <vector>

/// The usages that profiles stand for, together.
struct Usages {
    unsigned keyUsage = 0;
    unsigned rsaKeyUsage = 0; ///< Beside it, for keys that can encrypt.
    unsigned extKeyUsage = 0;
    bool isCa = false;
    bool isForTimeStamps = false; ///< And for nothing else: the extended key usage is critical.
    bool isForOcsp = false;       ///< The responder's own certificate is not looked up.
    unsigned days = 0;            ///< How long it is valid if nobody says.
};

/// The usages of the profiles of these names. Complains and gives nothing if one is unknown, or if they
/// exclude each other.
std::optional<Usages> readProfiles(std::vector<std::string> const& names);

/// Sets key usage, extended key usage and basic constraints. `others` are further extended key usages,
/// content octets of object identifiers. False, with a complaint, if the public key is unknown or no key of a
/// CA.
bool setUsages(X509Certificate& certificate, Usages const& usages,
               std::vector<std::vector<unsigned char>> const& others);

inline constexpr char profileHelp[] = "server, client, tls\n"
                                      "(both), email, code-signing, time-stamping, ocsp or ca;\n"
                                      "may be given more than once";
inline constexpr char profileFooter[] = "Several profiles make one certificate for all of it. Beside ca the "
                                        "others say what the CA may issue\n"
                                        "for; time-stamping stands alone (RFC 3161).";

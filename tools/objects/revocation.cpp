#include "objects/revocation.h"

#include "io/exit_status.h"
#include "objects/input_objects.h"
#include "objects/serial_number.h"

#include "sealkit/crl.h"

#include <unistd.h>

std::optional<RevocationTarget> readRevocationTarget(std::string const& what, asn1::blob issuer,
                                                     int* status) {
    *status = exitWrongUsage;
    bool const isFile = what == "-" || access(what.c_str(), R_OK) == 0;
    if (auto const number = parseSerialNumber(what)) {
        if (!isFile)
            return RevocationTarget{*number, nullptr};
        wrongUsage("\"" + what + "\" may be a serial number or a file: write 0x" + what + " or ./" + what);
        return std::nullopt;
    }
    if (!isFile) {
        wrongUsage("\"" + what + "\" is neither a serial number in hexadecimal nor a certificate file");
        return std::nullopt;
    }
    *status = exitBadInput;
    auto const certificate = readCertificate(what, FormRules::standard);
    if (!certificate)
        return std::nullopt;
    if (!issuer.empty() && certificate->issuerBytes() != issuer) {
        badInput(what + ": was issued by another CA");
        return std::nullopt;
    }
    return RevocationTarget{certificate->serialNumber, std::make_shared<X509Certificate>(*certificate)};
}

std::optional<unsigned char> readReason(std::string const& name) {
    constexpr unsigned char removeFromCrl = 8; // Only for delta CRLs, which the program does not make.
    auto const code = parseCrlReason(name);
    if (code && code != removeFromCrl)
        return code;
    wrongUsage(
        "\"" + name +
        "\" is not a reason; the choices are keyCompromise, caCompromise, affiliationChanged, superseded, "
        "cessationOfOperation, certificateHold, privilegeWithdrawn, aaCompromise, unspecified");
    return std::nullopt;
}

#include "objects/ca_certificate.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "objects/input_objects.h"

std::optional<X509Certificate> readAuthority(std::string const& path, Signer const& signer, unsigned usage) {
    auto certificate = readCertificate(path, FormRules::standard);
    if (!certificate)
        return std::nullopt;
    if (!isOwnKey(path, *certificate, *signer.key))
        return std::nullopt;
    char const* problem = nullptr;
    if (certificate->basicConstraints != 1)
        problem = "is not the certificate of a CA: its basic constraints do not say so";
    else if (certificate->keyUsage != 0 && (certificate->keyUsage & usage) == 0)
        problem = usage == KeyUsage::crlSign ? "its key usage does not allow signing CRLs"
                                             : "its key usage does not allow signing certificates";
    if (problem != nullptr) {
        badInput(path + ": " + problem);
        return std::nullopt;
    }
    return certificate;
}

bool isOwnKey(std::string const& path, X509Certificate const& certificate, PrivateKey const& key) {
    auto const own = certificate.parsePublicKey(nullptr);
    if (own && own->equals(key))
        return true;
    badInput(path + ": the key is not that of this certificate");
    return false;
}

bool isFitNow(std::string const& path, X509Certificate const& certificate, unsigned usages, char const* use) {
    TimePoint const now = currentTime();
    std::string problem;
    if (now < certificate.notBefore)
        problem = "is not valid before " + formatTime(certificate.notBefore);
    else if (now > certificate.notAfter)
        problem = "ended at " + formatTime(certificate.notAfter);
    else if (certificate.keyUsage != 0 && (certificate.keyUsage & usages) == 0)
        problem = std::string("its key usage does not allow ") + use;
    else
        return true;
    badInput(path + ": " + problem);
    return false;
}

#include "objects/profile.h"

#include "io/exit_status.h"

#include "sealkit/extend.h"

#include <kp/text.h>

#include <algorithm>

namespace {

/// The usages are those of RFC 5280, section 4.2.1.12.
struct Profile {
    std::string_view name;
    unsigned keyUsage;
    unsigned rsaKeyUsage;
    unsigned extKeyUsage;
};

constexpr unsigned signing = KeyUsage::digitalSignature;
constexpr unsigned encrypting = KeyUsage::keyEncipherment;

constexpr Profile profiles[] = {
    {"server", signing, encrypting, ExtKeyUsage::tlsServer},
    {"client", signing, 0, ExtKeyUsage::tlsClient},
    {"tls", signing, encrypting, ExtKeyUsage::tlsServer | ExtKeyUsage::tlsClient},
    {"email", signing, encrypting, ExtKeyUsage::emailProtection},
    {"code-signing", signing, 0, ExtKeyUsage::codeSigning},
    {"code", signing, 0, ExtKeyUsage::codeSigning},
    {"time-stamping", signing, 0, ExtKeyUsage::timeStamping},
    {"ocsp", signing, 0, ExtKeyUsage::ocspSigning},
    {"ca", KeyUsage::keyCertSign | KeyUsage::crlSign, 0, 0},
};

constexpr unsigned defaultDays = 365;
constexpr unsigned defaultCaDays = 3650;

} // namespace

std::optional<Usages> readProfiles(std::vector<std::string> const& names) {
    Usages usages;
    for (std::string const& name : names) {
        auto const profile = std::ranges::find(profiles, str2lower(name), &Profile::name);
        if (profile == std::end(profiles)) {
            wrongUsage("\"" + name +
                       "\" is not a profile; the choices are server, client, tls, email, code-signing, "
                       "time-stamping, "
                       "ocsp and ca");
            return std::nullopt;
        }
        usages.keyUsage |= profile->keyUsage;
        usages.rsaKeyUsage |= profile->rsaKeyUsage;
        usages.extKeyUsage |= profile->extKeyUsage;
    }
    constexpr unsigned issuing = KeyUsage::keyCertSign | KeyUsage::crlSign;
    usages.isCa = (usages.keyUsage & KeyUsage::keyCertSign) != 0;
    usages.days = usages.isCa ? defaultCaDays : defaultDays;
    if (usages.isCa) { // A CA key signs certificates and CRLs for every purpose.
        usages.keyUsage = issuing;
        usages.rsaKeyUsage = 0;
        return usages;
    }
    usages.isForTimeStamps = (usages.extKeyUsage & ExtKeyUsage::timeStamping) != 0;
    usages.isForOcsp = (usages.extKeyUsage & ExtKeyUsage::ocspSigning) != 0;
    if (usages.isForTimeStamps && usages.extKeyUsage != ExtKeyUsage::timeStamping) {
        wrongUsage("a certificate for time-stamping must not have another purpose (RFC 3161, section 2.3)");
        return std::nullopt;
    }
    return usages;
}

bool setUsages(X509Certificate& certificate, Usages const& usages,
               std::vector<std::vector<unsigned char>> const& others) {
    auto const key = certificate.parsePublicKey(nullptr);
    if (!key) {
        badInput("the public key is of an unknown kind");
        return false;
    }
    if (usages.isCa && key->keyType() == KeyType::X25519) {
        badInput("an X25519 key cannot sign, so it cannot be the key of a CA");
        return false;
    }
    certificate.keyUsage = key->keyType() == KeyType::X25519 ? KeyUsage::keyAgreement : usages.keyUsage;
    if (key->keyType() == KeyType::RSA)
        certificate.keyUsage |= usages.rsaKeyUsage;
    // Mail is encrypted to EC keys by key agreement (RFC 5753, section 3).
    bool const isForMail = (usages.extKeyUsage & ExtKeyUsage::emailProtection) != 0;
    if (key->keyType() == KeyType::EC && isForMail)
        certificate.keyUsage |= KeyUsage::keyAgreement;
    setExtendedKeyUsage(certificate, usages.extKeyUsage, others, usages.isForTimeStamps);
    setOcspNoCheck(certificate, usages.isForOcsp);
    certificate.basicConstraints = usages.isCa ? 1 : 2;
    return true;
}

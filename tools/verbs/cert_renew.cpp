#include "verbs/cert.h"

#include "io/clock.h"
#include "io/exit_status.h"
#include "objects/ca_certificate.h"
#include "objects/certificate_contents.h"
#include "objects/input_objects.h"
#include "objects/issuing.h"
#include "objects/key_file.h"
#include "objects/register.h"

#include "sealkit/extend.h"
#include "sealkit/pkcs8.h"

#include <kp/text.h>

namespace {

struct RenewOptions {
    IssuerOptions issuer;
    ValidityOptions validity;
    std::string old;
    std::string oldAuthority;
    std::string publicKey;
    std::string request;
    std::string serialNumber;
};

/// Checks that the CA issued the certificate to be renewed; otherwise a forged one would become genuine.
/// Complains on failure.
int checkOld(X509Certificate const& old, Issuer const& issuer, RenewOptions const& options) {
    X509Certificate const* signedBy = issuer.authority ? issuer.authority.get() : &old;
    std::optional<X509Certificate> named;
    if (!options.oldAuthority.empty()) {
        named = readCertificate(options.oldAuthority, FormRules::standard);
        if (!named)
            return exitBadInput;
        signedBy = &*named;
    }
    auto const key = signedBy->parsePublicKey(nullptr);
    if (old.issuerBytes() == signedBy->subjectBytes() && key && old.verify(*key))
        return exitDone;
    return answerNo(options.old + (issuer.authority
                                       ? ": was not issued by this CA, or under another key (--old-ca)"
                                       : ": did not sign itself: give --ca"));
}

/// A revoked certificate must not be renewed.
int checkRegister(X509Certificate const& old, RenewOptions const& options) {
    if (options.issuer.registerFolder.empty())
        return exitDone;
    auto const issued = Register::open(options.issuer.registerFolder, Register::Missing::create);
    if (!issued)
        return exitBadInput;
    if (!issued->has(old.serialNumber))
        return exitDone;
    auto const entry = issued->read(old.serialNumber);
    if (!entry)
        return exitBadInput;
    return entry->revocation ? answerNo(options.old + ": is revoked") : exitDone;
}

/// The key of the new certificate, as a SubjectPublicKeyInfo: the old one, unless the options give another.
std::vector<unsigned char> chooseKey(X509Certificate const& old, Issuer const& issuer,
                                     RenewOptions const& options, int* status) {
    if (!issuer.authority)
        return encodePkcs8PublicKey(*issuer.signer.key);
    if (!options.request.empty()) {
        auto const request = readVerifiedRequest(options.request, status);
        return request ? request->subjectPublicKeyInfo : std::vector<unsigned char>();
    }
    if (options.publicKey.empty())
        return old.subjectPublicKeyInfo;
    auto const key = readSubjectKey(options.publicKey, status);
    return key ? encodePkcs8PublicKey(*key) : std::vector<unsigned char>();
}

/// Sets the public key and the key identifiers of the subject and the issuer.
void setKeys(X509Certificate& certificate, std::vector<unsigned char> keyInfo, Issuer const& issuer) {
    bool const isNewKey = keyInfo != certificate.subjectPublicKeyInfo;
    certificate.subjectPublicKeyInfo = std::move(keyInfo);
    if (isNewKey && !certificate.subjectKeyId.empty())
        certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    if (issuer.authority) {
        certificate.setIssuer(issuer.authority->subjectBytes());
        certificate.authorityKeyId = issuer.authority->subjectKeyId;
    } else if (!certificate.authorityKeyId.empty()) {
        certificate.authorityKeyId = certificate.subjectKeyId;
    }
}

int renew(RenewOptions const& options) {
    if (standardInputTwice({options.issuer.signer.key, options.issuer.signer.password.file,
                            options.issuer.authority, options.issuer.chain, options.old, options.oldAuthority,
                            options.publicKey, options.request}))
        return exitWrongUsage;
    int status = exitDone;
    auto const issuer = readIssuer(options.issuer, &status);
    if (!issuer)
        return status;
    auto certificate = readCertificate(options.old, FormRules::standard);
    if (!certificate)
        return exitBadInput;
    if (status = checkOld(*certificate, *issuer, options); status != exitDone)
        return status;
    if (status = checkRegister(*certificate, options); status != exitDone)
        return status;
    status = exitBadInput;
    std::vector<unsigned char> keyInfo = chooseKey(*certificate, *issuer, options, &status);
    if (keyInfo.empty())
        return status;
    setKeys(*certificate, std::move(keyInfo), *issuer);

    bool const hasEnd = certificate->notAfter.seconds != TimePoint::noExpiration;
    if (!hasEnd && !options.validity.days && options.validity.to.empty())
        return wrongUsage(options.old + ": has no expiration: give the new validity with --days or --to");
    auto const validity = options.validity.read(
        hasEnd ? certificate->notAfter.seconds - certificate->notBefore.seconds + 1 : secondsOfDay);
    auto const serialNumber = readNewSerialNumber(options.serialNumber);
    if (!validity || !serialNumber)
        return exitWrongUsage;
    validity->apply(*certificate, issuer->authority.get());
    certificate->serialNumber = *serialNumber;
    dropTimestamps(*certificate);
    return issueCertificate(*certificate, *issuer, options.issuer);
}

} // namespace

Work setUpCertRenew(CommandLine commandLine) {
    auto options = std::make_shared<RenewOptions>();
    commandLine.text("OLD", options->old, "the certificate that is renewed, PEM or DER").required();
    Parameter const authority = commandLine
                                    .text("--ca", options->issuer.authority,
                                          "the certificate of the CA; without it OLD is self-signed")
                                    .valueName("FILE");
    commandLine
        .text("--old-ca", options->oldAuthority,
              "the certificate of the CA that issued OLD, if that had\nanother key")
        .valueName("FILE")
        .needs(authority);
    options->issuer.declareChain(commandLine);
    addSignerOptions(commandLine, options->issuer.signer, "-k,--key|--ca-key",
                     "the private key of the CA; for a self-signed OLD its own key, or a new one");
    Parameter const request =
        commandLine.text("--request", options->request, "take the new key of this request")
            .valueName("FILE")
            .needs(authority);
    commandLine.text("--public-key", options->publicKey, "take this new key")
        .valueName("FILE")
        .needs(authority)
        .excludes(request);
    options->validity.declare(commandLine, "how many days it is valid; by default as long as OLD");
    commandLine.text("--serial", options->serialNumber, serialNumberHelp).valueName("HEX");
    options->issuer.declareOutput(commandLine);
    commandLine.footer(
        "The new certificate has the names and the extensions of OLD, new dates and a new serial\n"
        "number. OLD may have expired, but the CA must have issued it. Signed certificate\n"
        "timestamps are left out, because they are only valid for OLD.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o ca.key\n"
        "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem\n"
        "  sealkit cert renew -k ca.key --days 7300 -o renewed.pem ca.pem");
    return [options] { return renew(*options); };
}

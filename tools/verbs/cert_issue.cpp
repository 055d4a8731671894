#include "verbs/cert.h"

#include "io/exit_status.h"
#include "io/terminal.h"
#include "objects/certificate_contents.h"
#include "objects/input_objects.h"
#include "objects/issuing.h"
#include "objects/names.h"
#include "objects/profile.h"

#include "sealkit/name_text.h"
#include "sealkit/pkcs8.h"

#include <algorithm>

namespace {

struct CertificateOptions {
    IssuerOptions issuer;
    ValidityOptions validity;
    ContentOptions contents;
    std::string subject;
    std::vector<std::string> profiles;
    std::string serialNumber;
};

struct IssueOptions : CertificateOptions {
    std::string subjectTemplate;
    std::string request;
    std::string publicKey;
    bool acceptNames = false;
};

bool hasSubject(X509Certificate const& certificate) {
    return !certificate.subject.empty() || !certificate.subject.other.empty();
}

/// Sets subject, serial number, dates and extensions. `*status` is the exit status of a failure.
bool setFields(X509Certificate& certificate, CertificateOptions const& options, Usages const& usages,
               X509Certificate const* authority, int* status) {
    *status = exitWrongUsage;
    if (!options.subject.empty()) {
        auto const name = readSubject(options.subject);
        if (!name)
            return false;
        certificate.setSubject(*name);
    }
    auto const serialNumber = readNewSerialNumber(options.serialNumber);
    if (!serialNumber)
        return false;
    certificate.serialNumber = *serialNumber;
    if (!options.contents.apply(certificate, usages.isCa))
        return false;
    auto const extendedUsages = options.contents.readExtendedUsages();
    if (!extendedUsages)
        return false;
    if (!hasSubject(certificate) && certificate.subjectAltNames.empty()) {
        wrongUsage("the certificate would have no name: give --subject or --san");
        return false;
    }
    auto const validity = options.validity.read(usages.days * secondsOfDay);
    if (!validity)
        return false;
    validity->apply(certificate, authority);
    *status = exitBadInput;
    certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    return setUsages(certificate, usages, *extendedUsages);
}

int selfSign(CertificateOptions const& options) {
    auto const usages = readProfiles(options.profiles);
    if (!usages)
        return exitWrongUsage;
    int status = exitDone;
    auto const issuer = readIssuer(options.issuer, &status);
    if (!issuer)
        return status;
    X509Certificate certificate;
    certificate.setPublicKey(*issuer->signer.key);
    if (!setFields(certificate, options, *usages, nullptr, &status))
        return status;
    if (!hasSubject(certificate))
        return wrongUsage("an issuer has a name: give --subject");
    certificate.setIssuer(parseNameText(options.subject));
    return issueCertificate(certificate, *issuer, options.issuer);
}

/// Shortens a text of any length to a line for people.
std::string shortened(std::string const& text) {
    constexpr size_t maxSize = 100;
    std::string const shown = terminal::printable(text.substr(0, maxSize));
    return text.size() <= maxSize ? shown : shown + "...";
}

std::string listNames(std::vector<GeneralName> const& names) {
    constexpr size_t maxNames = 10;
    std::string list;
    for (size_t i = 0; i < std::min(names.size(), maxNames); i++)
        list += (list.empty() ? "" : ", ") + names[i].typeStr() + ":" + shortened(names[i].dataStr());
    return names.size() <= maxNames ? list
                                    : list + " and " + std::to_string(names.size() - maxNames) + " more";
}

/// Takes the subject of the request, or fills the template in from it. It must display as it is encoded.
bool takeSubject(X509Certificate& certificate, X509Req const& request, IssueOptions const& options,
                 int* status) {
    constexpr size_t maxSubject = 4096;
    if (!options.subject.empty())
        return true;
    asn1::blob const subject = request.subjectBytes();
    if (subject.size() > maxSubject || !isPlainName(subject)) {
        badInput(options.request + ": its subject " +
                 (subject.size() > maxSubject ? "is too long" : "is not plain text") +
                 ": give another one with --subject");
        return false;
    }
    if (!options.subjectTemplate.empty()) {
        auto const name = readSubjectTemplate(options.subjectTemplate, subject);
        if (!name) {
            *status = exitWrongUsage;
            return false;
        }
        certificate.setSubject(*name);
        note("the subject is " + shortened(nameText(*name)));
        return true;
    }
    certificate.setSubject(subject);
    note("the subject is the request's: " + shortened(certificate.subject.str()));
    return true;
}

/// Takes the request's alternative names if the options accept them.
bool takeNames(X509Certificate& certificate, X509Req const& request, IssueOptions const& options) {
    if (request.subjectAltNames.empty())
        return true;
    std::string const names = listNames(request.subjectAltNames);
    if (!options.acceptNames) {
        note("the request also asks for the names " + names + ": not taken without --accept-names");
        return true;
    }
    for (GeneralName const& name : request.subjectAltNames) {
        if (isPlainName(name))
            continue;
        badInput(options.request + ": asks for a name that is not a host, address, mailbox or URI: " +
                 name.typeStr() + ":" + shortened(name.dataStr()));
        return false;
    }
    certificate.subjectAltNames = request.subjectAltNames;
    note("names of the request: " + names);
    return true;
}

/// Takes the key, the subject and, if the options ask for them, the names of the request.
bool takeRequest(X509Certificate& certificate, IssueOptions const& options, int* status) {
    *status = exitBadInput;
    auto const request = readVerifiedRequest(options.request, status);
    if (!request)
        return false;
    certificate.subjectPublicKeyInfo = request->subjectPublicKeyInfo;
    return takeSubject(certificate, *request, options, status) && takeNames(certificate, *request, options);
}

int issue(IssueOptions const& options) {
    auto const usages = readProfiles(options.profiles);
    if (!usages)
        return exitWrongUsage;
    if (options.request.empty() == options.publicKey.empty())
        return wrongUsage("give a request, or --public-key and --subject");
    if (standardInputTwice({options.issuer.signer.key, options.issuer.signer.password.file,
                            options.issuer.authority, options.issuer.chain, options.request,
                            options.publicKey}))
        return exitWrongUsage;
    int status = exitDone;
    auto const issuer = readIssuer(options.issuer, &status);
    if (!issuer)
        return status;

    X509Certificate certificate;
    if (!options.request.empty()) {
        if (!takeRequest(certificate, options, &status))
            return status;
    } else {
        if (options.acceptNames || !options.subjectTemplate.empty())
            return wrongUsage(std::string(options.acceptNames ? "--accept-names" : "--subject-template") +
                              " is for requests");
        auto const key = readSubjectKey(options.publicKey, &status);
        if (!key)
            return status;
        certificate.setPublicKey(*key);
    }
    if (!setFields(certificate, options, *usages, issuer->authority.get(), &status))
        return status;
    certificate.setIssuer(issuer->authority->subjectBytes());
    certificate.authorityKeyId = issuer->authority->subjectKeyId;
    return issueCertificate(certificate, *issuer, options.issuer);
}

/// Declares the option for the subject.
Parameter addSubject(CommandLine& commandLine, CertificateOptions& options) {
    return commandLine
        .text("--subject", options.subject, "\"/C=UY/O=Acme/CN=name\" or \"C=UY, O=Acme, CN=name\"")
        .valueName("NAME");
}

void addOptions(CommandLine& commandLine, CertificateOptions& options) {
    options.validity.declare(commandLine, "how many days it is valid; by default 365, for a CA 3650");
    commandLine.text("--serial", options.serialNumber, serialNumberHelp).valueName("HEX");
    options.contents.declare(commandLine);
    options.issuer.declareOutput(commandLine);
}

} // namespace

Work setUpCertSelfSign(CommandLine commandLine) {
    auto options = std::make_shared<CertificateOptions>();
    addSignerOptions(commandLine, options->issuer.signer, "-k,--key", "the private key, PEM or DER");
    commandLine
        .texts("--profile", options->profiles,
               "what the certificate is for: " + std::string(profileHelp) + ";\nby default ca")
        .valueName("PROFILE");
    addSubject(commandLine, *options);
    addOptions(commandLine, *options);
    commandLine.footer(std::string(profileFooter) +
                       "\n\nExamples:\n"
                       "  sealkit key new p256 -o ca.key\n"
                       "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem");
    return [options] {
        if (options->profiles.empty())
            options->profiles = {"ca"};
        return selfSign(*options);
    };
}

Work setUpCertIssue(CommandLine commandLine) {
    auto options = std::make_shared<IssueOptions>();
    commandLine.text("REQUEST", options->request, "the request, PEM or DER; - is standard input");
    commandLine.text("--public-key", options->publicKey, "a public key instead of a request")
        .valueName("FILE");
    commandLine.text("--ca", options->issuer.authority, "the certificate of the CA, PEM or DER")
        .valueName("FILE")
        .required();
    options->issuer.declareChain(commandLine);
    addSignerOptions(commandLine, options->issuer.signer, "-k,--key|--ca-key", "the private key of the CA");
    commandLine
        .texts("--profile", options->profiles, "what the certificate is for: " + std::string(profileHelp))
        .valueName("PROFILE")
        .required();
    Parameter const subject = addSubject(commandLine, *options);
    commandLine
        .text("--subject-template", options->subjectTemplate,
              "a subject in which {ATTRIBUTE} is that of the request's\nsubject: \"O=Acme, CN={CN}\"")
        .valueName("NAME")
        .excludes(subject);
    commandLine.flag("--accept-names", options->acceptNames,
                     "take the alternative names that the request asks for");
    addOptions(commandLine, *options);
    commandLine.footer(
        "Only the key and the subject of a request are used, and its alternative names with\n"
        "--accept-names; the CA decides what the certificate may be used for. A certificate is\n"
        "not issued (status 1) if the request's own signature does not verify, or if the standard\n"
        "rules would refuse the certificate under its CA: names outside the constraints, usages\n"
        "that the CA may not grant, a validity beyond that of the CA. " +
        std::string(profileFooter) +
        "\n\nExamples:\n"
        "  sealkit key new p256 -o ca.key\n"
        "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem\n"
        "  sealkit key new p256 -o host.key\n"
        "  sealkit req new -k host.key --subject \"/CN=host.example\" --san DNS:host.example -o host.csr\n"
        "  sealkit cert issue --ca ca.pem -k ca.key --profile server --accept-names -o host.pem host.csr\n"
        "  sealkit verify --ca ca.pem --host host.example host.pem");
    return [options] { return issue(*options); };
}

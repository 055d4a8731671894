#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/input_objects.h"
#include "objects/names.h"
#include "objects/object_output.h"
#include "objects/serial_number.h"
#include "objects/signer.h"
#include "verbs/verb.h"

#include "sealkit/asn1.h"
#include "sealkit/name_text.h"
#include "sealkit/pkcs8.h"
#include "sealkit/signature.h"

#include <kp/text.h>

#include <algorithm>

namespace {

constexpr std::int64_t secondsOfDay = 86400;

/// What a certificate is for. Usages are those of RFC 5280, section 4.2.1.12.
struct Profile {
    std::string_view name;
    unsigned keyUsage;
    unsigned rsaKeyUsage; ///< Beside it, for keys that can encrypt.
    unsigned extKeyUsage;
    unsigned days;
};

constexpr Profile profiles[] = {
    {"server", KeyUsage::digitalSignature, KeyUsage::keyEncipherment, ExtKeyUsage::tlsServer, 365},
    {"client", KeyUsage::digitalSignature, 0, ExtKeyUsage::tlsClient, 365},
    {"email", KeyUsage::digitalSignature, KeyUsage::keyEncipherment, ExtKeyUsage::emailProtection, 365},
    {"code", KeyUsage::digitalSignature, 0, ExtKeyUsage::codeSigning, 365},
    {"ca", KeyUsage::keyCertSign | KeyUsage::crlSign, 0, 0, 3650},
};

bool isAuthority(Profile const& profile) { return (profile.keyUsage & KeyUsage::keyCertSign) != 0; }

struct Options {
    SignerOptions signer;
    ObjectOutput output;
    std::string subject;
    std::string profile;
    std::vector<std::string> alternativeNames;
    std::vector<std::string> crlAddresses;
    std::string permittedDomain, excludedDomain;
    std::string serialNumber;
    std::string from, to;
    std::optional<std::uint32_t> days;
};

struct IssueOptions : Options {
    std::string authority;
    std::string request;
    std::string publicKey;
    bool acceptNames = false;
};

Profile const* findProfile(std::string const& name) {
    auto const profile = std::ranges::find(profiles, str2lower(name), &Profile::name);
    if (profile != std::end(profiles))
        return profile;
    wrongUsage("\"" + name + "\" is no profile; there are server, client, email, code and ca");
    return nullptr;
}

bool setUsages(X509Certificate& certificate, Profile const& profile) {
    auto const key = certificate.parsePublicKey();
    if (!key) {
        badInput("the public key is of no kind that is known");
        return false;
    }
    if (isAuthority(profile) && key->keyType() == KeyType::X25519) {
        badInput("an X25519 key signs nothing: it cannot be the key of a CA");
        return false;
    }
    certificate.keyUsage = key->keyType() == KeyType::X25519 ? KeyUsage::keyAgreement : profile.keyUsage;
    if (key->keyType() == KeyType::RSA)
        certificate.keyUsage |= profile.rsaKeyUsage;
    certificate.extKeyUsage = profile.extKeyUsage;
    certificate.basicConstraints = isAuthority(profile) ? 1 : 2;
    return true;
}

bool addNames(X509Certificate& certificate, Options const& options, bool isAuthority) {
    for (std::string const& text : options.alternativeNames) {
        auto const name = readAlternativeName(text);
        if (!name)
            return false;
        certificate.subjectAltNames.push_back(*name);
    }
    for (std::string const& address : options.crlAddresses)
        if (!parseGeneralNameText("URI:" + address, &certificate.crlDistributionPoints.emplace_back())) {
            wrongUsage("\"" + address + "\" is no address of a revocation list");
            return false;
        }
    bool const isConstrained = !options.permittedDomain.empty() || !options.excludedDomain.empty();
    if (isConstrained && !isAuthority) {
        wrongUsage("--permit-dns and --exclude-dns are for authorities");
        return false;
    }
    auto const constrain = [&](std::string domain, GeneralName* constraint) {
        if (domain.empty())
            return true;
        // A leading dot is how some write it; the form of RFC 5280, section 4.2.1.10, has none.
        if (domain.starts_with('.'))
            domain.erase(0, 1);
        if (parseGeneralNameText("DNS:" + domain, constraint))
            return true;
        wrongUsage("\"" + domain + "\" is no domain");
        return false;
    };
    return constrain(options.permittedDomain, &certificate.nameConstraintPermitted) &&
           constrain(options.excludedDomain, &certificate.nameConstraintExcluded);
}

/// Sets subject, serial number and dates. `*status` says how it failed.
bool setFields(X509Certificate& certificate, Options const& options, Profile const& profile, int* status) {
    *status = exitWrongUsage;
    if (!options.subject.empty()) {
        auto const name = readSubject(options.subject);
        if (!name)
            return false;
        certificate.setSubject(*name);
    }
    certificate.serialNumber = makeSerialNumber();
    if (!options.serialNumber.empty()) {
        auto const number = parseSerialNumber(options.serialNumber);
        if (!number) {
            wrongUsage("a serial number is hexadecimal, above 0, of 20 octets at most");
            return false;
        }
        certificate.serialNumber = *number;
    }
    if (!addNames(certificate, options, isAuthority(profile)))
        return false;
    if (certificate.subject.empty() && certificate.subject.other.empty() &&
        certificate.subjectAltNames.empty()) {
        wrongUsage("the certificate would name nobody: give --subject or --san");
        return false;
    }

    auto const start = options.from.empty() ? currentTime() : parseTime(options.from);
    auto end = parseTime(options.to);
    if (!start || (!options.to.empty() && !end)) {
        wrongUsage("\"" + (start ? options.to : options.from) + "\" is no time");
        return false;
    }
    certificate.notBefore = *start;
    certificate.notAfter =
        end ? *end
            : TimePoint::fromSeconds(start->seconds + options.days.value_or(profile.days) * secondsOfDay - 1);
    if (certificate.notAfter <= certificate.notBefore) {
        wrongUsage("the certificate would end before it begins");
        return false;
    }
    if (!isWritableTime(certificate.notBefore) || !isWritableTime(certificate.notAfter))
        return false;
    *status = exitBadInput;
    return setUsages(certificate, profile);
}

/// What is strange about a certificate that is allowed all the same.
void remark(X509Certificate const& certificate) {
    bool const isForServers = (certificate.extKeyUsage & ExtKeyUsage::tlsServer) != 0;
    auto const isHost = [](GeneralName const& name) {
        return name.type == GeneralName::dnsName || name.type == GeneralName::ipAddress;
    };
    if (isForServers && std::ranges::none_of(certificate.subjectAltNames, isHost))
        note("no host is named: browsers look at alternative names alone (--san DNS:host)");
}

int finish(X509Certificate& certificate, Signer const& signer, OutputFile& output, Options const& options) {
    certificate.subjectKeyId = calcKeyId(certificate.subjectPublicKeyInfo);
    if (!certificate.sign(*signer.key, signer.hash))
        return badInput("the certificate cannot be signed: the key is too short for the hash, or its numbers "
                        "are inconsistent");
    remark(certificate);
    return options.output.write(output, "CERTIFICATE", certificate);
}

int selfSign(Options const& options) {
    Profile const* const profile = findProfile(options.profile);
    if (profile == nullptr)
        return exitWrongUsage;
    int status = exitDone;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    X509Certificate certificate;
    certificate.setPublicKey(*signer->key);
    if (!setFields(certificate, options, *profile, &status))
        return status;
    if (certificate.subject.empty() && certificate.subject.other.empty())
        return wrongUsage("an issuer has a name: give --subject");
    certificate.setIssuer(parseNameText(options.subject));
    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;
    return finish(certificate, *signer, output, options);
}

/// A line for a person, of whatever length the text is.
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

/// Takes the names of the request that the options leave to it. What they say must be what a person reads.
bool takeNames(X509Certificate& certificate, X509Req const& request, IssueOptions const& options) {
    if (options.subject.empty()) {
        constexpr size_t maxSubject = 4096;
        asn1::blob const subject = request.subjectBytes();
        if (subject.size() > maxSubject || !isPlainName(subject)) {
            badInput(options.request + ": its subject " +
                     (subject.size() > maxSubject ? "is too long" : "is not plain text") +
                     ": give another one with --subject");
            return false;
        }
        certificate.setSubject(subject);
        note("the subject is the request's: " + shortened(certificate.subject.str()));
    }
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
        badInput(options.request + ": asks for a name that is no host, address, mailbox or URI: " +
                 name.typeStr() + ":" + shortened(name.dataStr()));
        return false;
    }
    certificate.subjectAltNames = request.subjectAltNames;
    note("names of the request: " + names);
    return true;
}

/// Takes from the request its key, its subject and, where that was asked for, its names.
bool takeRequest(X509Certificate& certificate, IssueOptions const& options, int* status) {
    *status = exitBadInput;
    auto const request = readRequest(options.request);
    if (!request)
        return false;
    Refusal refusal;
    if (!parsePkcs8PublicKey(request->subjectPublicKeyInfo, &refusal)) {
        badInput(options.request + ": the public key cannot be read: " + refusal);
        return false;
    }
    if (!request->verifyOwnSignature()) {
        *status = answerNo(options.request +
                           ": its own signature does not verify: whoever made it does not hold the key");
        return false;
    }
    certificate.subjectPublicKeyInfo = request->subjectPublicKeyInfo;
    return takeNames(certificate, *request, options);
}

int issue(IssueOptions const& options) {
    Profile const* const profile = findProfile(options.profile);
    if (profile == nullptr)
        return exitWrongUsage;
    if (options.request.empty() == options.publicKey.empty())
        return wrongUsage("give a request, or --public-key and --subject");
    if (standardInputTwice({options.signer.key, options.signer.password.file, options.authority,
                            options.request, options.publicKey}))
        return exitWrongUsage;
    int status = exitDone;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    auto const authority = readAuthority(options.authority, *signer, KeyUsage::keyCertSign);
    if (!authority)
        return exitBadInput;
    if (isAuthority(*profile) && authority->pathLength() == 0)
        return badInput(options.authority + ": its path length allows no authority below it");

    X509Certificate certificate;
    if (!options.request.empty()) {
        if (!takeRequest(certificate, options, &status))
            return status;
    } else {
        if (options.acceptNames)
            return wrongUsage("--accept-names is for requests");
        auto const key = readSubjectKey(options.publicKey, &status);
        if (!key)
            return status;
        certificate.setPublicKey(*key);
    }
    if (!setFields(certificate, options, *profile, &status))
        return status;
    certificate.setIssuer(authority->subjectBytes());
    certificate.authorityKeyId = authority->subjectKeyId;

    if (certificate.notBefore > authority->notAfter)
        return badInput(options.authority + ": ended at " + formatTime(authority->notAfter));
    if (certificate.notAfter > authority->notAfter) {
        bool const isAsked = options.days || !options.to.empty();
        note("the authority's own certificate ends at " + formatTime(authority->notAfter) +
             (isAsked ? ", before this one" : ", and so does this one"));
        if (!isAsked)
            certificate.notAfter = authority->notAfter;
    }
    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;
    return finish(certificate, *signer, output, options);
}

void addOptions(CommandLine& commandLine, Options& options) {
    commandLine.text("--subject", options.subject, "\"/C=UY/O=Acme/CN=name\" or \"C=UY, O=Acme, CN=name\"")
        .valueName("NAME");
    commandLine
        .texts("--san", options.alternativeNames,
               "an alternative name, DNS:host, IP:address, email:mailbox or\n"
               "URI:address; may be given more than once")
        .valueName("NAME");
    Parameter const days = commandLine.number("--days", options.days,
                                              "how long it is valid; without it 365, of an authority 3650");
    commandLine.text("--from", options.from, "the first second: ISO 8601 (UTC); without it now")
        .valueName("TIME");
    commandLine.text("--to", options.to, "the last second, instead of --days")
        .valueName("TIME")
        .excludes(days);
    commandLine.text("--serial", options.serialNumber, "the serial number; without it 128 random bits")
        .valueName("HEX");
    commandLine
        .texts("--crl-url", options.crlAddresses,
               "where the revocation list is to be had; may be given more\nthan once")
        .valueName("URL");
    commandLine.text("--permit-dns", options.permittedDomain, "an authority for hosts of this domain alone")
        .valueName("DOMAIN");
    commandLine.text("--exclude-dns", options.excludedDomain, "an authority for no hosts of this domain")
        .valueName("DOMAIN");
    options.output.declare(commandLine);
}

constexpr char profileHelp[] = "what the certificate is for: server, client, email, code, ca";

Work selfSignVerb(CommandLine commandLine) {
    auto options = std::make_shared<Options>();
    options->profile = "ca";
    addSignerOptions(commandLine, options->signer, "-k,--key", "the private key, PEM or DER");
    commandLine.text("--profile", options->profile, std::string(profileHelp) + ";\nwithout it ca")
        .valueName("PROFILE");
    addOptions(commandLine, *options);
    commandLine.footer("Examples:\n"
                       "  sealkit key new p256 -o ca.key\n"
                       "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem");
    return [options] { return selfSign(*options); };
}

Work issueVerb(CommandLine commandLine) {
    auto options = std::make_shared<IssueOptions>();
    commandLine.text("REQUEST", options->request, "the request, PEM or DER; - is standard input");
    commandLine.text("--public-key", options->publicKey, "a public key instead of a request")
        .valueName("FILE");
    commandLine.text("--ca", options->authority, "the certificate of the authority, PEM or DER")
        .valueName("FILE")
        .required();
    addSignerOptions(commandLine, options->signer, "-k,--key|--ca-key", "the private key of the authority");
    commandLine.text("--profile", options->profile, profileHelp).valueName("PROFILE").required();
    commandLine.flag("--accept-names", options->acceptNames,
                     "take the alternative names that the request asks for");
    addOptions(commandLine, *options);
    commandLine.footer(
        "Of a request only key and subject are taken, and its alternative names with --accept-names; what "
        "the\n"
        "certificate may be used for is the authority's choice. A request whose own signature does not "
        "verify\n"
        "is never issued (status 1).\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o ca.key\n"
        "  sealkit cert self-sign -k ca.key --subject \"/O=Acme/CN=Acme root\" -o ca.pem\n"
        "  sealkit key new p256 -o host.key\n"
        "  sealkit req new -k host.key --subject \"/CN=host.example\" --san DNS:host.example -o host.csr\n"
        "  sealkit cert issue --ca ca.pem -k ca.key --profile server --accept-names -o host.pem host.csr\n"
        "  sealkit verify --ca ca.pem --host host.example host.pem");
    return [options] { return issue(*options); };
}

} // namespace

Work setUpCert(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"self-sign", "make the certificate of a new authority, or any that signs itself", selfSignVerb},
        {"issue", "make a certificate from a request or a public key", issueVerb},
    };
    return commandLine.verbs(verbs);
}

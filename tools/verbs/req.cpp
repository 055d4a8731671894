#include "io/exit_status.h"
#include "objects/names.h"
#include "objects/object_output.h"
#include "objects/profile.h"
#include "objects/signer.h"
#include "verbs/verb.h"

#include "sealkit/req.h"

namespace {

struct RequestOptions {
    SignerOptions signer;
    ObjectOutput output;
    std::string subject;
    std::vector<std::string> alternativeNames;
    std::vector<std::string> profiles;
    std::string challengePassword;
};

int makeRequest(RequestOptions const& options) {
    X509Req request;
    if (!options.subject.empty()) {
        auto const name = readSubject(options.subject);
        if (!name)
            return exitWrongUsage;
        request.setSubject(*name);
    }
    for (std::string const& text : options.alternativeNames) {
        auto const name = readAlternativeName(text);
        if (!name)
            return exitWrongUsage;
        request.subjectAltNames.push_back(*name);
    }
    if (request.subject.empty() && request.subject.other.empty() && request.subjectAltNames.empty())
        return wrongUsage("the request would have no name: give --subject or --san");
    request.challengePassword = options.challengePassword;
    auto const usages = readProfiles(options.profiles);
    if (!usages)
        return exitWrongUsage;

    int status = exitDone;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;
    request.setPublicKey(*signer->key);
    request.keyUsage = usages->keyUsage | (signer->key->keyType() == KeyType::RSA ? usages->rsaKeyUsage : 0);
    request.extKeyUsage = usages->extKeyUsage;
    if (!request.sign(*signer->key, signer->hash))
        return badInput("the request cannot be signed: the key is too short for the hash, or its numbers are "
                        "inconsistent");
    return options.output.write(output, "CERTIFICATE REQUEST", request);
}

Work newRequestVerb(CommandLine commandLine) {
    auto options = std::make_shared<RequestOptions>();
    addSignerOptions(commandLine, options->signer, "-k,--key", "the private key, PEM or DER");
    commandLine.text("--subject", options->subject, "\"/C=UY/O=Acme/CN=name\" or \"C=UY, O=Acme, CN=name\"")
        .valueName("NAME");
    commandLine
        .texts("--san", options->alternativeNames,
               "an alternative name to ask for: DNS:host, IP:address,\n"
               "email:mailbox, URI:address, dirName:NAME, RID:OID or\n"
               "otherName:OID;UTF8:text; may be given more than once")
        .valueName("NAME");
    commandLine
        .texts("--profile", options->profiles,
               std::string("request the usages of this profile: ") + profileHelp)
        .valueName("PROFILE");
    commandLine
        .text("--challenge-password", options->challengePassword,
              "a challenge password, which some CAs want for revocation; everyone who has the request\n"
              "can read it")
        .valueName("PASSWORD");
    options->output.declare(commandLine);
    commandLine.footer(
        "Attributes of a subject keep the order in which they are written: C, ST, L, O, OU, CN, "
        "serialNumber,\n"
        "emailAddress, DC, UID and others, or a dotted object identifier. A backslash takes the next "
        "character\n"
        "as it is.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o host.key\n"
        "  sealkit req new -k host.key --subject \"/CN=host.example\" --san DNS:host.example -o host.csr\n"
        "  sealkit show host.csr");
    return [options] { return makeRequest(*options); };
}

} // namespace

Work setUpReq(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"new", "make a certificate request", newRequestVerb},
    };
    return commandLine.verbs(verbs);
}

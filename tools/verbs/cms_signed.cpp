#include "io/input.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/input_objects.h"
#include "objects/message_check.h"
#include "objects/signer.h"
#include "objects/trust.h"
#include "verbs/cms.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct SignOptions {
    SignerOptions signer;
    ObjectOutput output;
    std::string certificate;
    std::string chain;
    bool detached = false;
    std::string file;
};

struct CheckOptions {
    TrustOptions trust;
    std::string content;
    std::string certificates;
    std::string purpose;
    std::string output;
    bool force = false;
    std::string file;
};

struct Purpose {
    char const* name;
    PathPurpose id;
};

constexpr Purpose purposes[] = {
    {"email", PathPurpose::emailProtection},
    {"code", PathPurpose::codeSigning},
    {"any", PathPurpose::any},
    // As "verify" calls them.
    {"email-protection", PathPurpose::emailProtection},
    {"code-signing", PathPurpose::codeSigning},
};

int sign(SignOptions const& options) {
    if (standardInputTwice({options.signer.key, options.signer.password.file, options.certificate,
                            options.chain, options.file}))
        return exitWrongUsage;
    int status = exitDone;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    if (signer->key->keyType() != KeyType::RSA)
        return badInput(options.signer.key + ": no RSA key, and messages are signed with those alone");
    auto const certificate = readCertificate(options.certificate);
    if (!certificate || !isOwnKey(options.certificate, *certificate, *signer->key) ||
        !isFitNow(options.certificate, *certificate, KeyUsage::digitalSignature | KeyUsage::contentCommitment,
                  "signing messages"))
        return exitBadInput;
    auto const content = readMessage(options.file);
    if (!content)
        return exitBadInput;
    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;

    PKCS7SignedData message;
    if (!message.create(*certificate, *signer->key, getDataOid(),
                        asn1::blob(content->data(), content->size()), signer->hash))
        return badInput(options.signer.key + ": the key makes no signature: its numbers are inconsistent, or "
                                             "it is too short for this hash");
    // The library writes the issuer anew. Others find the certificate by its bytes, which are not signed.
    asn1::blob const issuer = certificate->issuerBytes();
    if (!DistinguishedName::roundTrips(issuer))
        note(options.certificate +
             ": the issuer's name is one that the library would write in other bytes; it "
             "stands in the message as it does in the certificate");
    message.signerInfos.front()->issuer.assign(issuer.begin(), issuer.end());
    auto const chain = readFurtherCertificates(options.chain);
    if (!chain)
        return exitBadInput;
    addCertificates(message, *chain);
    if (options.detached)
        message.content.clear();
    DerEncoder encoder;
    message.save(encoder);
    return writeMessage(options.output, output, encoder.take());
}

/// The text with CR LF at the ends of its lines, as e-mails have it.
std::vector<unsigned char> withMailLineEnds(asn1::blob text) {
    std::vector<unsigned char> mail;
    mail.reserve(text.size() + text.size() / 16);
    unsigned char before = 0;
    for (unsigned char character : text) {
        if (character == '\n' && before != '\r')
            mail.push_back('\r');
        mail.push_back(character);
        before = character;
    }
    return mail;
}

/// Whether a signature over another content is one over the text in its mail form.
bool isOverMailForm(PKCS7SignedData const& message, asn1::blob content) {
    if (message.signerInfos.empty())
        return false;
    PKCS7SignerInfo const& signer = *message.signerInfos.front();
    return !signer.verifyContentDigest(message.contentType, content, signer.digestAlgorithm) &&
           signer.verifyContentDigest(message.contentType, withMailLineEnds(content), signer.digestAlgorithm);
}

void reportJson(MessageReport const& report, PKCS7SignedData const& message, size_t size) {
    nlohmann::ordered_json result;
    result["contentType"] = getContentTypeName(message.contentType);
    result["contentSize"] = size;
    addReport(report, result);
    report::set(std::move(result));
}

int check(CheckOptions const& options) {
    if (standardInputTwice(options.trust.inputsWith({options.content, options.certificates, options.file})))
        return exitWrongUsage;
    bool const isBesideContent = options.output == "-";
    if (isBesideContent)
        report::goBesideOutput();
    MessageCheckOptions how;
    Complaint complaint;
    if (!options.trust.read(&how.path, &complaint))
        return wrongUsage(complaint);
    auto const purpose = std::ranges::find(purposes, options.purpose, &Purpose::name);
    if (purpose == std::end(purposes))
        return wrongUsage("\"" + options.purpose + "\" is no purpose; there are email, code and any");
    how.path.purpose = purpose->id;

    auto const file = MessageFile::read(options.file);
    if (!file)
        return exitBadInput;
    PKCS7SignedData message;
    if (Complaint const why = parseMessage(message, file->der()); !why.empty())
        return badInput(options.file + ": " + why);
    if (message.content.empty() && message.signerInfos.empty())
        return badInput(options.file + ": has no signers: it only carries certificates");
    if (message.content.empty() && options.content.empty())
        return wrongUsage(options.file + ": the content is not in it: give it with --content");
    auto further = readFurtherCertificates(options.certificates, formsFor(how.path));
    if (!further)
        return exitBadInput;
    how.certificates = std::move(*further);
    std::optional<SecretBytes> given;
    if (!options.content.empty() && !(given = readMessage(options.content)))
        return exitBadInput;
    asn1::blob const detached = given ? asn1::blob(given->data(), given->size()) : asn1::blob();
    asn1::blob const content = message.content.empty() ? detached : message.contentOctets();
    if (message.content.empty())
        how.detachedContent = detached;

    Trust trust;
    if (!loadTrust(options.trust, formsFor(how.path), &trust, &complaint))
        return badInput(complaint);
    OutputFile output;
    if (!options.output.empty() &&
        !output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;

    MessageReport report(checkMessage(message, trust.store, how));
    if (report.isTooLarge())
        return badInput(options.file + ": " + report.failure);
    if (!reportCrls(trust, report.verdict.crls, &report.notes, &complaint))
        return badInput(complaint);
    if (given && detached != content)
        report.fail("the message holds another content");
    if (!report.failure.empty() && message.content.empty() && isOverMailForm(message, detached))
        report.notes.push_back("the signature is over the text with CR LF at its line ends, as e-mails have "
                               "them: \"openssl smime -sign\" without -binary signs that");
    if (!isData(message.contentType))
        report.notes.push_back("the content is no plain data, but of the type " +
                               getContentTypeName(message.contentType));
    if (report::isJson())
        reportJson(report, message, content.size());
    else
        printReport(report, {}, isBesideContent ? terminal::besideOutput() : terminal::out());
    if (!report.failure.empty())
        return exitNo;
    if (options.output.empty())
        return exitDone;
    return output.write({content.data(), content.size()}) && output.commit() ? exitDone : exitBadInput;
}

constexpr char signFooter[] =
    "The message is PKCS#7 as \"openssl smime\" and \"openssl cms\" read it, with the signer's certificate "
    "in it and\n"
    "without a time of signing. The key is RSA: messages of other keys are not made. A certificate that is "
    "not\n"
    "valid now or whose key usage does not allow signatures is refused. The file is kept in memory, 256 MiB "
    "at\n"
    "most with all that comes around it.\n\n"
    "Examples:\n"
    "  sealkit key new rsa-2048 -o my.key\n"
    "  sealkit cert self-sign -k my.key --profile email --subject \"/CN=me\" --san email:me@acme.example -o "
    "my.pem\n"
    "  echo hello > letter.txt\n"
    "  sealkit cms sign -k my.key --certificate my.pem letter.txt -o letter.p7m\n"
    "  sealkit cms check --ca my.pem letter.p7m -o copy.txt\n"
    "  sealkit cms sign -k my.key --certificate my.pem --detached letter.txt -o letter.p7s\n"
    "  sealkit cms check --ca my.pem --content letter.txt letter.p7s";

} // namespace

Work setUpCmsSign(CommandLine commandLine) {
    auto options = std::make_shared<SignOptions>();
    addSignerOptions(commandLine, options->signer, "-k,--key", "the private RSA key, PEM or DER");
    commandLine.text("--certificate", options->certificate, "the signer's certificate, PEM or DER")
        .valueName("FILE")
        .required();
    commandLine.text("--chain", options->chain, "more certificates for the message: the signer's issuers")
        .valueName("FILE");
    commandLine.flag("--detached", options->detached, "leave the content out of the message");
    options->output.declare(commandLine);
    commandLine.text("FILE", options->file, "what is signed; - is standard input").required();
    commandLine.footer(signFooter);
    return [options] { return sign(*options); };
}

Work setUpCmsCheck(CommandLine commandLine) {
    auto options = std::make_shared<CheckOptions>();
    options->purpose = "email";
    commandLine.text("--content|--data", options->content, "what is signed, of a detached signature")
        .valueName("FILE");
    commandLine
        .text("--certificates|--chain", options->certificates,
              "certificates of signers and issuers that are not in the\nmessage. This does not make them "
              "trusted")
        .valueName("FILE");
    options->trust.declare(commandLine);
    commandLine
        .text("--purpose", options->purpose,
              "what the signers' certificates should be for: email\n(without it), code or any")
        .valueName("PURPOSE");
    commandLine.json();
    commandLine
        .text(
            "-o,--output", options->output,
            "write the content to this file, if all is well; - is standard\noutput, and the verdict goes to "
            "standard error then")
        .valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.text("FILE", options->file, "the message, PEM or DER; - is standard input").required();
    commandLine.footer(
        "Every signer must have signed the content and be trusted. Prints a line for each, then \"OK\" or\n"
        "\"FAILED: reason\". What is not checked and what is strange is said on standard error. A time of "
        "signing is\n"
        "what the signer says.\n\n"
        "Read are messages in DER whose signers have RSA keys, are named by issuer and serial number, and "
        "sign\n"
        "attributes, as \"openssl smime -sign\" makes them. Of others the reason is told (status 2).\n\n" +
        std::string(signFooter).substr(std::string(signFooter).find("Examples:")));
    return [options] { return check(*options); };
}

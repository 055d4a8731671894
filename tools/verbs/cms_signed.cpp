#include "io/clock.h"
#include "io/input.h"
#include "io/progress.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/input_objects.h"
#include "objects/mail.h"
#include "objects/message_check.h"
#include "objects/signer.h"
#include "objects/trust.h"
#include "verbs/cms.h"

#include "sealkit/oid_names.h"
#include "sealkit/pem.h"
#include "sealkit/store.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct MessageSignOptions {
    std::vector<std::string> keys, certificates; ///< One for each signer.
    SignerOptions signer;                        ///< Its key is set to that of each signer in turn.
    ObjectOutput output;
    std::vector<std::string> chains;
    bool byKeyId = false;
    bool withoutAttributes = false;
    bool signingTime = false;
    std::string contentType;
    bool detached = false;
    MailOptions mail;
    std::string file;
};

struct CertificatesOptions {
    ObjectOutput output;
    bool bundle = false;
    std::vector<std::string> crls;
    std::vector<std::string> files;
};

struct MessageVerifyOptions {
    TrustOptions trust;
    std::string content;
    std::string certificates;
    std::string purpose;
    std::string output;
    bool force = false;
    bool text = false;
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
    // The same names as in "verify".
    {"email-protection", PathPurpose::emailProtection},
    {"code-signing", PathPurpose::codeSigning},
};

/// Adds the signer with this number to the message, and its hash to those of the mail. Returns the exit
/// status.
int addSigner(MessageSignOptions& options, size_t number, PKCS7SignedData& message,
              std::vector<HashID>& hashes) {
    std::string const& keyFile = options.keys[number];
    std::string const& certificateFile = options.certificates[number];
    int status = exitDone;
    options.signer.key = keyFile;
    auto const signer = readSigner(options.signer, &status);
    if (!signer)
        return status;
    auto const certificate = readCertificate(certificateFile);
    if (!certificate || !isOwnKey(certificateFile, *certificate, *signer->key) ||
        !isFitNow(certificateFile, *certificate, KeyUsage::digitalSignature | KeyUsage::contentCommitment,
                  "signing messages"))
        return exitBadInput;
    if (options.byKeyId && certificate->subjectKeyId.empty())
        return badInput(certificateFile + ": has no subject key identifier: omit --key-id");
    PKCS7SignerOptions how;
    how.hash = signer->hash;
    hashes.push_back(signer->key->keyType() == KeyType::Ed25519 ? HashID::SHA512 : how.hash);
    how.byKeyId = options.byKeyId;
    how.hasAttributes = !options.withoutAttributes;
    if (options.signingTime)
        how.signingTime = currentTime();
    bool isSigned = false;
    workWithClock("signing", [&] { isSigned = message.addSigner(*certificate, *signer->key, how); });
    if (!isSigned)
        return badInput(keyFile + ": the key cannot sign: its numbers are inconsistent, or it is too short "
                                  "for this hash");
    if (!options.byKeyId && !DistinguishedName::roundTrips(certificate->issuerBytes()))
        note(certificateFile +
             ": the library would encode the issuer's name differently; the message has the "
             "encoding of the certificate");
    return exitDone;
}

int sign(MessageSignOptions& options) {
    std::vector<std::string_view> inputs(options.keys.begin(), options.keys.end());
    for (auto const* const more : {&options.certificates, &options.chains})
        inputs.insert(inputs.end(), more->begin(), more->end());
    inputs.insert(inputs.end(), {options.signer.password.file, options.file});
    if (standardInputTwice(inputs))
        return exitWrongUsage;
    if (options.keys.size() != options.certificates.size())
        return wrongUsage("give each --key its --certificate, in the same order");
    std::vector<unsigned char> type(getDataOid().begin(), getDataOid().end());
    if (!options.contentType.empty() && (type = parseOid(options.contentType)).empty())
        return wrongUsage("\"" + options.contentType + "\" is not an object identifier");
    if (options.withoutAttributes && (options.signingTime || !isData(type)))
        return wrongUsage(
            "a signing time, and a content type other than data, require signed attributes: omit "
            "--no-attributes");
    if (!options.mail.isUsable(options.output))
        return exitWrongUsage;
    auto const file = readMessage(options.file);
    if (!file)
        return exitBadInput;
    auto const content =
        options.mail.prepare(asn1::blob(file->data(), file->size()), options.mail.smime && options.detached);
    if (!content)
        return exitBadInput;
    if (options.withoutAttributes && looksLikeSignedAttributes(asn1::blob(content->data(), content->size())))
        return badInput(
            options.file +
            ": has the form of signed attributes, so its signature would also be valid for another "
            "message: omit --no-attributes");
    OutputFile output;
    if (int const status = options.output.open(output); status != exitDone)
        return status;

    PKCS7SignedData message;
    std::vector<HashID> hashes;
    message.setContent(type, asn1::blob(content->data(), content->size()));
    for (size_t number = 0; number < options.keys.size(); ++number)
        if (int const status = addSigner(options, number, message, hashes); status != exitDone)
            return status;
    for (std::string const& path : options.chains) {
        auto const chain = readFurtherCertificates(path);
        if (!chain)
            return exitBadInput;
        addCertificates(message, *chain);
    }
    if (options.detached)
        message.content.clear();
    std::vector<unsigned char> encoded = message.encode();
    if (!options.mail.smime)
        return writeMessage(options.output, output, std::move(encoded));
    options.output.describe(encoded.size());
    if (!options.detached)
        return options.mail.writeMail(output, encoded);
    return options.mail.writeMail(output, asn1::blob(content->data(), content->size()), encoded, hashes);
}

/// Writes one bundle of the certificates and CRLs of all files.
int writeBundle(CertificatesOptions const& options, OutputFile& output) {
    PKCS7SignedData bundle;
    for (std::string const& path : options.files) {
        auto const certificates = readAllCertificates(path, FormRules::standard);
        if (!certificates)
            return exitBadInput;
        addCertificates(bundle, *certificates);
    }
    for (std::string const& path : options.crls) {
        auto const text = readInput(path);
        if (!text)
            return exitBadInput;
        std::vector<Refusal> refusals;
        auto crls = readCrls(*text, &refusals, FormRules::standard);
        if (!refusals.empty())
            return badInput(path + ": " + printable(refusals.front().str()));
        bundle.crls.insert(bundle.crls.end(), crls.begin(), crls.end());
    }
    return writeMessage(options.output, output, bundle.encode());
}

/// Writes the certificates and CRLs of messages, one after the other.
int unpackMessages(CertificatesOptions const& options, OutputFile& output) {
    std::vector<unsigned char> text;
    auto const add = [&text](std::vector<unsigned char> const& block) {
        text.insert(text.end(), block.begin(), block.end());
    };
    for (std::string const& path : options.files) {
        auto const file = MessageFile::read(path);
        if (!file)
            return exitBadInput;
        PKCS7SignedData message;
        if (std::string const why = parseMessage(message, file->der()); !why.empty())
            return badInput(path + ": " + why);
        for (Refusal const& refusal : message.ignored())
            note(path + ": left out: " + printable(refusal.str()));
        for (auto const& certificate : message.certificates)
            add(encodePemCertificate(*certificate));
        for (auto const& crl : message.crls)
            add(encodePemCrl(*crl));
        if (message.certificates.empty() && message.crls.empty())
            return badInput(path + ": has no certificates in it");
    }
    options.output.describe(text.size());
    return output.write(text) && output.commit() ? exitDone : exitBadInput;
}

int certificates(CertificatesOptions const& options) {
    std::vector<std::string_view> inputs(options.files.begin(), options.files.end());
    inputs.insert(inputs.end(), options.crls.begin(), options.crls.end());
    if (standardInputTwice(inputs))
        return exitWrongUsage;
    if (!options.bundle && (options.output.der || !options.crls.empty()))
        return wrongUsage("--der and --crl are for a bundle: give --bundle");
    OutputFile output;
    if (int const status = options.output.open(output); status != exitDone)
        return status;
    return options.bundle ? writeBundle(options, output) : unpackMessages(options, output);
}

/// Whether the signed digest is that of the content's mail form and not that of the content itself.
bool isOverMailForm(PKCS7SignedData const& message, asn1::blob content) {
    if (message.signerInfos.empty())
        return false;
    PKCS7SignerInfo const& signer = *message.signerInfos.front();
    return !signer.verifyContentDigest(message.contentType, content, signer.digestAlgorithm) &&
           signer.verifyContentDigest(message.contentType, canonicalLineEnds(content),
                                      signer.digestAlgorithm);
}

void reportJson(MessageReport const& report, PKCS7SignedData const& message, size_t size) {
    nlohmann::ordered_json result;
    result["contentType"] = getContentTypeName(message.contentType);
    result["contentSize"] = size;
    addReport(report, result);
    report::set(std::move(result));
}

int check(MessageVerifyOptions const& options) {
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
        return wrongUsage("\"" + options.purpose +
                          "\" is not a purpose; the choices are email, code and any");
    how.path.purpose = purpose->id;

    auto const file = MessageFile::read(options.file);
    if (!file)
        return exitBadInput;
    PKCS7SignedData message;
    if (Complaint const why = parseMessage(message, file->der()); !why.empty())
        return badInput(options.file + ": " + why);
    if (message.content.empty() && message.signerInfos.empty())
        return badInput(options.file + ": has no signers: it only carries certificates, which \"cms "
                                       "certificates\" takes out");
    if (file->content() != nullptr && !options.content.empty())
        return wrongUsage(options.file + ": the mail contains the content: omit --content");
    if (message.content.empty() && options.content.empty() && file->content() == nullptr)
        return wrongUsage(options.file + ": does not contain the content: give it with --content");
    auto further = readFurtherCertificates(options.certificates, formsFor(how.path));
    if (!further)
        return exitBadInput;
    how.certificates = std::move(*further);
    std::optional<SecretBytes> given;
    if (!options.content.empty() && !(given = readMessage(options.content)))
        return exitBadInput;
    if (file->content() != nullptr)
        given.emplace(file->content()->begin(), file->content()->end());
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

    MessageVerdict verdict;
    workWithClock("checking", [&] { verdict = checkMessage(message, trust.store, how); });
    MessageReport report(std::move(verdict));
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
        report.notes.push_back("the content is not plain data, but of the type " +
                               getContentTypeName(message.contentType));
    if (report::isJson())
        reportJson(report, message, content.size());
    else
        printReport(report, {}, isBesideContent ? terminal::besideOutput() : terminal::out());
    if (!report.failure.empty())
        return exitNo;
    if (options.output.empty())
        return exitDone;
    std::vector<unsigned char> written(content.begin(), content.end());
    if (options.text)
        if (int const status = takeText(options.file, written); status != exitDone)
            return status;
    return output.write(written) && output.commit() ? exitDone : exitBadInput;
}

constexpr char signFooter[] =
    "The message is CMS as \"openssl cms\" and e-mail programs read it, with the signers'\n"
    "certificates in it. Keys are RSA (PKCS#1 v1.5), EC on a named curve, or Ed25519; several\n"
    "signers are given as --key and --certificate for each. A certificate that is not valid\n"
    "now or whose key usage does not allow signatures is refused. The message must fit into\n"
    "memory and have at most 256 MiB.\n\n"
    "Examples:\n"
    "  sealkit key new rsa-2048 -o my.key\n"
    "  sealkit cert self-sign -k my.key --profile email --subject \"/CN=me\" --san email:me@acme.example -o "
    "my.pem\n"
    "  echo hello | sealkit cms sign -k my.key --certificate my.pem - -o letter.p7m\n"
    "  sealkit cms check --ca my.pem letter.p7m -o letter.txt\n"
    "  sealkit cms sign -k my.key --certificate my.pem --detached letter.txt -o letter.p7s\n"
    "  sealkit cms check --ca my.pem --content letter.txt letter.p7s\n"
    "  sealkit cms sign -k my.key --certificate my.pem --smime --text --detached letter.txt -o letter.eml\n"
    "  sealkit cms check --ca my.pem --text letter.eml -o read.txt";

} // namespace

Work setUpCmsSign(CommandLine commandLine) {
    auto options = std::make_shared<MessageSignOptions>();
    commandLine.texts("-k,--key", options->keys, "the private key of a signer; once for each signer")
        .valueName("KEY")
        .required();
    commandLine
        .texts("--certificate", options->certificates,
               "the certificate of a signer, in the order of the keys")
        .valueName("FILE")
        .required();
    commandLine
        .text("-a,--algorithm", options->signer.algorithm,
              "the hash to sign with: sha256, sha384, sha512 or sha1. Without\nit sha256, or what fits the "
              "curve")
        .valueName("HASH");
    addPasswordOptions(commandLine, options->signer.password, "of encrypted keys");
    commandLine
        .texts("--chain", options->chains, "further certificates for the message: the signers' issuers")
        .valueName("FILE");
    commandLine.flag("--key-id", options->byKeyId,
                     "name signers by subject key identifier instead of issuer and serial number");
    commandLine.flag("--no-attributes", options->withoutAttributes,
                     "sign the content itself, without signed attributes");
    commandLine.flag("--signing-time", options->signingTime, "also sign the current time");
    commandLine
        .text("--content-type", options->contentType,
              "the type of the content, an object identifier; by default data")
        .valueName("OID");
    commandLine.flag(
        "--detached", options->detached,
        "leave the content out of the message; in a mail it is readable text beside the signature");
    options->mail.declare(commandLine);
    options->output.declare(commandLine);
    commandLine.text("FILE", options->file, "what is signed; - is standard input").required();
    commandLine.footer(signFooter);
    return [options] { return sign(*options); };
}

Work setUpCmsCheck(CommandLine commandLine) {
    auto options = std::make_shared<MessageVerifyOptions>();
    options->purpose = "email";
    commandLine.text("--content|--data", options->content, "the signed content of a detached signature")
        .valueName("FILE");
    commandLine
        .text("--certificates|--chain", options->certificates,
              "certificates of signers and issuers that are not in the\nmessage. This does not make them "
              "trusted")
        .valueName("FILE");
    options->trust.declare(commandLine);
    commandLine
        .text("--purpose", options->purpose,
              "the purpose of the signers' certificates: email (the default), code or any")
        .valueName("PURPOSE");
    commandLine.json();
    commandLine
        .text("-o,--output", options->output,
              "write the content to this file if the check succeeds; - is standard output, and the\n"
              "verdict then goes to standard error")
        .valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.flag("--text", options->text, takeTextHelp);
    commandLine.text("FILE", options->file, "the message, PEM, DER or S/MIME mail; - is standard input")
        .required();
    commandLine.footer(
        "Every signer must have signed the content and be trusted. Prints a line for each signer,\n"
        "then \"OK\" or \"FAILED: reason\". What was not checked and what is unusual is reported\n"
        "on standard error. A signing time is only what the signer states.\n\n"
        "Messages may be DER or BER, with RSA (PKCS#1 v1.5 and PSS), ECDSA and Ed25519\n"
        "signatures. Counter-signatures and time-stamps of signatures are checked: an invalid one\n"
        "is a warning, because it does not concern the content.\n\n" +
        std::string(signFooter).substr(std::string(signFooter).find("Examples:")));
    return [options] { return check(*options); };
}

Work setUpCmsCertificates(CommandLine commandLine) {
    auto options = std::make_shared<CertificatesOptions>();
    commandLine.flag("--bundle", options->bundle,
                     "make a bundle (PKCS#7, \"p7b\") of the certificates in the files");
    commandLine.texts("--crl", options->crls, "CRLs for the bundle").valueName("FILE");
    options->output.declare(commandLine);
    commandLine.texts("FILE", options->files, "messages or bundles; with --bundle certificates in any form")
        .required();
    commandLine.footer(
        "Extracts the certificates and CRLs of messages and bundles as PEM. They are not checked:\n"
        "the author of a message chooses them.\n\n"
        "Examples:\n"
        "  sealkit key new rsa-2048 -o my.key\n"
        "  sealkit cert self-sign -k my.key --profile email --subject \"/CN=me\" --san email:me@acme.example "
        "-o my.pem\n"
        "  sealkit cms certificates --bundle my.pem -o my.p7b\n"
        "  sealkit cms certificates my.p7b -o copy.pem");
    return [options] { return certificates(*options); };
}

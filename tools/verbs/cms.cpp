#include "io/exit_status.h"
#include "io/input.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/cipher_names.h"
#include "objects/input_objects.h"
#include "objects/message_check.h"
#include "objects/object_output.h"
#include "objects/signer.h"
#include "objects/trust.h"
#include "verbs/verb.h"

#include "sealkit/rng.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using terminal::printable;

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
    bool json = false;
    std::string output;
    bool force = false;
    std::string file;
};

struct EncryptOptions {
    ObjectOutput output;
    std::vector<std::string> recipients;
    std::string cipher = "aes-256-cbc";
    bool byKeyId = false;
    std::string file;
};

struct DecryptOptions {
    std::string key;
    PasswordSource password;
    std::string certificate;
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
};

/// Writes a message that can be read again.
int writeMessage(ObjectOutput const& options, OutputFile& output, std::vector<unsigned char> encoded) {
    size_t const size =
        options.der ? encoded.size() : encoded.size() / 48 * 65 + 100; // Lines of 64 characters.
    if (size > inputLimit)
        return badInput("the message would be larger than 256 MiB, which is more than is read");
    return options.write(output, messageLabel, std::move(encoded));
}

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

void printJson(MessageReport const& report, PKCS7SignedData const& message, size_t size, std::ostream& out) {
    nlohmann::ordered_json result;
    result["contentType"] = getContentTypeName(message.contentType);
    result["contentSize"] = size;
    addReport(report, result);
    out << result.dump(2, ' ', true) << std::endl;
}

bool isData(asn1::blob contentType) { return contentType == getDataOid(); }

int check(CheckOptions const& options) {
    if (standardInputTwice(options.trust.inputsWith({options.content, options.certificates, options.file})))
        return exitWrongUsage;
    MessageCheckOptions how;
    std::string complaint;
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
    if (std::string const why = parseMessage(message, file->der()); !why.empty())
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

    bool const contentGoesToStandardOutput = options.output == "-";
    std::ostream& out = contentGoesToStandardOutput ? terminal::err() : terminal::out();
    std::ostream* const json = options.json ? &out : nullptr;
    Trust trust;
    if (!loadTrust(options.trust, formsFor(how.path), &trust, &complaint))
        return cannotJudge(complaint, json);
    OutputFile output;
    if (!options.output.empty() &&
        !output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;

    MessageReport report(checkMessage(message, trust.store, how));
    if (report.isTooLarge())
        return badInput(options.file + ": " + report.failure);
    if (!reportCrls(trust, report.verdict.crls, &report.notes, &complaint))
        return cannotJudge(complaint, json);
    if (given && detached != content)
        report.fail("the message holds another content");
    if (!report.failure.empty() && message.content.empty() && isOverMailForm(message, detached))
        report.notes.push_back("the signature is over the text with CR LF at its line ends, as e-mails have "
                               "them: \"openssl smime -sign\" without -binary signs that");
    if (!isData(message.contentType))
        report.notes.push_back("the content is no plain data, but of the type " +
                               getContentTypeName(message.contentType));
    if (options.json)
        printJson(report, message, content.size(), out);
    else
        printReport(report, {}, out);
    if (!report.failure.empty())
        return exitNo;
    if (options.output.empty())
        return exitDone;
    return output.write({content.data(), content.size()}) && output.commit() ? exitDone : exitBadInput;
}

/// How to encrypt. Nothing when the name is that of no cipher messages are encrypted with.
std::optional<PKCS7Encryption> readCipher(EncryptOptions const& options) {
    auto cipher = findCipher(options.cipher);
    if (!cipher)
        cipher = findCipher(options.cipher + "-cbc"); // "aes-256", "des-ede3"
    if (!cipher || (cipher->id != CipherID::AesCbc && cipher->id != CipherID::TripleDesCbc))
        return std::nullopt;
    PKCS7Encryption how;
    how.cipher = cipher->id;
    how.keySize = static_cast<unsigned>(cipher->keyLengths.back());
    how.byKeyId = options.byKeyId;
    return how;
}

/// The certificate of a recipient. Complains.
std::optional<X509Certificate> readRecipient(std::string const& path, bool byKeyId) {
    auto certificate = readCertificate(path);
    if (!certificate)
        return std::nullopt;
    auto const key = certificate->parsePublicKey();
    if (!key || key->keyType() != KeyType::RSA) {
        badInput(path + ": has no RSA key, and messages are encrypted to those alone");
        return std::nullopt;
    }
    if (byKeyId && certificate->subjectKeyId.empty()) {
        badInput(path + ": has no subject key identifier: leave --key-id out");
        return std::nullopt;
    }
    if (!isFitNow(path, *certificate, KeyUsage::keyEncipherment, "encrypting keys to it"))
        return std::nullopt;
    return certificate;
}

int encrypt(EncryptOptions const& options) {
    std::vector<std::string_view> inputs(options.recipients.begin(), options.recipients.end());
    inputs.push_back(options.file);
    if (standardInputTwice(inputs))
        return exitWrongUsage;
    auto const how = readCipher(options);
    if (!how)
        return wrongUsage("\"" + options.cipher +
                          "\" is no cipher of messages; there are aes-128-cbc, aes-192-cbc, aes-256-cbc and "
                          "des-ede3-cbc");
    std::vector<X509Certificate> certificates;
    certificates.reserve(options.recipients.size());
    for (std::string const& path : options.recipients) {
        auto certificate = readRecipient(path, options.byKeyId);
        if (!certificate)
            return exitBadInput;
        certificates.push_back(std::move(*certificate));
    }
    std::vector<X509Certificate const*> recipients;
    for (X509Certificate const& certificate : certificates)
        recipients.push_back(&certificate);
    auto const content = readMessage(options.file);
    if (!content)
        return exitBadInput;
    OutputFile output;
    if (int const status = options.output.open(output); status != exitDone)
        return status;
    PKCS7EnvelopedData message;
    if (!message.encrypt(recipients, getDataOid(), asn1::blob(content->data(), content->size()), *how,
                         getDefaultRng()))
        return badInput("cannot be encrypted: one of the keys is too short");
    return writeMessage(options.output, output, message.encode());
}

/// The recipients that may be the key: that of the certificate, or without one all that its size fits.
std::vector<PKCS7KeyTransRecipientInfo const*> findRecipients(PKCS7EnvelopedData const& message,
                                                              X509Certificate const* certificate,
                                                              RsaPrivateKey const& key) {
    if (certificate != nullptr) {
        auto const* const named = message.findRecipient(*certificate);
        return named == nullptr ? std::vector<PKCS7KeyTransRecipientInfo const*>() : std::vector{named};
    }
    std::vector<PKCS7KeyTransRecipientInfo const*> found;
    for (PKCS7KeyTransRecipientInfo const& recipient : message.recipientInfos)
        if (recipient.encryptedKey.size() == (key.n.bits() + 7) / 8)
            found.push_back(&recipient);
    return found;
}

/// Trying a key on each of many recipients takes long.
constexpr size_t maxTried = 16;

int decrypt(DecryptOptions const& options) {
    if (standardInputTwice({options.key, options.password.file, options.certificate, options.file}))
        return exitWrongUsage;
    int status = exitDone;
    auto const key = readPrivateKeyOf(options.key, options.password, &status);
    if (!key)
        return status;
    auto const* const rsa = dynamic_cast<RsaPrivateKey const*>(key.get());
    if (rsa == nullptr)
        return badInput(options.key + ": no RSA key, and messages are decrypted with those alone");
    std::optional<X509Certificate> certificate;
    if (!options.certificate.empty()) {
        certificate = readCertificate(options.certificate);
        if (!certificate || !isOwnKey(options.certificate, *certificate, *key))
            return exitBadInput;
    }
    auto const file = MessageFile::read(options.file);
    if (!file)
        return exitBadInput;
    PKCS7EnvelopedData message;
    if (std::string const why = parseMessage(message, file->der()); !why.empty())
        return badInput(options.file + ": " + why);
    if (message.recipientInfos.empty())
        return badInput(options.file + ": it has no recipients that can be read");
    auto const recipients = findRecipients(message, certificate ? &*certificate : nullptr, *rsa);
    if (recipients.empty())
        return answerNo(options.file + ": is encrypted to others, not to this " +
                        (certificate ? "certificate" : "key"));
    if (recipients.size() > maxTried)
        return wrongUsage(options.file + ": has many recipients: say which with --certificate");
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    std::vector<unsigned char> content;
    Refusal refusal;
    bool const isDecrypted =
        std::ranges::any_of(recipients, [&](PKCS7KeyTransRecipientInfo const* recipient) {
            Refusal why;
            bool const isGood = message.decrypt(*recipient, *key, content, &why);
            // What the message alone refuses is told where no key was tried.
            if (!isGood && refusal.id != RefusalId::undecryptable)
                refusal = std::move(why);
            return isGood;
        });
    if (!isDecrypted)
        return refusal.id == RefusalId::undecryptable
                   ? answerNo(options.file + ": does not decrypt with this key: it is another one's, or the "
                                             "message was changed")
                   : badInput(options.file + ": " + complaintOf(refusal));
    if (!isData(message.encryptedContentInfo.contentType))
        note("the content is no plain data, but of the type " +
             getContentTypeName(message.encryptedContentInfo.contentType));
    bool const isWritten = output.write(content) && output.commit();
    secureMemset(content.data(), 0, content.size());
    return isWritten ? exitDone : exitBadInput;
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

constexpr char encryptFooter[] =
    "Encrypts to the RSA keys of certificates; each of them alone opens the message. Whether a certificate "
    "may be\n"
    "trusted is not asked (\"sealkit verify\" does), but one that is not valid now, or whose key usage does "
    "not\n"
    "allow encrypting keys, is refused. Encryption does not authenticate: who a message is from, and whether "
    "it\n"
    "was changed, nobody knows. Sign first, and encrypt the signed message. \"openssl smime -decrypt\" opens "
    "it.\n\n"
    "Examples:\n"
    "  sealkit key new rsa-2048 -o your.key\n"
    "  sealkit cert self-sign -k your.key --profile server --subject \"/CN=you\" --san DNS:you.example -o "
    "your.pem\n"
    "  echo hello > letter.txt\n"
    "  sealkit cms encrypt --to your.pem letter.txt -o letter.p7m\n"
    "  sealkit cms decrypt -k your.key --certificate your.pem letter.p7m -o copy.txt";

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
    commandLine.text("--content", options->content, "what is signed, of a detached signature")
        .valueName("FILE");
    commandLine
        .text("--certificates", options->certificates,
              "certificates of signers and issuers that are not in the\nmessage. This does not make them "
              "trusted")
        .valueName("FILE");
    options->trust.declare(commandLine);
    commandLine
        .text("--purpose", options->purpose,
              "what the signers' certificates should be for: email\n(without it), code or any")
        .valueName("PURPOSE");
    commandLine.flag("--json", options->json, "print the verdict as JSON");
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

Work setUpCmsEncrypt(CommandLine commandLine) {
    auto options = std::make_shared<EncryptOptions>();
    commandLine
        .texts("--to", options->recipients, "the certificate of a recipient; given once for each of them")
        .valueName("FILE")
        .required();
    commandLine
        .text("--cipher", options->cipher,
              "aes-256-cbc (without it), aes-192-cbc, aes-128-cbc or\ndes-ede3-cbc")
        .valueName("CIPHER");
    commandLine.flag("--key-id", options->byKeyId,
                     "name recipients by their subject key identifiers, not by issuer\nand serial number");
    options->output.declare(commandLine);
    commandLine.text("FILE", options->file, "what is encrypted; - is standard input").required();
    commandLine.footer(encryptFooter);
    return [options] { return encrypt(*options); };
}

Work setUpCmsDecrypt(CommandLine commandLine) {
    auto options = std::make_shared<DecryptOptions>();
    commandLine.text("-k,--key", options->key, "the private RSA key, PEM or DER").valueName("KEY").required();
    addPasswordOptions(commandLine, options->password, "of an encrypted key");
    commandLine
        .text("--certificate", options->certificate,
              "the recipient's certificate, which tells the recipient. Without\nit the key is tried on every "
              "one")
        .valueName("FILE");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.text("FILE", options->file, "the message, PEM or DER; - is standard input").required();
    commandLine.footer(
        std::string(
            "Opens messages of DES-EDE3-CBC and AES-CBC in DER whose recipients have RSA keys under PKCS#1 "
            "v1.5, as\n\"openssl smime -encrypt\" makes them. Whatever is wrong with a key or an encrypted "
            "text, the message is the\nsame (status 1). Do not let strangers see it for messages of their "
            "own making: it helps them to read others.\n\n") +
        std::string(encryptFooter).substr(std::string(encryptFooter).find("Examples:")));
    return [options] { return decrypt(*options); };
}

} // namespace

Work setUpCms(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"sign", "sign a file", setUpCmsSign},
        {"check", "check who signed a message", setUpCmsCheck},
        {"encrypt", "encrypt a file to the holders of certificates", setUpCmsEncrypt},
        {"decrypt", "decrypt a message", setUpCmsDecrypt},
    };
    return commandLine.verbs(verbs);
}

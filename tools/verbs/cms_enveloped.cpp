#include "io/input.h"
#include "io/progress.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/cipher_names.h"
#include "objects/input_objects.h"
#include "objects/mail.h"
#include "objects/message.h"
#include "objects/signer.h"
#include "verbs/cms.h"

#include "sealkit/enveloped.h"
#include "sealkit/oid_names.h"
#include "sealkit/rng.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct MessageEncryptOptions {
    ObjectOutput output;
    std::vector<std::string> recipients;
    PasswordSource password;
    std::string cipher;
    bool byKeyId = false;
    bool oaep = false;
    MailOptions mail;
    std::string file;
};

struct MessageDecryptOptions {
    std::string key;
    PasswordSource password;
    std::string certificate;
    std::string output;
    bool force = false;
    bool text = false;
    std::string file;
};

struct MessageCipher {
    std::string_view name;
    CipherID id;
    unsigned keySize;
};

constexpr MessageCipher gcmCiphers[] = {
    {"aes-256-gcm", CipherID::AesGcm, 32},
    {"aes-192-gcm", CipherID::AesGcm, 24},
    {"aes-128-gcm", CipherID::AesGcm, 16},
    {"aes-gcm", CipherID::AesGcm, 32},
};

/// Every program decrypts CBC. GCM is newer and missing in many. Programs that support password recipients
/// know both.
constexpr char certificateCipher[] = "aes-256-cbc";
constexpr char passwordCipher[] = "aes-256-gcm";

/// The options of encryption. Returns nothing for a cipher that messages are not encrypted with.
std::optional<EnvelopedOptions> readCipher(MessageEncryptOptions const& options) {
    std::string const name = !options.cipher.empty()      ? str2lower(options.cipher)
                             : options.password.isGiven() ? passwordCipher
                                                          : certificateCipher;
    EnvelopedOptions how;
    how.byKeyId = options.byKeyId;
    if (options.oaep)
        how.oaep = OaepParameters();
    if (auto const* const gcm = std::ranges::find(gcmCiphers, name, &MessageCipher::name);
        gcm != std::end(gcmCiphers)) {
        how.cipher = gcm->id;
        how.keySize = gcm->keySize;
        return how;
    }
    auto cipher = findCipher(name);
    if (!cipher)
        cipher = findCipher(name + "-cbc"); // "aes-256", "des-ede3"
    if (!cipher || (cipher->id != CipherID::AesCbc && cipher->id != CipherID::TripleDesCbc))
        return std::nullopt;
    how.cipher = cipher->id;
    how.keySize = static_cast<unsigned>(cipher->keyLengths.back());
    return how;
}

/// The certificate of a recipient. Complains on failure.
std::optional<X509Certificate> readRecipient(std::string const& path, MessageEncryptOptions const& options) {
    auto certificate = readCertificate(path);
    if (!certificate)
        return std::nullopt;
    auto const key = certificate->parsePublicKey(nullptr);
    if (!key || key->keyType() == KeyType::Ed25519) {
        badInput(path + ": has another type of key: messages are only encrypted to RSA, EC and X25519 keys");
        return std::nullopt;
    }
    if (options.oaep && key->keyType() != KeyType::RSA) {
        badInput(path + ": has no RSA key: omit --oaep");
        return std::nullopt;
    }
    if (options.byKeyId && certificate->subjectKeyId.empty()) {
        badInput(path + ": has no subject key identifier: omit --key-id");
        return std::nullopt;
    }
    unsigned const usage =
        key->keyType() == KeyType::RSA ? KeyUsage::keyEncipherment : KeyUsage::keyAgreement;
    if (!isFitNow(path, *certificate, usage, "encrypting keys to it"))
        return std::nullopt;
    return certificate;
}

int encrypt(MessageEncryptOptions const& options) {
    std::vector<std::string_view> inputs(options.recipients.begin(), options.recipients.end());
    inputs.push_back(options.password.file);
    inputs.push_back(options.file);
    if (standardInputTwice(inputs))
        return exitWrongUsage;
    if (options.recipients.empty() && !options.password.isGiven())
        return wrongUsage("the message has no recipients: give --certificate FILE (or --to FILE), or "
                          "--password-file FILE");
    auto const how = readCipher(options);
    if (!how)
        return wrongUsage(
            "\"" + options.cipher +
            "\" is not a cipher for messages; the choices are aes-128-gcm, aes-192-gcm, aes-256-gcm, "
            "aes-128-cbc, aes-192-cbc, aes-256-cbc and des-ede3-cbc");
    std::vector<X509Certificate> certificates;
    certificates.reserve(options.recipients.size());
    for (std::string const& path : options.recipients) {
        auto certificate = readRecipient(path, options);
        if (!certificate)
            return exitBadInput;
        certificates.push_back(std::move(*certificate));
    }
    std::vector<X509Certificate const*> recipients;
    for (X509Certificate const& certificate : certificates)
        recipients.push_back(&certificate);
    if (!options.mail.isUsable(options.output))
        return exitWrongUsage;
    auto const file = readMessage(options.file);
    if (!file)
        return exitBadInput;
    auto const content = options.mail.prepare(asn1::blob(file->data(), file->size()), false);
    if (!content)
        return exitBadInput;
    int status = exitDone;
    std::unique_ptr<Password> password;
    std::vector<std::string_view> passwords;
    if (options.password.isGiven()) {
        password = readPassword(options.password, AskFor::fresh, "the message", &status);
        if (!password)
            return status;
        passwords.push_back(password->text);
    }
    OutputFile output;
    if (status = options.output.open(output); status != exitDone)
        return status;
    Refusal refusal;
    std::vector<unsigned char> message;
    workWithClock("encrypting", [&] {
        message =
            encryptMessage(recipients, passwords, getDataOid(), asn1::blob(content->data(), content->size()),
                           *how, getDefaultRng(), &refusal);
    });
    if (message.empty())
        return badInput("cannot be encrypted: " + complaintOf(refusal));
    if (!options.mail.smime)
        return writeMessage(options.output, output, std::move(message));
    options.output.describe(message.size());
    return options.mail.writeMail(output, message);
}

/// Complains of a failed decryption, with the reasons that the message suggests. Returns the exit status.
int refuseDecryption(std::string const& file, Refusal const& refusal) {
    switch (refusal.id) {
    case RefusalId::undecryptable:
        return answerNo(file + ": does not decrypt with this key: wrong key, or a changed message");
    case RefusalId::wrongPassword:
        return answerNo(file + ": the password is wrong");
    case RefusalId::changedContent:
        return answerNo(file + ": the password is right, but the message was changed");
    default:
        return badInput(file + ": " + complaintOf(refusal));
    }
}

/// The key or password that decrypts a message. Complains if both are missing.
struct Opener {
    std::unique_ptr<PrivateKey> key;
    std::optional<X509Certificate> certificate;
    std::unique_ptr<Password> password; ///< Null if there is a key.

    /// Reads the key and its certificate.
    int readKey(MessageDecryptOptions const& options) {
        int status = exitDone;
        key = readPrivateKeyOf(options.key, options.password, &status);
        if (!key)
            return status;
        if (key->keyType() == KeyType::Ed25519)
            return badInput(options.key +
                            ": can only sign: messages are encrypted to RSA, EC and X25519 keys");
        if (options.certificate.empty())
            return exitDone;
        certificate = readCertificate(options.certificate);
        return certificate && isOwnKey(options.certificate, *certificate, *key) ? exitDone : exitBadInput;
    }

    /// Whether the message has a recipient that may be this one.
    int find(MessageDecryptOptions const& options, EnvelopedMessage const& message) {
        if (message.recipients.empty())
            return badInput(options.file + ": has no supported recipients");
        if (!key) {
            auto const isPassword = [](auto const& each) { return each.kind == RecipientKind::password; };
            if (std::ranges::none_of(message.recipients, isPassword))
                return answerNo(options.file +
                                ": is not encrypted under a password: give the key, --key FILE");
            int status = exitDone;
            password = readPassword(options.password, AskFor::existing, options.file, &status);
            return status = password ? exitDone : status;
        }
        auto const found = certificate ? message.findRecipients(*certificate) : message.findRecipients(*key);
        if (found.empty())
            return answerNo(options.file + ": is encrypted to others, not to this " +
                            (certificate ? "certificate" : "key"));
        // Trying a key on each of many recipients takes too long.
        if (found.size() > maxRecipientsTried && !certificate)
            return wrongUsage(options.file + ": has many recipients: give --certificate");
        return exitDone;
    }

    bool open(EnvelopedMessage const& message, std::vector<unsigned char>& content, Refusal* refusal) const {
        bool isOpened = false;
        workWithClock("decrypting", [&] {
            isOpened = key ? message.decrypt(certificate ? &*certificate : nullptr, *key, content, refusal)
                           : message.decrypt(std::string_view(password->text), content, refusal);
        });
        return isOpened;
    }
};

/// The JSON of a decrypted message.
void describe(MessageDecryptOptions const& options, EnvelopedMessage const& message, size_t bytes) {
    PKCS7EncryptedContentInfo const& info = message.encryptedContentInfo;
    if (report::isJson())
        report::set({{"output", report::nameOfOutput(options.output)},
                     {"bytes", bytes},
                     {"contentType", getContentTypeName(info.contentType)},
                     {"cipher", oidName(info.contentEncryptionAlgorithm.oid)},
                     {"authenticated", message.isAuthenticated}});
}

int decrypt(MessageDecryptOptions const& options) {
    if (standardInputTwice({options.key, options.password.file, options.certificate, options.file}))
        return exitWrongUsage;
    Opener opener;
    if (!options.key.empty())
        if (int const status = opener.readKey(options); status != exitDone)
            return status;
    auto const file = MessageFile::read(options.file);
    if (!file)
        return exitBadInput;
    EnvelopedMessage message;
    if (Complaint const why = parseMessage(message, file->der()); !why.empty())
        return badInput(options.file + ": " + why);
    if (int const status = opener.find(options, message); status != exitDone)
        return status;
    keepReportOff(options.output);
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    std::vector<unsigned char> content;
    Refusal refusal;
    if (!opener.open(message, content, &refusal))
        return refuseDecryption(options.file, refusal);
    if (!isData(message.encryptedContentInfo.contentType))
        note("the content is not plain data, but of the type " +
             getContentTypeName(message.encryptedContentInfo.contentType) +
             (message.isAuthenticated && message.authAttrs.empty() ? ", which is not authenticated" : ""));
    int const status = options.text ? takeText(options.file, content) : exitDone;
    bool const isWritten = status == exitDone && output.write(content) && output.commit();
    if (isWritten)
        describe(options, message, content.size());
    secureMemset(content.data(), 0, content.size());
    return isWritten ? exitDone : exitBadInput;
}

constexpr char encryptFooter[] =
    "Encrypts to the holders of certificates, under a password, or both; each recipient can\n"
    "decrypt the message. The key of a certificate decides how the message key is encrypted:\n"
    "RSA with PKCS#1 v1.5, or with OAEP over SHA-256 (--oaep); EC and X25519 by key\n"
    "agreement. The key of a password is derived by PBKDF2 with 600,000 iterations.\n\n"
    "Without --cipher, a message to certificates only is encrypted with AES-256-CBC, which\n"
    "all programs of the last twenty years can decrypt, including \"openssl smime -decrypt\".\n"
    "A message under a password is encrypted with AES-256-GCM, which authenticates: a changed\n"
    "message does not decrypt. \"openssl cms -decrypt\" decrypts both, with -pwri_password\n"
    "for a password.\n\n"
    "Trust in the certificates is not checked (\"sealkit verify\" does that), but a\n"
    "certificate that is not valid now, or whose key usage does not allow encrypting keys, is\n"
    "refused. Encryption does not authenticate the sender: sign first, and encrypt the signed\n"
    "message.\n\n"
    "Examples:\n"
    "  sealkit key new rsa-2048 -o your.key\n"
    "  sealkit cert self-sign -k your.key --profile server --subject \"/CN=you\" --san DNS:you.example -o "
    "your.pem\n"
    "  echo hello > letter.txt\n"
    "  sealkit cms encrypt --certificate your.pem letter.txt -o letter.p7m\n"
    "  sealkit cms decrypt -k your.key --certificate your.pem letter.p7m -o copy.txt\n"
    "  sealkit random 16 --hex > password.txt\n"
    "  sealkit cms encrypt --password-file password.txt letter.txt -o locked.p7m\n"
    "  sealkit cms decrypt --password-file password.txt locked.p7m -o unlocked.txt";

} // namespace

Work setUpCmsEncrypt(CommandLine commandLine) {
    auto options = std::make_shared<MessageEncryptOptions>();
    commandLine
        .texts("--certificate|--to", options->recipients,
               "the certificate of a recipient; once for each recipient")
        .valueName("FILE");
    addPasswordOptions(commandLine, options->password, "that decrypts the message");
    commandLine
        .text(
            "--cipher", options->cipher,
            "aes-256-gcm (the default under a password), aes-192-gcm,\naes-128-gcm, aes-256-cbc (the default "
            "otherwise),\naes-192-cbc, aes-128-cbc or des-ede3-cbc")
        .valueName("CIPHER");
    commandLine.flag("--oaep", options->oaep,
                     "encrypt to RSA keys with OAEP over SHA-256 instead of PKCS#1 v1.5");
    commandLine.flag("--key-id", options->byKeyId,
                     "name recipients by subject key identifier instead of issuer and serial number");
    options->mail.declare(commandLine);
    options->output.declare(commandLine);
    commandLine.text("FILE", options->file, "what is encrypted; - is standard input").required();
    commandLine.footer(encryptFooter);
    return [options] { return encrypt(*options); };
}

Work setUpCmsDecrypt(CommandLine commandLine) {
    auto options = std::make_shared<MessageDecryptOptions>();
    Parameter const key =
        commandLine.text("-k,--key", options->key, "the private key, PEM or DER").valueName("KEY");
    addPasswordOptions(commandLine, options->password, "of an encrypted KEY; without a KEY, of the message");
    commandLine
        .text("--certificate", options->certificate,
              "the recipient's certificate, which identifies the recipient. Without it the key is tried\n"
              "for every recipient")
        .valueName("FILE")
        .needs(key);
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    commandLine.flag("--text", options->text, takeTextHelp);
    commandLine.json();
    commandLine.text("FILE", options->file, "the message, PEM, DER or S/MIME mail; - is standard input")
        .required();
    commandLine.footer(
        std::string(
            "Decrypts messages with the key of one of their recipients, or with a password:\n"
            "EnvelopedData under triple DES or AES in CBC mode and AuthEnvelopedData under AES-GCM,\n"
            "in DER or BER, to RSA keys under PKCS#1 v1.5 or OAEP, to EC and X25519 keys by key\n"
            "agreement, and under passwords by PBKDF2.\n\n"
            "Every failure of decryption gives the same message (status 1). Do not let strangers see\n"
            "it for messages of their own making: it would help them to decrypt other messages.\n\n") +
        std::string(encryptFooter).substr(std::string(encryptFooter).find("Examples:")));
    return [options] { return decrypt(*options); };
}

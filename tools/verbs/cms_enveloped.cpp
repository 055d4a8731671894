#include "io/input.h"
#include "io/terminal.h"
#include "objects/ca_certificate.h"
#include "objects/certificates.h"
#include "objects/cipher_names.h"
#include "objects/input_objects.h"
#include "objects/message.h"
#include "objects/signer.h"
#include "verbs/cms.h"

#include "sealkit/rng.h"

#include <algorithm>

namespace {

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
    if (Complaint const why = parseMessage(message, file->der()); !why.empty())
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

} // namespace

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

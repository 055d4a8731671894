#include "io/clock.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "io/output_file.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/certificates.h"
#include "objects/cipher_names.h"
#include "objects/description.h"
#include "objects/hash_names.h"
#include "objects/input_objects.h"
#include "objects/pem_comments.h"
#include "objects/pkcs12_file.h"
#include "verbs/verb.h"

#include "sealkit/pbes2.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"
#include "sealkit/search.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>

namespace {

/// One attempt at a password then takes tens of milliseconds on a desktop machine.
constexpr unsigned defaultIterations = 100000;
/// The minimum of RFC 8018, section 4.2.
constexpr unsigned minIterations = 1000;

struct ExportOptions {
    std::vector<std::string> keys;
    PasswordSource keyPassword;
    std::vector<std::string> certificates;
    std::vector<std::string> chain;
    std::vector<std::string> names;
    bool isTrustStore = false;
    std::string cipher;
    bool legacy = false;
    std::string mac;
    std::optional<std::uint32_t> iterations;
    PasswordSource password;
    bool emptyPassword = false;
    std::string output;
    bool force = false;
};

struct ImportOptions {
    std::string file;
    PasswordSource password;
    bool emptyPassword = false;
    std::string recipientKey;
    PasswordSource recipientKeyPassword;
    std::string recipient;
    std::vector<std::string> authorities;
    std::optional<std::uint32_t> macIterations;
    bool keysOnly = false;
    bool certificatesOnly = false;
    bool partial = false;
    bool encrypt = false;
    PasswordSource newPassword;
    std::string output;
    bool force = false;
};

bool openOutput(OutputFile& output, std::string const& path, mode_t mode, bool force) {
    if (path.empty() || path == "-")
        report::goBesideOutput();
    return output.open(path, mode, force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
}

/// The name of a file in messages.
std::string nameOf(std::string const& path, char const* otherwise) {
    return path.empty() || path == "-" ? otherwise : path;
}

/// The empty password if the options ask for it, otherwise that of `readPassword`.
std::unique_ptr<Password> readPasswordOr(bool isEmpty, PasswordSource const& source, AskFor kind,
                                         std::string const& whose, int* status) {
    return isEmpty ? std::make_unique<Password>() : readPassword(source, kind, whose, status);
}

/// Whether the options give one file two passwords. Complains if so.
bool passwordTwice(bool isEmpty, PasswordSource const& source) {
    if (!isEmpty || !source.isGiven())
        return false;
    wrongUsage("--empty-password and a password were given: omit one of them");
    return true;
}

/// Certificates without duplicates, in the order in which they were added.
class DistinctCertificates {
public:
    void add(std::shared_ptr<X509Certificate> const& certificate) {
        if (encodings.insert(certificate->serialize()).second)
            inOrder.push_back(certificate);
    }

    void add(CertificateChain const& some) {
        for (auto const& certificate : some)
            add(certificate);
    }

    CertificateChain inOrder;

private:
    std::set<std::vector<unsigned char>> encodings;
};

bool isOfKey(X509Certificate const& certificate, PrivateKey const& key) {
    auto const own = parsePkcs8PublicKey(certificate.subjectPublicKeyInfo, nullptr);
    return own && own->equals(key);
}

/// The certificates above the leaf, trusted or not.
CertificateChain findChain(std::shared_ptr<X509Certificate> const& leaf, CertificateChain const& candidates) {
    CertificateMemoryStore const nothing;
    PathSearch search(nothing);
    search.addCertificates(candidates);
    PathOptions options;
    options.now = currentTime();
    return search.find(leaf, options).chain;
}

/// The certificate of the first key and its chain, then those of the other keys, then the rest in the order
/// of the file.
CertificateChain inOrder(PKCS12PFX const& pfx) {
    std::map<std::vector<unsigned char>, std::shared_ptr<X509Certificate>> byKey;
    for (auto const& certificate : pfx.certificates)
        if (auto const key = parsePkcs8PublicKey(certificate->subjectPublicKeyInfo, nullptr))
            byKey.try_emplace(encodePkcs8PublicKey(*key), certificate);
    DistinctCertificates ordered;
    size_t strays = 0;
    for (auto const& key : pfx.keys) {
        auto const own = byKey.find(encodePkcs8PublicKey(*key));
        if (own == byKey.end()) {
            ++strays;
            continue;
        }
        if (ordered.inOrder.empty())
            ordered.add(findChain(own->second, pfx.certificates));
        ordered.add(own->second);
    }
    if (strays > 0 && !pfx.certificates.empty())
        note(strays == 1 ? "a key has no certificate in the file"
                         : std::to_string(strays) + " keys have no certificate in the file");
    ordered.add(pfx.certificates);
    return std::move(ordered.inOrder);
}

/// Reads the options for the file's protection. Complains on failure.
bool readProtection(ExportOptions const& options, PKCS12PFX& pfx) {
    auto const wrong = [](std::string const& complaint) {
        wrongUsage(complaint);
        return false;
    };
    std::string const cipher = options.cipher.empty() ? "aes-256-cbc" : str2lower(options.cipher);
    if (cipher == "des-ede3-cbc")
        pfx.pbes2Cipher = CipherID::TripleDesCbc;
    else if (cipher != "aes-256-cbc")
        return wrong("\"" + options.cipher +
                     "\" is not a cipher for PKCS#12; the choices are aes-256-cbc and des-ede3-cbc");

    HashName const* const hash = findHash(!options.mac.empty() ? options.mac
                                          : options.legacy     ? "sha1"
                                                               : "sha256");
    if (!hash || hash->id == HashID::MD4 || hash->id == HashID::MD5 || hash->id == HashID::MD5SHA1)
        return wrong("\"" + options.mac +
                     "\" is not a hash for the MAC; the choices are sha1, sha256, sha384 and sha512");
    pfx.setMacHash(hash->id);

    pfx.iterations = options.iterations.value_or(defaultIterations);
    if (pfx.iterations < minIterations || pfx.iterations > pkcs12MaxIterations)
        return wrong("--iterations takes a number from " + std::to_string(minIterations) + " to " +
                     std::to_string(pkcs12MaxIterations));
    return true;
}

/// Reads the keys. Complains on failure.
bool readKeys(ExportOptions const& options, PKCS12PFX& pfx, int* status) {
    for (std::string const& path : options.keys) {
        std::shared_ptr<PrivateKey> key = readPrivateKeyOf(path, options.keyPassword, status);
        if (!key)
            return false;
        pfx.keys.push_back(std::move(key));
    }
    return true;
}

/// Whether each key has its certificate among `own`. Complains if not.
bool haveCertificates(ExportOptions const& options, PKCS12PFX const& pfx, CertificateChain const& own) {
    for (size_t i = 0; i < pfx.keys.size(); ++i) {
        auto const isItsCertificate = [&](auto const& certificate) {
            return isOfKey(*certificate, *pfx.keys[i]);
        };
        if (std::ranges::any_of(own, isItsCertificate))
            continue;
        bool const isOne = pfx.keys.size() == 1 && options.certificates.size() == 1;
        badInput(isOne ? options.certificates.front() + ": " +
                             (own.size() == 1 ? "is not the certificate of this key"
                                              : "holds no certificate of this key") +
                             " (its public key is another)"
                       : options.keys[i] + ": none of the given certificates is for this key");
        return false;
    }
    return true;
}

/// Reads the keys and the certificates, starting with that of the first key. Complains on failure.
bool readContents(ExportOptions const& options, PKCS12PFX& pfx, int* status) {
    *status = exitBadInput;
    if (!readKeys(options, pfx, status))
        return false;
    *status = exitBadInput;
    DistinctCertificates certificates;
    auto const addAll = [&certificates](std::vector<std::string> const& paths) {
        return std::ranges::all_of(paths, [&certificates](std::string const& path) {
            auto const some = readAllCertificates(path, FormRules::standard);
            if (some)
                certificates.add(*some);
            return some.has_value();
        });
    };
    if (!addAll(options.certificates))
        return false;
    if (!options.certificates.empty() && !haveCertificates(options, pfx, certificates.inOrder))
        return false;
    if (!addAll(options.chain))
        return false;
    pfx.certificates = std::move(certificates.inOrder);
    if (!options.isTrustStore)
        pfx.certificates = inOrder(pfx);
    return true;
}

/// The default name of a certificate in a trust store. Java rejects entries without a name.
std::string defaultName(X509Certificate const& certificate, size_t index) {
    return certificate.subject.commonName.empty() ? "certificate " + std::to_string(index + 1)
                                                  : certificate.subject.commonName;
}

/// Names the certificates of a trust store and marks them as trusted for Java. Complains on failure.
bool nameTrusted(ExportOptions const& options, PKCS12PFX& pfx) {
    pfx.certificateAttributes.resize(pfx.certificates.size());
    if (options.names.size() > pfx.certificates.size()) {
        wrongUsage("there are more names than certificates");
        return false;
    }
    std::set<std::string> names;
    for (size_t i = 0; i < pfx.certificates.size(); ++i) {
        PKCS12Attributes& attributes = pfx.certificateAttributes[i];
        std::string const name =
            i < options.names.size() ? options.names[i] : defaultName(*pfx.certificates[i], i);
        // Java keeps only one entry of each name, ignoring case.
        attributes.friendlyName = name;
        for (unsigned copy = 2; !names.insert(str2lower(attributes.friendlyName)).second; ++copy)
            attributes.friendlyName = name + " " + std::to_string(copy);
        attributes.setTrustedByJava();
    }
    return true;
}

/// Names the keys and their certificates, and links them. Complains on failure.
bool nameKeys(ExportOptions const& options, PKCS12PFX& pfx) {
    if (options.names.size() > std::max<size_t>(pfx.keys.size(), 1)) {
        wrongUsage("there are more names than keys");
        return false;
    }
    pfx.linkKeys();
    if (pfx.keys.empty() && !options.names.empty())
        pfx.certificateAttributes.front().friendlyName = options.names.front();
    for (size_t i = 0; i < std::min(options.names.size(), pfx.keys.size()); ++i) {
        PKCS12Attributes& own = pfx.keyAttributes[i];
        own.friendlyName = options.names[i];
        for (PKCS12Attributes& attributes : pfx.certificateAttributes)
            if (!own.localKeyId.empty() && attributes.localKeyId == own.localKeyId)
                attributes.friendlyName = own.friendlyName;
    }
    return true;
}

/// Reads the output back and reports its contents.
void reportExport(ExportOptions const& options, asn1::blob made, std::string const& password) {
    Pkcs12File file = readPkcs12(made);
    file.isDecrypted = decryptPkcs12(*file.pfx, password, pkcs12Options()).status == exitDone;
    report::set({{"output", report::nameOfOutput(options.output)},
                 {"bytes", made.size()},
                 {"object", describe(file, false)}});
}

int exportFile(ExportOptions const& options) {
    std::vector<std::string_view> inputs(options.chain.begin(), options.chain.end());
    inputs.insert(inputs.end(), options.keys.begin(), options.keys.end());
    inputs.insert(inputs.end(), options.certificates.begin(), options.certificates.end());
    inputs.insert(inputs.end(), {options.keyPassword.file, options.password.file});
    PKCS12PFX pfx;
    if (standardInputTwice(inputs) || !readProtection(options, pfx))
        return exitWrongUsage;
    if (options.keys.empty() && options.certificates.empty())
        return wrongUsage("there is nothing to export: give -k KEY, --certificate FILE, or both");
    if (passwordTwice(options.emptyPassword, options.password))
        return exitWrongUsage;
    if (wouldFloodTerminal(options.output))
        return wrongUsage("DER would garble the terminal: give -o FILE or -o -");

    int status = exitDone;
    if (!readContents(options, pfx, &status))
        return status;
    if (options.isTrustStore ? !nameTrusted(options, pfx) : !nameKeys(options, pfx))
        return exitWrongUsage;
    OutputFile output;
    if (!openOutput(output, options.output, 0600, options.force))
        return exitBadInput;
    auto const password = readPasswordOr(options.emptyPassword, options.password, AskFor::fresh,
                                         nameOf(options.output, "the file"), &status);
    if (!password)
        return status;
    if (options.legacy ? !pfx.encrypt(password->text)
                       : !pfx.setPbes2Params(password->text, {}, pfx.pbes2Cipher))
        return badInput("the numbers of the key are inconsistent");
    std::vector<unsigned char> const made = pfx.save();
    if (!output.write(made) || !output.commit())
        return exitBadInput;
    if (report::isJson())
        reportExport(options, made, password->text);
    return exitDone;
}

/// Verifies a signature if there is one, and reports the file's integrity protection. Complains on
/// failure.
int judgeOrigin(PKCS12PFX const& pfx, ImportOptions const& options) {
    if (options.authorities.empty()) {
        warnOfOrigin(options.file, pfx, "--ca FILE");
        return exitDone;
    }
    if (!pfx.signedData)
        return answerNo(options.file + ": is not signed");
    CertificateMemoryStore store;
    Complaint complaint;
    for (std::string const& path : options.authorities)
        if (!loadTrusted(path, FormRules::platform, &store, &complaint))
            return badInput(complaint);
    std::string reason;
    if (pfx.signedData->verify(store, {}, currentTime(), &reason))
        return exitDone;
    return answerNo(options.file + ": its signature is not valid: " + reason);
}

/// Decrypts the contents that are encrypted to a certificate. Complains on failure.
int decryptEnveloped(PKCS12PFX& pfx, ImportOptions const& options) {
    if (options.recipient.empty())
        return badInput(options.file +
                        ": contents are encrypted to a certificate: give --certificate FILE and -k KEY");
    int status = exitDone;
    auto const key = readPrivateKeyOf(options.recipientKey, options.recipientKeyPassword, &status);
    if (!key)
        return status;
    auto const certificate = readCertificate(options.recipient);
    if (!certificate)
        return exitBadInput;
    Refusal refusal;
    if (!pfx.decryptEnveloped(*certificate, *key, pkcs12Options(), &refusal))
        return answerNo(options.file + ": " + refusal);
    return exitDone;
}

/// Reads a file and decrypts all parts that it can. Complains and returns null on failure.
std::unique_ptr<PKCS12PFX> decryptFile(ImportOptions const& options, int* status) {
    auto const text = readSecretInput(options.file);
    if (!text) {
        *status = exitBadInput;
        return nullptr;
    }
    auto const refuse = [&](Complaint const& complaint) {
        *status = badInput(options.file + ": " + complaint);
        return nullptr;
    };
    Pkcs12File file = readPkcs12Within(textOf(*text));
    if (!file.pfx)
        return refuse(file.complaint);
    PKCS12PFX& pfx = *file.pfx;
    PKCS12Options const reading = pkcs12Options(options.macIterations);
    if (Refusal refusal; !pfx.canDecrypt(reading, &refusal))
        return refuse(complaintOfPkcs12(refusal));
    noteForm(options.file, pfx);
    *status = judgeOrigin(pfx, options);
    if (*status != exitDone)
        return nullptr;

    std::unique_ptr<Password> password;
    auto const decrypt = [&] {
        if (!password)
            password = readPasswordOr(options.emptyPassword, options.password, AskFor::existing,
                                      nameOf(options.file, "the file on standard input"), status);
        if (!password)
            return false;
        Decrypting const result = decryptPkcs12(pfx, password->text, reading);
        *status = result.status;
        if (result.status != exitDone) {
            Complaint const complaint = options.file + ": " + result.complaint;
            *status = result.status == exitNo ? answerNo(complaint) : badInput(complaint);
        }
        return *status == exitDone;
    };
    if (pfx.needsPassword() && !decrypt())
        return nullptr;
    if (pfx.needsRecipient() && !(options.partial && options.recipient.empty())) {
        *status = decryptEnveloped(pfx, options);
        if (*status != exitDone || (pfx.encryptedKeys() > 0 && !decrypt()))
            return nullptr;
    }
    if (std::string const weakness = findWeakness(pfx); !weakness.empty())
        note(options.file + ": " + weakness);
    if (std::string const ignored = listIgnored(pfx); !ignored.empty())
        warn(options.file + ": it holds more, which is ignored: " + ignored);
    for (std::string const& problem : listUnreadable(pfx)) {
        warn(options.file + ": " + problem);
        if (!options.partial)
            *status = exitBadInput;
    }
    return std::move(file.pfx);
}

/// Writes PEM and wipes it. Complains on failure.
bool writePem(OutputFile& output, std::vector<unsigned char> pem) {
    bool const written = !pem.empty() ? output.write(pem) : (badInput("a key cannot be written"), false);
    secureMemset(pem.data(), 0, pem.size());
    return written;
}

/// The name of the object at a position; empty if it has none.
std::string_view nameAt(std::vector<PKCS12Attributes> const& attributes, size_t at) {
    return at < attributes.size() ? std::string_view(attributes[at].friendlyName) : std::string_view();
}

bool writeName(OutputFile& output, std::string_view name) {
    std::string const comment = friendlyNameComment(name);
    asn1::blob const line(comment);
    return output.write({line.data(), line.size()});
}

bool writeKey(OutputFile& output, PrivateKey const& key, Password const* password) {
    if (!password)
        return writePem(output, encodePemPkcs8PrivateKey(key));
    return writePem(output,
                    encodePemType("ENCRYPTED PRIVATE KEY",
                                  encodePkcs8EncryptedPrivateKey(key, password->text, defaultIterations)));
}

bool writeCertificates(OutputFile& output, PKCS12PFX const& pfx, CertificateChain const& ordered) {
    std::map<X509Certificate const*, std::string_view> names;
    for (size_t i = 0; i < pfx.certificates.size(); ++i)
        names.emplace(pfx.certificates[i].get(), nameAt(pfx.certificateAttributes, i));
    return std::ranges::all_of(ordered, [&](auto const& certificate) {
        return writeName(output, names[certificate.get()]) &&
               output.write(encodePemCertificate(*certificate));
    });
}

int importFile(ImportOptions const& options) {
    std::vector<std::string_view> inputs(options.authorities.begin(), options.authorities.end());
    inputs.insert(inputs.end(),
                  {options.file, options.password.file, options.recipientKey,
                   options.recipientKeyPassword.file, options.recipient, options.newPassword.file});
    if (standardInputTwice(inputs) || passwordTwice(options.emptyPassword, options.password))
        return exitWrongUsage;
    bool const encrypts = options.encrypt || options.newPassword.isGiven();
    if (encrypts && options.certificatesOnly)
        return wrongUsage("certificates are not encrypted: omit --certificates-only or the new password");
    if (options.macIterations &&
        (*options.macIterations == 0 || *options.macIterations > pkcs12MaxIterations))
        return wrongUsage("--mac-iterations takes a number from 1 to " + std::to_string(pkcs12MaxIterations));
    OutputFile output;
    if (!openOutput(output, options.output, options.certificatesOnly ? 0666 : 0600, options.force))
        return exitBadInput;

    int status = exitDone;
    auto pfx = decryptFile(options, &status);
    if (!pfx)
        return status;
    int const partly = status;
    bool const keys = !options.certificatesOnly, certificates = !options.keysOnly;
    if ((!keys || pfx->keys.empty()) && (!certificates || pfx->certificates.empty()))
        return badInput(options.file + ": holds no " +
                        (!keys           ? "certificate"
                         : !certificates ? "key"
                                         : "key and no certificate"));
    std::unique_ptr<Password> password;
    if (encrypts && !pfx->keys.empty()) {
        password =
            readPassword(options.newPassword, AskFor::fresh, nameOf(options.output, "the key"), &status);
        if (!password)
            return status;
    }
    for (size_t i = 0; keys && i < pfx->keys.size(); ++i)
        if (!writeName(output, nameAt(pfx->keyAttributes, i)) ||
            !writeKey(output, *pfx->keys[i], password.get()))
            return exitBadInput;
    CertificateChain const ordered = certificates ? inOrder(*pfx) : CertificateChain();
    if (!writeCertificates(output, *pfx, ordered) || !output.commit())
        return exitBadInput;
    if (report::isJson())
        report::set({{"output", report::nameOfOutput(options.output)},
                     {"keys", keys ? pfx->keys.size() : 0},
                     {"certificates", ordered.size()},
                     {"object", describe(Pkcs12File{std::move(pfx), "", true}, false)}});
    return partly;
}

Work exportVerb(CommandLine commandLine) {
    auto options = std::make_shared<ExportOptions>();
    Parameter const key =
        commandLine.texts("-k,--key", options->keys, "a private key, PEM or DER; may be given more than once")
            .valueName("KEY");
    Parameter const certificate =
        commandLine
            .texts(
                "--certificate", options->certificates,
                "the key's certificate, in a file that may hold others as well; PEM or DER; once for each\n"
                "key")
            .valueName("FILE");
    commandLine
        .texts("--chain", options->chain,
               "further certificates, those of the issuers; may be given more than once")
        .valueName("FILE")
        .needs(certificate);
    commandLine
        .texts("--name", options->names,
               "the name that programs show; once for each key or, in a trust store, certificate")
        .valueName("TEXT");
    commandLine
        .flag("--trust-store", options->isTrustStore,
              "write certificates that Java trusts: keytool lists them as trustedCertEntry")
        .excludes(key);
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    addPasswordOptions(commandLine, options->password, "that the file is encrypted under");
    addPasswordOptions(commandLine, options->keyPassword, "of an encrypted KEY", "key-");
    commandLine.flag("--empty-password", options->emptyPassword,
                     "an empty password, for programs that accept no other. It protects nothing");
    Parameter const cipher =
        commandLine.text("--cipher", options->cipher, "aes-256-cbc (the default) or des-ede3-cbc, with PBES2")
            .valueName("CIPHER");
    commandLine
        .flag("--legacy", options->legacy,
              "triple DES with the scheme of PKCS#12 and a MAC with SHA-1, for programs from before\n"
              "2020")
        .excludes(cipher);
    commandLine
        .text("--mac", options->mac, "the hash of the MAC: sha256 (the default), sha384, sha512 or sha1")
        .valueName("HASH");
    commandLine.number(
        "--iterations", options->iterations,
        "how often the password is hashed each time, which makes guessing slower. By default " +
            std::to_string(defaultIterations) + " times");
    commandLine.json();
    commandLine.footer(
        "Writes PKCS#12, the form in which programs import a key together with its certificates,\n"
        "to a file that only its owner can read. The key must be that of the certificate, which\n"
        "comes first, followed by its issuers. If no password is given, the program asks for one\n"
        "twice. Without a key it is a file of certificates. If there are several keys, each gets\n"
        "its certificate.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o my.key\n"
        "  sealkit cert self-sign -k my.key --subject /CN=me -o my.pem\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit p12 export -k my.key --certificate my.pem --password-file my.password -o my.p12\n"
        "  sealkit p12 export --trust-store --certificate my.pem --password-file my.password -o trust.p12");
    return [options] { return exportFile(*options); };
}

Work importVerb(CommandLine commandLine) {
    auto options = std::make_shared<ImportOptions>();
    commandLine.text("FILE", options->file, "PKCS#12, DER or PEM; - is standard input").required();
    commandLine.text("-o,--output", options->output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options->force, forceHelp);
    addPasswordOptions(commandLine, options->password, "of the file");
    commandLine.flag("--empty-password", options->emptyPassword, "the password is empty or absent");
    Parameter const keysOnly = commandLine.flag("--keys-only", options->keysOnly, "write no certificates");
    commandLine.flag("--certificates-only", options->certificatesOnly, "write no keys").excludes(keysOnly);
    addPasswordOptions(commandLine, options->newPassword, "that keys are encrypted under", "key-out-");
    commandLine.flag("--partial", options->partial, "exit with 0 even if a part of the file cannot be read");
    commandLine.flag("--encrypt", options->encrypt, "encrypt the keys; asks for that password twice");
    commandLine
        .texts(
            "--ca", options->authorities,
            "check the signature of a signed file: a file or folder\nof trusted certificates; may be given "
            "more than once")
        .valueName("FILE");
    commandLine.number(
        "--mac-iterations", options->macIterations,
        "how often the password is hashed for the MAC if the file does not say it; without this,\n"
        "2048 and 1 are tried");
    Parameter key = commandLine
                        .text("-k,--key", options->recipientKey,
                              "the private key for contents that are encrypted to a certificate")
                        .valueName("KEY");
    Parameter recipient =
        commandLine.text("--certificate", options->recipient, "that certificate").valueName("FILE");
    key.needs(recipient);
    recipient.needs(key);
    addPasswordOptions(commandLine, options->recipientKeyPassword, "of an encrypted KEY", "key-");
    commandLine.json();
    commandLine.footer(
        "Writes PEM in the order that TLS servers want, to a file that only its owner can read:\n"
        "the keys in PKCS#8, the certificate of the first key, its issuers, and the rest. If no\n"
        "password is given, the program asks for it. The exit status is 1 if the password is\n"
        "wrong, and 2 if the file cannot be read. If parts of the file cannot be read, they are\n"
        "reported and the others are written; the exit status is then 2, unless --partial is\n"
        "given. The name that the file gives an object is in a comment before its block.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o my.key\n"
        "  sealkit cert self-sign -k my.key --subject /CN=me -o my.pem\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit p12 export -k my.key --certificate my.pem --password-file my.password -o my.p12\n"
        "  sealkit p12 import my.p12 --password-file my.password -o both.pem\n"
        "  sealkit p12 import my.p12 --password-file my.password --certificates-only");
    return [options] { return importFile(*options); };
}

} // namespace

Work setUpP12(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"export", "write a key and certificates to a PKCS#12 file", exportVerb},
        {"import", "extract keys and certificates from a PKCS#12 file", importVerb},
        {"show", "describe a PKCS#12 file", setUpShow},
    };
    commandLine.footer(
        "\"sealkit show FILE.p12\" describes a file, and with its password also the contents.");
    return commandLine.verbs(verbs);
}

#include "io/number.h"
#include "io/output_file.h"
#include "io/progress.h"
#include "io/report.h"
#include "io/secret.h"
#include "io/terminal.h"
#include "objects/description.h"
#include "objects/key_encryption.h"
#include "objects/key_file.h"
#include "verbs/verb.h"

#include "sealkit/openssh.h"
#include "sealkit/pem.h"
#include "sealkit/pkcs8.h"
#include "sealkit/rng.h"

#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

constexpr unsigned defaultRsaBits = 3072, minRsaBits = 2048, maxRsaBits = 8192;

/// The forms that --to names.
enum class Form { pkcs8, der, traditional, openssh };

struct KeyOptions {
    std::string input = "-";
    std::string output;
    bool force = false;
    std::string to, comment;
    PasswordSource password;
};

struct KeyEncryptOptions : KeyOptions {
    std::optional<std::uint32_t> iterations;
    PasswordSource oldPassword;
};

struct NewKeyOptions : KeyOptions {
    std::string type;
    std::optional<std::uint32_t> bits;
    bool encrypt = false;
    std::optional<std::uint32_t> iterations;
};

struct KeyName {
    std::string_view name;
    KeyType type;
    Curve curve = Curve{};
};

/// In lowercase and without punctuation, as `findKeyName` compares them.
constexpr KeyName keyNames[] = {
    {"rsa", KeyType::RSA},
    {"p192", KeyType::EC, Curve::p192},
    {"prime192v1", KeyType::EC, Curve::p192},
    {"secp192r1", KeyType::EC, Curve::p192},
    {"p224", KeyType::EC, Curve::p224},
    {"secp224r1", KeyType::EC, Curve::p224},
    {"p256", KeyType::EC, Curve::p256},
    {"prime256v1", KeyType::EC, Curve::p256},
    {"secp256r1", KeyType::EC, Curve::p256},
    {"p384", KeyType::EC, Curve::p384},
    {"secp384r1", KeyType::EC, Curve::p384},
    {"p521", KeyType::EC, Curve::p521},
    {"secp521r1", KeyType::EC, Curve::p521},
    {"ed25519", KeyType::Ed25519},
    {"x25519", KeyType::X25519},
};

/// The parsed TYPE.
struct RequestedKey {
    KeyType type;
    Curve curve;
    std::optional<unsigned> bits; ///< From a name such as "rsa-4096".
};

std::optional<RequestedKey> parseType(std::string_view text) {
    std::string name = str2lower(text);
    std::optional<unsigned> bits;
    if (name.starts_with("rsa-")) {
        bits = parseNumber<unsigned>(std::string_view(name).substr(4));
        if (!bits)
            return std::nullopt;
        name.resize(3);
    }
    std::erase(name, '-');
    if (name.starts_with("nistp")) // A name of SSH.
        name.erase(0, 4);
    auto const row = std::ranges::find(keyNames, name, &KeyName::name);
    if (row == std::end(keyNames))
        return std::nullopt;
    return RequestedKey{row->type, row->curve, bits};
}

/// A new key; null if the random source fails.
std::unique_ptr<PrivateKey> generate(RequestedKey const& requested, unsigned bits) {
    Rng& rng = getDefaultRng();
    auto const made = [&rng]<typename K>(std::unique_ptr<K> key) -> std::unique_ptr<PrivateKey> {
        if (!key->generatePrivKey(rng))
            return nullptr;
        return key;
    };
    switch (requested.type) {
    case KeyType::RSA: {
        auto key = std::make_unique<RsaPrivateKey>();
        bool isMade = false;
        workWithClock("making an RSA key of " + std::to_string(bits) + " bits",
                      [&] { isMade = key->generatePrivKey(rng, bits); });
        return isMade ? std::move(key) : nullptr;
    }
    case KeyType::EC: {
        auto key = std::make_unique<EcPrivateKey>();
        key->curve = requested.curve;
        return made(std::move(key));
    }
    case KeyType::Ed25519:
        return made(std::make_unique<Ed25519PrivateKey>());
    case KeyType::X25519:
        return made(std::make_unique<X25519PrivateKey>());
    }
    return nullptr;
}

bool openOutput(OutputFile& output, KeyOptions const& options, mode_t mode) {
    if (options.output.empty() || options.output == "-")
        report::goBesideOutput();
    return output.open(options.output, mode,
                       options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep);
}

/// Writes the PEM of a key and commits the output. The bytes are wiped.
int writePem(OutputFile& output, std::string const& label, std::vector<unsigned char> der) {
    std::vector<unsigned char> pem = encodePemType(label, der);
    secureMemset(der.data(), 0, der.size());
    bool const written = !pem.empty() && output.write(pem) && output.commit();
    if (pem.empty())
        badInput("the key cannot be written");
    secureMemset(pem.data(), 0, pem.size());
    return written ? exitDone : exitBadInput;
}

int writePrivateKey(OutputFile& output, PrivateKey const& key, Password const* password,
                    unsigned iterations) {
    if (!password)
        return writePem(output, "PRIVATE KEY", encodePkcs8PrivateKey(key));
    std::vector<unsigned char> der;
    workWithClock("encrypting the key",
                  [&] { der = encodePkcs8EncryptedPrivateKey(key, password->text, iterations); });
    return writePem(output, "ENCRYPTED PRIVATE KEY", std::move(der));
}

/// Describes the output for JSON; returns the status.
int describeWritten(int status, KeyOptions const& options, char const* object, PublicKey const& key) {
    if (status != exitDone || !report::isJson())
        return status;
    Description described{{"object", object}};
    described.update(describe(key));
    report::set({{"output", report::nameOfOutput(options.output)}, {"object", std::move(described)}});
    return status;
}

int describeWritten(int status, KeyOptions const& options, char const* object, PrivateKey const& key) {
    if (status != exitDone || !report::isJson())
        return status;
    return describeWritten(status, options, object, *key.publicKey());
}

/// The form that --to names. Complains on failure.
std::optional<Form> formOf(KeyOptions const& options) {
    constexpr struct {
        std::string_view name;
        Form form;
    } forms[] = {{"pem", Form::pkcs8},
                 {"der", Form::der},
                 {"traditional", Form::traditional},
                 {"openssh", Form::openssh}};
    auto const* const row = std::ranges::find_if(forms, [name = options.to.empty() ? "pem" : options.to](
                                                            auto const& one) { return one.name == name; });
    if (row == std::end(forms)) {
        wrongUsage("\"" + options.to +
                   "\" is not a form of a key; the choices are pem, der, traditional, openssh");
        return std::nullopt;
    }
    if (!options.comment.empty() && row->form != Form::openssh) {
        wrongUsage("--comment is for --to openssh");
        return std::nullopt;
    }
    if (row->form == Form::der && wouldFloodTerminal(options.output)) {
        wrongUsage("DER would garble the terminal: give -o FILE or -o -");
        return std::nullopt;
    }
    return row->form;
}

/// Writes a key in a form that its type may lack, and commits the output. The bytes are wiped.
int writeForm(OutputFile& output, std::vector<unsigned char> bytes, std::string const& form) {
    if (bytes.empty())
        return badInput("keys of this kind have no form \"" + form + "\"");
    bool const written = output.write(bytes) && output.commit();
    secureMemset(bytes.data(), 0, bytes.size());
    return written ? exitDone : exitBadInput;
}

int writePublicForm(OutputFile& output, PublicKey const& key, Form form, KeyOptions const& options) {
    switch (form) {
    case Form::pkcs8:
        break;
    case Form::der:
        return writeForm(output, encodePkcs8PublicKey(key), options.to);
    case Form::traditional: {
        auto const* const rsa = dynamic_cast<RsaPublicKey const*>(&key);
        return writeForm(output, rsa ? encodePemRsaPublicKey(*rsa) : std::vector<unsigned char>(),
                         options.to);
    }
    case Form::openssh:
        return writeForm(output, encodeOpensshPublicKey(key, options.comment), options.to);
    }
    return writePem(output, "PUBLIC KEY", encodePkcs8PublicKey(key));
}

int writePrivateForm(OutputFile& output, PrivateKey const& key, Form form, KeyOptions const& options) {
    switch (form) {
    case Form::pkcs8:
        break;
    case Form::der:
        return writeForm(output, encodePkcs8PrivateKey(key), options.to);
    case Form::traditional:
        return writeForm(output, encodePemTraditionalPrivateKey(key), options.to);
    case Form::openssh:
        return writeForm(output, encodeOpensshPrivateKey(key, options.comment), options.to);
    }
    return writePrivateKey(output, key, nullptr, 0);
}

/// The name of the output in messages.
std::string nameOfOutput(KeyOptions const& options) {
    return options.output.empty() || options.output == "-" ? "the key" : options.output;
}

int makeKey(NewKeyOptions const& options) {
    auto const requested = parseType(options.type);
    if (!requested)
        return wrongUsage(
            "\"" + options.type +
            "\" is not a type of key; the choices are rsa, p192, p224, p256, p384, p521, ed25519, x25519");
    if (options.bits && (requested->type != KeyType::RSA || requested->bits))
        return wrongUsage(requested->bits ? "the type already includes the number of bits: omit --bits"
                                          : "--bits is for RSA keys");
    unsigned const bits = requested->bits.value_or(options.bits.value_or(defaultRsaBits));
    if (requested->type == KeyType::RSA && (bits < minRsaBits || bits > maxRsaBits || bits % 2 != 0))
        return wrongUsage("the size of an RSA key is an even number of bits from 2048 to 8192");
    bool const encrypts = options.encrypt || options.password.isGiven();
    if (options.iterations && !encrypts)
        return wrongUsage("--iterations is for encrypted keys: give --encrypt or --password-file");
    if (areIterationsBad(options.iterations))
        return exitWrongUsage;

    OutputFile output;
    if (!openOutput(output, options, 0600))
        return exitBadInput;
    int status = exitDone;
    std::unique_ptr<Password> password;
    if (encrypts) {
        password = readPassword(options.password, AskFor::fresh, nameOfOutput(options), &status);
        if (!password)
            return status;
    }
    auto const key = generate(*requested, bits);
    if (!key)
        return badInput("the random source failed");
    status = writePrivateKey(output, *key, password.get(), options.iterations.value_or(defaultKeyIterations));
    return describeWritten(status, options, encrypts ? "encrypted private key" : "private key", *key);
}

int writePublic(KeyOptions const& options) {
    auto const form = formOf(options);
    if (!form || standardInputTwice({options.input, options.password.file}))
        return exitWrongUsage;
    int status = exitDone;
    auto const key = readPublicKeyOf(options.input, options.password, &status);
    if (!key)
        return status;
    OutputFile output;
    if (!openOutput(output, options, 0666))
        return exitBadInput;
    return describeWritten(writePublicForm(output, *key, *form, options), options, "public key", *key);
}

int encrypt(KeyEncryptOptions const& options) {
    if (standardInputTwice({options.input, options.password.file, options.oldPassword.file}) ||
        areIterationsBad(options.iterations))
        return exitWrongUsage;
    int status = exitDone;
    auto const key = readPrivateKeyOf(options.input, options.oldPassword, &status);
    if (!key)
        return status;
    OutputFile output;
    if (!openOutput(output, options, 0600))
        return exitBadInput;
    auto const password = readPassword(options.password, AskFor::fresh, nameOfOutput(options), &status);
    if (!password)
        return status;
    status = writePrivateKey(output, *key, password.get(), options.iterations.value_or(defaultKeyIterations));
    return describeWritten(status, options, "encrypted private key", *key);
}

int decrypt(KeyOptions const& options) {
    auto const form = formOf(options);
    if (!form || standardInputTwice({options.input, options.password.file}))
        return exitWrongUsage;
    int status = exitDone;
    auto const key = readPrivateKeyOf(options.input, options.password, &status);
    if (!key)
        return status;
    OutputFile output;
    if (!openOutput(output, options, 0600))
        return exitBadInput;
    return describeWritten(writePrivateForm(output, *key, *form, options), options, "private key", *key);
}

void addForm(CommandLine& commandLine, KeyOptions& options) {
    commandLine.text("--to", options.to, "the form: pem (the default), der, traditional or openssh")
        .valueName("FORM");
    commandLine.text("--comment", options.comment, "the comment of a key in OpenSSH's form")
        .valueName("TEXT");
}

void addOutputOptions(CommandLine& commandLine, KeyOptions& options) {
    commandLine.text("-o,--output", options.output, outputHelp).valueName("FILE");
    commandLine.flag("--force", options.force, forceHelp);
    commandLine.json();
}

void addInput(CommandLine& commandLine, KeyOptions& options, char const* what) {
    commandLine.text("FILE", options.input, std::string(what) + "; - or nothing is standard input");
}

constexpr char keyInputHelp[] =
    "the private key: PKCS#8 or traditional, encrypted or\nnot, PEM or DER, or OpenSSH's, not encrypted";

Work newKeyVerb(CommandLine commandLine) {
    auto options = std::make_shared<NewKeyOptions>();
    commandLine.text("TYPE", options->type, "rsa, p192, p224, p256, p384, p521, ed25519 or x25519")
        .required();
    addOutputOptions(commandLine, *options);
    commandLine.number("--bits", options->bits, "the bits of an RSA key, 2048 to 8192; by default 3072");
    addPasswordOptions(commandLine, options->password, "that the key is encrypted under");
    commandLine.flag("--encrypt", options->encrypt, "encrypt the key; asks for the password twice");
    addIterations(commandLine, options->iterations);
    commandLine.footer(
        "Writes PKCS#8 in PEM, encrypted with AES-256 if a password is given, to a file that only\n"
        "its owner can read. Curves may also be called prime256v1, secp384r1, P-521 ...; rsa-4096\n"
        "is rsa with --bits 4096. x25519 keys are for key agreement, the others for signatures.\n\n"
        "Examples:\n"
        "  sealkit key new ed25519 -o my.key\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit key new p256 --password-file my.password -o encrypted.key");
    return [options] { return makeKey(*options); };
}

Work publicKeyVerb(CommandLine commandLine) {
    auto options = std::make_shared<KeyOptions>();
    addInput(commandLine, *options, "a private or public key, certificate or request, PEM or\nDER");
    addOutputOptions(commandLine, *options);
    addForm(commandLine, *options);
    addPasswordOptions(commandLine, options->password, "of an encrypted private key");
    commandLine.footer(
        "Writes the SubjectPublicKeyInfo in PEM, or the key in another form. If there are several\n"
        "keys or certificates, the first is used.\n\n"
        "Examples:\n"
        "  sealkit key new p256 -o my.key\n"
        "  sealkit key public my.key -o my.pub\n"
        "  sealkit key public my.key --to openssh --comment me\n"
        "  sealkit key public /etc/ssl/certs/ca-certificates.crt");
    return [options] { return writePublic(*options); };
}

Work encryptVerb(CommandLine commandLine) {
    auto options = std::make_shared<KeyEncryptOptions>();
    addInput(commandLine, *options, keyInputHelp);
    addOutputOptions(commandLine, *options);
    addPasswordOptions(commandLine, options->password, "that the key is encrypted under");
    addPasswordOptions(commandLine, options->oldPassword, "of a key that is already encrypted", "old-");
    addIterations(commandLine, options->iterations);
    commandLine.footer("Writes PKCS#8 in PEM: PBES2 with PBKDF2, HMAC-SHA256 and AES-256-CBC. A key that is\n"
                       "already encrypted gets a new password.\n\n"
                       "Examples:\n"
                       "  sealkit key new p256 -o my.key\n"
                       "  sealkit random 20 --hex -o my.password\n"
                       "  sealkit key encrypt my.key --password-file my.password --force -o my.key");
    return [options] { return encrypt(*options); };
}

Work decryptVerb(CommandLine commandLine) {
    auto options = std::make_shared<KeyOptions>();
    addInput(commandLine, *options, keyInputHelp);
    addOutputOptions(commandLine, *options);
    addForm(commandLine, *options);
    addPasswordOptions(commandLine, options->password, "of the key");
    commandLine.footer(
        "Writes PKCS#8 in PEM without a password, to a file that only its owner can read. Keys\n"
        "that are not encrypted are converted as well.\n\n"
        "Examples:\n"
        "  sealkit random 20 --hex -o my.password\n"
        "  sealkit key new p256 --password-file my.password -o encrypted.key\n"
        "  sealkit key decrypt encrypted.key --password-file my.password -o plain.key");
    return [options] { return decrypt(*options); };
}

} // namespace

Work setUpKey(CommandLine commandLine) {
    static constexpr Verb verbs[] = {
        {"new", "make a private key", newKeyVerb},
        {"public", "write the public key of a key, certificate or request", publicKeyVerb},
        {"encrypt", "encrypt a private key under a password", encryptVerb},
        {"decrypt", "write a private key without a password", decryptVerb},
    };
    commandLine.footer(
        "Private keys are written in PKCS#8 and PEM, which other programs read, to files that\n"
        "only their owner can read. Existing files are only replaced with --force. If a password\n"
        "is needed and not given, the program asks for it at the terminal.");
    return commandLine.verbs(verbs);
}

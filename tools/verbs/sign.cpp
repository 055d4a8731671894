#include "io/file_digest.h"
#include "io/hex.h"
#include "io/input.h"
#include "io/output_file.h"
#include "io/report.h"
#include "io/terminal.h"
#include "objects/hash_names.h"
#include "objects/key_file.h"
#include "verbs/verb.h"

#include "sealkit/signature.h"

#include <kp/base64.h>
#include <kp/text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>

namespace {

struct SignatureOptions {
    std::string key;
    std::string algorithm;
    bool hex = false;
    bool base64 = false;
    PasswordSource password;
    std::string file;
};

struct SignOptions : SignatureOptions {
    std::string output;
    bool force = false;
};

struct SignatureCheckOptions : SignatureOptions {
    std::string signature;
};

/// The input of a signature: the message for Ed25519, its digest for other keys.
struct Signed {
    HashID hash = HashID::none; ///< `none` for a message.
    SecretBytes bytes;

    operator asn1::blob() const { return {bytes.data(), bytes.size()}; }
};

/// Reads the file. Complains on failure.
std::optional<Signed> readSigned(SignatureOptions const& options, PublicKey const& key, int* status) {
    *status = exitBadInput;
    if (key.keyType() == KeyType::X25519) {
        badInput(options.key + ": an X25519 key is for key agreement and cannot sign");
        return std::nullopt;
    }
    if (key.keyType() == KeyType::Ed25519) {
        if (!options.algorithm.empty()) {
            *status = wrongUsage("an Ed25519 key has its own hash: omit --algorithm");
            return std::nullopt;
        }
        auto message = readMessage(options.file);
        return message ? std::optional(Signed{HashID::none, std::move(*message)}) : std::nullopt;
    }
    HashID const hash = options.algorithm.empty() ? getMatchingHash(key) : findHash(options.algorithm)->id;
    if (key.keyType() == KeyType::RSA && hash == HashID::MD4) {
        *status = wrongUsage("an RSA key cannot sign with md4");
        return std::nullopt;
    }
    FileDigest const result = digestFile(options.file, *createHash(hash));
    if (result.error != 0) {
        badInput(options.file + ": " + std::strerror(result.error));
        return std::nullopt;
    }
    return Signed{hash, SecretBytes(result.digest.begin(), result.digest.end())};
}

/// Checks the options before any file is read. Complains if they are wrong.
bool isUsageWrong(SignatureOptions const& options, std::initializer_list<std::string_view> inputs) {
    if (!options.algorithm.empty() && !findHash(options.algorithm)) {
        wrongUsage("\"" + options.algorithm + "\" is not a hash; the choices are " + listHashes());
        return true;
    }
    return standardInputTwice(inputs);
}

int sign(SignOptions const& options) {
    if (isUsageWrong(options, {options.key, options.password.file, options.file}))
        return exitWrongUsage;
    bool const isText = options.hex || options.base64;
    if (!isText && wouldFloodTerminal(options.output))
        return wrongUsage("raw bytes would garble the terminal: give --hex, --base64, -o FILE or -o -");
    int status = exitDone;
    auto const key = readPrivateKeyOf(options.key, options.password, &status);
    if (!key)
        return status;
    OutputFile output;
    if (!output.open(options.output, 0666,
                     options.force ? OutputFile::Existing::replace : OutputFile::Existing::keep))
        return exitBadInput;
    auto const what = readSigned(options, *key, &status);
    if (!what)
        return status;
    auto signature = what->hash == HashID::none ? signMessage(*key, HashID::none, *what)
                                                : signHashed(*key, what->hash, *what);
    if (signature.empty())
        return badInput(options.key + ": the key cannot sign: its numbers are inconsistent, or "
                                      "it is too short for this hash");
    if (isText) {
        std::string const text =
            (options.hex ? toHex(std::span<unsigned char const>(signature)) : kp::base64Encode(signature)) +
            "\n";
        signature.assign(text.begin(), text.end());
    }
    return output.write(signature) && output.commit() ? exitDone : exitBadInput;
}

std::optional<std::vector<unsigned char>> readSignature(SignatureCheckOptions const& options) {
    auto text = readMessage(options.signature);
    if (!text)
        return std::nullopt;
    std::vector<unsigned char> signature(text->begin(), text->end());
    if (!options.hex && !options.base64)
        return signature;
    std::string digits(textOf(*text));
    std::erase_if(digits, [](char c) { return c == '\n' || c == '\r' || c == ' ' || c == '\t'; });
    if (options.base64) {
        signature.resize(digits.size() / 4 * 3);
        size_t const size = kp::base64Decode(digits, signature);
        if (size != kp::base64Failure) {
            signature.resize(size);
            return signature;
        }
    } else if (hex2bin(digits, &signature)) {
        return signature;
    }
    badInput(options.signature + ": is not " + (options.hex ? "hexadecimal" : "base64"));
    return std::nullopt;
}

int check(SignatureCheckOptions const& options) {
    if (isUsageWrong(options, {options.key, options.password.file, options.file, options.signature}))
        return exitWrongUsage;
    int status = exitDone;
    auto const key = readPublicKeyOf(options.key, options.password, &status);
    if (!key)
        return status;
    auto const signature = readSignature(options);
    if (!signature)
        return exitBadInput;
    auto const what = readSigned(options, *key, &status);
    if (!what)
        return status;
    Refusal refusal;
    bool const verifies = what->hash == HashID::none
                              ? verifyMessage(*key, HashID::none, *what, *signature, &refusal)
                              : verifyHashed(*key, what->hash, *what, *signature, &refusal);
    std::string const file = terminal::printable(options.file);
    if (report::isJson())
        report::set({{"file", file}, {"verdict", verifies ? "OK" : "FAILED"}});
    else
        terminal::out() << file << (verifies ? ": OK" : ": FAILED") << std::endl;
    if (!verifies)
        return answerNo(refusal.id == RefusalId::signatureMismatch
                            ? Complaint("the signature does not match this file and key", refusal)
                            : refusal);
    return exitDone;
}

void addOptions(CommandLine& commandLine, SignatureOptions& options, char const* keyHelp) {
    commandLine.text("-k,--key", options.key, keyHelp).valueName("KEY").required();
    commandLine
        .text("-a,--algorithm", options.algorithm,
              listHashes() + ";\nby default one that matches the key's strength")
        .valueName("HASH");
    addPasswordOptions(commandLine, options.password, "of an encrypted key");
    commandLine.text("FILE", options.file, "what is signed; - is standard input").required();
}

constexpr char footer[] =
    "Signatures are raw: RSA PKCS#1 v1.5, ECDSA in DER, or the 64 bytes of Ed25519. An\n"
    "Ed25519 key has its own hash and needs the whole file in memory, 256 MiB at most; for\n"
    "other keys the file may have any size. MD4, MD5 and SHA-1 are only for old programs:\n"
    "such signatures can be forged.\n\n"
    "Examples:\n"
    "  sealkit key new p256 -o my.key\n"
    "  sealkit key public my.key -o my.pub\n"
    "  sealkit sign -k my.key -o passwd.sig /etc/passwd\n"
    "  sealkit check -k my.pub --signature passwd.sig /etc/passwd";

} // namespace

Work setUpSign(CommandLine commandLine) {
    auto options = std::make_shared<SignOptions>();
    addOptions(commandLine, *options, "the private key, PEM or DER");
    commandLine.text("-o,--output", options->output, outputHelp).valueName("SIGNATURE");
    commandLine.flag("--force", options->force, forceHelp);
    Parameter const hex = commandLine.flag("--hex", options->hex, "write hexadecimal, in one line");
    commandLine.flag("--base64", options->base64, "write base64, in one line").excludes(hex);
    commandLine.footer(footer);
    return [options] { return sign(*options); };
}

Work setUpCheck(CommandLine commandLine) {
    auto options = std::make_shared<SignatureCheckOptions>();
    addOptions(commandLine, *options,
               "the public or private key, or a certificate or request with\nit, PEM or DER");
    commandLine.text("-s,--signature", options->signature, "the signature").valueName("FILE").required();
    Parameter const hex = commandLine.flag("--hex", options->hex, "the signature is in hexadecimal");
    commandLine.flag("--base64", options->base64, "the signature is in base64").excludes(hex);
    commandLine.json();
    commandLine.footer(
        std::string("Prints \"FILE: OK\" and exits with 0, or \"FILE: FAILED\" and exits with 1.\n\n") +
        footer);
    return [options] { return check(*options); };
}

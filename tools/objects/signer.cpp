#include "objects/signer.h"

#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "objects/hash_names.h"

#include "sealkit/oid.h"

void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp) {
    commandLine.text(keyOption, options.key, keyHelp).valueName("KEY").required();
    commandLine
        .text("-a,--algorithm", options.algorithm,
              "the hash to sign with: sha256 (without it), sha384,\nsha512 or sha1")
        .valueName("HASH");
    addPasswordOptions(commandLine, options.password, "of an encrypted key");
}

std::optional<Signer> readSigner(SignerOptions const& options, int* status) {
    auto const hash = findHash(options.algorithm.empty() ? "sha256" : options.algorithm);
    if (!hash || getKeyInfoFromKeyHash(KeyType::RSA, hash->id).empty()) {
        *status = wrongUsage("\"" + options.algorithm + "\" is no hash that is signed with here");
        return std::nullopt;
    }
    if (standardInputTwice({options.key, options.password.file})) {
        *status = exitWrongUsage;
        return std::nullopt;
    }
    Signer signer;
    signer.key = readPrivateKeyOf(options.key, options.password, status);
    if (!signer.key)
        return std::nullopt;
    if (signer.key->keyType() == KeyType::X25519) {
        *status = badInput(options.key + ": an X25519 key agrees on secrets, it signs nothing");
        return std::nullopt;
    }
    if (signer.key->keyType() != KeyType::Ed25519)
        signer.hash = hash->id;
    else if (!options.algorithm.empty()) {
        *status = wrongUsage("an Ed25519 key brings its own hash: leave --algorithm out");
        return std::nullopt;
    }
    return signer;
}

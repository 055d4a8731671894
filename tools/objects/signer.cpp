#include "objects/signer.h"

#include "io/command_line.h"
#include "io/exit_status.h"
#include "io/input.h"
#include "objects/hash_names.h"

#include "sealkit/oid.h"
#include "sealkit/signature.h"

void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp) {
    commandLine.text(keyOption, options.key, keyHelp).valueName("KEY").required();
    commandLine
        .text("-a,--algorithm", options.algorithm,
              "the hash to sign with: sha256, sha384, sha512 or sha1;\nwithout it that of the key's strength")
        .valueName("HASH");
    addPasswordOptions(commandLine, options.password, "of an encrypted key");
}

std::optional<Signer> readSigner(SignerOptions const& options, int* status) {
    auto const hash = findHash(options.algorithm);
    if (!options.algorithm.empty() && (!hash || getKeyInfoFromKeyHash(KeyType::RSA, hash->id).empty())) {
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
    signer.hash = hash != nullptr ? hash->id : getMatchingHash(*signer.key);
    if (hash != nullptr && signer.key->keyType() == KeyType::Ed25519) {
        *status = wrongUsage("an Ed25519 key brings its own hash: leave --algorithm out");
        return std::nullopt;
    }
    return signer;
}

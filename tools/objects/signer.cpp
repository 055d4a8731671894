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
              "the hash to sign with: sha256, sha384, sha512 or sha1; by default one that matches the\n"
              "key's strength")
        .valueName("HASH");
    addPasswordOptions(commandLine, options.password, "of an encrypted key");
}

std::optional<Signer> readSigner(SignerOptions const& options, int* status) {
    auto const hash = findHash(options.algorithm);
    if (!options.algorithm.empty() && (!hash || getKeyInfoFromKeyHash(KeyType::RSA, hash->id).empty())) {
        *status =
            wrongUsage("\"" + options.algorithm +
                       "\" is not a hash for signatures; the choices are sha256, sha384, sha512 and sha1");
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
        *status = badInput(options.key + ": an X25519 key is for key agreement and cannot sign");
        return std::nullopt;
    }
    signer.hash = hash != nullptr ? hash->id : getMatchingHash(*signer.key);
    if (hash != nullptr && signer.key->keyType() == KeyType::Ed25519) {
        *status = wrongUsage("an Ed25519 key has its own hash: omit --algorithm");
        return std::nullopt;
    }
    return signer;
}

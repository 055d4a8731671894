/// The private key and the hash of a signature.
#pragma once

#include "objects/key_file.h"

#include <memory>
#include <optional>
#include <string>

/// The options that choose the key and the hash.
struct SignerOptions {
    std::string key;
    std::string algorithm;
    PasswordSource password;
};

/// Declares -k, -a and the password of the key. `keyOption` holds the names of the first, "-k,--key".
void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp);

/// The private key of the options and its hash.
struct Signer {
    std::unique_ptr<PrivateKey> key;
    HashID hash = HashID::none;
};

/// Complains and returns nothing if the key is missing or cannot sign.
std::optional<Signer> readSigner(SignerOptions const& options, int* status);

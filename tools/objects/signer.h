/// The private key that signs, and the hash it signs with.
#pragma once

#include "objects/key_file.h"

#include <memory>
#include <optional>
#include <string>

/// Which key signs, with which hash.
struct SignerOptions {
    std::string key;
    std::string algorithm;
    PasswordSource password;
};

/// Declares -k, -a and the password of the key. `keyOption` is the name of the first, "-k,--key".
void addSignerOptions(CommandLine& commandLine, SignerOptions& options, std::string const& keyOption,
                      std::string const& keyHelp);

/// The private key of the options and the hash it signs with.
struct Signer {
    std::unique_ptr<PrivateKey> key;
    HashID hash = HashID::none;
};

/// Complains and returns nothing if the key is missing or cannot sign.
std::optional<Signer> readSigner(SignerOptions const& options, int* status);

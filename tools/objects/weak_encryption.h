/// Files that are encrypted with what is no longer used: reading them, and what people are told of them.
#pragma once

#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"

#include <string>

/// All that can be decrypted here: with RC2 where the program is built with a library that has it.
PasswordSchemes readableSchemes();

/// That anyone can break the encryption, with its name; empty if that is not so.
std::string weaknessOf(KeyEncryption const& encryption);

/// Reads files under obsolete encryption, and describes its weakness.
#pragma once

#include "sealkit/password_schemes.h"
#include "sealkit/pbes2.h"

#include <string>

/// All schemes that the program can decrypt; RC2 depends on a library at build time.
PasswordSchemes readableSchemes();

/// The sentence that anyone can break the encryption, with its name; empty for other encryption.
std::string weaknessOf(KeyEncryption const& encryption);

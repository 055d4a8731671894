/// What the verb kem does, apart from its command line.
#pragma once

#include "io/password.h"

#include <cstdint>
#include <optional>
#include <string>

struct KemOptions {
    std::string key = "-";
    PasswordSource password; ///< Of the key, read or made.
    bool encrypt = false;    ///< Of `new`, as the next.
    std::optional<std::uint32_t> iterations;
    std::string ciphertext; ///< In of `decap`, out of `encap`.
    std::string output;     ///< The shared secret, or the key.
    bool force = false;
};

/// Each returns the exit status.
int makeKemKey(KemOptions const& options);
int writeKemPublicKey(KemOptions const& options);
int encapsulate(KemOptions const& options);
int decapsulate(KemOptions const& options);

/// The work of the verb kem.
#pragma once

#include "io/password.h"

#include <cstdint>
#include <optional>
#include <string>

struct KemOptions {
    std::string key = "-";
    PasswordSource password; ///< Of the key that is read or made.
    bool encrypt = false;    ///< This and the next are options of `new`.
    std::optional<std::uint32_t> iterations;
    std::string ciphertext; ///< The input of `decap`, the output of `encap`.
    std::string output;     ///< The shared secret, or the key.
    bool force = false;
};

/// Each returns the exit status.
int makeKemKey(KemOptions const& options);
int writeKemPublicKey(KemOptions const& options);
int encapsulate(KemOptions const& options);
int decapsulate(KemOptions const& options);

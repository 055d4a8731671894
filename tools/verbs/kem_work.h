/// What the verb kem does, apart from its command line.
#pragma once

#include <string>

struct KemOptions {
    std::string key = "-";
    std::string ciphertext; ///< In of `decap`, out of `encap`.
    std::string output;     ///< The shared secret, or the key.
    bool force = false;
};

/// Each returns the exit status.
int makeKemKey(KemOptions const& options);
int writeKemPublicKey(KemOptions const& options);
int encapsulate(KemOptions const& options);
int decapsulate(KemOptions const& options);
